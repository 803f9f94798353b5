// kxhost combustion: cylinder pressure over the crank angle, cycle by cycle.
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "analysis/combustion/cycle_analysis.hpp"
#include "analysis/combustion/engine_simulation.hpp"
#include "analysis/combustion/pressure_cycles.hpp"
#include "analysis/number_text.hpp"
#include "host/commands/combustion_options.hpp"
#include "host/commands/command.hpp"
#include "host/pictures/combustion_plots.hpp"
#include "host/pictures/plot.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/required.hpp"
#include "host/reports/table.hpp"
#include "recordings/pressure_table.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

constexpr int digits = 6;

using Json = nlohmann::ordered_json;

std::string text(std::optional<double> number) {
  return number ? numberText(*number, digits) : "-";
}

Json jsonNumber(std::optional<double> number) {
  return number ? Json(*number) : Json(nullptr);
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
      {"Steepest rise/(bar/deg)", "steepest_rise_bar_per_deg",
       spreadOver(cycles, [](const auto& c) { return std::optional(c.rise.steepness); })},
      {"Rise at/deg", "steepest_rise_angle_deg",
       spreadOver(cycles, [](const auto& c) { return std::optional(c.rise.angle); })},
  };
}

void printCycles(const std::vector<CycleFigures>& cycles) {
  Table table({{"Cycle", true},
               {"Zero level/bar", true},
               {"Peak pressure/bar", true},
               {"Peak at/deg", true},
               {"Gross IMEP/bar", true},
               {"Steepest rise/(bar/deg)", true},
               {"Rise at/deg", true}});
  for (size_t i = 0; i < cycles.size(); ++i) {
    const CycleFigures& cycle = cycles[i];
    table.add({std::to_string(i + 1), text(cycle.offset), text(cycle.peak), text(cycle.peakAngle),
               text(cycle.meanEffectivePressure), text(cycle.rise.steepness), text(cycle.rise.angle)});
  }
  table.print(std::cout);
}

void printOverall(const std::vector<CycleFigures>& cycles) {
  Table table({{"All cycles", false},
               {"Mean", true},
               {"Minimum", true},
               {"Maximum", true},
               {"Standard deviation", true},
               {"Coefficient of variation/%", true}});
  for (const Quantity& quantity : quantitiesOf(cycles)) {
    const Spread& spread = quantity.spread;
    const auto orNone = [&](double number) { return spread.count > 0 ? text(number) : "-"; };
    const bool isPressure = std::string_view(quantity.name).find("pressure_bar") != std::string_view::npos ||
                            std::string_view(quantity.name).find("imep") != std::string_view::npos;
    table.add({quantity.title, orNone(spread.mean), orNone(spread.minimum), orNone(spread.maximum),
               text(spread.deviation), isPressure ? text(spread.variation()) : ""});
  }
  table.print(std::cout);
}

void printPolytrope(const char* stroke, const std::optional<Polytrope>& polytrope) {
  std::cout << "Polytropic exponent of the " << stroke << ": ";
  if (polytrope) {
    std::cout << text(polytrope->exponent) << " (from " << text(polytrope->window.from) << " to "
              << text(polytrope->window.to) << " deg)\n";
  } else {
    std::cout << "- (no pressures above 0)\n";
  }
}

void printText(const CombustionOptions& options, const PressureCycles& cycles, const CycleAnalysis& analysis,
               const std::vector<CycleFigures>& figures) {
  const CycleFigures& last = figures.back();
  const Statistics<float>& statistics = analysis.statistics();
  printCycles(figures);
  std::cout << '\n';
  printOverall(figures);
  std::cout << "\nCycles: " << cycles.count() << " of " << cycles.angles.size() << " samples, " << text(cycles.step())
            << " deg apart\n"
            << "Displacement: " << text(options.engine.displacement()) << " cm3, clearance "
            << text(options.engine.clearance()) << " cm3\n"
            << "Smoothed pressure: minimum " << text(statistics.minimum()) << " bar, maximum "
            << text(statistics.maximum()) << " bar, average " << text(statistics.average()) << " bar, RMS "
            << text(std::sqrt(statistics.meanSquare())) << " bar\n"
            << "Peak of the average cycle: " << text(last.averagePeak) << " bar, of the average of the last "
            << analysis.windowedCycles() << ": " << text(last.windowedPeak) << " bar\n";
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
                      {"steepest_rise_bar_per_deg", cycle.rise.steepness},
                      {"steepest_rise_angle_deg", cycle.rise.angle},
                      {"average_peak_pressure_bar", jsonNumber(cycle.averagePeak)},
                      {"windowed_peak_pressure_bar", cycle.windowedPeak}});
  }
  return cycles;
}

Json jsonOf(const Spread& spread) {
  const auto orNull = [&](double number) { return spread.count > 0 ? Json(number) : Json(nullptr); };
  return {{"mean", orNull(spread.mean)},
          {"minimum", orNull(spread.minimum)},
          {"maximum", orNull(spread.maximum)},
          {"standard_deviation", jsonNumber(spread.deviation)},
          {"variation_percent", jsonNumber(spread.variation())}};
}

Json exponentOf(const std::optional<Polytrope>& polytrope) {
  return polytrope ? Json(polytrope->exponent) : Json(nullptr);
}

void printJson(const CombustionOptions& options, const PressureCycles& cycles, const CycleAnalysis& analysis,
               const std::vector<CycleFigures>& figures) {
  const Statistics<float>& statistics = analysis.statistics();
  Json overall;
  for (const Quantity& quantity : quantitiesOf(figures)) {
    overall[quantity.name] = jsonOf(quantity.spread);
  }
  const Json all{{"source", options.source()},
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
  std::cout << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

/// The four pictures, for which OUT.png stands as OUT-pressure.png and so on. They are begun before the work: it may
/// turn out that nothing can be written there.
struct Pictures {
  static std::string named(const std::string& plot, const char* what) {
    const std::filesystem::path file = plot;
    return (file.parent_path() / (file.stem().string() + '-' + what + file.extension().string())).string();
  }

  explicit Pictures(const std::string& plot)
      : pressures(named(plot, "pressure")),
        linear(named(plot, "pv")),
        logarithmic(named(plot, "pv-log")),
        trend(named(plot, "trend")) {}

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
  return source + " (" + std::to_string(cycles.count()) + (cycles.count() == 1 ? " cycle of " : " cycles of ") +
         std::to_string(cycles.angles.size()) + " samples)";
}

CutCycles cyclesFor(const CombustionOptions& options) {
  if (options.simulate) {
    return {required(simulate(options.engine, options.simulation), options.source())};
  }
  PressureTable table = readPressureTable(options.file, options.columns, mostPressures);
  return required(cyclesOf(std::move(table.angles), table.pressures, table.columns), options.file);
}

int runCombustion(const Functions& functions, const CombustionOptions& options) {
  std::optional<Pictures> pictures;
  std::optional<OutputFile> output;
  if (!options.plot.empty()) {
    pictures.emplace(options.plot);
  }
  if (!options.output.empty()) {
    output.emplace(options.output);
  }
  const auto [cycles, leftOut] = cyclesFor(options);
  CycleAnalysis analysis =
      required(CycleAnalysis::create(functions, options.engine, options.analysis, cycles.angles), options.source());
  std::vector<CycleFigures> figures;
  for (size_t i = 0; i < cycles.count(); ++i) {
    figures.push_back(analysis.feed(cycles.cycle(i)));
  }
  if (output) {
    writePressureTable(*output, cycles.angles, cycles.samples);
  }
  if (pictures) {
    pictures->draw(functions, titleOf(options, cycles), analysis, figures);
  }
  if (leftOut > 0) {
    std::cerr << "kxhost: " << options.file << ": " << leftOut << " samples outside of the " << cycles.count()
              << " complete cycles are left out\n";
  }
  (options.json ? printJson : printText)(options, cycles, analysis, figures);
  return 0;
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
