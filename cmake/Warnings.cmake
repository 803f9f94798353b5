# Warnings of every target of this project, as errors.
function(kxcalc_set_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wdouble-promotion -Wcast-align -Wundef -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual>)
endfunction()

# clang-tidy beside the compiler, where it is asked for: a file is looked at when it is compiled, so that a second run is quick.
function(kxcalc_lint target)
  if(KXCALC_LINT)
    set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "clang-tidy;--quiet")
  endif()
endfunction()
