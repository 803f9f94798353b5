#include "host/pictures/combustion_plots.hpp"

#include <algorithm>
#include <limits>
#include <sstream>

#include "analysis/number_text.hpp"
#include "host/pictures/gnuplot.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

constexpr const char* bandColour = "#cfe0f1";
constexpr const char* averageColour = "#1f5fa8";
constexpr const char* windowedColour = "#e08a1e";
constexpr const char* cycleColour = "#8a8a8a";
constexpr const char* smoothedColour = "#c03020";

std::string line(const char* colour, double width, const std::string& title, bool isDashed = false) {
  return std::string("with lines linecolor rgb '") + colour + "' linewidth " + numberText(width, 3) +
         (isDashed ? " dashtype 2" : "") + " title " + gnuplotText(title);
}

/// What all pictures have in common, for a sheet of that height.
std::string frameOf(const std::string& title, int height) {
  return "set grid back linetype 1 linecolor rgb '#dddddd' linewidth 0.7\n"
         "set tics nomirror out\n"
         "set border 3\n"
         "set style fill solid noborder\n"
         "set label 1 " +
         gnuplotText(title) + " at screen 0.5, screen " + numberText(1 - 22.0 / height, 6) + " center font ',13'\n";
}

/// Panes below each other on a sheet, with room above each for its legend. All in pixels.
struct Sheet {
  static constexpr int width = 1200, left = 90, right = 30, top = 90, bottom = 60, gap = 100, paneHeight = 330;
  static constexpr int height = top + 2 * paneHeight + gap + bottom;

  /// Settings of a pane, counted from 0 at the top.
  static std::string pane(int index) {
    const int paneTop = top + index * (paneHeight + gap);
    const auto fromBelow = [](int y) { return numberText(1 - static_cast<double>(y) / height, 6); };
    return "set lmargin at screen " + numberText(static_cast<double>(left) / width, 6) + "\nset rmargin at screen " +
           numberText(1 - static_cast<double>(right) / width, 6) + "\nset tmargin at screen " + fromBelow(paneTop) +
           "\nset bmargin at screen " + fromBelow(paneTop + paneHeight) + "\nset key at screen " +
           numberText(1 - static_cast<double>(right) / width, 6) + ", screen " + fromBelow(paneTop - 22) +
           " right center horizontal maxrows 1 samplen 3\n";
  }
};

std::string windowedTitle(const CycleAnalysis& analysis) {
  return "average of the last " + std::to_string(analysis.windowedCycles());
}

/// Columns: angle, lowest, highest, average, windowed average, last cycle, the same smoothed.
std::string anglesData(const CycleAnalysis& analysis) {
  std::ostringstream data;
  data.precision(9);
  data << "$angles << END\n";
  for (size_t i = 0; i < analysis.angles().size(); ++i) {
    data << analysis.angles()[i] << ' ' << analysis.lowest()[i] << ' ' << analysis.highest()[i] << ' '
         << analysis.average()[i] << ' ' << analysis.windowed()[i] << ' ' << analysis.corrected()[i] << ' '
         << analysis.smoothed()[i] << '\n';
  }
  data << "END\n";
  return data.str();
}

}  // namespace

void drawPressures(const OutputFile& picture, const std::string& title, const CycleAnalysis& analysis,
                   const CycleFigures& last) {
  constexpr double around = 15;  // degrees before and after the last cycle's peak
  const uint64_t cycles = analysis.cycles();
  const double peakAngle = last.peakAngle.value_or(0);
  std::ostringstream script;
  script << anglesData(analysis) << "set multiplot\n"
         << frameOf(title, Sheet::height) << "set xlabel 'crank angle in degrees'\nset ylabel 'pressure in bar'\n"
         << "set offsets 0, 0, graph 0.03, 0\n"
         << Sheet::pane(0) << "set xrange [" << analysis.angles().front() << ':' << std::ceil(analysis.angles().back())
         << "]\n"
         << "set xtics 60\n"
         << "plot $angles using 1:2:3 with filledcurves linecolor rgb '" << bandColour << "' title "
         << gnuplotText("lowest to highest of " + std::to_string(cycles) + (cycles == 1 ? " cycle" : " cycles"))
         << ", '' using 1:5 " << line(windowedColour, 2.4, windowedTitle(analysis)) << ", '' using 1:4 "
         << line(averageColour, 1.2, "average of all cycles") << "\nunset label 1\n"
         << Sheet::pane(1) << "set offsets 0, 0, graph 0.05, graph 0.05\nset xrange [" << peakAngle - around << ':'
         << peakAngle + around << "]\nset xtics 5\n"
         << "plot $angles using 1:6 " << line(cycleColour, 1, "last cycle, raw less zero level") << ", '' using 1:7 "
         << line(smoothedColour, 1.6, "last cycle, smoothed") << ", '' using 1:4 "
         << line(averageColour, 1.2, "average of all cycles") << "\nunset multiplot\n";
  drawScript(picture, script.str(), Sheet::width, Sheet::height);
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
    std::string setting;
    for (const Tick& tick : ticksOf(axis_, room)) {
      const double value = isLogarithmic() ? std::log10(tick.value / axis_.minimum) : tick.value;
      setting += (setting.empty() ? "(" : ", ") + gnuplotText(tick.label) + ' ' +
                 numberText(value * scale_ + offset_, 9) + (tick.label.empty() ? " 1" : "");
    }
    return setting + ")";
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

void writeCurve(std::ostream& out, const std::string& name, const std::vector<int32_t>& x,
                const std::vector<int32_t>& y) {
  out << name << " << END\n";
  for (size_t i = 0; i < x.size(); ++i) {
    out << x[i] << ' ' << y[i] << '\n';
  }
  out << "END\n";
}

/// A polytrope over all volumes, as far as it lies within the axes. Returns whether anything does.
bool writePolytrope(std::ostream& out, const std::string& name, const Polytrope& polytrope,
                    const std::vector<float>& allVolumes, const Coordinates& x, const Coordinates& y) {
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
  writeCurve(out, name, x.of(volumes), y.of(pressures));
  return !volumes.empty();
}

std::string polytropeTitle(const char* stroke, const Polytrope& polytrope) {
  std::ostringstream title;
  title.precision(3);
  title << stroke << ", n = " << std::fixed << polytrope.exponent << std::defaultfloat << " from "
        << polytrope.window.from << " to " << polytrope.window.to << " degrees";
  return title.str();
}

}  // namespace

void drawPressureVolume(const Functions& functions, const OutputFile& picture, const std::string& title,
                        const CycleAnalysis& analysis, AxisScale scale) {
  constexpr int width = 1000, height = 760, left = 90, right = 30, top = 50, bottom = 60;  // in pixels
  constexpr int finer = 10;  // coordinates in a pixel: without them the lines would be stairs
  const Coordinates x(functions, axisOf(scale, analysis.volumes()), (width - left - right) * finer);
  std::vector<float> shown = analysis.average();
  shown.insert(shown.end(), analysis.smoothed().begin(), analysis.smoothed().end());
  const Coordinates y(functions, axisOf(scale, shown), (height - top - bottom) * finer);

  std::ostringstream script;
  const std::vector<int32_t> places = x.of(analysis.volumes());
  writeCurve(script, "$last", places, y.of(analysis.smoothed()));
  writeCurve(script, "$average", places, y.of(analysis.average()));
  std::string curves = "plot $last " + line(cycleColour, 1, "last cycle, smoothed") + ", $average " +
                       line(averageColour, 1.8, "average of all cycles");
  const auto add = [&](const std::string& name, const char* stroke, const char* colour,
                       const std::optional<Polytrope>& polytrope) {
    if (polytrope && writePolytrope(script, name, *polytrope, analysis.volumes(), x, y)) {
      curves += ", " + name + ' ' + line(colour, 1.4, polytropeTitle(stroke, *polytrope), true);
    }
  };
  add("$compression", "compression", windowedColour, analysis.compression());
  add("$expansion", "expansion", smoothedColour, analysis.expansion());
  script << frameOf(title, height) << "set lmargin at screen " << static_cast<double>(left) / width
         << "\nset rmargin at screen " << 1 - static_cast<double>(right) / width << "\nset tmargin at screen "
         << 1 - static_cast<double>(top) / height << "\nset bmargin at screen " << static_cast<double>(bottom) / height
         << "\nset xrange [0:" << (width - left - right) * finer
         << "]\nset yrange [0:" << (height - top - bottom) * finer << "]\nset xtics " << x.ticks(10) << "\nset ytics "
         << y.ticks(10) << "\nset xlabel 'volume in cubic centimetres'\nset ylabel 'pressure in bar'\n"
         << "set key top right opaque\n"
         << curves << '\n';
  drawScript(picture, script.str(), width, height);
}

void drawTrend(const OutputFile& picture, const std::string& title, const CycleAnalysis& analysis,
               const std::vector<CycleFigures>& figures) {
  std::vector<double> pressures;
  std::ostringstream script;
  script.precision(9);
  script << "$cycles << END\n";
  for (size_t i = 0; i < figures.size(); ++i) {
    pressures.push_back(figures[i].meanEffectivePressure);
    script << i + 1 << ' ' << figures[i].peak.value_or(std::numeric_limits<double>::quiet_NaN()) << ' '
           << figures[i].averagePeak.value_or(std::numeric_limits<double>::quiet_NaN()) << ' '
           << figures[i].windowedPeak << ' ' << pressures.back() << '\n';
  }
  const Spread spread = spreadOf(pressures);
  const std::string variation =
      spread.variation() ? ", coefficient of variation " + numberText(*spread.variation(), 3) + " %" : "";
  const std::string points = std::string("with linespoints pointtype 7 pointsize 0.5 linewidth 0.6 linecolor rgb '");
  script << "END\nset multiplot\nset datafile missing 'nan'\n"
         << frameOf(title, Sheet::height) << "set xlabel 'cycle'\nset offsets 0, 0, graph 0.06, graph 0.06\n"
         << "set xrange [0.5:" << static_cast<double>(figures.size()) + 0.5 << "]\n"
         << Sheet::pane(0) << "set ylabel 'peak pressure in bar'\n"
         << "plot $cycles using 1:2 " << points << cycleColour << "' title 'each cycle', '' using 1:4 "
         << line(windowedColour, 2, windowedTitle(analysis)) << ", '' using 1:3 "
         << line(averageColour, 1.4, "average of all cycles so far") << "\nunset label 1\n"
         << Sheet::pane(1) << "set ylabel 'gross IMEP in bar'\n"
         << "plot $cycles using 1:5 " << points << cycleColour << "' title 'each cycle', " << spread.mean << ' '
         << line(averageColour, 1.4, "mean " + numberText(spread.mean, 4) + " bar" + variation)
         << "\nunset multiplot\n";
  drawScript(picture, script.str(), Sheet::width, Sheet::height);
}

}  // namespace kxhost
