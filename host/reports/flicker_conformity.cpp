#include "host/reports/flicker_conformity.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <iostream>
#include <thread>
#include <vector>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "host/reports/print.hpp"
#include "host/reports/required.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

constexpr int figureDigits = 5;

struct Row {
  FlickerStandardPoint point;
  double measured;
  double deviation;  // in percent
  double tolerance;

  bool passes() const { return std::abs(deviation) <= tolerance; }
};

const char* nameOf(FlickerSeries series) {
  return series == FlickerSeries::sinusoidal    ? "sinusoidal"
         : series == FlickerSeries::rectangular ? "rectangular"
                                                : "pst";
}

std::vector<FlickerStandardPoint> pointsOf(const FlickerConformityOptions& options) {
  std::vector<FlickerStandardPoint> points;
  for (const FlickerSeries part : {FlickerSeries::severity, FlickerSeries::sinusoidal, FlickerSeries::rectangular}) {
    for (const Lamp lamp : {Lamp::volts230, Lamp::volts120}) {
      if ((options.part == "all" || options.part == nameOf(part)) && lamp == options.lamp.value_or(lamp)) {
        const auto some = flickerStandardPoints(part, lamp);
        points.insert(points.end(), some.begin(), some.end());
      }
    }
  }
  return points;
}

std::string modulationText(const FlickerStandardPoint& point) {
  return fmt::format("{:.5g} {}", point.modulation, point.series == FlickerSeries::severity ? "changes/min" : "Hz");
}

std::string percentText(double percent) {
  constexpr double hundredth = 0.01;
  return fmt::format("{}{:.5g} %", percent > 0 ? "+" : "", std::round(percent / hundredth) / (1 / hundredth));
}

/// What a flickermeter finds at each point. Several points are measured at a time.
std::vector<double> measure(const Functions& functions, const std::vector<FlickerStandardPoint>& points, double rate) {
  std::vector<double> measured(points.size());
  std::atomic<size_t> next = 0;
  const auto work = [&] {
    for (size_t i = next++; i < points.size(); i = next++) {
      measured[i] = required(measureStandardPoint(functions, points[i], rate));
    }
  };
  std::vector<std::future<void>> workers;
  for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
    workers.push_back(std::async(std::launch::async, work));
  }
  for (auto& worker : workers) {
    worker.get();
  }
  return measured;
}

void printRows(const std::vector<Row>& rows) {
  Table table({Table::text("Changes"), Table::text("Lamp"), "Modulation", "dU/U", Table::text("Figure"), "Measured",
               "Required", "Deviation", "Allowed", Table::text("Result")});
  for (const Row& row : rows) {
    const bool isSeverity = row.point.series == FlickerSeries::severity;
    table.add({isSeverity ? "rectangular" : nameOf(row.point.series), settingText(nominalSetting(row.point.lamp)),
               modulationText(row.point), fmt::format("{:.5g} %", row.point.change),
               isSeverity ? "Pst" : "largest sensation", cell(row.measured, figureDigits), "1",
               percentText(row.deviation), fmt::format("{:.5g} %", row.tolerance), row.passes() ? "pass" : "FAIL"});
  }
  table.print(std::cout);
}

void printSummary(const std::vector<Row>& rows, double rate, size_t failures) {
  const Row& worst =
      *std::ranges::max_element(rows, {}, [](const Row& row) { return std::abs(row.deviation) / row.tolerance; });
  printTo(std::cout,
          "\n{} test points at {} Hz, {} outside of what is allowed. The largest deviation of what is allowed: {} "
          "of {:.5g} %, at {} ({}, {})\n",
          rows.size(), numberText(rate, allDigits), failures, percentText(worst.deviation), worst.tolerance,
          modulationText(worst.point), nameOf(worst.point.series), settingText(nominalSetting(worst.point.lamp)));
  printTo(std::cout, "Without points: {} and {} (--mains)\n",
          settingText({Lamp::volts230, nominalSetting(Lamp::volts120).mains}),
          settingText({Lamp::volts120, nominalSetting(Lamp::volts230).mains}));
}

Json jsonOf(const std::vector<Row>& rows, double rate, bool passes) {
  auto points = Json::array();
  for (const Row& row : rows) {
    const char* const modulation = row.point.series == FlickerSeries::severity ? "changes_per_minute" : "modulation_hz";
    points.push_back({{"test", nameOf(row.point.series)},
                      {"lamp_v", nominalVoltage(row.point.lamp)},
                      {"nominal_frequency_hz", nominalSetting(row.point.lamp).mains},
                      {modulation, row.point.modulation},
                      {"change_percent", row.point.change},
                      {"measured", row.measured},
                      {"required", 1},
                      {"deviation_percent", row.deviation},
                      {"allowed_percent", row.tolerance},
                      {"passes", row.passes()}});
  }
  return {{"sample_rate_hz", rate}, {"passes", passes}, {"points", std::move(points)}};
}

}  // namespace

bool reportFlickerConformity(const Functions& functions, const FlickerConformityOptions& options) {
  const std::vector<FlickerStandardPoint> points = pointsOf(options);
  const std::vector<double> measured = measure(functions, points, options.rate);
  std::vector<Row> rows;
  for (size_t i = 0; i < points.size(); ++i) {
    rows.push_back(
        {points[i], measured[i], 100 * (measured[i] - 1), options.tolerance.value_or(points[i].tolerance())});
  }
  const auto failures = static_cast<size_t>(std::ranges::count_if(rows, [](const Row& row) { return !row.passes(); }));
  if (options.json) {
    printJson(jsonOf(rows, options.rate, failures == 0));
  } else {
    printRows(rows);
    printSummary(rows, options.rate, failures);
  }
  return failures == 0;
}

}  // namespace kxhost
