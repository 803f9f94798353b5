// Frequency responses: measured ones, and where a response crosses a level.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "analysis/filters/filtered_stream.hpp"
#include "analysis/spectra/level_point.hpp"

namespace kxanalysis {

/// Half the power, in dB.
constexpr double halfPower = -3.010299956639812;

/// Gain of a filter at the multiples of rate / period up to half of the sample rate, 0 left out: white noise goes through
/// it, and the power of what comes out is divided by the power of what went in, both averaged over several noises. Each
/// noise repeats itself after `period` samples and is measured when the filter has settled to that, so that no window
/// is needed and stop bands are seen down to the filter's rounding.
/// @param filter  at rest; it is left so.
/// @param period  in samples, at least 2.
/// @param rate    in Hz, above 0.
Result<std::vector<LevelPoint>> measuredResponse(FilteredStream& filter, size_t period, double rate);

/// The period with which measuredResponse resolves a design and lets it settle; none for edges so low, or so close to each
/// other, that this would take too long.
std::optional<size_t> periodFor(const FilterDesign& design, const PassBand& band);

/// Frequencies, ascending, at which a curve passes a level, on straight lines between its points over log frequency.
std::vector<double> crossings(std::span<const LevelPoint> curve, double level);

/// The same of a curve that is known everywhere, refined to the last digits: `curve` only tells where to look.
/// @param gain  in dB at a frequency.
std::vector<double> crossings(std::span<const LevelPoint> curve, double level,
                              const std::function<double(double)>& gain);

}  // namespace kxanalysis
