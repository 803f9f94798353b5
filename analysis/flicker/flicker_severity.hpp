// Flicker severity out of classified sensation: block 5 of the flickermeter of IEC 61000-4-15, edition 2.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>

namespace kxanalysis {

/// Counters of sensation values, 100 classes a decade from 1e-4 on, as kxcalcPowerFlickerAddToClass fills them.
constexpr size_t sensationClasses = 1000;
using ClassCounts = std::array<uint32_t, sensationClasses>;

/// Below this the kernel counts values in the top class: they are to be set to 0 first, which counts in class 0.
constexpr float leastClassified = 1e-4F;

/// The sensation at which a class begins. Class 0 holds all that is less, too, and so begins at 0.
inline double classBegin(size_t index) {
  constexpr double classesPerDecade = 100, firstDecade = -4;
  return index == 0 ? 0 : std::pow(10, static_cast<double>(index) / classesPerDecade + firstDecade);
}

/// The sensation that is exceeded for `percent` of the time, interpolated linearly inside of its class; 0 if nothing was
/// counted.
inline double exceededLevel(const ClassCounts& classes, double percent) {
  const double wanted = percent / 100 * static_cast<double>(std::accumulate(classes.begin(), classes.end(), 0ULL));
  double above = 0;
  for (size_t i = sensationClasses; i-- > 0;) {
    const double count = classes[i];
    if (count > 0 && above + count >= wanted) {
      const double begin = classBegin(i), end = classBegin(i + 1);
      return end - (end - begin) * (wanted - above) / count;
    }
    above += count;
  }
  return 0;
}

/// Short-term severity and the percentiles that it is made of; those named "s" are smoothed.
struct Severity {
  double p01, p1s, p3s, p10s, p50s;
  double shortTerm;
};

/// The percents of time that each smoothed percentile is the mean of (block 5).
constexpr std::array<double, 3> smoothing1{0.7, 1, 1.5};
constexpr std::array<double, 3> smoothing3{2.2, 3, 4};
constexpr std::array<double, 5> smoothing10{6, 8, 10, 13, 17};
constexpr std::array<double, 3> smoothing50{30, 50, 80};

inline Severity severityOf(const ClassCounts& classes) {
  const auto smoothed = [&](std::span<const double> percents) {
    double sum = 0;
    for (const double percent : percents) {
      sum += exceededLevel(classes, percent);
    }
    return sum / static_cast<double>(percents.size());
  };
  Severity severity{exceededLevel(classes, 0.1), smoothed(smoothing1),  smoothed(smoothing3),
                    smoothed(smoothing10),       smoothed(smoothing50), 0};
  severity.shortTerm = std::sqrt(0.0314 * severity.p01 + 0.0525 * severity.p1s + 0.0657 * severity.p3s +
                                 0.28 * severity.p10s + 0.08 * severity.p50s);
  return severity;
}

/// Values of short-term severity that one of long-term severity is made of: two hours of ten minutes each.
constexpr size_t longTermPeriods = 12;

/// Long-term severity: the cubic mean.
inline double longTermSeverity(std::span<const double> shortTerm) {
  double sum = 0;
  for (const double severity : shortTerm) {
    sum += severity * severity * severity;
  }
  return std::cbrt(sum / static_cast<double>(shortTerm.size()));
}

}  // namespace kxanalysis
