// kxhost flicker: flickermeter for recordings of the mains voltage, and whether it conforms to its standard.
#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/flicker/flicker_observation.hpp"
#include "analysis/flicker/flickermeter.hpp"
#include "analysis/number_text.hpp"
#include "analysis/power/voltage_watch.hpp"
#include "host/commands/command.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/pictures/flicker_picture.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/reports/flicker_conformity.hpp"
#include "host/reports/flicker_report.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

constexpr uint64_t pictureColumns = 1000;

struct FlickerOptions {
  std::string file;
  std::string part;  // of the standard's points
  std::optional<double> tolerance;
  InputOptions input;
  int channel = 1;
  std::optional<int> lamp;
  std::optional<double> mains;
  double settling = 30;
  double period = 600;
  bool json = false;
  std::string picture;
};

std::optional<Lamp> lampOf(const FlickerOptions& options) {
  return options.lamp ? std::optional(*options.lamp == 230 ? Lamp::volts230 : Lamp::volts120) : std::nullopt;
}

template <class T>
uint64_t countFrames(Recording& recording) {
  std::vector<T> block(blockFrames * recording.format().channels.size());
  uint64_t total = 0;
  while (const size_t frames = recording.read(std::span(block))) {
    total += frames;
  }
  recording.rewind();
  return total;
}

template <class T>
void measure(const Functions& functions, const FlickerOptions& options, Recording& recording, FlickerResult& result) {
  const Format& format = recording.format();
  const size_t channels = format.channels.size();
  const uint64_t columns = options.picture.empty() ? 0 : pictureColumns;
  Envelope<float> envelope(functions, columns > 0 ? countFrames<T>(recording) : 0, columns);
  Flickermeter meter = required(Flickermeter::create(functions, result.setting, result.rate), options.file);
  FlickerObservation observation =
      required(FlickerObservation::create(functions, result.settling, result.period), options.file);
  VoltageWatch watch = required(VoltageWatch::create(result.rate, result.setting.mains), options.file);
  const auto flag = [&](std::span<const WindowPlace> cycles) {
    for (const WindowPlace& cycle : cycles) {
      result.addFlags(cycle);
    }
  };
  const auto observe = [&](const kxcalc::Result<std::span<const float>>& sensation) {
    if (!sensation) {
      throw FileError(options.file, fmt::format("{} in channel {}, after {:.5g} s", sensation.problem(), result.channel,
                                                result.secondsOf(result.samples)));
    }
    const auto periods = observation.feed(*sensation);
    result.periods.insert(result.periods.end(), periods.begin(), periods.end());
    envelope.feed(*sensation);
  };
  Progress progress(options.file);
  std::vector<T> block(blockFrames * channels);
  std::vector<float> voltage(blockFrames);
  std::vector<double> watched;
  while (const size_t frames = recording.read(std::span(block))) {
    const auto part = std::span(voltage).first(frames);
    channelValues(functions, block.data() + options.channel - 1, channels, {1 / format.fullScale, 0}, part);
    observe(meter.feed(part));
    watched.assign(part.begin(), part.end());
    flag(watch.feed(watched));
    result.samples += frames;
    progress.update(recording.position());
  }
  observe(meter.finish());
  flag(watch.finish());
  if (result.samples > 0 && !meter.hasVoltage()) {
    throw FileError(options.file, "has no voltage in channel " + result.channel);
  }
  result.sensation = envelope.columns();
}

/// What is to be measured, before any sample is read.
FlickerResult settingOf(const FlickerOptions& options, const Format& format) {
  const std::string& file = options.file;
  const double rate = rateOf(file, format);
  if (rate < leastFlickerRate) {
    throw FileError(file, fmt::format("has a sample rate of {:.10g} Hz, flicker needs at least {} Hz", rate,
                                      numberText(leastFlickerRate, allDigits)));
  }
  const size_t channel = channelIndex(file, format, options.channel);
  const double period = std::round(options.period * rate);
  if (period > std::numeric_limits<uint32_t>::max()) {
    throw FileError(file, fmt::format("has {:.10g} samples in a period, more than can be counted", period));
  }
  FlickerSetting setting = nominalSetting(lampOf(options).value_or(Lamp::volts230));
  setting.mains = options.mains.value_or(setting.mains);
  FlickerResult result;
  result.file = file;
  result.format = format;
  result.channel = format.channels[channel];
  result.setting = setting;
  result.rate = rate;
  result.settling = static_cast<uint64_t>(std::round(options.settling * rate));
  result.period = static_cast<uint64_t>(period);
  return result;
}

int runFile(const Functions& functions, const FlickerOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const Format& format = recording->format();
  FlickerResult result = settingOf(options, format);
  const std::optional<OutputFile> picture = begunPicture(options.picture);
  visitSampleType(format.type, [&]<class T>() { measure<T>(functions, options, *recording, result); });
  if (result.periods.empty()) {
    throw FileError(options.file,
                    fmt::format("lasts {:.5g} s: settling and one period (--settling, --period) take {:.5g} s",
                                result.secondsOf(result.samples), result.beginOf(1)));
  }
  const int code = finishOutputs([&] {
    if (picture) {
      drawFlicker(
          *picture,
          fmt::format("{}, channel {}, {}", titleOf(options.file, format), result.channel, settingText(result.setting)),
          result);
    }
  });
  printNotes(options.file, recording->notes());
  if (options.json) {
    printJson(jsonOf(result));
  } else {
    printTable(result);
  }
  return code;
}

int runConformity(const Functions& functions, const FlickerOptions& options) {
  constexpr double usualRate = 12000;  // whole numbers of samples in the half cycles of 50 Hz and of 60 Hz
  const double rate = options.input.rate.value_or(usualRate);
  constexpr double highestRate = 1e6;
  if (!(rate >= leastFlickerRate && rate <= highestRate)) {
    throw std::runtime_error(
        fmt::format("--test: the sample rate must be from {:.10g} to {:.10g} Hz", leastFlickerRate, highestRate));
  }
  const bool conforms =
      reportFlickerConformity(functions, {options.part, lampOf(options), rate, options.tolerance, options.json});
  return conforms ? 0 : 1;
}

void addMeasurementOptions(CLI::App& command, FlickerOptions& options) {
  addChannelOption(command, options.channel);
  command
      .add_option("--mains", options.mains, "Nominal mains frequency, 50 or 60 (default: 50 with 230 V, 60 with 120 V)")
      ->type_name("HZ")
      ->check(CLI::IsMember({50.0, 60.0}));
  command.add_option("--settling", options.settling, "Time to leave out at the beginning, in seconds, up to 3600")
      ->type_name("SECONDS")
      ->check(between(0, 3600))
      ->capture_default_str();
  command.add_option("--period", options.period, "Observation period of each Pst, in seconds, from 1 to 86400")
      ->type_name("SECONDS")
      ->check(between(1, 86400))
      ->capture_default_str();
  addPictureOption(command, options.picture, "Draw the sensation over time and its cumulative probability");
}

void addConformityOptions(CLI::App& command, FlickerOptions& options) {
  auto* const test =
      command
          .add_option(
              "--test", options.part,
              "Test the meter instead, with all, the sinusoidal, the rectangular or the pst points of the standard")
          ->type_name("[POINTS]")
          ->expected(0, 1)
          ->default_str("all")
          ->check(CLI::IsMember({"all", "sinusoidal", "rectangular", "pst"}));
  for (const char* const other :
       {"FILE", "--raw", "--column", "--channel", "--mains", "--settling", "--period", "--plot"}) {
    test->excludes(command.get_option(other));
  }
  command.add_option("--tolerance", options.tolerance, "With --test: allow this deviation instead of the standard's")
      ->type_name("PERCENT")
      ->check(aboveZero())
      ->needs(test);
}

}  // namespace

void addFlickerCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<FlickerOptions>();
  CLI::App& command = *program.add_subcommand("flicker", "Flicker severity of a mains voltage (IEC 61000-4-15)");
  addRecordingOption(command, options->file);
  addInputOptions(command, options->input);
  options->input.requiresFinite = true;  // the meter's filters would give NaNs ever after
  command.add_option("--lamp", options->lamp, "Lamp: of 230 V or of 120 V (default: 230, of --test: both)")
      ->type_name("VOLTS")
      ->check(CLI::IsMember({230, 120}));
  command.add_flag("--json", options->json, "Print JSON");
  addMeasurementOptions(command, *options);
  addConformityOptions(command, *options);
  command.footer(
      "The voltage may be in any unit: it is measured relative to its own RMS value, which the meter follows as "
      "slowly\n"
      "as the standard asks (one minute from 10 % to 90 % of a step). Flicker needs a sample rate of 4000 Hz or more.\n"
      "Pst is the short-term severity, 1 where half of the observers are annoyed, by the standard over 10 minutes; "
      "P0.1\n"
      "is the instantaneous sensation that is exceeded for 0.1 % of the time, P1s to P50s are its smoothed fellows.\n"
      "Plt, the long-term severity, is the cubic mean of 12 values of Pst. Of each day that holds as many, extremes "
      "and\n"
      "what 5 % and 95 % of the values keep to are told.\n"
      "Periods that a dip, a swell or an interruption touches, or in which the mains is not to be seen, are flagged;\n"
      "they count all the same.\n"
      "Four systems can be measured: 230 V/50 Hz, 120 V/60 Hz, and by --mains a lamp at the other frequency, 230 V/60 "
      "Hz\n"
      "and 120 V/50 Hz. There the lamp weights what it does at its own; the low-pass before is the other mains'.\n"
      "--test generates the voltages of the standard's tables, at 12000 Hz or at the --rate, and compares what is\n"
      "measured with what is required: the largest sensation within 8 % and Pst within 5 % of 1, or as --tolerance "
      "says.\n"
      "The exit code is 1 if a point is outside. The tables are of 230 V/50 Hz and 120 V/60 Hz: the other two systems\n"
      "have no points.\n"
      "\n"
      "Examples:\n"
      "  kxhost flicker mains.wav --plot flicker.png\n"
      "  kxhost flicker --lamp 120 --column Va mains.csv --rate 50000 --settling 10 --period 60\n"
      "  kxhost flicker --test\n"
      "  kxhost flicker --test pst --lamp 230 --rate 8000");
  command.callback([options, &command, &chosen] {
    const bool isAboutConformity = command.count("--test") > 0;
    if (!isAboutConformity && options->file.empty()) {
      throw CLI::RequiredError("FILE or --test");
    }
    options->input.finiteChannel = options->channel;
    chosen = [options, isAboutConformity](const Functions& functions) {
      return isAboutConformity ? runConformity(functions, *options) : runFile(functions, *options);
    };
  });
}

}  // namespace kxhost
