// Pictures of levels over frequency.
#pragma once

#include <string>
#include <vector>

#include "analysis/filters/response.hpp"
#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// A curve in a picture, or points.
struct FrequencyCurve {
  enum class Style { line, thinLine, dashedLine, points, circles };

  std::string title;
  std::string colour;  ///< as #rrggbb
  Style style;
  std::vector<LevelPoint> points;  ///< those without a finite level are left out
};

struct FrequencyPicture {
  std::string title;
  std::string subtitle;  ///< may be empty
  std::string yTitle;
  double lowest, highest;  ///< ends of the frequency axis, in Hz
  double bottom, top;      ///< ends of the level axis, in dB
  std::vector<FrequencyCurve> curves;
};

/// Draws curves over the logarithm of frequency, later ones over earlier ones.
void drawOverFrequency(const OutputFile& file, const FrequencyPicture& picture);

/// One in so many points of a dense curve, evenly over log frequency, as many as a picture shows.
std::vector<LevelPoint> thinned(const std::vector<LevelPoint>& curve, double pointsADecade);

/// `count` frequencies from low to high in equal ratios.
std::vector<double> frequencyGrid(double low, double high, size_t count);

}  // namespace kxhost
