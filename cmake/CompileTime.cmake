# What makes builds quick and changes nothing in what ships.

# Where ccache is installed and no launcher is set, objects are taken from it. It has to be told that precompiled headers will do.
find_program(KXCALC_CCACHE ccache)
mark_as_advanced(KXCALC_CCACHE)
if(KXCALC_CCACHE AND NOT CMAKE_C_COMPILER_LAUNCHER AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${KXCALC_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()

# Optimising tests, models and the host takes longer than running them does. Kernels, what tests compile of them, and benchmarks are
# always compiled as the build type says: targets with the property KXCALC_AS_SHIPPED. (GCC 12 at -O1 sees bounds overstepped in the
# strings of its own library: its preset leaves these warnings, of what is compiled so, to Clang and to -O2.)
set(KXCALC_LIGHT_FLAGS "" CACHE STRING "Flags, after those of the build type, for all but kernels and benchmarks, for instance -O1")
define_property(TARGET PROPERTY KXCALC_AS_SHIPPED BRIEF_DOCS "Compiled without KXCALC_LIGHT_FLAGS"
  FULL_DOCS "Compiled without KXCALC_LIGHT_FLAGS")
if(KXCALC_LIGHT_FLAGS)
  separate_arguments(light_flags NATIVE_COMMAND "${KXCALC_LIGHT_FLAGS}")
  add_compile_options("$<$<NOT:$<BOOL:$<TARGET_PROPERTY:KXCALC_AS_SHIPPED>>>:${light_flags}>")
endif()

# kxcalc_precompile(<target> <header>...)  Headers from elsewhere only: what a source uses of the project and of the standard
# library it includes itself.
function(kxcalc_precompile target)
  target_precompile_headers(${target} PRIVATE ${ARGN})
  target_compile_options(${target} PRIVATE # such that ccache sees what has gone into the header
    $<IF:$<CXX_COMPILER_ID:GNU>,-fpch-preprocess,SHELL:-Xclang$<SEMICOLON>-fno-pch-timestamp>)
endfunction()
