// Memory that fills a large stretch of addresses at the cost of one small chunk: all of it is the same chunk, except where a chunk
// has been given memory of its own. For counts from 2^31 on; Linux with addresses of 64 bits.
#ifndef KXCALC_TESTS_SUPPORT_REPEATED_MEMORY_HPP
#define KXCALC_TESTS_SUPPORT_REPEATED_MEMORY_HPP

#include <cstddef>

namespace support {

/// Filled with zeros. Throws std::system_error if the system refuses it.
class RepeatedMemory {
public:
  static constexpr std::size_t chunkBytes = std::size_t{1} << 24;  // a mapping each, of which a process has 65530

  explicit RepeatedMemory(std::size_t bytes);
  RepeatedMemory(const RepeatedMemory&) = delete;
  RepeatedMemory& operator=(const RepeatedMemory&) = delete;
  ~RepeatedMemory();

  std::byte* data() const { return data_; }
  /// Gives the chunk that holds this byte memory of its own, filled with zeros.
  void separate(std::size_t offset);

private:
  std::byte* data_ = nullptr;
  std::size_t size_ = 0;
};

/// Elements in such memory. The first chunk and the one with the last element have memory of their own.
template <typename T>
class RepeatedBuffer {
public:
  explicit RepeatedBuffer(std::size_t count) : count_(count), memory_(count * sizeof(T)) {
    memory_.separate(0);
    separate(count - 1);
  }

  T* data() { return reinterpret_cast<T*>(memory_.data()); }
  T& operator[](std::size_t index) { return data()[index]; }
  T& last() { return data()[count_ - 1]; }
  void separate(std::size_t index) { memory_.separate(index * sizeof(T)); }
  /// Fills all of it.
  void fill(T value) {
    constexpr std::size_t inChunk = RepeatedMemory::chunkBytes / sizeof(T);
    const std::size_t lastChunk = (count_ - 1) / inChunk;
    for (const std::size_t chunk : {std::size_t{0}, std::size_t{1}, lastChunk}) {
      for (std::size_t i = chunk * inChunk; i < (chunk + 1) * inChunk && i < count_; ++i) {
        data()[i] = value;
      }
    }
  }

private:
  std::size_t count_;
  RepeatedMemory memory_;
};

}  // namespace support

#endif
