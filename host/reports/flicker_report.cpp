#include "host/reports/flicker_report.hpp"

#include <iostream>
#include <nlohmann/json.hpp>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

constexpr int figureDigits = 5, timeDigits = 10;

}  // namespace

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
  const auto text = [](double number) { return numberText(number, figureDigits); };
  const std::string period = text(result.secondsOf(result.period)) + " s";
  std::cout << result.file << ", channel " << result.channel << ", " << numberText(result.rate, timeDigits)
            << " Hz: lamp and mains of " << settingText(result.setting) << ", settled for "
            << text(result.secondsOf(result.settling)) << " s, Pst over " << period << "\n\n";
  Table table({{"From/s", true},
               {"To/s", true},
               {"Pst", true},
               {"P0.1", true},
               {"P1s", true},
               {"P3s", true},
               {"P10s", true},
               {"P50s", true},
               {"Largest", true}});
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const Severity severity = severityOf(result.periods[i].classes);
    table.add({numberText(result.beginOf(i), timeDigits), numberText(result.beginOf(i + 1), timeDigits),
               text(severity.shortTerm), text(severity.p01), text(severity.p1s), text(severity.p3s),
               text(severity.p10s), text(severity.p50s), text(result.periods[i].largest)});
  }
  table.print(std::cout);
  std::cout << "\nP... and Largest: instantaneous sensation, in units of the threshold of perception\n";
  const std::vector<double> longTerm = result.longTermSeverities();
  for (size_t i = 0; i < longTerm.size(); ++i) {
    std::cout << "Plt " << text(longTerm[i]) << ", from " << numberText(result.beginOf(i * longTermPeriods), timeDigits)
              << " s to " << numberText(result.beginOf((i + 1) * longTermPeriods), timeDigits)
              << " s: " << longTermPeriods << " periods of " << period << '\n';
  }
  if (const double rest = result.secondsOf(result.samples) - result.beginOf(result.periods.size()); rest > 0) {
    std::cout << "The last " << text(rest) << " s are no full period and do not count\n";
  }
}

void printJson(const FlickerResult& result) {
  auto periods = nlohmann::ordered_json::array();
  for (size_t i = 0; i < result.periods.size(); ++i) {
    const Severity severity = severityOf(result.periods[i].classes);
    periods.push_back({{"from", result.beginOf(i)},
                       {"to", result.beginOf(i + 1)},
                       {"pst", severity.shortTerm},
                       {"p0.1", severity.p01},
                       {"p1s", severity.p1s},
                       {"p3s", severity.p3s},
                       {"p10s", severity.p10s},
                       {"p50s", severity.p50s},
                       {"largest_sensation", result.periods[i].largest}});
  }
  const nlohmann::ordered_json json{{"file", result.file},
                                    {"channel", result.channel},
                                    {"sample_rate", result.rate},
                                    {"samples", result.samples},
                                    {"lamp_volts", nominalVoltage(result.setting.lamp)},
                                    {"mains_hz", result.setting.mains},
                                    {"settling", result.secondsOf(result.settling)},
                                    {"period", result.secondsOf(result.period)},
                                    {"periods", std::move(periods)},
                                    {"plt", result.longTermSeverities()}};
  std::cout << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace kxhost
