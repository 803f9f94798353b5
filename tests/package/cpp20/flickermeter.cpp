// Short-term flicker severity of a supply that changes 39 times a minute by 0.894 %, for which the standard asks 1.
#include <cmath>
#include <cstdio>
#include <kxcalc/analysis/flicker/flicker_observation.hpp>
#include <kxcalc/analysis/flicker/flickermeter.hpp>
#include <kxcalc/functions/linked.hpp>
#include <numbers>

int main() {
  constexpr double rate = 8000;
  auto meter = kxanalysis::Flickermeter::create(kxcalc::linkedFunctions, {kxanalysis::Lamp::volts230, 50}, rate);
  auto observation = kxanalysis::FlickerObservation::create(kxcalc::linkedFunctions, 60 * 8000, 600 * 8000);
  for (double second = 0; meter && observation; ++second) {
    std::vector<float> volts;
    for (int i = 0; i < 8000; ++i) {
      const double time = second + i / rate, level = std::fmod(time * 39 / 120, 1) < 0.5 ? 1.00447 : 0.99553;
      volts.push_back(static_cast<float>(level * 325.27 * std::sin(2 * std::numbers::pi * std::fmod(50 * time, 1))));
    }
    for (const auto& period : observation->feed(*meter->feed(volts))) {
      return std::printf("Pst %.2f\n", kxanalysis::severityOf(period.classes).shortTerm) < 0;
    }
  }
}
