# The registry (src/frame/exports.txt) is held against the public header here, at configure time, and turned into the linker's
# export list. Both files are configure dependencies, so a name in one and not in the other fails the next build.
set(KXCALC_REGISTRY ${PROJECT_SOURCE_DIR}/src/frame/exports.txt)
set(KXCALC_HEADER ${PROJECT_SOURCE_DIR}/include/kxcalc.h)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KXCALC_REGISTRY} ${KXCALC_HEADER})

file(STRINGS ${KXCALC_REGISTRY} registry_rows REGEX "^[^#]")
set(KXCALC_EXPORTS "")
foreach(row IN LISTS registry_rows)
  if(NOT row MATCHES "^[a-z]+ +(kx[cC]alc[A-Za-z0-9_]+)$")
    message(FATAL_ERROR "${KXCALC_REGISTRY}: not a family and an export's name: ${row}")
  endif()
  list(APPEND KXCALC_EXPORTS ${CMAKE_MATCH_1})
endforeach()

file(STRINGS ${KXCALC_HEADER} header_rows REGEX "^KXCALC_API ")
set(header_exports "")
foreach(row IN LISTS header_rows)
  if(NOT row MATCHES "(kx[cC]alc[A-Za-z0-9_]+)\\(")
    message(FATAL_ERROR "${KXCALC_HEADER}: a declaration whose name does not stand on its first line: ${row}")
  endif()
  list(APPEND header_exports ${CMAKE_MATCH_1})
endforeach()

if(NOT KXCALC_EXPORTS STREQUAL header_exports)
  set(only_registry ${KXCALC_EXPORTS})
  list(REMOVE_ITEM only_registry ${header_exports})
  set(only_header ${header_exports})
  list(REMOVE_ITEM only_header ${KXCALC_EXPORTS})
  message(FATAL_ERROR "The registry and the public header differ. Only in the registry: [${only_registry}]; "
                      "only in the header: [${only_header}]; if both are empty, the order differs or a row is doubled.")
endif()

list(JOIN KXCALC_EXPORTS ";\n    " version_script_names)
set(KXCALC_VERSION_SCRIPT ${PROJECT_BINARY_DIR}/kxcalc.map)
file(CONFIGURE OUTPUT ${KXCALC_VERSION_SCRIPT} @ONLY
  CONTENT "{\n  global:\n    @version_script_names@;\n  local:\n    *;\n};\n")

# Exactly the registry's names leave the library, and the link fails where one of them has no definition.
function(kxcalc_set_exports target)
  target_link_options(${target} PRIVATE LINKER:--version-script=${KXCALC_VERSION_SCRIPT})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${KXCALC_VERSION_SCRIPT})
  foreach(name IN LISTS KXCALC_EXPORTS)
    target_link_options(${target} PRIVATE LINKER:--require-defined=${name})
  endforeach()
endfunction()
