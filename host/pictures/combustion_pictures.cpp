#include "host/pictures/combustion_pictures.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "host/pictures/gnuplot.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

constexpr const char* bandColour = "#cfe0f1";
constexpr const char* averageColour = "#1f5fa8";
constexpr const char* windowedColour = "#e08a1e";
constexpr const char* cycleColour = "#8a8a8a";
constexpr const char* smoothedColour = "#c03020";

/// Of the pictures of two panes.
constexpr Sheet sheet{
    .width = 1200, .left = 90, .right = 30, .top = 90, .bottom = 60, .paneHeight = 330, .panes = 2, .gap = 100};

/// Settings of a pane with its legend above it.
std::string pane(int index) {
  constexpr int legend = 22;  // pixels above the pane
  return sheet.pane(index) + sheet.key(sheet.paneTop(index) - legend);
}

std::string titled(const std::string& style, const std::string& title) {
  return fmt::format("{} title {}", style, gnuplotText(title));
}

std::string windowedTitle(const CycleAnalysis& analysis) {
  return fmt::format("average of the last {}", analysis.windowedCycles());
}

/// Columns: angle, lowest, highest, average, windowed average, last cycle, the same smoothed.
std::string angleRows(const CycleAnalysis& analysis) {
  std::string rows;
  for (size_t i = 0; i < analysis.angles().size(); ++i) {
    const auto at = [i](const auto& values) { return static_cast<double>(values[i]); };
    addRow(rows, {analysis.angles()[i], at(analysis.lowest()), at(analysis.highest()), at(analysis.average()),
                  at(analysis.windowed()), at(analysis.corrected()), at(analysis.smoothed())});
  }
  return rows;
}

}  // namespace

void drawPressures(const OutputFile& picture, const std::string& title, const CycleAnalysis& analysis,
                   const CycleFigures& last) {
  constexpr double around = 15;  // degrees before and after the last cycle's peak
  const uint64_t cycles = analysis.cycles();
  const double peakAngle = last.peakAngle.value_or(0);
  std::string script = dataBlock("angles", angleRows(analysis)) + sheet.frame(title);
  fmt::format_to(std::back_inserter(script),
                 "set multiplot\n"
                 "set xlabel 'crank angle in degrees'\n"
                 "set ylabel 'pressure in bar'\n"
                 "{}set offsets 0, 0, graph 0.03, 0\n"
                 "set xrange [{:.9g}:{:.9g}]\n"
                 "set xtics 60\n"
                 "plot $angles using 1:2:3 {}, '' using 1:5 {}, '' using 1:4 {}\n"
                 "unset label 1\n",
                 pane(0), analysis.angles().front(), std::ceil(analysis.angles().back()),
                 titled(fmt::format("with filledcurves linecolor rgb '{}'", bandColour),
                        fmt::format("lowest to highest of {} {}", cycles, cycles == 1 ? "cycle" : "cycles")),
                 titled(lines(windowedColour, 2.4), windowedTitle(analysis)),
                 titled(lines(averageColour, 1.2), "average of all cycles"));
  fmt::format_to(std::back_inserter(script),
                 "{}set offsets 0, 0, graph 0.05, graph 0.05\n"
                 "set xrange [{:.9g}:{:.9g}]\n"
                 "set xtics 5\n"
                 "plot $angles using 1:6 {}, '' using 1:7 {}, '' using 1:4 {}\n"
                 "unset multiplot\n",
                 pane(1), peakAngle - around, peakAngle + around,
                 titled(lines(cycleColour, 1), "last cycle, raw less zero level"),
                 titled(lines(smoothedColour, 1.6), "last cycle, smoothed"),
                 titled(lines(averageColour, 1.2), "average of all cycles"));
  drawScript(picture, script, sheet);
}

namespace {

/// One axis of a diagram whose curves are drawn in coordinates that the kernels work out.
class Coordinates {
public:
  /// @param length  of the axis in coordinates.
  Coordinates(const Functions& functions, Axis axis, int length) : functions_(functions), axis_(axis), length_(length) {
    const double from = isLogarithmic() ? 0 : axis.minimum;
    const double to = isLogarithmic() ? std::log10(axis.maximum / axis.minimum) : axis.maximum;
    scale_ = length / (to - from);
    offset_ = -from * scale_;
  }

  /// Values beyond the axis lie on its ends.
  std::vector<int32_t> of(const std::vector<float>& values) const {
    std::vector<int32_t> places(values.size());
    const auto count = static_cast<uint32_t>(values.size());
    const auto scale = static_cast<float>(scale_), offset = static_cast<float>(offset_);
    if (isLogarithmic()) {
      functions_.kxcalcCAPV_log(values.data(), count, places.data(), 0, length_, scale, offset,
                                static_cast<float>(axis_.minimum));
    } else {
      functions_.kxcalcCAPV_lin(values.data(), count, places.data(), 0, length_, scale, offset);
    }
    return places;
  }

  bool contains(double value) const { return value >= axis_.minimum && value <= axis_.maximum; }

  /// gnuplot's setting of the ticks: labels where they stand.
  std::string ticks(int room) const {
    std::vector<std::string> settings;
    for (const Tick& tick : ticksOf(axis_, room)) {
      const double value = isLogarithmic() ? std::log10(tick.value / axis_.minimum) : tick.value;
      settings.push_back(fmt::format("{} {:.9g}{}", gnuplotText(tick.label), value * scale_ + offset_,
                                     tick.label.empty() ? " 1" : ""));
    }
    return fmt::format("({})", fmt::join(settings, ", "));
  }

private:
  bool isLogarithmic() const { return axis_.scale == AxisScale::logarithmic; }

  const Functions& functions_;
  Axis axis_;
  int32_t length_;
  double scale_ = 1;
  double offset_ = 0;
};

/// An axis around values; of a logarithmic one no more than four decades.
Axis axisOf(AxisScale scale, const std::vector<float>& values) {
  constexpr double air = 1.15, mostDecades = 1e4, least = 1e-30;
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  if (scale == AxisScale::linear) {
    return axisAround(scale, std::min(0.0, static_cast<double>(*low)), static_cast<double>(*high), 0);
  }
  if (static_cast<double>(*high) < least) {
    return {scale, 0.1, 10};  // nothing will be seen on it
  }
  float lowest = *high;
  for (const float value : values) {
    lowest = value > 0 ? std::min(lowest, value) : lowest;
  }
  const double highest = static_cast<double>(*high);
  return {scale, std::max(static_cast<double>(lowest), highest / mostDecades) / air, highest * air};
}

std::string curveData(const std::string& name, const std::vector<int32_t>& x, const std::vector<int32_t>& y) {
  std::string rows;
  for (size_t i = 0; i < x.size(); ++i) {
    addRow(rows, {static_cast<double>(x[i]), static_cast<double>(y[i])});
  }
  return dataBlock(name, rows);
}

/// A polytrope over all volumes, as far as it lies within the axes; empty if nothing of it does.
std::string polytropeData(const std::string& name, const Polytrope& polytrope, const std::vector<float>& allVolumes,
                          const Coordinates& x, const Coordinates& y) {
  constexpr int points = 200;
  const auto [smallest, largest] = std::minmax_element(allVolumes.begin(), allVolumes.end());
  std::vector<float> volumes, pressures;
  for (int i = 0; i <= points; ++i) {
    const double share = static_cast<double>(i) / points;
    const double volume = std::lerp(static_cast<double>(*smallest), static_cast<double>(*largest), share * share);
    const double pressure = polytrope.pressure(volume);
    if (y.contains(pressure)) {
      volumes.push_back(static_cast<float>(volume));
      pressures.push_back(static_cast<float>(pressure));
    }
  }
  return volumes.empty() ? "" : curveData(name, x.of(volumes), y.of(pressures));
}

std::string polytropeTitle(const std::string& stroke, const Polytrope& polytrope) {
  return fmt::format("{}, n = {:.3f} from {:.3g} to {:.3g} degrees", stroke, polytrope.exponent, polytrope.window.from,
                     polytrope.window.to);
}

}  // namespace

void drawPressureVolume(const Functions& functions, const OutputFile& picture, const std::string& title,
                        const CycleAnalysis& analysis, AxisScale scale) {
  constexpr Sheet single{.width = 1000, .left = 90, .right = 30, .top = 50, .bottom = 60, .paneHeight = 650};
  constexpr int finer = 10;  // coordinates in a pixel: without them the lines would be stairs
  constexpr int across = (single.width - single.left - single.right) * finer, up = single.paneHeight * finer;
  const Coordinates x(functions, axisOf(scale, analysis.volumes()), across);
  std::vector<float> shown = analysis.average();
  shown.insert(shown.end(), analysis.smoothed().begin(), analysis.smoothed().end());
  const Coordinates y(functions, axisOf(scale, shown), up);

  const std::vector<int32_t> places = x.of(analysis.volumes());
  std::string script =
      curveData("last", places, y.of(analysis.smoothed())) + curveData("average", places, y.of(analysis.average()));
  std::string curves = fmt::format("$last {}, $average {}", titled(lines(cycleColour, 1), "last cycle, smoothed"),
                                   titled(lines(averageColour, 1.8), "average of all cycles"));
  const auto add = [&](const std::string& stroke, const char* colour, const std::optional<Polytrope>& polytrope) {
    const std::string data = polytrope ? polytropeData(stroke, *polytrope, analysis.volumes(), x, y) : "";
    if (!data.empty()) {
      script += data;
      curves += fmt::format(", ${} {}", stroke,
                            titled(lines(colour, 1.4) + " dashtype 2", polytropeTitle(stroke, *polytrope)));
    }
  };
  add("compression", windowedColour, analysis.compression());
  add("expansion", smoothedColour, analysis.expansion());
  fmt::format_to(std::back_inserter(script),
                 "{}{}set xrange [0:{}]\n"
                 "set yrange [0:{}]\n"
                 "set xtics {}\n"
                 "set ytics {}\n"
                 "set xlabel 'volume in cubic centimetres'\n"
                 "set ylabel 'pressure in bar'\n"
                 "set key top right opaque\n"
                 "plot {}\n",
                 single.frame(title), single.pane(0), across, up, x.ticks(10), y.ticks(10), curves);
  drawScript(picture, script, single);
}

namespace {

/// NaN of none.
double meanOfLast(const std::vector<double>& figures, size_t count) {
  return std::accumulate(figures.end() - static_cast<std::ptrdiff_t>(count), figures.end(), 0.0) /
         static_cast<double>(count);
}

}  // namespace

void drawTrend(const OutputFile& picture, const std::string& title, const CycleAnalysis& analysis,
               const std::vector<CycleFigures>& figures) {
  constexpr double nothing = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> pressures, peaks;
  std::string rows;
  for (const CycleFigures& cycle : figures) {
    pressures.push_back(cycle.meanEffectivePressure);
    if (cycle.peak) {
      peaks.push_back(*cycle.peak);
    }
    const size_t last = std::min(peaks.size(), analysis.windowedCycles());
    addRow(rows, {static_cast<double>(pressures.size()), cycle.peak.value_or(nothing), meanOfLast(peaks, peaks.size()),
                  meanOfLast(peaks, last), cycle.meanEffectivePressure});
  }
  const Spread spread = spreadOf(pressures);
  const std::string variation =
      spread.variation() ? fmt::format(", coefficient of variation {:.3g} %", *spread.variation()) : "";
  const std::string eachCycle =
      titled(fmt::format("with linespoints pointtype 7 pointsize 0.5 linewidth 0.6 linecolor rgb '{}'", cycleColour),
             "each cycle");
  const std::string peakCurves =
      peaks.empty()
          ? "0 " + titled(lines(cycleColour, 0.6), "no pressure above 0")
          : fmt::format("$cycles using 1:2 {}, '' using 1:4 {}, '' using 1:3 {}", eachCycle,
                        titled(lines(windowedColour, 2), fmt::format("mean of the last {}", analysis.windowedCycles())),
                        titled(lines(averageColour, 1.4), "mean of all cycles so far"));
  std::string script = dataBlock("cycles", rows) + sheet.frame(title);
  fmt::format_to(std::back_inserter(script),
                 "set multiplot\n"
                 "set datafile missing 'nan'\n"
                 "set xlabel 'cycle'\n"
                 "set offsets 0, 0, graph 0.06, graph 0.06\n"
                 "set xrange [0.5:{}.5]\n"
                 "{}set ylabel 'peak pressure in bar'\n"
                 "plot {}\n"
                 "unset label 1\n"
                 "{}set ylabel 'gross IMEP in bar'\n"
                 "plot $cycles using 1:5 {}, {:.9g} {}\n"
                 "unset multiplot\n",
                 figures.size(), pane(0), peakCurves, pane(1), eachCycle, spread.mean,
                 titled(lines(averageColour, 1.4), fmt::format("mean {:.4g} bar{}", spread.mean, variation)));
  drawScript(picture, script, sheet);
}

}  // namespace kxhost
