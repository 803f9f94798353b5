#include "host/commands/combustion_options.hpp"

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "host/commands/options.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

AngleWindow windowIn(const std::string& option, const std::string& text) {
  const auto pair = pairIn<double>(text);
  if (!pair || !(pair->first >= -360 && pair->first < pair->second && pair->second <= 360)) {
    throw CLI::ValidationError(option, "is not two rising angles FROM,TO from -360 to 360: " + text);
  }
  return {pair->first, pair->second};
}

template <class Window>
void addWindow(CLI::App& command, const std::string& name, Window& window, const std::string& help,
               const std::string& byDefault) {
  command
      .add_option_function<std::string>(
          name, [&window, name](const std::string& text) { window = windowIn(name, text); }, help)
      ->type_name("FROM,TO")
      ->default_str(byDefault);
}

/// Numbers within limits, which go into the help.
struct Numbers {
  CLI::App& command;
  std::string group;
  CLI::Option* needed = nullptr;

  template <class T>
  void add(const std::string& name, T& value, double low, double high, const std::string& unit,
           const std::string& help) const {
    auto* option = command.add_option(name, value, help)
                       ->type_name(unit)
                       ->check(between(low, high))
                       ->group(group)
                       ->capture_default_str();
    if (needed != nullptr) {
      option->needs(needed);
    }
  }
};

void addEngine(CLI::App& command, Engine& engine) {
  const Numbers numbers{command, "Engine"};
  numbers.add("--bore", engine.bore, 1, 2000, "MM", "Bore in millimetres");
  numbers.add("--stroke", engine.stroke, 1, 5000, "MM", "Stroke in millimetres");
  numbers.add("--rod", engine.rod, 1, 10000, "MM", "Length of the connecting rod in millimetres");
  numbers.add("--compression-ratio", engine.compressionRatio, 1.5, 50, "RATIO", "Largest over smallest volume");
}

void addAnalysis(CLI::App& command, AnalysisOptions& analysis) {
  const Numbers numbers{command, "Analysis"};
  const std::string group = numbers.group;
  using PeggingNames = std::vector<std::pair<std::string, Pegging>>;
  command
      .add_option("--peg", analysis.pegging,
                  "How each cycle's zero level is found: none, intake or polytropic (default: intake)")
      ->type_name("METHOD")
      ->transform(CLI::CheckedTransformer(
          PeggingNames{{"none", Pegging::none}, {"intake", Pegging::intake}, {"polytropic", Pegging::polytropic}}))
      ->group(group);
  addWindow(command, "--peg-window", analysis.peggingWindow, "Angles at which it is found, in degrees",
            "-190,-170; polytropic -100,-60");
  command.get_option("--peg-window")->group(group);
  numbers.add("--intake-pressure", analysis.intakePressure, 0.01, 100, "BAR",
              "Absolute pressure in the intake, which --peg intake takes the gas to have");
  numbers.add("--peg-exponent", analysis.peggingExponent, 1, 2, "N", "Exponent that --peg polytropic assumes");
  using SmoothingNames = std::vector<std::pair<std::string, Smoothing>>;
  command.add_option("--smooth", analysis.smoothing, "Smoothing: none, parabola or average (default: parabola)")
      ->type_name("METHOD")
      ->transform(CLI::CheckedTransformer(SmoothingNames{
          {"none", Smoothing::none}, {"parabola", Smoothing::savitzkyGolay}, {"average", Smoothing::average}}))
      ->group(group);
  numbers.add("--width", analysis.smoothingWidth, 1, 9999, "SAMPLES", "Samples that make a smoothed one, odd");
  numbers.add("--window", analysis.window, 1, 100000, "CYCLES", "Cycles in the windowed average");
  addWindow(command, "--compression-window", analysis.compression,
            "Angles at which the compression's exponent is fitted", "-100,-40");
  addWindow(command, "--expansion-window", analysis.expansion, "Angles at which the expansion's exponent is fitted",
            "80,120");
  addWindow(command, "--rise-window", analysis.rise, "Angles at which the steepest rise is looked for", "-60,60");
  addWindow(command, "--burn-window", analysis.burn, "Angles at which heat is released", "-60,100");
  command
      .add_option_function<std::string>(
          "--heat-exponents",
          [&analysis](const std::string& text) {
            constexpr double least = 1.01, most = 2;
            const auto pair = pairIn<double>(text);
            const auto isOne = [&](double n) { return n >= least && n <= most; };
            if (!pair || !isOne(pair->first) || !isOne(pair->second)) {
              throw CLI::ValidationError("--heat-exponents", "is not two exponents from 1.01 to 2: " + text);
            }
            analysis.heatExponents = HeatExponents{pair->first, pair->second};
          },
          "Polytropic exponents before and after combustion that the heat is worked out with (default: each\n"
          "cycle's own)")
      ->type_name("N,N")
      ->group(group);
  for (const char* const name : {"--compression-window", "--expansion-window", "--rise-window", "--burn-window"}) {
    command.get_option(name)->group(group);
  }
}

void addSimulation(CLI::App& command, Simulation& simulation, CLI::Option* simulate) {
  const Numbers numbers{command, "Simulation", simulate};
  Simulation& s = simulation;
  numbers.add("--cycles", s.cycles, 1, 100000, "NUMBER", "Number of cycles");
  numbers.add("--step", s.step, 0.05, 5, "DEG", "Degrees between samples, of which 720 are a whole number");
  command.add_option("--seed", s.seed, "Seed of scatter and noise: the same gives the same samples")
      ->type_name("NUMBER")
      ->check(wholeNumber(0, std::numeric_limits<decltype(s.seed)>::max()))
      ->needs(simulate)
      ->group(numbers.group)
      ->capture_default_str();
  numbers.add("--exhaust-pressure", s.exhaustPressure, 0.01, 100, "BAR", "Pressure in the exhaust");
  numbers.add("--inlet-closing", s.inletClosing, -300, -20, "DEG", "Compression begins");
  numbers.add("--exhaust-opening", s.exhaustOpening, 20, 300, "DEG", "Expansion ends");
  numbers.add("--compression-exponent", s.compressionExponent, 1.01, 2, "N", "Polytropic exponent of the compression");
  numbers.add("--expansion-exponent", s.expansionExponent, 1.01, 2, "N", "Polytropic exponent of the expansion");
  numbers.add("--burn-start", s.burnStart, -90, 60, "DEG", "Start of combustion");
  numbers.add("--burn-duration", s.burnDuration, 1, 180, "DEG", "Duration of combustion");
  numbers.add("--wiebe-a", s.wiebeEfficiency, 0.1, 20, "A", "Wiebe function: how complete the combustion is");
  numbers.add("--wiebe-m", s.wiebeForm, 0, 10, "M", "Wiebe function: how late its bulk comes");
  numbers.add("--heat", s.heat, 0, 1e6, "J", "Heat released in a cycle, less losses to the walls");
  numbers.add("--burn-start-scatter", s.burnStartScatter, 0, 20, "DEG", "Standard deviation of the start");
  numbers.add("--burn-duration-scatter", s.burnDurationScatter, 0, 30, "PERCENT", "Standard deviation of the duration");
  numbers.add("--heat-scatter", s.heatScatter, 0, 30, "PERCENT", "Standard deviation of the heat");
  numbers.add("--noise", s.noise, 0, 100, "BAR", "Standard deviation of the sensor's noise");
  numbers.add("--zero-level", s.zeroLevel, -1000, 1000, "BAR", "What the sensor shows at no pressure at first");
  numbers.add("--zero-drift", s.zeroDrift, -10, 10, "BAR", "By how much that rises with every cycle");
}

constexpr const char* explanation =
    "FILE has a row a crank angle: text with commas, semicolons, tabs or blanks between, decimal points or commas,\n"
    "with a header row or without. The first column is the angle in degrees, 0 (or --tdc-offset) at the top dead\n"
    "centre of combustion, rising in even steps. The others are pressures in bar, either a cycle each (a whole one of\n"
    "720 degrees from any angle on, or from -360 to 360 degrees at most, from -180 to 180 at least), or a single one\n"
    "that runs on over many cycles, with angles that run on or begin anew with each cycle.\n"
    "\n"
    "Of every cycle the zero level is taken off. 'intake' finds it where the gas has the intake's pressure, around\n"
    "bottom dead centre; 'polytropic' finds the one that makes the compression follow p V^n = constant. The peak\n"
    "pressure (of equal ones the first) and IMEP are those of the pressure then; IMEP is the integral of p dV over\n"
    "the displacement: gross from -180 to 180 degrees, net over all four strokes. The pressure is smoothed by a\n"
    "parabola of least squares around each sample, or the average of the samples around it; the steepest rise, the\n"
    "heat and the averages over the cycles are those of the smoothed pressure. The heat is the apparent net one,\n"
    "dQ = n / (n - 1) p dV + 1 / (n - 1) V dp (Heywood, equation 10.6), with n going from the compression's to the\n"
    "expansion's polytropic exponent as the charge burns; at CA10, CA50 and CA90 those percents of it are released,\n"
    "and from CA10 to CA90 the burn lasts. The polytropic exponents that are printed are fitted to the average of all\n"
    "cycles. The coefficient of variation is the standard deviation over the mean.\n"
    "\n"
    "The simulation is one zone of gas in a slider-crank cylinder: polytropic compression and expansion, heat after\n"
    "a Wiebe function, scatter from cycle to cycle, and a sensor with noise and a drifting zero level. Its defaults\n"
    "are those of a small spark-ignition engine, within the ranges of J. B. Heywood, Internal Combustion Engine\n"
    "Fundamentals (1988), chapters 2 and 9.\n"
    "\n"
    "Examples:\n"
    "  kxhost combustion cylinder1.csv --bore 86 --stroke 86 --rod 143 --compression-ratio 10\n"
    "  kxhost combustion --simulate --cycles 200 --plot engine.png -o engine.csv\n"
    "  kxhost combustion cylinder1.csv --peg polytropic --smooth average --width 7 --json\n"
    "  kxhost combustion logger.csv --column angle --column cyl1 --peg-window=-185,-175\n"
    "  kxhost combustion bench.txt --columns 1,3 --tdc-offset 360";

}  // namespace

void CombustionOptions::requireSense() const {
  if (file.empty() != simulate) {
    throw CLI::ValidationError("combustion",
                               simulate ? "takes FILE or --simulate, not both" : "needs FILE or --simulate");
  }
  if (engine.rod <= engine.stroke / 2) {
    throw CLI::ValidationError("--rod", "must be longer than half of the stroke");
  }
  if (analysis.smoothingWidth % 2 == 0) {
    throw CLI::ValidationError("--width", "must be odd");
  }
  if (simulate) {
    const double length = std::round(720 / simulation.step);
    if (std::abs(length * simulation.step - 720) > 1e-6) {
      throw CLI::ValidationError("--step", "720 degrees are not a whole number of steps");
    }
    if (length * simulation.cycles > static_cast<double>(mostPressures)) {
      throw CLI::ValidationError("--cycles", fmt::format("that is more than {} samples", mostPressures));
    }
  }
}

void addCombustionOptions(CLI::App& command, CombustionOptions& options) {
  command.add_option("FILE", options.file, "Crank angle and pressures")
      ->type_name("")
      ->check(streamOrEndingIn({".csv", ".tsv", ".txt", ".dat"}));
  auto* simulate = command.add_flag("--simulate", options.simulate, "Simulate the cycles instead of reading them");
  command
      .add_option("--column", options.input.columns,
                  "Take this column of the file (may be repeated; the angle first; default: all numeric)")
      ->type_name("NAME")
      ->allow_extra_args(false)
      ->excludes(simulate);
  addTextOptions(command, options.input.columnNumbers, options.input.decimalMark);
  command.get_option("--columns")->excludes(simulate);
  command.get_option("--decimal")->excludes(simulate);
  command
      .add_option("--tdc-offset", options.topDeadCentre,
                  "The file's angle at which the top dead centre of combustion lies; it is taken off all angles")
      ->type_name("DEG")
      ->check(between(-720, 720))
      ->excludes(simulate)
      ->capture_default_str();
  command.add_flag("--json", options.json, "Print JSON");
  addPictureOption(command, options.picture,
                   "Draw OUT-pressure.png, OUT-pv.png, OUT-pv-log.png (double-logarithmic) and OUT-trend.png");
  command.add_option("-o,--output", options.output, "Write the simulated pressures, as FILE takes them")
      ->type_name("OUT.csv")
      ->needs(simulate)
      ->check(streamOrEndingIn({".csv"}));
  addEngine(command, options.engine);
  addAnalysis(command, options.analysis);
  addSimulation(command, options.simulation, simulate);
  command.footer(explanation);
}

}  // namespace kxhost
