// A stream through the filter of a design, in the quickest way.
#pragma once

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "analysis/filters/fast_finite_filter.hpp"
#include "analysis/filters/stream_filter.hpp"

namespace kxanalysis {

enum class FilterWay {
  quickest,  ///< long finite responses by transforms of blocks, all else through the kernels
  kernels    ///< value by value, each sum in the kernel's order and rounding
};

/// Finite responses of FastFiniteFilter::worthwhile coefficients and more differ between the two ways by the kernel's
/// rounding, within 1e-6 of full scale. Either way output n belongs to value n, and as many come out as went in.
class FilteredStream {
public:
  /// @param functions  they outlive the stream.
  /// @param design     with at least one section or coefficient.
  static Result<FilteredStream> create(const Functions& functions, const FilterDesign& design,
                                       FilterWay way = FilterWay::quickest);

  /// Takes the stream's next values, which are finite; returns the filtered values that are complete, which stay until
  /// the next call. Splitting a stream into blocks changes nothing.
  std::span<const double> feed(std::span<const float> values);
  std::span<const double> feed(std::span<const double> values);

  /// Ends the stream; returns the filtered values that were still due, which stay until the next call. What is fed after it
  /// is another stream, through the filter at rest.
  std::span<const double> finish();

private:
  explicit FilteredStream(StreamFilter kernels) : kernels_(kernels), atRest_(std::move(kernels)) {}
  explicit FilteredStream(FastFiniteFilter fast) : fast_(std::move(fast)) {}

  std::optional<StreamFilter> kernels_, atRest_;
  std::optional<FastFiniteFilter> fast_;
  std::vector<float> singles_;
  std::vector<double> doubles_;
};

}  // namespace kxanalysis
