#include "analysis/flicker/flicker_observation.hpp"

#include <algorithm>
#include <limits>

namespace kxanalysis {

Result<FlickerObservation> FlickerObservation::create(const Functions& functions, uint64_t settling, uint64_t length) {
  if (length < 1 || length > std::numeric_limits<uint32_t>::max()) {
    return unsuitable("length", static_cast<double>(length), "a period has 1 to 4294967295 samples");
  }
  return FlickerObservation(functions, settling, length);
}

std::span<const FlickerPeriod> FlickerObservation::feed(std::span<const float> sensation) {
  complete_.clear();
  const auto skipped = static_cast<size_t>(std::min<uint64_t>(settling_, sensation.size()));
  settling_ -= skipped;
  sensation = sensation.subspan(skipped);
  while (!sensation.empty()) {
    const auto part = sensation.first(static_cast<size_t>(std::min<uint64_t>(sensation.size(), length_ - observed_)));
    const auto largest = static_cast<double>(std::ranges::max(part));
    current_.largest = observed_ == 0 ? largest : std::max(current_.largest, largest);
    classified_.assign(part.begin(), part.end());
    std::replace_if(
        classified_.begin(), classified_.end(), [](float value) { return value < leastClassified; }, 0.0F);
    functions_->kxcalcPowerFlickerAddToClass(classified_.data(), static_cast<int32_t>(classified_.size()),
                                             current_.classes.data());
    sensation = sensation.subspan(part.size());
    observed_ += part.size();
    if (observed_ == length_) {
      complete_.push_back(current_);
      current_ = FlickerPeriod();
      observed_ = 0;
    }
  }
  return complete_;
}

}  // namespace kxanalysis
