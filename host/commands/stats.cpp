// kxhost stats: minimum, maximum, average, RMS, AC RMS, crest factor and percentiles of every channel.
#include <iostream>

#include "analysis/number_text.hpp"
#include "analysis/statistics/envelope.hpp"
#include "analysis/statistics/percentiles.hpp"
#include "analysis/statistics/statistics.hpp"
#include "host/commands/command.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/commands/selection.hpp"
#include "host/pictures/envelope_picture.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/required.hpp"
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
  TimeRange range;
  std::vector<double> percentiles;
};

/// Figures that do not exist (of no samples at all, or a crest factor of silence) are empty.
struct ChannelLine {
  std::string name;
  uint64_t nanSamples = 0;
  std::optional<double> minimum, maximum, average, rms, acRms, crestFactor;
  std::vector<double> percentiles;  // NaN where there is none
};

struct FileResult {
  std::string file;
  Format format;
  FrameRange range;
  std::vector<ChannelLine> channels;
  std::vector<EnvelopePane> panes;    // with --plot only
  std::optional<OutputFile> picture;  // which these are drawn in

  std::optional<double> duration() const {
    return format.rate ? std::optional(static_cast<double>(range.count()) / *format.rate) : std::nullopt;
  }
};

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

/// What one channel goes through, pass by pass: the first gives the average, the second the RMS about it, and the
/// picture, for which the length must be known. Percentiles may take further ones.
template <class T>
class ChannelMeasurement {
public:
  ChannelMeasurement(const Functions& functions, const StatsOptions& options)
      : functions_(functions),
        hasPicture_(!options.picture.empty()),
        plain_(functions),
        alternating_(functions),
        envelope_(functions, 0, 1),
        percentiles_(required(Percentiles<T>::create(options.percentiles))) {}

  static int passesFor(const StatsOptions& options) {
    return options.percentiles.empty() ? 2 : std::max(2, Percentiles<T>::passes);
  }

  /// @param first     the channel's sample in the first of `channels` interleaved ones.
  /// @param channel   room for its samples.
  void feed(const T* first, size_t channels, std::span<T> channel) {
    if (pass_ < 2) {
      (pass_ == 0 ? plain_ : alternating_).feedInterleaved(first, channels, channel);
    } else {
      for (T& sample : channel) {
        sample = *first;
        first += channels;
      }
    }
    if (pass_ == 1 && hasPicture_) {
      envelope_.feed(channel);
    }
    if (pass_ < Percentiles<T>::passes) {
      percentiles_.feed(channel);
    }
  }

  void finishPass() {
    if (pass_ == 0) {
      offset_ = alternatingOffset<T>(plain_.average());
      alternating_ = Statistics<T>(functions_, offset_);
      envelope_ = Envelope<T>(functions_, plain_.samples(), pictureColumns);
    }
    if (pass_ < Percentiles<T>::passes) {
      percentiles_.finishPass();
    }
    ++pass_;
  }

  ChannelLine line() const {
    ChannelLine line = lineOf(plain_, alternating_, offset_);
    line.percentiles = percentiles_.values();
    return line;
  }
  const std::vector<EnvelopeColumn>& columns() const { return envelope_.columns(); }

private:
  const Functions& functions_;
  bool hasPicture_;
  int pass_ = 0;
  Statistics<T> plain_;
  RmsOffset<T> offset_ = 0;
  Statistics<T> alternating_;
  Envelope<T> envelope_;
  Percentiles<T> percentiles_;
};

template <class T>
FileResult measure(const Functions& functions, const std::string& file, const StatsOptions& options,
                   Recording& recording) {
  const Format& format = recording.format();
  const size_t channels = format.channels.size();
  const bool isPart = !options.range.isWhole();
  const int passes = ChannelMeasurement<T>::passesFor(options);
  FrameReader<T> reader(recording, file, passes + (isPart ? 1 : 0));
  FrameRange range = isPart ? someFramesIn(options.range, file, format, reader.count()) : FrameRange();
  std::vector<ChannelMeasurement<T>> measurements(channels, ChannelMeasurement<T>(functions, options));
  std::vector<T> channel(blockFrames);
  const auto take = [&](std::span<const T> samples, size_t frames) {
    for (size_t i = 0; i < channels; ++i) {
      measurements[i].feed(samples.data() + i, channels, std::span(channel).first(frames));
    }
  };
  for (int pass = 0; pass < passes; ++pass) {
    if (pass == 0 && !isPart) {
      range.end = reader.readAll(take);
    } else {
      reader.read(range, take);
    }
    for (ChannelMeasurement<T>& measurement : measurements) {
      measurement.finishPass();
    }
  }

  FileResult result{file, format, range, {}, {}, {}};
  for (size_t i = 0; i < channels; ++i) {
    result.channels.push_back(measurements[i].line());
    result.channels.back().name = format.channels[i];
    if (!options.picture.empty()) {
      result.panes.push_back({"channel " + format.channels[i], format.unit, measurements[i].columns()});
    }
  }
  return result;
}

void draw(const FileResult& result) {
  if (result.range.count() == 0) {
    throw FileError(result.file, "holds no samples to draw");
  }
  drawEnvelopes(*result.picture, titleOf(result.file, result.format), result.panes, result.range.begin,
                result.range.end, timeAxisTitle(result.format), result.format.rate.value_or(1));
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
  FileResult result = visitSampleType(recording->format().type,
                                      [&]<class T>() { return measure<T>(functions, file, options, *recording); });
  result.picture = std::move(picture);
  printNotes(file, recording->notes());
  return result;
}

Table tableOf(const std::vector<FileResult>& results, const std::vector<double>& percents, int digits,
              const std::string& none) {
  std::vector<Table::Column> columns{Table::text("File"),
                                     Table::text("Format"),
                                     Table::text("Channel"),
                                     "Samples",
                                     "Duration/s",
                                     "Minimum",
                                     "Maximum",
                                     "Average",
                                     "RMS",
                                     "AC RMS",
                                     "Crest",
                                     "NaNs"};
  for (const double percent : percents) {
    columns.emplace_back("P" + cell(percent, allDigits));
  }
  Table table(std::move(columns));
  for (const FileResult& result : results) {
    const bool isInteger = result.format.type == SampleType::int16 || result.format.type == SampleType::int32;
    const int extremeDigits = isInteger ? allDigits : digits;
    for (const ChannelLine& line : result.channels) {
      std::vector<std::string> row{result.file, fmt::format("{} {}", result.format.container, result.format.samples),
                                   line.name, std::to_string(result.range.count()),
                                   cell(result.duration(), digits, none)};
      for (const auto& figure : {line.minimum, line.maximum}) {
        row.push_back(cell(figure, extremeDigits, none));
      }
      for (const auto& figure : {line.average, line.rms, line.acRms, line.crestFactor}) {
        row.push_back(cell(figure, digits, none));
      }
      row.push_back(std::to_string(line.nanSamples));
      for (const double percentile : line.percentiles) {
        row.push_back(std::isnan(percentile) ? none : cell(percentile, digits));
      }
      table.add(std::move(row));
    }
  }
  return table;
}

Json jsonOf(const std::vector<FileResult>& results, const std::vector<double>& percents) {
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
      if (!percents.empty()) {
        auto& percentiles = channels.back()["percentiles"] = Json::array();
        for (size_t i = 0; i < percents.size(); ++i) {
          percentiles.push_back({{"percent", percents[i]}, {"value", line.percentiles[i]}});
        }
      }
    }
    Json file{{"file", result.file},
              {"container", result.format.container},
              {"sample_format", result.format.samples},
              {"unit", result.format.unit},
              {"sample_rate_hz", jsonNumber(result.format.rate)},
              {"from_s", static_cast<double>(result.range.begin) / result.format.rate.value_or(1)},
              {"samples", result.range.count()},
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
    printJson(jsonOf(results, options.percentiles));
  } else if (options.csv) {
    tableOf(results, options.percentiles, allDigits, "").printCsv(std::cout);
  } else {
    constexpr int digits = 7;
    tableOf(results, options.percentiles, digits, "-").print(std::cout);
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
                  "Recordings: audio files, text files (.csv, .tsv, .txt, .dat), COMTRADE files (.cfg or .cff),\nraw "
                  "samples (--raw), or - for standard input: text, audio or raw")
      ->required()
      ->type_name("");
  addInputOptions(command, options->input);
  addTimeRangeOptions(command, options->range);
  command
      .add_option("--percentiles", options->percentiles,
                  "Also the values that these percentages of the samples do not exceed: 5,50,95")
      ->type_name("PERCENTS")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(between(0, 100, "percentage"));
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
      "Percentiles are exact, whatever the length: samples are counted by their order. Between two samples they are\n"
      "interpolated linearly, as the median of an even number is. NaNs do not count in them.\n"
      "\n"
      "Examples:\n"
      "  kxhost stats take1.wav take2.flac\n"
      "  kxhost stats --json --plot overview.png take1.wav\n"
      "  kxhost stats --rate 50000 --column Va --column Ia mains.csv\n"
      "  kxhost stats take1.wav --from 1.5 --to 2 --percentiles 5,50,95\n"
      "  kxhost stats --raw int16 --channels 12 --rate 1000 heart.dat");
  command.callback([options, &chosen] {
    if (options->percentiles.size() > mostPercentiles) {
      throw CLI::ValidationError("--percentiles", fmt::format("there are {} at most", mostPercentiles));
    }
    chosen = [options](const Functions& functions) { return runStats(functions, *options); };
  });
}

}  // namespace kxhost
