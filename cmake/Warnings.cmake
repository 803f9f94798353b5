# Warnings of every target of this project, as errors.
function(kxcalc_set_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wdouble-promotion -Wcast-align -Wundef -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual>)
endfunction()
