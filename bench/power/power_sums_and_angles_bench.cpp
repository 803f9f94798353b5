#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

struct PowerSums {
  const float* voltage;
  const float* current;
  size_t bins;
  double active, reactive;

  /// Terms of both signs may cancel; their magnitudes are of the order of 1.
  std::vector<Quantity> results() const {
    return {{active, static_cast<double>(bins)}, {reactive, static_cast<double>(bins)}};
  }
};

void plainSums(PowerSums& w) {
  double active = 0, reactive = 0;
  const auto add = [&](size_t bin, double weight) {
    const auto ur = static_cast<double>(w.voltage[2 * bin]), ui = static_cast<double>(w.voltage[2 * bin + 1]);
    const auto ir = static_cast<double>(w.current[2 * bin]), ii = static_cast<double>(w.current[2 * bin + 1]);
    active += (ur * ir + ui * ii) * weight;
    reactive += (ur * ii - ui * ir) * weight;
  };
  add(0, 0.5);
  for (size_t bin = 1; bin < w.bins - 1; ++bin) {
    add(bin, 1);
  }
  add(w.bins - 1, 0.5);
  w.active = active;
  w.reactive = reactive;
}

/// The full sum of all bins, less half of the first and the last.
template <class Number>
void setSum(PowerSums& w, std::complex<Number> full) {
  const auto term = [&](size_t bin) {
    const std::complex<double> u(static_cast<double>(w.voltage[2 * bin]), static_cast<double>(w.voltage[2 * bin + 1]));
    const std::complex<double> i(static_cast<double>(w.current[2 * bin]), static_cast<double>(w.current[2 * bin + 1]));
    return std::conj(u) * i;
  };
  const std::complex<double> sum = std::complex<double>(full) - 0.5 * (term(0) + term(w.bins - 1));
  w.active = sum.real();
  w.reactive = sum.imag();
}

#if defined(KXCALC_BENCH_EIGEN)
void eigenSums(PowerSums& w) {
  using Bins = Eigen::Map<const Eigen::Array<std::complex<float>, Eigen::Dynamic, 1>>;
  const auto bins = static_cast<Eigen::Index>(w.bins);
  const auto voltage = Bins(reinterpret_cast<const std::complex<float>*>(w.voltage), bins);
  const auto current = Bins(reinterpret_cast<const std::complex<float>*>(w.current), bins);
  setSum(w, (voltage.cast<std::complex<double>>().conjugate() * current.cast<std::complex<double>>()).sum());
}
#endif

#if defined(KXCALC_BENCH_VOLK)
void volkSums(PowerSums& w) {
  std::complex<float> sum;
  volk_32fc_x2_conjugate_dot_prod_32fc(&sum, reinterpret_cast<const lv_32fc_t*>(w.current),
                                       reinterpret_cast<const lv_32fc_t*>(w.voltage), static_cast<unsigned>(w.bins));
  setSum(w, sum);
}
#endif

#if defined(KXCALC_BENCH_OPENBLAS)
void openBlasSums(PowerSums& w) {
  std::complex<float> sum;
  cblas_cdotc_sub(static_cast<blasint>(w.bins), w.voltage, 1, w.current, 1, &sum);
  setSum(w, sum);
}
#endif

void compareSums() {
  Comparison comparison(
      "kxcalcPowerPandQsum", "",
      [](size_t bins) {
        return PowerSums{samples<float>(Signal::noise), samples<float>(Signal::otherNoise), bins, 0, 0};
      },
      [](const Functions& functions, PowerSums& w) {
        functions.kxcalcPowerPandQsum(w.voltage, w.current, static_cast<int32_t>(w.bins), &w.active, &w.reactive);
      },
      {blockSizes[0], blockSizes[1], 5'000'000});
  comparison.limitedByTraffic<Traffic{.first = 8, .second = 8}>([](PowerSums& w) {
    return Streams{w.voltage, w.current};
  });
  comparison.limitedByChain(1);  // of either sum

  const Contract order = otherBits("the order of the sums", sumsInOtherOrder);
  [[maybe_unused]] const Contract single = otherBits("the order of the sums, sums in double", sumsInSingle);
  comparison.plain(sameBits(), plainSums);
  comparison.reordered(order, plainSums);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", order, eigenSums);
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", single, volkSums);
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  comparison.library("OpenBLAS", single, openBlasSums);
#endif
}

constexpr float phasePerOrder = 7.5F, binsPerOrder = 10.2F;

struct Angles {
  const float* spectrum;
  size_t orders;
  std::vector<float> angles;

  /// As exact as the whole range of angles.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(angles.data() + 1, orders);
    for (Quantity& quantity : all) {
      quantity.scale = 360;
    }
    return all;
  }
};

float degrees(float ordinate, float abscissa) {
  const double radians = std::atan2(static_cast<double>(ordinate), static_cast<double>(abscissa));
  const auto angle = static_cast<float>(radians * 57.2957763671875);
  return angle < 0 ? angle + 360 : angle;
}

/// With the kernel's turn of phases above 360 into the other sign.
float wrapped(float phase) {
  float angle = phase > 360 ? std::fmod(phase, 360.0F) : -phase;
  if (angle < -180) {
    angle += 360;
  }
  angle = angle > 360 ? std::fmod(angle, 360.0F) : angle;
  return angle > 180 ? angle - 360 : angle;
}

/// angleOf(bin)
template <class AngleOf>
void placeOrders(Angles& w, AngleOf angleOf) {
  for (size_t order = 1; order <= w.orders; ++order) {
    const auto number = static_cast<float>(order);
    const float position = number * binsPerOrder;
    const auto bin = static_cast<size_t>(position);
    const float lower = angleOf(bin);
    const float upper = angleOf(bin + 1);
    const float step = upper > lower ? upper - lower : upper - lower + 360;
    const float phase = (position - static_cast<float>(bin)) * step + (lower - number * phasePerOrder);
    w.angles[order] = wrapped(phase);
  }
}

void plainAngles(Angles& w) {
  placeOrders(w, [&](size_t bin) { return degrees(w.spectrum[2 * bin], w.spectrum[2 * bin + 1]); });
}

#if defined(KXCALC_BENCH_SLEEF)
#if defined(__AVX512F__)
using SleefVector = __m512d;
SleefVector sleefArctangent(SleefVector y, SleefVector x) {
  return Sleef_atan2d8_u10(y, x);
}
#elif defined(__AVX__)
using SleefVector = __m256d;
SleefVector sleefArctangent(SleefVector y, SleefVector x) {
  return Sleef_atan2d4_u10(y, x);
}
#else
using SleefVector = __m128d;
SleefVector sleefArctangent(SleefVector y, SleefVector x) {
  return Sleef_atan2d2_u10(y, x);
}
#endif

/// All arctangents first, a vector at a time.
void sleefAngles(Angles& w) {
  constexpr size_t width = sizeof(SleefVector) / sizeof(double), most = 128;
  double ordinates[most]{}, abscissas[most]{};
  size_t count = 0;
  for (size_t order = 1; order <= w.orders; ++order) {
    const float* const bins = w.spectrum + 2 * static_cast<size_t>(static_cast<float>(order) * binsPerOrder);
    for (const float* bin : {bins, bins + 2}) {
      ordinates[count] = static_cast<double>(bin[0]);
      abscissas[count++] = static_cast<double>(bin[1]);
    }
  }
  for (size_t i = 0; i < count; i += width) {
    SleefVector y, x;
    std::memcpy(&y, ordinates + i, sizeof y);
    std::memcpy(&x, abscissas + i, sizeof x);
    y = sleefArctangent(y, x);
    std::memcpy(ordinates + i, &y, sizeof y);
  }
  size_t next = 0;
  placeOrders(w, [&](size_t /*bin*/) {
    const auto angle = static_cast<float>(ordinates[next++] * 57.2957763671875);
    return angle < 0 ? angle + 360 : angle;
  });
}
#endif

void compareAngles() {
  Comparison comparison(
      "kxcalcPowerAngles", "",
      [](size_t orders) {
        return Angles{samples<float>(Signal::otherNoise), orders, std::vector<float>(orders + 1)};
      },
      [](const Functions& functions, Angles& w) {
        functions.kxcalcPowerAngles(w.spectrum, w.angles.data(), static_cast<int32_t>(w.orders), phasePerOrder,
                                    binsPerOrder);
      },
      {50});

  const Contract rounding = otherBits("the rounding of each operation", otherRoundings);
  comparison.plain(rounding, plainAngles);
  comparison.reordered(rounding, plainAngles);
#if defined(KXCALC_BENCH_SLEEF)
  comparison.library("SLEEF", rounding, sleefAngles);
#endif
}

const bool registered = [] {
  compareSums();
  compareAngles();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
