#include "verify/input_sets.hpp"

#include <concepts>

namespace kxverify {

using kxcalc::calls::Elements;
using kxcalc::calls::Memory;
using kxcalc::calls::Numbers;
using kxcalc::calls::Place;

bool InputSets::next() {
  blocks_.clear();
  kind_.reset();
  asked_ = 0;
  while (!choices_.empty() && choices_.back().taken + 1 == choices_.back().options) {
    choices_.pop_back();
  }
  if (choices_.empty()) {
    return false;
  }
  ++choices_.back().taken;
  return true;
}

std::size_t InputSets::option(std::size_t options) {
  if (asked_ == choices_.size()) {
    choices_.push_back({0, options});
  }
  return choices_[asked_++].taken;
}

uint32_t InputSets::count(uint32_t least) {
  constexpr uint32_t longestShort = 67;  // every head, some blocks and unrolled groups of them, every tail
  constexpr std::array longs{1000U, 4099U};
  const std::size_t shorts = longestShort - least + 1;
  const std::size_t taken = option(shorts + longs.size());
  return taken < shorts ? least + static_cast<uint32_t>(taken) : longs[taken - shorts];
}

std::size_t InputSets::offset(const Memory& memory) {
  const std::size_t places = 16 / memory.elementSize;
  switch (memory.place) {
    case Place::aligned:
      return 0;
    case Place::everywhere:
      return option(places) * memory.elementSize;
    default:
      return static_cast<std::size_t>(upTo(places - 1)) * memory.elementSize;
  }
}

std::byte* InputSets::memory(const Memory& memory) {
  return blocks_.add(memory.bytes, offset(memory));
}

Kind InputSets::kind(Numbers numbers) {
  if (numbers == Numbers::ordinary || numbers == Numbers::angles) {
    return Kind::signal;
  }
  constexpr std::array all{Kind::signal, Kind::wide, Kind::specials, Kind::ties, Kind::nans};
  if (!kind_) {
    kind_ = all[option(numbers == Numbers::selected ? all.size() : 3)];
  }
  const bool isKnown =
      numbers == Numbers::selected || *kind_ == Kind::specials || (*kind_ == Kind::wide && numbers == Numbers::any);
  return isKnown ? *kind_ : Kind::signal;
}

void InputSets::fill(Elements elements, Numbers numbers) {
  std::visit(
      [&]<class T>(std::span<T> values) {
        const Kind filling = kind(numbers);
        for (T& value : values) {
          generator_.set(value, filling);
          if constexpr (std::floating_point<T>) {
            value = numbers == Numbers::angles ? value * 360 : value;
          }
        }
      },
      elements);
}

std::string hashOf(const Description& description, const Functions& functions) {
  InputSets sets(description.name);
  Digest digest;
  do {
    description.run(functions, sets, digest);
  } while (sets.next());
  return digest.hexadecimal();
}

}  // namespace kxverify
