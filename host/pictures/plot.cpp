#include "host/pictures/plot.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <sstream>
#include <utility>

#include "host/pictures/gnuplot.hpp"

namespace kxhost {
namespace {

/// The Y range of a pane, with some air; [-1, 1] where nothing can be drawn.
std::pair<double, double> yRange(const std::vector<EnvelopeColumn>& columns) {
  double low = std::numeric_limits<double>::infinity(), high = -low;
  for (const EnvelopeColumn& column : columns) {
    for (const double y : {column.minimum, column.maximum, column.rms}) {
      if (std::isfinite(y)) {
        low = std::min(low, y);
        high = std::max(high, y);
      }
    }
  }
  if (!(low <= high)) {
    return {-1, 1};
  }
  const double air = high > low ? 0.06 * (high - low) : std::max(std::abs(high), 1.0);
  return {low - air, high + air};
}

}  // namespace

bool canDraw(const std::string& file) {
  const auto extension = std::filesystem::path(file).extension();
  return extension == ".png" || extension == ".svg";
}

void drawEnvelopes(const OutputFile& picture, const std::string& title, const std::vector<Pane>& panes, uint64_t frames,
                   const std::string& timeUnit, double framesAUnit) {
  // All in pixels.
  constexpr int width = 1200, left = 110, right = 30, top = 84, bottom = 60, gap = 30;
  const int count = static_cast<int>(panes.size());
  const int paneHeight = count == 1 ? 360 : count <= 12 ? 180 : 130;
  const int height = top + count * paneHeight + (count - 1) * gap + bottom;

  std::ostringstream script;
  script.precision(9);
  for (size_t i = 0; i < panes.size(); ++i) {
    script << "$pane" << i << " << END\n";
    for (const EnvelopeColumn& column : panes[i].columns) {
      script << column.position / framesAUnit << ' ' << column.minimum << ' ' << column.maximum << ' ' << column.rms
             << '\n';
    }
    script << "END\n";
  }
  script << "set multiplot\n"
            "set datafile missing 'nan'\n"
            "set style fill solid noborder\n"
            "set grid back linetype 1 linecolor rgb '#dddddd' linewidth 0.7\n"
            "set tics nomirror out\n"
            "set border 3\n"
            "set label 1 "
         << gnuplotText(title) << " at screen 0.5, screen " << 1 - 22.0 / height << " center font ',13'\n"
         << "set key at screen " << 1 - static_cast<double>(right) / width << ", screen " << 1 - 48.0 / height
         << " right center horizontal samplen 3\n"
         << "set xrange [0:" << static_cast<double>(frames) / framesAUnit << "]\n"
         << "set lmargin at screen " << static_cast<double>(left) / width << '\n'
         << "set rmargin at screen " << 1 - static_cast<double>(right) / width << '\n'
         << "set format x ''\n";
  for (size_t i = 0; i < panes.size(); ++i) {
    const auto [low, high] = yRange(panes[i].columns);
    const int paneTop = top + static_cast<int>(i) * (paneHeight + gap);
    if (i + 1 == panes.size()) {
      script << "set format x '%h'\nset xlabel " << gnuplotText(timeUnit) << '\n';
    }
    script << "set tmargin at screen " << 1 - static_cast<double>(paneTop) / height << '\n'
           << "set bmargin at screen " << 1 - static_cast<double>(paneTop + paneHeight) / height << '\n'
           << "set yrange [" << low << ':' << high << "]\n"
           << "set ylabel " << gnuplotText(panes[i].unit) << '\n'
           << "set label 2 " << gnuplotText(panes[i].title) << " at graph 0, graph 1 left offset 0, character 0.7\n"
           << "plot $pane" << i << " using 1:2:3 with filledcurves linecolor rgb '#9ec5e8' title 'minimum to maximum', "
           << "'' using 1:2 with lines linecolor rgb '#4a86c0' linewidth 0.6 notitle, "
           << "'' using 1:3 with lines linecolor rgb '#4a86c0' linewidth 0.6 notitle, "
           << "'' using 1:4 with lines linecolor rgb '#c03020' linewidth 1.4 title 'RMS'\n"
           << "unset key\nunset label 1\n";
  }
  script << "unset multiplot\n";
  drawScript(picture, script.str(), width, height);
}

}  // namespace kxhost
