#include "analysis/combustion/windowed_average.hpp"

#include <algorithm>
#include <utility>

namespace kxanalysis {

/// Room for whole blocks of four samples, so that the kernel's remainder, which divides by another number, never runs.
WindowedAverage::WindowedAverage(const Functions& functions, size_t length, uint32_t window)
    : functions_(&functions), length_(length), window_(window), sum_((length + 3) / 4 * 4), average_(sum_.size()) {}

/// While the window fills, the kernel divides the sum by the number of cycles that it is told. That is the number of
/// cycles in the sum here: one more than before this one, but for the first, which is to start the sum. The cycle that
/// fills the window is told as many as the window holds, which makes the kernel slide, so a cycle of zeros leaves.
void WindowedAverage::feed(std::span<const float> cycle) {
  std::vector<float> newest(sum_.size()), leaving(sum_.size());
  std::copy(cycle.begin(), cycle.end(), newest.begin());
  const auto place = static_cast<size_t>(cycles_ % window_);
  if (place < history_.size()) {
    leaving.swap(history_[place]);
  } else {
    history_.emplace_back();
  }
  const uint64_t told = cycles_ == 0 ? 0 : cycles_ + 1;
  functions_->kxCalcCARunningVal(newest.data(), leaving.data(), sum_.data(), average_.data(), 0,
                                 static_cast<uint32_t>(sum_.size() - 1), told, window_);
  history_[place] = std::move(newest);
  ++cycles_;
}

}  // namespace kxanalysis
