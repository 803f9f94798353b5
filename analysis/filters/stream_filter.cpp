#include "analysis/filters/stream_filter.hpp"

#include <utility>

namespace kxanalysis {
namespace {

constexpr const char* noSections = "sections is empty: at least one is needed";
constexpr const char* noCoefficients = "coefficients is empty: at least one is needed";

}  // namespace

Result<RecursiveFilter> RecursiveFilter::create(const Functions& functions, std::span<const Section> sections) {
  if (sections.empty()) {
    return Problem{noSections};
  }
  return RecursiveFilter(functions, sections);
}

RecursiveFilter::RecursiveFilter(const Functions& functions, std::span<const Section> sections)
    : functions_(&functions) {
  for (const Section& section : sections) {
    gains_.push_back(section.gain);
    taps_.push_back({0, 0, section.b2, section.a2});
    taps_.push_back({0, 0, section.b1, section.a1});
    taps_.push_back({0, 0, section.b0, 0});
  }
}

IIRFilterState RecursiveFilter::state() {
  constexpr int32_t secondOrderSections = 3, order = 2;
  return {secondOrderSections, static_cast<int32_t>(gains_.size()), order, 0, gains_.data(), &taps_.front().x};
}

void RecursiveFilter::feed(std::span<float> values) {
  IIRFilterState kept = state();
  for (float& value : values) {
    value = functions_->kxcalcIIRFilter_float(&kept, value);
  }
}

void RecursiveFilter::feed(std::span<double> values) {
  IIRFilterState kept = state();
  for (double& value : values) {
    value = functions_->kxcalcIIRFilter_double(&kept, value);
  }
}

Result<FiniteFilter> FiniteFilter::create(const Functions& functions, std::span<const float> coefficients) {
  if (coefficients.empty()) {
    return Problem{noCoefficients};
  }
  return FiniteFilter(functions, coefficients);
}

FiniteFilter::FiniteFilter(const Functions& functions, std::span<const float> coefficients)
    : functions_(&functions), coefficients_((coefficients.size() + 3) / 4), ring_(coefficients.size()) {
  for (size_t i = 0; i < coefficients.size(); ++i) {
    coefficients_[i / 4].values[i % 4] = coefficients[i];
  }
}

/// The ring is written downwards, so that read upwards from the newest input the older ones follow: coefficient k meets
/// the input k samples ago.
float FiniteFilter::next(float value) {
  newest_ = (newest_ == 0 ? ring_.size() : newest_) - 1;
  ring_[newest_] = value;
  return functions_->kxcalcFIRFilter_float(ring_.data(), coefficients_.front().values.data(),
                                           static_cast<uint32_t>(ring_.size()), static_cast<uint32_t>(newest_));
}

void FiniteFilter::feed(std::span<float> values) {
  for (float& value : values) {
    value = next(value);
  }
}

void FiniteFilter::feed(std::span<double> values) {
  for (double& value : values) {
    value = static_cast<double>(next(static_cast<float>(value)));
  }
}

Result<StreamFilter> StreamFilter::create(const Functions& functions, const FilterDesign& design) {
  const auto wrapped = [](auto filter) -> Result<StreamFilter> {
    if (!filter) {
      return Problem{filter.problem()};
    }
    return StreamFilter(Filter(std::move(*filter)));
  };
  if (const auto* sections = std::get_if<std::vector<Section>>(&design)) {
    return wrapped(RecursiveFilter::create(functions, *sections));
  }
  return wrapped(FiniteFilter::create(functions, *std::get_if<std::vector<float>>(&design)));
}

void StreamFilter::feed(std::span<float> values) {
  std::visit([&](auto& filter) { filter.feed(values); }, filter_);
}

void StreamFilter::feed(std::span<double> values) {
  std::visit([&](auto& filter) { filter.feed(values); }, filter_);
}

std::complex<double> responseOf(const FilterDesign& design, double frequency) {
  return std::visit([&](const auto& parts) { return responseOf(std::span(parts), frequency); }, design);
}

}  // namespace kxanalysis
