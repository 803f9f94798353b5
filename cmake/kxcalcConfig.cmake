# find_package(kxcalc) gives kxcalc::sse41 and its siblings, find_package(kxcalc COMPONENTS analysis) also kxcalc::analysis.
include(${CMAKE_CURRENT_LIST_DIR}/kxcalcTargets.cmake)
foreach(component IN LISTS kxcalc_FIND_COMPONENTS)
  include(${CMAKE_CURRENT_LIST_DIR}/kxcalc-${component}Targets.cmake OPTIONAL RESULT_VARIABLE kxcalc_${component}_FOUND)
  if(NOT kxcalc_${component}_FOUND AND kxcalc_FIND_REQUIRED_${component})
    set(kxcalc_FOUND FALSE)
    set(kxcalc_NOT_FOUND_MESSAGE "kxcalc has no component ${component}")
  endif()
endforeach()
