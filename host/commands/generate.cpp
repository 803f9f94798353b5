// kxhost generate: recordings to try things on.
#include <algorithm>
#include <cmath>
#include <iostream>

#include "analysis/number_text.hpp"
#include "analysis/power/mains_signal.hpp"
#include "host/commands/command.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "host/reports/required.hpp"
#include "recordings/frame_output.hpp"

namespace kxhost {
namespace {

struct GeneratePowerOptions {
  RecordingOutput output;
  double seconds = 10;
  int rate = 12800;
  MainsSettings mains;

  bool isCsv() const { return output.kind() == FrameFormat::csv; }
};

void writeMains(const Functions& functions, const MainsSettings& settings, uint64_t frames, FrameOutput& output) {
  MainsSignal signal = required(MainsSignal::create(functions, settings));
  std::vector<float> block(blockFrames * MainsSignal::channels);
  for (uint64_t written = 0; written < frames; written += blockFrames) {
    const auto part = std::span(block).first(std::min<uint64_t>(blockFrames, frames - written) * MainsSignal::channels);
    signal.next(part);
    output.write(part);
  }
  output.finish();
}

int runGeneratePower(const Functions& functions, const GeneratePowerOptions& options) {
  const double frames = std::round(options.seconds * options.rate);
  if (frames < 1) {
    throw FileError(options.output.name(), "would hold no samples");
  }
  MainsSettings settings = options.mains;
  settings.rate = options.rate;
  if (!(settings.frequency < settings.rate / 2)) {
    throw FileError(options.output.name(),
                    fmt::format("cannot hold a frequency of {} Hz: it must be below half of the sample rate",
                                numberText(settings.frequency, allDigits)));
  }
  const auto output = beginRecording(
      options.output,
      {{"U1 [V]", "U2 [V]", "U3 [V]", "I1 [A]", "I2 [A]", "I3 [A]"}, settings.rate, static_cast<uint64_t>(frames)});
  writeMains(functions, settings, static_cast<uint64_t>(frames), *output);
  placeOutputs();
  printTo(std::cout,
          "{0}: {1} frames at {2} Hz, channels 1 to 3 U1 to U3 in V, 4 to 6 I1 to I3 in A\n"
          "to analyse it: kxhost power {5}{3} --frequency {4}\n",
          options.output.name(), numberText(frames, allDigits), options.rate,
          options.isCsv() ? fmt::format(" --rate {}", options.rate) : "", numberText(settings.frequency, allDigits),
          options.output.file);
  return 0;
}

/// @param least, most  what the option takes.
template <class Number>
void addNumber(CLI::App& command, const std::string& name, Number& number, double least, double most,
               const std::string& unit, const std::string& text) {
  command.add_option(name, number, text)->type_name(unit)->check(between(least, most))->capture_default_str();
}

void addGeneratePower(CLI::App& generate, Action& chosen) {
  const auto options = std::make_shared<GeneratePowerOptions>();
  MainsSettings& mains = options->mains;
  CLI::App& command =
      *generate.add_subcommand("power", "Three-phase voltages and currents with harmonics, unbalance, flicker, noise");
  addRecordingOutput(command, options->output, "The file to write").required();
  addNumber(command, "--seconds", options->seconds, 1e-3, 86400, "S", "Length in seconds");
  addNumber(command, "--rate", options->rate, 100, 10e6, "HZ", "Sample rate, a whole number of Hz");
  addNumber(command, "--frequency", mains.frequency, 1, 1e6, "HZ", "Frequency of the mains in Hz");
  addNumber(command, "--voltage", mains.voltage, 1e-3, 1e6, "V", "Rms of the fundamental voltages in V");
  addNumber(command, "--current", mains.current, 1e-6, 1e6, "A", "Rms of the fundamental currents in A");
  addNumber(command, "--lag", mains.lag, -180, 180, "DEG", "Degrees by which these currents lag the voltages");
  addNumber(command, "--unbalance", mains.unbalance, 0, 100, "%", "Unbalance of the voltages in percent");
  addNumber(command, "--distortion", mains.distortion, 0, 1000, "%", "Harmonics in percent of those below");
  addNumber(command, "--flicker", mains.flicker, 0, 100, "%",
            "Change of the voltages' envelope, peak to peak, in percent");
  addNumber(command, "--flicker-rate", mains.flickerRate, 0.01, 1e3, "HZ", "Frequency of the envelope in Hz");
  addNumber(command, "--noise", mains.noise, 0, 100, "%", "Rms of the noise in percent of the fundamental");
  addNumber(command, "--seed", mains.seed, 0, UINT32_MAX, "NUMBER", "Of the noise: the same seed gives the same file");
  command.footer(
      "Channels 1 to 3 are the phase voltages U1 to U3 in V, 4 to 6 the currents I1 to I3 in A, as they are and not "
      "as\n"
      "fractions of a full scale: kxhost power takes the file at its values. The first voltage rises through zero at "
      "the\n"
      "beginning, the second a third of a period later. With an unbalance of P percent the voltages hold a negative\n"
      "sequence of P percent and a zero sequence of P/2, the currents a negative one of 4 P.\n"
      "Harmonics of voltage (and current) in percent of the fundamental, those below half the sample rate:\n"
      "  order 3: 0.8 (2), 5: 2.5 (18), 7: 1.8 (11), 11: 0.9 (6), 13: 0.7 (4.5), 17: 0.4 (2.5), 19: 0.3 (2),\n"
      "  23: 0.25 (1.5), 25: 0.2 (1.2)\n"
      "\n"
      "Examples:\n"
      "  kxhost generate power -o mains.wav\n"
      "  kxhost generate power -o mains.csv --seconds 1 --frequency 60 --voltage 120\n"
      "  kxhost generate power -o pure.wav --unbalance 0 --distortion 0 --flicker 0 --noise 0");
  command.callback([options, &chosen] {
    chosen = [options](const Functions& functions) { return runGeneratePower(functions, *options); };
  });
}

}  // namespace

void addGenerateCommand(CLI::App& program, Action& chosen) {
  CLI::App& command = *program.add_subcommand("generate", "Write a recording to try things on");
  command.require_subcommand(1);
  addGeneratePower(command, chosen);
  command.footer("Examples:\n  kxhost generate power -o mains.wav\n  kxhost generate power --help");
}

}  // namespace kxhost
