# The floating-point model of every target: each operation is rounded on its own, to the precision that the source names.
# A compiler that is not known to keep it is refused: a wrong last bit would show nowhere else.
function(kxcalc_set_floating_point_model target)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang|AppleClang)$")
    message(FATAL_ERROR "kxcalc is built with GCC or Clang; the floating-point model of ${CMAKE_CXX_COMPILER_ID} is not known")
  endif()
  if(CMAKE_CXX_COMPILER_FRONTEND_VARIANT STREQUAL "MSVC")
    message(FATAL_ERROR "kxcalc is built with clang++, not with clang-cl: it takes other flags for the floating-point model")
  endif()
  target_compile_options(${target} PRIVATE
    -ffp-contract=off # both compilers fuse a * b + c by default where the processor can, which skips a rounding
    -fno-fast-math # whatever the user's flags say: reassociation, reciprocals and flush-to-zero change bits
    -fno-math-errno # a square root is one instruction, without the platform's function for negative numbers (the flag before resets it)
  )
  if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    target_compile_options(${target} PRIVATE
      -msse2 -mfpmath=sse # x87 registers hold 80 bits and round twice
      -mstackrealign # hosts guarantee a stack aligned to 4 bytes only; spilled lanes need 16
    )
  endif()
endfunction()
