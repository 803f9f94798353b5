#include "host/reports/power_report.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

constexpr int digits = 7;

constexpr std::array<std::pair<bool WindowFlags::*, const char*>, 5> flagNames{
    {{&WindowFlags::frequencyUnknown, "frequency unknown"},
     {&WindowFlags::frequencyMoved, "frequency moved"},
     {&WindowFlags::dip, "dip"},
     {&WindowFlags::swell, "swell"},
     {&WindowFlags::interruption, "interruption"}}};

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

/// "3 dip, 1 frequency moved".
std::string flagCounts(const std::vector<PowerWindow>& windows) {
  std::string text;
  for (const auto& [flag, name] : flagNames) {
    const auto count =
        std::ranges::count_if(windows, [flag = flag](const PowerWindow& window) { return window.place.flags.*flag; });
    if (count > 0) {
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, name);
    }
  }
  return text;
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

std::vector<std::string> namesOf(const WindowFlags& flags) {
  std::vector<std::string> names;
  for (const auto& [flag, name] : flagNames) {
    if (flags.*flag) {
      names.emplace_back(name);
    }
  }
  return names;
}

bool PowerReport::isMeasured() const {
  return std::ranges::any_of(windows, [](const PowerWindow& window) { return !window.place.flags.frequencyUnknown; });
}

size_t PowerReport::windowLength() const {
  return static_cast<size_t>(std::lround(cycles * rate / frequency()));
}

double PowerReport::strongestFrequency(const PowerWindow& window) const {
  return static_cast<double>(window.strongestBin) * window.place.frequency / cycles;
}

void printFrequency(std::ostream& out, const PowerReport& report) {
  if (!report.isMeasured()) {
    printTo(out, "The frequency was not to be measured: windows are of {:.6g} Hz\n", report.nominal);
    return;
  }
  double lowest = std::numeric_limits<double>::infinity(), highest = 0;
  for (const PowerWindow& window : report.windows) {
    if (!window.place.flags.frequencyUnknown) {
      lowest = std::min(lowest, window.place.frequency);
      highest = std::max(highest, window.place.frequency);
    }
  }
  printTo(out, "Frequency: {:.4f} Hz, from {:.4f} Hz to {:.4f} Hz in windows", report.frequency(), lowest, highest);
  const auto [least, most] = std::ranges::minmax(report.frequencies, {}, &FrequencyInterval::frequency);
  printTo(out, ", from {:.4f} Hz to {:.4f} Hz over {:.7g} s\n", least.frequency, most.frequency,
          report.frequencies[0].length);
  if (const size_t flagged = report.flagged(); flagged > 0) {
    printTo(out, "{} of {} flagged ({}) and {}\n", flagged, windowCount(report.windows.size()),
            flagCounts(report.windows),
            report.mean.place.flags.any() ? "count, as all do" : "left out of what follows");
  }
}

void printSummary(std::ostream& out, const PowerReport& report) {
  printTo(out, "{}: {} of {} cycles at {:.6g} Hz, {} samples or {:.7g} s each", titleOf(report.file, report.format),
          windowCount(report.windows.size()), report.cycles, report.frequency(), report.windowLength(),
          report.windowSeconds());
  if (report.leftOver > 0) {
    printTo(out, "; {} samples at the end are left over", report.leftOver);
  }
  out << '\n';
  if (const std::string times = timesText(report.format); !times.empty()) {
    out << times << '\n';
  }
  printFrequency(out, report);
  out << '\n';
  Table table({Table::text("Phase"), Table::text("Voltage"), "U/V", "Angle/deg", "THD/%", Table::text("Current"), "I/A",
               "Angle/deg", "THD/%", "P/W", "Q/var", "S/VA", "PF"});
  const PowerWindow& mean = report.mean;
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
  const PowerWindow& mean = report.mean;
  for (size_t i = 0; i < mean.phases[0].voltage.harmonics.size(); ++i) {
    std::vector<std::string> row{std::to_string(i + 1),
                                 numberText(static_cast<double>(i + 1) * report.frequency(), digits)};
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
  std::vector<Table::Column> columns{"From/s", "f/Hz"};
  for (const auto& [letter, unit] : {std::pair('U', 'V'), {'I', 'A'}}) {
    for (size_t i = 1; i <= phases; ++i) {
      columns.emplace_back(fmt::format("{}{}/{}", letter, i, unit));
    }
  }
  columns.insert(columns.end(), {"P/W", "Q/var", "S/VA", "PF", "Strongest/Hz"});
  if (report.windows[0].voltageSequence) {
    columns.insert(columns.end(), {"u2/%", "u0/%"});
  }
  columns.push_back(Table::text("Flags"));
  Table table(std::move(columns));
  for (const PowerWindow& window : report.windows) {
    std::vector<std::string> row{numberText(window.place.begin, digits), numberText(window.place.frequency, digits)};
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : window.phases) {
        row.push_back(figure((phase.*signal).rms));
      }
    }
    const PowerFigures total = window.total();
    for (const std::optional<double> each :
         {std::optional(total.active), std::optional(total.reactive), std::optional(total.apparent), total.factor(),
          std::optional(report.strongestFrequency(window))}) {
      row.push_back(figure(each));
    }
    if (window.voltageSequence) {
      row.insert(row.end(),
                 {percentCell(window.voltageSequence->negativeRatio), percentCell(window.voltageSequence->zeroRatio)});
    }
    row.push_back(fmt::format("{}", fmt::join(namesOf(window.place.flags), ", ")));
    table.add(std::move(row));
  }
  out << '\n';
  table.print(out);
}

const char* nameOf(VoltageEventKind kind) {
  return kind == VoltageEventKind::dip ? "dip" : kind == VoltageEventKind::swell ? "swell" : "interruption";
}

void printEvents(std::ostream& out, const PowerReport& report) {
  if (report.events.empty()) {
    return;
  }
  Table table({Table::text("Event"), "From/s", "Duration/s", "Urms/V", "of the reference/%", Table::text("Voltage")});
  for (const VoltageEvent& event : report.events) {
    constexpr int percent = 100, timeDigits = 6, voltDigits = 5;
    table.add({nameOf(event.kind), numberText(event.begin, timeDigits),
               numberText(event.duration, timeDigits) + (event.isOver ? "" : " and on"),
               figure(event.extreme, voltDigits), fixedCell(percent * event.ratio, 2),
               report.voltageNames[event.phase]});
  }
  out << '\n';
  table.print(out);
}

std::string frequencyNote(const PowerReport& report) {
  const auto isElsewhere = [&](const PowerWindow& window) {
    return window.strongestBin != 0 && window.strongestBin != static_cast<size_t>(report.cycles);
  };
  const auto first = std::find_if(report.windows.begin(), report.windows.end(), isElsewhere);
  if (first == report.windows.end()) {
    return "";
  }
  const auto count = std::count_if(first, report.windows.end(), isElsewhere);
  return fmt::format(
      "the strongest component of channel {} is not at the {:.7g} Hz of the mains but elsewhere, first at {:.7g} Hz, "
      "in {} of {}",
      report.voltageNames[0], report.nominal, report.strongestFrequency(*first), count,
      windowCount(report.windows.size()));
}

}  // namespace kxhost
