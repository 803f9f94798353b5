// Filters of the library, and the state between samples that it leaves to its host. One filter is for one channel.
#pragma once

#include <array>
#include <complex>
#include <span>
#include <variant>
#include <vector>

#include "analysis/filters/filter_design.hpp"
#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// Sections of a recursive filter, or coefficients of a finite one.
using FilterDesign = std::variant<std::vector<Section>, std::vector<float>>;

/// A cascade of sections of second order, at rest to begin with.
class RecursiveFilter {
public:
  /// @param functions  they outlive the filter.
  /// @param sections   at least one.
  static Result<RecursiveFilter> create(const Functions& functions, std::span<const Section> sections);

  /// Puts the filtered values in the place of the stream's next ones. Splitting a stream into blocks changes nothing.
  void feed(std::span<float> values);
  void feed(std::span<double> values);

private:
  /// One delay of a section as the kernel lays it out: input, output and their coefficients.
  struct alignas(16) Tap {
    double x, y, b, a;
  };

  RecursiveFilter(const Functions& functions, std::span<const Section> sections);

  IIRFilterState state();

  const Functions* functions_;
  std::vector<double> gains_;
  std::vector<Tap> taps_;
};

/// A finite impulse response over a ring of the last inputs, silence to begin with. It is computed in single precision.
class FiniteFilter {
public:
  /// @param functions     they outlive the filter.
  /// @param coefficients  at least one.
  static Result<FiniteFilter> create(const Functions& functions, std::span<const float> coefficients);

  /// Puts the filtered values in the place of the stream's next ones. Splitting a stream into blocks changes nothing.
  void feed(std::span<float> values);
  void feed(std::span<double> values);

private:
  /// The kernel takes its coefficients at multiples of 16 bytes.
  struct alignas(16) Quad {
    std::array<float, 4> values;
  };

  FiniteFilter(const Functions& functions, std::span<const float> coefficients);

  float next(float value);

  const Functions* functions_;
  std::vector<Quad> coefficients_;
  std::vector<float> ring_;
  size_t newest_ = 0;
};

/// The filter of either design.
class StreamFilter {
public:
  /// @param functions  they outlive the filter.
  /// @param design     with at least one section or coefficient.
  static Result<StreamFilter> create(const Functions& functions, const FilterDesign& design);

  /// Puts the filtered values in the place of the stream's next ones. Splitting a stream into blocks changes nothing.
  void feed(std::span<float> values);
  void feed(std::span<double> values);

private:
  using Filter = std::variant<RecursiveFilter, FiniteFilter>;

  explicit StreamFilter(Filter filter) : filter_(std::move(filter)) {}

  Filter filter_;
};

/// A design's complex response at a frequency, which is a fraction of the sample rate.
std::complex<double> responseOf(const FilterDesign& design, double frequency);

}  // namespace kxanalysis
