#include "host/pictures/response_picture.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

#include "host/pictures/frequency_picture.hpp"
#include "host/reports/required.hpp"

namespace kxhost {
namespace {

/// A decade below the lowest edge, or somewhat less.
double lowestShown(const PassBand& band, double rate) {
  const double edge = (band.isLowPass() ? band.high : band.low) * rate;
  return std::pow(10.0, std::floor(std::log10(edge / 10)));
}

std::string listOf(const std::vector<double>& frequencies) {
  std::vector<std::string> list;
  list.reserve(frequencies.size());
  for (const double frequency : frequencies) {
    list.push_back(fmt::format("{:.6g} Hz", frequency));
  }
  return list.empty() ? "nowhere" : fmt::format("{}", fmt::join(list, " and "));
}

}  // namespace

Responses responsesOf(const Functions& functions, const FilterDesign& design, FilterWay way, const PassBand& band,
                      double rate) {
  constexpr size_t gridPoints = 3000;
  const auto gain = [&](double frequency) { return decibels(responseOf(design, frequency / rate)); };
  const double lowest = lowestShown(band, rate);
  Responses responses;
  for (const double frequency : frequencyGrid(lowest, rate / 2, gridPoints)) {
    responses.designed.push_back({frequency, gain(frequency)});
  }
  if (const std::optional<size_t> period = periodFor(design, band)) {
    FilteredStream filter = required(FilteredStream::create(functions, design, way));
    responses.measured = required(measuredResponse(filter, *period, rate));
    std::erase_if(responses.measured, [lowest](const LevelPoint& point) { return point.frequency < lowest; });
  }
  responses.designedEdges = crossings(responses.designed, halfPower, gain);
  responses.measuredEdges = crossings(responses.measured, halfPower);
  return responses;
}

std::string edgesText(const Responses& responses) {
  return fmt::format("3.01 dB down: designed {}, {}", listOf(responses.designedEdges),
                     responses.measured.empty() ? "not measured (it takes too long to settle)"
                                                : "measured " + listOf(responses.measuredEdges));
}

void drawResponses(const OutputFile& file, const std::string& title, const Responses& responses) {
  constexpr double deepest = -120, leastDepth = -40, air = 10, measuredPointsADecade = 96;
  double bottom = leastDepth, top = 0;
  for (const LevelPoint& point : responses.designed) {
    bottom = std::min(bottom, std::max(point.decibels, deepest));
    top = std::max(top, point.decibels);
  }
  std::vector<LevelPoint> marks;
  for (const double edge : responses.designedEdges) {
    marks.push_back({edge, halfPower});
  }
  using enum FrequencyCurve::Style;
  drawOverFrequency(
      file, {title,
             edgesText(responses),
             "gain in dB",
             responses.designed.front().frequency,
             responses.designed.back().frequency,
             10 * std::floor(bottom / 10),
             std::ceil(top) + air,
             {{"designed, by its coefficients", "#4a86c0", line, responses.designed},
              {"measured with white noise", "#c03020", points, thinned(responses.measured, measuredPointsADecade)},
              {"3.01 dB down", "#000000", circles, marks}}});
}

}  // namespace kxhost
