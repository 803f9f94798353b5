// Scaled channel values, spline interpolator.
#include <algorithm>

#include "common.hpp"

namespace kxverify {
namespace {

/// Every raw type, contiguous, interleaved, repeated and backwards; unknown types, counts below 1.
template <class Params, class Value>
void scaledValues(const char* name, void (*kernel)(const Params*), bool aligned, Digest& digest) {
  Source source(name);
  const auto run = [&](Kind kind, uint32_t type, uint32_t count, int32_t stride) {
    const uint32_t span = count * static_cast<uint32_t>(stride < 0 ? -stride : stride) + 1;
    Buffer<double> raw(span, 0);  // room for any raw type, filled with bytes of its own
    const auto fillAs = [&]<class Raw>(Raw) {
      auto* const samples = reinterpret_cast<unsigned char*>(raw.data());
      for (uint32_t i = 0; i < span; ++i) {
        const auto sample = source.sample<Raw>(kind);
        const auto bytes = std::bit_cast<std::array<unsigned char, sizeof(Raw)>>(sample);
        std::copy(bytes.begin(), bytes.end(), samples + std::size_t{i} * sizeof(Raw));
      }
      return sizeof(Raw);
    };
    std::size_t size = 1;
    switch (type) {
      case KXCALC_UINT8:
        size = fillAs(uint8_t{});
        break;
      case KXCALC_INT8:
        size = fillAs(int8_t{});
        break;
      case KXCALC_INT16:
        size = fillAs(int16_t{});
        break;
      case KXCALC_UINT16:
        size = fillAs(uint16_t{});
        break;
      case KXCALC_INT32:
        size = fillAs(int32_t{});
        break;
      case KXCALC_SINGLE:
        size = fillAs(float{});
        break;
      case KXCALC_INT64:
        size = fillAs(int64_t{});
        break;
      case KXCALC_DOUBLE:
        size = fillAs(double{});
        break;
      default:
        size = fillAs(uint32_t{});
        break;
    }
    Buffer<Value> output(count, aligned ? 0 : source.below(placeCount<Value>));
    const auto* const first = reinterpret_cast<const unsigned char*>(raw.data()) + (stride < 0 ? (span - 1) * size : 0);
    const Params params{first,
                        output.data(),
                        source.sample<Value>(Kind::signal),
                        source.sample<Value>(Kind::signal),
                        static_cast<int32_t>(count),
                        type,
                        stride};
    kernel(&params);
    digest.add(output);
  };
  for (const Kind kind : kinds) {
    for (uint32_t type = KXCALC_UINT8; type <= KXCALC_UINT32; ++type) {
      for (const int32_t stride : {1, 2, 3, 0, -1, -4}) {
        for (uint32_t count = 0; count <= longestShort; ++count) {
          run(kind, type, count, stride);
        }
      }
      run(kind, type, longRun, 1);
    }
    run(kind, KXCALC_UINT32 + 1, 5, 1);
  }
}

/// What an interpolator function returned and delivered.
void addOutputs(Digest& digest, uint32_t result, const float* values, uint32_t count) {
  digest.add(result);
  digest.add(count);
  for (uint32_t i = 0; i < count; ++i) {
    digest.add(values[i]);
  }
}

struct Rates {
  double input, output;
  uint32_t length;
};
constexpr std::array allRates{Rates{1, 2, 16},         Rates{1, 4, 8},       Rates{48000, 44100, 512},
                              Rates{44100, 48000, 64}, Rates{3, 1, 128},     Rates{1, 1, 32},
                              Rates{1e9, 1, 16},       Rates{1, 17.3, 16},   Rates{5, 4.999, 64},
                              Rates{1, 1e-300, 64},    Rates{0.1, 0.3, 1024}};

CHSInterpolator* created(const Functions& functions, const Rates& rates) {
  const CHSInterpolatorParams params{rates.input, rates.output, rates.length};
  CHSInterpolator* handle = nullptr;
  functions.kxcalcCHSInterpolator_Create(&handle, &params);
  return handle;
}

/// A stream in blocks of random lengths up to what the ring allows.
void feed(const Functions& functions, Digest& digest, Source& source, CHSInterpolator* handle, const Rates& rates,
          Kind kind, uint32_t samples) {
  const auto stream = placed<float>(source, kind, samples);
  uint32_t done = 0;
  while (done < samples) {
    uint32_t block = source.below(rates.length - 2) + 1;
    block = done == 0 && block < 2 ? 2 : block;
    block = block < samples - done ? block : samples - done;
    const float* values = nullptr;
    uint32_t count = 0;
    const uint32_t result =
        functions.kxcalcCHSInterpolator_InterpolateValues(handle, stream.data() + done, block, &values, &count);
    addOutputs(digest, result, values, count);
    done += block;
  }
}

void stop(const Functions& functions, Digest& digest, CHSInterpolator* handle) {
  const float* values = nullptr;
  uint32_t count = 0;
  const uint32_t result = functions.kxcalcCHSInterpolator_Stop(handle, &values, &count);
  addOutputs(digest, result, values, count);
}

}  // namespace

void kxcalcChannelGetScaledValuesAtPos_floatExercise(const Functions& functions, Digest& digest) {
  scaledValues<ChannelScaledValuesParams_float, float>(
      "kxcalcChannelGetScaledValuesAtPos_float", functions.kxcalcChannelGetScaledValuesAtPos_float, false, digest);
}
void kxcalcChannelGetScaledValuesAtPos_float_aligned_outputExercise(const Functions& functions, Digest& digest) {
  scaledValues<ChannelScaledValuesParams_float, float>("kxcalcChannelGetScaledValuesAtPos_float_aligned_output",
                                                       functions.kxcalcChannelGetScaledValuesAtPos_float_aligned_output,
                                                       true, digest);
}
void kxcalcChannelGetScaledValuesAtPos_doubleExercise(const Functions& functions, Digest& digest) {
  scaledValues<ChannelScaledValuesParams_double, double>(
      "kxcalcChannelGetScaledValuesAtPos_double", functions.kxcalcChannelGetScaledValuesAtPos_double, false, digest);
}
void kxcalcChannelGetScaledValuesAtPos_double_aligned_outputExercise(const Functions& functions, Digest& digest) {
  scaledValues<ChannelScaledValuesParams_double, double>(
      "kxcalcChannelGetScaledValuesAtPos_double_aligned_output",
      functions.kxcalcChannelGetScaledValuesAtPos_double_aligned_output, true, digest);
}

void kxcalcCHSInterpolator_CreateExercise(const Functions& functions, Digest& digest) {
  const auto create = [&](const CHSInterpolatorParams* params) {
    CHSInterpolator* handle = nullptr;
    digest.add(functions.kxcalcCHSInterpolator_Create(&handle, params));
    digest.add(handle != nullptr);
    functions.kxcalcCHSInterpolator_Destroy(handle);
  };
  create(nullptr);
  for (const double input : {0.0, -1.0, 1.0, 48000.0}) {
    for (const double output : {0.0, -1.0, 2.0}) {
      for (const uint32_t length : {0U, 1U, 2U, 3U, 16U, 100U, 1024U}) {
        const CHSInterpolatorParams params{input, output, length};
        create(&params);
      }
    }
  }
}

void kxcalcCHSInterpolator_InterpolateValuesExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcCHSInterpolator_InterpolateValues");
  for (const Kind kind : kinds) {
    for (const Rates& rates : allRates) {
      CHSInterpolator* const handle = created(functions, rates);
      feed(functions, digest, source, handle, rates, kind, 700);
      functions.kxcalcCHSInterpolator_Destroy(handle);
    }
  }
  CHSInterpolator* const handle = created(functions, {1, 2, 16});
  const float* values = nullptr;
  uint32_t count = 0;
  const Buffer<float> samples(16);
  digest.add(functions.kxcalcCHSInterpolator_InterpolateValues(handle, samples.data(), 0, &values, &count));
  digest.add(functions.kxcalcCHSInterpolator_InterpolateValues(handle, samples.data(), 15, &values, &count));
  digest.add(functions.kxcalcCHSInterpolator_InterpolateValues(nullptr, samples.data(), 3, &values, &count));
  functions.kxcalcCHSInterpolator_Destroy(handle);
}

void kxcalcCHSInterpolator_StopExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcCHSInterpolator_Stop");
  for (const Rates& rates : allRates) {
    for (const uint32_t samples : {0U, 2U, 3U, 50U, 333U}) {
      CHSInterpolator* const handle = created(functions, rates);
      feed(functions, digest, source, handle, rates, Kind::signal, samples);
      stop(functions, digest, handle);
      stop(functions, digest, handle);  // has ended
      functions.kxcalcCHSInterpolator_Destroy(handle);
    }
  }
  const float* values = nullptr;
  uint32_t count = 0;
  digest.add(functions.kxcalcCHSInterpolator_Stop(nullptr, &values, &count));
}

void kxcalcCHSInterpolator_ResetExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcCHSInterpolator_Reset");
  for (const Rates& rates : allRates) {
    CHSInterpolator* const handle = created(functions, rates);
    for (const uint32_t samples : {5U, 90U, 40U}) {
      feed(functions, digest, source, handle, rates, Kind::signal, samples);
      if (samples == 90) {
        stop(functions, digest, handle);
      }
      digest.add(functions.kxcalcCHSInterpolator_Reset(handle));
    }
    functions.kxcalcCHSInterpolator_Destroy(handle);
  }
  digest.add(functions.kxcalcCHSInterpolator_Reset(nullptr));
}

void kxcalcCHSInterpolator_DestroyExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcCHSInterpolator_Destroy");
  for (const Rates& rates : allRates) {
    CHSInterpolator* const handle = created(functions, rates);
    feed(functions, digest, source, handle, rates, Kind::signal, 20);
    digest.add(functions.kxcalcCHSInterpolator_Destroy(handle));
  }
  digest.add(functions.kxcalcCHSInterpolator_Destroy(nullptr));
}

}  // namespace kxverify
