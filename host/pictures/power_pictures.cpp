#include "host/pictures/power_pictures.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <span>

#include "host/pictures/finite_range.hpp"
#include "host/pictures/gnuplot.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/si_prefix.hpp"
#include "recordings/power_channels.hpp"

namespace kxhost {
namespace {

/// A colour for each phase, told apart by the colour-blind, too; currents and the total have their own.
constexpr std::array<const char*, mostPhases> voltageColours{"#b03a2e", "#1f5fa8", "#2e7d32"};
constexpr std::array<const char*, mostPhases> currentColours{"#e59866", "#7fb3d5", "#82c785"};
constexpr const char* totalColour = "#404040";

constexpr int keyDigits = 6;

const char* colourOf(SignalFigures PhaseFigures::*signal, size_t phase) {
  return (signal == &PhaseFigures::voltage ? voltageColours : currentColours).at(phase);
}

/// "U1 (Va)"; channels without a name of their own go by their number.
std::string labelOf(const PowerReport& report, SignalFigures PhaseFigures::*signal, size_t phase) {
  const bool isVoltage = signal == &PhaseFigures::voltage;
  const std::string& name = (isVoltage ? report.voltageNames : report.currentNames)[phase];
  const bool isNumber = name.find_first_not_of("0123456789") == std::string::npos;
  return fmt::format("{}{} ({}{})", isVoltage ? 'U' : 'I', phase + 1, isNumber ? "channel " : "", name);
}

std::string titleOf(const PowerReport& report, const std::string& subject) {
  return fmt::format("{}, {}, {} x {} cycles at {:.6g} Hz", subject, kxrecordings::titleOf(report.file, report.format),
                     report.tally.count(), report.cycles, report.frequency());
}

double largestFundamental(const PowerWindow& window, SignalFigures PhaseFigures::*signal) {
  double largest = 0;
  for (const PhaseFigures& phase : window.phases) {
    largest = std::max(largest, static_cast<double>((phase.*signal).harmonics[0]));
  }
  return largest;
}

/// A fundamental as an arrow from the middle with its name, and its line in the key.
struct Phasor {
  std::string arrow;
  std::string key;
};

/// @param length  of a phasor of full scale.
/// @param name    what stands beside the arrow: "U1".
Phasor phasorOf(const SignalFigures& figures, double fullScale, double length, const std::string& name,
                const std::string& label, const std::string& unit, const std::string& style) {
  const double magnitude = static_cast<double>(figures.harmonics[0]);
  const double angle = static_cast<double>(figures.angles[0]), radians = angle * std::numbers::pi / 180;
  Phasor phasor;
  if (std::isfinite(magnitude) && fullScale > 0) {
    const double radius = length * magnitude / fullScale;
    phasor.arrow = fmt::format("set arrow from 0, 0 to {:.9g}, {:.9g} size 0.04, 18 filled front {}\n",
                               radius * std::cos(radians), radius * std::sin(radians), style);
    // Beside the arrow, where it is wide enough to be told from its neighbours, on its left as it points.
    constexpr double along = 0.85, beside = 0.06;
    const double x = along * radius * std::cos(radians) - beside * std::sin(radians);
    const double y = along * radius * std::sin(radians) + beside * std::cos(radians);
    phasor.arrow += fmt::format("set label '{}' at {:.9g}, {:.9g} center front\n", name, x, y);
  }
  const std::string text = fmt::format("{}: {} at {:.2f} deg", label, siText(magnitude, keyDigits, unit), angle);
  phasor.key = fmt::format("NaN with lines {} title {}", style, gnuplotText(text));
  return phasor;
}

/// Circles at quarters of the outer one, spokes every 30 degrees with their angles.
std::string polarGrid() {
  std::string grid;
  for (const double radius : {0.25, 0.5, 0.75, 1.0}) {
    grid += fmt::format("set object circle at 0, 0 size {} back fillstyle empty border linecolor rgb '{}'\n", radius,
                        radius < 1 ? "#dddddd" : "#909090");
  }
  constexpr int step = 30, straight = 180;
  for (int angle = step - straight; angle <= straight; angle += step) {
    const double x = std::cos(angle * std::numbers::pi / straight), y = std::sin(angle * std::numbers::pi / straight);
    constexpr double labelRadius = 1.09;
    grid += fmt::format(
        "set arrow from 0, 0 to {:.9g}, {:.9g} nohead back linecolor rgb '#dddddd'\n"
        "set label '{}' at {:.9g}, {:.9g} center\n",
        x, y, angle, labelRadius * x, labelRadius * y);
  }
  return grid;
}

/// A harmonic in percent of the fundamental; NaN where there is none of either.
double percentOf(const SignalFigures& figures, size_t order) {
  const bool exists = order <= figures.harmonics.size() && figures.harmonics[0] > 0;
  return exists ? 100 * static_cast<double>(figures.harmonics[order - 1]) / static_cast<double>(figures.harmonics[0])
                : std::numeric_limits<double>::quiet_NaN();
}

/// A pane of bars, one for each phase beside the others.
/// @param column  of the first phase's values.
std::string barsScript(const PowerReport& report, const PowerWindow& mean, SignalFigures PhaseFigures::*signal,
                       size_t column) {
  FiniteRange range;
  for (const PhaseFigures& phase : mean.phases) {
    for (size_t order = 2; order <= (phase.*signal).harmonics.size(); ++order) {
      range.add(percentOf(phase.*signal, order));
    }
  }
  const size_t phases = mean.phases.size();
  const double width = 0.8 / static_cast<double>(phases);
  std::vector<std::string> bars;
  for (size_t i = 0; i < phases; ++i) {
    const double offset = (static_cast<double>(i) - (static_cast<double>(phases) - 1) / 2) * width;
    bars.push_back(fmt::format("$harmonics using ($1 + {:.9g}):{}:({:.9g}) with boxes linecolor rgb '{}' title {}",
                               offset, column + i, width, voltageColours.at(i),
                               gnuplotText(labelOf(report, signal, i))));
  }
  return fmt::format(
      "set yrange [0:{:.9g}]\n"
      "set ylabel '{} in % of the fundamental'\n"
      "plot {}\n",
      range.high > 0 ? 1.06 * range.high : 1, signal == &PhaseFigures::voltage ? "voltage" : "current",
      fmt::join(bars, ", "));
}

/// What one pane of the trends shows.
struct Trend {
  std::string axis, unit;
  std::vector<std::string> names;
  std::vector<std::string> colours;
  std::function<std::vector<double>(const PowerWindow&)> values;
};

std::vector<double> rmsOf(const PowerWindow& window, SignalFigures PhaseFigures::*signal) {
  std::vector<double> values;
  for (const PhaseFigures& phase : window.phases) {
    values.push_back((phase.*signal).rms);
  }
  return values;
}

/// A power of each phase, and its total where there are several.
std::vector<double> powersOf(const PowerWindow& window, double PowerFigures::*power) {
  std::vector<double> values;
  for (const PhaseFigures& phase : window.phases) {
    values.push_back(phase.power.*power);
  }
  if (window.phases.size() > 1) {
    values.push_back(window.total().*power);
  }
  return values;
}

/// What trends are drawn of: the windows, or where these were not kept the shortest intervals that they were taken
/// together in.
std::vector<PowerWindow> pointsOf(const PowerReport& report) {
  if (!report.windows.empty() || report.aggregates.empty()) {
    return report.windows;
  }
  std::vector<PowerWindow> points;
  for (const PowerAggregate& each : report.aggregates.front().intervals) {
    if (each.mean) {
      points.push_back(*each.mean);
    }
  }
  return points;
}

std::vector<Trend> trendsOf(const PowerReport& report) {
  Trend voltage{"voltage", "V", {}, {}, [](const PowerWindow& w) { return rmsOf(w, &PhaseFigures::voltage); }};
  Trend current{"current", "A", {}, {}, [](const PowerWindow& w) { return rmsOf(w, &PhaseFigures::current); }};
  Trend active{"P", "W", {}, {}, [](const PowerWindow& w) { return powersOf(w, &PowerFigures::active); }};
  const size_t phases = report.voltageNames.size();
  for (size_t i = 0; i < phases; ++i) {
    for (const auto& [trend, letter] : {std::pair(&voltage, "U"), {&current, "I"}, {&active, "phase "}}) {
      trend->names.push_back(fmt::format("{}{}", letter, i + 1));
      trend->colours.emplace_back(voltageColours.at(i));
    }
  }
  if (phases > 1) {
    active.names.emplace_back("total");
    active.colours.emplace_back(totalColour);
  }
  Trend reactive = active;
  reactive.axis = "Q";
  reactive.unit = "var";
  reactive.values = [](const PowerWindow& w) { return powersOf(w, &PowerFigures::reactive); };
  std::vector<Trend> trends{voltage, current, active, reactive};
  if (report.mean.voltageSequence) {
    trends.push_back({"U unbalance", "%", {"negative", "zero"}, {"#b03a2e", "#1f5fa8"}, [](const PowerWindow& w) {
                        return std::vector<double>{static_cast<double>(w.voltageSequence->negativeRatio),
                                                   static_cast<double>(w.voltageSequence->zeroRatio)};
                      }});
  }
  return trends;
}

FiniteRange rangeOf(std::span<const PowerWindow> points, const Trend& trend) {
  FiniteRange range;
  for (const PowerWindow& window : points) {
    for (const double value : trend.values(window)) {
      range.add(value);
    }
  }
  return range;
}

/// The prefixed unit that a trend is drawn in: the axis counts 30 MW, not 3e+07 W.
SiPrefix prefixOf(const FiniteRange& range, const Trend& trend) {
  return range.isEmpty() ? SiPrefix{} : siPrefix(std::max(std::abs(range.low), std::abs(range.high)), trend.unit);
}

/// The Y range of a trend, with some air and never so narrow that rounding is seen; [-1, 1] where nothing can be drawn.
std::pair<double, double> yRange(const FiniteRange& range) {
  if (range.isEmpty()) {
    return {-1, 1};
  }
  const double least = 1e-4 * std::max(std::abs(range.low), std::abs(range.high));
  const double air = std::max(0.08 * (range.high - range.low), least > 0 ? least : 1);
  return {range.low - air, range.high + air};
}

/// Rows of a time and the trend's values there, in the prefixed unit.
std::string rowsOf(std::span<const PowerWindow> points, const Trend& trend) {
  const double factor = prefixOf(rangeOf(points, trend), trend).factor;
  std::string rows;
  for (const PowerWindow& window : points) {
    std::vector<double> row{window.place.begin + window.place.length / 2};
    for (const double value : trend.values(window)) {
      row.push_back(value / factor);
    }
    addRow(rows, row);
  }
  return rows;
}

/// Settings and curves of a trend's pane, from its data block.
std::string trendScript(std::span<const PowerWindow> points, const Trend& trend, const std::string& data) {
  const bool areMany = points.size() > 100;
  std::vector<std::string> curves;
  for (size_t i = 0; i < trend.names.size(); ++i) {
    curves.push_back(fmt::format("${} using 1:{} {} linecolor rgb '{}' linewidth 1.5 title {}", data, i + 2,
                                 areMany ? "with lines" : "with linespoints pointtype 7 pointsize 0.5",
                                 trend.colours[i], gnuplotText(trend.names[i])));
  }
  const FiniteRange range = rangeOf(points, trend);
  const SiPrefix prefix = prefixOf(range, trend);
  const auto [low, high] = yRange(range);
  return fmt::format(
      "set ylabel {}\n"
      "set yrange [{:.9g}:{:.9g}]\n"
      "plot {}\n"
      "unset label 1\n",
      gnuplotText(trend.axis + " in " + prefix.text + trend.unit), low / prefix.factor, high / prefix.factor,
      fmt::join(curves, ", "));
}

}  // namespace

void drawPhasors(const OutputFile& picture, const PowerReport& report) {
  constexpr Sheet sheet{.width = 1300, .left = 39, .right = 572, .top = 59, .bottom = 30, .paneHeight = 651};
  const PowerWindow& mean = report.mean;
  std::string arrows;
  std::vector<std::string> keys;
  for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
    const bool isVoltage = signal == &PhaseFigures::voltage;
    const char* const unit = isVoltage ? "V" : "A";
    const double fullScale = largestFundamental(mean, signal);
    const double length = isVoltage ? 1.0 : 0.75;  // apart even where a current is in phase
    for (size_t i = 0; i < mean.phases.size(); ++i) {
      const std::string style =
          fmt::format("linecolor rgb '{}' linewidth {}", colourOf(signal, i), isVoltage ? 2.5 : 4);
      const std::string name = fmt::format("{}{}", isVoltage ? 'U' : 'I', i + 1);
      const Phasor phasor =
          phasorOf(mean.phases[i].*signal, fullScale, length, name, labelOf(report, signal, i), unit, style);
      arrows += phasor.arrow;
      keys.push_back(phasor.key);
    }
    keys.push_back(fmt::format("NaN with dots linecolor rgb 'white' title '{} circle: {}'",
                               isVoltage ? "outer" : "third", siText(fullScale, keyDigits, unit)));
  }
  const std::string script = fmt::format(
      "{}{}unset border\nunset tics\nunset grid\nset size ratio -1\n"
      "set xrange [-1.15:1.15]\nset yrange [-1.15:1.15]\n"
      "set key at screen 0.6, screen 0.85 left top Left reverse samplen 2 spacing 1.5\n"
      "{}{}plot {}\n",
      sheet.frame(titleOf(report, "Phasors of the fundamentals")), sheet.pane(0), polarGrid(), arrows,
      fmt::join(keys, ", "));
  drawScript(picture, script, sheet);
}

void drawHarmonics(const OutputFile& picture, const PowerReport& report) {
  constexpr Sheet sheet{
      .width = 1200, .left = 96, .right = 30, .top = 91, .bottom = 84, .paneHeight = 251, .panes = 2, .gap = 83};
  const PowerWindow& mean = report.mean;
  const size_t phases = mean.phases.size();
  const size_t orders = std::max<size_t>(mean.phases[0].voltage.harmonics.size(), 2);
  std::string rows;
  for (size_t order = 2; order <= orders; ++order) {
    std::vector<double> row{static_cast<double>(order)};
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : mean.phases) {
        row.push_back(percentOf(phase.*signal, order));
      }
    }
    addRow(rows, row);
  }
  const auto pane = [&](int index) {
    constexpr int legend = 26;  // pixels above the pane
    return sheet.pane(index) + sheet.key(sheet.paneTop(index) - legend) + "set key samplen 1\n";
  };
  const std::string script = fmt::format(
      "{}{}set multiplot\n"
      "set grid noxtics\n"
      "set xrange [1.4:{}.6]\n"
      "set xtics 1, {}\n"
      "{}{}"
      "set xlabel 'harmonic order'\nunset label 1\n"
      "{}{}"
      "unset multiplot\n",
      dataBlock("harmonics", rows), sheet.frame(titleOf(report, "Harmonics")), orders, orders > 20 ? 2 : 1, pane(0),
      barsScript(report, mean, &PhaseFigures::voltage, 2), pane(1),
      barsScript(report, mean, &PhaseFigures::current, 2 + phases));
  drawScript(picture, script, sheet);
}

void drawTrends(const OutputFile& picture, const PowerReport& report) {
  const std::vector<Trend> trends = trendsOf(report);
  const std::vector<PowerWindow> points = pointsOf(report);
  const int count = static_cast<int>(trends.size());
  const Sheet sheet{
      .width = 1200, .left = 110, .right = 120, .top = 60, .bottom = 60, .paneHeight = 150, .panes = count, .gap = 26};
  constexpr int besidePane = 8;
  std::string script = sheet.frame(titleOf(report, "Power over time"));
  fmt::format_to(std::back_inserter(script), "set multiplot\nset format x ''\nset xrange [0:{:.9g}]\n",
                 report.tally.end());
  for (int i = 0; i < count; ++i) {
    const Trend& trend = trends[static_cast<size_t>(i)];
    const std::string data = fmt::format("trend{}", i);
    if (i + 1 == count) {
      script += "set format x '%h'\nset xlabel 'time in seconds'\n";
    }
    script += fmt::format(
        "{}{}set key at {} left top Left reverse samplen 2\n{}", dataBlock(data, rowsOf(points, trend)), sheet.pane(i),
        sheet.place(sheet.width - sheet.right + besidePane, sheet.paneTop(i)), trendScript(points, trend, data));
  }
  script += "unset multiplot\n";
  drawScript(picture, script, sheet);
}

}  // namespace kxhost
