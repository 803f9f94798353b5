#include "analysis/spectra/real_transform.hpp"

#include <fftw3.h>

#include <algorithm>
#include <new>
#include <utility>

namespace kxanalysis {

// FFTW lays out its complex numbers as std::complex does, and says so. Plans are estimated, not measured, so that the
// same samples give the same spectrum every time.
struct RealTransform::Plan {
  explicit Plan(std::size_t size)
      : length(size),
        samples(fftw_alloc_real(length)),
        bins(reinterpret_cast<std::complex<double>*>(fftw_alloc_complex(length / 2 + 1))),
        plan(fftw_plan_dft_r2c_1d(static_cast<int>(length), samples, reinterpret_cast<fftw_complex*>(bins),
                                  FFTW_ESTIMATE)) {}
  ~Plan() {
    fftw_destroy_plan(plan);
    fftw_free(bins);
    fftw_free(samples);
  }
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;

  std::size_t length;
  double* samples;
  std::complex<double>* bins;
  fftw_plan plan;
};

Result<RealTransform> RealTransform::create(std::size_t length) {
  if (length < 1 || length > longest) {
    return unsuitable("length", static_cast<double>(length), "a transform has 1 to 67108864 samples");
  }
  return RealTransform(std::make_unique<Plan>(length));
}

RealTransform::RealTransform(std::unique_ptr<Plan> plan) : plan_(std::move(plan)) {}
RealTransform::RealTransform(RealTransform&& other) noexcept = default;
RealTransform& RealTransform::operator=(RealTransform&& other) noexcept = default;
RealTransform::~RealTransform() = default;

std::size_t RealTransform::length() const {
  return plan_->length;
}

std::span<const std::complex<double>> RealTransform::transform(std::span<const double> samples) {
  std::copy_n(samples.begin(), plan_->length, plan_->samples);
  fftw_execute(plan_->plan);
  return {plan_->bins, binCount()};
}

}  // namespace kxanalysis
