// Arrays of Python as the kernels take them: views of one dimension, checked, never copied.
#pragma once

#include <nanobind/nanobind.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kxpython {

namespace nb = nanobind;

enum class Layout {
  contiguous,
  strided,  ///< any distance of whole elements from one to the next
};

/// Any array's memory, held while this object lives: neither Python nor NumPy moves or frees it meanwhile.
class Buffer {
public:
  /// @param object  what exports a buffer; all else is refused with a TypeError that names the argument.
  Buffer(nb::handle object, const char* name);
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { PyBuffer_Release(&view_); }

  const Py_buffer& view() const { return view_; }
  const char* name() const { return name_; }

  /// NumPy's name of the elements' type, with its byte order where that is not the machine's: "float32", ">f4".
  std::string type() const;

  [[noreturn]] void refuseType(const char* needed) const;
  void requireWritable() const;

private:
  Py_buffer view_{};
  const char* name_;
};

/// Whether some element of one may lie where one of the other does.
bool overlap(const Buffer& one, const Buffer& other);

/// The type's name as NumPy has it.
template <class T>
constexpr const char* typeName();
template <>
constexpr const char* typeName<int8_t>() {
  return "int8";
}
template <>
constexpr const char* typeName<uint8_t>() {
  return "uint8";
}
template <>
constexpr const char* typeName<int16_t>() {
  return "int16";
}
template <>
constexpr const char* typeName<uint16_t>() {
  return "uint16";
}
template <>
constexpr const char* typeName<int32_t>() {
  return "int32";
}
template <>
constexpr const char* typeName<uint32_t>() {
  return "uint32";
}
template <>
constexpr const char* typeName<int64_t>() {
  return "int64";
}
template <>
constexpr const char* typeName<float>() {
  return "float32";
}
template <>
constexpr const char* typeName<double>() {
  return "float64";
}
template <>
constexpr const char* typeName<std::complex<float>>() {
  return "complex64";
}

/// What does not depend on the elements' type.
class AnyArray {
public:
  static constexpr size_t mostElements = UINT32_MAX;

  AnyArray(nb::handle object, const char* name) : buffer_(std::make_unique<Buffer>(object, name)) {}

  const char* name() const { return buffer_->name(); }
  std::string type() const { return buffer_->type(); }
  size_t size() const { return static_cast<size_t>(buffer_->view().shape[0]); }
  uint32_t count() const { return static_cast<uint32_t>(size()); }
  bool isEmpty() const { return size() == 0; }

  /// From one element to the next, in elements.
  ptrdiff_t stride() const { return size() < 2 ? 1 : buffer_->view().strides[0] / buffer_->view().itemsize; }

  void requireOneDimension(Layout layout, size_t most = mostElements) const;
  void requireAlignment(size_t bytes) const;
  void requireSize(size_t size, const char* like) const;
  void requireAtLeast(size_t size, const char* why) const;

  /// Refuses memory that both have.
  void requireApartFrom(const AnyArray& other) const;

protected:
  std::unique_ptr<Buffer> buffer_;
};

/// The elements are read.
template <class T>
class Input : public AnyArray {
public:
  Input(nb::handle object, const char* name, Layout layout = Layout::contiguous, size_t most = mostElements)
      : AnyArray(object, name) {
    if (buffer_->type() != typeName<T>()) {
      buffer_->refuseType(typeName<T>());
    }
    requireOneDimension(layout, most);
    requireAlignment(alignof(T));
  }

  const T* data() const { return static_cast<const T*>(buffer_->view().buf); }
};

/// The elements are written: a contiguous array that may be.
template <class T>
class Output : public AnyArray {
public:
  Output(nb::handle object, const char* name, size_t most = mostElements)
      : AnyArray(object, name), object_(nb::borrow(object)) {
    if (buffer_->type() != typeName<T>()) {
      buffer_->refuseType(typeName<T>());
    }
    requireOneDimension(Layout::contiguous, most);
    requireAlignment(alignof(T));
    buffer_->requireWritable();
  }

  T* data() const { return static_cast<T*>(buffer_->view().buf); }
  const nb::object& object() const { return object_; }

private:
  nb::object object_;
};

/// A new array of NumPy's.
nb::object newArray(size_t size, const char* type);

/// The array that results go to: `out`, or a new one where that is None.
/// @param like  the array or number that tells the size.
template <class T>
Output<T> outputFor(nb::handle out, size_t size, const char* like) {
  Output<T> output(out.is_none() ? newArray(size, typeName<T>()) : nb::borrow(out), "out");
  output.requireSize(size, like);
  return output;
}

/// Lets other threads of Python run during a call that takes longer than a few microseconds.
class Unlocked {
public:
  explicit Unlocked(size_t elements) {
    constexpr size_t worthwhile = 4096;
    if (elements >= worthwhile) {
      released_.emplace();
    }
  }

private:
  std::optional<nb::gil_scoped_release> released_;
};

/// A sentence as a Python exception.
[[noreturn]] void refuseValue(const std::string& sentence);
[[noreturn]] void refuseTypeOf(const std::string& sentence);

}  // namespace kxpython
