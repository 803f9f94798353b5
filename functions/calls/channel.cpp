// Scaled values of a channel, and the spline interpolator, a stream a call.
#include <cmath>
#include <cstdlib>

#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

/// Calls function with a number of a raw sample's type. Types that are unknown read nothing.
template <class Function>
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
    default:
      return function(uint32_t{});
  }
}

template <class Params>
void scaledValues(Call& call, void (*function)(const Params*), Place place) {
  using Value = std::remove_pointer_t<decltype(Params::output)>;
  const uint32_t typeCode = call.rarely(16) ? call.number<uint32_t>("typeCode")
                                            : call.setting<uint32_t>("typeCode", {2, 0, 1, 3, 4, 5, 6, 7, 8, 9}, 0, 8);
  const int32_t count = call.signedCount();
  const bool reads = count > 0 && typeCode <= KXCALC_UINT32;
  // What is not walked may have any stride.
  const int32_t stride = (!reads || count == 1) && call.rarely(2)
                             ? call.number<int32_t>("stride")
                             : call.setting<int32_t>("stride", {1, 2, 3, 0, -1, -4}, -5, 9);
  const std::size_t reach =
      reads && count > 1 ? static_cast<std::size_t>(count - 1) * static_cast<std::size_t>(std::abs(stride)) : 0;
  withRawType(typeCode, [&](auto sample) {
    const auto source = call.input<decltype(sample)>("source", reads ? reach + 1 : 0);
    const auto output = call.output<Value>("output", static_cast<std::size_t>(reads ? count : 0), {.place = place});
    Params params;
    std::memset(&params, 0, sizeof params);
    params.source = source.data() + (stride < 0 ? reach : 0);
    params.output = output.data();
    call.setNumber("scale", params.scale, Numbers::ordinary);
    call.setNumber("offset", params.offset, Numbers::ordinary);
    params.count = count;
    params.typeCode = typeCode;
    params.stride = stride;
    call.runWithRecord(function, params);
  });
}

struct Rates {
  double input, output;
  uint32_t length;
};
constexpr std::array usualRates{Rates{1, 2, 16},         Rates{1, 4, 8},       Rates{48000, 44100, 512},
                                Rates{44100, 48000, 64}, Rates{3, 1, 128},     Rates{1, 1, 32},
                                Rates{1e9, 1, 16},       Rates{1, 17.3, 16},   Rates{5, 4.999, 64},
                                Rates{1, 1e-300, 64},    Rates{0.1, 0.3, 1024}};

CHSInterpolatorParams record(Call& call, const Rates& rates) {
  CHSInterpolatorParams params;
  std::memset(&params, 0, sizeof params);
  params.inputRate = rates.input;
  params.outputRate = rates.output;
  params.bufferLength = rates.length;
  call.tell("inputRate", rates.input);
  call.tell("outputRate", rates.output);
  call.tell("bufferLength", rates.length);
  return params;
}

/// Of any rates a stream of few outputs a block, or one that Create refuses for all that it would deliver. A length of 1 refuses
/// no block and is not usable.
bool isOfPracticalSize(const Rates& rates) {
  const double outputs = rates.output / rates.input * (static_cast<double>(rates.length) + 2);
  return rates.length != 1 && (!std::isfinite(outputs) || outputs < 20000 || outputs > 0x1p33);
}

Rates anyRates(Call& call) {
  const auto rate = [&] {
    return call.rarely(4) ? call.number<double>("rate")
                          : static_cast<double>(call.between<uint32_t>("rate, eighths", 1, 200000)) / 8;
  };
  Rates rates{rate(), rate(), 0};
  rates.length = call.rarely(16) ? call.between<uint32_t>("length", 0, 599)
                                 : uint32_t{2} << call.between<uint32_t>("power of two", 0, 8);
  return isOfPracticalSize(rates) ? rates : usualRates[0];
}

Rates drawRates(Call& call) {
  return call.setting(std::span<const Rates>(usualRates), [&] { return anyRates(call); });
}

/// An interpolator, and what its functions return and deliver.
class Stream {
public:
  Stream(Call& call, const Rates& rates) : Stream(call, rates, call.functions().kxcalcCHSInterpolator_Create) {}
  Stream(Call& call, const Rates& rates, decltype(&::kxcalcCHSInterpolator_Create) create)
      : call_(call), rates_(rates) {
    auto* const untouched = reinterpret_cast<CHSInterpolator*>(this);
    handle_ = untouched;
    const CHSInterpolatorParams params = record(call, rates);
    const uint32_t code = call_.run(create, &handle_, &params);
    call_.result("result of Create", code);
    call_.result("handle touched", static_cast<uint8_t>(handle_ != untouched));
    isOpen_ = code == KXCALC_SUCCESS;
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { destroy(call_.functions().kxcalcCHSInterpolator_Destroy); }

  bool isOpen() const { return isOpen_; }
  CHSInterpolator* handle() const { return handle_; }

  void feed(decltype(&::kxcalcCHSInterpolator_InterpolateValues) function) {
    const uint32_t count = call_.between<uint32_t>("samples", call_.rarely(8) ? 0 : 2, rates_.length + 1);
    const auto block = call_.input<float>("block", count);
    deliver([&](const float** values, uint32_t* delivered) {
      return call_.run(function, handle_, block, count, values, delivered);
    });
  }
  void feed() { feed(call_.functions().kxcalcCHSInterpolator_InterpolateValues); }
  void feedSome(std::initializer_list<uint32_t> usual) {
    const auto blocks = call_.setting<uint32_t>("blocks", usual, 0, 20);
    for (uint32_t i = 0; i < blocks; ++i) {
      feed();
    }
  }

  void stop(decltype(&::kxcalcCHSInterpolator_Stop) function) {
    deliver([&](const float** values, uint32_t* delivered) { return call_.run(function, handle_, values, delivered); });
  }

  void reset(decltype(&::kxcalcCHSInterpolator_Reset) function) {
    call_.result("result of Reset", call_.run(function, handle_));
  }

  void destroy(decltype(&::kxcalcCHSInterpolator_Destroy) function) {
    if (isOpen_) {
      call_.result("result of Destroy", call_.run(function, handle_));
      isOpen_ = false;
    }
  }

private:
  template <class Function>
  void deliver(const Function& function) {
    constexpr uint32_t untouched = 4711;
    const float* values = nullptr;
    uint32_t count = untouched;
    call_.result("result", function(&values, &count));
    call_.result("number of outputs", count);
    if (count != untouched) {
      call_.result("outputs", std::span(values, count));
    }
  }

  Call& call_;
  Rates rates_;
  CHSInterpolator* handle_ = nullptr;
  bool isOpen_ = false;
};

}  // namespace

void kxcalcChannelGetScaledValuesAtPos_float(Call& call, void (*function)(const ChannelScaledValuesParams_float*)) {
  scaledValues(call, function, Place::anywhere);
}
void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(Call& call,
                                                            void (*function)(const ChannelScaledValuesParams_float*)) {
  scaledValues(call, function, Place::aligned);
}
void kxcalcChannelGetScaledValuesAtPos_double(Call& call, void (*function)(const ChannelScaledValuesParams_double*)) {
  scaledValues(call, function, Place::anywhere);
}
void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(
    Call& call, void (*function)(const ChannelScaledValuesParams_double*)) {
  scaledValues(call, function, Place::aligned);
}

void kxcalcCHSInterpolator_Create(Call& call, decltype(&::kxcalcCHSInterpolator_Create) function) {
  const auto isNull = call.oneOf("null record", {false, true});
  if (isNull) {
    CHSInterpolator* handle = nullptr;
    call.result("result", call.run(function, &handle, static_cast<const CHSInterpolatorParams*>(nullptr)));
    return call.result("handle", static_cast<uint8_t>(handle != nullptr));
  }
  if (call.takesExamples()) {
    const auto input = call.oneOf("inputRate", {48000.0, 1.0, 0.0, -1.0});
    const auto output = call.oneOf("outputRate", {2.0, 0.0, -1.0});
    const auto length = call.oneOf("bufferLength", {16U, 0U, 1U, 2U, 3U, 100U, 1024U});
    const Stream stream(call, {input, output, length}, function);
  } else {
    const Stream stream(call, anyRates(call), function);
  }
}

void kxcalcCHSInterpolator_InterpolateValues(Call& call,
                                             decltype(&::kxcalcCHSInterpolator_InterpolateValues) function) {
  Stream stream(call, drawRates(call));
  const auto blocks = stream.isOpen() ? call.setting<uint32_t>("blocks", {20}, 1, 40) : 0;
  for (uint32_t i = 0; i < blocks; ++i) {
    stream.feed(function);
  }
  const float sample = 0;
  const float* values = nullptr;
  uint32_t count = 0;
  call.result("result without a handle",
              call.run(function, static_cast<CHSInterpolator*>(nullptr), &sample, 1U, &values, &count));
}

void kxcalcCHSInterpolator_Stop(Call& call, decltype(&::kxcalcCHSInterpolator_Stop) function) {
  Stream stream(call, drawRates(call));
  if (stream.isOpen()) {
    stream.feedSome({7, 0, 1, 2});
    stream.stop(function);
    stream.stop(function);  // has ended
  }
  const float* values = nullptr;
  uint32_t count = 0;
  call.result("result without a handle", call.run(function, static_cast<CHSInterpolator*>(nullptr), &values, &count));
}

/// A stream of everything.
void kxcalcCHSInterpolator_Reset(Call& call, decltype(&::kxcalcCHSInterpolator_Reset) function) {
  Stream stream(call, drawRates(call));
  call.repeat(10);
  const auto calls = stream.isOpen() ? call.setting<uint32_t>("calls", {30}, 1, 40) : 0;
  for (uint32_t i = 0; i < calls; ++i) {
    switch (call.between<uint32_t>("what", 0, 11)) {
      case 11:
        stream.reset(function);
        break;
      case 10:
        stream.stop(call.functions().kxcalcCHSInterpolator_Stop);
        break;
      default:
        stream.feed();
    }
  }
  call.result("result without a handle", call.run(function, static_cast<CHSInterpolator*>(nullptr)));
}

void kxcalcCHSInterpolator_Destroy(Call& call, decltype(&::kxcalcCHSInterpolator_Destroy) function) {
  Stream stream(call, drawRates(call));
  if (stream.isOpen()) {
    stream.feedSome({2});
    stream.destroy(function);
  }
  call.result("result without a handle", call.run(function, static_cast<CHSInterpolator*>(nullptr)));
}

}  // namespace kxcalc::calls
