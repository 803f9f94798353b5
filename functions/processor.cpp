#include "functions/processor.hpp"

#include <algorithm>

namespace kxcalc {
namespace {

#if defined(__x86_64__) || defined(__i386__)

/// All that x86-64-v3 promises beyond the baseline and the compilers use, and that the system saves the registers: the
/// compiler's function asks for both. Level names are understood by GCC only, so its members are asked for one by one.
bool runsAvx2() {
  __builtin_cpu_init();
  return sizeof(void*) == 8 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
         __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("popcnt") &&
         __builtin_cpu_supports("sse4.2");
}
bool runsAvx512() {
  return runsAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
}
bool runsSse41() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("sse4.1");
}
bool runsNeon() {
  return false;
}

#else

bool runsAvx2() {
  return false;
}
bool runsAvx512() {
  return false;
}
bool runsSse41() {
  return false;
}
bool runsNeon() {
#if defined(__aarch64__)
  return true;  // of every 64-bit ARM processor
#else
  return false;
#endif
}

#endif

}  // namespace

std::vector<std::string_view> runnableVariants() {
  std::vector<std::string_view> variants;
  if (runsAvx512()) {
    variants.emplace_back("avx512");
  }
  if (runsAvx2()) {
    variants.emplace_back("avx2");
  }
  if (runsSse41()) {
    variants.emplace_back("sse41");
  }
  if (runsNeon()) {
    variants.emplace_back("neon");
  }
  variants.emplace_back("portable");
  return variants;
}

bool runsVariant(std::string_view variant) {
  const std::vector<std::string_view> variants = runnableVariants();
  return std::find(variants.begin(), variants.end(), variant) != variants.end();
}

}  // namespace kxcalc
