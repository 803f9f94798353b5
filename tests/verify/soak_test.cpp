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

#include "exercises.hpp"
#include "functions/linked.hpp"

namespace {

std::chrono::seconds duration() {
  const char* const seconds = std::getenv("KXCALC_SOAK_SECONDS");
  return std::chrono::seconds(seconds == nullptr ? 60 : std::atoi(seconds));
}

TEST(Soak, EightThreadsGetWhatOneGets) {
  constexpr std::size_t threadCount = 8;
  const auto exercises = kxverify::exercises();
  std::vector<std::string> expected;
  for (const kxverify::Exercise& exercise : exercises) {
    expected.push_back(hashOf(exercise, kxcalc::linkedFunctions));
  }
  const auto end = std::chrono::steady_clock::now() + duration();
  std::atomic<std::size_t> runs = 0;
  std::vector<std::string> differences(threadCount);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      // Strides that share no factor with the number of exercises: each thread meets them all, in its own order.
      static_assert(threadCount == 8);
      constexpr std::size_t strides[] = {1, 3, 5, 7, 9, 11, 13, 15};
      std::size_t next = thread;
      do {
        next = (next + strides[thread]) % exercises.size();
        if (hashOf(exercises[next], kxcalc::linkedFunctions) != expected[next]) {
          differences[thread] = exercises[next].name;
        }
        ++runs;
      } while (std::chrono::steady_clock::now() < end);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(differences, std::vector<std::string>(threadCount));
  EXPECT_GE(runs, exercises.size());
  std::printf("%zu runs of %zu functions\n", runs.load(), exercises.size());
}

}  // namespace
