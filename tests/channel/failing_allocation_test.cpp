// The interpolator where memory runs short, and where it is created a million times. A program of its own: its calloc and
// free stand in for the C library's, which they call.
#include <gtest/gtest.h>
#include <kxcalc.h>
#include <malloc.h>

#include <cstddef>

extern "C" void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
extern "C" void __libc_free(void* memory);                            // NOLINT(bugprone-reserved-identifier)

namespace {

/// What the library asks for while this is armed.
struct Requests {
  bool armed = false;
  int failing = -1;  // the request that fails
  int count = 0;
  int held = 0;
};
Requests requests;

constexpr CHSInterpolatorParams ordinary{1, 2, 16};

}  // namespace

extern "C" void* calloc(std::size_t count, std::size_t size) {
  if (requests.armed) {
    if (requests.count++ == requests.failing) {
      return nullptr;
    }
    ++requests.held;
  }
  return __libc_calloc(count, size);
}

extern "C" void free(void* memory) {
  if (requests.armed && memory != nullptr) {
    --requests.held;
  }
  __libc_free(memory);
}

namespace {

TEST(CHSInterpolator_Create, EachAllocationThatFailsLeavesNothingBehind) {
  bool succeeded = false;
  int failures = 0;
  while (!succeeded) {
    CHSInterpolator* handle = reinterpret_cast<CHSInterpolator*>(&handle);
    requests = {true, failures, 0, 0};
    const uint32_t result = kxcalcCHSInterpolator_Create(&handle, &ordinary);
    requests.armed = false;
    succeeded = result == uint32_t{KXCALC_SUCCESS};
    if (succeeded) {
      EXPECT_EQ(requests.held, failures);
      requests.armed = true;
      kxcalcCHSInterpolator_Destroy(handle);
      requests.armed = false;
    } else {
      EXPECT_EQ(result, uint32_t{KXCALC_INVALID_ARGUMENT}) << "request " << failures;
      EXPECT_EQ(handle, nullptr) << "request " << failures;
      ++failures;
    }
    EXPECT_EQ(requests.held, 0) << "request " << failures;
  }
  EXPECT_EQ(failures, 3);  // the object, its ring, its outputs
}

TEST(CHSInterpolator_Destroy, AMillionInterpolatorsLeaveMemoryWhereItWas) {
  const auto createAndDestroy = [] {
    CHSInterpolator* handle = nullptr;
    ASSERT_EQ(kxcalcCHSInterpolator_Create(&handle, &ordinary), uint32_t{KXCALC_SUCCESS});
    kxcalcCHSInterpolator_Destroy(handle);
  };
  for (int i = 0; i < 20; ++i) {  // fills the allocator's caches, which hold a few pieces of each size
    createAndDestroy();
  }
  const auto before = mallinfo2();
  for (int i = 0; i < 1000000; ++i) {
    createAndDestroy();
  }
  const auto after = mallinfo2();
  EXPECT_EQ(after.uordblks, before.uordblks);
  EXPECT_EQ(after.arena + after.hblkhd, before.arena + before.hblkhd);
}

}  // namespace
