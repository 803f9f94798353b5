#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

/// Runs take it by value: it could be what a write to destination changes, for all that the compiler knows.
template <class From, class To>
struct Convert {
  const From* source;
  To* destination;
  size_t count;

  std::vector<Quantity> results() const { return elementsOf(destination, count); }
};

template <class From, class To>
void plain(Convert<From, To> w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.destination[i] = static_cast<To>(w.source[i]);
  }
}

#if defined(KXCALC_BENCH_EIGEN)
template <class From, class To>
void eigen(Convert<From, To> w) {
  eigenArray(w.destination, w.count) = eigenArray(w.source, w.count).template cast<To>();
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
template <class From, class To>
void highway(Convert<From, To> w) {
  const hn::ScalableTag<int32_t> wide;
  const hn::Rebind<int16_t, decltype(wide)> narrow;  // as many
  const size_t width = hn::Lanes(wide);
  const auto convert = [&](size_t at) {
    if constexpr (sizeof(To) == 4) {
      hn::StoreU(hn::PromoteTo(wide, hn::LoadU(narrow, w.source + at)), wide, w.destination + at);
    } else {
      const hn::RebindToUnsigned<decltype(wide)> wideBits;
      const hn::RebindToUnsigned<decltype(narrow)> narrowBits;
      const auto bits = hn::BitCast(wideBits, hn::LoadU(wide, w.source + at));
      hn::StoreU(hn::BitCast(narrow, hn::TruncateTo(narrowBits, bits)), narrow, w.destination + at);
    }
  };
  size_t i = forEachVector(0, w.count, 4 * width, [&](size_t at) {
    convert(at);
    convert(at + width);
    convert(at + 2 * width);
    convert(at + 3 * width);
  });
  i = forEachVector(i, w.count, width, convert);
  for (; i < w.count; ++i) {
    w.destination[i] = static_cast<To>(w.source[i]);
  }
}
#endif

template <class From, class To, class Export>
void compare(const char* name, Export kernel) {
  using Workload = Convert<From, To>;
  Comparison comparison(
      name, "",
      [](size_t count) {
        return Workload{samples<From>(Signal::noise), scratch<To>(count), count};
      },
      [kernel](const Functions& functions, Workload& w) {
        (functions.*kernel)(w.source, w.destination, static_cast<uint32_t>(w.count));
      });
  comparison.template limitedByTraffic<Traffic{.first = sizeof(From), .output = sizeof(To)}>([](Workload& w) {
    return Streams{w.source, nullptr, w.destination};
  });

  comparison.plain(sameBits(), plain<From, To>);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits(), eigen<From, To>);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", sameBits(), highway<From, To>);
#endif
}

const bool registered = [] {
  compare<int32_t, int16_t>("kxcalcConvertInt32ToInt16", &Functions::kxcalcConvertInt32ToInt16);
  compare<int16_t, int32_t>("kxcalcConvertInt16ToInt32", &Functions::kxcalcConvertInt16ToInt32);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
