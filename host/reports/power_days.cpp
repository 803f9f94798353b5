// Days of a power analysis: extremes, and what 95 % of the values keep to.
#include <fmt/format.h>

#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "analysis/number_text.hpp"
#include "analysis/statistics/value_range.hpp"
#include "host/reports/power_aggregates.hpp"
#include "host/reports/power_cells.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

/// A figure of a window, its names for people ("U1/V") and for programs, and the channel that it is of, if one.
struct DayFigure {
  std::string title, key, unit, channel;
  std::function<std::optional<double>(const PowerWindow&)> value;
};

struct Day {
  std::vector<const PowerWindow*> values;
  std::vector<double> frequencies;
};

std::optional<double> percentOf(std::optional<double> ratio) {
  return ratio ? std::optional(100 * *ratio) : std::nullopt;
}

void addSignals(std::vector<DayFigure>& figures, const PowerReport& report, SignalFigures PhaseFigures::*signal) {
  const bool isVoltage = signal == &PhaseFigures::voltage;
  const std::string unit = isVoltage ? "V" : "A", word = isVoltage ? "voltage" : "current";
  const auto& names = isVoltage ? report.voltageNames : report.currentNames;
  for (size_t i = 0; i < names.size(); ++i) {
    const std::string letter = fmt::format("{}{}", isVoltage ? 'U' : 'I', i + 1);
    figures.push_back({fmt::format("{}/{}", letter, unit), word + "_rms", unit, names[i],
                       [=](const PowerWindow& w) { return std::optional((w.phases[i].*signal).rms); }});
    figures.push_back({"THD " + letter + "/%", word + "_thd", "%", names[i],
                       [=](const PowerWindow& w) { return percentOf((w.phases[i].*signal).distortion()); }});
    figures.push_back({"THDS " + letter + "/%", word + "_thds", "%", names[i],
                       [=](const PowerWindow& w) { return percentOf((w.phases[i].*signal).subgroupDistortion()); }});
  }
}

std::vector<DayFigure> figuresOf(const PowerReport& report) {
  std::vector<DayFigure> figures;
  addSignals(figures, report, &PhaseFigures::voltage);
  addSignals(figures, report, &PhaseFigures::current);
  figures.push_back({"P/W", "active", "W", "", [](const PowerWindow& w) { return std::optional(w.total().active); }});
  figures.push_back(
      {"Q/var", "reactive", "var", "", [](const PowerWindow& w) { return std::optional(w.total().reactive); }});
  figures.push_back(
      {"S/VA", "apparent", "VA", "", [](const PowerWindow& w) { return std::optional(w.total().apparent); }});
  figures.push_back({"PF", "factor", "", "", [](const PowerWindow& w) { return w.total().factor(); }});
  if (report.mean.voltageSequence) {
    figures.push_back({"u2/%", "voltage_negative_sequence", "%", "",
                       [](const PowerWindow& w) { return std::optional<double>(w.voltageSequence->negativeRatio); }});
    figures.push_back({"u0/%", "voltage_zero_sequence", "%", "",
                       [](const PowerWindow& w) { return std::optional<double>(w.voltageSequence->zeroRatio); }});
  }
  return figures;
}

/// By the number of the day, that of the first sample being 0.
std::map<int, Day> daysOf(const PowerReport& report) {
  const auto dayOf = [&](double begin, double length) { return numberOfDay(report.format, begin + length / 2); };
  std::map<int, Day> days;
  for (const PowerIntervals& some : report.aggregates) {
    for (const PowerAggregate& each : some.intervals) {
      if (some.kind == AggregationInterval::minutes10 && each.isComplete && each.mean) {
        days[dayOf(each.begin, each.end - each.begin)].values.push_back(&*each.mean);
      }
    }
  }
  for (const FrequencyInterval& interval : report.frequencies) {
    const auto day = days.find(dayOf(interval.begin, interval.length));
    if (day != days.end() && interval.isMeasured) {
      day->second.frequencies.push_back(interval.frequency);
    }
  }
  return days;
}

std::optional<ValueRange> rangeOf(const DayFigure& figure, const Day& day) {
  std::vector<double> values;
  for (const PowerWindow* window : day.values) {
    values.push_back(figure.value(*window).value_or(std::numeric_limits<double>::quiet_NaN()));
  }
  return kxanalysis::rangeOf(std::move(values));
}

}  // namespace

void printDays(std::ostream& out, const PowerReport& report) {
  const auto days = daysOf(report);
  if (days.empty()) {
    out << "\nNo day holds ten minutes with values\n";
  }
  for (const auto& [number, day] : days) {
    Table table({Table::text("Figure"), "Values", "Minimum", "5 %", "95 %", "Maximum"});
    const auto add = [&](const std::string& title, const std::optional<ValueRange>& range) {
      std::vector<std::string> row{title, std::to_string(range ? range->count : 0)};
      for (const auto value :
           {&ValueRange::minimum, &ValueRange::percent5, &ValueRange::percent95, &ValueRange::maximum}) {
        row.push_back(figure(range ? std::optional(*range.*value) : std::nullopt));
      }
      table.add(std::move(row));
    };
    add("f/Hz", kxanalysis::rangeOf(day.frequencies));
    for (const DayFigure& each : figuresOf(report)) {
      add(each.title, rangeOf(each, day));
    }
    const double begin = beginOfDay(report.format, number);
    const std::string from = momentText(report.format, begin).value_or(numberText(begin, powerDigits) + " s");
    printTo(out, "\nDay from {}: values of 10 minutes, of the frequency over 10 s\n", from);
    table.print(out);
  }
}

Json jsonDays(const PowerReport& report) {
  auto days = Json::array();
  for (const auto& [number, day] : daysOf(report)) {
    auto figures = Json::array();
    const auto add = [&](const DayFigure& figure, const std::optional<ValueRange>& range) {
      Json json{{"figure", figure.key}, {"unit", figure.unit}, {"value_count", range ? range->count : 0}};
      json["channel"] = figure.channel.empty() ? Json() : Json(figure.channel);
      for (const auto& [word, value] : {std::pair("minimum", &ValueRange::minimum),
                                        {"percentile_5", &ValueRange::percent5},
                                        {"percentile_95", &ValueRange::percent95},
                                        {"maximum", &ValueRange::maximum}}) {
        json[word] = jsonNumber(range ? std::optional(*range.*value) : std::nullopt);
      }
      figures.push_back(std::move(json));
    };
    add({"f/Hz", "frequency", "Hz", "", {}}, kxanalysis::rangeOf(day.frequencies));
    for (const DayFigure& each : figuresOf(report)) {
      add(each, rangeOf(each, day));
    }
    const double begin = beginOfDay(report.format, number);
    Json json{{"from_s", begin}};
    json["from_time"] = jsonMoment(report.format, begin);
    json["figures"] = std::move(figures);
    days.push_back(std::move(json));
  }
  return days;
}

}  // namespace kxhost
