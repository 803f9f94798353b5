// One-sided complex spectra: correction, conjugation, strongest bin, sum of squared magnitudes.
#ifndef KXCALC_TESTS_REFERENCE_SPECTRUM_HPP
#define KXCALC_TESTS_REFERENCE_SPECTRUM_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace reference {

/// In ascending order whatever overlaps; a bin is read whole before it is written.
inline void kxcalcPowerCorrectFFT_U(float* spectrum, const float* correction, int32_t binCount) {
  for (ptrdiff_t k = 0; k < binCount; ++k) {
    const float sr = spectrum[2 * k];
    const float si = spectrum[2 * k + 1];
    const float cr = correction[2 * k];
    const float ci = correction[2 * k + 1];
    spectrum[2 * k] = sr * cr - si * ci;
    spectrum[2 * k + 1] = sr * ci + si * cr;
  }
}

/// Through memory: a NaN keeps its payload.
inline void kxcalcPowerNegateImag_float(float* spectrum, uint32_t elementCount) {
  for (std::size_t i = 1; i < elementCount; i += 2) {
    uint32_t bits;
    std::memcpy(&bits, spectrum + i, sizeof bits);
    bits ^= 0x80000000;
    std::memcpy(spectrum + i, &bits, sizeof bits);
  }
}

inline uint32_t kxcalcPowerFindIndexOfMaxAmplitude(const float* spectrum, uint32_t binCount) {
  float best = 0;
  uint32_t index = 0;
  for (uint32_t k = 1; k < binCount; ++k) {
    const float re = spectrum[2 * std::size_t{k}];
    const float im = spectrum[2 * std::size_t{k} + 1];
    const float m = re * re + im * im;
    if (m > best) {
      best = m;
      index = k;
    }
  }
  return index;
}

inline double kxcalcPowerHarmonicZero(const float* spectrum, uint32_t binCount) {
  double sum = 0;
  for (std::size_t k = 0; k < binCount; ++k) {
    const auto re = static_cast<double>(spectrum[2 * k]);
    const auto im = static_cast<double>(spectrum[2 * k + 1]);
    sum = sum + (re * re + im * im);
  }
  return sum;
}

}  // namespace reference

#endif
