// No call writes the floating-point control register: rounding, traps and the treatment of denormals stay the caller's.
#include <gtest/gtest.h>

#include <cfenv>
#include <cstdint>
#include <limits>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

#include "functions/calls/recording.hpp"
#include "functions/linked.hpp"
#include "support/ordinary_calls.hpp"

namespace {

using support::callOrdinarily;

#if defined(__SSE__)
uint32_t controlRegister() {
  constexpr uint32_t exceptionFlags = 0x3F;  // set by arithmetic
  return _mm_getcsr() & ~exceptionFlags;
}
void setFlushingOfDenormals(bool on) {
  constexpr uint32_t inputsToo = 0x40;  // denormals-are-zero
  _MM_SET_FLUSH_ZERO_MODE(on ? _MM_FLUSH_ZERO_ON : _MM_FLUSH_ZERO_OFF);
  _mm_setcsr(on ? _mm_getcsr() | inputsToo : _mm_getcsr() & ~inputsToo);
}
#elif defined(__aarch64__)
uint64_t controlRegister() {
  uint64_t value;
  __asm__ volatile("mrs %0, fpcr" : "=r"(value));  // the exception flags lie in a register of their own
  return value;
}
void setFlushingOfDenormals(bool on) {
  constexpr uint64_t flushToZero = uint64_t{1} << 24;  // inputs and results
  const uint64_t value = on ? controlRegister() | flushToZero : controlRegister() & ~flushToZero;
  __asm__ volatile("msr fpcr, %0" ::"r"(value) : "memory");
}
#else
#error "how is this processor told to flush denormals?"
#endif

TEST(FloatingPointControl, FlushingOfDenormalsIsSwitchedOnAndOff) {
  const volatile double smallest = std::numeric_limits<double>::min();
  const auto half = [&] { return smallest * 0.5; };
  EXPECT_GT(half(), 0);
  setFlushingOfDenormals(true);
  const double flushed = half();
  setFlushingOfDenormals(false);
  EXPECT_EQ(flushed, 0);
  EXPECT_GT(half(), 0);
}

TEST(FloatingPointControl, NoExportChangesIt) {
  for (const int rounding : {FE_TONEAREST, FE_UPWARD, FE_TOWARDZERO}) {
    for (const bool flushes : {false, true}) {
      for (const kxcalc::calls::Description& description : kxcalc::calls::descriptions()) {
        kxcalc::calls::Recording ignored;
        std::fesetround(rounding);
        setFlushingOfDenormals(flushes);
        const auto before = controlRegister();
        callOrdinarily(description, kxcalc::linkedFunctions, ignored);
        const auto after = controlRegister();
        const int roundingAfter = std::fegetround();
        setFlushingOfDenormals(false);
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(after, before) << description.name;
        EXPECT_EQ(roundingAfter, rounding) << description.name;
      }
    }
  }
}

// The data holds no denormals, and nor do the results.
TEST(FloatingPointControl, FlushingOfDenormalsLeavesOrdinaryResultsAsTheyAre) {
  for (const kxcalc::calls::Description& description : kxcalc::calls::descriptions()) {
    kxcalc::calls::Recording expected;
    callOrdinarily(description, kxcalc::linkedFunctions, expected);
    kxcalc::calls::Comparison flushed(expected);
    setFlushingOfDenormals(true);
    callOrdinarily(description, kxcalc::linkedFunctions, flushed);
    setFlushingOfDenormals(false);
    EXPECT_EQ(flushed.difference(), "") << description.name;
  }
}

}  // namespace
