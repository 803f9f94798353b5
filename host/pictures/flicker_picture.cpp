#include "host/pictures/flicker_picture.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <span>
#include <utility>

#include "host/pictures/gnuplot.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

constexpr Sheet sheet{
    .width = 1200, .left = 100, .right = 110, .top = 84, .bottom = 62, .paneHeight = 321, .panes = 2, .gap = 112};

constexpr double leastLevel = 1e-4;    // what is less is not told apart
constexpr double leastPercent = 0.05;  // of the axis of cumulative probability

constexpr const char* sensationColour = "#1f5fa8";
constexpr const char* severityColour = "#c03020";

/// What the time axis counts in.
struct TimeUnit {
  std::string name;
  double seconds;
};

TimeUnit timeUnitFor(double duration) {
  return duration <= 600     ? TimeUnit{"seconds", 1}
         : duration <= 14400 ? TimeUnit{"minutes", 60}
                             : TimeUnit{"hours", 3600};
}

/// Number of the period with the highest short-term severity, and that.
std::pair<size_t, double> worstOf(const std::vector<FlickerPeriod>& periods) {
  std::pair<size_t, double> worst{0, 0};
  for (size_t i = 0; i < periods.size(); ++i) {
    if (const double severity = severityOf(periods[i].classes).shortTerm; severity > worst.second) {
      worst = {i, severity};
    }
  }
  return worst;
}

/// Levels, and for how many percent of the time they are exceeded, as finely as a picture can show.
std::string probabilityRows(const ClassCounts& classes) {
  constexpr int points = 300;
  std::string rows;
  for (int i = 0; i <= points; ++i) {
    const double percent = leastPercent * std::pow(100 / leastPercent, static_cast<double>(i) / points);
    addRow(rows, {std::max(exceededLevel(classes, percent), leastLevel), percent});
  }
  return rows;
}

/// The percentiles that make up the severity; labels for those in the middle of each group, where there is room.
std::string percentileRows(const ClassCounts& classes) {
  constexpr std::array<double, 1> peak{0.1};
  constexpr std::array<double, 5> labelled{0.1, 1, 3, 10, 50};
  std::string rows;
  for (const std::span<const double> percents :
       std::initializer_list<std::span<const double>>{peak, smoothing1, smoothing3, smoothing10, smoothing50}) {
    for (const double percent : percents) {
      const double level = exceededLevel(classes, percent);
      const bool hasLabel = std::ranges::find(labelled, percent) != labelled.end();
      rows += fmt::format("{:.9g} {:.9g} \"{}\"\n", std::max(level, leastLevel), percent,
                          hasLabel ? fmt::format("P{:.9g} = {:.4g}", percent, level) : "");
    }
  }
  return rows;
}

std::string dataOf(const FlickerResult& result, const TimeUnit& unit, size_t worst) {
  std::string sensation, severity, others;
  for (const EnvelopeColumn& column : result.sensation) {
    addRow(sensation, {column.position / result.rate / unit.seconds, column.minimum, column.maximum});
  }
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const double shortTerm = severityOf(result.periods[i].classes).shortTerm;
    addRow(severity, {result.beginOf(i) / unit.seconds, shortTerm});
    addRow(severity, {result.beginOf(i + 1) / unit.seconds, shortTerm});
    if (i != worst) {
      others += probabilityRows(result.periods[i].classes) + '\n';
    }
  }
  const ClassCounts& classes = result.periods[worst].classes;
  return dataBlock("sensation", sensation) + dataBlock("severity", severity) + dataBlock("others", others) +
         dataBlock("worst", probabilityRows(classes)) + dataBlock("percentiles", percentileRows(classes));
}

double highestOf(const std::vector<FlickerPeriod>& periods) {
  double highest = 0;
  for (const FlickerPeriod& period : periods) {
    highest = std::max(highest, period.largest);
  }
  return highest;
}

/// Where there is room, each period is set apart and has its severity written above it.
std::string periodMarks(const FlickerResult& result, const TimeUnit& unit) {
  constexpr size_t mostLines = 48, mostLabels = 12;
  std::string marks;
  for (size_t i = 0; i < result.periods.size() && result.periods.size() <= mostLines; ++i) {
    const double begin = result.beginOf(i) / unit.seconds, end = result.beginOf(i + 1) / unit.seconds;
    marks += fmt::format(
        "set arrow from {0:.9g}, graph 0 to {0:.9g}, graph 1 nohead dashtype 2 linewidth 0.7 linecolor rgb '#808080'\n",
        end);
    if (result.periods.size() <= mostLabels) {
      marks += fmt::format("set label 'Pst {:.4g}' at {:.9g}, graph 0.94 center textcolor rgb '{}'\n",
                           severityOf(result.periods[i].classes).shortTerm, (begin + end) / 2, severityColour);
    }
  }
  return marks;
}

/// The sensation and the severity over time, with settling shaded.
std::string timeScript(const FlickerResult& result, const TimeUnit& unit, double severity) {
  constexpr double air = 1.25, severityAir = 1.5;  // so that curves that do not change lie apart
  const double highest = highestOf(result.periods);
  return fmt::format(
      "set xrange [0:{duration:.9g}]\n"
      "set yrange [0:{highest:.9g}]\n"
      "set y2range [0:{highestSeverity:.9g}]\n"
      "set xlabel 'time in {unit}'\n"
      "set ylabel 'instantaneous sensation (1 = threshold)'\n"
      "set y2label 'Pst over {period:.4g} s' offset character -1.5, 0 textcolor rgb '{severityColour}'\n"
      "set y2tics textcolor rgb '{severityColour}'\n"
      "set object 1 rectangle from 0, graph 0 to {settling:.9g}, graph 1 back fillcolor rgb '#e4e4e4' fillstyle solid "
      "noborder\n"
      "{marks}"
      "plot $sensation using 1:2:3 with filledcurves linecolor rgb '#9ec5e8' title 'sensation: minimum to maximum', "
      "'' using 1:3 {sensationStyle} notitle, $severity using 1:2 axes x1y2 {severityStyle} title 'Pst', "
      "keyentry with boxes linecolor rgb '#e4e4e4' title 'settling'\n"
      "unset arrow\nunset object\nunset label\nunset y2tics\nunset y2label\nset border 3\n",
      fmt::arg("duration", result.secondsOf(result.samples) / unit.seconds),
      fmt::arg("highest", highest > 0 ? air * highest : 1),
      fmt::arg("highestSeverity", severity > 0 ? severityAir * severity : 1), fmt::arg("unit", unit.name),
      fmt::arg("period", result.secondsOf(result.period)), fmt::arg("settling", result.beginOf(0) / unit.seconds),
      fmt::arg("marks", periodMarks(result, unit)), fmt::arg("severityColour", severityColour),
      fmt::arg("sensationStyle", lines(sensationColour, 1.2)), fmt::arg("severityStyle", lines(severityColour, 1.2)));
}

/// Ticks of a logarithmic axis at 1, 2 and 5 of each decade, on long axes at 1 alone.
std::string logarithmicTicks(double low, double high) {
  const bool isLong = high / low > 2000;
  std::vector<std::string> ticks;
  for (int decade = -4; decade <= 6; ++decade) {
    for (const int digit : {1, 2, 5}) {
      const std::string tick = fmt::format("{}e{}", digit, decade);
      if (digit == 1 || !isLong) {
        ticks.push_back(fmt::format("'{:.4g}' {}", std::stod(tick), tick));
      }
    }
  }
  return fmt::format("({})", fmt::join(ticks, ", "));
}

/// For how much of the time each level of sensation is exceeded.
std::string probabilityScript(const FlickerResult& result, size_t worst, double severity) {
  double low = 1;
  for (const FlickerPeriod& period : result.periods) {
    constexpr double nearlyAlways = 99.9;
    low = std::min(low, exceededLevel(period.classes, nearlyAlways));
  }
  low = std::pow(10, std::floor(std::log10(std::max(low, leastLevel))));
  const double high = 3 * std::max(highestOf(result.periods), 3 * low);  // leaves room for labels
  const size_t count = result.periods.size();
  return fmt::format(
      "set logscale xy\n"
      "set xrange [{low:.9g}:{high:.9g}]\n"
      "set yrange [{leastPercent:.9g}:100]\n"
      "set xtics {ticks}\n"
      "set xlabel 'instantaneous sensation (1 = threshold)'\n"
      "set ylabel 'share of time in which it is exceeded, in %'\n"
      "set ytics ('0.1' 0.1, '0.3' 0.3, '1' 1, '3' 3, '10' 10, '30' 30, '100' 100)\n"
      "set label 'cumulative probability{which}: Pst {severity:.4g} over {period:.4g} s' "
      "at graph 0, graph 1 left offset 0, character 0.7\n"
      "set key at graph 1, graph 1.07 right center horizontal samplen 3\n"
      "plot {others}$worst using 1:2 {worstStyle} title 'this period', "
      "$percentiles using 1:2 with points pointtype 7 pointsize 0.7 linecolor rgb '{severityColour}' "
      "title 'percentiles', "
      "'' using 1:2:3 with labels left offset character 1, 0.4 font ',9' textcolor rgb '{severityColour}' notitle\n",
      fmt::arg("low", low), fmt::arg("high", high), fmt::arg("leastPercent", leastPercent),
      fmt::arg("ticks", logarithmicTicks(low, high)),
      fmt::arg("which", count == 1 ? "" : fmt::format(", period {} of {}", worst + 1, count)),
      fmt::arg("severity", severity), fmt::arg("period", result.secondsOf(result.period)),
      fmt::arg("others", count == 1 ? "" : "$others using 1:2 " + lines("#b0b0b0", 1) + " title 'other periods', "),
      fmt::arg("worstStyle", lines(sensationColour, 1.6)), fmt::arg("severityColour", severityColour));
}

}  // namespace

void drawFlicker(const OutputFile& picture, const std::string& title, const FlickerResult& result) {
  constexpr int keyRow = 60;
  const TimeUnit unit = timeUnitFor(result.secondsOf(result.samples));
  const auto [worst, severity] = worstOf(result.periods);
  drawScript(picture,
             dataOf(result, unit, worst) + sheet.frame(title) + sheet.key(keyRow) + "set border 11\nset multiplot\n" +
                 sheet.pane(0) + timeScript(result, unit, severity) + sheet.pane(1) +
                 probabilityScript(result, worst, severity) + "unset multiplot\n",
             sheet);
}

}  // namespace kxhost
