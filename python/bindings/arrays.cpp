#include "python/bindings/arrays.hpp"

#include <algorithm>
#include <bit>
#include <string_view>

namespace kxpython {
namespace {

/// NumPy's name of what one character of a buffer's format stands for in native size; empty for what no kernel takes.
std::string nameOf(char code, size_t size) {
  constexpr std::string_view integers = "bhilqn", naturals = "BHILQN", floats = "efdg";
  const std::string bits = std::to_string(8 * size);
  if (integers.find(code) != std::string_view::npos) {
    return "int" + bits;
  }
  if (naturals.find(code) != std::string_view::npos) {
    return "uint" + bits;
  }
  if (floats.find(code) != std::string_view::npos) {
    return "float" + bits;
  }
  return code == '?' ? "bool" : "";
}

std::string counted(size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

struct Extent {
  const std::byte *begin, *end;
};

/// All bytes from the lowest element to the highest.
Extent extentOf(const Py_buffer& view) {
  const auto* const first = static_cast<const std::byte*>(view.buf);
  Extent extent{first, first + view.itemsize};
  for (int i = 0; i < view.ndim; ++i) {
    if (view.shape[i] == 0) {
      return {first, first};
    }
    const ptrdiff_t reach = (view.shape[i] - 1) * view.strides[i];
    (reach < 0 ? extent.begin : extent.end) += reach;
  }
  return extent;
}

}  // namespace

void refuseValue(const std::string& sentence) {
  throw nb::value_error(sentence.c_str());
}

void refuseTypeOf(const std::string& sentence) {
  throw nb::type_error(sentence.c_str());
}

Buffer::Buffer(nb::handle object, const char* name) : name_(name) {
  if (PyObject_GetBuffer(object.ptr(), &view_, PyBUF_RECORDS_RO) != 0) {
    PyErr_Clear();
    const nb::str given(object.type().attr("__name__"));
    refuseTypeOf(std::string(name) + " is of type " + given.c_str() + ": an array of numbers is needed");
  }
}

std::string Buffer::type() const {
  const std::string_view format = view_.format == nullptr ? "B" : view_.format;
  constexpr char own = std::endian::native == std::endian::little ? '<' : '>';
  constexpr std::string_view orders = "@=<>!";
  const bool hasOrder = !format.empty() && orders.find(format.front()) != std::string_view::npos;
  const bool isSwapped =
      hasOrder && format.front() != own && (format.front() == '>' || format.front() == '<' || format.front() == '!');
  const std::string_view code = format.substr(hasOrder ? 1 : 0);
  const auto size = static_cast<size_t>(view_.itemsize);
  if (code == "Zf" && !isSwapped) {
    return "complex64";
  }
  const std::string name = code.size() == 1 ? nameOf(code.front(), size) : "";
  if (name.empty()) {
    return "\"" + std::string(format) + "\"";
  }
  return isSwapped && size > 1 ? name + " in the other byte order" : name;
}

void Buffer::refuseType(const char* needed) const {
  refuseTypeOf(std::string(name_) + " is an array of " + type() + ": " + needed + " is needed");
}

void Buffer::requireWritable() const {
  if (view_.readonly != 0) {
    refuseValue(std::string(name_) + " is read-only: results are written to it");
  }
}

void AnyArray::requireOneDimension(Layout layout, size_t most) const {
  const Py_buffer& view = buffer_->view();
  if (view.ndim != 1) {
    refuseValue(std::string(name()) + " has " + counted(static_cast<size_t>(view.ndim), "dimension") + ": 1 is needed");
  }
  if (size() > most) {
    refuseValue(std::string(name()) + " has " + counted(size(), "element") + ": " + std::to_string(most) +
                " are the most");
  }
  if (size() < 2) {
    return;
  }
  if (layout == Layout::contiguous && view.strides[0] != view.itemsize) {
    refuseValue(std::string(name()) + " is not contiguous: its elements lie " + std::to_string(view.strides[0]) +
                " bytes apart");
  }
  if (view.strides[0] % view.itemsize != 0) {
    refuseValue(std::string(name()) + " has elements " + std::to_string(view.strides[0]) +
                " bytes apart: whole elements of " + std::to_string(view.itemsize) + " bytes are needed");
  }
}

void AnyArray::requireAlignment(size_t bytes) const {
  if (!isEmpty() && reinterpret_cast<uintptr_t>(buffer_->view().buf) % bytes != 0) {
    refuseValue(std::string(name()) + " is not aligned to " + std::to_string(bytes) + " bytes");
  }
}

void AnyArray::requireSize(size_t wanted, const char* like) const {
  if (size() != wanted) {
    refuseValue(std::string(name()) + " has " + counted(size(), "element") + ": " + like + " asks for " +
                std::to_string(wanted));
  }
}

void AnyArray::requireAtLeast(size_t least, const char* why) const {
  if (size() < least) {
    refuseValue(std::string(name()) + " has " + counted(size(), "element") + ": " + why + " asks for at least " +
                std::to_string(least));
  }
}

bool overlap(const Buffer& one, const Buffer& other) {
  const Extent first = extentOf(one.view()), second = extentOf(other.view());
  return first.begin < second.end && second.begin < first.end;
}

void AnyArray::requireApartFrom(const AnyArray& other) const {
  if (overlap(*buffer_, *other.buffer_)) {
    refuseValue(std::string(name()) + " overlaps " + other.name());
  }
}

nb::object newArray(size_t size, const char* type) {
  return nb::module_::import_("numpy").attr("empty")(size, type);
}

}  // namespace kxpython
