// Any number of threads may call anything at once.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "functions/calls/recording.hpp"
#include "functions/linked.hpp"
#include "support/ordinary_calls.hpp"

namespace {

using support::callOrdinarily;

TEST(Threads, EveryExportGivesTheSameResultsWhileOthersRun) {
  constexpr std::size_t threadCount = 6;
  constexpr int rounds = 60;
  const auto calls = kxcalc::calls::descriptions();
  std::vector<kxcalc::calls::Recording> expected(calls.size());
  for (std::size_t i = 0; i < calls.size(); ++i) {
    callOrdinarily(calls[i], kxcalc::linkedFunctions, expected[i]);
  }

  std::atomic<std::size_t> ready = 0;
  std::vector<std::string> differences(threadCount);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      ++ready;
      while (ready < threadCount) {
        std::this_thread::yield();
      }
      for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < calls.size(); ++i) {
          // Half of the threads run the same export at the same time, the others every other one.
          const std::size_t next = (thread % 2 == 0 ? i : i + thread) % calls.size();
          kxcalc::calls::Comparison comparison(expected[next]);
          callOrdinarily(calls[next], kxcalc::linkedFunctions, comparison);
          if (!comparison.difference().empty()) {
            differences[thread] = std::string(calls[next].name) + ": " + comparison.difference();
          }
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(differences, std::vector<std::string>(threadCount));
}

}  // namespace
