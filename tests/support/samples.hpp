// Test data: what measurement channels hold, and what they should not.
#ifndef KXCALC_TESTS_SUPPORT_SAMPLES_HPP
#define KXCALC_TESTS_SUPPORT_SAMPLES_HPP

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <span>
#include <vector>

#include "support/random.hpp"

namespace support {

enum class SampleClass {
  wholeRange,        // every sign, exponent and significand (integers: every bit pattern)
  signal,            // a tone with noise: within -1 and 1 (integers: within half of their range)
  offsetSignal,      // a small signal on a large constant
  twentyFourBits,    // whole numbers of 24 bits (16-bit samples: of 12), as a converter delivers them
  extremes,          // the ends of the range, the smallest steps, zeros and ones
  constant,          // one value throughout
  zeros,             // zeros, of both signs where there are two
  roundingTies,      // ones, then steps around half of the last bit of a small sum of them: additions that end in exact
                     // ties
  rareSpecials,      // a signal with a NaN, an infinity, a zero or a denormal here and there
  manySpecials,      // nothing but NaNs, infinities, zeros, denormals and extremes
  nansZerosAndOnes,  // where every comparison depends on the order of its operands
};

std::ostream& operator<<(std::ostream& stream, SampleClass sampleClass);

/// The classes that a sample type knows: integers have no specials.
template <typename T>
std::span<const SampleClass> sampleClasses();

template <typename T>
void fill(std::span<T> samples, SampleClass sampleClass, Random& random);

/// Random sign and payload, one in four signalling. Written through memory, which keeps a signalling NaN as it is.
template <typename T>
void setToNan(T& value, Random& random);

/// All counts from first to 67, which holds every head, some blocks and unrolled groups of them and every tail, and
/// counts around powers of two.
std::vector<uint32_t> smallCounts(uint32_t first);

/// Counts of many blocks, around typical sizes of chunks and above them.
std::vector<uint32_t> largeCounts();

constexpr std::size_t largestCount = 70001;

}  // namespace support

#endif
