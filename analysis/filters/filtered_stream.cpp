#include "analysis/filters/filtered_stream.hpp"

#include <utility>

namespace kxanalysis {

Result<FilteredStream> FilteredStream::create(const Functions& functions, const FilterDesign& design, FilterWay way) {
  const auto* coefficients = std::get_if<std::vector<float>>(&design);
  if (way == FilterWay::quickest && coefficients != nullptr && coefficients->size() >= FastFiniteFilter::worthwhile) {
    auto fast = FastFiniteFilter::create(*coefficients);
    return fast ? Result<FilteredStream>(FilteredStream(std::move(*fast))) : Problem{fast.problem()};
  }
  auto kernels = StreamFilter::create(functions, design);
  return kernels ? Result<FilteredStream>(FilteredStream(std::move(*kernels))) : Problem{kernels.problem()};
}

std::span<const double> FilteredStream::feed(std::span<const float> values) {
  if (fast_) {
    return fast_->feed(values);
  }
  singles_.assign(values.begin(), values.end());
  kernels_->feed(std::span(singles_));
  doubles_.assign(singles_.begin(), singles_.end());
  return doubles_;
}

std::span<const double> FilteredStream::feed(std::span<const double> values) {
  if (fast_) {
    return fast_->feed(values);
  }
  doubles_.assign(values.begin(), values.end());
  kernels_->feed(std::span(doubles_));
  return doubles_;
}

std::span<const double> FilteredStream::finish() {
  if (fast_) {
    return fast_->finish();
  }
  kernels_ = atRest_;
  return {};
}

}  // namespace kxanalysis
