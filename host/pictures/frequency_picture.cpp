#include "host/pictures/frequency_picture.hpp"

#include <cmath>

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

std::string rowsOf(const FrequencyCurve& curve) {
  std::string rows;
  for (const LevelPoint& point : curve.points) {
    if (std::isfinite(point.decibels)) {
      addRow(rows, {point.frequency, point.decibels});
    }
  }
  return rows;
}

}  // namespace

void drawOverFrequency(const OutputFile& file, const FrequencyPicture& picture) {
  constexpr Sheet sheet{.width = 1200, .left = 90, .right = 40, .top = 110, .bottom = 64, .paneHeight = 466};
  constexpr int subtitleRow = 50, keyRow = 84;
  std::string script;
  std::vector<std::string> curves;
  for (const FrequencyCurve& curve : picture.curves) {
    const std::string name = fmt::format("curve{}", curves.size());
    script += dataBlock(name, rowsOf(curve));
    curves.push_back(fmt::format("${} using 1:2 {} linecolor rgb '{}' title {}", name, styleText(curve.style),
                                 curve.colour, gnuplotText(curve.title)));
  }
  script += sheet.frame(picture.title) + sheet.pane(0) + sheet.key(keyRow);
  fmt::format_to(std::back_inserter(script),
                 "set logscale x 10\n"
                 "set mxtics 10\n"
                 "set grid xtics mxtics ytics back linetype 1 linecolor rgb '#d4d4d4' linewidth 0.8, "
                 "linetype 1 linecolor rgb '#ececec' linewidth 0.6\n"
                 "set format x '%.7g'\n"
                 "set xrange [{:.9g}:{:.9g}]\n"
                 "set yrange [{:.9g}:{:.9g}]\n"
                 "set xlabel 'frequency in Hz'\n"
                 "set ylabel {}\n"
                 "set label 2 {} at {} center\n"
                 "plot {}\n",
                 picture.lowest, picture.highest, picture.bottom, picture.top, gnuplotText(picture.yTitle),
                 gnuplotText(picture.subtitle), sheet.place(sheet.width / 2.0, subtitleRow), fmt::join(curves, ", "));
  drawScript(file, script, sheet);
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

std::vector<double> frequencyGrid(double low, double high, size_t count) {
  std::vector<double> grid(count);
  for (size_t i = 0; i < count; ++i) {
    grid[i] = low * std::pow(high / low, static_cast<double>(i) / static_cast<double>(count - 1));
  }
  return grid;
}

}  // namespace kxhost
