#include "analysis/combustion/engine.hpp"

#include <cmath>
#include <numbers>
#include <utility>

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

Result<> checked(const Engine& engine) {
  for (const auto& [name, length] : {std::pair("bore", engine.bore), {"stroke", engine.stroke}, {"rod", engine.rod}}) {
    if (!(length > 0 && std::isfinite(length))) {
      return unsuitable(name, length, "it is above 0 mm");
    }
  }
  if (!(engine.rod > engine.stroke / 2)) {
    return unsuitable("rod", engine.rod, "it must be longer than half of the stroke");
  }
  if (!(engine.compressionRatio > 1 && std::isfinite(engine.compressionRatio))) {
    return unsuitable("compression ratio", engine.compressionRatio, "it is above 1");
  }
  return Done{};
}

}  // namespace kxanalysis
