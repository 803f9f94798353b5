// The data of the benchmarks: filled once, long enough for the largest block that is measured, aligned to 64 bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kxcalc::bench {

/// Blocks that fit the first-level cache, the second-level cache, and neither.
inline constexpr std::array<std::size_t, 3> blockSizes{1'000, 32'000, 10'000'000};

/// The widest distance between samples of one channel.
inline constexpr std::size_t largestStride = 32;

/// Makes all data no longer than blocks of up to so many elements need; to be called before it is first asked for.
void expectBlocksUpTo(std::size_t count);

enum class Signal {
  noise,       // evenly distributed: singles and doubles in [-1, 1) about 0.25, integers in their whole range
  otherNoise,  // evenly distributed in [-1, 1), independent of noise
  correlated,  // of the same sign as noise
  angles,      // noise times 100
  silence,     // all +0
  oneNaN,      // noise whose sample 5 is a NaN
  range16,     // 32-bit samples that hold 16 bits
  range24,     // 32-bit samples that hold 24 bits
};

template <class T>
const T* samples(Signal signal);

/// 16-bit noise, largestStride times as long as the largest block.
const int16_t* interleavedSamples();

/// Room for the results of one run at a time, all 0: what the last run left there must not pass for the next one's.
template <class T>
T* scratch(std::size_t count);

}  // namespace kxcalc::bench
