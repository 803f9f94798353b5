#include "reference/spline_interpolator.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>
#if defined(__GLIBC__)
#include <malloc.h>
#include <sys/resource.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

CHSInterpolatorParams paramsOf(double inputRate, double outputRate, uint32_t bufferLength) {
  CHSInterpolatorParams params{};
  params.inputRate = inputRate;
  params.outputRate = outputRate;
  params.bufferLength = bufferLength;
  return params;
}

/// What a call that delivers outputs gives; what it does not write keeps these values.
struct Delivery {
  const float* values = &untouched;
  uint32_t count = 4711;

  bool isUntouched() const { return values == &untouched && count == 4711; }
  std::span<const float> span() const { return {values, count}; }

  static inline const float untouched = -7;
};

/// An interpolator of the library, which is destroyed at the end.
class Interpolator {
public:
  explicit Interpolator(const CHSInterpolatorParams& params) {
    EXPECT_EQ(kxcalcCHSInterpolator_Create(&handle_, &params), uint32_t{KXCALC_SUCCESS});
  }
  Interpolator(const Interpolator&) = delete;
  Interpolator& operator=(const Interpolator&) = delete;
  ~Interpolator() { EXPECT_EQ(kxcalcCHSInterpolator_Destroy(handle_), uint32_t{KXCALC_SUCCESS}); }

  CHSInterpolator* handle() const { return handle_; }

  uint32_t feed(std::span<const float> block, Delivery& delivery) {
    return kxcalcCHSInterpolator_InterpolateValues(handle_, block.data(), static_cast<uint32_t>(block.size()),
                                                   &delivery.values, &delivery.count);
  }
  uint32_t stop(Delivery& delivery) { return kxcalcCHSInterpolator_Stop(handle_, &delivery.values, &delivery.count); }
  uint32_t reset() { return kxcalcCHSInterpolator_Reset(handle_); }

  /// The outputs of a call that has to succeed.
  std::vector<float> outputsOf(std::span<const float> block) {
    Delivery delivery;
    EXPECT_EQ(feed(block, delivery), uint32_t{KXCALC_SUCCESS});
    return delivery.isUntouched() ? std::vector<float>()
                                  : std::vector<float>(delivery.values, delivery.values + delivery.count);
  }
  std::vector<float> outputsOfStop() {
    Delivery delivery;
    EXPECT_EQ(stop(delivery), uint32_t{KXCALC_SUCCESS});
    return delivery.isUntouched() ? std::vector<float>()
                                  : std::vector<float>(delivery.values, delivery.values + delivery.count);
  }

private:
  CHSInterpolator* handle_ = nullptr;
};

/// An interpolator beside its model: every call goes to both.
class Subject {
public:
  explicit Subject(const CHSInterpolatorParams& params)
      : params_(params), actual_(params), input_(params.bufferLength + 8) {
    EXPECT_EQ(reference::kxcalcCHSInterpolator_Create(&model_, &params), uint32_t{KXCALC_SUCCESS});
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;
  ~Subject() { reference::kxcalcCHSInterpolator_Destroy(model_); }

  testing::AssertionResult feed(std::span<const float> block, const support::Placement& placement) {
    const std::span<float> placed = input_.place(block.size(), placement);
    std::ranges::copy(block, placed.begin());
    Delivery actual;
    Delivery expected;
    const uint32_t code = actual_.feed(placed, actual);
    const uint32_t expectedCode = reference::kxcalcCHSInterpolator_InterpolateValues(
        model_, block.data(), static_cast<uint32_t>(block.size()), &expected.values, &expected.count);
    testing::AssertionResult result = isSame(code, actual, expectedCode, expected);
    if (result && !(support::sameBits(placed, block) && input_.surroundingsIntact())) {
      result = testing::AssertionFailure() << "input changed";
    }
    return result ? result : result << "; block of " << block.size() << ", input " << placement;
  }

  testing::AssertionResult stop() {
    Delivery actual;
    Delivery expected;
    const uint32_t code = actual_.stop(actual);
    const uint32_t expectedCode = reference::kxcalcCHSInterpolator_Stop(model_, &expected.values, &expected.count);
    testing::AssertionResult result = isSame(code, actual, expectedCode, expected);
    return result ? result : result << "; stop";
  }

  testing::AssertionResult reset() {
    if (actual_.reset() != reference::kxcalcCHSInterpolator_Reset(model_)) {
      return testing::AssertionFailure() << "codes of reset differ";
    }
    return testing::AssertionSuccess();
  }

  Interpolator& actual() { return actual_; }
  reference::SplineInterpolator& model() { return *reference::modelOf(model_); }

private:
  testing::AssertionResult isSame(uint32_t code, const Delivery& actual, uint32_t expectedCode,
                                  const Delivery& expected) {
    testing::AssertionResult result = testing::AssertionSuccess();
    if (code != expectedCode) {
      result = testing::AssertionFailure() << "actual code " << code << ", expected " << expectedCode;
    } else if (actual.isUntouched() != expected.isUntouched()) {
      result = testing::AssertionFailure() << "results " << (actual.isUntouched() ? "not " : "") << "written";
    } else if (!actual.isUntouched()) {
      result = support::sameResult(actual.span(), expected.span());
      if (result && values_ != nullptr && actual.values != values_) {
        result = testing::AssertionFailure() << "the outputs have moved";
      }
      values_ = actual.values;
    }
    if (!result) {
      result << "; input rate " << params_.inputRate << ", output rate " << params_.outputRate << ", buffer length "
             << params_.bufferLength << ", written " << model().written << ", produced " << model().produced;
    }
    return result;
  }

  CHSInterpolatorParams params_;
  Interpolator actual_;
  CHSInterpolator* model_ = nullptr;
  support::FencedBuffer<float> input_;
  const float* values_ = nullptr;
};

std::vector<float> samplesOf(std::size_t size, support::Random& random) {
  std::vector<float> samples(size);
  support::fill(std::span(samples), random.oneOf(support::sampleClasses<float>()), random);
  return samples;
}

std::vector<float> numbersUpTo(uint32_t count) {
  std::vector<float> numbers;
  for (uint32_t i = 0; i < count; ++i) {
    numbers.push_back(static_cast<float>(i) + 100);
  }
  return numbers;
}

using Values = std::vector<float>;

TEST(CHSInterpolator_Create, RefusesInTheStatedOrder) {
  float something = 0;
  auto* const untouched = reinterpret_cast<CHSInterpolator*>(&something);
  const auto codeOf = [&](const CHSInterpolatorParams& params) {
    CHSInterpolator* handle = untouched;
    const uint32_t code = kxcalcCHSInterpolator_Create(&handle, &params);
    EXPECT_EQ(handle, untouched);
    return code;
  };
  CHSInterpolator* handle = untouched;
  EXPECT_EQ(kxcalcCHSInterpolator_Create(&handle, nullptr), uint32_t{KXCALC_INVALID_ARGUMENT});
  EXPECT_EQ(handle, untouched);
  for (const double rate : {0.0, -0.0, -1.0, -4.9e-324, -infinity}) {
    EXPECT_EQ(codeOf(paramsOf(rate, 1, 16)), uint32_t{KXCALC_INVALID_ARGUMENT}) << rate;
    EXPECT_EQ(codeOf(paramsOf(1, rate, 16)), uint32_t{KXCALC_INVALID_ARGUMENT}) << rate;
    EXPECT_EQ(codeOf(paramsOf(rate, rate, 16)), uint32_t{KXCALC_INVALID_ARGUMENT}) << rate;
    EXPECT_EQ(codeOf(paramsOf(nan, rate, 16)), uint32_t{KXCALC_INVALID_ARGUMENT}) << rate;
    // The rates come before the length.
    EXPECT_EQ(codeOf(paramsOf(rate, 1, 6)), uint32_t{KXCALC_INVALID_ARGUMENT}) << rate;
    EXPECT_EQ(codeOf(paramsOf(1, rate, 0)), uint32_t{KXCALC_INVALID_ARGUMENT}) << rate;
  }
  for (const uint32_t length : {0U, 3U, 5U, 6U, 7U, 9U, 12U, 17U, 1000U, 0x80000001U, 0xC0000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(codeOf(paramsOf(1, 1, length)), uint32_t{KXCALC_BUFFER_LENGTH}) << length;
    EXPECT_EQ(codeOf(paramsOf(nan, nan, length)), uint32_t{KXCALC_BUFFER_LENGTH}) << length;
    EXPECT_EQ(codeOf(paramsOf(1, infinity, length)), uint32_t{KXCALC_BUFFER_LENGTH}) << length;
    EXPECT_EQ(codeOf(paramsOf(1e-300, 1e300, length)), uint32_t{KXCALC_BUFFER_LENGTH}) << length;
  }
}

TEST(CHSInterpolator_Create, AcceptsEveryPowerOfTwo) {
  for (uint32_t length = 1; length <= 1U << 20; length *= 2) {
    const Interpolator interpolator(paramsOf(48000, 44100, length));
    EXPECT_NE(interpolator.handle(), nullptr);
  }
}

TEST(CHSInterpolator_Create, GivesANullHandleWhereTheCapacityPasses32Bits) {
  for (const double outputRate : {1e9, 1e10, 1e30, 1e308}) {
    for (const uint32_t length : {16U, 1024U, 65536U}) {
      const CHSInterpolatorParams params = paramsOf(1, outputRate, length);
      CHSInterpolator* handle = reinterpret_cast<CHSInterpolator*>(&handle);
      EXPECT_EQ(kxcalcCHSInterpolator_Create(&handle, &params), uint32_t{KXCALC_INVALID_ARGUMENT}) << outputRate;
      EXPECT_EQ(handle, nullptr) << outputRate;
    }
  }
  // Twice the rate, and two more: 2^32 itself.
  const CHSInterpolatorParams params = paramsOf(1, 2147483647, 1);
  CHSInterpolator* handle = reinterpret_cast<CHSInterpolator*>(&handle);
  EXPECT_EQ(kxcalcCHSInterpolator_Create(&handle, &params), uint32_t{KXCALC_INVALID_ARGUMENT});
  EXPECT_EQ(handle, nullptr);
}

// The sanitizers' own allocators end the program where memory is short, and are not the one that is asked below.
#if !defined(__GLIBC__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KXCALC_TESTS_HEAP_OF_LIBC 0
#elif defined(__has_feature)
#define KXCALC_TESTS_HEAP_OF_LIBC (!__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer))
#else
#define KXCALC_TESTS_HEAP_OF_LIBC 1
#endif

#if KXCALC_TESTS_HEAP_OF_LIBC
/// Bounds the memory of this process while it lives.
class MemoryLimit {
public:
  MemoryLimit() {
    getrlimit(RLIMIT_AS, &before_);
    rlimit limit = before_;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, rlim_t{3} << 30);
    setrlimit(RLIMIT_AS, &limit);
  }
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;
  ~MemoryLimit() { setrlimit(RLIMIT_AS, &before_); }

  /// An emulated system may take the limit and not keep it.
  static bool isKept() {
    // volatile: a request that nothing uses may be left out, and one above half a 32-bit address space is warned of.
    const volatile std::size_t bytes = std::size_t{7} << 29;
    void* volatile tooMuch = std::malloc(bytes);
    std::free(tooMuch);
    return tooMuch == nullptr;
  }

private:
  rlimit before_;
};

/// Bytes that the heap holds. What is given back may stay in the allocator's caches, which hold a few pieces of each
/// size: they are filled before the first reading.
std::size_t heapBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

TEST(CHSInterpolator_Create, GivesANullHandleAndLeavesNothingBehindWhereMemoryIsShort) {
  const MemoryLimit limit;
  if (!MemoryLimit::isKept()) {
    GTEST_SKIP() << "memory cannot be limited";
  }
  const auto createInVain = [] {
    // The ring is what is too large, then the outputs, while the ring is not.
    for (const auto& params : {paramsOf(1, 1e-6, 1U << 31), paramsOf(1, 1, 1U << 31), paramsOf(1, 900000, 4096),
                               paramsOf(1, 60000000, 64)}) {
      CHSInterpolator* handle = reinterpret_cast<CHSInterpolator*>(&handle);
      EXPECT_EQ(kxcalcCHSInterpolator_Create(&handle, &params), uint32_t{KXCALC_INVALID_ARGUMENT});
      EXPECT_EQ(handle, nullptr);
    }
  };
  for (int i = 0; i < 20; ++i) {
    createInVain();
  }
  const std::size_t before = heapBytes();
  for (int i = 0; i < 100; ++i) {
    createInVain();
  }
  EXPECT_EQ(heapBytes(), before);
}

TEST(CHSInterpolator_Destroy, GivesAllMemoryBack) {
  const auto useOne = [] {
    Interpolator interpolator(paramsOf(1, 3.5, 4096));
    interpolator.outputsOf(numbersUpTo(4000));
  };
  for (int i = 0; i < 20; ++i) {
    useOne();
  }
  const std::size_t before = heapBytes();
  for (int i = 0; i < 100; ++i) {
    useOne();
  }
  EXPECT_EQ(heapBytes(), before);
}
#endif

TEST(CHSInterpolator_Create, RatesWithoutAFiniteQuotientDeliverNothing) {
  for (const auto& params :
       {paramsOf(nan, 1, 16), paramsOf(1, nan, 16), paramsOf(nan, nan, 16), paramsOf(1, infinity, 16),
        paramsOf(infinity, infinity, 16), paramsOf(1e-300, 1e300, 16), paramsOf(4.9e-324, 1, 16)}) {
    Interpolator interpolator(params);
    for (int block = 0; block < 5; ++block) {
      Delivery delivery;
      EXPECT_EQ(interpolator.feed(numbersUpTo(14), delivery), uint32_t{KXCALC_SUCCESS});
      EXPECT_EQ(delivery.count, 0U);
    }
    Delivery delivery;
    EXPECT_EQ(interpolator.feed(numbersUpTo(15), delivery), uint32_t{KXCALC_BLOCK_TOO_LONG});
    EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_SUCCESS});
    EXPECT_EQ(delivery.count, 0U);
    EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_STOPPED});
    EXPECT_EQ(interpolator.reset(), uint32_t{KXCALC_SUCCESS});
  }
}

TEST(CHSInterpolator_InterpolateValues, RefusesInTheStatedOrderAndLeavesTheStreamAsItIs) {
  Interpolator interpolator(paramsOf(1, 2, 16));
  const Values block = numbersUpTo(20);
  const auto codeOf = [&](CHSInterpolator* handle, uint32_t count) {
    Delivery delivery;
    const uint32_t code =
        kxcalcCHSInterpolator_InterpolateValues(handle, block.data(), count, &delivery.values, &delivery.count);
    EXPECT_TRUE(delivery.isUntouched());
    return code;
  };
  const auto expectRefusals = [&] {
    EXPECT_EQ(codeOf(nullptr, 0), uint32_t{KXCALC_INVALID_ARGUMENT});
    EXPECT_EQ(codeOf(nullptr, 4), uint32_t{KXCALC_INVALID_ARGUMENT});
    EXPECT_EQ(codeOf(nullptr, 15), uint32_t{KXCALC_INVALID_ARGUMENT});
    EXPECT_EQ(codeOf(interpolator.handle(), 0), uint32_t{KXCALC_INVALID_ARGUMENT});
    EXPECT_EQ(codeOf(interpolator.handle(), 15), uint32_t{KXCALC_BLOCK_TOO_LONG});
    EXPECT_EQ(codeOf(interpolator.handle(), 16), uint32_t{KXCALC_BLOCK_TOO_LONG});
    EXPECT_EQ(codeOf(interpolator.handle(), 0xFFFFFFFF), uint32_t{KXCALC_BLOCK_TOO_LONG});
  };
  expectRefusals();
  EXPECT_EQ(interpolator.outputsOf(Values{0, 1, 4, 9}), (Values{0, 0.3125, 1, 2.25, 4}));
  expectRefusals();
  EXPECT_EQ(interpolator.outputsOf(Values{16, 25}), (Values{6.25, 9, 12.25, 16}));
  EXPECT_EQ(interpolator.outputsOfStop(), (Values{20.9375, 25}));
  expectRefusals();
  EXPECT_EQ(codeOf(interpolator.handle(), 1), uint32_t{KXCALC_STOPPED});
  EXPECT_EQ(codeOf(interpolator.handle(), 14), uint32_t{KXCALC_STOPPED});
  Delivery delivery;
  EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_STOPPED});
  EXPECT_TRUE(delivery.isUntouched());
  EXPECT_EQ(interpolator.reset(), uint32_t{KXCALC_SUCCESS});
  EXPECT_EQ(interpolator.outputsOf(Values{0, 1, 4, 9, 16, 25}), (Values{0, 0.3125, 1, 2.25, 4, 6.25, 9, 12.25, 16}));
}

TEST(CHSInterpolator_InterpolateValues, LongestBlockIsTwoSamplesShorterThanTheRing) {
  for (uint32_t length = 4; length <= 4096; length *= 2) {
    Interpolator interpolator(paramsOf(1, 1, length));
    Delivery delivery;
    EXPECT_EQ(interpolator.feed(numbersUpTo(length - 1), delivery), uint32_t{KXCALC_BLOCK_TOO_LONG});
    EXPECT_EQ(interpolator.outputsOf(numbersUpTo(length - 2)), numbersUpTo(length - 3));
  }
}

TEST(CHSInterpolator_InterpolateValues, ARingOfOneSampleRefusesNoBlockAndDeliversNoMoreThanItsArrayHolds) {
  Interpolator interpolator(paramsOf(1, 4, 1));
  Delivery delivery;
  EXPECT_EQ(interpolator.feed(numbersUpTo(5000), delivery), uint32_t{KXCALC_SUCCESS});
  EXPECT_LE(delivery.count, 10U);
}

TEST(CHSInterpolator_InterpolateValues, SquaresAtTwiceTheRateInOneBlock) {
  Interpolator interpolator(paramsOf(1000, 2000, 16));
  EXPECT_EQ(interpolator.outputsOf(Values{0, 1, 4, 9, 16, 25}), (Values{0, 0.3125, 1, 2.25, 4, 6.25, 9, 12.25, 16}));
  EXPECT_EQ(interpolator.outputsOfStop(), (Values{20.9375, 25}));
}

TEST(CHSInterpolator_InterpolateValues, SquaresAtTwiceTheRateInBlocksOfTwo) {
  Interpolator interpolator(paramsOf(0.5, 1, 16));
  EXPECT_EQ(interpolator.outputsOf(Values{0, 1}), (Values{0}));
  EXPECT_EQ(interpolator.outputsOf(Values{4, 9}), (Values{0.3125, 1, 2.25, 4}));
  EXPECT_EQ(interpolator.outputsOf(Values{16, 25}), (Values{6.25, 9, 12.25, 16}));
  EXPECT_EQ(interpolator.outputsOfStop(), (Values{20.9375, 25}));
}

TEST(CHSInterpolator_InterpolateValues, ASingleOneAmongZerosGivesTheWeightsOfTheSpline) {
  Interpolator interpolator(paramsOf(1, 4, 16));
  Values outputs = interpolator.outputsOf(Values{0, 0, 0, 1, 0, 0, 0});
  const Values flushed = interpolator.outputsOfStop();
  outputs.insert(outputs.end(), flushed.begin(), flushed.end());
  Values expected(25, 0.0F);
  const Values weights{-0.0234375, -0.0625, -0.0703125, 0, 0.2265625,  0.5625,  0.8671875, 1,
                       0.8671875,  0.5625,  0.2265625,  0, -0.0703125, -0.0625, -0.0234375};
  std::ranges::copy(weights, expected.begin() + 5);
  EXPECT_EQ(outputs, expected);
}

TEST(CHSInterpolator_InterpolateValues, EqualRatesGiveTheSamplesBack) {
  Interpolator interpolator(paramsOf(1, 1, 16));
  EXPECT_EQ(interpolator.outputsOf(Values{3, 1, 4, 1, 5, 9, 2, 6, 5, 3}), (Values{3, 1, 4, 1, 5, 9, 2, 6, 5}));
  EXPECT_EQ(interpolator.outputsOfStop(), (Values{3}));
}

TEST(CHSInterpolator_InterpolateValues, AFirstBlockOfOneSampleDeliversNothingAndCounts) {
  Interpolator interpolator(paramsOf(1, 2, 16));
  Delivery delivery;
  EXPECT_EQ(interpolator.feed(Values{0}, delivery), uint32_t{KXCALC_SUCCESS});
  EXPECT_EQ(delivery.count, 0U);
  EXPECT_EQ(interpolator.outputsOf(Values{1}), (Values{0}));
  EXPECT_EQ(interpolator.outputsOf(Values{4}), (Values{0.3125, 1}));
  EXPECT_EQ(interpolator.outputsOf(Values{9, 16, 25}), (Values{2.25, 4, 6.25, 9, 12.25, 16}));
}

TEST(CHSInterpolator_InterpolateValues, TheFirstSegmentHasNoPredecessorUntilTheRingHasFilledOnce) {
  // At position 0.5 the predecessor weighs -1/16 and both neighbours 9/16. The second block fills the ring of four.
  Interpolator filled(paramsOf(1, 2, 4));
  EXPECT_EQ(filled.outputsOf(Values{16, 32}), (Values{16}));
  EXPECT_EQ(filled.outputsOf(Values{48, 160})[0], -10.F + 9 + 18 - 3);
  Interpolator notFilled(paramsOf(1, 2, 8));
  EXPECT_EQ(notFilled.outputsOf(Values{16, 32}), (Values{16}));
  EXPECT_EQ(notFilled.outputsOf(Values{48, 160})[0], -1.F + 9 + 18 - 3);
}

TEST(CHSInterpolator_InterpolateValues, SlotsNotYetWrittenAreZeros) {
  // The last output of a block lies on a sample: its weight for what follows is 0, which a NaN there would show.
  Interpolator interpolator(paramsOf(1, 1, 1024));
  const Values outputs = interpolator.outputsOf(numbersUpTo(3));
  EXPECT_EQ(outputs, numbersUpTo(2));
  // A weight of 0 times an infinity is a NaN.
  const float infinite = std::numeric_limits<float>::infinity();
  Interpolator next(paramsOf(1, 1, 8));
  EXPECT_TRUE(support::sameResult(next.outputsOf(Values{1, 2, infinite}),
                                  Values{static_cast<float>(nan), static_cast<float>(nan)}));
}

TEST(CHSInterpolator_Stop, OfAnEmptyStreamDeliversNothing) {
  for (const uint32_t length : {4U, 16U, 1024U}) {
    for (const double ratio : {0.01, 1.0, 2.0, 300.0}) {
      Interpolator interpolator(paramsOf(1, ratio, length));
      Delivery delivery;
      EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_SUCCESS});
      EXPECT_EQ(delivery.count, 0U);
      EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_STOPPED});
      EXPECT_EQ(interpolator.reset(), uint32_t{KXCALC_SUCCESS});
      EXPECT_EQ(interpolator.outputsOf(Values{5, 6}), (Values{5}));
    }
  }
}

TEST(CHSInterpolator_Stop, OfOneSampleDeliversIt) {
  Interpolator interpolator(paramsOf(1, 2, 16));
  EXPECT_EQ(interpolator.outputsOf(Values{5}), Values());
  EXPECT_EQ(interpolator.outputsOfStop(), (Values{5}));
}

TEST(CHSInterpolator_Stop, WithARingOfTwoEndsTheStreamAndWritesNothing) {
  Interpolator interpolator(paramsOf(1, 1, 2));
  Delivery delivery;
  EXPECT_EQ(interpolator.feed(Values{1}, delivery), uint32_t{KXCALC_BLOCK_TOO_LONG});
  EXPECT_EQ(interpolator.feed(Values{1, 2, 3}, delivery), uint32_t{KXCALC_BLOCK_TOO_LONG});
  EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_SUCCESS});
  EXPECT_TRUE(delivery.isUntouched());
  EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_STOPPED});
  EXPECT_EQ(interpolator.reset(), uint32_t{KXCALC_SUCCESS});
  EXPECT_EQ(interpolator.stop(delivery), uint32_t{KXCALC_SUCCESS});
  EXPECT_TRUE(delivery.isUntouched());
}

TEST(CHSInterpolator_Stop, NullHandleIsRefused) {
  Delivery delivery;
  EXPECT_EQ(kxcalcCHSInterpolator_Stop(nullptr, &delivery.values, &delivery.count), uint32_t{KXCALC_INVALID_ARGUMENT});
  EXPECT_TRUE(delivery.isUntouched());
}

TEST(CHSInterpolator_Reset, NullHandleIsRefused) {
  EXPECT_EQ(kxcalcCHSInterpolator_Reset(nullptr), uint32_t{KXCALC_INVALID_ARGUMENT});
}

TEST(CHSInterpolator_Reset, KeepsTheRingOfTheStreamBefore) {
  // After a reset only slots that are not yet written again show it: position 1 weighs slot 3 with 0.
  const float infinite = std::numeric_limits<float>::infinity();
  Interpolator interpolator(paramsOf(1, 1, 8));
  interpolator.outputsOf(Values{1, 2, 3, infinite});
  EXPECT_EQ(interpolator.reset(), uint32_t{KXCALC_SUCCESS});
  EXPECT_TRUE(support::sameResult(interpolator.outputsOf(Values{1, 2, 3}), Values{1, static_cast<float>(nan)}));
}

TEST(CHSInterpolator_Destroy, NullHandleIsRefused) {
  EXPECT_EQ(kxcalcCHSInterpolator_Destroy(nullptr), uint32_t{KXCALC_INVALID_ARGUMENT});
}

struct Rates {
  double input;
  double output;
};

constexpr Rates ordinaryRates[] = {{1, 1},         {1, 2},         {1, 4},         {2, 1},          {8, 1},
                                   {44100, 48000}, {48000, 44100}, {96000, 44100}, {44100, 192000}, {3, 1},
                                   {3.001, 1},     {10, 1},        {1000, 1},      {1, 3},          {1, 7.3},
                                   {7, 22},        {1, 17.77},     {1, 100},       {1e-3, 1.5e-3},  {1e6, 1.0000001e6},
                                   {1, 0.999999},  {257, 16},      {16, 1},        {17, 1},         {64, 63}};

/// A stream in random blocks, with refused calls, stops and resets in between.
testing::AssertionResult streamEqualsModel(const Rates& rates, uint32_t length, uint64_t samples,
                                           support::Random& random) {
  Subject subject(paramsOf(rates.input, rates.output, length));
  const uint32_t longest = length - 2;
  const uint64_t style = random.below(4);
  testing::AssertionResult result = testing::AssertionSuccess();
  for (uint64_t fed = 0; fed < samples && result;) {
    std::size_t size = 1 + random.below(longest);
    if (style == 1) {
      size = longest - random.below(std::min<std::size_t>(longest, 3));
    } else if (style == 2) {
      size = 1 + random.below(std::min<std::size_t>(longest, 5));
    } else if (style == 3 && random.oneIn(10)) {
      size = longest + 1 + random.below(5);
    }
    result = subject.feed(samplesOf(size, random), random.oneOf(support::allPlacements<float>()));
    fed += size;
    if (result && random.oneIn(12)) {
      result = subject.stop();
      if (result && random.oneIn(2)) {
        result = subject.feed(samplesOf(1, random), support::endsAtFence);
      }
      if (result) {
        result = subject.reset();
      }
    } else if (result && random.oneIn(40)) {
      result = subject.reset();
    }
  }
  return result ? subject.stop() : result;
}

TEST(CHSInterpolator_InterpolateValues, EqualsTheModelForOrdinaryRatesAndAnyBlocks) {
  support::TestRandom random;
  for (const Rates& rates : ordinaryRates) {
    for (uint32_t length = 4; length <= 1024; length *= 2) {
      for (int repetition = 0; repetition < 4; ++repetition) {
        ASSERT_TRUE(streamEqualsModel(rates, length, 12 * length, random));
      }
    }
  }
}

TEST(CHSInterpolator_InterpolateValues, EqualsTheModelForRandomRates) {
  support::TestRandom random;
  for (int i = 0; i < 1500; ++i) {
    const Rates rates{std::ldexp(1 + random.unit(), random.between(-40, 40)), 1};
    const double ratio = std::exp2(12 * random.unit() - 7);
    const uint32_t length = 4U << random.below(6);
    ASSERT_TRUE(streamEqualsModel({rates.input, rates.input * ratio}, length, 6 * length, random));
  }
}

TEST(CHSInterpolator_InterpolateValues, EqualsTheModelForExtremeRates) {
  support::TestRandom random;
  for (const Rates& rates : std::initializer_list<Rates>{{1e6, 1},
                                                         {1e300, 1e-7},
                                                         {4e4, 1},
                                                         {1e-300, 1e-297},
                                                         {1, 12345.678},
                                                         {1, 99999.5},
                                                         {1e15, 1.0},
                                                         {1.7e308, 4.9e-324}}) {
    for (const uint32_t length : {4U, 16U}) {
      ASSERT_TRUE(streamEqualsModel(rates, length, 6 * length, random));
    }
  }
}

TEST(CHSInterpolator_InterpolateValues, OneOutputOfEachBlockOrNoneBelowAThirdOfTheRate) {
  // A ratio below 1/3 can deliver one output more than its share of a block.
  for (const double inputRate : {3.5, 4.0, 7.0, 13.99, 14.0, 14.01, 15.0, 16.0, 17.0, 100.0, 12345.0}) {
    Subject subject(paramsOf(inputRate, 1, 16));
    support::TestRandom random;
    for (int block = 0; block < 2000; ++block) {
      ASSERT_TRUE(subject.feed(samplesOf(14, random), support::endsAtFence)) << inputRate;
    }
    ASSERT_TRUE(subject.stop());
  }
}

TEST(CHSInterpolator_InterpolateValues, EqualsTheModelAtEverySlotOfTheRing) {
  support::TestRandom random;
  for (const uint32_t length : {4U, 8U, 16U}) {
    for (uint32_t first = 2; first <= length - 2; ++first) {
      for (uint32_t size = 1; size <= length - 2; ++size) {
        for (const double ratio : {0.5, 1.0, 1.3, 4.0}) {
          Subject subject(paramsOf(1, ratio, length));
          ASSERT_TRUE(subject.feed(samplesOf(first, random), support::endsAtFence));
          for (uint32_t block = 0; block < 2 * length; ++block) {
            ASSERT_TRUE(subject.feed(samplesOf(size, random), support::endsAtFence)) << first << ", " << size;
          }
          ASSERT_TRUE(subject.stop());
        }
      }
    }
  }
}

TEST(CHSInterpolator_InterpolateValues, BlocksGiveWhatOneBlockGivesWhereTheRatioIsAPowerOfTwo) {
  support::TestRandom random;
  for (const double ratio : {0.125, 0.5, 1.0, 2.0, 8.0}) {
    for (int repetition = 0; repetition < 100; ++repetition) {
      const uint32_t length = 256;
      const Values samples = samplesOf(length - 2, random);
      Interpolator atOnce(paramsOf(1, ratio, length));
      Values expected = atOnce.outputsOf(samples);
      const Values last = atOnce.outputsOfStop();
      expected.insert(expected.end(), last.begin(), last.end());
      Interpolator inBlocks(paramsOf(1, ratio, length));
      Values outputs;
      for (std::size_t fed = 0; fed < samples.size();) {
        const std::size_t size = std::min<std::size_t>(1 + random.below(40), samples.size() - fed);
        const Values more = inBlocks.outputsOf(std::span(samples).subspan(fed, size));
        outputs.insert(outputs.end(), more.begin(), more.end());
        fed += size;
      }
      const Values more = inBlocks.outputsOfStop();
      outputs.insert(outputs.end(), more.begin(), more.end());
      // Slots not yet written are 0 in either; an infinity that is written later makes a NaN of the one alone.
      if (std::ranges::all_of(samples, [](float sample) { return std::abs(sample) < 1e30F; })) {
        ASSERT_TRUE(support::sameBits(outputs, expected)) << "ratio " << ratio;
      }
    }
  }
}

TEST(CHSInterpolator_InterpolateValues, BlocksThreeSamplesShorterThanTheRingGiveWhatALongerRingGives) {
  // One more, and the block's last sample takes the place of the sample before the segment that is continued.
  constexpr uint32_t length = 16;
  support::TestRandom random;
  const auto outputsDiffer = [&](double outputRate, uint32_t blockLength) {
    Interpolator shortRing(paramsOf(8000, outputRate, length));
    Interpolator longRing(paramsOf(8000, outputRate, 4 * length));
    Values block(blockLength);
    bool differ = false;
    for (int i = 0; i < 100; ++i) {
      support::fill(std::span(block), support::SampleClass::signal, random);
      differ = !support::sameResult(shortRing.outputsOf(block), longRing.outputsOf(block)) || differ;
    }
    return differ;
  };
  for (const double outputRate : {16012.0, 8000.5, 11025.0, 44100.0, 123456.0}) {
    for (uint32_t blockLength = 2; blockLength <= length - 3; ++blockLength) {
      EXPECT_FALSE(outputsDiffer(outputRate, blockLength)) << outputRate << ", " << blockLength;
    }
    EXPECT_TRUE(outputsDiffer(outputRate, length - 2)) << outputRate;
  }
}

TEST(CHSInterpolator_InterpolateValues, PositionsAreFormedFromEachCallsOwnBeginning) {
  // So blocks decide the last bits, where the ratio is no power of two.
  const Values samples = [] {
    Values values(2000);
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = static_cast<float>(std::sin(0.05 * static_cast<double>(i)));
    }
    return values;
  }();
  Interpolator whole(paramsOf(44100, 48000, 4096));
  Interpolator split(paramsOf(44100, 48000, 4096));
  const Values expected = whole.outputsOf(samples);
  Values outputs = split.outputsOf(Values(samples.begin(), samples.begin() + 999));
  const Values rest = split.outputsOf(Values(samples.begin() + 999, samples.end()));
  outputs.insert(outputs.end(), rest.begin(), rest.end());
  ASSERT_EQ(outputs.size(), expected.size());
  EXPECT_FALSE(support::sameResult(outputs, expected));
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    ASSERT_NEAR(outputs[i], expected[i], 1e-6);
  }
}

TEST(CHSInterpolator_InterpolateValues, ALongSignalIsFollowed) {
  Interpolator interpolator(paramsOf(44100, 48000, 1024));
  const auto signalAt = [](double position) { return std::sin(0.05 * position); };
  Values block(1000);
  uint64_t fed = 0;
  uint64_t produced = 0;
  for (int i = 0; i < 200; ++i) {
    for (float& sample : block) {
      sample = static_cast<float>(signalAt(static_cast<double>(fed++)));
    }
    for (const float output : interpolator.outputsOf(block)) {
      ASSERT_NEAR(output, signalAt(static_cast<double>(produced) * 44100 / 48000), produced < 2 ? 0.01 : 1e-4)
          << produced;
      ++produced;
    }
  }
}

TEST(CHSInterpolator_InterpolateValues, EqualsTheModelWhenPositionsPassThe32BitRange) {
  // From position 2^31 on the fraction is taken from a 32-bit integer and is huge. One call delivers outputs on either side:
  // no block of this length ends close to 2^31.
  constexpr uint32_t length = 65536;
  constexpr double ratio = 1.0 / 3000;
  support::TestRandom random;
  Subject subject(paramsOf(1, ratio, length));
  Values block(length - 1000);
  support::fill(std::span(block), support::SampleClass::signal, random);
  reference::SplineInterpolator& model = subject.model();
  while (model.written < (uint64_t{1} << 31) - 200000) {
    Delivery delivery;
    ASSERT_EQ(subject.actual().feed(block, delivery), uint32_t{KXCALC_SUCCESS});
    for (std::size_t i = 0; i < block.size(); i += 4099) {
      model.ring[model.slotOf(model.written + i)] = block[i];
    }
    model.written += block.size();
    model.produced += delivery.count;
  }
  // The model has not seen all of that: two more blocks fill its ring.
  for (int i = 0; i < 8; ++i) {
    Delivery delivery;
    ASSERT_EQ(subject.actual().feed(block, delivery), uint32_t{KXCALC_SUCCESS});
    model.append(block.data(), static_cast<uint32_t>(block.size()));
    const uint32_t expected = model.availableOutputs();
    ASSERT_EQ(delivery.count, expected);
    const double base = static_cast<double>(model.produced) / ratio;
    if (i >= 2) {
      for (uint32_t k = 0; k < expected; ++k) {
        ASSERT_TRUE(support::sameResult(delivery.values[k], model.valueAt(static_cast<double>(k) / ratio + base)))
            << "written " << model.written;
      }
    }
    model.produced += expected;
  }
  EXPECT_GT(model.written, uint64_t{1} << 31);
}

TEST(CHSInterpolatorParams, FieldsLieAtTheirNaturalAlignment) {
  EXPECT_EQ(offsetof(CHSInterpolatorParams, inputRate), 0U);
  EXPECT_EQ(offsetof(CHSInterpolatorParams, outputRate), 8U);
  EXPECT_EQ(offsetof(CHSInterpolatorParams, bufferLength), 16U);
  EXPECT_EQ(sizeof(CHSInterpolatorParams), 24U);
}

}  // namespace
