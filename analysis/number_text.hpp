// Numbers in sentences and labels.
#pragma once

#include <string>

namespace kxanalysis {

/// As many digits as it takes to read the same number again.
constexpr int allDigits = 0;

/// A number in decimal, at any locale.
/// @param digits  significant ones, or allDigits.
std::string numberText(double number, int digits);

}  // namespace kxanalysis
