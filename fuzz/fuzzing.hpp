// What the fuzz targets share: arguments drawn from the fuzzer's bytes, buffers without room to spare, and the comparison
// of a kernel with its plain model. A target checks the exports of a family, one call (or one stream) an input.
#ifndef KXCALC_FUZZ_FUZZING_HPP
#define KXCALC_FUZZ_FUZZING_HPP

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <ostream>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bits.hpp"

namespace fuzzing {

using support::NanRule;
using support::Number;

/// Memory that holds some bytes from an offset past a 64-byte boundary on, and nothing behind them: the address sanitizer
/// sees accesses there, to the byte. Before them it sees those to whole groups of eight; what is left holds canaries.
class Memory {
public:
  static constexpr std::size_t boundary = 64;

  Memory(std::size_t offset, std::size_t bytes);
  Memory(const Memory& other);
  Memory& operator=(const Memory&) = delete;
  ~Memory();

  std::byte* data() const { return block_ + offset_; }
  std::size_t offset() const { return offset_; }
  std::span<const std::byte> bytes() const { return {data(), size_}; }
  bool surroundingsIntact() const;

private:
  std::byte* block_;
  std::size_t offset_;
  std::size_t size_;
};

/// Elements that begin at a given alignment. A copy has the same alignment. New elements hold canaries.
template <Number T>
class Buffer {
public:
  Buffer(std::size_t count, std::size_t offset) : memory_(offset * sizeof(T), count * sizeof(T)), count_(count) {}

  T* data() { return reinterpret_cast<T*>(memory_.data()); }
  const T* data() const { return reinterpret_cast<const T*>(memory_.data()); }
  std::size_t size() const { return count_; }
  std::span<T> span() { return {data(), count_}; }
  std::span<const T> span() const { return {data(), count_}; }
  T& operator[](std::size_t index) { return data()[index]; }
  const T& operator[](std::size_t index) const { return data()[index]; }
  const Memory& memory() const { return memory_; }

private:
  Memory memory_;
  std::size_t count_;
};

/// A copy that is wanted as such: what a kernel must not change, or the model's own buffer.
template <typename T>
T copyOf(const T& value) {
  return value;
}

/// Arguments out of the bytes of an input. What is left out at their end is zero.
class Draw {
public:
  Draw(const uint8_t* data, std::size_t size) : bytes_(data, size) {}

  /// From lowest to highest, both included.
  template <std::integral T>
  T between(T lowest, T highest) {
    return bytes_.ConsumeIntegralInRange(lowest, highest);
  }
  template <std::integral T>
  T below(T bound) {
    return between(T{0}, static_cast<T>(bound - 1));
  }
  bool oneIn(uint8_t chances) { return below(chances) == chances - 1; }

  /// An element of an array, a vector or a span.
  template <typename Values>
  const auto& oneOf(const Values& values) {
    return values[below(std::size(values))];
  }

  /// Number of elements: most often a few blocks, now and then some hundred, rarely some thousand.
  uint32_t count(uint32_t least = 0);

  /// Any bits; small numbers and specials oftener than chance has them.
  template <Number T>
  T value() {
    T number{};
    setTo(number);
    return number;
  }
  template <Number T>
  void setTo(T& number);

  /// Elements at any alignment, filled one way or another.
  template <Number T>
  Buffer<T> buffer(std::size_t count) {
    Buffer<T> buffer = room<T>(count);
    fill(buffer.span());
    return buffer;
  }

  /// Not filled.
  template <Number T>
  Buffer<T> room(std::size_t count) {
    return Buffer<T>(count, below(Memory::boundary / sizeof(T)));
  }

  /// At a multiple of 16 bytes.
  template <Number T>
  Buffer<T> alignedRoom(std::size_t count) {
    return Buffer<T>(count, below(Memory::boundary / 16) * (16 / sizeof(T)));
  }
  template <Number T>
  Buffer<T> alignedBuffer(std::size_t count) {
    Buffer<T> buffer = alignedRoom<T>(count);
    fill(buffer.span());
    return buffer;
  }

  template <Number T>
  void fill(std::span<T> elements);

private:
  template <Number T>
  void setToBits(T& number) {
    bytes_.ConsumeData(&number, sizeof number);
  }
  template <Number T>
  void setToSmallOrSpecial(T& number);

  FuzzedDataProvider bytes_;
};

/// An argument of a call: its name, and a value that outlives the call.
class Argument {
public:
  template <typename T>
  Argument(const char* name, const T& value)
      : name_(name),
        value_(&value),
        write_([](std::ostream& stream, const void* pointer) { write(stream, *static_cast<const T*>(pointer)); }) {}
  template <typename T>
  Argument(const char* name, const T&& value) = delete;

  friend std::ostream& operator<<(std::ostream& stream, const Argument& argument);

private:
  template <std::integral T>
  static void write(std::ostream& stream, T number) {
    stream << +number;
  }
  static void write(std::ostream& stream, const std::string& text) { stream << text; }
  static void write(std::ostream& stream, const float& number);
  static void write(std::ostream& stream, const double& number);
  static void writePlace(std::ostream& stream, const Memory& memory);

  template <Number T>
  static void write(std::ostream& stream, const Buffer<T>& buffer) {
    constexpr std::size_t most = 300;
    stream << '{';
    for (std::size_t i = 0; i < buffer.size() && i < most; ++i) {
      stream << (i > 0 ? ", " : "");
      write(stream, buffer[i]);
    }
    stream << (buffer.size() > most ? ", ..." : "") << "} (" << buffer.size() << " elements, ";
    writePlace(stream, buffer.memory());
    stream << ')';
  }

  const char* name_;
  const void* value_;
  void (*write_)(std::ostream&, const void*);
};

/// A call of a kernel and of its model. Where their results differ, or a sanitizer objects, it is told in full, and the
/// program ends.
class Call {
public:
  Call(const char* name, std::vector<Argument> arguments);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call();

  template <Number T>
  void same(const char* what, const T& actual, const T& expected, NanRule rule = NanRule::anyNan) const {
    if (!support::isSame(actual, expected, rule)) {
      fail(what, "actual " + support::describe(actual) + ", expected " + support::describe(expected));
    }
  }

  template <Number T>
  void same(const char* what, std::span<const T> actual, std::span<const T> expected,
            NanRule rule = NanRule::anyNan) const {
    for (std::size_t i = 0; i < actual.size(); ++i) {
      if (!support::isSame(actual[i], expected[i], rule)) {
        fail(what, "index " + std::to_string(i) + ": actual " + support::describe(actual[i]) + ", expected " +
                       support::describe(expected[i]));
      }
    }
  }

  template <Number T>
  void same(const char* what, const Buffer<T>& actual, const Buffer<T>& expected,
            NanRule rule = NanRule::anyNan) const {
    requireIntact(what, actual.memory());
    same(what, actual.span(), expected.span(), rule);
  }

  template <Number T>
  void unchanged(const char* what, const Buffer<T>& actual, const Buffer<T>& before) const {
    requireIntact(what, actual.memory());
    requireSameBytes(what, actual.memory().bytes(), before.memory().bytes());
  }

  /// Of a record, whose padding counts too.
  template <typename Record>
  void unchangedRecord(const Record& actual, const Record& before) const {
    requireSameBytes("record", std::as_bytes(std::span(&actual, 1)), std::as_bytes(std::span(&before, 1)));
  }

  [[noreturn]] void fail(const char* what, const std::string& difference) const;
  friend std::ostream& operator<<(std::ostream& stream, const Call& call);

private:
  void requireIntact(const char* what, const Memory& memory) const;
  void requireSameBytes(const char* what, std::span<const std::byte> actual, std::span<const std::byte> before) const;

  const char* name_;
  std::vector<Argument> arguments_;
};

/// A kernel and its model, which have one signature.
template <typename Function>
struct Export {
  const char* name;
  Function* kernel;
  Function* model;
};

// A macro, so that the three cannot differ.
#define KXCALC_FUZZED(name)           \
  fuzzing::Export<decltype(::name)> { \
#name, &::name, &reference::name  \
  }

/// One call (or one stream) with arguments drawn.
using Check = void (*)(Draw&);

/// What a target defines: its checks, of which every input runs one.
std::span<const Check> checks();

}  // namespace fuzzing

#endif
