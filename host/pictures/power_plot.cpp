#include "host/pictures/power_plot.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <sstream>

#include "analysis/number_text.hpp"
#include "host/pictures/gnuplot.hpp"
#include "host/reports/floors.hpp"
#include "recordings/power_channels.hpp"

namespace kxhost {
namespace {

/// A colour for each phase, told apart by the colour-blind, too; currents and the total have their own.
constexpr std::array<const char*, mostPhases> voltageColours{"#b03a2e", "#1f5fa8", "#2e7d32"};
constexpr std::array<const char*, mostPhases> currentColours{"#e59866", "#7fb3d5", "#82c785"};
constexpr const char* totalColour = "#404040";

const char* colourOf(SignalFigures PhaseFigures::*signal, size_t phase) {
  return (signal == &PhaseFigures::voltage ? voltageColours : currentColours).at(phase);
}

/// "U1 (Va)"; channels without a name of their own go by their number.
std::string labelOf(const PowerReport& report, SignalFigures PhaseFigures::*signal, size_t phase) {
  const bool isVoltage = signal == &PhaseFigures::voltage;
  const std::string& name = (isVoltage ? report.voltageNames : report.currentNames)[phase];
  const bool isNumber = name.find_first_not_of("0123456789") == std::string::npos;
  std::ostringstream label;
  label << (isVoltage ? 'U' : 'I') << phase + 1 << (isNumber ? " (channel " : " (") << name << ')';
  return label.str();
}

std::string titleLine(const PowerReport& report, const std::string& subject) {
  constexpr int digits = 6;
  return "set label 1 " +
         gnuplotText(subject + ", " + titleOf(report.file, report.format) + ", " +
                     std::to_string(report.windows.size()) + " x " + std::to_string(report.settings.cycles) +
                     " cycles at " + numberText(report.settings.frequency, digits) + " Hz") +
         " at screen 0.5, screen 0.97 center font ',13'\n";
}

void writeNumber(std::ostream& out, double number) {
  out << ' ' << (std::isfinite(number) ? numberText(number, 9) : "NaN");
}

double largestFundamental(const PowerWindow& window, SignalFigures PhaseFigures::*signal) {
  double largest = 0;
  for (const PhaseFigures& phase : window.phases) {
    largest = std::max(largest, static_cast<double>((phase.*signal).harmonics[0]));
  }
  return largest;
}

/// An arrow, and its key line.
void addPhasor(std::ostream& arrows, std::ostream& keys, const SignalFigures& figures, double fullScale, double length,
               const std::string& label, const std::string& unit, const std::string& style) {
  constexpr double radians = std::numbers::pi / 180;
  const double magnitude = static_cast<double>(figures.harmonics[0]);
  const double angle = static_cast<double>(figures.angles[0]);
  if (std::isfinite(magnitude) && fullScale > 0) {
    arrows << "set arrow from 0, 0 to";
    writeNumber(arrows, length * magnitude / fullScale * std::cos(angle * radians));
    arrows << ',';
    writeNumber(arrows, length * magnitude / fullScale * std::sin(angle * radians));
    arrows << " size 0.04, 18 filled front " << style << '\n';
  }
  std::ostringstream text;
  text.precision(2);
  text << std::fixed << angle << " deg";
  keys << ", NaN with lines " << style << " title "
       << gnuplotText(label + ": " + numberText(magnitude, 6) + ' ' + unit + " at " + text.str());
}

/// Circles at quarters of the outer one, spokes every 30 degrees with their angles.
std::string polarGrid() {
  std::ostringstream grid;
  for (const double radius : {0.25, 0.5, 0.75, 1.0}) {
    grid << "set object circle at 0, 0 size " << radius << " back fillstyle empty border linecolor rgb '"
         << (radius < 1 ? "#dddddd" : "#909090") << "'\n";
  }
  constexpr int step = 30, straight = 180;
  for (int angle = step - straight; angle <= straight; angle += step) {
    const double x = std::cos(angle * std::numbers::pi / straight), y = std::sin(angle * std::numbers::pi / straight);
    constexpr double labelRadius = 1.09;
    grid << "set arrow from 0, 0 to " << x << ", " << y << " nohead back linecolor rgb '#dddddd'\n"
         << "set label " << gnuplotText(std::to_string(angle)) << " at " << labelRadius * x << ", " << labelRadius * y
         << " center\n";
  }
  return grid.str();
}

/// A harmonic in percent of the fundamental; NaN where there is none of either.
double percentOf(const SignalFigures& figures, size_t order) {
  const bool exists = order <= figures.harmonics.size() && figures.harmonics[0] > 0;
  return exists ? 100 * static_cast<double>(figures.harmonics[order - 1]) / static_cast<double>(figures.harmonics[0])
                : std::numeric_limits<double>::quiet_NaN();
}

/// A pane of bars, one for each phase beside the others.
/// @param column  of the first phase's values.
/// @param top     of the pane, as a share of the picture's height.
void addBars(std::ostream& script, const PowerReport& report, const PowerWindow& mean,
             SignalFigures PhaseFigures::*signal, size_t column, double top) {
  double highest = 0;
  for (const PhaseFigures& phase : mean.phases) {
    for (size_t order = 2; order <= (phase.*signal).harmonics.size(); ++order) {
      highest = std::fmax(highest, percentOf(phase.*signal, order));
    }
  }
  script << "set tmargin at screen " << top << "\nset bmargin at screen " << top - 0.33
         << "\nset key at screen 0.975, screen " << top + 0.035
         << " right center horizontal samplen 1\nset yrange [0:" << (highest > 0 ? 1.06 * highest : 1)
         << "]\nset ylabel '" << (signal == &PhaseFigures::voltage ? "voltage" : "current")
         << " in % of the fundamental'\nplot";
  const auto phases = static_cast<double>(mean.phases.size());
  const double width = 0.8 / phases;
  for (size_t i = 0; i < mean.phases.size(); ++i) {
    const double offset = (static_cast<double>(i) - (phases - 1) / 2) * width;
    script << (i > 0 ? ", " : " ") << "$harmonics using ($1 + " << offset << "):" << column + i << ":(" << width
           << ") with boxes linecolor rgb '" << voltageColours.at(i) << "' title "
           << gnuplotText(labelOf(report, signal, i));
  }
  script << '\n';
}

/// What one pane of the trends shows.
struct Trend {
  std::string axis;
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

std::vector<Trend> trendsOf(const PowerReport& report) {
  Trend voltage{"voltage in V", {}, {}, [](const PowerWindow& w) { return rmsOf(w, &PhaseFigures::voltage); }};
  Trend current{"current in A", {}, {}, [](const PowerWindow& w) { return rmsOf(w, &PhaseFigures::current); }};
  Trend active{"P in W", {}, {}, [](const PowerWindow& w) { return powersOf(w, &PowerFigures::active); }};
  const size_t phases = report.windows[0].phases.size();
  for (size_t i = 0; i < phases; ++i) {
    const std::string number = std::to_string(i + 1);
    for (const auto& [trend, letter] : {std::pair(&voltage, "U"), {&current, "I"}, {&active, "phase "}}) {
      trend->names.push_back(letter + number);
      trend->colours.emplace_back(voltageColours.at(i));
    }
  }
  if (phases > 1) {
    active.names.emplace_back("total");
    active.colours.emplace_back(totalColour);
  }
  Trend reactive = active;
  reactive.axis = "Q in var";
  reactive.values = [](const PowerWindow& w) { return powersOf(w, &PowerFigures::reactive); };
  std::vector<Trend> trends{voltage, current, active, reactive};
  if (report.windows[0].voltageSequence) {
    trends.push_back({"U unbalance in %", {"negative", "zero"}, {"#b03a2e", "#1f5fa8"}, [](const PowerWindow& w) {
                        return std::vector<double>{static_cast<double>(w.voltageSequence->negativeRatio),
                                                   static_cast<double>(w.voltageSequence->zeroRatio)};
                      }});
  }
  return trends;
}

/// The Y range of a trend, with some air and never so narrow that rounding is seen; [-1, 1] where nothing can be drawn.
std::string rangeLine(const PowerReport& report, const Trend& trend) {
  double low = std::numeric_limits<double>::infinity(), high = -low;
  for (const PowerWindow& window : report.windows) {
    for (const double value : trend.values(window)) {
      if (std::isfinite(value)) {
        low = std::min(low, value);
        high = std::max(high, value);
      }
    }
  }
  if (!(low <= high)) {
    low = high = 0;
  }
  const double least = 1e-4 * std::max(std::abs(low), std::abs(high));
  const double air = std::max(0.08 * (high - low), least > 0 ? least : 1);
  return "set yrange [" + numberText(low - air, 9) + ':' + numberText(high + air, 9) + "]\n";
}

}  // namespace

void drawPhasors(const OutputFile& picture, const PowerReport& report) {
  const PowerWindow mean = meanOf(report.windows);
  std::ostringstream script, keys;
  script << titleLine(report, "Phasors of the fundamentals")
         << "unset border\nunset tics\nset size ratio -1\n"
            "set xrange [-1.15:1.15]\nset yrange [-1.15:1.15]\n"
            "set lmargin at screen 0.03\nset rmargin at screen 0.56\nset tmargin at screen 0.92\n"
            "set bmargin at screen 0.04\n"
            "set key at screen 0.6, screen 0.85 left top Left reverse samplen 2 spacing 1.5\n"
         << polarGrid();
  for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
    const bool isVoltage = signal == &PhaseFigures::voltage;
    const double fullScale = largestFundamental(mean, signal);
    const double length = isVoltage ? 1.0 : 0.75;  // apart even where a current is in phase
    for (size_t i = 0; i < mean.phases.size(); ++i) {
      addPhasor(
          script, keys, mean.phases[i].*signal, fullScale, length, labelOf(report, signal, i), isVoltage ? "V" : "A",
          "linecolor rgb '" + std::string(colourOf(signal, i)) + (isVoltage ? "' linewidth 2.5" : "' linewidth 4"));
    }
    keys << ", NaN with dots linecolor rgb 'white' title "
         << gnuplotText((isVoltage ? "outer circle: " : "third circle: ") + numberText(fullScale, 6) +
                        (isVoltage ? " V" : " A"));
  }
  script << "plot" << keys.str().substr(1) << '\n';
  drawScript(picture, script.str(), 1300, 740);
}

void drawHarmonics(const OutputFile& picture, const PowerReport& report) {
  const PowerWindow mean = meanOf(report.windows);
  const size_t phases = mean.phases.size();
  const size_t orders = std::max<size_t>(mean.phases[0].voltage.harmonics.size(), 2);
  std::ostringstream script;
  script << titleLine(report, "Harmonics") << "$harmonics << END\n";
  for (size_t order = 2; order <= orders; ++order) {
    script << order;
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : mean.phases) {
        writeNumber(script, percentOf(phase.*signal, order));
      }
    }
    script << '\n';
  }
  script << "END\nset multiplot\nset style fill solid noborder\nset border 3\nset tics nomirror out\n"
            "set grid ytics back linetype 1 linecolor rgb '#dddddd' linewidth 0.7\n"
            "set xrange [1.4:"
         << orders << ".6]\nset xtics 1, " << (orders > 20 ? 2 : 1)
         << "\nset lmargin at screen 0.08\nset rmargin at screen 0.975\n";
  addBars(script, report, mean, &PhaseFigures::voltage, 2, 0.88);
  script << "set xlabel 'harmonic order'\nunset label 1\n";
  addBars(script, report, mean, &PhaseFigures::current, 2 + phases, 0.44);
  script << "unset multiplot\n";
  drawScript(picture, script.str(), 1200, 760);
}

void drawTrends(const OutputFile& picture, const PowerReport& report) {
  const std::vector<Trend> trends = trendsOf(report);
  // All in pixels.
  constexpr int width = 1200, left = 110, right = 120, top = 60, paneHeight = 150, gap = 26, bottom = 60;
  const int count = static_cast<int>(trends.size());
  const int height = top + count * paneHeight + (count - 1) * gap + bottom;
  std::ostringstream script;
  for (size_t i = 0; i < trends.size(); ++i) {
    script << "$trend" << i << " << END\n";
    for (size_t j = 0; j < report.windows.size(); ++j) {
      writeNumber(script, (static_cast<double>(j) + 0.5) * report.windowSeconds());
      for (const double value : trends[i].values(report.windows[j])) {
        writeNumber(script, value);
      }
      script << '\n';
    }
    script << "END\n";
  }
  const double end = static_cast<double>(report.windows.size()) * report.windowSeconds();
  script << titleLine(report, "Power over time")
         << "set multiplot\nset border 3\nset tics nomirror out\nset format x ''\n"
            "set grid back linetype 1 linecolor rgb '#dddddd' linewidth 0.7\n"
            "set xrange [0:"
         << numberText(end, 9) << "]\nset lmargin at screen " << static_cast<double>(left) / width
         << "\nset rmargin at screen " << 1 - static_cast<double>(right) / width << '\n';
  for (size_t i = 0; i < trends.size(); ++i) {
    const int paneTop = top + static_cast<int>(i) * (paneHeight + gap);
    script << "set tmargin at screen " << 1 - static_cast<double>(paneTop) / height << "\nset bmargin at screen "
           << 1 - static_cast<double>(paneTop + paneHeight) / height << "\nset key at screen "
           << 1 - (right - 8.0) / width << ", screen " << 1 - static_cast<double>(paneTop) / height
           << " left top Left reverse samplen 2\nset ylabel " << gnuplotText(trends[i].axis) << '\n'
           << rangeLine(report, trends[i]);
    if (i + 1 == trends.size()) {
      script << "set format x '%h'\nset xlabel 'time in seconds'\n";
    }
    const char* const style = report.windows.size() > 100 ? "with lines" : "with linespoints pointtype 7 pointsize 0.5";
    script << "plot";
    for (size_t j = 0; j < trends[i].names.size(); ++j) {
      script << (j > 0 ? ", " : " ") << "$trend" << i << " using 1:" << j + 2 << ' ' << style << " linecolor rgb '"
             << trends[i].colours[j] << "' linewidth 1.5 title " << gnuplotText(trends[i].names[j]);
    }
    script << "\nunset label 1\n";
  }
  script << "unset multiplot\n";
  drawScript(picture, script.str(), width, height);
}

}  // namespace kxhost
