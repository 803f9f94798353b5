// The memory accesses of a job without its arithmetic: the bandwidth that limits it, at its own block sizes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace kxcalc::bench {

/// Bytes that a job reads and writes for each element.
struct Traffic {
  std::size_t first;
  std::size_t second = 0;
  std::size_t output = 0;
  bool inPlace = false;  // the output replaces first
};

// Every build of a bench file has its own: 16-byte accesses in the base build, the machine's widest in the native one.
namespace {

#if defined(KXCALC_BENCH_BUILD_NATIVE) && defined(__AVX512F__)
typedef uint64_t Access __attribute__((vector_size(64)));
#elif defined(KXCALC_BENCH_BUILD_NATIVE) && defined(__AVX__)
typedef uint64_t Access __attribute__((vector_size(32)));
#else
typedef uint64_t Access __attribute__((vector_size(16)));
#endif

template <std::size_t count, class Step>
[[gnu::always_inline]] inline void unrolled(Step step) {
  [&]<std::size_t... k>(std::index_sequence<k...>) {
    (step(std::integral_constant<std::size_t, k>()), ...);
  }
  (std::make_index_sequence<count>());
}

template <Traffic traffic>
class TrafficPass {
public:
  const char* first;
  const char* second;
  char* output;
  std::size_t count;

  /// Returns something that depends on everything that was read and not written.
  [[gnu::always_inline]] inline uint64_t run() const {
    Access accumulators[8]{};
    std::size_t i = 0;
    for (; i + unrolling * elements <= count; i += unrolling * elements) {
      unrolled<unrolling>([&](auto k) { step(i + k * elements, accumulators[k]); });
    }
    for (; i + elements <= count; i += elements) {
      step(i, accumulators[0]);
    }
    Access all{};
    for (const Access& accumulator : accumulators) {
      all ^= accumulator;
    }
    return all[0];
  }

private:
  static constexpr std::size_t unlessZero(std::size_t bytes) { return bytes == 0 ? traffic.first : bytes; }
  static constexpr std::size_t narrowest =
      std::min({traffic.first, unlessZero(traffic.second), unlessZero(traffic.output)});
  static constexpr std::size_t elements = sizeof(Access) / narrowest;  // of a step
  static constexpr std::size_t firstAccesses = traffic.first / narrowest;
  static constexpr std::size_t secondAccesses = traffic.second / narrowest;
  static constexpr std::size_t outputAccesses = traffic.output / narrowest;
  static constexpr std::size_t unrolling = outputAccesses == 0 ? 8 : 4;
  // Where an element is a cache line or more, one access a line will do.
  static constexpr std::size_t firstDistance = traffic.first < 64 ? 1 : 64 / sizeof(Access);

  [[gnu::always_inline]] inline void step(std::size_t i, Access& accumulator) const {
    Access mixed = outputAccesses == 0 ? accumulator : Access{} + (traffic.inPlace ? 1 : 0);
    unrolled<firstAccesses / firstDistance>(
        [&](std::size_t k) { mixed ^= load(first + i * traffic.first + k * firstDistance * sizeof(Access)); });
    unrolled<secondAccesses>([&](std::size_t k) { mixed ^= load(second + i * traffic.second + k * sizeof(Access)); });
    unrolled<outputAccesses>(
        [&](std::size_t k) { std::memcpy(output + i * traffic.output + k * sizeof(Access), &mixed, sizeof mixed); });
    if constexpr (outputAccesses == 0) {
      accumulator = mixed;
    }
  }

  [[gnu::always_inline]] static inline Access load(const char* from) {
    Access access;
    std::memcpy(&access, from, sizeof access);
    return access;
  }
};

}  // namespace
}  // namespace kxcalc::bench
