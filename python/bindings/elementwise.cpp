// Element by element, whatever the shape: what kxcalc.sin, arctan and scale stand on.
#include <algorithm>

#include "python/bindings/module.hpp"
#include "python/bindings/raw_types.hpp"
#include "python/bindings/rows.hpp"

namespace kxpython {
namespace {

/// Where results go: of the input's shape, on its very elements or apart from them.
void requireFits(const Rows& out, const Rows& x) {
  out.buffer().requireWritable();
  if (!std::ranges::equal(out.shape(), x.shape())) {
    refuseValue("out has another shape than x");
  }
  if (!out.liesOn(x) && out.overlaps(x)) {
    refuseValue("out overlaps x");
  }
}

/// Walks over both in blocks: `compute(source, destination, count)` gets each side by side, and at least four elements,
/// the missing ones 0, for of less the kernels compute another way.
template <class T, class Compute>
void walk(const Rows& x, const Rows& out, Compute compute) {
  constexpr size_t least = 4;
  const bool isInPlace = out.liesOn(x);
  Block<T> source, destination;
  for (size_t number = 0; number < x.rowCount(); ++number) {
    const Row from = x.row(number), to = out.row(number);
    for (size_t begin = 0; begin < from.count; begin += Block<T>::length) {
      const size_t count = std::min(from.count - begin, Block<T>::length);
      const Row input = from.part(begin, count), output = to.part(begin, count);
      const bool isShort = count < least;
      const bool readsThere = !isShort && !isInPlace && input.stride == sizeof(T);
      const bool writesThere = !isShort && output.stride == sizeof(T);
      if (!readsThere) {
        std::fill_n(source.elements.begin(), least, T{});
        source.gather(input);
      }
      compute(readsThere ? reinterpret_cast<const T*>(input.first) : source.elements.data(),
              writesThere ? reinterpret_cast<T*>(output.first) : destination.elements.data(), std::max(count, least));
      if (!writesThere) {
        destination.scatter(output);
      }
    }
  }
}

void define(nb::module_& module, const char* name, auto kernel) {
  module.def(
      name,
      [kernel](nb::handle object, nb::handle result) {
        const Rows x(object, "x"), out(result, "out");
        for (const Rows* rows : {&x, &out}) {
          if (rows->type() != typeName<float>()) {
            rows->buffer().refuseType(typeName<float>());
          }
        }
        requireFits(out, x);
        const auto function = functions().*kernel;
        const Unlocked unlocked(x.size());
        walk<float>(x, out, [&](const float* source, float* destination, size_t count) {
          function(source, destination, static_cast<uint32_t>(count));
        });
      },
      "x"_a, "out"_a, "Of each element of x.");
}

/// In blocks, from a copy of the block where the results take its place.
template <class T, class Parameters>
void scaled(const Rows& x, const Rows& out, uint32_t code, double factor, double offset, auto kernel) {
  const auto function = functions().*kernel;
  const auto size = static_cast<size_t>(x.buffer().view().itemsize);
  const bool isInPlace = out.liesOn(x);
  const Unlocked unlocked(x.size());
  Block<double> copy;
  Block<T> results;
  for (size_t number = 0; number < x.rowCount(); ++number) {
    const Row from = x.row(number), to = out.row(number);
    const ptrdiff_t stride = from.stride / static_cast<ptrdiff_t>(size);
    const bool readsThere = !isInPlace && stride <= INT32_MAX && stride >= INT32_MIN;
    for (size_t begin = 0; begin < from.count; begin += Block<T>::length) {
      const size_t count = std::min(from.count - begin, Block<T>::length);
      const Row input = from.part(begin, count), output = to.part(begin, count);
      auto* const bytes = reinterpret_cast<std::byte*>(copy.elements.data());
      for (size_t i = 0; i < count && !readsThere; ++i) {
        std::memcpy(bytes + i * size, input.first + static_cast<ptrdiff_t>(i) * input.stride, size);
      }
      const bool writesThere = output.stride == sizeof(T);
      Parameters parameters{};
      parameters.source = readsThere ? input.first : bytes;
      parameters.output = writesThere ? reinterpret_cast<T*>(output.first) : results.elements.data();
      parameters.scale = static_cast<T>(factor);
      parameters.offset = static_cast<T>(offset);
      parameters.count = static_cast<int32_t>(count);
      parameters.typeCode = code;
      parameters.stride = readsThere ? static_cast<int32_t>(stride) : 1;
      function(&parameters);
      if (!writesThere) {
        results.scatter(output);
      }
    }
  }
}

void scale(nb::handle object, double factor, double offset, nb::handle result) {
  const Rows x(object, "x"), out(result, "out");
  const uint32_t code = rawTypeOf(x.buffer());
  requireFits(out, x);
  if (out.type() == typeName<float>()) {
    scaled<float, ChannelScaledValuesParams_float>(x, out, code, factor, offset,
                                                   &Functions::kxcalcChannelGetScaledValuesAtPos_float);
  } else if (out.type() == typeName<double>()) {
    scaled<double, ChannelScaledValuesParams_double>(x, out, code, factor, offset,
                                                     &Functions::kxcalcChannelGetScaledValuesAtPos_double);
  } else {
    out.buffer().refuseType("float32 or float64");
  }
}

}  // namespace

void defineElementwise(nb::module_& module) {
  define(module, "sin", &Functions::kxcalcSin_float);
  define(module, "arctan", &Functions::kxcalcATan_float);
  module.def("scale", &scale, "x"_a, "factor"_a, "offset"_a, "out"_a, "x * factor + offset.");
}

}  // namespace kxpython
