#include "host/reports/power_report.hpp"

#include <algorithm>
#include <cmath>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

constexpr int digits = 7;

/// NaN stands for a figure that does not exist, too.
std::string figure(std::optional<double> number, int withDigits = digits) {
  return cell(number && !std::isnan(*number) ? number : std::nullopt, withDigits);
}

std::string fixedCell(std::optional<double> number, int decimals) {
  if (!number || std::isnan(*number)) {
    return "-";
  }
  const double steps = std::pow(10, decimals);
  return fmt::format("{:.{}f}", std::round(*number * steps) / steps + 0.0, decimals);  // + 0 takes the sign off a zero
}

std::string percentCell(std::optional<double> percent) {
  return fixedCell(percent, 3);
}

std::string distortionCell(const SignalFigures& figures) {
  const auto ratio = figures.distortion();
  return percentCell(ratio ? std::optional(100 * *ratio) : std::nullopt);
}

std::string angleCell(float degrees) {
  return fixedCell(degrees, 2);
}

std::string windowCount(size_t count) {
  return fmt::format("{} {}", count, count == 1 ? "window" : "windows");
}

void printSequences(std::ostream& out, const PowerWindow& window) {
  Table table({Table::text("Sequences"), "Positive", "Negative", "Zero", "Negative/%", "Zero/%"});
  const auto add = [&](const std::string& title, const SequenceFigures& figures) {
    table.add({title, figure(figures.positive), figure(figures.negative), figure(figures.zero),
               percentCell(figures.negativeRatio), percentCell(figures.zeroRatio)});
  };
  add("Voltage/V", *window.voltageSequence);
  add("Current/A", *window.currentSequence);
  out << '\n';
  table.print(out);
}

}  // namespace

double PowerReport::orderFrequency(size_t order) const {
  return static_cast<double>(order) * settings.cycles * binWidth();
}

void printSummary(std::ostream& out, const PowerReport& report) {
  printTo(out, "{}: {} of {} cycles at {:.6g} Hz, {} samples or {:.7g} s each", titleOf(report.file, report.format),
          windowCount(report.windows.size()), report.settings.cycles, report.settings.frequency, report.windowLength,
          report.windowSeconds());
  if (report.leftOver > 0) {
    printTo(out, "; {} samples at the end are left over", report.leftOver);
  }
  out << '\n';
  if (const std::string times = timesText(report.format); !times.empty()) {
    out << times << '\n';
  }
  out << '\n';
  Table table({Table::text("Phase"), Table::text("Voltage"), "U/V", "Angle/deg", "THD/%", Table::text("Current"), "I/A",
               "Angle/deg", "THD/%", "P/W", "Q/var", "S/VA", "PF"});
  const PowerWindow mean = meanOf(report.windows);
  const auto addRow = [&](std::vector<std::string> row, const PowerFigures& power) {
    for (const double each : {power.active, power.reactive, power.apparent}) {
      row.push_back(figure(each));
    }
    row.push_back(figure(power.factor(), digits - 1));
    table.add(std::move(row));
  };
  for (size_t i = 0; i < mean.phases.size(); ++i) {
    const PhaseFigures& phase = mean.phases[i];
    addRow({std::to_string(i + 1), report.voltageNames[i], figure(phase.voltage.rms),
            angleCell(phase.voltage.angles[0]), distortionCell(phase.voltage), report.currentNames[i],
            figure(phase.current.rms), angleCell(phase.current.angles[0]), distortionCell(phase.current)},
           phase.power);
  }
  if (mean.phases.size() > 1) {
    addRow({"total", "", "", "", "", "", "", "", ""}, mean.total());
  }
  table.print(out);
  if (mean.voltageSequence) {
    printSequences(out, mean);
  }
}

void printHarmonics(std::ostream& out, const PowerReport& report) {
  constexpr int magnitudeDigits = 5;
  std::vector<Table::Column> columns{"Order", "Frequency/Hz"};
  for (const auto& [names, unit] : {std::pair(&report.voltageNames, "V"), {&report.currentNames, "A"}}) {
    for (const std::string& name : *names) {
      columns.emplace_back(fmt::format("{} rms/{}", name, unit));
      columns.emplace_back("Angle/deg");
    }
  }
  Table table(std::move(columns));
  const PowerWindow mean = meanOf(report.windows);
  for (size_t i = 0; i < mean.phases[0].voltage.harmonics.size(); ++i) {
    std::vector<std::string> row{std::to_string(i + 1), numberText(report.orderFrequency(i + 1), digits)};
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : mean.phases) {
        row.push_back(figure((phase.*signal).harmonics[i], magnitudeDigits));
        row.push_back(angleCell((phase.*signal).angles[i]));
      }
    }
    table.add(std::move(row));
  }
  out << '\n';
  table.print(out);
}

void printWindows(std::ostream& out, const PowerReport& report) {
  const size_t phases = report.windows[0].phases.size();
  std::vector<Table::Column> columns{"From/s"};
  for (const auto& [letter, unit] : {std::pair('U', 'V'), {'I', 'A'}}) {
    for (size_t i = 1; i <= phases; ++i) {
      columns.emplace_back(fmt::format("{}{}/{}", letter, i, unit));
    }
  }
  columns.insert(columns.end(), {"P/W", "Q/var", "S/VA", "PF", "Strongest/Hz"});
  if (report.windows[0].voltageSequence) {
    columns.insert(columns.end(), {"u2/%", "u0/%"});
  }
  Table table(std::move(columns));
  for (size_t i = 0; i < report.windows.size(); ++i) {
    const PowerWindow& window = report.windows[i];
    std::vector<std::string> row{numberText(static_cast<double>(i) * report.windowSeconds(), digits)};
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : window.phases) {
        row.push_back(figure((phase.*signal).rms));
      }
    }
    const PowerFigures total = window.total();
    for (const std::optional<double> each :
         {std::optional(total.active), std::optional(total.reactive), std::optional(total.apparent), total.factor(),
          std::optional(static_cast<double>(window.strongestBin) * report.binWidth())}) {
      row.push_back(figure(each));
    }
    if (window.voltageSequence) {
      row.insert(row.end(),
                 {percentCell(window.voltageSequence->negativeRatio), percentCell(window.voltageSequence->zeroRatio)});
    }
    table.add(std::move(row));
  }
  out << '\n';
  table.print(out);
}

std::string frequencyNote(const PowerReport& report) {
  const auto isElsewhere = [&](const PowerWindow& window) {
    return window.strongestBin != 0 && window.strongestBin != static_cast<size_t>(report.settings.cycles);
  };
  const auto first = std::find_if(report.windows.begin(), report.windows.end(), isElsewhere);
  if (first == report.windows.end()) {
    return "";
  }
  const auto count = std::count_if(first, report.windows.end(), isElsewhere);
  return fmt::format(
      "the strongest component of channel {} is not at the {:.7g} Hz of --frequency but elsewhere, first at {:.7g} Hz, "
      "in {} of {}",
      report.voltageNames[0], report.settings.frequency, static_cast<double>(first->strongestBin) * report.binWidth(),
      count, windowCount(report.windows.size()));
}

}  // namespace kxhost
