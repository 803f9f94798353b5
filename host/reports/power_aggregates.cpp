#include "host/reports/power_aggregates.hpp"

#include <fmt/format.h>

#include <utility>

#include "analysis/number_text.hpp"
#include "host/reports/power_cells.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

/// What the title of a table says.
std::string textOf(const PowerReport& report, AggregationInterval interval) {
  constexpr int windows = 15;
  return interval == AggregationInterval::windows15   ? fmt::format("{} cycles", windows * report.cycles)
         : interval == AggregationInterval::minutes10 ? "10 minutes"
                                                      : "2 hours";
}

}  // namespace

const char* nameOf(AggregationInterval interval) {
  return interval == AggregationInterval::windows15   ? "3s"
         : interval == AggregationInterval::minutes10 ? "10min"
                                                      : "2h";
}

void printAggregates(std::ostream& out, const PowerReport& report) {
  for (const PowerIntervals& some : report.aggregates) {
    if (!some.isListed) {
      continue;
    }
    std::vector<Table::Column> columns{report.format.start ? Table::text("From") : Table::Column("From/s"), "Length/s",
                                       "Windows", "Flagged", "f/Hz"};
    const auto figures = figureColumns(report.voltageNames.size());
    columns.insert(columns.end(), figures.begin(), figures.end());
    Table table(std::move(columns));
    for (const PowerAggregate& each : some.intervals) {
      std::vector<std::string> row{momentText(report.format, each.begin).value_or(numberText(each.begin, powerDigits)),
                                   numberText(each.end - each.begin, powerDigits), std::to_string(each.windows),
                                   std::to_string(each.flagged)};
      if (each.mean) {
        row.push_back(numberText(each.mean->place.frequency, powerDigits));
        const auto cells = figureCells(*each.mean);
        row.insert(row.end(), cells.begin(), cells.end());
      } else {
        row.resize(5 + figures.size(), "-");
      }
      table.add(std::move(row));
    }
    printTo(out, "\nOver {}, {}:\n", textOf(report, some.kind),
            report.countsFlagged ? "with all windows" : "without the flagged windows");
    table.print(out);
  }
}

Json jsonAggregates(const PowerReport& report) {
  auto aggregates = Json::array();
  for (const PowerIntervals& some : report.aggregates) {
    if (!some.isListed) {
      continue;
    }
    auto intervals = Json::array();
    for (const PowerAggregate& each : some.intervals) {
      Json interval{{"from_s", each.begin}, {"length_s", each.end - each.begin}};
      interval["from_time"] = jsonMoment(report.format, each.begin);
      interval["is_complete"] = each.isComplete;
      interval["window_count"] = each.windows;
      interval["windows_flagged"] = each.flagged;
      interval["frequency_hz"] = each.mean ? Json(each.mean->place.frequency) : Json();
      interval["mean"] = each.mean ? jsonFigures(report, *each.mean) : Json();
      intervals.push_back(std::move(interval));
    }
    aggregates.push_back({{"interval", nameOf(some.kind)}, {"intervals", std::move(intervals)}});
  }
  return aggregates;
}

}  // namespace kxhost
