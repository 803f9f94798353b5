#include "fuzzing.hpp"

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <new>
#include <utility>

#include "support/samples.hpp"

namespace fuzzing {
namespace {

constexpr std::byte canary{0xAA};

/// What the sanitizers' reports name.
const Call* currentCall = nullptr;

template <std::floating_point T>
void writeReal(std::ostream& stream, const T& number) {
  if (support::isNan(number)) {
    stream << "NaN 0x" << std::hex << support::bitsOf(number) << std::dec;
  } else {
    stream << std::hexfloat << number << std::defaultfloat;
  }
}

/// The sizes that kernels treat each in their own way.
constexpr uint32_t fewBlocks = 67;
constexpr uint32_t manyBlocks = 600;
constexpr uint32_t mostElements = 9000;

}  // namespace

Memory::Memory(std::size_t offset, std::size_t bytes)
    : block_(static_cast<std::byte*>(::operator new (offset + bytes, std::align_val_t{boundary}))),
      offset_(offset),
      size_(bytes) {
  std::fill_n(block_, offset + bytes, canary);
  ASAN_POISON_MEMORY_REGION(block_, offset / 8 * 8);
}

Memory::Memory(const Memory& other) : Memory(other.offset_, other.size_) {
  std::copy_n(other.data(), size_, data());
}

Memory::~Memory() {
  ::operator delete (block_, std::align_val_t{boundary});
}

bool Memory::surroundingsIntact() const {
  return std::all_of(block_ + offset_ / 8 * 8, data(), [](std::byte byte) { return byte == canary; });
}

uint32_t Draw::count(uint32_t least) {
  switch (below(16)) {
    case 15:
      return between(manyBlocks, mostElements);
    case 14:
    case 13:
      return between(fewBlocks, manyBlocks);
    default:
      return between(least, fewBlocks);
  }
}

template <Number T>
void Draw::setToSmallOrSpecial(T& number) {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::integral<T>) {
    constexpr std::array<T, 6> specials{Limits::min(),     Limits::max(),     Limits::min() + 1,
                                        Limits::max() - 1, Limits::max() / 2, Limits::max() / 2 + 1};
    const auto small = between<int8_t>(-128, 127);
    number = small >= 122 ? specials[static_cast<std::size_t>(small - 122)] : static_cast<T>(small);
  } else {
    constexpr std::array<T, 16> specials{Limits::infinity(),
                                         Limits::quiet_NaN(),
                                         Limits::signaling_NaN(),
                                         Limits::max(),
                                         Limits::min(),
                                         Limits::denorm_min(),
                                         Limits::epsilon(),
                                         Limits::min() / 3,
                                         1 / Limits::epsilon(),
                                         1 / (2 * Limits::epsilon()),
                                         T{0},
                                         T{1},
                                         T{0.5},
                                         static_cast<T>(0.1),
                                         T{2147483648},
                                         T{16777216}};
    const auto small = between<int8_t>(-128, 127);
    if (small >= 96) {
      // By its bits: a signalling NaN stays one.
      using Bits = support::BitsOf<T>;
      const auto sign = static_cast<Bits>(Bits{small % 2 != 0} << (8 * sizeof(T) - 1));
      support::setBits(number, support::bitsOf(specials[static_cast<std::size_t>(small - 96) / 2]) ^ sign);
    } else {
      number = static_cast<T>(small) / static_cast<T>(small % 4 == 1 ? 8 : 1);
    }
  }
}

template <Number T>
void Draw::setTo(T& number) {
  if (oneIn(3)) {
    setToBits(number);
  } else {
    setToSmallOrSpecial(number);
  }
}

template <typename T>
constexpr bool hasSampleClasses = std::floating_point<T> || std::same_as<T, int16_t> || std::same_as<T, int32_t>;

template <Number T>
void Draw::fill(std::span<T> elements) {
  switch (below(6)) {
    case 3:
      for (T& element : elements) {
        setToSmallOrSpecial(element);
      }
      return;
    case 4:
      for (T& element : elements) {
        setToBits(element);
      }
      return;
    case 5: {  // a few numbers over and over: ties
      Buffer<T> pattern(between<std::size_t>(1, 9), 0);
      for (T& element : pattern.span()) {
        setTo(element);
      }
      for (std::size_t i = 0; i < elements.size(); ++i) {
        std::memcpy(&elements[i], &pattern[i % pattern.size()], sizeof(T));
      }
      return;
    }
    default: {
      support::Random random(between<uint32_t>(0, UINT32_MAX));
      if constexpr (!hasSampleClasses<T>) {
        for (T& element : elements) {
          element = static_cast<T>(random.bits());
        }
      } else {
        const bool hasTies = std::floating_point<T> && oneIn(8);
        const auto sampleClass = hasTies ? support::SampleClass::roundingTies : oneOf(support::sampleClasses<T>());
        support::fill(elements, sampleClass, random);
      }
      if (elements.size() > 0 && oneIn(2)) {
        setTo(elements[below(elements.size())]);
      }
    }
  }
}

template void Draw::setTo(uint8_t&);
template void Draw::setTo(int8_t&);
template void Draw::setTo(int16_t&);
template void Draw::setTo(uint16_t&);
template void Draw::setTo(int32_t&);
template void Draw::setTo(uint32_t&);
template void Draw::setTo(int64_t&);
template void Draw::setTo(float&);
template void Draw::setTo(double&);
template void Draw::fill(std::span<uint8_t>);
template void Draw::fill(std::span<int8_t>);
template void Draw::fill(std::span<int16_t>);
template void Draw::fill(std::span<uint16_t>);
template void Draw::fill(std::span<int32_t>);
template void Draw::fill(std::span<uint32_t>);
template void Draw::fill(std::span<int64_t>);
template void Draw::fill(std::span<float>);
template void Draw::fill(std::span<double>);

void Argument::write(std::ostream& stream, const float& number) {
  writeReal(stream, number);
}

void Argument::write(std::ostream& stream, const double& number) {
  writeReal(stream, number);
}

void Argument::writePlace(std::ostream& stream, const Memory& memory) {
  stream << memory.offset() % 16 << " bytes past a 16-byte boundary";
}

std::ostream& operator<<(std::ostream& stream, const Argument& argument) {
  stream << argument.name_ << " = ";
  argument.write_(stream, argument.value_);
  return stream;
}

Call::Call(const char* name, std::vector<Argument> arguments) : name_(name), arguments_(std::move(arguments)) {
  currentCall = this;
}

Call::~Call() {
  currentCall = nullptr;
}

std::ostream& operator<<(std::ostream& stream, const Call& call) {
  stream << call.name_;
  for (const Argument& argument : call.arguments_) {
    stream << "\n  " << argument;
  }
  return stream;
}

void Call::fail(const char* what, const std::string& difference) const {
  std::cerr << "Kernel and model differ: " << what << ": " << difference << "\n" << *this << std::endl;
  std::abort();
}

void Call::requireIntact(const char* what, const Memory& memory) const {
  if (!memory.surroundingsIntact()) {
    fail(what, "written before its first element");
  }
}

void Call::requireSameBytes(const char* what, std::span<const std::byte> actual,
                            std::span<const std::byte> before) const {
  if (!std::ranges::equal(actual, before)) {
    fail(what, "changed");
  }
}

}  // namespace fuzzing

/// Called by the address sanitizer when it reports.
extern "C" void __asan_on_error() {
  if (fuzzing::currentCall != nullptr) {
    std::cerr << "In a call of " << *fuzzing::currentCall << std::endl;
  }
}

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  fuzzing::Draw draw(data, size);
  draw.oneOf(fuzzing::checks())(draw);
  return 0;
}
