#include "analysis/combustion/engine.hpp"

#include <cmath>
#include <numbers>

namespace kxanalysis {
namespace {

constexpr double cubicMillimetres = 1000;  // in a cubic centimetre

double pistonArea(double bore) {
  return std::numbers::pi / 4 * bore * bore;
}

}  // namespace

double Engine::displacement() const {
  return pistonArea(bore) * stroke / cubicMillimetres;
}

/// Slider-crank: Heywood, Internal Combustion Engine Fundamentals (1988), section 2.2, equations 2.4 and 2.5.
double Engine::volume(double angle) const {
  const double radians = angle * std::numbers::pi / 180, crank = stroke / 2;
  const double sideways = crank * std::sin(radians);
  const double pinToCrank = crank * std::cos(radians) + std::sqrt(rod * rod - sideways * sideways);
  return clearance() + pistonArea(bore) * (rod + crank - pinToCrank) / cubicMillimetres;
}

}  // namespace kxanalysis
