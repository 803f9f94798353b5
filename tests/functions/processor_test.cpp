// Which builds the processor runs: a second opinion from the system, and names that fit the list of the builds.
#include "functions/processor.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> namesOfVariants() {
  std::ifstream file(KXCALC_VARIANTS_FILE);
  std::vector<std::string> names;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.front() != '#') {
      names.push_back(line.substr(0, line.find(' ')));
    }
  }
  return names;
}

TEST(Processor, RunsVariantsInTheOrderOfTheList) {
  const std::vector<std::string> names = namesOfVariants();
  ASSERT_GE(names.size(), 5U);
  size_t next = 0;
  for (const std::string_view variant : kxcalc::runnableVariants()) {
    const auto found = std::find(names.begin() + static_cast<ptrdiff_t>(next), names.end(), variant);
    ASSERT_NE(found, names.end()) << variant << " is not in the list, or not in its order";
    next = static_cast<size_t>(found - names.begin()) + 1;
  }
}

TEST(Processor, RunsThePortableBuildAndNoneWithoutAName) {
  EXPECT_TRUE(kxcalc::runsVariant("portable"));
  EXPECT_EQ(kxcalc::runnableVariants().back(), "portable");
  EXPECT_FALSE(kxcalc::runsVariant(""));
  EXPECT_FALSE(kxcalc::runsVariant("avx"));
}

#if defined(__linux__) && defined(__x86_64__)

/// The system's own account. An emulator shows the processor that it runs on instead.
std::set<std::string> flagsOfTheSystem() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("flags")) {
      std::istringstream words(line);
      return {std::istream_iterator<std::string>(words), {}};
    }
  }
  return {};
}

TEST(Processor, AgreesWithTheSystem) {
  const std::set<std::string> flags = flagsOfTheSystem();
  if (flags.empty()) {
    GTEST_SKIP() << "the system does not tell";
  }
  const auto all = [&](std::initializer_list<const char*> names) {
    return std::all_of(names.begin(), names.end(), [&](const char* name) { return flags.contains(name); });
  };
  EXPECT_EQ(kxcalc::runsVariant("sse41"), all({"sse4_1"}));
  EXPECT_EQ(kxcalc::runsVariant("avx2"), all({"avx2", "bmi1", "bmi2", "fma", "f16c", "movbe", "abm", "sse4_2"}));
  EXPECT_EQ(kxcalc::runsVariant("avx512"), all({"avx2", "avx512f", "avx512bw", "avx512cd", "avx512dq", "avx512vl"}));
  EXPECT_FALSE(kxcalc::runsVariant("neon"));
}

#endif

}  // namespace
