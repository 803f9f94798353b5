// The report for programs.
#include <cmath>
#include <utility>

#include "host/reports/power_aggregates.hpp"
#include "host/reports/power_report.hpp"
#include "host/reports/recording_times.hpp"

namespace kxhost {
namespace {

Json jsonPercent(std::optional<double> ratio) {
  return jsonNumber(ratio ? std::optional(100 * *ratio) : std::nullopt);
}

Json jsonSignal(const std::string& name, const SignalFigures& figures) {
  return {{"channel", name},
          {"rms", jsonNumber(figures.rms)},
          {"thd_percent", jsonPercent(figures.distortion())},
          {"thdg_percent", jsonPercent(figures.groupDistortion())},
          {"thds_percent", jsonPercent(figures.subgroupDistortion())},
          {"harmonics_rms", figures.harmonics},
          {"harmonics_deg", figures.angles},
          {"harmonic_groups_rms", figures.groups.harmonic},
          {"harmonic_subgroups_rms", figures.groups.harmonicSubgroups},
          {"interharmonic_groups_rms", figures.groups.interharmonic},
          {"interharmonic_subgroups_rms", figures.groups.interharmonicSubgroups}};
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

Json jsonFrequencies(const PowerReport& report) {
  auto frequencies = Json::array();
  for (const FrequencyInterval& interval : report.frequencies) {
    frequencies.push_back({{"from_s", interval.begin},
                           {"length_s", interval.length},
                           {"frequency_hz", jsonNumber(interval.frequency)},
                           {"is_measured", interval.isMeasured}});
  }
  return frequencies;
}

Json jsonEvents(const PowerReport& report) {
  auto events = Json::array();
  for (const VoltageEvent& event : report.events) {
    events.push_back({{"event", nameOf(event.kind)},
                      {"from_s", event.begin},
                      {"duration_s", event.duration},
                      {"is_over", event.isOver},
                      {"extreme_v", event.extreme},
                      {"percent", 100 * event.ratio},
                      {"channel", report.voltageNames[event.phase]}});
  }
  return events;
}

}  // namespace

Json jsonFigures(const PowerReport& report, const PowerWindow& window) {
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

Json jsonOf(const PowerReport& report) {
  auto windows = Json::array();
  for (const PowerWindow& each : report.windows) {
    Json window{{"from_s", each.place.begin},
                {"length_s", each.place.length},
                {"frequency_hz", each.place.frequency},
                {"flags", namesOf(each.place.flags)},
                {"strongest_hz", strongestFrequency(each, report.cycles)}};
    window.update(jsonFigures(report, each));
    windows.push_back(std::move(window));
  }
  Json json{{"file", report.file},
            {"container", report.format.container},
            {"sample_format", report.format.samples},
            {"sample_rate_hz", report.rate},
            {"nominal_frequency_hz", report.nominal},
            {"frequency_hz", report.frequency()},
            {"frequency_is_measured", report.tally.isMeasured()},
            {"frequencies", jsonFrequencies(report)},
            {"cycles", report.cycles},
            {"window_samples", report.windowLength()},
            {"window_s", report.windowSeconds()},
            {"samples_left_over", report.leftOver},
            {"window_count", report.tally.count()},
            {"windows_flagged", report.tally.flagged()}};
  addTimes(json, report.format);
  json["events"] = jsonEvents(report);
  json["mean"] = jsonFigures(report, report.mean);
  if (!report.aggregates.empty()) {
    json["aggregates"] = jsonAggregates(report);
  }
  if (report.showsDays) {
    json["days"] = jsonDays(report);
  }
  if (report.aggregates.empty() || !report.windows.empty()) {
    json["windows"] = std::move(windows);
  }
  return json;
}

}  // namespace kxhost
