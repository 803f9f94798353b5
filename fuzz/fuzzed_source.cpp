#include "fuzzed_source.hpp"

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <iostream>
#include <new>

#include "functions/calls/recording.hpp"
#include "support/bits.hpp"
#include "support/samples.hpp"

namespace fuzzing {
namespace {

using kxcalc::calls::ConstElements;
using kxcalc::calls::Elements;
using kxcalc::calls::Numbers;
using kxcalc::calls::Place;
using kxcalc::calls::Role;

constexpr std::byte canary{0xAA};

/// The sizes that kernels treat each in their own way.
constexpr uint32_t fewBlocks = 67;
constexpr uint32_t manyBlocks = 600;
constexpr uint32_t mostElements = 9000;

/// From lowest to highest, of few bits.
int32_t small(FuzzedDataProvider& bytes) {
  return bytes.ConsumeIntegralInRange<int8_t>(-128, 127);
}

template <class T>
constexpr bool hasSampleClasses = std::floating_point<T> || std::same_as<T, int16_t> || std::same_as<T, int32_t>;

}  // namespace

Memory::Memory(std::size_t offset, std::size_t bytes)
    : block_(static_cast<std::byte*>(::operator new (offset + bytes, std::align_val_t{boundary}))), offset_(offset) {
  std::fill_n(block_, offset + bytes, canary);
  ASAN_POISON_MEMORY_REGION(block_, offset / 8 * 8);
}

Memory::~Memory() {
  ::operator delete (block_, std::align_val_t{boundary});
}

bool Memory::surroundingsIntact() const {
  return std::all_of(block_ + offset_ / 8 * 8, data(), [](std::byte byte) { return byte == canary; });
}

uint32_t FuzzedSource::count(uint32_t least) {
  const auto between = [&](uint32_t lowest, uint32_t highest) {
    return bytes_.ConsumeIntegralInRange<uint32_t>(lowest, highest);
  };
  switch (between(0, 15)) {
    case 15:
      return between(manyBlocks, mostElements);
    case 14:
    case 13:
      return between(fewBlocks, manyBlocks);
    default:
      return between(least, fewBlocks);
  }
}

std::byte* FuzzedSource::memory(const kxcalc::calls::Memory& memory) {
  const std::size_t step = memory.place == Place::aligned ? 16 : memory.elementSize;
  const std::size_t offset = option(Memory::boundary / step) * step;
  memory_.push_back(std::make_unique<Memory>(offset, memory.bytes));
  return memory_.back()->data();
}

bool FuzzedSource::surroundingsIntact() const {
  return std::ranges::all_of(memory_, [](const auto& memory) { return memory->surroundingsIntact(); });
}

template <class T>
void FuzzedSource::setToBits(T& number) {
  std::memset(&number, 0, sizeof number);
  bytes_.ConsumeData(&number, sizeof number);
}

template <class T>
void FuzzedSource::setToSmallOrSpecial(T& number) {
  using Limits = std::numeric_limits<T>;
  const int32_t drawn = small(bytes_);
  if constexpr (std::integral<T>) {
    constexpr std::array<T, 6> specials{Limits::min(),     Limits::max(),     Limits::min() + 1,
                                        Limits::max() - 1, Limits::max() / 2, Limits::max() / 2 + 1};
    number = drawn >= 122 ? specials[static_cast<std::size_t>(drawn - 122)] : static_cast<T>(drawn);
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
    if (drawn >= 96) {
      // By its bits: a signalling NaN stays one.
      using Bits = support::BitsOf<T>;
      const auto sign = static_cast<Bits>(Bits{drawn % 2 != 0} << (8 * sizeof(T) - 1));
      support::setBits(number, support::bitsOf(specials[static_cast<std::size_t>(drawn - 96) / 2]) ^ sign);
    } else {
      number = static_cast<T>(drawn) / static_cast<T>(drawn % 4 == 1 ? 8 : 1);
    }
  }
}

/// Any bits; small numbers and specials oftener than chance has them.
template <class T>
void FuzzedSource::set(T& number) {
  if (rarely(3)) {
    setToBits(number);
  } else {
    setToSmallOrSpecial(number);
  }
}

template <class T>
void FuzzedSource::fillRun(std::span<T> elements) {
  switch (upTo(5)) {
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
      std::array<T, 9> pattern{};
      const auto length = static_cast<std::size_t>(1 + upTo(pattern.size() - 1));
      for (std::size_t i = 0; i < length; ++i) {
        set(pattern[i]);
      }
      for (std::size_t i = 0; i < elements.size(); ++i) {
        std::memcpy(&elements[i], &pattern[i % length], sizeof(T));
      }
      return;
    }
    default: {
      support::Random random(upTo(UINT32_MAX));
      if constexpr (!hasSampleClasses<T>) {
        for (T& element : elements) {
          element = static_cast<T>(random.bits());
        }
      } else {
        const bool hasTies = std::floating_point<T> && rarely(8);
        const auto classes = support::sampleClasses<T>();
        const auto sampleClass = hasTies ? support::SampleClass::roundingTies : classes[option(classes.size())];
        support::fill(elements, sampleClass, random);
      }
      if (!elements.empty() && rarely(2)) {
        set(elements[option(elements.size())]);
      }
    }
  }
}

/// Whatever is asked for: any.
void FuzzedSource::fill(Elements elements, Numbers /*numbers*/) {
  std::visit(
      [&](auto run) {
        if (run.size() == 1) {
          set(run.front());
        } else {
          fillRun(run);
        }
      },
      elements);
}

void TellingSource::toldNumber(const char* name, ConstElements one) {
  std::visit([&](auto number) { std::cerr << "  " << name << " = " << kxcalc::calls::text(number.front()) << '\n'; },
             one);
}

void TellingSource::toldBlock(const char* name, ConstElements elements, Role /*role*/) {
  blocks_.push_back({name, elements});
}

void TellingSource::calling() {
  constexpr std::size_t most = 300;
  for (const Block& block : blocks_) {
    std::visit(
        [&](auto numbers) {
          std::cerr << "  " << block.name << " = " << numbers.size() << " elements, "
                    << reinterpret_cast<uintptr_t>(numbers.data()) % 16 << " bytes past a 16-byte boundary:";
          for (const auto& number : numbers.first(std::min(numbers.size(), most))) {
            std::cerr << ' ' << kxcalc::calls::text(number);
          }
          std::cerr << (numbers.size() > most ? " ...\n" : "\n");
        },
        block.elements);
  }
  blocks_.clear();
  std::cerr << "  is called" << std::endl;
}

}  // namespace fuzzing
