#include "host/reports/si_prefix.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "analysis/number_text.hpp"

namespace kxhost {
namespace {

constexpr std::array units{"V", "A", "W", "VA", "var", "Hz", "s", "Pa", "N", "m", "J", "C", "F", "H", "bar", "\u03A9"};
constexpr std::array prefixes{"p", "n", "\u00B5", "m", "", "k", "M", "G", "T"};
constexpr double none = 4;  // index of the empty prefix

}  // namespace

bool takesPrefix(const std::string& unit) {
  return std::ranges::find(units, unit) != units.end();
}

SiPrefix siPrefix(double magnitude, const std::string& unit) {
  if (!takesPrefix(unit) || !std::isfinite(magnitude) || magnitude == 0) {
    return {};
  }
  constexpr double belowAThousand = 1e-9;  // by which 999.9999999 counts as 1000
  const double thousands = std::clamp(std::floor(std::log10(std::abs(magnitude)) / 3 + belowAThousand), -none,
                                      static_cast<double>(prefixes.size() - 1) - none);
  return {std::pow(1000.0, thousands), prefixes.at(static_cast<size_t>(thousands + none))};
}

std::string siText(double value, int digits, const std::string& unit) {
  const SiPrefix prefix = siPrefix(value, unit);
  const std::string number = kxanalysis::numberText(value / prefix.factor, digits);
  return unit.empty() ? number : number + ' ' + prefix.text + unit;
}

}  // namespace kxhost
