#include "kxcalc.h"
#include "support/comparison.hpp"

namespace kxcalc::bench {
namespace {

/// A stream of which each run filters one more block.
struct Noise {
  const double* white;
  double* pink;
  size_t count;
  PinkFilterState state;

  /// Small values are as exact as large ones.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(pink, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

void plain(Noise& w) {
  PinkFilterState s = w.state;
  for (size_t i = 0; i < w.count; ++i) {
    const double white = 0.2 * w.white[i];
    s.b0 = s.b0 * 0.99886 + white * 0.0555179;
    s.b1 = s.b1 * 0.99332 + white * 0.0750759;
    s.b2 = s.b2 * 0.969 + white * 0.153852;
    s.b3 = s.b3 * 0.8665 + white * 0.3104856;
    s.b4 = s.b4 * 0.55 + white * 0.5329522;
    s.b5 = s.b5 * -0.7616 + white * -0.016898;
    s.b6 = 0.115926 * white;
    s.b7 = 0.5362 * white;
    w.pink[i] = (s.b0 + s.b2 + s.b4 + s.b6) + (s.b1 + s.b3 + s.b5 + s.b7);
  }
  w.state = s;
}

const bool registered = [] {
  Comparison comparison(
      "kxcalcPinkFilter_double", "",
      [](size_t count) {
        return Noise{samples<double>(Signal::otherNoise), scratch<double>(count), count, {}};
      },
      [](const Functions& functions, Noise& w) {
        for (size_t i = 0; i < w.count; ++i) {
          w.pink[i] = functions.kxcalcPinkFilter_double(&w.state, w.white[i]);
        }
      },
      {blockSizes[0]});
  comparison.limitedByChain(2);  // the product with the pole, the sum

  comparison.plain(sameBits(), plain);
  comparison.reordered(otherBits("the rounding of each operation", otherRoundings), plain);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
