#include "host/reports/flicker_report.hpp"

#include <iostream>

#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "host/reports/table.hpp"

namespace kxhost {

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

void printTable(const FlickerResult& result) {
  constexpr int figureDigits = 5, timeDigits = 10;
  const std::string period = fmt::format("{:.5g} s", result.secondsOf(result.period));
  printTo(std::cout, "{}, channel {}, {:.10g} Hz: lamp and mains of {}, settled for {:.5g} s, Pst over {}\n\n",
          result.file, result.channel, result.rate, settingText(result.setting), result.secondsOf(result.settling),
          period);
  Table table({"From/s", "To/s", "Pst", "P0.1", "P1s", "P3s", "P10s", "P50s", "Largest"});
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const Severity severity = severityOf(result.periods[i].classes);
    std::vector<std::string> row{cell(result.beginOf(i), timeDigits), cell(result.beginOf(i + 1), timeDigits)};
    for (const double figure : {severity.shortTerm, severity.p01, severity.p1s, severity.p3s, severity.p10s,
                                severity.p50s, result.periods[i].largest}) {
      row.push_back(cell(figure, figureDigits));
    }
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
}

Json jsonOf(const FlickerResult& result) {
  auto periods = Json::array();
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const Severity severity = severityOf(result.periods[i].classes);
    periods.push_back({{"from_s", result.beginOf(i)},
                       {"length_s", result.secondsOf(result.period)},
                       {"pst", severity.shortTerm},
                       {"p0_1", severity.p01},
                       {"p1s", severity.p1s},
                       {"p3s", severity.p3s},
                       {"p10s", severity.p10s},
                       {"p50s", severity.p50s},
                       {"largest_sensation", result.periods[i].largest}});
  }
  return {{"file", result.file},
          {"channel", result.channel},
          {"sample_rate_hz", result.rate},
          {"samples", result.samples},
          {"lamp_v", nominalVoltage(result.setting.lamp)},
          {"nominal_frequency_hz", result.setting.mains},
          {"settling_s", result.secondsOf(result.settling)},
          {"period_s", result.secondsOf(result.period)},
          {"periods", std::move(periods)},
          {"plt", result.longTermSeverities()}};
}

}  // namespace kxhost
