#include "analysis/spectra/spectrum.hpp"

#include <fftw3.h>

#include <algorithm>
#include <new>

namespace kxanalysis {

// FFTW lays out its complex numbers as std::complex does, and says so. Plans are estimated, not measured, so that the
// same samples give the same spectrum every time.
RealTransform::RealTransform(std::size_t length)
    : length_(length),
      samples_(fftw_alloc_real(length)),
      bins_(reinterpret_cast<std::complex<double>*>(fftw_alloc_complex(length / 2 + 1))),
      plan_(fftw_plan_dft_r2c_1d(static_cast<int>(length), samples_, reinterpret_cast<fftw_complex*>(bins_),
                                 FFTW_ESTIMATE)) {
  if (plan_ == nullptr) {
    throw std::bad_alloc();
  }
}

RealTransform::~RealTransform() {
  fftw_destroy_plan(static_cast<fftw_plan>(plan_));
  fftw_free(bins_);
  fftw_free(samples_);
}

std::span<const std::complex<double>> RealTransform::transform(std::span<const double> samples) {
  std::copy_n(samples.begin(), length_, samples_);
  fftw_execute(static_cast<fftw_plan>(plan_));
  return {bins_, binCount()};
}

}  // namespace kxanalysis
