// Packs of elements: the value that a block walk computes with. A pack of one type may fill one vector where another type
// needs two, or four: as a pair of halves, which are vectors or pairs again, with the arithmetic of vectors.
#pragma once

#include "frame/lanes.hpp"

namespace kxcalc {

template <class Half>
struct Twin {
  Half low, high;
};

template <class Half>
KXCALC_INLINE Twin<Half> twin(Half low, Half high) {
  return {low, high};
}

namespace detail {
template <class Half>
struct ElementOf<Twin<Half>> {
  using Type = Element<Half>;
};

template <class T, size_t count>
struct PackOf {
  KXCALC_INLINE static auto make() {
    if constexpr (count * sizeof(T) <= widestBytes) {
      return Lanes<T, count * sizeof(T)>{};
    } else {
      return Twin<typename PackOf<T, count / 2>::Type>{};
    }
  }
  using Type = decltype(make());
};

template <class X>
inline constexpr bool isTwin = false;
template <class Half>
inline constexpr bool isTwin<Twin<Half>> = true;
}  // namespace detail

/// `count` elements, in one vector if the build has one that is wide enough. They fill 16 bytes at least.
template <class T, size_t count>
using PackOf = typename detail::PackOf<T, count>::Type;

/// How many elements a pack holds.
template <class X>
inline constexpr size_t elementsIn = sizeof(X) / sizeof(Element<X>);

/// Applies a function to the vectors of packs that are made alike, a single element or vector standing for every part of
/// a pair.
template <class Function, class X>
KXCALC_INLINE auto eachVector(Function function, X x) {
  if constexpr (detail::isTwin<X>) {
    return twin(eachVector(function, x.low), eachVector(function, x.high));
  } else {
    return function(x);
  }
}
template <class Function, class X, class Y>
KXCALC_INLINE auto eachVector(Function function, X x, Y y) {
  if constexpr (detail::isTwin<X> && detail::isTwin<Y>) {
    return twin(eachVector(function, x.low, y.low), eachVector(function, x.high, y.high));
  } else if constexpr (detail::isTwin<X>) {
    return twin(eachVector(function, x.low, y), eachVector(function, x.high, y));
  } else if constexpr (detail::isTwin<Y>) {
    return twin(eachVector(function, x, y.low), eachVector(function, x, y.high));
  } else {
    return function(x, y);
  }
}

template <class X, class Y>
concept OneOfThemATwin = detail::isTwin<X> || detail::isTwin<Y>;

template <class X, class Y>
requires OneOfThemATwin<X, Y> KXCALC_INLINE auto operator+(X x, Y y) {
  return eachVector([](auto a, auto b) KXCALC_INLINE_LAMBDA { return a + b; }, x, y);
}
template <class X, class Y>
requires OneOfThemATwin<X, Y> KXCALC_INLINE auto operator-(X x, Y y) {
  return eachVector([](auto a, auto b) KXCALC_INLINE_LAMBDA { return a - b; }, x, y);
}
template <class X, class Y>
requires OneOfThemATwin<X, Y> KXCALC_INLINE auto operator*(X x, Y y) {
  return eachVector([](auto a, auto b) KXCALC_INLINE_LAMBDA { return a * b; }, x, y);
}
template <class X, class Y>
requires OneOfThemATwin<X, Y> KXCALC_INLINE auto operator/(X x, Y y) {
  return eachVector([](auto a, auto b) KXCALC_INLINE_LAMBDA { return a / b; }, x, y);
}

/// The pack that is made of two, as wide as the build allows.
template <class X>
KXCALC_INLINE auto paired(X low, X high) {
  if constexpr (!detail::isTwin<X> && 2 * sizeof(X) <= widestBytes) {
    return joined(low, high);
  } else {
    return twin(low, high);
  }
}

/// The halves of a pack.
template <class X>
KXCALC_INLINE auto lowPart(X x) {
  if constexpr (detail::isTwin<X>) {
    return x.low;
  } else {
    return lowHalf(x);
  }
}
template <class X>
KXCALC_INLINE auto highPart(X x) {
  if constexpr (detail::isTwin<X>) {
    return x.high;
  } else {
    return highHalf(x);
  }
}

/// Rows of four elements of 32 bits, a row in each 16 bytes of four packs, as columns: the first elements of all rows, and
/// so on. Those of a, b, c and d that lie at the same place are neighbours.
template <class X>
struct Columns {
  X first, second, third, fourth;
};
template <class X>
KXCALC_INLINE Columns<X> transposed(X a, X b, X c, X d) {
  if constexpr (detail::isTwin<X>) {
    const auto low = transposed(a.low, b.low, c.low, d.low), high = transposed(a.high, b.high, c.high, d.high);
    return {{low.first, high.first}, {low.second, high.second}, {low.third, high.third}, {low.fourth, high.fourth}};
  } else {
    const X lowAB = fromEach16Bytes<0, 4, 1, 5>(a, b), highAB = fromEach16Bytes<2, 6, 3, 7>(a, b);
    const X lowCD = fromEach16Bytes<0, 4, 1, 5>(c, d), highCD = fromEach16Bytes<2, 6, 3, 7>(c, d);
    return {fromEach16Bytes<0, 1, 4, 5>(lowAB, lowCD), fromEach16Bytes<2, 3, 6, 7>(lowAB, lowCD),
            fromEach16Bytes<0, 1, 4, 5>(highAB, highCD), fromEach16Bytes<2, 3, 6, 7>(highAB, highCD)};
  }
}

/// A pack from, or to, any address that is aligned to its element.
template <size_t count, class T>
KXCALC_INLINE PackOf<T, count> loadPack(const T* from) {
  if constexpr (detail::isTwin<PackOf<T, count>>) {
    return {loadPack<count / 2>(from), loadPack<count / 2>(from + count / 2)};
  } else {
    return load<count * sizeof(T)>(from);
  }
}
template <class T, class Half>
KXCALC_INLINE void store(T* to, Twin<Half> twin) {
  store(to, twin.low);
  store(to + elementsIn<Half>, twin.high);
}

}  // namespace kxcalc
