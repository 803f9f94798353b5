// Filters of the library, and the state between samples that it leaves to its host. One filter is for one channel.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "analysis/filters/filter_design.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// Sections of a recursive filter, or coefficients of a finite one.
using FilterDesign = std::variant<std::vector<Section>, std::vector<float>>;

class StreamFilter {
public:
  StreamFilter() = default;
  virtual ~StreamFilter() = default;
  StreamFilter(const StreamFilter&) = delete;
  StreamFilter& operator=(const StreamFilter&) = delete;

  /// Puts the filtered values in the place of the stream's next ones. Splitting a stream into blocks changes nothing.
  virtual void process(std::span<float> values) = 0;
  virtual void process(std::span<double> values) = 0;
};

/// A cascade of sections of second order, at rest to begin with.
class RecursiveFilter final : public StreamFilter {
public:
  RecursiveFilter(const Functions& functions, std::span<const Section> sections);

  void process(std::span<float> values) override;
  void process(std::span<double> values) override;

private:
  /// One delay of a section as the kernel lays it out: input, output and their coefficients.
  struct alignas(16) Tap {
    double x, y, b, a;
  };

  const Functions& functions_;
  std::vector<double> gains_;
  std::vector<Tap> taps_;
  IIRFilterState state_;
};

/// A finite impulse response over a ring of the last inputs, silence to begin with. It is computed in single precision.
class FiniteFilter final : public StreamFilter {
public:
  FiniteFilter(const Functions& functions, std::span<const float> coefficients);

  void process(std::span<float> values) override;
  void process(std::span<double> values) override;

private:
  /// The kernel takes its coefficients at multiples of 16 bytes.
  struct alignas(16) Quad {
    std::array<float, 4> values;
  };

  float next(float value);

  const Functions& functions_;
  std::vector<Quad> coefficients_;
  std::vector<float> ring_;
  size_t newest_ = 0;
};

std::unique_ptr<StreamFilter> makeFilter(const Functions& functions, const FilterDesign& design);

/// A design's response at a frequency, which is a fraction of the sample rate.
std::complex<double> responseOf(const FilterDesign& design, double frequency);

}  // namespace kxanalysis
