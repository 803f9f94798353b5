// Every export on blocks that end, and on blocks that begin, at an inaccessible page, and whose inputs cannot be written.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "functions/calls/recording.hpp"
#include "functions/linked.hpp"
#include "reference/models.hpp"
#include "support/fenced_buffer.hpp"
#include "support/ordinary_calls.hpp"

namespace {

using kxcalc::calls::Place;
using kxcalc::calls::Role;

class FencedSource : public support::OrdinarySource {
public:
  FencedSource(std::string_view name, std::size_t choice, uint32_t count, const support::Placement& placement)
      : OrdinarySource(name, choice), count_(count), placement_(placement) {}

  uint32_t count(uint32_t least) override { return std::max(count_, least); }
  std::byte* memory(const kxcalc::calls::Memory& memory) override {
    // Blocks that are aligned end up to 15 bytes before the page.
    const bool isAligned = memory.place == Place::aligned;
    const std::size_t bytes = isAligned ? (memory.bytes + 15) / 16 * 16 : memory.bytes;
    blocks_.push_back({std::make_unique<support::FencedMemory>(bytes), memory.role});
    return blocks_.back().memory->place(bytes, placement_, memory.elementSize);
  }
  void calling() override {
    for (const Block& block : blocks_) {
      if (block.role == Role::input) {
        block.memory->refuseWrites();
      }
    }
  }
  bool surroundingsIntact() const override {
    return std::ranges::all_of(blocks_, [](const Block& block) { return block.memory->surroundingsIntact(); });
  }

private:
  struct Block {
    std::unique_ptr<support::FencedMemory> memory;
    Role role;
  };

  uint32_t count_;
  support::Placement placement_;
  std::vector<Block> blocks_;
};

TEST(Fences, EveryExportStaysWithinItsBlocks) {
  for (const kxcalc::calls::Description& description : kxcalc::calls::descriptions()) {
    for (const support::Placement& placement : {support::endsAtFence, support::beginsAtFence}) {
      for (uint32_t count = 0; count <= 35; ++count) {
        const std::size_t choice = count % 5;
        kxcalc::calls::Recording expected;
        FencedSource modelsSource(description.name, choice, count, placement);
        description.run(reference::functions, modelsSource, expected);
        kxcalc::calls::Comparison comparison(expected);
        FencedSource source(description.name, choice, count, placement);
        description.run(kxcalc::linkedFunctions, source, comparison);
        EXPECT_EQ(comparison.difference(), "") << description.name << ", " << count << " elements, " << placement;
      }
    }
  }
}

}  // namespace
