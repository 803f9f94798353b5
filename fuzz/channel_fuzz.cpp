// Scaled values of a channel, and the spline interpolator, a stream an input.
#include <kxcalc.h>

#include <cmath>
#include <string>

#include "fuzzing.hpp"
#include "reference/scaled_values.hpp"
#include "reference/spline_interpolator.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;
using fuzzing::Export;

/// Raw samples in front of an exact end, for each type: a tag for its type goes to the function.
template <typename Function>
void withRawType(uint32_t typeCode, const Function& function) {
  switch (typeCode) {
    case KXCALC_UINT8:
      return function(uint8_t{});
    case KXCALC_INT8:
      return function(int8_t{});
    case KXCALC_INT16:
      return function(int16_t{});
    case KXCALC_UINT16:
      return function(uint16_t{});
    case KXCALC_INT32:
      return function(int32_t{});
    case KXCALC_SINGLE:
      return function(float{});
    case KXCALC_INT64:
      return function(int64_t{});
    case KXCALC_DOUBLE:
      return function(double{});
    default:  // codes above read nothing
      return function(uint32_t{});
  }
}

enum class Output { anywhere, aligned };

template <typename Params>
void checkScaledValues(Draw& draw, Export<void(const Params*)> scale, Output placement) {
  using Value = std::remove_pointer_t<decltype(Params::output)>;
  const auto count = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 0) : static_cast<int32_t>(draw.count());
  const uint32_t typeCode = draw.oneIn(16) ? draw.value<uint32_t>() : draw.below<uint32_t>(9);
  const bool reads = count > 0 && typeCode <= KXCALC_UINT32;
  // What is not walked may have any stride.
  const int32_t stride = !reads || count == 1 ? draw.value<int32_t>() : draw.between<int32_t>(-5, 9);
  const std::size_t reach =
      reads && count > 1 ? static_cast<std::size_t>(count - 1) * static_cast<std::size_t>(std::abs(stride)) : 0;
  withRawType(typeCode, [&](auto tag) {
    using Raw = decltype(tag);
    const Buffer<Raw> source = draw.buffer<Raw>(reads ? reach + 1 : 0);
    const auto before = copyOf(source);
    const auto values = static_cast<std::size_t>(reads ? count : 0);
    Buffer<Value> actual = placement == Output::aligned ? draw.alignedRoom<Value>(values) : draw.room<Value>(values);
    Buffer<Value> expected = actual;
    Params params;
    std::memset(&params, 0, sizeof params);
    draw.setTo(params.scale);
    draw.setTo(params.offset);
    params.count = count;
    params.typeCode = typeCode;
    params.stride = stride;
    const Call call(scale.name, {{"source", before},
                                 {"output", actual},
                                 {"scale", params.scale},
                                 {"offset", params.offset},
                                 {"count", count},
                                 {"typeCode", typeCode},
                                 {"stride", stride}});
    const auto run = [&](auto* function, const Buffer<Raw>& from, Buffer<Value>& to) {
      params.source = from.data() + (stride < 0 ? reach : 0);
      params.output = to.data();
      const Params paramsBefore = params;
      function(&params);
      call.unchangedRecord(params, paramsBefore);
    };
    run(scale.kernel, source, actual);
    run(scale.model, before, expected);
    call.same("output", actual, expected);
    call.unchanged("source", source, before);
  });
}

/// An interpolator of the library beside its model: every call goes to both.
class Stream {
public:
  Stream(const Call& call, const CHSInterpolatorParams& params) : call_(call) {
    CHSInterpolator* const untouched = reinterpret_cast<CHSInterpolator*>(this);
    actual_ = untouched;
    expected_ = untouched;
    const uint32_t code = kxcalcCHSInterpolator_Create(&actual_, &params);
    call_.same("result of Create", code, reference::kxcalcCHSInterpolator_Create(&expected_, &params));
    isCreated_ = code == KXCALC_SUCCESS;
    if (!isCreated_ && (actual_ == untouched) != (expected_ == untouched)) {
      call_.fail("Create", "the handle is written by one of them only");
    }
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() {
    if (isCreated_) {
      call_.same("result of Destroy", kxcalcCHSInterpolator_Destroy(actual_),
                 reference::kxcalcCHSInterpolator_Destroy(expected_));
    }
  }

  bool isCreated() const { return isCreated_; }

  void feed(const Buffer<float>& block, uint32_t count) {
    const auto before = copyOf(block);
    deliver(
        [&](const float** values, uint32_t* delivered) {
          return kxcalcCHSInterpolator_InterpolateValues(actual_, block.data(), count, values, delivered);
        },
        [&](const float** values, uint32_t* delivered) {
          return reference::kxcalcCHSInterpolator_InterpolateValues(expected_, before.data(), count, values, delivered);
        });
    call_.unchanged("block", block, before);
  }

  void stop() {
    deliver([&](const float** values,
                uint32_t* delivered) { return kxcalcCHSInterpolator_Stop(actual_, values, delivered); },
            [&](const float** values, uint32_t* delivered) {
              return reference::kxcalcCHSInterpolator_Stop(expected_, values, delivered);
            });
  }

  void reset() {
    call_.same("result of Reset", kxcalcCHSInterpolator_Reset(actual_),
               reference::kxcalcCHSInterpolator_Reset(expected_));
  }

private:
  template <typename Kernel, typename Model>
  void deliver(const Kernel& kernel, const Model& model) {
    constexpr uint32_t untouched = 4711;
    const float* actual = nullptr;
    const float* expected = nullptr;
    uint32_t actualCount = untouched;
    uint32_t expectedCount = untouched;
    const uint32_t code = kernel(&actual, &actualCount);
    call_.same("result", code, model(&expected, &expectedCount));
    call_.same("number of outputs", actualCount, expectedCount);
    if (actualCount != untouched) {
      call_.same("outputs", std::span(actual, actualCount), std::span(expected, expectedCount));
    }
  }

  const Call& call_;
  CHSInterpolator* actual_ = nullptr;
  CHSInterpolator* expected_ = nullptr;
  bool isCreated_ = false;
};

double drawRate(Draw& draw) {
  return draw.oneIn(4) ? draw.value<double>() : static_cast<double>(draw.between<uint32_t>(1, 200000)) / 8;
}

/// A length of 1 refuses no block and is not usable; here, too, are those that Create refuses.
CHSInterpolatorParams drawParams(Draw& draw) {
  CHSInterpolatorParams params;
  std::memset(&params, 0, sizeof params);
  params.inputRate = drawRate(draw);
  params.outputRate = drawRate(draw);
  params.bufferLength = draw.oneIn(16) ? draw.below<uint32_t>(600) : uint32_t{2} << draw.below<uint32_t>(9);
  return params;
}

void checkNullHandles() {
  const Call call("kxcalcCHSInterpolator with null handles", {});
  const float sample = 0;
  const float* values = nullptr;
  uint32_t count = 0;
  CHSInterpolator* handle = nullptr;
  constexpr uint32_t invalid = KXCALC_INVALID_ARGUMENT;
  call.same("Create", kxcalcCHSInterpolator_Create(&handle, nullptr), invalid);
  call.same("InterpolateValues", kxcalcCHSInterpolator_InterpolateValues(nullptr, &sample, 1, &values, &count),
            invalid);
  call.same("Stop", kxcalcCHSInterpolator_Stop(nullptr, &values, &count), invalid);
  call.same("Reset", kxcalcCHSInterpolator_Reset(nullptr), invalid);
  call.same("Destroy", kxcalcCHSInterpolator_Destroy(nullptr), invalid);
}

/// A stream of few outputs a block, or one that Create refuses for all that it would deliver.
bool isOfPracticalSize(const CHSInterpolatorParams& params) {
  const double outputs = params.outputRate / params.inputRate * (static_cast<double>(params.bufferLength) + 2);
  return !std::isfinite(outputs) || outputs < 20000 || outputs > 0x1p33;
}

void checkInterpolator(Draw& draw) {
  const CHSInterpolatorParams params = drawParams(draw);
  if (!isOfPracticalSize(params) || params.bufferLength == 1) {
    return checkNullHandles();
  }
  std::string story;  // what was called before: blocks by their numbers of samples
  const Call call("kxcalcCHSInterpolator", {{"inputRate", params.inputRate},
                                            {"outputRate", params.outputRate},
                                            {"bufferLength", params.bufferLength},
                                            {"calls", story}});
  Stream stream(call, params);
  const uint32_t calls = stream.isCreated() ? draw.between<uint32_t>(1, 40) : 0;
  for (uint32_t i = 0; i < calls; ++i) {
    switch (draw.below(12)) {
      case 11:
        story += " reset";
        stream.reset();
        break;
      case 10:
        story += " stop";
        stream.stop();
        break;
      default: {
        const uint32_t count = draw.between<uint32_t>(draw.oneIn(8) ? 0 : 2, params.bufferLength + 1);
        story += " " + std::to_string(count);
        stream.feed(draw.buffer<float>(count), count);
      }
    }
  }
}

constexpr fuzzing::Check allChecks[] = {
    [](Draw& draw) {
      checkScaledValues(draw, KXCALC_FUZZED(kxcalcChannelGetScaledValuesAtPos_float), Output::anywhere);
    },
    [](Draw& draw) {
      checkScaledValues(draw, KXCALC_FUZZED(kxcalcChannelGetScaledValuesAtPos_float_aligned_output), Output::aligned);
    },
    [](Draw& draw) {
      checkScaledValues(draw, KXCALC_FUZZED(kxcalcChannelGetScaledValuesAtPos_double), Output::anywhere);
    },
    [](Draw& draw) {
      checkScaledValues(draw, KXCALC_FUZZED(kxcalcChannelGetScaledValuesAtPos_double_aligned_output), Output::aligned);
    },
    checkInterpolator,
    checkInterpolator,
};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
