#include "host/pictures/spectrum_picture.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "host/pictures/finite_range.hpp"
#include "host/pictures/gnuplot.hpp"
#include "host/reports/si_prefix.hpp"

namespace kxhost {
namespace {

constexpr std::array<const char*, mostSpectra> colours{"#1f5fa8", "#c03020", "#2e7d32", "#e08a1e",
                                                       "#7b4ea3", "#008b8b", "#a0522d", "#d05a9b",
                                                       "#708090", "#9a9a00", "#5aa0e0", "#000000"};

constexpr Sheet sheet{.width = 1200, .left = 100, .right = 40, .top = 110, .bottom = 64, .paneHeight = 466};

/// What the axes count in.
struct SpectrumAxes {
  AxisScale xScale, yScale;
  SiPrefix hertz, size;  // of linear axes
  double left, right;    // in Hz
  double bottom, top;    // in dB or in the quantity
  std::string unit;      // of all channels; empty if they have several
};

/// The height of a value on the axis.
double heightOf(const SpectrumReport& report, const SpectrumAxes& axes, double value) {
  if (axes.yScale == AxisScale::decibel) {
    return std::max(levelOf(report, value), axes.bottom);
  }
  return std::max(value, axes.bottom) / axes.size.factor;
}

/// The Y axis: in dB 160 of them at most, of logarithms eight decades. What is less is rounding, and lies on its end.
void fitHeight(const SpectrumReport& report, SpectrumAxes& axes) {
  constexpr double mostDecibels = 160, mostDecades = 8, air = 1.06;
  FiniteRange range;
  for (const ChannelSpectrum& channel : report.channels) {
    for (const double value : channel.values) {
      range.add(axes.yScale == AxisScale::decibel       ? levelOf(report, value)
                : axes.yScale == AxisScale::logarithmic ? std::log10(value)
                                                        : value);
    }
  }
  if (range.isEmpty()) {
    range = {0, 1};
  }
  switch (axes.yScale) {
    case AxisScale::decibel:
      axes.top = 10 * std::floor(range.high / 10 + 1.5);
      axes.bottom = std::min(std::max(10 * std::floor(range.low / 10), axes.top - mostDecibels), axes.top - 20);
      break;
    case AxisScale::logarithmic:
      axes.top = std::pow(10.0, std::floor(range.high + 1));
      axes.bottom = std::max(std::pow(10.0, std::floor(range.low)), axes.top / std::pow(10.0, mostDecades));
      break;
    case AxisScale::linear:
      axes.bottom = 0;
      axes.top = range.high > 0 ? air * range.high : 1;
      axes.size = siPrefix(range.high, report.quantity == SpectrumQuantity::density ? "" : axes.unit);
      break;
  }
}

SpectrumAxes axesOf(const SpectrumReport& report, AxisScale xScale, AxisScale yScale) {
  SpectrumAxes axes{xScale, yScale, {}, {}, 0, report.rate / 2, 0, 1, report.channels.front().unit};
  const bool hasOneUnit =
      std::ranges::all_of(report.channels, [&](const auto& channel) { return channel.unit == axes.unit; });
  axes.unit = hasOneUnit ? axes.unit : "";
  if (xScale == AxisScale::linear) {
    axes.hertz = siPrefix(axes.right, "Hz");
  } else {
    axes.left = report.spacing();
  }
  fitHeight(report, axes);
  return axes;
}

/// Where a frequency lies from the pane's left end to its right one, 0 to 1.
double shareOf(const SpectrumAxes& axes, double frequency) {
  return axes.xScale == AxisScale::linear ? (frequency - axes.left) / (axes.right - axes.left)
                                          : std::log(frequency / axes.left) / std::log(axes.right / axes.left);
}

/// The curve as a picture can show it: of the bins in a column of pixels the lowest and the highest one.
std::string rowsOf(const SpectrumReport& report, const SpectrumAxes& axes, const std::vector<double>& values) {
  const int columns = sheet.width - sheet.left - sheet.right;
  std::string rows;
  const auto add = [&](size_t bin) {
    const double frequency = static_cast<double>(bin) * report.spacing();
    addRow(rows, {frequency / axes.hertz.factor, heightOf(report, axes, values[bin])});
  };
  const auto columnOf = [&](size_t bin) {
    return static_cast<int>(columns * shareOf(axes, static_cast<double>(bin) * report.spacing()));
  };
  size_t bin = axes.xScale == AxisScale::linear ? 0 : 1;
  while (bin < values.size()) {
    size_t end = bin + 1, lowest = bin, highest = bin;
    for (; end < values.size() && columnOf(end) == columnOf(bin); ++end) {
      lowest = values[end] < values[lowest] ? end : lowest;
      highest = values[end] > values[highest] ? end : highest;
    }
    add(std::min(lowest, highest));
    if (lowest != highest) {
      add(std::max(lowest, highest));
    }
    bin = end;
  }
  return rows;
}

/// Tones stand in a density as high as their bin does. Their frequencies are written where no stronger one's is.
std::string peakRows(const SpectrumReport& report, const SpectrumAxes& axes, const ChannelSpectrum& channel) {
  constexpr double room = 0.06;  // of the pane, for a label
  std::string rows;
  std::vector<double> labelled;
  for (const SpectralPeak& peak : channel.peaks) {
    const double share = shareOf(axes, peak.frequency);
    const bool hasRoom = std::ranges::all_of(labelled, [&](double other) { return std::abs(share - other) > room; });
    if (hasRoom) {
      labelled.push_back(share);
    }
    const auto bin = static_cast<size_t>(std::lround(peak.frequency / report.spacing()));
    const double size = report.quantity == SpectrumQuantity::density ? channel.values[bin] : sizeOf(report, peak);
    rows += fmt::format("{:.9g} {:.9g} \"{}\"\n", peak.frequency / axes.hertz.factor, heightOf(report, axes, size),
                        hasRoom ? siText(peak.frequency, 5, "Hz") : "");
  }
  return rows;
}

std::string plotCommand(const SpectrumReport& report) {
  std::vector<std::string> curves;
  for (size_t i = 0; i < report.channels.size(); ++i) {
    const std::string title = gnuplotText("channel " + report.channels[i].name);
    curves.push_back(fmt::format("$curve{} using 1:2 {} title {}", i, lines(colours.at(i), 1.1), title));
    if (!report.channels[i].peaks.empty()) {
      curves.push_back(fmt::format(
          "$peaks{} using 1:2 with points pointtype 6 pointsize 1.2 linewidth 1.2 linecolor rgb '{}' notitle", i,
          colours.at(i)));
      if (report.channels.size() == 1) {  // those of several would lie over one another
        curves.push_back(fmt::format(
            "'' using 1:2:3 with labels offset character 0, 0.8 font ',9' textcolor rgb '{}' notitle", colours.at(i)));
      }
    }
  }
  return fmt::format("plot {}\n", fmt::join(curves, ", "));
}

std::string axesScript(const SpectrumReport& report, const SpectrumAxes& axes) {
  std::string script;
  const auto out = std::back_inserter(script);
  if (axes.xScale == AxisScale::logarithmic) {
    script += "set logscale x 10\nset mxtics 10\nset format x '%.0s%c'\n";
  }
  if (axes.yScale == AxisScale::logarithmic) {
    fmt::format_to(out, "set logscale y 10\nset mytics 10\nset format y '{}'\n",
                   takesPrefix(axes.unit) && report.quantity != SpectrumQuantity::density ? "%.0s%c" : "%.0e");
  }
  const std::string prefixed = axes.size.text + axes.unit;
  fmt::format_to(
      out,
      "set grid xtics mxtics ytics back linetype 1 linecolor rgb '#d4d4d4' linewidth 0.8, "
      "linetype 1 linecolor rgb '#ececec' linewidth 0.6\n"
      "set xrange [{:.9g}:{:.9g}]\n"
      "set yrange [{:.9g}:{:.9g}]\n"
      "set xlabel 'frequency in {}Hz'\n"
      "set ylabel {}\n",
      axes.left / axes.hertz.factor, axes.right / axes.hertz.factor, axes.bottom / axes.size.factor,
      axes.top / axes.size.factor, axes.hertz.text,
      gnuplotText(axes.yScale == AxisScale::decibel ? levelTitle(report, axes.unit) : quantityTitle(report, prefixed)));
  return script;
}

}  // namespace

void drawSpectra(const OutputFile& file, const SpectrumReport& report, AxisScale xScale, AxisScale yScale) {
  constexpr int subtitleRow = 50, keyRow = 84;
  const SpectrumAxes axes = axesOf(report, xScale, yScale);
  std::string script;
  for (size_t i = 0; i < report.channels.size(); ++i) {
    script += dataBlock(fmt::format("curve{}", i), rowsOf(report, axes, report.channels[i].values));
    script += dataBlock(fmt::format("peaks{}", i), peakRows(report, axes, report.channels[i]));
  }
  script +=
      sheet.frame(titleOf(report.file, report.format)) + sheet.pane(0) + sheet.key(keyRow) + axesScript(report, axes);
  fmt::format_to(std::back_inserter(script), "set label 2 {} at {} center\n{}", gnuplotText(segmentsText(report)),
                 sheet.place(sheet.width / 2.0, subtitleRow), plotCommand(report));
  drawScript(file, script, sheet);
}

}  // namespace kxhost
