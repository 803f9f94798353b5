// Prefixes of units: 0.0005 V is 500 µV.
#pragma once

#include <string>

namespace kxhost {

struct SiPrefix {
  double factor = 1;  ///< what one prefixed unit is in plain ones
  std::string text;   ///< "m", "k", "" for none
};

/// Whether a unit is one that prefixes go with and has none yet: V, Hz, s, ..., neither kV nor %.
bool takesPrefix(const std::string& unit);

/// The prefix with which a magnitude lies between 1 and 1000; none for 0, for what is not finite and for units that
/// take none.
SiPrefix siPrefix(double magnitude, const std::string& unit);

/// A value with its unit: "1.5 kHz". Without a unit it is the number alone.
/// @param digits  significant ones.
std::string siText(double value, int digits, const std::string& unit);

}  // namespace kxhost
