#include "analysis/combustion/engine_simulation.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <random>
#include <utility>

namespace kxanalysis {
namespace {

/// Normally distributed numbers by Box and Muller, A note on the generation of random normal deviates (1958). The
/// standard library's own differ from one to the other.
class NormalNumbers {
public:
  explicit NormalNumbers(uint64_t seed) : random_(seed) {}

  double next() {
    const double radius = std::sqrt(-2 * std::log(1 - uniform()));
    return radius * std::cos(2 * std::numbers::pi * uniform());
  }

private:
  double uniform() { return static_cast<double>(random_() >> 11) * 0x1p-53; }

  std::mt19937_64 random_;
};

/// How one cycle burns.
struct Burn {
  double start;
  double duration;
  double heat;
};

/// One zone of gas, followed through one cycle. Heywood (1988), chapter 9.
class Cylinder {
public:
  Cylinder(const Engine& engine, const Simulation& simulation, const Burn& burn)
      : engine_(engine),
        simulation_(simulation),
        burn_(burn),
        angle_(simulation.inletClosing),
        pressure_(simulation.intakePressure) {}

  /// @param angle  not below that of the call before.
  double pressure(double angle) {
    const Simulation& s = simulation_;
    if (angle < s.inletClosing) {
      return s.intakePressure + (s.exhaustPressure - s.intakePressure) * std::exp((-360 - angle) / overlap);
    }
    closedUntil(std::min(angle, s.exhaustOpening));
    if (angle <= s.exhaustOpening) {
      return pressure_;
    }
    return s.exhaustPressure + (pressure_ - s.exhaustPressure) * std::exp((s.exhaustOpening - angle) / blowdown);
  }

private:
  static constexpr double overlap = 8, blowdown = 15;  // degrees in which pressures settle through open valves
  static constexpr double longestStep = 0.1;

  /// Wiebe function, section 9.2, equation 9.30.
  double burnt(double angle) const {
    const double share = (angle - burn_.start) / burn_.duration;
    return share <= 0 ? 0 : 1 - std::exp(-simulation_.wiebeEfficiency * std::pow(share, simulation_.wiebeForm + 1));
  }

  void closedUntil(double end) {
    const int steps = static_cast<int>(std::ceil((end - angle_) / longestStep));
    const double begin = angle_;
    for (int i = 1; i <= steps; ++i) {
      advance(begin + (end - begin) * i / steps);
    }
  }

  /// A step without heat is polytropic, p V^n is constant (section 9.2), and heat at constant volume raises the
  /// pressure by (n - 1) Q / V: the first law for one zone of ideal gas, with n in the place of the ratio of heats.
  /// The exponent goes from that of the compression to that of the expansion as the charge burns.
  void advance(double angle) {
    constexpr double barCubicCentimetres = 10;  // in a joule
    const double burntBefore = burnt(angle_), burntNow = burnt(angle);
    const double exponent =
        std::lerp(simulation_.compressionExponent, simulation_.expansionExponent, (burntBefore + burntNow) / 2);
    const double volume = engine_.volume(angle);
    pressure_ *= std::pow(engine_.volume(angle_) / volume, exponent);
    pressure_ += (exponent - 1) * burn_.heat * (burntNow - burntBefore) * barCubicCentimetres / volume;
    angle_ = angle;
  }

  const Engine& engine_;
  const Simulation& simulation_;
  Burn burn_;
  double angle_;
  double pressure_;
};

/// Scatter beyond three standard deviations would be another engine.
double scattered(NormalNumbers& random, double mean, double deviation) {
  return mean + deviation * std::clamp(random.next(), -3.0, 3.0);
}

constexpr double begin = -360, cycleDegrees = 720, percent = 0.01;

std::optional<Problem> problemOf(const Simulation& simulation) {
  const double length = std::round(cycleDegrees / simulation.step);
  if (simulation.cycles < 1) {
    return unsuitable("cycles", simulation.cycles, "at least 1 is simulated");
  }
  if (!(length >= 2 && std::abs(length * simulation.step - cycleDegrees) <= 1e-6)) {
    return unsuitable("step", simulation.step, "720 degrees are not a whole number of steps");
  }
  if (length * simulation.cycles > static_cast<double>(mostPressures)) {
    return unsuitable("cycles", simulation.cycles, "that is more than 268435456 samples");
  }
  return std::nullopt;
}

}  // namespace

Result<PressureCycles> simulate(const Engine& engine, const Simulation& simulation) {
  if (const auto measures = checked(engine); !measures) {
    return Problem{measures.problem()};
  }
  if (auto problem = problemOf(simulation)) {
    return std::move(*problem);
  }
  NormalNumbers random(simulation.seed);
  PressureCycles cycles;
  const int length = static_cast<int>(std::lround(cycleDegrees / simulation.step));
  for (int i = 0; i < length; ++i) {
    cycles.angles.push_back(begin + cycleDegrees * i / length);
  }
  cycles.samples.reserve(cycles.angles.size() * static_cast<size_t>(simulation.cycles));
  for (int cycle = 0; cycle < simulation.cycles; ++cycle) {
    const double start = scattered(random, simulation.burnStart, simulation.burnStartScatter);
    const double duration = scattered(random, 1, percent * simulation.burnDurationScatter) * simulation.burnDuration;
    const double heat = scattered(random, 1, percent * simulation.heatScatter) * simulation.heat;
    Cylinder cylinder(engine, simulation, {start, duration, heat});
    const double zero = simulation.zeroLevel + cycle * simulation.zeroDrift;
    for (const double angle : cycles.angles) {
      cycles.samples.push_back(static_cast<float>(cylinder.pressure(angle) + zero + simulation.noise * random.next()));
    }
  }
  return cycles;
}

}  // namespace kxanalysis
