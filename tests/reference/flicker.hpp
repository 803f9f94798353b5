// The flickermeter's signal path, a sample at a time, and its classifier.
#ifndef KXCALC_TESTS_REFERENCE_FLICKER_HPP
#define KXCALC_TESTS_REFERENCE_FLICKER_HPP

#include <kxcalc.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "reference/correctly_rounded.hpp"

namespace reference {

inline double roundedToSingle(double value) {
  return static_cast<double>(static_cast<float>(value));
}

inline double squaredInSingle(float value) {
  return static_cast<double>(value * value);
}

inline double lowPass(const FlickerState& state, std::size_t section, double input) {
  double& x1 = state.lowPassInput1[section];
  double& x2 = state.lowPassInput2[section];
  double& y1 = state.lowPassOutput1[section];
  double& y2 = state.lowPassOutput2[section];
  state.lowPassInput[section] = input;
  double y = ((input + (x1 + x1)) + x2) * state.lowPassGain[section];
  y = y - y1 * state.lowPassA1[section];
  y = y - y2 * state.lowPassA2[section];
  state.lowPassOutput[section] = y;
  x2 = x1;
  x1 = input;
  y2 = y1;
  y1 = y;
  return y;
}

/// The first sample after the start marker sees itself as the one before.
inline double highPass(const FlickerState& state, double input) {
  const double* const h = state.highPassCoefficients;
  double* const x = state.highPassInput;
  double* const y = state.highPassOutput;
  if (x[0] == -9999999.0) {
    x[1] = input;
  }
  x[0] = input;
  y[0] = input * h[0] + x[1] * h[1] + y[1] * h[2];
  x[1] = input;
  y[1] = y[0];
  return y[0];
}

/// Slots: current, one back, two back. The current slot of an input is never written.
inline void shiftInput(double* history, double value) {
  history[2] = history[1];
  history[1] = value;
}

inline void shiftOutput(double* history, double value) {
  history[0] = value;
  history[2] = history[1];
  history[1] = value;
}

/// No term for the input one back.
inline double weight1(const FlickerState& state, double input) {
  const double* const w = state.weightCoefficients;
  const double* const x = state.weight1Input;
  const double* const y = state.weight1Output;
  const double output = input * w[0] + w[1] * x[2] + w[2] * y[1] + w[3] * y[2];
  shiftInput(state.weight1Input, input);
  shiftOutput(state.weight1Output, output);
  return output;
}

inline double weight2(const FlickerState& state, double input) {
  const double* const w = state.weightCoefficients;
  const double* const x = state.weight2Input;
  const double* const y = state.weight2Output;
  const double output = input * w[4] + w[5] * x[1] + w[6] * x[2] + w[7] * y[1] + w[8] * y[2];
  shiftInput(state.weight2Input, input);
  shiftOutput(state.weight2Output, output);
  return output;
}

inline double smooth(const FlickerState& state, double square) {
  const double* const w = state.weightCoefficients;
  double* const q = state.squareHistory;
  double* const m = state.smoothHistory;
  q[0] = square;
  m[0] = q[0] * w[9] + w[10] * q[1] + w[11] * m[1];
  q[1] = q[0];
  m[1] = m[0];
  return m[0];
}

inline void kxcalcPowerFlicker(const FlickerState* state, const float* samples, float* sensation, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    double value = static_cast<double>(samples[i] * samples[i] * 0.5F);
    for (std::size_t section = 0; section < 3; ++section) {
      value = lowPass(*state, section, value);
    }
    value = highPass(*state, roundedToSingle(value));
    value = weight1(*state, roundedToSingle(value));
    value = weight2(*state, value);
    value = smooth(*state, squaredInSingle(static_cast<float>(value)));
    sensation[i] = static_cast<float>(1238400.0 * value);
  }
}

/// Class numbers of -1 and less are huge as unsigned numbers, which puts them into the top class; those between -1 and
/// 0 are cut to 0.
inline std::size_t classOf(float value) {
  if (!(value > 0)) {
    return 0;
  }
  const double number = (correctDecimalLogarithm(value) + 4.0) * 100.0;
  return number <= -1 || number >= 999 ? 999 : static_cast<std::size_t>(std::trunc(number));
}

inline void kxcalcPowerFlickerAddToClass(const float* values, int32_t count, uint32_t* classes) {
  for (int32_t i = 0; i < count; ++i) {
    classes[classOf(values[i])] += 1;
  }
}

}  // namespace reference

#endif
