# KXCALC_VARIANTS: the builds of the library for this system, from variants.txt; KXCALC_FLAGS_<variant> and KXCALC_FOLDER_<variant>;
# KXCALC_RUNNABLE: those that can be run here, whose tests ctest knows. A line about the others goes to not-run.txt in the build directory, for summaries.
set(variants_file ${CMAKE_CURRENT_LIST_DIR}/variants.txt)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${variants_file})

set(processor ${CMAKE_SYSTEM_PROCESSOR})
if(processor MATCHES "^(x86_64|AMD64|i.86)$")
  set(processor x86_64)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(processor i386)
  endif()
elseif(processor MATCHES "^(aarch64|arm64|ARM64)$")
  set(processor aarch64)
endif()

file(STRINGS ${variants_file} variant_rows REGEX "^[^#]")
set(KXCALC_VARIANTS "")
foreach(row IN LISTS variant_rows)
  if(NOT row MATCHES "^([a-z0-9]+) +(all|x86|x86_64|aarch64) +([-a-z0-9]+)( +([-a-z0-9. =]+))?$")
    message(FATAL_ERROR "${variants_file}: not a name, a processor, a folder and flags: ${row}")
  endif()
  set(variant ${CMAKE_MATCH_1})
  set(built_for ${CMAKE_MATCH_2})
  set(KXCALC_FOLDER_${variant} ${CMAKE_MATCH_3})
  separate_arguments(KXCALC_FLAGS_${variant} NATIVE_COMMAND "${CMAKE_MATCH_5}")
  if(built_for STREQUAL "all" OR built_for STREQUAL processor OR (built_for STREQUAL "x86" AND processor MATCHES "86"))
    list(APPEND KXCALC_VARIANTS ${variant})
  endif()
  if(WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND variant MATCHES "avx")
    # GCC aligns the stack of Windows to 16 bytes only, and spills wider vectors with instructions that ask for more.
    list(APPEND KXCALC_FLAGS_${variant} -Wa,-muse-unaligned-vector-move)
  endif()
endforeach()

# The processor is asked by the function that hosts ask. What is built for elsewhere, and has no emulator here, is taken to run the
# least of each family.
if(NOT DEFINED KXCALC_PROCESSOR_RUNS)
  set(KXCALC_PROCESSOR_RUNS "sse41 neon portable")
  if(NOT CMAKE_CROSSCOMPILING OR CMAKE_CROSSCOMPILING_EMULATOR)
    set(probe_link_options "")
    if(WIN32) # the compiler's run-time libraries are not where the program runs
      set(probe_link_options -static)
    endif()
    try_run(probe_result probe_compiled ${PROJECT_BINARY_DIR}/probe
      ${CMAKE_CURRENT_LIST_DIR}/processor_probe.cpp
      CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${PROJECT_SOURCE_DIR} -DCMAKE_CXX_STANDARD=20
      LINK_OPTIONS ${probe_link_options}
      COMPILE_OUTPUT_VARIABLE probe_log RUN_OUTPUT_VARIABLE probe_output)
    if(probe_compiled AND probe_result EQUAL 0)
      string(STRIP "${probe_output}" KXCALC_PROCESSOR_RUNS)
    elseif(NOT CMAKE_CROSSCOMPILING)
      message(FATAL_ERROR "The processor cannot be asked what it runs: ${probe_log} ${probe_output}")
    endif()
  endif()
  set(KXCALC_PROCESSOR_RUNS "${KXCALC_PROCESSOR_RUNS}" CACHE INTERNAL "Builds that the processor runs")
endif()
separate_arguments(runnable NATIVE_COMMAND "${KXCALC_PROCESSOR_RUNS}")
set(not_run ${KXCALC_VARIANTS})
list(REMOVE_ITEM not_run ${runnable})
set(KXCALC_RUNNABLE ${KXCALC_VARIANTS})
list(REMOVE_ITEM KXCALC_RUNNABLE ${not_run} "")
list(JOIN not_run ", " not_run)
set(not_run_line "")
if(not_run)
  set(not_run_line "built, not run, for this processor cannot: ${not_run}\n")
  message(STATUS "kxcalc: ${not_run_line}")
endif()
file(WRITE ${PROJECT_BINARY_DIR}/not-run.txt "${not_run_line}")
