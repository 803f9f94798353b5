// A buffer at a chosen place, with known bytes before and behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kxverify {

template <class T>
class Buffer {
public:
  /// @param offset  elements between a 64-byte boundary and the buffer.
  explicit Buffer(std::size_t count, std::size_t offset = 0) : memory_(count + offset + 3 * lineLength), count_(count) {
    const std::size_t past = reinterpret_cast<uintptr_t>(memory_.data()) % lineBytes / sizeof(T);
    start_ = lineLength + (lineLength - past) % lineLength + offset;
  }
  /// A copy keeps its place towards the boundary.
  Buffer(const Buffer& other) : Buffer(other.count_, other.offset()) {
    for (std::size_t i = 0; i < count_; ++i) {
      (*this)[i] = other[i];
    }
  }
  Buffer& operator=(const Buffer&) = delete;

  T* data() { return memory_.data() + start_; }
  const T* data() const { return memory_.data() + start_; }
  std::size_t size() const { return count_; }
  T& operator[](std::size_t i) { return data()[i]; }
  const T& operator[](std::size_t i) const { return data()[i]; }
  std::span<T> elements() { return {data(), count_}; }

  /// The elements and a few on either side, where nothing may be written.
  std::span<const T> withSurroundings() const { return {data() - guard, count_ + 2 * guard}; }

private:
  static constexpr std::size_t lineBytes = 64;
  static constexpr std::size_t lineLength = lineBytes / sizeof(T);
  static constexpr std::size_t guard = 4;
  static_assert(guard <= lineLength);

  std::size_t offset() const { return reinterpret_cast<uintptr_t>(data()) % lineBytes / sizeof(T); }

  std::vector<T> memory_;
  std::size_t count_;
  std::size_t start_ = 0;
};

}  // namespace kxverify
