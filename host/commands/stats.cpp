// kxhost stats: minimum, maximum, average, RMS, AC RMS and crest factor of every channel.
#include <iostream>

#include "analysis/number_text.hpp"
#include "analysis/statistics/envelope.hpp"
#include "analysis/statistics/statistics.hpp"
#include "host/commands/command.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/pictures/envelope_picture.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

constexpr uint64_t pictureColumns = 1000;

struct StatsOptions {
  std::vector<std::string> files;
  InputOptions input;
  bool json = false;
  bool csv = false;
  std::string picture;
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
  std::vector<EnvelopePane> panes;    // with --plot only
  std::optional<OutputFile> picture;  // which these are drawn in

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
  std::vector<Envelope<T>> envelopes(withEnvelopes ? channels : 0, Envelope<T>(functions, frames, pictureColumns));
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

  FileResult result{file, recording.format(), frames, {}, {}, {}};
  for (size_t i = 0; i < channels; ++i) {
    result.channels.push_back(lineOf(plain[i], alternating[i], offsets[i]));
    result.channels.back().name = result.format.channels[i];
    if (withEnvelopes) {
      result.panes.push_back({"channel " + result.format.channels[i], result.format.unit, envelopes[i].columns()});
    }
  }
  return result;
}

void draw(const FileResult& result) {
  if (result.samples == 0) {
    throw FileError(result.file, "holds no samples to draw");
  }
  drawEnvelopes(*result.picture, titleOf(result.file, result.format), result.panes, result.samples,
                timeAxisTitle(result.format), result.format.rate.value_or(1));
}

FileResult process(const Functions& functions, const StatsOptions& options, size_t index) {
  const std::string& file = options.files[index];
  const auto recording = openRecording(file, options.input);
  if (const size_t channels = recording->format().channels.size();
      !options.picture.empty() && channels > maximumPanes) {
    throw FileError(file, fmt::format("has {} channels, a picture has room for {}", channels, maximumPanes));
  }
  const bool isNumbered = !options.picture.empty() && options.files.size() > 1;
  std::optional<OutputFile> picture =
      begunPicture(isNumbered ? pictureFile(options.picture, std::to_string(index + 1)) : options.picture);
  FileResult result = visitSampleType(recording->format().type, [&]<class T>() {
    return measure<T>(functions, file, *recording, picture.has_value());
  });
  result.picture = std::move(picture);
  printNotes(file, recording->notes());
  return result;
}

Table tableOf(const std::vector<FileResult>& results, int digits, const std::string& none) {
  Table table({Table::text("File"), Table::text("Format"), Table::text("Channel"), "Samples", "Duration/s", "Minimum",
               "Maximum", "Average", "RMS", "AC RMS", "Crest", "NaNs"});
  for (const FileResult& result : results) {
    const bool isInteger = result.format.type == SampleType::int16 || result.format.type == SampleType::int32;
    const int extremeDigits = isInteger ? allDigits : digits;
    for (const ChannelLine& line : result.channels) {
      std::vector<std::string> row{result.file, fmt::format("{} {}", result.format.container, result.format.samples),
                                   line.name, std::to_string(result.samples), cell(result.duration(), digits, none)};
      for (const auto& figure : {line.minimum, line.maximum}) {
        row.push_back(cell(figure, extremeDigits, none));
      }
      for (const auto& figure : {line.average, line.rms, line.acRms, line.crestFactor}) {
        row.push_back(cell(figure, digits, none));
      }
      row.push_back(std::to_string(line.nanSamples));
      table.add(std::move(row));
    }
  }
  return table;
}

Json jsonOf(const std::vector<FileResult>& results) {
  auto files = Json::array();
  for (const FileResult& result : results) {
    auto channels = Json::array();
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
    Json file{{"file", result.file},
              {"container", result.format.container},
              {"sample_format", result.format.samples},
              {"unit", result.format.unit},
              {"sample_rate_hz", jsonNumber(result.format.rate)},
              {"samples", result.samples},
              {"duration_s", jsonNumber(result.duration())}};
    addTimes(file, result.format);
    file["channels"] = std::move(channels);
    files.push_back(std::move(file));
  }
  return {{"files", std::move(files)}};
}

void printTimes(const std::vector<FileResult>& results) {
  for (const FileResult& result : results) {
    if (const std::string times = timesText(result.format); !times.empty()) {
      printTo(std::cout, "{}: {}\n", result.file, times);
    }
  }
}

void print(const std::vector<FileResult>& results, const StatsOptions& options) {
  if (options.json) {
    printJson(jsonOf(results));
  } else if (options.csv) {
    tableOf(results, allDigits, "").printCsv(std::cout);
  } else {
    constexpr int digits = 7;
    tableOf(results, digits, "-").print(std::cout);
    printTimes(results);
  }
}

/// A file that cannot be used does not keep the others from being measured.
int runStats(const Functions& functions, const StatsOptions& options) {
  std::vector<FileResult> results;
  for (size_t i = 0; i < options.files.size(); ++i) {
    try {
      results.push_back(process(functions, options, i));
    } catch (const FileError& error) {
      printTo(std::cerr, "kxhost: {}\n", error.what());
    }
  }
  const int code = finishOutputs([&] {
    for (const FileResult& result : results) {
      if (result.picture) {
        draw(result);
      }
    }
  });
  if (!results.empty()) {
    print(results, options);
  }
  return results.size() == options.files.size() ? code : 1;
}

}  // namespace

void addStatsCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<StatsOptions>();
  CLI::App& command =
      *program.add_subcommand("stats", "Minimum, maximum, average, RMS and crest factor of every channel");
  command
      .add_option("FILE", options->files,
                  "Recordings: audio files, CSV files with a header row, COMTRADE files (.cfg or .cff), raw "
                  "samples\n(--raw), or - "
                  "for standard input: CSV, audio or raw")
      ->required()
      ->type_name("");
  addInputOptions(command, options->input);
  auto* json = command.add_flag("--json", options->json, "Print JSON");
  command.add_flag("--csv", options->csv, "Print CSV")->excludes(json);
  addPictureOption(
      command, options->picture,
      "Draw each channel's extremes and RMS over time. Of several files, the pictures are numbered: OUT-1.png");
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
