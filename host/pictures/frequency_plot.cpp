#include "host/pictures/frequency_plot.hpp"

#include <cmath>
#include <sstream>

#include "analysis/number_text.hpp"
#include "host/pictures/gnuplot.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

const char* styleText(FrequencyCurve::Style style) {
  switch (style) {
    case FrequencyCurve::Style::line:
      return "with lines linewidth 2.4";
    case FrequencyCurve::Style::thinLine:
      return "with lines linewidth 0.7";
    case FrequencyCurve::Style::dashedLine:
      return "with lines linewidth 1.6 dashtype 2";
    case FrequencyCurve::Style::points:
      return "with points pointtype 7 pointsize 0.6";
    case FrequencyCurve::Style::circles:
      break;
  }
  return "with points pointtype 6 pointsize 2 linewidth 1.6";
}

void writeData(std::ostream& script, size_t number, const FrequencyCurve& curve) {
  script << "$curve" << number << " << END\n";
  for (const LevelPoint& point : curve.points) {
    if (std::isfinite(point.decibels)) {
      script << point.frequency << ' ' << point.decibels << '\n';
    }
  }
  script << "END\n";
}

}  // namespace

void drawOverFrequency(const OutputFile& file, const FrequencyPicture& picture) {
  constexpr int width = 1200, height = 640;  // in pixels, as the positions of title and key below
  std::ostringstream script;
  script.precision(9);
  for (size_t i = 0; i < picture.curves.size(); ++i) {
    writeData(script, i, picture.curves[i]);
  }
  script << "set logscale x 10\n"
            "set mxtics 10\n"
            "set grid xtics mxtics ytics back linetype 1 linecolor rgb '#d4d4d4' linewidth 0.8, "
            "linetype 1 linecolor rgb '#ececec' linewidth 0.6\n"
            "set tics nomirror out\n"
            "set border 3\n"
            "set format x '%.7g'\n"
         << "set xrange [" << picture.lowest << ':' << picture.highest << "]\n"
         << "set yrange [" << picture.bottom << ':' << picture.top << "]\n"
         << "set xlabel 'frequency in Hz'\nset ylabel " << gnuplotText(picture.yTitle) << '\n'
         << "set lmargin at screen " << 90.0 / width << "\nset rmargin at screen " << 1 - 40.0 / width << '\n'
         << "set tmargin at screen " << 1 - 110.0 / height << "\nset bmargin at screen " << 64.0 / height << '\n'
         << "set label 1 " << gnuplotText(picture.title) << " at screen 0.5, screen " << 1 - 22.0 / height
         << " center font ',13'\n"
         << "set label 2 " << gnuplotText(picture.subtitle) << " at screen 0.5, screen " << 1 - 50.0 / height
         << " center\n"
         << "set key at screen " << 1 - 40.0 / width << ", screen " << 1 - 84.0 / height
         << " right center horizontal maxrows 1 samplen 3\n";
  for (size_t i = 0; i < picture.curves.size(); ++i) {
    const FrequencyCurve& curve = picture.curves[i];
    script << (i == 0 ? "plot " : ", ") << "$curve" << i << " using 1:2 " << styleText(curve.style)
           << " linecolor rgb '" << curve.colour << "' title " << gnuplotText(curve.title);
  }
  script << '\n';
  drawScript(file, script.str(), width, height);
}

std::vector<LevelPoint> thinned(const std::vector<LevelPoint>& curve, double pointsADecade) {
  const double ratio = std::pow(10.0, 1 / pointsADecade);
  std::vector<LevelPoint> kept;
  for (const LevelPoint& point : curve) {
    if (kept.empty() || point.frequency >= kept.back().frequency * ratio) {
      kept.push_back(point);
    }
  }
  return kept;
}

std::string hertz(double frequency) {
  constexpr int digits = 6;
  return numberText(frequency, digits) + " Hz";
}

std::vector<double> frequencyGrid(double low, double high, size_t count) {
  std::vector<double> grid(count);
  for (size_t i = 0; i < count; ++i) {
    grid[i] = low * std::pow(high / low, static_cast<double>(i) / static_cast<double>(count - 1));
  }
  return grid;
}

}  // namespace kxhost
