#include "support/samples.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <type_traits>

namespace kxcalc::bench {
namespace {

constexpr std::align_val_t alignment{64};
size_t largest = blockSizes.back();

struct Release {
  void operator()(void* memory) const { operator delete(memory, alignment); }
};
template <class T>
using Buffer = std::unique_ptr<T[], Release>;

/// Every page is written, so that none is first touched, or is the shared page of zeros, while it is measured.
template <class T>
Buffer<T> makeBuffer(size_t count, const std::function<T(size_t)>& value) {
  Buffer<T> buffer(static_cast<T*>(operator new(count * sizeof(T), alignment)));
  for (size_t i = 0; i < count; ++i) {
    buffer[i] = value(i);
  }
  return buffer;
}

/// Evenly distributed over [-1, 1).
double even(std::minstd_rand& random) {
  return std::ldexp(static_cast<double>(random()), -30) - 1;
}

template <class T>
Buffer<T> fill(Signal signal) {
  std::minstd_rand random(static_cast<unsigned>(signal) + 1);
  if constexpr (std::is_integral_v<T>) {
    const double scale = signal == Signal::range16   ? 0x1p15
                         : signal == Signal::range24 ? 0x1p23
                                                     : std::ldexp(1.0, 8 * sizeof(T) - 1);
    const double middle = std::is_signed_v<T> ? 0 : scale;
    return makeBuffer<T>(largest, [&](size_t) { return static_cast<T>(std::floor(even(random) * scale) + middle); });
  } else {
    return makeBuffer<T>(largest, [&](size_t i) -> T {
      switch (signal) {
        case Signal::angles:
          return 100 * samples<T>(Signal::noise)[i];
        case Signal::silence:
          return 0;
        case Signal::correlated:
          return samples<T>(Signal::noise)[i] * static_cast<T>(1.5 + 0.5 * even(random));
        case Signal::oneNaN:
          return i == 5 ? std::numeric_limits<T>::quiet_NaN() : samples<T>(Signal::noise)[i];
        case Signal::otherNoise:
          return static_cast<T>(even(random));
        default:
          return static_cast<T>(even(random) + 0.25);
      }
    });
  }
}

}  // namespace

/// Some jobs take two blocks side by side or every fourth sample, where that is less than the largest block, and
/// tables.
void expectBlocksUpTo(size_t count) {
  constexpr size_t tables = 8'192;
  largest = std::min(blockSizes.back(), std::max(tables, 4 * count));
}

template <class T>
const T* samples(Signal signal) {
  static std::map<Signal, Buffer<T>> signals;
  auto found = signals.find(signal);
  if (found == signals.end()) {
    found = signals.emplace(signal, fill<T>(signal)).first;
  }
  return found->second.get();
}

template const float* samples<float>(Signal);
template const double* samples<double>(Signal);
template const int8_t* samples<int8_t>(Signal);
template const int16_t* samples<int16_t>(Signal);
template const int32_t* samples<int32_t>(Signal);
template const int64_t* samples<int64_t>(Signal);
template const uint8_t* samples<uint8_t>(Signal);
template const uint16_t* samples<uint16_t>(Signal);
template const uint32_t* samples<uint32_t>(Signal);

const int16_t* interleavedSamples() {
  static const Buffer<int16_t> buffer = makeBuffer<int16_t>(
      largest * largestStride, [noise = samples<int16_t>(Signal::noise)](size_t i) { return noise[i % largest]; });
  return buffer.get();
}

template <class T>
T* scratch(size_t count) {
  static const Buffer<T> buffer = makeBuffer<T>(largest, [](size_t) { return T{}; });
  std::fill_n(buffer.get(), count, T{});
  return buffer.get();
}

template float* scratch<float>(size_t);
template double* scratch<double>(size_t);
template int16_t* scratch<int16_t>(size_t);
template int32_t* scratch<int32_t>(size_t);

}  // namespace kxcalc::bench
