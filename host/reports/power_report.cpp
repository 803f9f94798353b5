#include "host/reports/power_report.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/power_cells.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

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

/// By single bins, groups and subgroups; nothing where windows are too short for groups.
void printDistortions(std::ostream& out, const PowerReport& report) {
  if (report.cycles < static_cast<int>(HarmonicGroups::fewestCycles)) {
    return;
  }
  Table table(
      {Table::text("Distortion"), "THD/%", "THDG/%", "THDS/%", Table::text("Current"), "THD/%", "THDG/%", "THDS/%"});
  for (size_t i = 0; i < report.mean.phases.size(); ++i) {
    std::vector<std::string> row;
    for (const auto& [name, signal] : {std::pair(&report.voltageNames[i], &report.mean.phases[i].voltage),
                                       {&report.currentNames[i], &report.mean.phases[i].current}}) {
      row.insert(row.end(), {*name, ratioCell(signal->distortion()), ratioCell(signal->groupDistortion()),
                             ratioCell(signal->subgroupDistortion())});
    }
    table.add(std::move(row));
  }
  out << '\n';
  table.print(out);
}

}  // namespace

size_t PowerReport::windowLength() const {
  return static_cast<size_t>(std::lround(cycles * rate / frequency()));
}

void printFrequency(std::ostream& out, const PowerReport& report) {
  const PowerTally& tally = report.tally;
  if (!tally.isMeasured()) {
    printTo(out, "The frequency was not to be measured: windows are of {:.6g} Hz\n", report.nominal);
    return;
  }
  printTo(out, "Frequency: {:.4f} Hz, from {:.4f} Hz to {:.4f} Hz in windows", report.frequency(),
          tally.lowestFrequency(), tally.highestFrequency());
  const auto [least, most] = std::ranges::minmax(report.frequencies, {}, &FrequencyInterval::frequency);
  printTo(out, ", from {:.4f} Hz to {:.4f} Hz over {:.7g} s\n", least.frequency, most.frequency,
          report.frequencies[0].length);
  if (const size_t flagged = tally.flagged(); flagged > 0) {
    printTo(out, "{} of {} flagged ({}) and {}\n", flagged, windowCount(tally.count()), tally.flagCounts(),
            report.mean.place.flags.any() ? "count, as all do" : "left out of what follows");
  }
}

void printSummary(std::ostream& out, const PowerReport& report) {
  printTo(out, "{}: {} of {} cycles at {:.6g} Hz, {} samples or {:.7g} s each", titleOf(report.file, report.format),
          windowCount(report.tally.count()), report.cycles, report.frequency(), report.windowLength(),
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
    row.push_back(figure(power.factor(), powerDigits - 1));
    table.add(std::move(row));
  };
  for (size_t i = 0; i < mean.phases.size(); ++i) {
    const PhaseFigures& phase = mean.phases[i];
    addRow({std::to_string(i + 1), report.voltageNames[i], figure(phase.voltage.rms),
            angleCell(phase.voltage.angles[0]), ratioCell(phase.voltage.distortion()), report.currentNames[i],
            figure(phase.current.rms), angleCell(phase.current.angles[0]), ratioCell(phase.current.distortion())},
           phase.power);
  }
  if (mean.phases.size() > 1) {
    addRow({"total", "", "", "", "", "", "", "", ""}, mean.total());
  }
  table.print(out);
  printDistortions(out, report);
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
                                 numberText(static_cast<double>(i + 1) * report.frequency(), powerDigits)};
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

/// The harmonics' rows and, between them, those of what lies between.
void printGroups(std::ostream& out, const PowerReport& report) {
  constexpr int magnitudeDigits = 5;
  std::vector<Table::Column> columns{"Orders"};
  for (const auto& [names, unit] : {std::pair(&report.voltageNames, "V"), {&report.currentNames, "A"}}) {
    for (const std::string& name : *names) {
      columns.emplace_back(fmt::format("{} group/{}", name, unit));
      columns.emplace_back(fmt::format("Subgroup/{}", unit));
    }
  }
  Table table(std::move(columns));
  const auto addRow = [&](const std::string& title, size_t index, std::vector<double> HarmonicGroups::*groups,
                          std::vector<double> HarmonicGroups::*subgroups) {
    std::vector<std::string> row{title};
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : report.mean.phases) {
        row.push_back(figure(((phase.*signal).groups.*groups)[index], magnitudeDigits));
        row.push_back(figure(((phase.*signal).groups.*subgroups)[index], magnitudeDigits));
      }
    }
    table.add(std::move(row));
  };
  const HarmonicGroups& first = report.mean.phases[0].voltage.groups;
  for (size_t order = 0; order <= first.harmonic.size(); ++order) {
    if (order > 0) {
      addRow(std::to_string(order), order - 1, &HarmonicGroups::harmonic, &HarmonicGroups::harmonicSubgroups);
    }
    if (order < first.interharmonic.size()) {
      addRow(fmt::format("{} to {}", order, order + 1), order, &HarmonicGroups::interharmonic,
             &HarmonicGroups::interharmonicSubgroups);
    }
  }
  out << '\n';
  table.print(out);
}

void printWindows(std::ostream& out, const PowerReport& report) {
  std::vector<Table::Column> columns{"From/s", "f/Hz"};
  const auto figures = figureColumns(report.voltageNames.size());
  columns.insert(columns.end(), figures.begin(), figures.end());
  columns.insert(columns.end(), {"Strongest/Hz", Table::text("Flags")});
  Table table(std::move(columns));
  for (const PowerWindow& window : report.windows) {
    std::vector<std::string> row{numberText(window.place.begin, powerDigits),
                                 numberText(window.place.frequency, powerDigits)};
    const auto cells = figureCells(window);
    row.insert(row.end(), cells.begin(), cells.end());
    row.push_back(figure(strongestFrequency(window, report.cycles)));
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
  const PowerTally& tally = report.tally;
  if (tally.elsewhere() == 0) {
    return "";
  }
  return fmt::format(
      "the strongest component of channel {} is not at the {:.7g} Hz of the mains but elsewhere, first at {:.7g} Hz, "
      "in {} of {}",
      report.voltageNames[0], report.nominal, tally.firstElsewhere(), tally.elsewhere(), windowCount(tally.count()));
}

}  // namespace kxhost
