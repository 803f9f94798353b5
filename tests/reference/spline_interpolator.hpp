// The spline interpolator: a ring of input samples, and four of them for each output.
#ifndef KXCALC_TESTS_REFERENCE_SPLINE_INTERPOLATOR_HPP
#define KXCALC_TESTS_REFERENCE_SPLINE_INTERPOLATOR_HPP

#include <kxcalc.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "reference/truncation.hpp"

namespace reference {

struct SplineInterpolator {
  std::vector<float> ring;  // its length is a power of two
  double ratio = 0;         // outputs for each input
  uint64_t written = 0;
  uint64_t produced = 0;
  bool stopped = false;
  std::vector<float> output;

  uint32_t length() const { return static_cast<uint32_t>(ring.size()); }
  uint32_t slotOf(uint64_t number) const { return static_cast<uint32_t>(number) & (length() - 1); }

  void append(const float* samples, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      ring[slotOf(written + i)] = samples[i];
    }
    written += count;
  }

  float predecessorOf(uint32_t slot) const {
    if (slot > 0) {
      return ring[slot - 1];
    }
    return written >= length() ? ring[length() - 1] : ring[0];
  }

  float valueAt(double position) const {
    const uint32_t slot = slotOf(static_cast<uint64_t>(truncateTo<int64_t>(position)));
    const auto f = static_cast<float>(position - static_cast<double>(truncateToInt32(position)));
    const float p[4] = {predecessorOf(slot), ring[slot], ring[slotOf(slot + 1)], ring[slotOf(slot + 2)]};
    const auto weighted = [&p](float w0, float w1, float w2, float w3) {
      return (p[0] * w0 + p[1] * w1) + (p[2] * w2 + p[3] * w3);
    };
    const float c0 = weighted(0, 2, 0, 0);
    const float c1 = weighted(-1, 0, 1, 0);
    const float c2 = weighted(2, -5, 4, -1);
    const float c3 = weighted(-1, 3, -3, 1);
    const float square = f * f;
    const float cube = square * f;
    return 0.5F * ((c0 * 1.0F + c1 * f) + (c2 * square + c3 * cube));
  }

  uint32_t availableOutputs() const {
    if (written < 2 || !std::isfinite(ratio)) {
      return 0;
    }
    const double target = static_cast<double>(written - 2) * ratio + 1.0;
    return static_cast<uint32_t>(static_cast<uint64_t>(target)) - static_cast<uint32_t>(produced);
  }

  void deliver(const float** valuesOut, uint32_t* countOut) {
    const uint32_t count = availableOutputs();
    const double base = static_cast<double>(produced) / ratio;
    output.clear();
    for (uint32_t i = 0; i < count; ++i) {
      output.push_back(valueAt(static_cast<double>(i) / ratio + base));
    }
    produced += count;
    *valuesOut = output.data();
    *countOut = count;
  }
};

inline SplineInterpolator* modelOf(CHSInterpolator* handle) {
  return reinterpret_cast<SplineInterpolator*>(handle);
}

inline uint32_t kxcalcCHSInterpolator_Create(CHSInterpolator** handleOut, const CHSInterpolatorParams* params) {
  if (params == nullptr || 0 >= params->inputRate || 0 >= params->outputRate) {
    return 1;
  }
  const uint32_t length = params->bufferLength;
  if (length == 0 || (length & (length - 1)) != 0) {
    return 4;
  }
  const double ratio = params->outputRate / params->inputRate;
  if (std::isfinite(ratio) && (static_cast<double>(length) + 1) * ratio >= 4294967296.0) {
    *handleOut = nullptr;
    return 1;
  }
  auto* const object = new SplineInterpolator;
  object->ring.assign(length, 0.0F);
  object->ratio = ratio;
  *handleOut = reinterpret_cast<CHSInterpolator*>(object);
  return 0;
}

inline uint32_t kxcalcCHSInterpolator_InterpolateValues(CHSInterpolator* handle, const float* input, uint32_t count,
                                                        const float** valuesOut, uint32_t* countOut) {
  if (count == 0 || handle == nullptr) {
    return 1;
  }
  SplineInterpolator& object = *modelOf(handle);
  if (count > object.length() - 2) {
    return 2;
  }
  if (object.stopped) {
    return 3;
  }
  object.append(input, count);
  object.deliver(valuesOut, countOut);
  return 0;
}

inline uint32_t kxcalcCHSInterpolator_Stop(CHSInterpolator* handle, const float** valuesOut, uint32_t* countOut) {
  if (handle == nullptr) {
    return 1;
  }
  SplineInterpolator& object = *modelOf(handle);
  if (object.stopped) {
    return 3;
  }
  object.stopped = true;
  if (object.length() == 2) {
    return 0;
  }
  if (object.written > 0) {
    const float last = object.ring[object.slotOf(object.written - 1)];
    object.append(&last, 1);
  }
  object.deliver(valuesOut, countOut);
  return 0;
}

inline uint32_t kxcalcCHSInterpolator_Reset(CHSInterpolator* handle) {
  if (handle == nullptr) {
    return 1;
  }
  SplineInterpolator& object = *modelOf(handle);
  object.written = 0;
  object.produced = 0;
  object.stopped = false;
  return 0;
}

inline uint32_t kxcalcCHSInterpolator_Destroy(CHSInterpolator* handle) {
  if (handle == nullptr) {
    return 1;
  }
  delete modelOf(handle);
  return 0;
}

}  // namespace reference

#endif
