#include "analysis/problem.hpp"

#include <string>

#include "analysis/number_text.hpp"

namespace kxanalysis {

Problem unsuitable(std::string_view setting, double value, std::string_view needed) {
  constexpr int digits = 12;
  return {std::string(setting) + " is " + numberText(value, digits) + ": " + std::string(needed)};
}

}  // namespace kxanalysis
