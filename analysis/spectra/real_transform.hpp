// The discrete Fourier transform of real signals.
#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <span>

#include "analysis/problem.hpp"

namespace kxanalysis {

/// The discrete Fourier transform of real signals of one length, which may be any: it takes O(n log n) steps for every n.
class RealTransform {
public:
  /// @param length  number of samples, 1 to longest.
  static Result<RealTransform> create(size_t length);
  static constexpr size_t longest = size_t{1} << 26;

  RealTransform(RealTransform&& other) noexcept;
  RealTransform& operator=(RealTransform&& other) noexcept;
  ~RealTransform();

  size_t length() const;
  size_t binCount() const { return length() / 2 + 1; }

  /// Bins 0 to length / 2 of sum over n of x[n] exp(-2 pi i k n / length), not scaled. They stay until the next call.
  /// @param samples  `length` samples.
  std::span<const std::complex<double>> transform(std::span<const double> samples);

private:
  struct Plan;

  explicit RealTransform(std::unique_ptr<Plan> plan);

  std::unique_ptr<Plan> plan_;
};

}  // namespace kxanalysis
