#include "analysis/filters/stream_filter.hpp"

namespace kxanalysis {

RecursiveFilter::RecursiveFilter(const Functions& functions, std::span<const Section> sections)
    : functions_(functions) {
  for (const Section& section : sections) {
    gains_.push_back(section.gain);
    taps_.push_back({0, 0, section.b2, section.a2});
    taps_.push_back({0, 0, section.b1, section.a1});
    taps_.push_back({0, 0, section.b0, 0});
  }
  constexpr int32_t secondOrderSections = 3, order = 2;
  state_ = {secondOrderSections, static_cast<int32_t>(sections.size()), order, 0, gains_.data(), &taps_.front().x};
}

void RecursiveFilter::process(std::span<float> values) {
  for (float& value : values) {
    value = functions_.kxcalcIIRFilter_float(&state_, value);
  }
}

void RecursiveFilter::process(std::span<double> values) {
  for (double& value : values) {
    value = functions_.kxcalcIIRFilter_double(&state_, value);
  }
}

FiniteFilter::FiniteFilter(const Functions& functions, std::span<const float> coefficients)
    : functions_(functions), coefficients_((coefficients.size() + 3) / 4), ring_(coefficients.size()) {
  for (size_t i = 0; i < coefficients.size(); ++i) {
    coefficients_[i / 4].values[i % 4] = coefficients[i];
  }
}

/// The ring is written downwards, so that read upwards from the newest input the older ones follow: coefficient k meets
/// the input k samples ago.
float FiniteFilter::next(float value) {
  newest_ = (newest_ == 0 ? ring_.size() : newest_) - 1;
  ring_[newest_] = value;
  return functions_.kxcalcFIRFilter_float(ring_.data(), coefficients_.front().values.data(),
                                          static_cast<uint32_t>(ring_.size()), static_cast<uint32_t>(newest_));
}

void FiniteFilter::process(std::span<float> values) {
  for (float& value : values) {
    value = next(value);
  }
}

void FiniteFilter::process(std::span<double> values) {
  for (double& value : values) {
    value = static_cast<double>(next(static_cast<float>(value)));
  }
}

std::unique_ptr<StreamFilter> makeFilter(const Functions& functions, const FilterDesign& design) {
  if (const auto* sections = std::get_if<std::vector<Section>>(&design)) {
    return std::make_unique<RecursiveFilter>(functions, *sections);
  }
  return std::make_unique<FiniteFilter>(functions, std::get<std::vector<float>>(design));
}

std::complex<double> responseOf(const FilterDesign& design, double frequency) {
  return std::visit([&](const auto& parts) { return responseOf(std::span(parts), frequency); }, design);
}

}  // namespace kxanalysis
