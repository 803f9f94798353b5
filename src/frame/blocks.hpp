// Block walks: how kernels go over a buffer, in a head of single elements up to a 16-byte boundary, a body of whole
// blocks, and a tail of single elements.
#pragma once

#include <algorithm>
#include <utility>

#include "frame/lanes.hpp"

namespace kxcalc {

/// Number of elements from `buffer` up to the next 16-byte boundary: 0 if it stands on one.
template <class T>
KXCALC_INLINE size_t headLength(const T* buffer) {
  return (0 - reinterpret_cast<uintptr_t>(buffer)) % 16 / sizeof(T);
}

/// Calls step(0), step(1), ... step(count - 1), written out one after the other; the numbers are constants of their own
/// type.
template <size_t count, class Step>
KXCALC_INLINE void unrolled(Step step) {
  [&]<size_t... k>(std::index_sequence<k...>) {
    (step(std::integral_constant<size_t, k>()), ...);
  }
  (std::make_index_sequence<count>());
}

/// What an element-wise rule is written over: the element at an index, or ...
struct One {
  size_t index;

  template <class T>
  KXCALC_INLINE T load(const T* from) const {
    return from[index];
  }
  template <class T>
  KXCALC_INLINE void store(T* to, T value) const {
    to[index] = value;
  }
};

/// ... the lanes from an index on: one vector, or, of a type with fewer lanes than the block has elements, two.
template <size_t width>
struct Pack {
  size_t index;

  template <class T>
  struct Twin {
    Lanes<T> low, high;
  };

  template <class T>
  KXCALC_INLINE auto load(const T* from) const {
    if constexpr (width == laneCount<T>) {
      return kxcalc::load(from + index);
    } else {
      static_assert(width == 2 * laneCount<T>);
      return Twin<T>{kxcalc::load(from + index), kxcalc::load(from + index + laneCount<T>)};
    }
  }
  template <class T>
  KXCALC_INLINE void store(T* to, Lanes<T> lanes) const {
    kxcalc::store(to + index, lanes);
  }
  template <class T>
  KXCALC_INLINE void store(T* to, Twin<T> twin) const {
    kxcalc::store(to + index, twin.low);
    kxcalc::store(to + index + laneCount<T>, twin.high);
  }
};

/// The element-wise walk: rule(One) for the head, rule(Pack) for each block of the body, rule(One) for the tail, in
/// ascending order. The rule computes each element by the same operations in either form, so no result depends on where
/// the seams lie; that is why short counts need no form of their own. Blocks run strictly one after the other, each
/// loading before it stores: an output that overlaps an input from behind, or by a block or more ahead, gives what the
/// plain loop gives.
template <size_t width, class Rule>
KXCALC_INLINE void walkElements(size_t head, size_t count, Rule rule) {
  constexpr size_t blocks = 4;
  size_t i = 0;
  for (const size_t end = std::min(head, count); i < end; ++i) {
    rule(One{i});
  }
  for (; count - i >= blocks * width; i += blocks * width) {
    unrolled<blocks>([&](size_t k) { rule(Pack<width>{i + k * width}); });
  }
  for (; count - i >= width; i += width) {
    rule(Pack<width>{i});
  }
  for (; i < count; ++i) {
    rule(One{i});
  }
}

/// Asks for the memory that a walk will need some 4 KiB later. The processor's own prefetching keeps up with a walk
/// that does nothing but load, not with one that computes. A hint: nothing is read, and an address past the buffer is
/// harmless.
template <class T>
KXCALC_INLINE void prefetchAhead(const T* at) {
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + 4096));
}

/// The body walk of reductions: line(p) for each four blocks, block(p) for each that is left over, from element `begin`
/// on in ascending order. Returns the index at which the tail begins.
template <class T, class Line, class Block>
KXCALC_INLINE size_t walkBody(const T* data, size_t begin, size_t count, Line line, Block block) {
  constexpr size_t width = laneCount<T>;
  size_t i = begin;
  for (; count - i >= 4 * width; i += 4 * width) {
    prefetchAhead(data + i);
    line(data + i);
  }
  for (; count - i >= width; i += width) {
    block(data + i);
  }
  return i;
}

/// The same where four blocks are just one block four times.
template <class T, class Block>
KXCALC_INLINE size_t walkBody(const T* data, size_t begin, size_t count, Block block) {
  const auto line = [&](const T* at) { unrolled<4>([&](size_t k) { block(at + k * laneCount<T>); }); };
  return walkBody(data, begin, count, line, block);
}

}  // namespace kxcalc
