// kxhost combustion: cylinder pressure over the crank angle, cycle by cycle.
#include <filesystem>
#include <functional>
#include <iostream>

#include "analysis/combustion/cycle_analysis.hpp"
#include "analysis/combustion/engine_simulation.hpp"
#include "analysis/combustion/pressure_cycles.hpp"
#include "host/commands/combustion_options.hpp"
#include "host/commands/command.hpp"
#include "host/commands/outputs.hpp"
#include "host/pictures/combustion_pictures.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/required.hpp"
#include "host/reports/table.hpp"
#include "recordings/pressure_table.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

std::string figure(std::optional<double> number) {
  constexpr int digits = 6;
  return cell(number, digits);
}

/// A figure of the heat release, where the charge burns.
template <class Figure>
std::optional<double> ofBurn(const CycleFigures& cycle, Figure figure) {
  return cycle.burn ? std::optional<double>(std::invoke(figure, *cycle.burn)) : std::nullopt;
}

/// One figure of all cycles that have it.
struct Quantity {
  const char* title;
  const char* name;  // in JSON
  Spread spread;
};

template <class Figure>
Spread spreadOver(const std::vector<CycleFigures>& cycles, Figure figure) {
  std::vector<double> present;
  for (const CycleFigures& cycle : cycles) {
    if (const std::optional<double> value = figure(cycle)) {
      present.push_back(*value);
    }
  }
  return spreadOf(present);
}

std::vector<Quantity> quantitiesOf(const std::vector<CycleFigures>& cycles) {
  return {
      {"Zero level/bar", "zero_level_bar", spreadOver(cycles, [](const auto& c) { return std::optional(c.offset); })},
      {"Peak pressure/bar", "peak_pressure_bar", spreadOver(cycles, [](const auto& c) { return c.peak; })},
      {"Peak at/deg", "peak_pressure_angle_deg", spreadOver(cycles, [](const auto& c) { return c.peakAngle; })},
      {"Gross IMEP/bar", "gross_imep_bar",
       spreadOver(cycles, [](const auto& c) { return std::optional(c.meanEffectivePressure); })},
      {"Net IMEP/bar", "net_imep_bar", spreadOver(cycles, [](const auto& c) { return c.netMeanEffectivePressure; })},
      {"Steepest rise/(bar/deg)", "steepest_rise_bar_per_deg",
       spreadOver(cycles, [](const auto& c) { return std::optional(c.rise.steepness); })},
      {"Rise at/deg", "steepest_rise_angle_deg",
       spreadOver(cycles, [](const auto& c) { return std::optional(c.rise.angle); })},
      {"Heat/J", "heat_release_j", spreadOver(cycles, [](const auto& c) { return ofBurn(c, &HeatRelease::heat); })},
      {"CA10/deg", "ca10_deg", spreadOver(cycles, [](const auto& c) { return ofBurn(c, &HeatRelease::angle10); })},
      {"CA50/deg", "ca50_deg", spreadOver(cycles, [](const auto& c) { return ofBurn(c, &HeatRelease::angle50); })},
      {"CA90/deg", "ca90_deg", spreadOver(cycles, [](const auto& c) { return ofBurn(c, &HeatRelease::angle90); })},
      {"Burn/deg", "burn_duration_deg",
       spreadOver(cycles, [](const auto& c) { return ofBurn(c, &HeatRelease::duration); })},
  };
}

void printCycles(const std::vector<CycleFigures>& cycles) {
  Table table({"Cycle", "Zero level/bar", "Peak pressure/bar", "Peak at/deg", "Gross IMEP/bar", "Net IMEP/bar",
               "Steepest rise/(bar/deg)", "Rise at/deg", "Heat/J", "CA10/deg", "CA50/deg", "CA90/deg", "Burn/deg"});
  for (size_t i = 0; i < cycles.size(); ++i) {
    const CycleFigures& cycle = cycles[i];
    table.add({std::to_string(i + 1), figure(cycle.offset), figure(cycle.peak), figure(cycle.peakAngle),
               figure(cycle.meanEffectivePressure), figure(cycle.netMeanEffectivePressure),
               figure(cycle.rise.steepness), figure(cycle.rise.angle), figure(ofBurn(cycle, &HeatRelease::heat)),
               figure(ofBurn(cycle, &HeatRelease::angle10)), figure(ofBurn(cycle, &HeatRelease::angle50)),
               figure(ofBurn(cycle, &HeatRelease::angle90)), figure(ofBurn(cycle, &HeatRelease::duration))});
  }
  table.print(std::cout);
}

void printOverall(const std::vector<CycleFigures>& cycles) {
  Table table(
      {Table::text("All cycles"), "Mean", "Minimum", "Maximum", "Standard deviation", "Coefficient of variation/%"});
  for (const Quantity& quantity : quantitiesOf(cycles)) {
    const Spread& spread = quantity.spread;
    const auto orNone = [&](double number) { return figure(spread.count > 0 ? std::optional(number) : std::nullopt); };
    const bool hasZero = std::string_view(quantity.name).find("pressure_bar") != std::string_view::npos ||
                         std::string_view(quantity.name).find("imep") != std::string_view::npos ||
                         std::string_view(quantity.name).find("heat") != std::string_view::npos;
    table.add({quantity.title, orNone(spread.mean), orNone(spread.minimum), orNone(spread.maximum),
               figure(spread.deviation), hasZero ? figure(spread.variation()) : ""});
  }
  table.print(std::cout);
}

void printPolytrope(const char* stroke, const std::optional<Polytrope>& polytrope) {
  printTo(std::cout, "Polytropic exponent of the {}: {}\n", stroke,
          polytrope ? fmt::format("{:.6g} (from {:.6g} to {:.6g} deg)", polytrope->exponent, polytrope->window.from,
                                  polytrope->window.to)
                    : "- (no pressures above 0)");
}

void printText(const CombustionOptions& options, const PressureCycles& cycles, const CycleAnalysis& analysis,
               const std::vector<CycleFigures>& figures) {
  const CycleFigures& last = figures.back();
  const Statistics<float>& statistics = analysis.statistics();
  printCycles(figures);
  std::cout << '\n';
  printOverall(figures);
  printTo(std::cout,
          "\nCycles: {} of {} samples, {:.6g} deg apart\n"
          "Displacement: {:.6g} cm3, clearance {:.6g} cm3\n"
          "Smoothed pressure: minimum {:.6g} bar, maximum {:.6g} bar, average {:.6g} bar, RMS {:.6g} bar\n"
          "Peak of the average cycle: {} bar, of the average of the last {}: {:.6g} bar\n",
          cycles.count(), cycles.angles.size(), cycles.step(), options.engine.displacement(),
          options.engine.clearance(), statistics.minimum(), statistics.maximum(), statistics.average(),
          std::sqrt(statistics.meanSquare()), figure(last.averagePeak), analysis.windowedCycles(), last.windowedPeak);
  printPolytrope("compression", analysis.compression());
  printPolytrope("expansion", analysis.expansion());
}

Json jsonOf(const std::vector<CycleFigures>& figures) {
  auto cycles = Json::array();
  for (const CycleFigures& cycle : figures) {
    cycles.push_back({{"zero_level_bar", cycle.offset},
                      {"peak_pressure_bar", jsonNumber(cycle.peak)},
                      {"peak_pressure_angle_deg", jsonNumber(cycle.peakAngle)},
                      {"gross_imep_bar", cycle.meanEffectivePressure},
                      {"net_imep_bar", jsonNumber(cycle.netMeanEffectivePressure)},
                      {"steepest_rise_bar_per_deg", cycle.rise.steepness},
                      {"steepest_rise_angle_deg", cycle.rise.angle},
                      {"heat_release_j", jsonNumber(ofBurn(cycle, &HeatRelease::heat))},
                      {"ca10_deg", jsonNumber(ofBurn(cycle, &HeatRelease::angle10))},
                      {"ca50_deg", jsonNumber(ofBurn(cycle, &HeatRelease::angle50))},
                      {"ca90_deg", jsonNumber(ofBurn(cycle, &HeatRelease::angle90))},
                      {"burn_duration_deg", jsonNumber(ofBurn(cycle, &HeatRelease::duration))},
                      {"average_peak_pressure_bar", jsonNumber(cycle.averagePeak)},
                      {"windowed_peak_pressure_bar", cycle.windowedPeak}});
  }
  return cycles;
}

Json jsonOf(const Spread& spread) {
  const auto orNull = [&](double number) {
    return jsonNumber(spread.count > 0 ? std::optional(number) : std::nullopt);
  };
  return {{"mean", orNull(spread.mean)},
          {"minimum", orNull(spread.minimum)},
          {"maximum", orNull(spread.maximum)},
          {"standard_deviation", jsonNumber(spread.deviation)},
          {"variation_percent", jsonNumber(spread.variation())}};
}

Json exponentOf(const std::optional<Polytrope>& polytrope) {
  return jsonNumber(polytrope ? std::optional(polytrope->exponent) : std::nullopt);
}

Json jsonOf(const CombustionOptions& options, const PressureCycles& cycles, const CycleAnalysis& analysis,
            const std::vector<CycleFigures>& figures) {
  const Statistics<float>& statistics = analysis.statistics();
  Json overall;
  for (const Quantity& quantity : quantitiesOf(figures)) {
    overall[quantity.name] = jsonOf(quantity.spread);
  }
  return {{"file", options.source()},
          {"samples_per_cycle", cycles.angles.size()},
          {"step_deg", cycles.step()},
          {"displacement_cm3", options.engine.displacement()},
          {"clearance_cm3", options.engine.clearance()},
          {"cycles", jsonOf(figures)},
          {"overall", std::move(overall)},
          {"windowed_cycles", analysis.windowedCycles()},
          {"smoothed_pressure_bar",
           {{"minimum", statistics.minimum()},
            {"maximum", statistics.maximum()},
            {"average", statistics.average()},
            {"rms", std::sqrt(statistics.meanSquare())}}},
          {"compression_exponent", exponentOf(analysis.compression())},
          {"expansion_exponent", exponentOf(analysis.expansion())}};
}

/// The four pictures, begun before the work.
struct Pictures {
  explicit Pictures(const std::string& name)
      : pressures(pictureFile(name, "pressure")),
        linear(pictureFile(name, "pv")),
        logarithmic(pictureFile(name, "pv-log")),
        trend(pictureFile(name, "trend")) {}

  void draw(const Functions& functions, const std::string& title, const CycleAnalysis& analysis,
            const std::vector<CycleFigures>& figures) const {
    drawPressures(pressures, title, analysis, figures.back());
    drawPressureVolume(functions, linear, title, analysis, AxisScale::linear);
    drawPressureVolume(functions, logarithmic, title, analysis, AxisScale::logarithmic);
    drawTrend(trend, title, analysis, figures);
  }

  OutputFile pressures, linear, logarithmic, trend;
};

std::string titleOf(const CombustionOptions& options, const PressureCycles& cycles) {
  const std::string source = options.simulate ? "simulated" : std::filesystem::path(options.file).filename().string();
  return fmt::format("{} ({} {} of {} samples)", source, cycles.count(), cycles.count() == 1 ? "cycle" : "cycles",
                     cycles.angles.size());
}

CutCycles cyclesFor(const CombustionOptions& options) {
  if (options.simulate) {
    return {required(simulate(options.engine, options.simulation), options.source())};
  }
  PressureTable table = readPressureTable(options.file, options.input, mostPressures);
  printNotes(options.file, table.notes);
  if (!table.problem.empty()) {
    required(checkedAngles(table.angles), options.file);  // a bad row before that one
    throw FileError(table.problem);
  }
  return required(cyclesOf(std::move(table.angles), table.pressures, table.columns, options.topDeadCentre),
                  options.file);
}

int runCombustion(const Functions& functions, const CombustionOptions& options) {
  noteInput(options.file);
  std::optional<Pictures> pictures;
  std::optional<OutputFile> output;
  if (!options.picture.empty()) {
    pictures.emplace(options.picture);
  }
  if (!options.output.empty()) {
    output.emplace(options.output);
  }
  const CutCycles cut = cyclesFor(options);
  const PressureCycles& cycles = cut.cycles;
  CycleAnalysis analysis =
      required(CycleAnalysis::create(functions, options.engine, options.analysis, cycles.angles), options.source());
  std::vector<CycleFigures> figures;
  for (size_t i = 0; i < cycles.count(); ++i) {
    figures.push_back(analysis.feed(cycles.cycle(i)));
  }
  const int code = finishOutputs([&] {
    if (output) {
      writePressureTable(*output, cycles.angles, cycles.samples);
    }
    if (pictures) {
      pictures->draw(functions, titleOf(options, cycles), analysis, figures);
    }
  });
  if (cut.leftOut > 0) {
    printNotes(options.file,
               {fmt::format("{} samples outside of the {} complete cycles are left out", cut.leftOut, cycles.count())});
  }
  if (options.json) {
    printJson(jsonOf(options, cycles, analysis, figures));
  } else {
    printText(options, cycles, analysis, figures);
  }
  return code;
}

}  // namespace

void addCombustionCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<CombustionOptions>();
  CLI::App& command =
      *program.add_subcommand("combustion", "Combustion analysis of cylinder pressure over the crank angle");
  addCombustionOptions(command, *options);
  command.callback([options, &chosen] {
    options->requireSense();
    options->simulation.intakePressure = options->analysis.intakePressure;
    chosen = [options](const Functions& functions) { return runCombustion(functions, *options); };
  });
}

}  // namespace kxhost
