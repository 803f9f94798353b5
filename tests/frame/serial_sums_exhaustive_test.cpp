// The engine of serial sums against the chain: every block of four terms of six bits, and a thousand million random blocks
// of doubles. Minutes, not seconds.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <thread>
#include <vector>

#include "frame/serial_sums.hpp"
#include "frame/six_bit_numbers.hpp"

namespace {

constexpr uint32_t threadCount = 2;

/// part(0), part(1) ... on threads of their own.
template <typename Part>
void inParallel(Part part) {
  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < threadCount; ++i) {
    threads.emplace_back(part, i);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(SerialSumsOfEveryBlock, OfFourTermsOfSixBitsEqualTheChain) {
  std::atomic<uint32_t> next = 0;
  std::atomic<bool> equal = true;
  inParallel([&](uint32_t) {
    for (uint32_t first = next++; first < six_bits::terms.size() && equal; first = next++) {
      for (const uint8_t b : six_bits::terms) {
        for (const uint8_t c : six_bits::terms) {
          for (const uint8_t d : six_bits::terms) {
            const std::array<uint8_t, 4> block{six_bits::terms[first], b, c, d};
            if (!six_bits::addsWhatTheChainAdds<1>(block) || !six_bits::addsWhatTheChainAdds<2>(block)) {
              equal = false;
              ADD_FAILURE() << testing::PrintToString(block);
              return;
            }
          }
        }
      }
    }
  });
}

/// A quick source of random bits (Marsaglia, "Xorshift RNGs", 2003).
struct Xorshift {
  uint64_t state;
  uint64_t next() {
    state ^= state << 13;
    state ^= state >> 7;
    return state ^= state << 17;
  }
};

/// Eight runs of one term: of few or many significant bits, from far below the sum's unit to above the sum.
bool aRandomBlockEqualsTheChain(Xorshift& random) {
  constexpr uint64_t binade = uint64_t{1} << 52;
  const uint64_t choice = random.next();
  const uint64_t field = 60 + choice % 1900, start = (field << 52) | (random.next() & (binade - 1));
  const uint64_t spread = 1 + (choice >> 32) % 60, lowest = 56 - (choice >> 40) % 8 - (choice >> 48) % spread;
  double terms[kxcalc::runsSideBySide], lanes[kxcalc::runsSideBySide];
  for (std::size_t run = 0; run < kxcalc::runsSideBySide; ++run) {
    const uint64_t bits = random.next();
    const uint64_t significand = bits & (binade - 1) & ~uint64_t{0} << ((bits >> 52) % 4 * 17);
    terms[run] = std::bit_cast<double>(((field - lowest + (bits >> 56) % spread) << 52) | significand);
    lanes[kxcalc::runOfLane[run]] = terms[run];
  }

  const auto first = std::bit_cast<double>(start);
  double chain = first, expected = first;
  std::size_t runs = 0;
  for (; runs < kxcalc::runsSideBySide; ++runs) {
    chain += terms[runs];
    if (std::bit_cast<uint64_t>(chain) >> 52 != field) {
      break;
    }
    expected = chain;
  }
  uint64_t sum = start;
  kxcalc::Runs<kxcalc::Doubles> sideBySide(field << 52);
  sideBySide.add(kxcalc::loadPack<kxcalc::runsSideBySide>(lanes));
  uint64_t sumOfFirst = start;
  if (sideBySide.addAllTo(sum) != (runs == kxcalc::runsSideBySide)) {
    return false;
  }
  return sideBySide.addFirstTo(sumOfFirst) == runs && std::bit_cast<double>(sumOfFirst) == expected &&
         (runs < kxcalc::runsSideBySide || sum == sumOfFirst);
}

TEST(SerialSumsOfRandomBlocks, OfDoublesEqualTheChain) {
  constexpr uint64_t blocks = 1000000000;
  std::atomic<bool> equal = true;
  inParallel([&](uint32_t thread) {
    Xorshift random{0x9E3779B97F4A7C15 + thread};
    for (uint64_t i = 0; i < blocks / threadCount && equal; ++i) {
      const uint64_t state = random.state;
      if (!aRandomBlockEqualsTheChain(random)) {
        equal = false;
        ADD_FAILURE() << "from state " << state << " on";
      }
    }
  });
}

}  // namespace
