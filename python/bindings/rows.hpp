// Arrays of several dimensions, as rows along their last one.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "python/bindings/arrays.hpp"

namespace kxpython {

/// Elements at one distance from each other.
struct Row {
  std::byte* first;
  ptrdiff_t stride;  ///< in bytes
  size_t count;

  Row part(size_t begin, size_t length) const {
    return {first + static_cast<ptrdiff_t>(begin) * stride, stride, length};
  }
};

/// An array of any number of dimensions and strides whose elements are aligned.
class Rows {
public:
  Rows(nb::handle object, const char* name) : buffer_(object, name) {
    const Py_buffer& view = buffer_.view();
    const auto size = static_cast<size_t>(view.itemsize);
    const auto isMisplaced = [&](size_t bytes) { return size == 0 || bytes % size != 0; };
    bool misplaced = !isEmpty() && isMisplaced(reinterpret_cast<uintptr_t>(view.buf));
    for (int i = 0; i < view.ndim && !isEmpty(); ++i) {
      misplaced = misplaced || isMisplaced(static_cast<size_t>(view.strides[i]));
    }
    if (misplaced) {
      refuseValue(std::string(name) + " is not aligned to its elements of " + std::to_string(size) + " bytes");
    }
  }

  std::string type() const { return buffer_.type(); }
  const Buffer& buffer() const { return buffer_; }
  std::span<const Py_ssize_t> shape() const { return {buffer_.view().shape, static_cast<size_t>(buffer_.view().ndim)}; }

  size_t size() const {
    size_t product = 1;
    for (const Py_ssize_t length : shape()) {
      product *= static_cast<size_t>(length);
    }
    return product;
  }
  bool isEmpty() const { return size() == 0; }

  /// Whether both have the same elements in the same places.
  bool liesOn(const Rows& other) const {
    const Py_buffer &mine = buffer_.view(), &its = other.buffer_.view();
    return mine.buf == its.buf && mine.itemsize == its.itemsize && mine.ndim == its.ndim &&
           std::equal(mine.shape, mine.shape + mine.ndim, its.shape) &&
           std::equal(mine.strides, mine.strides + mine.ndim, its.strides);
  }

  bool overlaps(const Rows& other) const { return overlap(buffer_, other.buffer_); }

  /// The row of a number, counted in C order.
  Row row(size_t number) const {
    const Py_buffer& view = buffer_.view();
    auto* first = static_cast<std::byte*>(view.buf);
    if (view.ndim == 0) {
      return {first, view.itemsize, 1};
    }
    for (int i = view.ndim - 2; i >= 0; --i) {
      const auto length = static_cast<size_t>(view.shape[i]);
      first += static_cast<ptrdiff_t>(number % length) * view.strides[i];
      number /= length;
    }
    return {first, view.strides[view.ndim - 1], static_cast<size_t>(view.shape[view.ndim - 1])};
  }

  size_t rowCount() const {
    const size_t length = shape().empty() ? 1 : static_cast<size_t>(shape().back());
    return length == 0 ? 0 : size() / length;
  }

private:
  Buffer buffer_;
};

/// Room for a block of elements that a kernel gets at a time, at a boundary of 16 bytes.
template <class T>
struct alignas(64) Block {
  static constexpr size_t length = 4096;
  std::array<T, length> elements;

  void gather(const Row& row) {
    for (size_t i = 0; i < row.count; ++i) {
      std::memcpy(&elements[i], row.first + static_cast<ptrdiff_t>(i) * row.stride, sizeof(T));
    }
  }
  void scatter(const Row& row) const {
    for (size_t i = 0; i < row.count; ++i) {
      std::memcpy(row.first + static_cast<ptrdiff_t>(i) * row.stride, &elements[i], sizeof(T));
    }
  }
};

/// A row's elements side by side, in parts, from a boundary of 16 bytes on: where they lie, or else copied.
template <class T, class Take>
void inAlignedBlocks(const Row& row, Take take) {
  constexpr size_t boundary = 16;
  const bool isThere = row.stride == sizeof(T) && reinterpret_cast<uintptr_t>(row.first) % boundary == 0;
  Block<T> block;
  for (size_t begin = 0; begin < row.count; begin += Block<T>::length) {
    const Row part = row.part(begin, std::min(row.count - begin, Block<T>::length));
    if (!isThere) {
      block.gather(part);
    }
    take(std::span<const T>(isThere ? reinterpret_cast<const T*>(part.first) : block.elements.data(), part.count));
  }
}

}  // namespace kxpython
