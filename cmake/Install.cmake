# Header, libraries, CMake package (find_package(kxcalc) gives kxcalc::sse41 and its siblings) and a pkg-config file for each. On
# Linux also libkxcalc (kxcalc::kxcalc), the best that the processor runs: glibc looks for libraries in the folders of the
# processor's level before it takes the plain one.
include(CMakePackageConfigHelpers)

install(FILES ${PROJECT_SOURCE_DIR}/include/kxcalc.h TYPE INCLUDE)
function(install_pkg_config_file library)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kxcalc.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# A pkg-config file tells folders from where it lies itself, so that the package can be moved: the prefix is as many folders up
# as the library folder has (two in lib, three in lib/x86_64-linux-gnu). Folders that are set to absolute paths stay.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig" OUTPUT_VARIABLE up)
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(folder IN ITEMS LIBDIR INCLUDEDIR)
  string(TOLOWER pc_${folder} pc_folder)
  set(${pc_folder} "${CMAKE_INSTALL_${folder}}")
  if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    set(${pc_folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
  endif()
endforeach()

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
install(EXPORT kxcalcTargets NAMESPACE kxcalc:: DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kxcalcConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/kxcalcConfig.cmake ${PROJECT_BINARY_DIR}/kxcalcConfigVersion.cmake DESTINATION ${package_dir})
