// The report for programs.
#include <cmath>
#include <utility>

#include "host/reports/power_report.hpp"
#include "host/reports/recording_times.hpp"

namespace kxhost {
namespace {

Json jsonSignal(const std::string& name, const SignalFigures& figures) {
  const auto ratio = figures.distortion();
  return {{"channel", name},
          {"rms", jsonNumber(figures.rms)},
          {"thd_percent", jsonNumber(ratio ? std::optional(100 * *ratio) : std::nullopt)},
          {"harmonics_rms", figures.harmonics},
          {"harmonics_degrees", figures.angles}};
}

Json jsonPower(const PowerFigures& power) {
  return {{"active_w", jsonNumber(power.active)},
          {"reactive_var", jsonNumber(power.reactive)},
          {"apparent_va", jsonNumber(power.apparent)},
          {"factor", jsonNumber(power.factor())}};
}

Json jsonSequences(const SequenceFigures& figures) {
  return {{"positive", figures.positive},
          {"negative", figures.negative},
          {"zero", figures.zero},
          {"negative_percent", figures.negativeRatio},
          {"zero_percent", figures.zeroRatio}};
}

Json jsonWindow(const PowerReport& report, const PowerWindow& window) {
  Json json, phases = Json::array();
  for (size_t i = 0; i < window.phases.size(); ++i) {
    const PhaseFigures& phase = window.phases[i];
    phases.push_back({{"voltage_v", jsonSignal(report.voltageNames[i], phase.voltage)},
                      {"current_a", jsonSignal(report.currentNames[i], phase.current)},
                      {"power", jsonPower(phase.power)}});
  }
  json["phases"] = std::move(phases);
  json["total"] = jsonPower(window.total());
  if (window.voltageSequence) {
    json["voltage_sequences_v"] = jsonSequences(*window.voltageSequence);
    json["current_sequences_a"] = jsonSequences(*window.currentSequence);
  }
  return json;
}

}  // namespace

Json jsonOf(const PowerReport& report) {
  auto windows = Json::array();
  for (size_t i = 0; i < report.windows.size(); ++i) {
    Json window{{"from_s", static_cast<double>(i) * report.windowSeconds()},
                {"strongest_hz", static_cast<double>(report.windows[i].strongestBin) * report.binWidth()}};
    window.update(jsonWindow(report, report.windows[i]));
    windows.push_back(std::move(window));
  }
  Json json{{"file", report.file},
            {"container", report.format.container},
            {"sample_format", report.format.samples},
            {"sample_rate_hz", report.settings.rate},
            {"frequency_hz", report.settings.frequency},
            {"cycles", report.settings.cycles},
            {"window_samples", report.windowLength},
            {"window_s", report.windowSeconds()},
            {"samples_left_over", report.leftOver}};
  addTimes(json, report.format);
  json["mean"] = jsonWindow(report, meanOf(report.windows));
  json["windows"] = std::move(windows);
  return json;
}

}  // namespace kxhost
