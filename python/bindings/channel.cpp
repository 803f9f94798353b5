// Scaled channel values, and the interpolator.
#include <algorithm>
#include <memory>

#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"
#include "python/bindings/raw_types.hpp"

namespace kxpython {
namespace {

/// Raw samples of any type that channels have.
class RawSamples : public AnyArray {
public:
  explicit RawSamples(nb::handle object) : AnyArray(object, "source"), code_(rawTypeOf(*buffer_)) {
    requireOneDimension(Layout::strided, INT32_MAX);
    requireAlignment(static_cast<size_t>(buffer_->view().itemsize));
    if (stride() > INT32_MAX || stride() < INT32_MIN) {
      refuseValue("source has a stride of " + std::to_string(stride()) + ": 32 bits do not hold it");
    }
  }

  const void* data() const { return buffer_->view().buf; }
  uint32_t code() const { return code_; }

private:
  uint32_t code_;
};

template <class T, class Parameters>
void defineScaledValues(nb::module_& kernels, const std::string& suffix, auto kernel, size_t alignment) {
  const bool isAligned = alignment > alignof(T);
  defineKernel(
      kernels,
      "def ChannelGetScaledValuesAtPos_" + suffix +
          "(source: numpy.typing.NDArray[typing.Any], scale: float, offset: float, *, out: " + typeName<T>() +
          "[] | None = None) -> " + typeName<T>() + "[]",
      std::string("Physical values of raw samples: raw * scale + offset, each of the two steps rounded.\n\n"
                  "Parameters\n----------\n"
                  "source\n    Shape (n,), of any stride, at most 2147483647 samples: an integer type of 8 to 32 bits, "
                  "int64, float32\n"
                  "    or float64.\n"
                  "scale, offset\n    In the precision of the result.\n"
                  "out\n    Shape (n,), apart from `source`") +
          (isAligned ? ", aligned to 16 bytes.\n" : ".\n") + "\nReturns\n-------\nout",
      [kernel, alignment](nb::handle raw, T scale, T offset, nb::handle out) {
        const RawSamples source(raw);
        const Output<T> output = outputFor<T>(out, source.size(), "source");
        output.requireAlignment(alignment);
        output.requireApartFrom(source);
        Parameters parameters{};
        parameters.source = source.data();
        parameters.output = output.data();
        parameters.scale = scale;
        parameters.offset = offset;
        parameters.count = static_cast<int32_t>(source.size());
        parameters.typeCode = source.code();
        parameters.stride = static_cast<int32_t>(source.stride());
        {
          const Unlocked unlocked(source.size());
          (functions().*kernel)(&parameters);
        }
        return output.object();
      },
      "source"_a, "scale"_a, "offset"_a, nb::kw_only(), "out"_a = nb::none());
}

/// An interpolator that Python owns.
class Interpolator {
public:
  Interpolator(CHSInterpolator* handle, uint32_t bufferLength) : handle_(handle), bufferLength_(bufferLength) {}
  Interpolator(const Interpolator&) = delete;
  Interpolator& operator=(const Interpolator&) = delete;
  ~Interpolator() { destroy(); }

  CHSInterpolator* handle() const {
    if (handle_ == nullptr) {
      refuseValue("handle is destroyed");
    }
    return handle_;
  }

  void destroy() {
    if (handle_ != nullptr) {
      functions().kxcalcCHSInterpolator_Destroy(handle_);
      handle_ = nullptr;
    }
  }

  uint32_t longestBlock() const { return bufferLength_ < 3 ? 0 : bufferLength_ - 3; }

private:
  CHSInterpolator* handle_;
  uint32_t bufferLength_;
};

nb::object copied(const float* values, uint32_t count) {
  const nb::object copy = newArray(count, typeName<float>());
  const Output<float> output(copy, "out");
  std::copy_n(values, count, output.data());
  return copy;
}

[[noreturn]] void refuseCode(uint32_t code) {
  switch (code) {
    case KXCALC_STOPPED:
      refuseValue("handle has ended its stream: reset it first");
    case KXCALC_BUFFER_LENGTH:
      refuseValue("buffer_length is not a power of two");
    default:
      refuseValue("input_rate and output_rate are no rates above 0, or ask for more outputs than memory holds");
  }
}

void defineInterpolator(nb::module_& kernels) {
  nb::class_<Interpolator>(
      kernels, "CHSInterpolator",
      "A resampler of one stream of singles, as `CHSInterpolator_Create` makes it. It frees itself.");
  kernels.def(
      "CHSInterpolator_Create",
      [](double inputRate, double outputRate, uint32_t bufferLength) {
        const CHSInterpolatorParams parameters{inputRate, outputRate, bufferLength};
        CHSInterpolator* handle = nullptr;
        const uint32_t code = functions().kxcalcCHSInterpolator_Create(&handle, &parameters);
        if (code != KXCALC_SUCCESS) {
          refuseCode(code);
        }
        return std::make_unique<Interpolator>(handle, bufferLength).release();
      },
      nb::rv_policy::take_ownership, "input_rate"_a, "output_rate"_a, "buffer_length"_a,
      "Create an interpolator: a cubic Hermite spline with Catmull-Rom tangents.\n\n"
      "Parameters\n----------\n"
      "input_rate, output_rate\n    In the same unit, above 0.\n"
      "buffer_length\n    A power of two; blocks hold three samples less.");
  defineKernel(
      kernels, "def CHSInterpolator_InterpolateValues(handle: CHSInterpolator, input: float32[]) -> float32[]",
      "Feed the next block of a stream; the outputs are those up to the last sample but one.\n\n"
      "Parameters\n----------\n"
      "handle\n    Of `CHSInterpolator_Create`.\n"
      "input\n    Shape (n,), 1 to buffer_length - 3 samples.\n\n"
      "Returns\n-------\nA copy of the outputs.\n\n"
      "Notes\n-----\n"
      "A first block of 1 sample delivers nothing. Unless the ratio of the rates is a power of two, the last bits of "
      "outputs\n"
      "depend on how a stream is split. From input position 2^31 on outputs mean nothing: reset the stream before. "
      "After a\n"
      "stream with infinities or NaNs create another interpolator instead of resetting this one.",
      [](Interpolator& interpolator, nb::handle values) {
        const Input<float> input(values, "input");
        CHSInterpolator* const handle = interpolator.handle();
        input.requireAtLeast(1, "a block");
        if (input.size() > interpolator.longestBlock()) {
          refuseValue("input has " + std::to_string(input.size()) +
                      " elements: " + std::to_string(interpolator.longestBlock()) + " are the most");
        }
        const float* outputs = nullptr;
        uint32_t count = 0;
        const uint32_t code =
            functions().kxcalcCHSInterpolator_InterpolateValues(handle, input.data(), input.count(), &outputs, &count);
        if (code != KXCALC_SUCCESS) {
          refuseCode(code);
        }
        return copied(outputs, count);
      },
      "handle"_a, "input"_a);
  defineKernel(
      kernels, "def CHSInterpolator_Stop(handle: CHSInterpolator) -> float32[]",
      "End a stream; the outputs are those up to its last sample.\n\nReturns\n-------\nA copy of the outputs.",
      [](Interpolator& interpolator) {
        const float* outputs = nullptr;
        uint32_t count = 0;
        const uint32_t code = functions().kxcalcCHSInterpolator_Stop(interpolator.handle(), &outputs, &count);
        if (code != KXCALC_SUCCESS) {
          refuseCode(code);
        }
        return copied(outputs, count);
      },
      "handle"_a);
  kernels.def(
      "CHSInterpolator_Reset",
      [](Interpolator& interpolator) { functions().kxcalcCHSInterpolator_Reset(interpolator.handle()); }, "handle"_a,
      "Make an interpolator, open or stopped, ready for a new stream with the same rates.");
  kernels.def(
      "CHSInterpolator_Destroy", [](Interpolator& interpolator) { interpolator.destroy(); }, "handle"_a,
      "Free an interpolator before Python does; nothing can be done with it any more.");
}

}  // namespace

void defineChannel(nb::module_& kernels) {
  defineScaledValues<float, ChannelScaledValuesParams_float>(
      kernels, "float", &Functions::kxcalcChannelGetScaledValuesAtPos_float, alignof(float));
  defineScaledValues<float, ChannelScaledValuesParams_float>(
      kernels, "float_aligned_output", &Functions::kxcalcChannelGetScaledValuesAtPos_float_aligned_output, 16);
  defineScaledValues<double, ChannelScaledValuesParams_double>(
      kernels, "double", &Functions::kxcalcChannelGetScaledValuesAtPos_double, alignof(double));
  defineScaledValues<double, ChannelScaledValuesParams_double>(
      kernels, "double_aligned_output", &Functions::kxcalcChannelGetScaledValuesAtPos_double_aligned_output, 16);
  defineInterpolator(kernels);
}

}  // namespace kxpython
