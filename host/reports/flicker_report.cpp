#include "host/reports/flicker_report.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <utility>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/power_tally.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"

namespace kxhost {

void FlickerResult::addFlags(const WindowPlace& cycle) {
  const double end = cycle.begin + cycle.length, settled = std::max(0.0, cycle.begin - beginOf(0));
  for (auto i = static_cast<size_t>(settled / secondsOf(period)); beginOf(i) < end; ++i) {
    flags.resize(std::max(flags.size(), i + 1));
    flags[i] = flags[i] | cycle.flags;
  }
}

std::vector<double> FlickerResult::longTermSeverities() const {
  std::vector<double> severities, dozen;
  for (const FlickerPeriod& each : periods) {
    dozen.push_back(severityOf(each.classes).shortTerm);
    if (dozen.size() == longTermPeriods) {
      severities.push_back(longTermSeverity(dozen));
      dozen.clear();
    }
  }
  return severities;
}

std::vector<FlickerDay> FlickerResult::days() const {
  std::map<int, std::pair<std::vector<double>, std::vector<double>>> severities;  // by the number of the day
  const auto dayOf = [&](size_t from, size_t to) { return numberOfDay(format, (beginOf(from) + beginOf(to)) / 2); };
  for (size_t i = 0; i < periods.size(); ++i) {
    severities[dayOf(i, i + 1)].first.push_back(severityOf(periods[i].classes).shortTerm);
  }
  const std::vector<double> longTerm = longTermSeverities();
  for (size_t i = 0; i < longTerm.size(); ++i) {
    severities[dayOf(i * longTermPeriods, (i + 1) * longTermPeriods)].second.push_back(longTerm[i]);
  }
  std::vector<FlickerDay> days;
  for (const auto& [number, some] : severities) {
    if (some.first.size() >= longTermPeriods) {
      days.push_back({beginOfDay(format, number), *rangeOf(some.first), rangeOf(some.second).value_or(ValueRange{})});
    }
  }
  return days;
}

namespace {

constexpr int figureDigits = 5, timeDigits = 10;

void printDays(const FlickerResult& result) {
  for (const FlickerDay& day : result.days()) {
    printTo(std::cout, "\nDay from {}\n",
            momentText(result.format, day.begin).value_or(numberText(day.begin, timeDigits) + " s"));
    Table table({Table::text("Severity"), "Values", "Minimum", "5 %", "95 %", "Maximum"});
    for (const auto& [name, range] : {std::pair("Pst", &day.shortTerm), {"Plt", &day.longTerm}}) {
      if (range->count > 0) {
        table.add({name, std::to_string(range->count), cell(range->minimum, figureDigits),
                   cell(range->percent5, figureDigits), cell(range->percent95, figureDigits),
                   cell(range->maximum, figureDigits)});
      }
    }
    table.print(std::cout);
  }
}

Json jsonRange(const ValueRange& range) {
  return {{"value_count", range.count},
          {"minimum", range.minimum},
          {"percentile_5", range.percent5},
          {"percentile_95", range.percent95},
          {"maximum", range.maximum}};
}

Json jsonDays(const FlickerResult& result) {
  auto days = Json::array();
  for (const FlickerDay& day : result.days()) {
    Json json{{"from_s", day.begin}, {"from_time", jsonMoment(result.format, day.begin)}};
    json["pst"] = jsonRange(day.shortTerm);
    json["plt"] = day.longTerm.count > 0 ? jsonRange(day.longTerm) : Json();
    days.push_back(std::move(json));
  }
  return days;
}

}  // namespace

void printTable(const FlickerResult& result) {
  const std::string period = fmt::format("{:.5g} s", result.secondsOf(result.period));
  printTo(std::cout, "{}, channel {}, {:.10g} Hz: lamp and mains of {}, settled for {:.5g} s, Pst over {}\n\n",
          result.file, result.channel, result.rate, settingText(result.setting), result.secondsOf(result.settling),
          period);
  Table table({"From/s", "To/s", "Pst", "P0.1", "P1s", "P3s", "P10s", "P50s", "Largest", Table::text("Flags")});
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const Severity severity = severityOf(result.periods[i].classes);
    std::vector<std::string> row{cell(result.beginOf(i), timeDigits), cell(result.beginOf(i + 1), timeDigits)};
    for (const double figure : {severity.shortTerm, severity.p01, severity.p1s, severity.p3s, severity.p10s,
                                severity.p50s, result.periods[i].largest}) {
      row.push_back(cell(figure, figureDigits));
    }
    row.push_back(fmt::format("{}", fmt::join(namesOf(result.flagsOf(i)), ", ")));
    table.add(std::move(row));
  }
  table.print(std::cout);
  printTo(std::cout, "\nP... and Largest: instantaneous sensation, in units of the threshold of perception\n");
  const std::vector<double> longTerm = result.longTermSeverities();
  for (size_t i = 0; i < longTerm.size(); ++i) {
    printTo(std::cout, "Plt {:.5g}, from {:.10g} s to {:.10g} s: {} periods of {}\n", longTerm[i],
            result.beginOf(i * longTermPeriods), result.beginOf((i + 1) * longTermPeriods), longTermPeriods, period);
  }
  if (const double rest = result.secondsOf(result.samples) - result.beginOf(result.periods.size()); rest > 0) {
    printTo(std::cout, "The last {:.5g} s are no full period and do not count\n", rest);
  }
  printDays(result);
}

Json jsonOf(const FlickerResult& result) {
  auto periods = Json::array();
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const Severity severity = severityOf(result.periods[i].classes);
    periods.push_back({{"from_s", result.beginOf(i)},
                       {"length_s", result.secondsOf(result.period)},
                       {"from_time", jsonMoment(result.format, result.beginOf(i))},
                       {"flags", namesOf(result.flagsOf(i))},
                       {"pst", severity.shortTerm},
                       {"p0_1", severity.p01},
                       {"p1s", severity.p1s},
                       {"p3s", severity.p3s},
                       {"p10s", severity.p10s},
                       {"p50s", severity.p50s},
                       {"largest_sensation", result.periods[i].largest}});
  }
  Json json{{"file", result.file},
            {"container", result.format.container},
            {"sample_format", result.format.samples},
            {"channel", result.channel},
            {"sample_rate_hz", result.rate},
            {"samples", result.samples},
            {"lamp_v", nominalVoltage(result.setting.lamp)},
            {"nominal_frequency_hz", result.setting.mains},
            {"settling_s", result.secondsOf(result.settling)},
            {"period_s", result.secondsOf(result.period)}};
  addTimes(json, result.format);
  json["periods"] = std::move(periods);
  json["plt"] = result.longTermSeverities();
  json["days"] = jsonDays(result);
  return json;
}

}  // namespace kxhost
