#include "host/pictures/envelope_picture.hpp"

#include <utility>

#include "host/pictures/finite_range.hpp"
#include "host/pictures/gnuplot.hpp"

namespace kxhost {
namespace {

/// The Y range of a pane, with some air; [-1, 1] where nothing can be drawn.
std::pair<double, double> yRange(const std::vector<EnvelopeColumn>& columns) {
  FiniteRange range;
  for (const EnvelopeColumn& column : columns) {
    for (const double y : {column.minimum, column.maximum, column.rms}) {
      range.add(y);
    }
  }
  if (range.isEmpty()) {
    return {-1, 1};
  }
  const double height = range.high - range.low;
  const double air = height > 0 ? 0.06 * height : std::max(std::abs(range.high), 1.0);
  return {range.low - air, range.high + air};
}

std::string rowsOf(const EnvelopePane& pane, uint64_t begin, double framesAUnit) {
  std::string rows;
  for (const EnvelopeColumn& column : pane.columns) {
    addRow(rows,
           {(static_cast<double>(begin) + column.position) / framesAUnit, column.minimum, column.maximum, column.rms});
  }
  return rows;
}

/// Settings and curves of a pane, from its data block.
std::string paneScript(const EnvelopePane& pane, const std::string& data) {
  const auto [low, high] = yRange(pane.columns);
  constexpr size_t longestUnit = 16;
  const std::string outline = lines("#4a86c0", 0.6);
  return fmt::format(
      "set yrange [{:.9g}:{:.9g}]\n"
      "set ylabel {}\n"
      "set label 2 {} at graph 0, graph 1 left offset 0, character 0.7\n"
      "plot ${} using 1:2:3 with filledcurves linecolor rgb '#9ec5e8' title 'minimum to maximum', "
      "'' using 1:2 {} notitle, '' using 1:3 {} notitle, '' using 1:4 {} title 'RMS'\n"
      "unset key\n"
      "unset label 1\n",
      low, high, gnuplotText(pane.unit, longestUnit), gnuplotText(pane.title), data, outline, outline,
      lines("#c03020", 1.4));
}

}  // namespace

void drawEnvelopes(const OutputFile& picture, const std::string& title, const std::vector<EnvelopePane>& panes,
                   uint64_t begin, uint64_t end, const std::string& timeUnit, double framesAUnit) {
  const int count = static_cast<int>(panes.size());
  const Sheet sheet{.width = 1200,
                    .left = 110,
                    .right = 30,
                    .top = 84,
                    .bottom = 60,
                    .paneHeight = count == 1    ? 360
                                  : count <= 12 ? 180
                                                : 130,
                    .panes = count,
                    .gap = 30};
  constexpr int keyRow = 48;
  std::string script = sheet.frame(title) + sheet.key(keyRow);
  fmt::format_to(std::back_inserter(script),
                 "set multiplot\n"
                 "set datafile missing 'nan'\n"
                 "set xrange [{:.9g}:{:.9g}]\n"
                 "set format x ''\n",
                 static_cast<double>(begin) / framesAUnit, static_cast<double>(end) / framesAUnit);
  for (int i = 0; i < count; ++i) {
    const EnvelopePane& pane = panes[static_cast<size_t>(i)];
    const std::string data = fmt::format("pane{}", i);
    if (i + 1 == count) {
      script += fmt::format("set format x '%h'\nset xlabel {}\n", gnuplotText(timeUnit));
    }
    script += dataBlock(data, rowsOf(pane, begin, framesAUnit)) + sheet.pane(i) + paneScript(pane, data);
  }
  script += "unset multiplot\n";
  drawScript(picture, script, sheet);
}

}  // namespace kxhost
