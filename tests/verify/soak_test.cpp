// Eight threads run all functions for a minute, each in an order of its own, and get what one thread gets.
// KXCALC_SOAK_SECONDS changes how long.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "functions/linked.hpp"
#include "verify/input_sets.hpp"

namespace {

std::chrono::seconds duration() {
  const char* const seconds = std::getenv("KXCALC_SOAK_SECONDS");
  return std::chrono::seconds(seconds == nullptr ? 60 : std::atoi(seconds));
}

TEST(Soak, EightThreadsGetWhatOneGets) {
  constexpr std::size_t threadCount = 8;
  const auto descriptions = kxcalc::calls::descriptions();
  std::vector<std::string> expected;
  for (const kxverify::Description& description : descriptions) {
    expected.push_back(kxverify::hashOf(description, kxcalc::linkedFunctions));
  }
  const auto end = std::chrono::steady_clock::now() + duration();
  std::atomic<std::size_t> runs = 0;
  std::vector<std::string> differences(threadCount);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      // Strides that share no factor with the number of descriptions: each thread meets them all, in its own order.
      static_assert(threadCount == 8);
      constexpr std::size_t strides[] = {1, 3, 5, 7, 9, 11, 13, 15};
      std::size_t next = thread;
      do {
        next = (next + strides[thread]) % descriptions.size();
        if (kxverify::hashOf(descriptions[next], kxcalc::linkedFunctions) != expected[next]) {
          differences[thread] = descriptions[next].name;
        }
        ++runs;
      } while (std::chrono::steady_clock::now() < end);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(differences, std::vector<std::string>(threadCount));
  EXPECT_GE(runs, descriptions.size());
  std::printf("%zu runs of %zu functions\n", runs.load(), descriptions.size());
}

}  // namespace
