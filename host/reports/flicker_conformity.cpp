#include "host/reports/flicker_conformity.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
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

std::vector<FlickerStandardPoint> pointsOf(const FlickerSelfTest& test) {
  std::vector<FlickerStandardPoint> points;
  for (const FlickerSeries part : {FlickerSeries::severity, FlickerSeries::sinusoidal, FlickerSeries::rectangular}) {
    for (const Lamp lamp : {Lamp::volts230, Lamp::volts120}) {
      if ((test.part == "all" || test.part == nameOf(part)) && lamp == test.lamp.value_or(lamp)) {
        const auto some = flickerStandardPoints(part, lamp);
        points.insert(points.end(), some.begin(), some.end());
      }
    }
  }
  return points;
}

std::string modulationText(const FlickerStandardPoint& point) {
  const char* const unit = point.series == FlickerSeries::severity ? " changes/min" : " Hz";
  return numberText(point.modulation, figureDigits) + unit;
}

std::string percentText(double percent) {
  const std::string sign = percent > 0 ? "+" : "";
  constexpr double hundredth = 0.01;
  return sign + numberText(std::round(percent / hundredth) / (1 / hundredth), figureDigits) + " %";
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

void printTable(const std::vector<Row>& rows) {
  Table table({{"Changes", false},
               {"Lamp", false},
               {"Modulation", true},
               {"dU/U", true},
               {"Figure", false},
               {"Measured", true},
               {"Required", true},
               {"Deviation", true},
               {"Allowed", true},
               {"Result", false}});
  for (const Row& row : rows) {
    const bool isSeverity = row.point.series == FlickerSeries::severity;
    table.add({isSeverity ? "rectangular" : nameOf(row.point.series), settingText(nominalSetting(row.point.lamp)),
               modulationText(row.point), numberText(row.point.change, figureDigits) + " %",
               isSeverity ? "Pst" : "largest sensation", numberText(row.measured, figureDigits), "1",
               percentText(row.deviation), numberText(row.tolerance, figureDigits) + " %",
               row.passes() ? "pass" : "FAIL"});
  }
  table.print(std::cout);
}

void printJson(const std::vector<Row>& rows, double rate, bool passes) {
  auto points = nlohmann::ordered_json::array();
  for (const Row& row : rows) {
    const char* const modulation = row.point.series == FlickerSeries::severity ? "changes_per_minute" : "modulation_hz";
    points.push_back({{"test", nameOf(row.point.series)},
                      {"lamp_volts", nominalVoltage(row.point.lamp)},
                      {"mains_hz", nominalSetting(row.point.lamp).mains},
                      {modulation, row.point.modulation},
                      {"change_percent", row.point.change},
                      {"measured", row.measured},
                      {"required", 1},
                      {"deviation_percent", row.deviation},
                      {"allowed_percent", row.tolerance},
                      {"passes", row.passes()}});
  }
  const nlohmann::ordered_json result{{"sample_rate", rate}, {"passes", passes}, {"points", std::move(points)}};
  std::cout << result.dump(2) << '\n';
}

}  // namespace

bool testFlickermeter(const Functions& functions, const FlickerSelfTest& test) {
  const std::vector<FlickerStandardPoint> points = pointsOf(test);
  const std::vector<double> measured = measure(functions, points, test.rate);
  std::vector<Row> rows;
  for (size_t i = 0; i < points.size(); ++i) {
    rows.push_back({points[i], measured[i], 100 * (measured[i] - 1), test.tolerance.value_or(points[i].tolerance())});
  }
  const auto failures = std::ranges::count_if(rows, [](const Row& row) { return !row.passes(); });
  if (test.json) {
    printJson(rows, test.rate, failures == 0);
  } else {
    printTable(rows);
    const Row& worst =
        *std::ranges::max_element(rows, {}, [](const Row& row) { return std::abs(row.deviation) / row.tolerance; });
    std::cout << '\n'
              << rows.size() << " test points at " << numberText(test.rate, allDigits) << " Hz, " << failures
              << " outside of what is allowed. The largest deviation of what is allowed: "
              << percentText(worst.deviation) << " of " << numberText(worst.tolerance, figureDigits) << " %, at "
              << modulationText(worst.point) << " (" << nameOf(worst.point.series) << ", "
              << settingText(nominalSetting(worst.point.lamp)) << ")\n";
  }
  return failures == 0;
}

}  // namespace kxhost
