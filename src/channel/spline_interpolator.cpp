// Resampler of a stream of singles: cubic Hermite spline with Catmull-Rom tangents.
//
// Output k of the stream lies at input position k / ratio. Each call forms its positions as i / ratio + base from its
// own first output on, in double, in this order; between samples the curve is 0.5 * (c0 + c1 f + c2 f^2 + c3 f^3) in
// single, with coefficients that are weighted sums of the four samples around the segment. Terms of weight 0 stay in:
// they carry infinities and NaNs. Outputs are formed side by side, each in a lane.
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
  float* output;  // what each call delivers: room for a last vector that begins within the capacity
  uint32_t capacity;
  bool stopped;
  uint64_t written;   // input samples since creation or the last reset
  uint64_t produced;  // output samples likewise
};

namespace kxcalc {
namespace {

constexpr size_t atOnce = laneCount<float, widestBytes>;
using Singles = PackOf<float, atOnce>;
using Doubles = PackOf<double, atOnce>;
using Integers = PackOf<int32_t, atOnce>;

/// Where outputs lie: the low 32 bits of their positions cut to integers, and what is left of the positions.
struct Places {
  Integers segments;
  Singles fractions;
};

/// Of positions below 2^31.
KXCALC_INLINE Places placesOf(Doubles positions) {
  const Integers whole = truncateBelow2To31(positions);
  return {whole, toSingles(positions - toDoubles(whole))};
}

/// Of any positions. The fraction is what is left after cutting to a 32-bit integer: from 2^31 on that is -2147483648, and
/// the fraction means nothing: part of the contract. What is no number lies in segment 0.
KXCALC_INLINE Places farPlacesOf(Doubles positions) {
  double position[atOnce];
  int32_t segments[atOnce];
  float fractions[atOnce];
  store(position, positions);
  for (size_t lane = 0; lane < atOnce; ++lane) {
    const double at = position[lane];
    const bool hasSegment = at >= 0 && at < 9223372036854775808.0;
    segments[lane] = static_cast<int32_t>(hasSegment ? lowWord(at) : 0);
    fractions[lane] = static_cast<float>(at - static_cast<double>(truncate(at)));
  }
  return {loadPack<atOnce>(segments), loadPack<atOnce>(fractions)};
}

/// The samples around the segment that begins at a slot: before it, at both of its ends and behind it. At the start of the
/// stream the first sample stands in for its missing predecessor, until the ring has filled once.
KXCALC_INLINE f32x4 samplesAround(const CHSInterpolator& stream, uint32_t slot) {
  const uint32_t before = slot == 0 && stream.written < stream.length ? 0 : (slot - 1) & stream.mask;
  return f32x4{stream.ring[before], stream.ring[slot], stream.ring[(slot + 1) & stream.mask],
               stream.ring[(slot + 2) & stream.mask]};
}

/// Rows `lane`, `lane` + 4 and so on, a row in each 16 bytes.
template <size_t bytes>
KXCALC_INLINE Lanes<float, bytes> everyFourth(const float* const* rows, size_t lane) {
  if constexpr (bytes == 16) {
    return load(rows[lane]);
  } else {
    return joined(everyFourth<bytes / 2>(rows, lane), everyFourth<bytes / 2>(rows, lane + bytes / 8));
  }
}

/// The samples around each segment, in columns. They are neighbours, and read as such, unless a segment lies at an end of
/// the ring.
KXCALC_INLINE Columns<Singles> columnsAround(const CHSInterpolator& stream, Integers segments) {
  const Integers slots = segments & static_cast<int32_t>(stream.mask);
  uint32_t slot[atOnce];
  store(slot, bitsAs<PackOf<uint32_t, atOnce>>(slots));
  float gathered[atOnce][4];
  const float* rows[atOnce];
  const bool atEnds = anyBitSet((slots == 0) | (slots > static_cast<int32_t>(stream.length - 3)));
  if (atEnds) [[unlikely]] {
    for (size_t lane = 0; lane < atOnce; ++lane) {
      if (lane > 0 && slot[lane] == slot[lane - 1]) {
        rows[lane] = rows[lane - 1];
        continue;
      }
      store(gathered[lane], samplesAround(stream, slot[lane]));
      rows[lane] = gathered[lane];
    }
  } else {
    for (size_t lane = 0; lane < atOnce; ++lane) {
      rows[lane] = stream.ring + slot[lane] - 1;
    }
  }
  const auto row = [&](size_t lane) KXCALC_INLINE_LAMBDA { return everyFourth<sizeof(Singles)>(rows, lane); };
  return transposed(row(0), row(1), row(2), row(3));
}

struct Coefficients {
  Singles c0, c1, c2, c3;
};

KXCALC_INLINE Coefficients coefficientsOf(const Columns<Singles>& p) {
  const auto sum = [&](float w0, float w1, float w2, float w3)
                       KXCALC_INLINE_LAMBDA { return (p.first * w0 + p.second * w1) + (p.third * w2 + p.fourth * w3); };
  return {sum(0, 2, 0, 0), sum(-1, 0, 1, 0), sum(2, -5, 4, -1), sum(-1, 3, -3, 1)};
}

/// 0.5 * ((c0 + c1 f) + (c2 f^2 + c3 f^3)).
KXCALC_INLINE Singles valuesAt(const Coefficients& c, Singles f) {
  const Singles square = f * f;
  return ((c.c0 + c.c1 * f) + (c.c2 * square + c.c3 * (square * f))) * 0.5F;
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

/// `count` outputs from the next one on, whose positions are counted up in double: whole numbers below 2^53 are exact.
KXCALC_INLINE void interpolate(const CHSInterpolator& stream, size_t count) {
  static constexpr double first[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  const double base = toDouble(stream.produced) / stream.ratio;
  // Positions do not fall: none of this call lies beyond that of an output past its last lane.
  const bool near = toDouble(uint64_t{count} + atOnce) / stream.ratio + base < 2147483648.0;
  Doubles number = loadPack<atOnce>(first);
  Integers segments{};
  Coefficients coefficients{};
  for (size_t i = 0; i < count; i += atOnce) {
    const Doubles positions = number / stream.ratio + base;
    number = number + static_cast<double>(atOnce);
    const Places places = near ? placesOf(positions) : farPlacesOf(positions);
    if (i == 0 || anyBitSet(segments ^ places.segments)) {
      segments = places.segments;
      coefficients = coefficientsOf(columnsAround(stream, segments));
    }
    store(stream.output + i, valuesAt(coefficients, places.fractions));
  }
}

KXCALC_INLINE uint32_t deliver(CHSInterpolator& stream, const float** valuesOut, uint32_t* countOut) {
  const uint32_t count = availableOutputs(stream);
  const CHSInterpolator before = stream;
  interpolate(before, count);
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

/// Null where a size does not hold the count, too.
template <class T>
KXCALC_INLINE T* allocate(uint64_t count) {
  const auto elements = static_cast<size_t>(count);
  return elements == count ? static_cast<T*>(std::calloc(elements, sizeof(T))) : nullptr;
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
  stream->output = kxcalc::allocate<float>(uint64_t{stream->capacity} + kxcalc::atOnce - 1);
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
