// What the exercises share.
#pragma once

#include <cstdint>

#include "digest.hpp"
#include "exercises.hpp"
#include "inputs.hpp"

namespace kxverify {

/// Number of places of an element between two 16-byte boundaries.
template <class T>
constexpr uint32_t placeCount = 16 / sizeof(T);

/// An input set: how many elements, of which kind, and where the first buffer lies.
struct Set {
  Kind kind;
  uint32_t count;
  uint32_t offset;
};

constexpr uint32_t longestShort = 67;
constexpr uint32_t longRun = 4099;

/// Calls body(set) for each kind, for each count from `first` to 67 and some long ones, at each place of T.
template <class T, class Body>
void overSets(uint32_t first, Body body) {
  const auto atEachPlace = [&](Kind kind, uint32_t count) {
    for (uint32_t offset = 0; offset < placeCount<T>; ++offset) {
      body(Set{kind, count, offset});
    }
  };
  for (const Kind kind : kinds) {
    for (uint32_t count = first; count <= longestShort; ++count) {
      atEachPlace(kind, count);
    }
    atEachPlace(kind, 1000);
    atEachPlace(kind, longRun);
  }
}

/// A filled buffer at a place that the source chooses.
template <class T>
Buffer<T> placed(Source& source, Kind kind, std::size_t count) {
  Buffer<T> buffer(count, source.below(placeCount<T>));
  source.fill(buffer, kind);
  return buffer;
}

/// A filled buffer at the place of a set.
template <class T>
Buffer<T> placed(Source& source, const Set& set) {
  Buffer<T> buffer(set.count, set.offset);
  source.fill(buffer, set.kind);
  return buffer;
}

}  // namespace kxverify
