// Buffers between inaccessible pages, surrounded by canaries.
#ifndef KXCALC_TESTS_SUPPORT_FENCED_BUFFER_HPP
#define KXCALC_TESTS_SUPPORT_FENCED_BUFFER_HPP

#include <cstddef>
#include <ostream>
#include <span>
#include <vector>

namespace support {

/// A mapping whose pages are all inaccessible until they are opened. Throws std::bad_alloc if the system refuses it.
class PageMapping {
public:
  explicit PageMapping(std::size_t bytes);
  PageMapping(const PageMapping&) = delete;
  PageMapping& operator=(const PageMapping&) = delete;
  ~PageMapping();

  static std::size_t pageSize();
  std::byte* data() const { return data_; }
  std::size_t size() const { return size_; }
  /// Makes the pages readable and writable that hold the given bytes.
  void open(std::size_t offset, std::size_t bytes);
  /// Makes opened pages readable only.
  void refuseWrites(std::size_t offset, std::size_t bytes);

private:
  std::byte* data_ = nullptr;
  std::size_t size_ = 0;
};

/// Where a buffer lies.
struct Placement {
  enum class Kind { endsAtFence, beginsAtFence, pastBoundary };

  Kind kind = Kind::endsAtFence;
  std::size_t offset = 0;  // pastBoundary only: elements between a 16-byte boundary and the buffer
};

std::ostream& operator<<(std::ostream& stream, const Placement& placement);

constexpr Placement endsAtFence{Placement::Kind::endsAtFence};
constexpr Placement beginsAtFence{Placement::Kind::beginsAtFence};
constexpr Placement pastBoundary(std::size_t elements) {
  return {Placement::Kind::pastBoundary, elements};
}

/// Every alignment of an element type, and both fences.
template <typename T>
std::vector<Placement> allPlacements() {
  std::vector<Placement> placements{endsAtFence, beginsAtFence};
  for (std::size_t offset = 0; offset < 16 / sizeof(T); ++offset) {
    placements.push_back(pastBoundary(offset));
  }
  return placements;
}

/// Memory between two inaccessible pages. One buffer at a time lies in it; what lies next to the buffer holds canaries,
/// which the address sanitizer, where it is on, also keeps from being read.
class FencedMemory {
public:
  explicit FencedMemory(std::size_t capacity);
  FencedMemory(const FencedMemory&) = delete;
  FencedMemory& operator=(const FencedMemory&) = delete;
  ~FencedMemory();

  std::byte* place(std::size_t bytes, const Placement& placement, std::size_t elementSize);
  bool surroundingsIntact() const;
  /// From now on the buffer can only be read.
  void refuseWrites();

private:
  void unpoison();

  std::size_t capacity_;
  std::size_t roomSize_;  // bytes between the fences
  PageMapping mapping_;
  std::span<std::byte> before_;
  std::span<std::byte> after_;
};

template <typename T>
class FencedBuffer {
public:
  explicit FencedBuffer(std::size_t capacity) : memory_(capacity * sizeof(T)) {}

  /// The buffer's elements hold what the memory held before.
  std::span<T> place(std::size_t count, const Placement& placement) {
    return {reinterpret_cast<T*>(memory_.place(count * sizeof(T), placement, sizeof(T))), count};
  }

  /// Whether nothing was written next to the buffer since it was placed.
  bool surroundingsIntact() const { return memory_.surroundingsIntact(); }

private:
  FencedMemory memory_;
};

}  // namespace support

#endif
