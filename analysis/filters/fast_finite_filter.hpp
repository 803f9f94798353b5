// A finite impulse response by fast convolution, for responses that are long.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/filters/overlap_save.hpp"
#include "analysis/problem.hpp"

namespace kxanalysis {

/// What FiniteFilter computes, in double: the convolution itself to the last digits of a single, where the kernel's sums
/// round to single. Output n belongs to value n as it does there, but outputs come a block at a time, as OverlapSave gives
/// them. Silence precedes the stream. Copies of a filter that has been fed nothing share what its coefficients take.
class FastFiniteFilter {
public:
  /// From so many coefficients on it is the quicker way.
  static constexpr size_t worthwhile = 64;

  /// @param coefficients  1 to most.
  static Result<FastFiniteFilter> create(std::span<const float> coefficients);
  static constexpr size_t most = size_t{1} << 22;

  /// Takes the stream's next values, which are finite; returns the filtered values that are complete, which stay until the
  /// next call.
  std::span<const double> feed(std::span<const float> values) { return take(values); }
  std::span<const double> feed(std::span<const double> values) { return take(values); }

  /// Ends the stream; returns the filtered values that were still due, which stay until the next call. What is fed after it
  /// is another stream.
  std::span<const double> finish();

private:
  explicit FastFiniteFilter(OverlapSave convolution);

  template <class T>
  std::span<const double> take(std::span<const T> values) {
    outputs_.clear();
    convolution_.feed(values, outputs_);
    return outputs_;
  }

  void precedeWithSilence();

  OverlapSave convolution_;
  std::vector<double> outputs_;
};

}  // namespace kxanalysis
