# Header, libraries, CMake package (find_package(kxcalc) gives kxcalc::sse41 and its siblings) and a pkg-config file for each.
include(CMakePackageConfigHelpers)

install(FILES ${PROJECT_SOURCE_DIR}/include/kxcalc.h TYPE INCLUDE)
foreach(variant IN LISTS KXCALC_VARIANTS)
  install(TARGETS kxcalc-${variant} EXPORT kxcalcTargets)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/kxcalc.pc.in ${PROJECT_BINARY_DIR}/kxcalc-${variant}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/kxcalc-${variant}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kxcalc)
install(EXPORT kxcalcTargets NAMESPACE kxcalc:: FILE kxcalcConfig.cmake DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kxcalcConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kxcalcConfigVersion.cmake DESTINATION ${package_dir})
