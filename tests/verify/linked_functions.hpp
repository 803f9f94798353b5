// The functions of the library that the test is linked with, as kxverify's exercises take them.
#ifndef KXCALC_TESTS_VERIFY_LINKED_FUNCTIONS_HPP
#define KXCALC_TESTS_VERIFY_LINKED_FUNCTIONS_HPP

#include "functions.hpp"

namespace verify {

inline constexpr kxverify::Functions linkedFunctions{
#define KXVERIFY_FUNCTION(name) &::name,
#include "functions.inc"
#undef KXVERIFY_FUNCTION
};

}  // namespace verify

#endif
