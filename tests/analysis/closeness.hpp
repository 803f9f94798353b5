// What the analyses' tests have in common: comparison to rounding, and streams in blocks.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <span>
#include <string>
#include <vector>

namespace kxanalysis_test {

/// To rounding: a part in 1e9 of the expected value.
inline void expectClose(double found, double expected, double relative = 1e-9) {
  EXPECT_NEAR(found, expected, relative * std::abs(expected));
}

inline void expectClose(std::complex<double> found, std::complex<double> expected, double relative = 1e-9) {
  EXPECT_LE(std::abs(found - expected), relative * std::abs(expected)) << found << " is not " << expected;
}

/// To the rounding of a single or two.
inline void expectSingle(float found, double expected) {
  expectClose(static_cast<double>(found), expected, 3e-7);
}

/// Calls feed(part) for a stream in blocks of one length, the last one of which may be shorter.
template <class T, class Feed>
void inBlocks(std::span<T> stream, size_t length, Feed feed) {
  for (size_t i = 0; i < stream.size(); i += length) {
    feed(stream.subspan(i, std::min(length, stream.size() - i)));
  }
}

/// What is wrong with something that was to be made; empty if nothing is.
template <class Made>
std::string problemOf(const Made& made) {
  return made ? "" : made.problem();
}

}  // namespace kxanalysis_test
