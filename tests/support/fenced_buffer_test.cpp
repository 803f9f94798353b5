// The fences and canaries that other tests rely on do catch what they are there for.
#include "support/fenced_buffer.hpp"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using support::beginsAtFence;
using support::endsAtFence;
using support::FencedBuffer;
using support::pastBoundary;

TEST(FencedBufferDeathTest, AccessBeyondTheFencesFaults) {
  FencedBuffer<int16_t> buffer(100);
  volatile int16_t* atEnd = buffer.place(5, endsAtFence).data();
  EXPECT_DEATH(atEnd[5] = 1, "");
  volatile int16_t* atBeginning = buffer.place(5, beginsAtFence).data();
  EXPECT_DEATH(atBeginning[-1] = 1, "");
  volatile int16_t* empty = buffer.place(0, endsAtFence).data();
  EXPECT_DEATH(empty[0] = 1, "");
}

__attribute__((no_sanitize("address"))) void overwrite(int16_t* element) {
  *element ^= 1;
}

TEST(FencedBuffer, SurroundingsTellOfEveryWriteNextToTheBuffer) {
  FencedBuffer<int16_t> buffer(100);
  for (const support::Placement& placement : support::allPlacements<int16_t>()) {
    for (const ptrdiff_t position : {-64, -9, -1, 0, 4, 5, 12, 68}) {
      const bool isInside = position >= 0 && position < 5;
      if ((position > 4 && placement.kind == support::Placement::Kind::endsAtFence) ||
          (position < 0 && placement.kind == support::Placement::Kind::beginsAtFence)) {
        continue;
      }
      int16_t* data = buffer.place(5, placement).data();
      EXPECT_TRUE(buffer.surroundingsIntact());
      overwrite(data + position);
      EXPECT_EQ(buffer.surroundingsIntact(), isInside) << "element " << position << ", " << placement;
    }
  }
}

TEST(FencedBuffer, LiesAsFarPastABoundaryAsAsked) {
  FencedBuffer<float> buffer(100);
  for (std::size_t offset = 0; offset < 4; ++offset) {
    EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.place(9, pastBoundary(offset)).data()) % 16, 4 * offset);
  }
}

}  // namespace
