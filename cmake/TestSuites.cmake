# kxcalc_discover_suites(<target> [TEST_PREFIX <prefix>] [EXHAUSTIVE <regular expression>] [PROPERTIES <name> <value> ...])
# A ctest entry for each suite of a GoogleTest program, in one process: most tests take less time than the start of a process. The
# instances of a parameterised suite share an entry. What fails is printed with the names of its tests.
# Suites with a name that EXHAUSTIVE matches are labelled `exhaustive`: they run with script/test --all only. A program that has no
# others is built only where it is asked for, with the target kxcalc-exhaustive-tests.
set(KXCALC_LIST_SUITES ${CMAKE_CURRENT_LIST_DIR}/ListSuites.cmake)

function(kxcalc_discover_suites target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TEST_PREFIX;EXHAUSTIVE" "PROPERTIES")
  set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}_suites.cmake)
  # As code that is read again, each value in quotes of its own.
  set(properties "")
  foreach(property IN LISTS arg_PROPERTIES)
    string(APPEND properties " [==[${property}]==]")
  endforeach()
  set(emulator $<TARGET_PROPERTY:${target},CROSSCOMPILING_EMULATOR>)
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
    COMMAND ${CMAKE_COMMAND} -D "program=$<TARGET_FILE:${target}>" -D "emulator=${emulator}" -D "prefix=${arg_TEST_PREFIX}"
            -D "exhaustive=${arg_EXHAUSTIVE}" -D "properties=${properties}" -D "list=${list}" -P ${KXCALC_LIST_SUITES}
    BYPRODUCTS ${list})
  set(not_built "add_test(${target}_NOT_BUILT ${target}_NOT_BUILT)")
  if(arg_EXHAUSTIVE STREQUAL ".*")
    set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    if(NOT TARGET kxcalc-exhaustive-tests)
      add_custom_target(kxcalc-exhaustive-tests)
    endif()
    add_dependencies(kxcalc-exhaustive-tests ${target})
    string(APPEND not_built "\nset_tests_properties(${target}_NOT_BUILT PROPERTIES LABELS exhaustive)")
  endif()
  set(include ${CMAKE_CURRENT_BINARY_DIR}/${target}_include.cmake)
  file(WRITE ${include} "if(EXISTS \"${list}\")\n  include(\"${list}\")\nelse()\n${not_built}\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include})
endfunction()
