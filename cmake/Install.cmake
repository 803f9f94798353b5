# Header, libraries, CMake package (find_package(kxcalc) gives kxcalc::sse41 and its siblings) and a pkg-config file for each. On
# Linux also libkxcalc (kxcalc::kxcalc), the best that the processor runs: glibc looks for libraries in the folders of the
# processor's level before it takes the plain one.
include(CMakePackageConfigHelpers)

install(FILES ${PROJECT_SOURCE_DIR}/include/kxcalc.h TYPE INCLUDE)
function(install_pkg_config_file library)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kxcalc.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
foreach(variant IN LISTS KXCALC_VARIANTS)
  install(TARGETS kxcalc-${variant} EXPORT kxcalcTargets)
  install_pkg_config_file(kxcalc-${variant})
endforeach()

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(plain portable)
  if(neon IN_LIST KXCALC_VARIANTS) # of every processor there
    set(plain neon)
  endif()
  kxcalc_add_chosen_library(${plain} .)
  install(TARGETS kxcalc-chosen-${plain} EXPORT kxcalcTargets)
  install_pkg_config_file(kxcalc)
  if(processor STREQUAL "x86_64")
    foreach(variant IN LISTS KXCALC_VARIANTS)
      set(folder glibc-hwcaps/${KXCALC_FOLDER_${variant}})
      if(NOT folder STREQUAL "glibc-hwcaps/-")
        kxcalc_add_chosen_library(${variant} ${folder})
        install(TARGETS kxcalc-chosen-${variant} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${folder} NAMELINK_SKIP)
      endif()
    endforeach()
  endif()
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kxcalc)
install(EXPORT kxcalcTargets NAMESPACE kxcalc:: FILE kxcalcConfig.cmake DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kxcalcConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kxcalcConfigVersion.cmake DESTINATION ${package_dir})
