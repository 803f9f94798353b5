#include "analysis/combustion/cycle_smoothing.hpp"

#include <algorithm>
#include <cstring>
#include <string>

namespace kxanalysis {
namespace {

/// Weights of the least-squares parabola's middle, which keep the height and the place of peaks where an average would
/// flatten them: Savitzky and Golay, Smoothing and differentiation of data by simplified least squares procedures
/// (1964). With m samples on either side, sample k counts
/// 3 (3 m^2 + 3 m - 1 - 5 k^2) / ((2 m - 1) (2 m + 1) (2 m + 3)).
std::vector<float> parabolaWeights(int width) {
  if (width == 1) {
    return {1};
  }
  const double m = (width - 1) / 2.0;
  std::vector<float> weights;
  for (int i = 0; i < width; ++i) {
    const double k = i - m;
    weights.push_back(
        static_cast<float>(3 * (3 * m * m + 3 * m - 1 - 5 * k * k) / ((2 * m - 1) * (2 * m + 1) * (2 * m + 3))));
  }
  return weights;
}

}  // namespace

Result<CycleSmoother> CycleSmoother::create(const Functions& functions, Smoothing smoothing, uint16_t width,
                                            size_t length) {
  if (smoothing != Smoothing::none && width % 2 == 0) {
    return unsuitable("smoothing width", width, "it is an odd number of samples");
  }
  if (smoothing != Smoothing::none && width > length) {
    return Problem{"cycles of " + std::to_string(length) + " samples cannot be smoothed over " + std::to_string(width)};
  }
  return CycleSmoother(functions, smoothing, width, length);
}

CycleSmoother::CycleSmoother(const Functions& functions, Smoothing smoothing, uint16_t width, size_t length)
    : functions_(&functions), smoothing_(smoothing), width_(width) {
  if (smoothing == Smoothing::savitzkyGolay) {
    weights_ = parabolaWeights(width);
    extended_.resize(length + width - 1);
  } else if (smoothing == Smoothing::average) {
    input_.resize((length + 1) / 2);
    output_.resize(input_.size());
  }
}

void CycleSmoother::smooth(std::span<const float> cycle, std::span<float> smoothed) {
  switch (smoothing_) {
    case Smoothing::none:
      std::copy(cycle.begin(), cycle.end(), smoothed.begin());
      break;
    case Smoothing::savitzkyGolay:
      smoothByWeights(cycle, smoothed);
      break;
    case Smoothing::average:
      smoothByAverage(cycle, smoothed);
      break;
  }
}

/// The kernel's window ends with the sample that it is pointed at, so that sample lies half a window ahead.
void CycleSmoother::smoothByWeights(std::span<const float> cycle, std::span<float> smoothed) {
  const auto half = static_cast<std::ptrdiff_t>(width_ / 2);
  const auto begin = extended_.begin() + half;
  std::fill(extended_.begin(), begin, cycle.front());
  std::fill(std::copy(cycle.begin(), cycle.end(), begin), extended_.end(), cycle.back());
  for (size_t i = 0; i < cycle.size(); ++i) {
    smoothed[i] = functions_->kxcalcCACalcFilter_float(&extended_[i + width_ - 1], width_, weights_.data(), 1);
  }
}

/// The average runs in double, the conversions in place to either side of it.
void CycleSmoother::smoothByAverage(std::span<const float> cycle, std::span<float> smoothed) {
  const auto count = static_cast<uint32_t>(cycle.size());
  std::memcpy(input_.data(), cycle.data(), cycle.size_bytes());
  functions_->kxcalcCASingleArrToDoubleArrInplace(input_.data(), count);
  functions_->kxcalcCACalcAveFilter_double(input_.front().pair, output_.front().pair, width_, count);
  functions_->kxcalcCADoubleArrToSingleArrInplace(output_.data(), count);
  std::memcpy(smoothed.data(), output_.data(), smoothed.size_bytes());
}

}  // namespace kxanalysis
