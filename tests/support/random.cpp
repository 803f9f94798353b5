#include "support/random.hpp"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace support {
namespace {

std::string lineThatRepeats() {
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  std::error_code notLinux;
  const std::string executable = std::filesystem::read_symlink("/proc/self/exe", notLinux).string();
  return "repeat with: KXCALC_TEST_SEED=" + std::to_string(testSeed()) + ' ' +
         (executable.empty() ? "kxcalc-tests" : executable) + " --gtest_filter=" + test.test_suite_name() + '.' +
         test.name();
}

}  // namespace

uint64_t testSeed() {
  const char* chosen = std::getenv("KXCALC_TEST_SEED");
  return chosen != nullptr ? std::stoull(chosen) : 217;
}

TestRandom::TestRandom() : Random(testSeed()), trace_(__FILE__, __LINE__, lineThatRepeats()) {}

}  // namespace support
