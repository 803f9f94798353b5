#include <algorithm>
#include <array>
#include <complex>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

using Bin = std::complex<float>;

const std::vector<size_t> binCounts{blockSizes[0], blockSizes[1], 5'000'000};

#if defined(KXCALC_BENCH_EIGEN)
auto eigenBins(const float* bins, size_t count) {
  using Array = Eigen::Array<Bin, Eigen::Dynamic, 1>;
  return Eigen::Map<const Array>(reinterpret_cast<const Bin*>(bins), static_cast<Eigen::Index>(count));
}
auto eigenBins(float* bins, size_t count) {
  using Array = Eigen::Array<Bin, Eigen::Dynamic, 1>;
  return Eigen::Map<Array>(reinterpret_cast<Bin*>(bins), static_cast<Eigen::Index>(count));
}
#endif

#if defined(KXCALC_BENCH_VOLK)
/// Also of what is only read: not every function of it says so.
lv_32fc_t* volkBins(const float* bins) {
  return reinterpret_cast<lv_32fc_t*>(const_cast<float*>(bins));
}
#endif

float* copyOfNoise(size_t bins) {
  float* const spectrum = scratch<float>(2 * bins);
  std::copy_n(samples<float>(Signal::noise), 2 * bins, spectrum);
  return spectrum;
}

/// Runs take it by value: it could be what a write to spectrum changes, for all that the compiler knows.
struct Change {
  float* spectrum;
  const float* correction;
  size_t bins;

  /// Small values are as exact as large ones.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(spectrum, 2 * bins);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

/// Factors of magnitude 1 keep the data in its range, however often they are applied.
const float* turns() {
  static const std::vector<float> factors = [] {
    constexpr std::array<Bin, 4> turn{Bin{0.6F, 0.8F}, {0.8F, -0.6F}, {-0.28F, 0.96F}, {0.96F, 0.28F}};
    std::vector<float> all;
    for (size_t bin = 0; bin < binCounts.back(); ++bin) {
      all.insert(all.end(), {turn[bin % turn.size()].real(), turn[bin % turn.size()].imag()});
    }
    return all;
  }();
  return factors.data();
}

void plainCorrection(Change w) {
  for (size_t i = 0; i < 2 * w.bins; i += 2) {
    const float real = w.spectrum[i], imaginary = w.spectrum[i + 1];
    w.spectrum[i] = real * w.correction[i] - imaginary * w.correction[i + 1];
    w.spectrum[i + 1] = real * w.correction[i + 1] + imaginary * w.correction[i];
  }
}

void compareCorrection() {
  Comparison comparison(
      "kxcalcPowerCorrectFFT_U", "",
      [](size_t bins) {
        return Change{copyOfNoise(bins), turns(), bins};
      },
      [](const Functions& functions, Change& w) {
        functions.kxcalcPowerCorrectFFT_U(w.spectrum, w.correction, static_cast<int32_t>(w.bins));
      },
      binCounts);
  comparison.limitedByTraffic<Traffic{.first = 8, .second = 8, .output = 8, .inPlace = true}>([](Change& w) {
    return Streams{w.spectrum, w.correction, w.spectrum};
  });

  const Contract rounding = otherBits("the rounding of each operation", otherRoundings);
  comparison.plain(sameBits(), plainCorrection);
  comparison.reordered(rounding, plainCorrection);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", rounding,
                     [](Change w) { eigenBins(w.spectrum, w.bins) *= eigenBins(w.correction, w.bins); });
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", rounding, [](Change w) {
    volk_32fc_x2_multiply_32fc(volkBins(w.spectrum), volkBins(w.spectrum), volkBins(w.correction),
                               static_cast<unsigned>(w.bins));
  });
#endif
}

void plainConjugation(Change w) {
  for (size_t i = 1; i < 2 * w.bins; i += 2) {
    w.spectrum[i] = -w.spectrum[i];
  }
}

void compareConjugation() {
  Comparison comparison(
      "kxcalcPowerNegateImag_float", "",
      [](size_t bins) {
        return Change{copyOfNoise(bins), nullptr, bins};
      },
      [](const Functions& functions, Change& w) {
        functions.kxcalcPowerNegateImag_float(w.spectrum, static_cast<uint32_t>(2 * w.bins));
      },
      binCounts);
  comparison.limitedByTraffic<Traffic{.first = 8, .output = 8, .inPlace = true}>([](Change& w) {
    return Streams{w.spectrum, nullptr, w.spectrum};
  });

  comparison.plain(sameBits(), plainConjugation);
  comparison.reordered(sameBits("the signs of zeros"), plainConjugation);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits(), [](Change w) {
    auto spectrum = eigenBins(w.spectrum, w.bins);
    spectrum = spectrum.conjugate();
  });
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", sameBits(), [](Change w) {
    volk_32fc_conjugate_32fc(volkBins(w.spectrum), volkBins(w.spectrum), static_cast<unsigned>(w.bins));
  });
#endif
}

struct Search {
  const float* spectrum;
  size_t bins;
  std::vector<float> own;  // where the bins are not those of a signal
  uint32_t strongest = 0;

  /// Of several equal bins, which is found does not matter here.
  std::vector<Quantity> results() const {
    return {std::norm(Bin(spectrum[2 * strongest], spectrum[2 * strongest + 1]))};
  }
};

Search noise(size_t bins) {
  return {samples<float>(Signal::noise), bins, {}};
}

/// Each bin is stronger than the one before.
Search rising(size_t bins) {
  Search w{nullptr, bins, {}};
  for (size_t bin = 0; bin < bins; ++bin) {
    w.own.insert(w.own.end(), {static_cast<float>(bin), 1});
  }
  w.spectrum = w.own.data();
  return w;
}

void plainSearch(Search& w) {
  float best = 0;
  uint32_t strongest = 0;
  for (size_t bin = 1; bin < w.bins; ++bin) {
    const float real = w.spectrum[2 * bin], imaginary = w.spectrum[2 * bin + 1];
    const float magnitude = real * real + imaginary * imaginary;
    if (magnitude > best) {
      best = magnitude;
      strongest = static_cast<uint32_t>(bin);
    }
  }
  w.strongest = strongest;
}

#if defined(KXCALC_BENCH_EIGEN)
void eigenSearch(Search& w) {
  Eigen::Index strongest = 0;
  eigenBins(w.spectrum + 2, w.bins - 1).abs2().maxCoeff(&strongest);
  w.strongest = static_cast<uint32_t>(strongest) + 1;
}
#endif

#if defined(KXCALC_BENCH_VOLK)
void volkSearch(Search& w) {
  volk_32fc_index_max_32u(&w.strongest, volkBins(w.spectrum + 2), static_cast<unsigned>(w.bins - 1));
  ++w.strongest;
}
#endif

template <class Make>
void compareSearch(const char* variant, Make make, std::vector<size_t> counts) {
  Comparison comparison(
      "kxcalcPowerFindIndexOfMaxAmplitude", variant, make,
      [](const Functions& functions, Search& w) {
        w.strongest = functions.kxcalcPowerFindIndexOfMaxAmplitude(w.spectrum, static_cast<uint32_t>(w.bins));
      },
      std::move(counts));
  comparison.template limitedByTraffic<Traffic{.first = 8}>([](Search& w) { return Streams{w.spectrum}; });

  const Contract ties = otherBits("the rounding of each operation, which of equal bins is found", otherRoundings);
  comparison.plain(sameBits(), plainSearch);
  comparison.reordered(ties, plainSearch);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", ties, eigenSearch);
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", ties, volkSearch);
#endif
}

struct Energy {
  const float* spectrum;
  size_t bins;
  double sum;

  std::vector<Quantity> results() const { return {sum}; }
};

void plainEnergy(Energy& w) {
  double sum = 0;
  for (size_t i = 0; i < 2 * w.bins; i += 2) {
    const auto real = static_cast<double>(w.spectrum[i]), imaginary = static_cast<double>(w.spectrum[i + 1]);
    sum += real * real + imaginary * imaginary;
  }
  w.sum = sum;
}

void compareEnergy() {
  Comparison comparison(
      "kxcalcPowerHarmonicZero", "",
      [](size_t bins) {
        return Energy{samples<float>(Signal::noise), bins, 0};
      },
      [](const Functions& functions, Energy& w) {
        w.sum = functions.kxcalcPowerHarmonicZero(w.spectrum, static_cast<uint32_t>(w.bins));
      },
      binCounts);
  comparison.limitedByTraffic<Traffic{.first = 8}>([](Energy& w) { return Streams{w.spectrum}; });
  comparison.limitedByChain(1);

  const Contract order = otherBits("the order of the sum", sumsInOtherOrder);
  comparison.plain(sameBits(), plainEnergy);
  comparison.reordered(order, plainEnergy);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", order, [](Energy& w) {
    w.sum = eigenArray(w.spectrum, 2 * w.bins).template cast<double>().square().sum();
  });
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", otherBits("the order of the sum, a sum in double", sumsInSingle), [](Energy& w) {
    float sum = 0;
    volk_32f_x2_dot_prod_32f(&sum, w.spectrum, w.spectrum, static_cast<unsigned>(2 * w.bins));
    w.sum = static_cast<double>(sum);
  });
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  comparison.library(
      "OpenBLAS", otherBits("the order of the sum, a sum in double throughout", sumsInSingle),
      [](Energy& w) { w.sum = cblas_dsdot(static_cast<blasint>(2 * w.bins), w.spectrum, 1, w.spectrum, 1); });
#endif
}

const bool registered = [] {
  compareCorrection();
  compareConjugation();
  compareSearch("noise", noise, binCounts);
  compareSearch("rising", rising, {blockSizes[0]});
  compareEnergy();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
