// Arguments out of the bytes of a fuzzer's input, in buffers without room to spare.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "functions/calls/call.hpp"

namespace fuzzing {

/// Memory that holds some bytes from an offset past a 64-byte boundary on, and nothing behind them: the address sanitizer
/// sees accesses there, to the byte. Before them it sees those to whole groups of eight; what is left holds canaries.
class Memory {
public:
  static constexpr std::size_t boundary = 64;

  Memory(std::size_t offset, std::size_t bytes);
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;
  ~Memory();

  std::byte* data() const { return block_ + offset_; }
  bool surroundingsIntact() const;

private:
  std::byte* block_;
  std::size_t offset_;
};

/// What is left out at the end of the bytes is zero.
class FuzzedSource : public kxcalc::calls::Source {
public:
  FuzzedSource(std::span<const uint8_t> bytes) : bytes_(bytes.data(), bytes.size()) {}

  bool takesExamples() const override { return false; }
  std::size_t option(std::size_t options) override { return static_cast<std::size_t>(upTo(options - 1)); }
  uint64_t upTo(uint64_t highest) override { return bytes_.ConsumeIntegralInRange<uint64_t>(0, highest); }
  bool rarely(uint8_t times) override { return upTo(times - uint64_t{1}) == times - uint64_t{1}; }
  /// Most often a few blocks, now and then some hundred elements, rarely some thousand.
  uint32_t count(uint32_t least) override;
  std::byte* memory(const kxcalc::calls::Memory& memory) override;
  void fill(kxcalc::calls::Elements elements, kxcalc::calls::Numbers numbers) override;
  bool surroundingsIntact() const override;

private:
  template <class T>
  void set(T& number);
  template <class T>
  void setToBits(T& number);
  template <class T>
  void setToSmallOrSpecial(T& number);
  template <class T>
  void fillRun(std::span<T> elements);

  FuzzedDataProvider bytes_;
  std::vector<std::unique_ptr<Memory>> memory_;
};

/// The same, and writes each call's arguments to standard error before it begins.
class TellingSource : public FuzzedSource {
public:
  using FuzzedSource::FuzzedSource;

  void calling() override;
  void toldNumber(const char* name, kxcalc::calls::ConstElements one) override;
  void toldBlock(const char* name, kxcalc::calls::ConstElements elements, kxcalc::calls::Role role) override;

private:
  struct Block {
    const char* name;
    kxcalc::calls::ConstElements elements;
  };
  std::vector<Block> blocks_;  // since the last call
};

}  // namespace fuzzing
