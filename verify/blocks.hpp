// Memory at chosen places, with known bytes before and behind each block, where nothing may be written.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace kxverify {

class Blocks {
public:
  static constexpr std::size_t boundary = 64;

  /// @param offset  bytes between a 64-byte boundary and the block.
  std::byte* add(std::size_t bytes, std::size_t offset) {
    const std::size_t room = 3 * boundary + offset + bytes;
    Block block{std::make_unique_for_overwrite<std::byte[]>(room), room, nullptr, bytes};
    std::fill_n(block.memory.get(), room, untouched);
    const std::size_t past = reinterpret_cast<uintptr_t>(block.memory.get()) % boundary;
    block.begin = block.memory.get() + (2 * boundary - past) + offset;
    blocks_.push_back(std::move(block));
    return blocks_.back().begin;
  }

  void clear() { blocks_.clear(); }

  bool surroundingsIntact() const {
    const auto isUntouched = [](std::byte byte) { return byte == untouched; };
    return std::ranges::all_of(blocks_, [&](const Block& block) {
      std::byte* const memory = block.memory.get();
      return std::all_of(memory, block.begin, isUntouched) &&
             std::all_of(block.begin + block.bytes, memory + block.room, isUntouched);
    });
  }

private:
  static constexpr std::byte untouched{0xA5};

  struct Block {
    std::unique_ptr<std::byte[]> memory;
    std::size_t room;
    std::byte* begin;
    std::size_t bytes;
  };

  std::vector<Block> blocks_;
};

}  // namespace kxverify
