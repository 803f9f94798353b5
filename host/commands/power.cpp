// kxhost power: power, harmonics and unbalance of recorded voltages and currents.

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/power/power_stream.hpp"
#include "host/commands/command.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/pictures/power_pictures.hpp"
#include "host/reports/channel_list.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/power_aggregates.hpp"
#include "host/reports/power_collector.hpp"
#include "host/reports/power_report.hpp"
#include "host/reports/print.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "recordings/power_channels.hpp"

namespace kxhost {
namespace {

struct PowerOptions {
  std::string file;
  InputOptions input;
  PowerChannelOptions channels;
  std::optional<double> frequency;
  std::optional<int> cycles;
  std::optional<double> declaredVoltage;
  std::string correction;
  bool json = false;
  bool harmonics = false;
  bool groups = false;
  bool windows = false;
  std::vector<std::string> aggregate;
  bool withFlagged = false;
  std::string picture;
};

/// What the user says, else what the recording announces, if that can be; nothing where it is to be measured.
std::optional<double> nominalFrequency(const PowerOptions& options, const Format& format) {
  constexpr double lowest = 10, highest = 1000;
  const bool isAnnounced = format.lineFrequency && *format.lineFrequency >= lowest && *format.lineFrequency <= highest;
  return options.frequency || !isAnnounced ? options.frequency : format.lineFrequency;
}

/// A CSV file of three columns: frequency in Hz, gain, phase in degrees.
CorrectionCurve readCorrection(const std::string& file) {
  InputOptions input;
  input.timesAreValues = true;
  const auto table = openRecording(file, input);
  constexpr size_t columns = 3;
  if (table->format().samples != "decimal" || table->format().channels.size() != columns) {
    throw FileError(file, "is not a CSV file of three columns: frequency in Hz, gain, phase in degrees");
  }
  std::vector<CorrectionPoint> points;
  std::array<double, columns> row{};
  while (table->read(std::span<double>(row)) == 1) {
    points.push_back({row[0], row[1], row[2]});
  }
  return required(CorrectionCurve::create(std::move(points)), file);
}

PowerStreamSettings settingsFor(const PowerOptions& options, const Format& format) {
  PowerStreamSettings settings;
  settings.windows = {rateOf(options.file, format), nominalFrequency(options, format), options.cycles};
  settings.declaredVoltage = options.declaredVoltage;
  if (!options.correction.empty()) {
    settings.correction = readCorrection(options.correction);
  }
  return settings;
}

PowerCollection collectionFor(const PowerOptions& options) {
  const bool isTrend = !options.picture.empty() && options.aggregate.empty();
  const bool isJson = options.json && options.aggregate.empty();
  return {options.windows || isTrend || isJson, options.json};
}

template <class T>
void analyzeWindows(const Functions& functions, const PowerOptions& options, const PowerChannels& channels,
                    Recording& recording, PowerStream& stream, PowerReport& report) {
  const size_t frameSize = recording.format().channels.size(), phases = channels.voltages.size();
  Progress progress(options.file);
  PowerCollector collector(report, collectionFor(options));
  std::vector<T> block(blockFrames * frameSize);
  std::vector<std::vector<double>> voltages(phases), currents(phases);
  const auto fill = [&](const PhysicalChannel& channel, size_t frames, std::vector<double>& values) {
    values.resize(frames);
    channelValues(functions, block.data() + channel.index, frameSize, {channel.scale, 0}, std::span(values));
  };
  size_t total = 0;
  while (const size_t frames = recording.read(std::span(block))) {
    for (size_t i = 0; i < phases; ++i) {
      fill(channels.voltages[i], frames, voltages[i]);
      fill(channels.currents[i], frames, currents[i]);
    }
    collector.take(stream, stream.feed(voltages, currents));
    total += frames;
    progress.update(recording.position());
  }
  collector.take(stream, stream.finish());
  report.leftOver = static_cast<size_t>(std::max(0L, std::lround(stream.leftOver())));
  if (report.tally.count() == 0) {
    throw FileError(options.file, fmt::format("is too short: a window has {} samples, the recording {}",
                                              std::lround(stream.cycles() * report.rate / stream.frequency()), total));
  }
  collector.finish();
}

void print(const PowerReport& report, const PowerOptions& options) {
  if (options.json) {
    printJson(jsonOf(report));
    return;
  }
  printSummary(std::cout, report);
  printEvents(std::cout, report);
  if (options.harmonics) {
    printHarmonics(std::cout, report);
  }
  if (options.groups) {
    printGroups(std::cout, report);
  }
  if (options.windows) {
    printWindows(std::cout, report);
  }
  printAggregates(std::cout, report);
  if (report.showsDays) {
    printDays(std::cout, report);
  }
}

/// What is to be taken together, each once and in the order of their lengths.
void addIntervals(PowerReport& report, const std::vector<std::string>& names) {
  const auto isNamed = [&](const char* name) { return std::ranges::find(names, name) != names.end(); };
  report.showsDays = isNamed("day");
  for (const auto kind :
       {AggregationInterval::windows15, AggregationInterval::minutes10, AggregationInterval::hours2}) {
    const bool isListed = isNamed(nameOf(kind));
    if (isListed || (report.showsDays && kind == AggregationInterval::minutes10)) {
      report.aggregates.push_back({kind, isListed});
    }
  }
}

PowerReport emptyReport(const PowerOptions& options, const Format& format, const PowerChannels& channels) {
  PowerReport report;
  report.file = options.file;
  report.format = format;
  report.rate = rateOf(options.file, format);
  for (size_t i = 0; i < channels.voltages.size(); ++i) {
    report.voltageNames.push_back(format.channels[channels.voltages[i].index]);
    report.currentNames.push_back(format.channels[channels.currents[i].index]);
  }
  report.countsFlagged = options.withFlagged;
  addIntervals(report, options.aggregate);
  return report;
}

PowerGroup groupOf(const PowerChannels& channels) {
  PowerGroup group;
  for (size_t i = 0; i < channels.voltages.size(); ++i) {
    group.voltages.push_back(channels.voltages[i].index);
    group.currents.push_back(channels.currents[i].index);
  }
  return group;
}

/// Where the user has to choose, tells between what; nothing then.
std::optional<PowerChannels> chosenChannels(const PowerOptions& options, const Format& format) {
  try {
    return powerChannels(options.file, format, options.channels);
  } catch (const UnclearChannels& error) {
    printTo(std::cerr, "kxhost: {}\n\n", error.what());
    printChannels(std::cerr, format, error.groups());
    return std::nullopt;
  }
}

int runPower(const Functions& functions, const PowerOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const Format& format = recording->format();
  const auto chosen = chosenChannels(options, format);
  if (!chosen) {
    return 1;
  }
  const PowerChannels& channels = *chosen;
  PowerStream stream =
      required(PowerStream::create(functions, settingsFor(options, format), channels.voltages.size()), options.file);
  PowerReport report = emptyReport(options, format, channels);
  std::vector<std::unique_ptr<OutputFile>> pictures;  // begun before the work
  for (const char* which : {"phasors", "harmonics", "trends"}) {
    if (!options.picture.empty()) {
      pictures.push_back(std::make_unique<OutputFile>(pictureFile(options.picture, which)));
    }
  }
  visitSampleType(format.type,
                  [&]<class T>() { analyzeWindows<T>(functions, options, channels, *recording, stream, report); });
  const int code = finishOutputs([&] {
    if (!pictures.empty()) {
      drawPhasors(*pictures[0], report);
      drawHarmonics(*pictures[1], report);
      drawTrends(*pictures[2], report);
    }
  });
  std::vector<std::string> notes = recording->notes();
  if (channels.isProposed) {
    notes.push_back("of its channels those are taken that belong together: " + optionsFor(groupOf(channels)));
  }
  if (const std::string note = frequencyNote(report); !note.empty()) {
    notes.push_back(note);
  }
  printNotes(options.file, notes);
  print(report, options);
  return code;
}

void addChannelOptions(CLI::App& command, PowerChannelOptions& options) {
  auto* voltage =
      command
          .add_option("--voltage", options.voltages, "Channels of the phase voltages, up to 3, numbered from 1: 1,2,3")
          ->type_name("NUMBERS")
          ->delimiter(',')
          ->allow_extra_args(false);
  auto* current = command.add_option("--current", options.currents, "Channels of their currents, as many: 4,5,6")
                      ->type_name("NUMBERS")
                      ->delimiter(',')
                      ->allow_extra_args(false)
                      ->needs(voltage);
  voltage->needs(current);
  command
      .add_option("--scale", options.scales,
                  "V and A per unit of the file: a factor for all voltages and one for all currents, or one for each\n"
                  "channel, the voltages' first")
      ->type_name("FACTORS")
      ->check(finite())
      ->delimiter(',')
      ->allow_extra_args(false);
}

constexpr const char* footer =
    "Channels whose names end in a unit, as \"Ua [kV]\", \"Ia (mA)\", \"Ib/A\" or \"Ib in A\", are found by it and "
    "taken in V\n"
    "and A; otherwise the first half of two, four or six channels are the voltages, and --voltage and --current tell\n"
    "where that is wrong. Of more channels, those of one set of phases are taken if there is one, by units, names, "
    "phases\n"
    "and circuits (UA UB UC, IL1 IL2 IL3); if there are several, they are listed. A unit is what the file counts in: "
    "of\n"
    "audio files of integers, the full scale. COMTRADE recordings are opened by their .cfg file, with the .dat file "
    "beside\n"
    "it, or by their .cff file; their values are taken as the channels' factors give them, whether primary or "
    "secondary,\n"
    "which --scale can change.\n"
    "\n"
    "The frequency is measured in the voltages, from 42.5 Hz to 69 Hz or within 15 % of --frequency, and each window\n"
    "holds a whole number of cycles of it: where these do not end with samples, the window is interpolated. Windows "
    "in\n"
    "which the frequency moved by more than 0.2 %, or was not to be measured, or that a dip, a swell or an "
    "interruption\n"
    "touches are flagged, and the figures of all windows go on without them. These events are found by the rms values\n"
    "over one cycle, renewed every half cycle: a dip below 90 % of the reference, over at 92 %; a swell above 110 %, "
    "over\n"
    "at 108 %; an interruption below 5 % in all phases, over at 7 %. Where it cannot be measured at all, windows are "
    "of the nominal frequency.\n"
    "\n"
    "The spectrum of a window gives rms values U and I of all\n"
    "that is in the window, harmonics 1 to 50 (fewer at low sample rates), the distortion THD from order 2 on, the\n"
    "active power P and the reactive power Q (Budeanu's: the sum over all frequencies, positive where currents lag), "
    "the\n"
    "apparent power S = U I and the power factor PF = P / S; in total, the sums over the phases. Angles are sine "
    "phases\n"
    "seen from the fundamental of the first voltage, of harmonics at the moment when it rises through zero.\n"
    "Three phases also give the symmetrical components of the fundamental and the unbalance, negative and zero\n"
    "sequence in percent of the positive one. Figures of all windows together are root mean squares of rms values and\n"
    "unbalance, averages of powers, and angles of averaged phasors.\n"
    "\n"
    "Distortion is told by the harmonics' own bins (THD), by harmonic groups (THDG) and by subgroups (THDS, IEC\n"
    "61000-4-7). A group has all bins that are nearer to its order than to another, those halfway by half; a subgroup\n"
    "has the order's bin and its neighbours; between orders, an interharmonic group has all bins, its subgroup those\n"
    "that are in no harmonic's.\n"
    "\n"
    "Over longer times (IEC 61000-4-30) windows count without those that are flagged. Ten minutes and two hours are "
    "those\n"
    "of the clock where a recording tells when it began, else they begin with it, and so do days. A day tells the\n"
    "extremes of its complete ten minutes, and what 5 % and 95 % of them keep to.\n"
    "\n"
    "Examples:\n"
    "  kxhost power mains.wav --plot mains.png\n"
    "  kxhost power mains.csv --rate 50000 --harmonics --windows\n"
    "  kxhost power fault.cfg --voltage 1,2,3 --current 5,6,7 --json\n"
    "  kxhost power week.cfg --aggregate 10min,2h,day\n"
    "  kxhost power take.wav --voltage 1 --current 2 --scale 400,50 --correction probe.csv";

}  // namespace

void addPowerCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<PowerOptions>();
  CLI::App& command =
      *program.add_subcommand("power", "Power, harmonics and unbalance of recorded voltages and currents");
  command
      .add_option("FILE", options->file,
                  "Recording: an audio file, a CSV file with a header row, a COMTRADE file (.cfg or .cff), raw "
                  "samples\n(--raw)")
      ->required()
      ->type_name("");
  addInputOptions(command, options->input);
  addChannelOptions(command, options->channels);
  constexpr double lowest = 0.1, highest = 1e6, mostCycles = 10000;
  command
      .add_option("--frequency", options->frequency,
                  "Nominal frequency of the mains in Hz; the actual one is measured within 15 % of it\n(default: 50 or "
                  "60, what the recording announces or what is measured)")
      ->type_name("HZ")
      ->check(between(lowest, highest));
  command.add_option("--cycles", options->cycles, "Cycles in a window (default: 10, above 55 Hz 12)")
      ->type_name("NUMBER")
      ->check(between(1, mostCycles));
  constexpr double leastVoltage = 1e-6, mostVoltage = 1e9;
  command
      .add_option(
          "--declared-voltage", options->declaredVoltage,
          "Rms in V that dips, swells and interruptions are told by (default: each voltage's own over the last\n"
          "minute)")
      ->type_name("V")
      ->check(between(leastVoltage, mostVoltage));
  command
      .add_option("--correction", options->correction,
                  "Multiply the voltages by the factors of this CSV file: frequency in Hz, gain, phase in degrees")
      ->type_name("FILE.csv");
  command.add_flag("--harmonics", options->harmonics, "Also print the harmonics, all windows together");
  command.add_flag("--groups", options->groups,
                   "Also print harmonic and interharmonic groups and subgroups, all windows together");
  command.add_flag("--windows", options->windows, "Also print a row for each window");
  command
      .add_option("--aggregate", options->aggregate,
                  "Also print what windows give over 3s (150 or 180 cycles), 10min or 2h, or how the values of 10\n"
                  "minutes are spread over each day; JSON then has the windows with --windows only")
      ->type_name("3s,10min,2h,day")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember({"3s", "10min", "2h", "day"}));
  command.add_flag("--with-flagged", options->withFlagged, "Take flagged windows into the figures of all, too");
  command.add_flag("--json", options->json, "Print JSON, with all figures of each window");
  command
      .add_option("--plot", options->picture,
                  "Draw phasors, harmonics and trends: OUT-phasors.png, OUT-harmonics.png, OUT-trends.png")
      ->type_name("OUT|OUT.png|OUT.svg");
  command.footer(footer);
  command.callback([options, &chosen] {
    const PowerChannelOptions& channels = options->channels;
    if (channels.voltages.size() != channels.currents.size() || channels.voltages.size() > mostPhases) {
      throw CLI::ValidationError("--voltage and --current", "name one to three channels each, and as many");
    }
    chosen = [options](const Functions& functions) { return runPower(functions, *options); };
  });
}

}  // namespace kxhost
