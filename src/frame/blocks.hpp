// Block walks: how kernels go over a buffer, in a head of single elements up to a 16-byte boundary, a body of whole
// blocks, and a tail of single elements. What is computed element by element takes the widest vectors of the build in the
// middle of its body.
#pragma once

#include <algorithm>
#include <utility>

#include "frame/conversions.hpp"

namespace kxcalc {

/// Number of elements from `buffer` up to the next boundary of 16 bytes, or of as many as are named: 0 if it stands on
/// one.
template <size_t bytes = 16, class T>
KXCALC_INLINE size_t headLength(const T* buffer) {
  return (0 - reinterpret_cast<uintptr_t>(buffer)) % bytes / sizeof(T);
}

/// Calls step(0), step(1), ... step(count - 1), written out one after the other; the numbers are constants of their own
/// type.
template <size_t count, class Step>
KXCALC_INLINE void unrolled(Step step) {
  [&]<size_t... k>(std::index_sequence<k...>) KXCALC_INLINE_LAMBDA {
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
  template <class Raw>
  KXCALC_INLINE int32_t loadAsInt32(const Raw* from) const {
    return static_cast<int32_t>(from[index]);
  }
  template <class Raw>
  KXCALC_INLINE double loadAsDoubles(const Raw* from) const {
    return static_cast<double>(from[index]);
  }
  template <class T>
  KXCALC_INLINE void store(T* to, T value) const {
    to[index] = value;
  }
};

/// ... as many elements from an index on.
template <size_t width>
struct Pack {
  size_t index;

  template <class T>
  KXCALC_INLINE auto load(const T* from) const {
    return loadPack<width>(from + index);
  }
  /// The same of one vector, in a register.
  template <class T>
  KXCALC_INLINE auto loadOnce(const T* from) const {
    return kxcalc::loadOnce<width * sizeof(T)>(from + index);
  }
  template <class Raw>
  KXCALC_INLINE auto loadAsInt32(const Raw* from) const {
    return loadPackAsInt32<width>(from + index);
  }
  template <class Raw>
  KXCALC_INLINE auto loadAsDoubles(const Raw* from) const {
    return loadPackAsDoubles<width>(from + index);
  }
  template <class T, class X>
  KXCALC_INLINE void store(T* to, X pack) const {
    static_assert(elementsIn<X> == width);
    kxcalc::store(to + index, pack);
  }
};

/// How much wider the widest vectors of the build are than those of 16 bytes.
inline constexpr size_t widening = widestBytes / 16;

/// Whether an output starts ahead of an input by less than the widest vector: results of a vector are then inputs of the
/// same vector, and a loop that takes its elements one after the other gives something else.
KXCALC_INLINE bool feedsOwnVector(const void* output, const void* input) {
  const uintptr_t ahead = reinterpret_cast<uintptr_t>(output) - reinterpret_cast<uintptr_t>(input);
  return ahead != 0 && ahead < widestBytes;
}

namespace detail {
/// rule(Pack) for packs of `width` elements from `i` on, `blocks` at a time; returns where less are left.
template <size_t width, size_t blocks, class Rule>
KXCALC_INLINE size_t walkPacks(size_t i, size_t end, Rule rule) {
  for (; end - i >= blocks * width; i += blocks * width) {
    unrolled<blocks>([&](size_t k) KXCALC_INLINE_LAMBDA { rule(Pack<width>{i + k * width}); });
  }
  return i;
}
}  // namespace detail

/// The element-wise walk: rule(One) up to the 16-byte boundary of `buffer`, rule(Pack) for packs of `width` elements up to
/// the boundary of the widest vectors, for packs that are so many times wider, and for what is left of the narrow ones;
/// rule(One) for the tail; all in ascending order. The rule computes each element by the same operations in every form,
/// so no result depends on where the seams lie; that is why short counts need no form of their own. Packs run strictly one
/// after the other, each loading before it stores: an output that overlaps an input from behind, or by a widest pack or
/// more ahead, gives what the plain loop gives. A rule that gathers its inputs one by one gains nothing by wider packs:
/// it names its width as the widest too.
template <size_t width, size_t wide = widening* width, class T, class Rule>
KXCALC_INLINE void walkElements(const T* buffer, size_t count, Rule rule) {
  size_t i = 0;
  for (const size_t head = std::min(headLength(buffer), count); i < head; ++i) {
    rule(One{i});
  }
  if constexpr (wide > width) {
    if (count - i >= 4 * wide) {
      const size_t boundary = i + headLength<widening * 16>(buffer + i);
      i = detail::walkPacks<width, 1>(i, boundary, rule);
      for (; i < boundary; ++i) {
        rule(One{i});
      }
      i = detail::walkPacks<wide, 4>(i, count, rule);
    }
    i = detail::walkPacks<wide, 1>(i, count, rule);
  } else {
    i = detail::walkPacks<width, 4>(i, count, rule);
  }
  i = detail::walkPacks<width, 1>(i, count, rule);
  const size_t tail = count - i;
  if (tail >= width) {
    __builtin_unreachable();  // otherwise compilers ask whether so few make a vector
  }
  for (size_t k = 0; k < tail; ++k) {
    rule(One{i + k});
  }
}

/// Asks for the memory that a walk will need some 4 KiB later. The processor's own prefetching keeps up with a walk
/// that does nothing but load, not with one that computes. A hint: nothing is read, and an address past the buffer is
/// harmless.
template <class T>
KXCALC_INLINE void prefetchAhead(const T* at) {
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + 4096));
}

/// The block walk from element 0 on, wherever the buffers stand: rule(Pack) for each whole block of `width` elements,
/// several as one where the build has wider vectors and the rule gains by them. Asks for what `buffers` hold further on.
/// Returns where less than a block is left.
template <size_t width, size_t wide = widening* width, class Rule, class... T>
KXCALC_INLINE size_t walkBlocks(size_t count, Rule rule, const T*... buffers) {
  constexpr size_t line = 4 * wide;
  const auto prefetch = [](const auto* from) KXCALC_INLINE_LAMBDA {
    constexpr size_t step = std::max(size_t{1}, 64 / sizeof *from);
    for (size_t k = 0; k < line; k += step) {
      prefetchAhead(from + k);
    }
  };
  size_t i = 0;
  for (; count - i >= line; i += line) {
    (prefetch(buffers + i), ...);
    unrolled<4>([&](size_t k) KXCALC_INLINE_LAMBDA { rule(Pack<wide>{i + k * wide}); });
  }
  i = detail::walkPacks<wide, 1>(i, count, rule);
  return detail::walkPacks<width, 1>(i, count, rule);
}

/// The same downwards, over whole blocks that begin at element 0: where several are one, they stand at a multiple of
/// their size.
template <size_t width, class Rule>
KXCALC_INLINE void walkBlocksDown(size_t count, Rule rule) {
  constexpr size_t wide = widening * width, line = 4 * wide;
  size_t i = count;
  while (i % wide != 0) {
    rule(Pack<width>{i -= width});
  }
  while (i % line != 0) {
    rule(Pack<wide>{i -= wide});
  }
  while (i != 0) {
    unrolled<4>([&](size_t /*k*/) KXCALC_INLINE_LAMBDA { rule(Pack<wide>{i -= wide}); });
  }
}

/// The body walk of reductions: line(p) for each four blocks of a vector, of 16 bytes or as many as are named, block(p) for
/// each that is left over, from element `begin` on in ascending order. Returns the index at which the tail begins.
template <size_t bytes = 16, class T, class Line, class Block>
KXCALC_INLINE size_t walkBody(const T* data, size_t begin, size_t count, Line line, Block block) {
  constexpr size_t width = laneCount<T, bytes>;
  size_t i = begin;
  for (; count - i >= 4 * width; i += 4 * width) {
    for (size_t k = 0; k < 4 * width; k += laneCount<T, 64>) {
      prefetchAhead(data + i + k);
    }
    line(data + i);
  }
  for (; count - i >= width; i += width) {
    block(data + i);
  }
  return i;
}

/// The same where four blocks are just one block four times.
template <size_t bytes = 16, class T, class Block>
KXCALC_INLINE size_t walkBody(const T* data, size_t begin, size_t count, Block block) {
  const auto line = [&](const T* at) KXCALC_INLINE_LAMBDA {
    unrolled<4>([&](size_t k) KXCALC_INLINE_LAMBDA { block(at + k * laneCount<T, bytes>); });
  };
  return walkBody<bytes>(data, begin, count, line, block);
}

}  // namespace kxcalc
