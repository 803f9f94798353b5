#include <cstring>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

/// Room for count doubles.
template <class From, class To>
struct Buffer {
  unsigned char* bytes;
  size_t count;

  explicit Buffer(size_t elements)
      : bytes(reinterpret_cast<unsigned char*>(scratch<double>(elements))), count(elements) {
    for (size_t i = 0; i < count; ++i) {
      // A measurement narrows its own results again and again. From values of 4 on they grow; smaller ones would become
      // denormals, which are slow.
      write<From>(i, static_cast<From>(samples<float>(Signal::noise)[i] + 5));
    }
  }

  template <class T>
  T read(size_t i) const {
    T value;
    std::memcpy(&value, bytes + i * sizeof(T), sizeof value);
    return value;
  }
  template <class T>
  void write(size_t i, T value) const {
    std::memcpy(bytes + i * sizeof(T), &value, sizeof value);
  }

  std::vector<Quantity> results() const { return elementsOf(reinterpret_cast<const To*>(bytes), count); }
};

using Narrowing = Buffer<double, float>;
using Widening = Buffer<float, double>;

void plainNarrowing(Narrowing w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.write(i, static_cast<float>(w.read<double>(i)));
  }
}

void plainWidening(Widening w) {
  for (size_t i = w.count; i-- > 0;) {
    w.write(i, static_cast<double>(w.read<float>(i)));
  }
}

#if defined(KXCALC_BENCH_HIGHWAY)
template <class T, class D>
auto loadBytes(D lanes, const unsigned char* from) {
  return hn::BitCast(lanes, hn::LoadU(hn::Repartition<uint8_t, D>(), from));
}
template <class V, class D>
void storeBytes(V v, D /*lanes*/, unsigned char* to) {
  const hn::Repartition<uint8_t, D> bytes;
  hn::StoreU(hn::BitCast(bytes, v), bytes, to);
}

void highwayNarrowing(Narrowing w) {
  const hn::ScalableTag<double> doubles;
  const hn::Rebind<float, decltype(doubles)> singles;  // as many
  const size_t width = hn::Lanes(doubles);
  size_t i = forEachVector(0, w.count, width, [&](size_t at) {
    storeBytes(hn::DemoteTo(singles, loadBytes<double>(doubles, w.bytes + 8 * at)), singles, w.bytes + 4 * at);
  });
  for (; i < w.count; ++i) {
    w.write(i, static_cast<float>(w.read<double>(i)));
  }
}

void highwayWidening(Widening w) {
  const hn::ScalableTag<double> doubles;
  const hn::Rebind<float, decltype(doubles)> singles;
  const size_t width = hn::Lanes(doubles);
  size_t i = w.count;
  while (i % width != 0) {
    --i;
    w.write(i, static_cast<double>(w.read<float>(i)));
  }
  while (i != 0) {
    i -= width;
    storeBytes(hn::PromoteTo(doubles, loadBytes<float>(singles, w.bytes + 4 * i)), doubles, w.bytes + 8 * i);
  }
}
#endif

void compareNarrowing() {
  Comparison comparison(
      "kxcalcCADoubleArrToSingleArrInplace", "", [](size_t count) { return Narrowing(count); },
      [](const Functions& functions, Narrowing& w) {
        functions.kxcalcCADoubleArrToSingleArrInplace(w.bytes, static_cast<uint32_t>(w.count));
      });
  comparison.limitedByTraffic<Traffic{.first = 8, .output = 4, .inPlace = true}>([](Narrowing& w) {
    return Streams{w.bytes, nullptr, w.bytes};
  });
  comparison.plain(sameBits(), plainNarrowing);
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", sameBits(), highwayNarrowing);
#endif
}

/// The memory accesses alone go upward, so they read singles that stand elsewhere.
void compareWidening() {
  Comparison comparison(
      "kxcalcCASingleArrToDoubleArrInplace", "", [](size_t count) { return Widening(count); },
      [](const Functions& functions, Widening& w) {
        functions.kxcalcCASingleArrToDoubleArrInplace(w.bytes, static_cast<uint32_t>(w.count));
      });
  comparison.limitedByTraffic<Traffic{.first = 4, .output = 8}>([](Widening& w) {
    return Streams{samples<float>(Signal::noise), nullptr, w.bytes};
  });
  comparison.plain(sameBits(), plainWidening);
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", sameBits(), highwayWidening);
#endif
}

const bool registered = [] {
  compareNarrowing();
  compareWidening();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
