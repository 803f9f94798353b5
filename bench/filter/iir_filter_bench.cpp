#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <numbers>
#include <type_traits>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

constexpr int32_t generalSections = 0, secondOrderSections = 3;
constexpr double limit = 1e10;

/// Coefficients b0, b1, ... and a0 = 1, a1, ...
struct Design {
  std::vector<double> b, a;

  size_t order() const { return b.size() - 1; }
};

/// A low-pass section at a sixth of the sampling rate.
Design lowPass(double quality) {
  const double angle = std::numbers::pi / 3;
  const double width = std::sin(angle) / (2 * quality);
  const double a0 = 1 + width;
  const double b0 = (1 - std::cos(angle)) / 2 / a0;
  return {{b0, 2 * b0, b0}, {1, -2 * std::cos(angle) / a0, (1 - width) / a0}};
}

std::vector<double> product(const std::vector<double>& p, const std::vector<double>& q) {
  std::vector<double> all(p.size() + q.size() - 1);
  for (size_t i = 0; i < p.size(); ++i) {
    for (size_t k = 0; k < q.size(); ++k) {
      all[i + k] += p[i] * q[k];
    }
  }
  return all;
}

/// Butterworth sections, all in one.
Design lowPassOfOrder(size_t order) {
  Design all{{1}, {1}};
  for (size_t i = 0; i < order; i += 2) {
    const double angle = static_cast<double>(i + 1) * std::numbers::pi / static_cast<double>(2 * order);
    const Design section = lowPass(1 / (2 * std::cos(angle)));
    all = {product(all.b, section.b), product(all.a, section.a)};
  }
  return all;
}

struct alignas(16) Tap {
  double x, y, b, a;
};

/// The section that a user would write, with the order of operations of second-order sections.
struct Biquad {
  double b0, b1, b2, a1, a2;
  double x1 = 0, x2 = 0, y1 = 0, y2 = 0;

  explicit Biquad(const Design& design)
      : b0(design.b[0]), b1(design.b[1]), b2(design.b[2]), a1(design.a[1]), a2(design.a[2]) {}

  double operator()(double x) {
    const double y = ((x2 * b2 + x1 * b1) - (y2 * a2 + y1 * a1)) + x * b0;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = std::max(std::min(limit, y), -limit);
    return y1;
  }
};

/// The same of any order; the latest sample is the last.
struct AnyOrder {
  Design design;
  std::vector<double> x, y;

  explicit AnyOrder(const Design& of) : design(of), x(of.b.size()), y(of.b.size()) {}

  double operator()(double input) {
    const size_t order = design.order();
    std::copy_n(x.begin() + 1, order, x.begin());
    std::copy_n(y.begin() + 1, order, y.begin());
    x[order] = input;
    double sum = 0;
    for (size_t k = 0; k < order; ++k) {
      sum += x[k] * design.b[order - k] - y[k] * design.a[order - k];
    }
    sum += input * design.b[0];
    y[order] = std::max(std::min(sum, limit), -limit);
    return y[order];
  }
};

#if defined(KXCALC_BENCH_LIQUID)
struct Destroy {
  void operator()(iirfilt_rrrf filter) const { iirfilt_rrrf_destroy(filter); }
};
using LiquidFilter = std::unique_ptr<iirfilt_rrrf_s, Destroy>;

LiquidFilter createLiquid(int32_t type, size_t sections, const Design& design) {
  std::vector<float> b, a;
  for (size_t section = 0; section < sections; ++section) {
    std::transform(design.b.begin(), design.b.end(), std::back_inserter(b),
                   [](double c) { return static_cast<float>(c); });
    std::transform(design.a.begin(), design.a.end(), std::back_inserter(a),
                   [](double c) { return static_cast<float>(c); });
  }
  const auto size = static_cast<unsigned>(design.b.size());
  return LiquidFilter(type == secondOrderSections
                          ? iirfilt_rrrf_create_sos(b.data(), a.data(), static_cast<unsigned>(sections))
                          : iirfilt_rrrf_create(b.data(), size, a.data(), size));
}
#endif

/// A stream of which each run filters one more block.
template <class Sample>
struct Stream {
  const Sample* input;
  Sample* output;
  size_t count;
  int32_t type;
  Design design;
  std::vector<double> gains;
  std::vector<Tap> taps;
  std::vector<Biquad> biquads;
  std::vector<AnyOrder> anyOrder;
#if defined(KXCALC_BENCH_LIQUID)
  LiquidFilter liquid;
#endif

  Stream(size_t samplesOfBlock, int32_t filterType, size_t sections, const Design& ofSection)
      : input(samples<Sample>(Signal::noise)),
        output(scratch<Sample>(samplesOfBlock)),
        count(samplesOfBlock),
        type(filterType),
        design(ofSection),
        gains(sections, 1),
        biquads(filterType == secondOrderSections ? sections : 0, Biquad(ofSection)),
        anyOrder(sections, AnyOrder(ofSection)) {
    for (size_t section = 0; section < sections; ++section) {
      for (size_t delay = design.b.size(); delay-- > 0;) {
        taps.push_back({0, 0, design.b[delay], design.a[delay]});
      }
    }
#if defined(KXCALC_BENCH_LIQUID)
    liquid = createLiquid(type, sections, design);
#endif
  }

  IIRFilterState state() {
    return {type,           static_cast<int32_t>(gains.size()), static_cast<int32_t>(design.order()), 0, gains.data(),
            &taps.front().x};
  }

  /// Small values are as exact as large ones.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

template <class Sample, class Section>
void plain(const Stream<Sample>& w, std::vector<Section>& sections) {
  for (size_t i = 0; i < w.count; ++i) {
    auto value = static_cast<double>(w.input[i]);
    for (Section& section : sections) {
      value = section(value);
    }
    w.output[i] = static_cast<Sample>(value);
  }
}

template <class Sample, class Export>
void compare(const char* name, const char* variant, int32_t type, size_t sections, const Design& design,
             Export kernel) {
  using Workload = Stream<Sample>;
  Comparison comparison(
      name, variant, [=](size_t count) { return Workload(count, type, sections, design); },
      [kernel](const Functions& functions, Workload& w) {
        const IIRFilterState state = w.state();
        for (size_t i = 0; i < w.count; ++i) {
          w.output[i] = (functions.*kernel)(&state, w.input[i]);
        }
      },
      {blockSizes[0]});
  // From one output to the next: the product with a1, two sums or differences, the current term.
  comparison.limitedByChain(4);

  const auto loop = [type](Workload& w) {
    if (type == secondOrderSections) {
      plain(w, w.biquads);
    } else {
      plain(w, w.anyOrder);
    }
  };
  comparison.plain(sameBits(), loop);
  comparison.reordered(otherBits("the rounding of each operation", otherRoundings), loop);
#if defined(KXCALC_BENCH_LIQUID)
  if constexpr (std::is_same_v<Sample, float>) {
    comparison.library("liquid", otherBits("arithmetic in double, the limits", sumsInSingle), [](Workload& w) {
      iirfilt_rrrf_execute_block(w.liquid.get(), const_cast<float*>(w.input), static_cast<unsigned>(w.count), w.output);
    });
  }
#endif
}

template <class Sample, class Export>
void compareType(const char* name, Export kernel) {
  const Design section = lowPass(0.7);
  compare<Sample>(name, "1-section", secondOrderSections, 1, section, kernel);
  compare<Sample>(name, "4-sections", secondOrderSections, 4, section, kernel);
  compare<Sample>(name, "8-sections", secondOrderSections, 8, section, kernel);
  compare<Sample>(name, "general-order-2", generalSections, 1, lowPassOfOrder(2), kernel);
  compare<Sample>(name, "general-order-8", generalSections, 1, lowPassOfOrder(8), kernel);
}

const bool registered = [] {
  compareType<float>("kxcalcIIRFilter_float", &Functions::kxcalcIIRFilter_float);
  compareType<double>("kxcalcIIRFilter_double", &Functions::kxcalcIIRFilter_double);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
