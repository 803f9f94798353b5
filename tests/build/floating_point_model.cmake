# What the build says of a compiler: cmake -DCMAKE_CXX_COMPILER_ID=... -DCMAKE_CXX_COMPILER_FRONTEND_VARIANT=... -P <this file>
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/FloatingPoint.cmake)
kxcalc_set_floating_point_model(library)
