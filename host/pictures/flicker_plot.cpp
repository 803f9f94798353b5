#include "host/pictures/flicker_plot.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <span>
#include <sstream>
#include <utility>

#include "analysis/number_text.hpp"
#include "host/pictures/gnuplot.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

// All in pixels.
constexpr int width = 1200, height = 900, left = 100, right = 110, top = 84, bottom = 62, gap = 112;
constexpr int paneHeight = (height - top - gap - bottom) / 2;

constexpr int figureDigits = 4;
constexpr double leastLevel = 1e-4;    // what is less is not told apart
constexpr double leastPercent = 0.05;  // of the axis of cumulative probability

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
void writeProbability(std::ostream& script, const ClassCounts& classes) {
  constexpr int points = 300;
  for (int i = 0; i <= points; ++i) {
    const double percent = leastPercent * std::pow(100 / leastPercent, static_cast<double>(i) / points);
    script << std::max(exceededLevel(classes, percent), leastLevel) << ' ' << percent << '\n';
  }
}

/// The percentiles that make up the severity; labels for those in the middle of each group, where there is room.
void writePercentiles(std::ostream& script, const ClassCounts& classes) {
  constexpr std::array<double, 1> peak{0.1};
  constexpr std::array<double, 5> labelled{0.1, 1, 3, 10, 50};
  for (const std::span<const double> percents :
       std::initializer_list<std::span<const double>>{peak, smoothing1, smoothing3, smoothing10, smoothing50}) {
    for (const double percent : percents) {
      const double level = exceededLevel(classes, percent);
      script << std::max(level, leastLevel) << ' ' << percent << " \"";
      if (std::find(labelled.begin(), labelled.end(), percent) != labelled.end()) {
        script << 'P' << percent << " = " << numberText(level, figureDigits);
      }
      script << "\"\n";
    }
  }
}

void writeData(std::ostream& script, const FlickerResult& result, const TimeUnit& unit, size_t worst) {
  script << "$sensation << END\n";
  for (const EnvelopeColumn& column : result.sensation) {
    script << column.position / result.rate / unit.seconds << ' ' << column.minimum << ' ' << column.maximum << '\n';
  }
  script << "END\n$severity << END\n";
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const double severity = severityOf(result.periods[i].classes).shortTerm;
    script << result.beginOf(i) / unit.seconds << ' ' << severity << '\n'
           << result.beginOf(i + 1) / unit.seconds << ' ' << severity << '\n';
  }
  script << "END\n$others << END\n";
  for (size_t i = 0; i < result.periods.size(); ++i) {
    if (i != worst) {
      writeProbability(script, result.periods[i].classes);
      script << '\n';
    }
  }
  script << "END\n$worst << END\n";
  writeProbability(script, result.periods[worst].classes);
  script << "END\n$percentiles << END\n";
  writePercentiles(script, result.periods[worst].classes);
  script << "END\n";
}

double highestOf(const std::vector<FlickerPeriod>& periods) {
  double highest = 0;
  for (const FlickerPeriod& period : periods) {
    highest = std::max(highest, period.largest);
  }
  return highest;
}

void placePane(std::ostream& script, int paneTop) {
  script << "set tmargin at screen " << 1 - static_cast<double>(paneTop) / height << '\n'
         << "set bmargin at screen " << 1 - static_cast<double>(paneTop + paneHeight) / height << '\n';
}

/// Settling is shaded; where there is room, each period is set apart and has its severity written above it.
void writeSensationPane(std::ostream& script, const FlickerResult& result, const TimeUnit& unit, double severity) {
  constexpr double air = 1.25, severityAir = 1.5;  // so that curves that do not change lie apart
  const double highest = highestOf(result.periods);
  placePane(script, top);
  script << "set xrange [0:" << result.secondsOf(result.samples) / unit.seconds << "]\n"
         << "set yrange [0:" << (highest > 0 ? air * highest : 1) << "]\n"
         << "set y2range [0:" << (severity > 0 ? severityAir * severity : 1) << "]\n"
         << "set xlabel " << gnuplotText("time in " + unit.name) << '\n'
         << "set ylabel 'instantaneous sensation (1 = threshold)'\n"
         << "set y2label 'Pst over " << numberText(result.secondsOf(result.period), figureDigits)
         << " s' offset character -1.5, 0 textcolor rgb '#c03020'\n"
         << "set y2tics textcolor rgb '#c03020'\n"
         << "set object 1 rectangle from 0, graph 0 to " << result.beginOf(0) / unit.seconds
         << ", graph 1 back fillcolor rgb '#e4e4e4' fillstyle solid noborder\n";
  constexpr size_t mostLines = 48, mostLabels = 12;
  for (size_t i = 0; i < result.periods.size() && result.periods.size() <= mostLines; ++i) {
    const double begin = result.beginOf(i) / unit.seconds, end = result.beginOf(i + 1) / unit.seconds;
    script << "set arrow from " << end << ", graph 0 to " << end
           << ", graph 1 nohead dashtype 2 linewidth 0.7 linecolor rgb '#808080'\n";
    if (result.periods.size() <= mostLabels) {
      script << "set label "
             << gnuplotText("Pst " + numberText(severityOf(result.periods[i].classes).shortTerm, figureDigits))
             << " at " << (begin + end) / 2 << ", graph 0.94 center textcolor rgb '#c03020'\n";
    }
  }
  script
      << "plot $sensation using 1:2:3 with filledcurves linecolor rgb '#9ec5e8' title 'sensation: minimum to maximum', "
      << "'' using 1:3 with lines linecolor rgb '#1f5fa8' linewidth 1.2 notitle, "
      << "$severity using 1:2 axes x1y2 with lines linecolor rgb '#c03020' linewidth 1.2 title 'Pst', "
      << "keyentry with boxes linecolor rgb '#e4e4e4' title 'settling'\n"
      << "unset arrow\nunset object\nunset label\nunset y2tics\nunset y2label\nset border 3\n";
}

/// Ticks of a logarithmic axis at 1, 2 and 5 of each decade, on long axes at 1 alone.
std::string logarithmicTicks(double low, double high) {
  const bool isLong = high / low > 2000;
  std::ostringstream ticks;
  for (int decade = -4; decade <= 6; ++decade) {
    for (const int digit : {1, 2, 5}) {
      const std::string tick = std::to_string(digit) + 'e' + std::to_string(decade);
      if (digit == 1 || !isLong) {
        ticks << (ticks.tellp() > 0 ? ", " : "") << '\'' << numberText(std::stod(tick), figureDigits) << "' " << tick;
      }
    }
  }
  return ticks.str();
}

void writeProbabilityPane(std::ostream& script, const FlickerResult& result, size_t worst, double severity) {
  double low = 1;
  for (const FlickerPeriod& period : result.periods) {
    constexpr double nearlyAlways = 99.9;
    low = std::min(low, exceededLevel(period.classes, nearlyAlways));
  }
  low = std::pow(10, std::floor(std::log10(std::max(low, leastLevel))));
  const double high = 3 * std::max(highestOf(result.periods), 3 * low);  // leaves room for labels
  placePane(script, top + paneHeight + gap);
  const std::string which = result.periods.size() == 1 ? ""
                                                       : ", period " + std::to_string(worst + 1) + " of " +
                                                             std::to_string(result.periods.size());
  script << "set logscale xy\n"
         << "set xrange [" << low << ':' << high << "]\n"
         << "set yrange [" << leastPercent << ":100]\n"
         << "set xtics (" << logarithmicTicks(low, high) << ")\n"
         << "set xlabel 'instantaneous sensation (1 = threshold)'\n"
         << "set ylabel 'share of time in which it is exceeded, in %'\n"
         << "set ytics ('0.1' 0.1, '0.3' 0.3, '1' 1, '3' 3, '10' 10, '30' 30, '100' 100)\n"
         << "set label "
         << gnuplotText("cumulative probability" + which + ": Pst " + numberText(severity, figureDigits) + " over " +
                        numberText(result.secondsOf(result.period), figureDigits) + " s")
         << " at graph 0, graph 1 left offset 0, character 0.7\n"
         << "set key at graph 1, graph 1.07 right center horizontal samplen 3\n"
         << "plot ";
  if (result.periods.size() > 1) {
    script << "$others using 1:2 with lines linecolor rgb '#b0b0b0' title 'other periods', ";
  }
  script << "$worst using 1:2 with lines linecolor rgb '#1f5fa8' linewidth 1.6 title 'this period', "
         << "$percentiles using 1:2 with points pointtype 7 pointsize 0.7 linecolor rgb '#c03020' title 'percentiles', "
         << "'' using 1:2:3 with labels left offset character 1, 0.4 font ',9' textcolor rgb '#c03020' notitle\n";
}

}  // namespace

void drawFlicker(const OutputFile& picture, const std::string& title, const FlickerResult& result) {
  const TimeUnit unit = timeUnitFor(result.secondsOf(result.samples));
  const auto [worst, severity] = worstOf(result.periods);
  std::ostringstream script;
  script.precision(9);
  writeData(script, result, unit, worst);
  script << "set multiplot\n"
            "set style fill solid noborder\n"
            "set grid back linetype 1 linecolor rgb '#dddddd' linewidth 0.7\n"
            "set tics nomirror out\n"
            "set border 11\n"
            "set lmargin at screen "
         << static_cast<double>(left) / width << "\nset rmargin at screen " << 1 - static_cast<double>(right) / width
         << "\nset label 1 " << gnuplotText(title) << " at screen 0.5, screen " << 1 - 22.0 / height
         << " center font ',13'\nset key at screen " << 1 - static_cast<double>(right) / width << ", screen "
         << 1 - 60.0 / height << " right center horizontal samplen 3\n";
  writeSensationPane(script, result, unit, severity);
  writeProbabilityPane(script, result, worst, severity);
  script << "unset multiplot\n";
  drawScript(picture, script.str(), width, height);
}

}  // namespace kxhost
