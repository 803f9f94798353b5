// Resampler of a stream of singles: cubic Hermite spline with Catmull-Rom tangents.
//
// Output k of the stream lies at input position k / ratio. Each call forms its positions as i / ratio + base from its
// own first output on, in double, in this order; between samples the curve is 0.5 * (c0 + c1 f + c2 f^2 + c3 f^3) in
// single, with coefficients that are weighted sums of the four samples around the segment. Terms of weight 0 stay in:
// they carry infinities and NaNs.
#include <algorithm>
#include <cstdlib>

#include "frame/conversions.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

struct CHSInterpolator {
  double ratio;  // output samples for each input sample
  float* ring;   // the most recent input samples: sample k of the stream in slot k & mask
  uint32_t length;
  uint32_t mask;
  float* output;  // what each call delivers
  uint32_t capacity;
  bool stopped;
  uint64_t written;   // input samples since creation or the last reset
  uint64_t produced;  // output samples likewise
};

namespace kxcalc {
namespace {

/// Coefficients c0 to c3 of the segment between slots `slot` and slot + 1. At the start of the stream the first sample
/// stands in for its missing predecessor, until the ring has filled once.
KXCALC_INLINE f32x4 segmentCoefficients(const CHSInterpolator& stream, uint32_t slot) {
  const uint32_t before = slot == 0 && stream.written < stream.length ? 0 : (slot - 1) & stream.mask;
  const float p0 = stream.ring[before];
  const float p1 = stream.ring[slot];
  const float p2 = stream.ring[(slot + 1) & stream.mask];
  const float p3 = stream.ring[(slot + 2) & stream.mask];
  return (p0 * f32x4{0, -1, 2, -1} + p1 * f32x4{2, 0, -5, 3}) + (p2 * f32x4{0, 1, 4, -3} + p3 * f32x4{0, 0, -1, 1});
}

/// Where an output lies: the low 32 bits of its position cut to an integer, and what is left of the position.
struct Place {
  uint32_t segment[4];
  f32x4 fraction;
};

/// Of positions below 2^31.
KXCALC_INLINE Place placesOf(f64x2 low, f64x2 high) {
  const i32x4 whole = truncateBelow2To31(low, high);
  Place place;
  std::memcpy(place.segment, &whole, sizeof place.segment);
  place.fraction = toSingles(low - __builtin_convertvector(__builtin_shufflevector(whole, whole, 0, 1), f64x2),
                             high - __builtin_convertvector(__builtin_shufflevector(whole, whole, 2, 3), f64x2));
  return place;
}

/// Of any positions. The fraction is what is left after cutting to a 32-bit integer: from 2^31 on that is -2147483648, and
/// the fraction means nothing: part of the contract. What is no number lies in segment 0.
KXCALC_INLINE Place farPlacesOf(f64x2 low, f64x2 high) {
  Place place{};
  for (size_t lane = 0; lane < 4; ++lane) {
    const double position = lane < 2 ? low[lane] : high[lane - 2];
    const bool hasSegment = position >= 0 && position < 9223372036854775808.0;
    place.segment[lane] = hasSegment ? lowWord(position) : 0;
    const bool cuts = position > -2147483649.0 && position < 2147483648.0;
    place.fraction[lane] =
        static_cast<float>(position - static_cast<double>(cuts ? static_cast<int32_t>(position) : INT32_MIN));
  }
  return place;
}

/// Number of outputs up to the last sample but one of the stream, less those already delivered.
KXCALC_INLINE uint32_t availableOutputs(const CHSInterpolator& stream) {
  if (stream.written < 2) {
    return 0;
  }
  const double target = toDouble(stream.written - 2) * stream.ratio + 1.0;
  if (!(target < 18446744073709551616.0)) {  // a ratio that is a NaN or infinite
    return 0;
  }
  const auto due = lowWord(target) - static_cast<uint32_t>(stream.produced);
  return std::min(due, stream.capacity);  // a ring of one sample refuses no block: no more than the array holds
}

/// Four outputs, each in a lane: 0.5 * ((c0 + c1 f) + (c2 f^2 + c3 f^3)). The arguments hold the coefficients of one
/// output each.
KXCALC_INLINE f32x4 evaluate(const f32x4 (&coefficients)[4], f32x4 f) {
  const f32x4 a = __builtin_shufflevector(coefficients[0], coefficients[1], 0, 4, 1, 5);
  const f32x4 b = __builtin_shufflevector(coefficients[2], coefficients[3], 0, 4, 1, 5);
  const f32x4 c = __builtin_shufflevector(coefficients[0], coefficients[1], 2, 6, 3, 7);
  const f32x4 d = __builtin_shufflevector(coefficients[2], coefficients[3], 2, 6, 3, 7);
  const f32x4 c0 = __builtin_shufflevector(a, b, 0, 1, 4, 5), c1 = __builtin_shufflevector(a, b, 2, 3, 6, 7);
  const f32x4 c2 = __builtin_shufflevector(c, d, 0, 1, 4, 5), c3 = __builtin_shufflevector(c, d, 2, 3, 6, 7);
  const f32x4 square = f * f;
  return ((c0 + c1 * f) + (c2 * square + c3 * (square * f))) * 0.5F;
}

KXCALC_INLINE uint32_t deliver(CHSInterpolator& stream, const float** valuesOut, uint32_t* countOut) {
  const uint32_t count = availableOutputs(stream);
  const double base = toDouble(stream.produced) / stream.ratio;
  f32x4 coefficients[4]{};
  uint32_t slot = 0;
  for (uint32_t i = 0; i < count; i += 4) {
    const f64x2 first{toDouble(uint64_t{i}), toDouble(uint64_t{i} + 1)};
    const f64x2 low = first / stream.ratio + base;
    const f64x2 high = (first + 2.0) / stream.ratio + base;
    const Place place = low[0] >= 0 && high[1] < 2147483648.0 ? placesOf(low, high) : farPlacesOf(low, high);
    const uint32_t lanes = std::min(count - i, uint32_t{4});
    for (uint32_t lane = 0; lane < lanes; ++lane) {
      const uint32_t next = place.segment[lane] & stream.mask;
      const bool sameSegment = (i > 0 || lane > 0) && next == slot;
      coefficients[lane] = sameSegment ? coefficients[(lane + 3) % 4] : segmentCoefficients(stream, next);
      slot = next;
    }
    const f32x4 values = evaluate(coefficients, place.fraction);
    std::memcpy(stream.output + i, &values, lanes * sizeof(float));
  }
  stream.produced += count;
  *valuesOut = stream.output;
  *countOut = count;
  return KXCALC_SUCCESS;
}

KXCALC_INLINE void append(CHSInterpolator& stream, const float* input, uint32_t count) {
  while (count > 0) {
    const uint32_t slot = static_cast<uint32_t>(stream.written) & stream.mask;
    const uint32_t chunk = std::min(stream.length - slot, count);
    std::memcpy(stream.ring + slot, input, size_t{chunk} * sizeof(float));
    stream.written += chunk;
    input += chunk;
    count -= chunk;
  }
}

template <class T>
KXCALC_INLINE T* allocate(size_t count) {
  return static_cast<T*>(std::calloc(count, sizeof(T)));
}

/// Of an object whose ring or output array may be missing.
KXCALC_INLINE void release(CHSInterpolator* stream) {
  std::free(stream->ring);
  std::free(stream->output);
  std::free(stream);
}

}  // namespace
}  // namespace kxcalc

extern "C" uint32_t kxcalcCHSInterpolator_Create(CHSInterpolator** handleOut, const CHSInterpolatorParams* params) {
  // A rate that is a NaN passes: 0 is not above it.
  if (params == nullptr || 0 >= params->inputRate || 0 >= params->outputRate) {
    return KXCALC_INVALID_ARGUMENT;
  }
  const uint32_t length = params->bufferLength;
  if (length == 0 || (length & (length - 1)) != 0) {
    return KXCALC_BUFFER_LENGTH;
  }
  *handleOut = nullptr;
  const double ratio = params->outputRate / params->inputRate;
  // A call delivers at most (length - 2) * ratio + 1 outputs, and one that an earlier call's rounding left over.
  const double outputs = ratio * (static_cast<double>(length) + 1.0) + 2.0;
  const bool finite = ratio - ratio == 0;
  if (finite && outputs >= 4294967296.0) {
    return KXCALC_INVALID_ARGUMENT;
  }
  auto* stream = kxcalc::allocate<CHSInterpolator>(1);
  if (stream == nullptr) {
    return KXCALC_INVALID_ARGUMENT;
  }
  stream->ratio = ratio;
  stream->length = length;
  stream->mask = length - 1;
  stream->capacity = finite ? static_cast<uint32_t>(outputs) : 1;
  stream->ring = kxcalc::allocate<float>(length);
  stream->output = kxcalc::allocate<float>(stream->capacity);
  if (stream->ring == nullptr || stream->output == nullptr) {
    kxcalc::release(stream);
    return KXCALC_INVALID_ARGUMENT;
  }
  *handleOut = stream;
  return KXCALC_SUCCESS;
}

extern "C" uint32_t kxcalcCHSInterpolator_InterpolateValues(CHSInterpolator* handle, const float* input, uint32_t count,
                                                            const float** valuesOut, uint32_t* countOut) {
  if (count == 0 || handle == nullptr) {
    return KXCALC_INVALID_ARGUMENT;
  }
  if (count > handle->length - 2) {  // unsigned: a ring of 1 refuses no block, a ring of 2 every one
    return KXCALC_BLOCK_TOO_LONG;
  }
  if (handle->stopped) {
    return KXCALC_STOPPED;
  }
  kxcalc::append(*handle, input, count);
  return kxcalc::deliver(*handle, valuesOut, countOut);
}

extern "C" uint32_t kxcalcCHSInterpolator_Stop(CHSInterpolator* handle, const float** valuesOut, uint32_t* countOut) {
  if (handle == nullptr) {
    return KXCALC_INVALID_ARGUMENT;
  }
  if (handle->stopped) {
    return KXCALC_STOPPED;
  }
  handle->stopped = true;
  if (handle->length == 2) {  // such a stream has had no block: there is nothing to flush
    return KXCALC_SUCCESS;
  }
  const float last = handle->ring[static_cast<uint32_t>(handle->written - 1) & handle->mask];
  kxcalc::append(*handle, &last, 1);
  return kxcalc::deliver(*handle, valuesOut, countOut);
}

extern "C" uint32_t kxcalcCHSInterpolator_Reset(CHSInterpolator* handle) {
  if (handle == nullptr) {
    return KXCALC_INVALID_ARGUMENT;
  }
  handle->written = 0;
  handle->produced = 0;
  handle->stopped = false;
  return KXCALC_SUCCESS;
}

extern "C" uint32_t kxcalcCHSInterpolator_Destroy(CHSInterpolator* handle) {
  if (handle == nullptr) {
    return KXCALC_INVALID_ARGUMENT;
  }
  kxcalc::release(handle);
  return KXCALC_SUCCESS;
}
