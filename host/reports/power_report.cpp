#include "host/reports/power_report.hpp"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

constexpr int digits = 7;

std::string cell(std::optional<double> number, int withDigits = digits) {
  return number && !std::isnan(*number) ? numberText(*number, withDigits) : "-";
}

std::string fixedCell(std::optional<double> number, int decimals) {
  if (!number || std::isnan(*number)) {
    return "-";
  }
  const double steps = std::pow(10, decimals);
  std::ostringstream text;
  text.precision(decimals);
  text << std::fixed << std::round(*number * steps) / steps + 0.0;  // + 0 takes the sign off a zero
  return text.str();
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
  return std::to_string(count) + (count == 1 ? " window" : " windows");
}

void printSequences(std::ostream& out, const PowerWindow& window) {
  Table table({{"Sequences", false},
               {"Positive", true},
               {"Negative", true},
               {"Zero", true},
               {"Negative/%", true},
               {"Zero/%", true}});
  const auto add = [&](const std::string& title, const SequenceFigures& figures) {
    table.add({title, cell(figures.positive), cell(figures.negative), cell(figures.zero),
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
  constexpr int frequencyDigits = 6;
  out << titleOf(report.file, report.format) << ": " << windowCount(report.windows.size()) << " of "
      << report.settings.cycles << " cycles at " << numberText(report.settings.frequency, frequencyDigits) << " Hz, "
      << report.windowLength << " samples or " << numberText(report.windowSeconds(), digits) << " s each";
  if (report.leftOver > 0) {
    out << "; " << report.leftOver << " samples at the end are left over";
  }
  out << "\n\n";
  Table table({{"Phase", false},
               {"Voltage", false},
               {"U/V", true},
               {"Angle/deg", true},
               {"THD/%", true},
               {"Current", false},
               {"I/A", true},
               {"Angle/deg", true},
               {"THD/%", true},
               {"P/W", true},
               {"Q/var", true},
               {"S/VA", true},
               {"PF", true}});
  const PowerWindow mean = meanOf(report.windows);
  const auto addRow = [&](std::vector<std::string> row, const PowerFigures& power) {
    for (const double figure : {power.active, power.reactive, power.apparent}) {
      row.push_back(cell(figure));
    }
    row.push_back(cell(power.factor(), digits - 1));
    table.add(std::move(row));
  };
  for (size_t i = 0; i < mean.phases.size(); ++i) {
    const PhaseFigures& phase = mean.phases[i];
    addRow({std::to_string(i + 1), report.voltageNames[i], cell(phase.voltage.rms), angleCell(phase.voltage.angles[0]),
            distortionCell(phase.voltage), report.currentNames[i], cell(phase.current.rms),
            angleCell(phase.current.angles[0]), distortionCell(phase.current)},
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
  std::vector<Table::Column> columns{{"Order", true}, {"Frequency/Hz", true}};
  for (const auto& [names, unit] : {std::pair(&report.voltageNames, "V"), {&report.currentNames, "A"}}) {
    for (const std::string& name : *names) {
      columns.push_back({name + " rms/" + unit, true});
      columns.push_back({"Angle/deg", true});
    }
  }
  Table table(std::move(columns));
  const PowerWindow mean = meanOf(report.windows);
  for (size_t i = 0; i < mean.phases[0].voltage.harmonics.size(); ++i) {
    std::vector<std::string> row{std::to_string(i + 1), numberText(report.orderFrequency(i + 1), digits)};
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : mean.phases) {
        row.push_back(cell((phase.*signal).harmonics[i], magnitudeDigits));
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
  std::vector<Table::Column> columns{{"From/s", true}};
  for (const std::string title : {"U", "I"}) {
    for (size_t i = 1; i <= phases; ++i) {
      columns.push_back({title + std::to_string(i) + (title == "U" ? "/V" : "/A"), true});
    }
  }
  for (const char* title : {"P/W", "Q/var", "S/VA", "PF", "Strongest/Hz"}) {
    columns.push_back({title, true});
  }
  if (report.windows[0].voltageSequence) {
    columns.insert(columns.end(), {{"u2/%", true}, {"u0/%", true}});
  }
  Table table(std::move(columns));
  for (size_t i = 0; i < report.windows.size(); ++i) {
    const PowerWindow& window = report.windows[i];
    std::vector<std::string> row{numberText(static_cast<double>(i) * report.windowSeconds(), digits)};
    for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
      for (const PhaseFigures& phase : window.phases) {
        row.push_back(cell((phase.*signal).rms));
      }
    }
    const PowerFigures total = window.total();
    for (const std::optional<double> figure :
         {std::optional(total.active), std::optional(total.reactive), std::optional(total.apparent), total.factor(),
          std::optional(static_cast<double>(window.strongestBin) * report.binWidth())}) {
      row.push_back(cell(figure));
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
  return "the strongest component of channel " + report.voltageNames[0] + " is not at the " +
         numberText(report.settings.frequency, digits) + " Hz of --frequency but elsewhere, first at " +
         numberText(static_cast<double>(first->strongestBin) * report.binWidth(), digits) + " Hz, in " +
         std::to_string(count) + " of " + windowCount(report.windows.size());
}

}  // namespace kxhost
