// Any number of threads may call anything at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "support/every_export.hpp"

namespace {

TEST(Threads, EveryExportGivesTheSameResultsWhileOthersRun) {
  constexpr std::size_t threadCount = 6;
  constexpr int rounds = 60;
  const std::vector<support::ExportCall> calls = support::everyExport();
  std::vector<std::vector<std::byte>> expected;
  for (const support::ExportCall& call : calls) {
    expected.push_back(call.results());
    ASSERT_TRUE(std::ranges::any_of(expected.back(), [](std::byte byte) { return byte != std::byte{0}; })) << call.name;
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
          if (calls[next].results() != expected[next]) {
            differences[thread] = calls[next].name;
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
