// kxhost stats: minimum, maximum, average, RMS, AC RMS and crest factor of every channel.
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "analysis/number_text.hpp"
#include "analysis/statistics/envelope.hpp"
#include "analysis/statistics/statistics.hpp"
#include "host/commands/command.hpp"
#include "host/pictures/plot.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "host/reports/table.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

constexpr uint64_t plotColumns = 1000;

struct StatsOptions {
  std::vector<std::string> files;
  InputOptions input;
  bool json = false;
  bool csv = false;
  std::string plot;
};

/// Figures that do not exist (of no samples at all, or a crest factor of silence) are empty.
struct ChannelLine {
  std::string name;
  uint64_t nanSamples = 0;
  std::optional<double> minimum, maximum, average, rms, acRms, crestFactor;
};

struct FileResult {
  std::string file;
  Format format;
  uint64_t samples = 0;
  std::vector<ChannelLine> channels;
  std::vector<Pane> panes;  // with --plot only

  std::optional<double> duration() const {
    return format.rate ? std::optional(static_cast<double>(samples) / *format.rate) : std::nullopt;
  }
};

/// Reads a recording through and calls use(channel, its sample in the block's first frame, room for its samples of the
/// block). Returns the number of frames.
template <class T, class Use, class Report>
uint64_t readThrough(Recording& recording, Use use, Report report) {
  const size_t channels = recording.format().channels.size();
  std::vector<T> block(blockFrames * channels), channel(blockFrames);
  uint64_t total = 0;
  recording.rewind();
  while (const size_t frames = recording.read(std::span(block))) {
    for (size_t i = 0; i < channels; ++i) {
      use(i, block.data() + i, std::span(channel).first(frames));
    }
    total += frames;
    report(recording.position());
  }
  return total;
}

template <class T>
ChannelLine lineOf(const Statistics<T>& plain, const Statistics<T>& aboutOffset, RmsOffset<T> offset) {
  ChannelLine line;
  if (plain.samples() == 0) {
    return line;
  }
  line.nanSamples = plain.nanSamples();
  line.minimum = plain.minimum();
  line.maximum = plain.maximum();
  line.average = plain.average();
  line.rms = std::sqrt(plain.meanSquare());
  line.acRms = alternatingRms(aboutOffset, offset);
  if (line.rms != 0) {
    line.crestFactor = std::max(std::abs(plain.minimum()), std::abs(plain.maximum())) / *line.rms;
  }
  return line;
}

/// Two passes: the first gives the average, the second the RMS about it, and the picture, for which the length must be
/// known.
template <class T>
FileResult measure(const Functions& functions, const std::string& file, Recording& recording, bool withEnvelopes) {
  const size_t channels = recording.format().channels.size();
  Progress progress(file);

  std::vector<Statistics<T>> plain(channels, Statistics<T>(functions));
  const uint64_t frames = readThrough<T>(
      recording,
      [&](size_t i, const T* first, std::span<T> channel) { plain[i].feedInterleaved(first, channels, channel); },
      [&](double position) { progress.update(position / 2); });

  std::vector<RmsOffset<T>> offsets;
  std::vector<Statistics<T>> alternating;
  std::vector<Envelope<T>> envelopes(withEnvelopes ? channels : 0, Envelope<T>(functions, frames, plotColumns));
  for (const Statistics<T>& statistics : plain) {
    offsets.push_back(alternatingOffset<T>(statistics.average()));
    alternating.emplace_back(functions, offsets.back());
  }
  const uint64_t framesAgain = readThrough<T>(
      recording,
      [&](size_t i, const T* first, std::span<T> channel) {
        alternating[i].feedInterleaved(first, channels, channel);
        if (withEnvelopes) {
          envelopes[i].feed(channel);
        }
      },
      [&](double position) { progress.update(0.5 + position / 2); });
  if (framesAgain != frames) {
    throw FileError(file, "changed while it was read");
  }

  FileResult result{file, recording.format(), frames, {}, {}};
  for (size_t i = 0; i < channels; ++i) {
    result.channels.push_back(lineOf(plain[i], alternating[i], offsets[i]));
    result.channels.back().name = result.format.channels[i];
    if (withEnvelopes) {
      result.panes.push_back({"channel " + result.format.channels[i], result.format.unit, envelopes[i].columns()});
    }
  }
  return result;
}

void plotInto(const OutputFile& picture, const FileResult& result) {
  if (result.samples == 0) {
    throw FileError(result.file, "holds no samples to draw");
  }
  drawEnvelopes(picture, titleOf(result.file, result.format), result.panes, result.samples,
                timeAxisTitle(result.format), result.format.rate.value_or(1));
}

/// The picture's file for one of several recordings: out.png becomes out-1.png, out-2.png, ...
std::string plotFile(const StatsOptions& options, size_t index) {
  if (options.files.size() == 1) {
    return options.plot;
  }
  const std::filesystem::path file = options.plot;
  return (file.parent_path() / (file.stem().string() + '-' + std::to_string(index + 1) + file.extension().string()))
      .string();
}

FileResult process(const Functions& functions, const StatsOptions& options, size_t index) {
  const std::string& file = options.files[index];
  const auto recording = openRecording(file, options.input);
  std::optional<OutputFile> picture;
  if (!options.plot.empty()) {
    if (const size_t channels = recording->format().channels.size(); channels > maximumPanes) {
      throw FileError(file, "has " + std::to_string(channels) + " channels, a picture has room for " +
                                std::to_string(maximumPanes));
    }
    picture.emplace(plotFile(options, index));  // first of all: it may turn out that nothing can be written there
  }
  FileResult result = visitSampleType(recording->format().type, [&]<class T>() {
    return measure<T>(functions, file, *recording, picture.has_value());
  });
  if (picture) {
    plotInto(*picture, result);
  }
  for (const std::string& note : recording->notes()) {
    std::cerr << "kxhost: " << file << ": " << note << '\n';
  }
  return result;
}

Table tableOf(const std::vector<FileResult>& results, int digits, const std::string& none) {
  Table table({{"File", false},
               {"Format", false},
               {"Channel", false},
               {"Samples", true},
               {"Duration/s", true},
               {"Minimum", true},
               {"Maximum", true},
               {"Average", true},
               {"RMS", true},
               {"AC RMS", true},
               {"Crest", true},
               {"NaNs", true}});
  const auto cell = [&](std::optional<double> number, int withDigits) {
    return number ? numberText(*number, withDigits) : none;
  };
  for (const FileResult& result : results) {
    const bool isInteger = result.format.type == SampleType::int16 || result.format.type == SampleType::int32;
    const int extremeDigits = isInteger ? allDigits : digits;
    for (const ChannelLine& line : result.channels) {
      table.add({result.file, result.format.container + ' ' + result.format.samples, line.name,
                 std::to_string(result.samples), cell(result.duration(), digits), cell(line.minimum, extremeDigits),
                 cell(line.maximum, extremeDigits), cell(line.average, digits), cell(line.rms, digits),
                 cell(line.acRms, digits), cell(line.crestFactor, digits), std::to_string(line.nanSamples)});
    }
  }
  return table;
}

/// null for figures that do not exist; the JSON library writes null for NaN and infinity, too.
nlohmann::ordered_json jsonNumber(std::optional<double> number) {
  return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json jsonOf(const std::vector<FileResult>& results) {
  auto files = nlohmann::ordered_json::array();
  for (const FileResult& result : results) {
    auto channels = nlohmann::ordered_json::array();
    for (const ChannelLine& line : result.channels) {
      channels.push_back({{"name", line.name},
                          {"minimum", jsonNumber(line.minimum)},
                          {"maximum", jsonNumber(line.maximum)},
                          {"average", jsonNumber(line.average)},
                          {"rms", jsonNumber(line.rms)},
                          {"ac_rms", jsonNumber(line.acRms)},
                          {"crest_factor", jsonNumber(line.crestFactor)},
                          {"nan_samples", line.nanSamples}});
    }
    files.push_back({{"file", result.file},
                     {"container", result.format.container},
                     {"sample_format", result.format.samples},
                     {"unit", result.format.unit},
                     {"sample_rate", jsonNumber(result.format.rate)},
                     {"samples", result.samples},
                     {"duration", jsonNumber(result.duration())},
                     {"channels", std::move(channels)}});
  }
  return {{"files", std::move(files)}};
}

void print(const std::vector<FileResult>& results, const StatsOptions& options) {
  if (options.json) {
    std::cout << jsonOf(results).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  } else if (options.csv) {
    tableOf(results, allDigits, "").printCsv(std::cout);
  } else {
    constexpr int digits = 7;
    tableOf(results, digits, "-").print(std::cout);
  }
}

/// A file that cannot be used does not keep the others from being measured.
int runStats(const Functions& functions, const StatsOptions& options) {
  std::vector<FileResult> results;
  for (size_t i = 0; i < options.files.size(); ++i) {
    try {
      results.push_back(process(functions, options, i));
    } catch (const FileError& error) {
      std::cerr << "kxhost: " << error.what() << '\n';
    }
  }
  if (!results.empty()) {
    print(results, options);
  }
  return results.size() == options.files.size() ? 0 : 1;
}

}  // namespace

void addStatsCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<StatsOptions>();
  CLI::App& command =
      *program.add_subcommand("stats", "Minimum, maximum, average, RMS and crest factor of every channel");
  command
      .add_option("FILE", options->files, "Recordings: audio files, CSV files with a header row, raw samples (--raw)")
      ->required()
      ->type_name("");
  addInputOptions(command, options->input);
  auto* json = command.add_flag("--json", options->json, "Print JSON");
  command.add_flag("--csv", options->csv, "Print CSV")->excludes(json);
  command
      .add_option(
          "--plot", options->plot,
          "Draw each channel's extremes and RMS over time. Of several files, the pictures are numbered: OUT-1.png")
      ->type_name("OUT.png|OUT.svg")
      ->check([](const std::string& file) { return canDraw(file) ? "" : file + " does not end in .png or .svg"; });
  command.footer(
      "Integer files are measured in their own steps: 16-bit ones from -32768 to 32767, 24-bit ones from -8388608\n"
      "to 8388607, 8-bit ones (unsigned, too) from -128 to 127. Floating-point and compressed files are measured\n"
      "as they are, mostly with a full scale of 1. Where a channel holds NaNs, so do its figures.\n"
      "AC RMS is the RMS about the average, the crest factor the largest magnitude over the RMS.\n"
      "\n"
      "Examples:\n"
      "  kxhost stats take1.wav take2.flac\n"
      "  kxhost stats --json --plot overview.png take1.wav\n"
      "  kxhost stats --rate 50000 --column Va --column Ia mains.csv\n"
      "  kxhost stats --raw int16 --channels 12 --rate 1000 heart.dat");
  command.callback(
      [options, &chosen] { chosen = [options](const Functions& functions) { return runStats(functions, *options); }; });
}

}  // namespace kxhost
