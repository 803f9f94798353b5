// kxhost spectrum: averaged spectra of a recording's channels, their peaks, and a tone's noise and distortion.
#include <algorithm>
#include <cmath>
#include <iostream>

#include "host/commands/command.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/commands/selection.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/pictures/spectrum_picture.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/required.hpp"
#include "host/reports/spectrum_report.hpp"

namespace kxhost {
namespace {

struct SpectrumOptions {
  std::string file;
  InputOptions input;
  std::vector<int> channels;
  TimeRange range;
  ValueOptions values;
  SpectrumWindow window = SpectrumWindow::hann;
  std::optional<int64_t> length;
  std::optional<double> resolution;
  double overlap = 50;  // percent
  bool removesAverage = false;
  SpectrumQuantity quantity = SpectrumQuantity::amplitude;
  double reference = 1;
  int peaks = 10;
  bool tone = false;
  std::optional<double> toneFrequency;
  int harmonics = 10;
  std::optional<double> toneRange;
  AxisScale xScale = AxisScale::linear;
  AxisScale yScale = AxisScale::decibel;
  bool json = false;
  bool csv = false;
  std::string picture;
};

constexpr size_t usualLength = 4096;

/// Samples that a tone's record may have: its sine is fitted to all of them at once.
constexpr uint64_t longestRecord = uint64_t{1} << 22;

/// What the options ask for, or the usual length; the recording's where that is shorter.
SpectrumSettings settingsOf(const SpectrumOptions& options, double rate, uint64_t frames) {
  size_t length = std::min<uint64_t>(usualLength, frames / 2 * 2);
  if (options.length) {
    length = static_cast<size_t>(*options.length);
  } else if (options.resolution) {
    length = 2 * static_cast<size_t>(std::llround(std::min(rate / *options.resolution / 2, 1e9)));
  }
  if (length > frames) {
    throw FileError(options.file, fmt::format("has {} samples to take: a segment of {} is longer", frames, length));
  }
  const auto overlap = static_cast<size_t>(std::floor(static_cast<double>(length) * options.overlap / 100));
  return {length, options.window, overlap, options.removesAverage};
}

/// The part of the recording that is taken. Throws FileError if that is too short or too long for what is asked for.
FrameRange rangeOf(const SpectrumOptions& options, const Format& format, uint64_t frames) {
  const FrameRange range = someFramesIn(options.range, options.file, format, frames);
  if (range.count() < 2) {
    throw FileError(options.file, "holds fewer than two samples to take");
  }
  if (options.tone && range.count() > longestRecord) {
    throw FileError(options.file, fmt::format("has {} samples to take, a tone's record {} at most: --from and --to",
                                              range.count(), longestRecord));
  }
  return range;
}

/// The sine, and what else there is.
ToneFigures toneOf(const SpectrumOptions& options, const std::string& channel, double rate,
                   std::span<const double> record) {
  const std::string where = fmt::format("{}: channel {}", options.file, channel);
  const SineFit sine = options.toneFrequency
                           ? required(fitSine(record, *options.toneFrequency / rate), where)
                           : required(fitSineAndFrequency(record, required(strongestFrequency(record), where)), where);
  return required(toneFigures(record, sine, options.harmonics), where);
}

/// What effective bits refer to: the full scale of files that have one.
std::optional<double> converterRange(const SpectrumOptions& options, const Format& format) {
  const bool isInteger = format.type == SampleType::int16 || format.type == SampleType::int32;
  if (options.toneRange || !(isInteger || isFullScaleOne(options.values, format))) {
    return options.toneRange;
  }
  return 2 * format.fullScale * std::abs(scalingOf(options.values, format).scale);
}

template <class T>
SpectrumReport analyse(const Functions& functions, const SpectrumOptions& options, Recording& recording) {
  const Format& format = recording.format();
  const double rate = rateOf(options.file, format);
  const std::vector<size_t> chosen = channelIndices(options.file, format, options.channels);
  if (!options.picture.empty() && chosen.size() > mostSpectra) {
    throw FileError(options.file,
                    fmt::format("a picture tells {} channels apart, not {}: --channel", mostSpectra, chosen.size()));
  }
  const Scaling scaling = scalingOf(options.values, format);
  FrameReader<T> reader(recording, options.file, 2 + (options.tone ? static_cast<int>(chosen.size()) : 0));
  const FrameRange range = rangeOf(options, format, reader.count());
  const SpectrumSettings settings = settingsOf(options, rate, range.count());
  std::vector<AveragedSpectrum> spectra;
  for (size_t i = 0; i < chosen.size(); ++i) {
    spectra.push_back(required(AveragedSpectrum::create(settings), options.file));
  }
  reader.readValues(functions, range, chosen, scaling,
                    [&](size_t i, std::span<const double> values) { spectra[i].feed(values); });

  SpectrumReport report{options.file,
                        format,
                        rate,
                        range.begin,
                        range.end,
                        settings,
                        spectra.front().segments(),
                        options.quantity,
                        options.reference,
                        isFullScaleOne(options.values, format),
                        {}};
  for (size_t i = 0; i < chosen.size(); ++i) {
    ChannelSpectrum channel{format.channels[chosen[i]],
                            unitOf(options.values, format, chosen[i]),
                            valuesOf(spectra[i], options.quantity, rate),
                            peaksOf(spectra[i], rate, static_cast<size_t>(options.peaks)),
                            std::nullopt,
                            converterRange(options, format)};
    if (options.tone) {
      std::vector<double> record;
      reader.readValues(
          functions, range, std::span(chosen).subspan(i, 1), scaling,
          [&](size_t, std::span<const double> values) { record.insert(record.end(), values.begin(), values.end()); });
      channel.tone = toneOf(options, channel.name, rate, record);
    }
    report.channels.push_back(std::move(channel));
  }
  return report;
}

int runSpectrum(const Functions& functions, const SpectrumOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const std::optional<OutputFile> picture = begunPicture(options.picture);
  const SpectrumReport report =
      visitSampleType(recording->format().type, [&]<class T>() { return analyse<T>(functions, options, *recording); });
  const int code = finishOutputs([&] {
    if (picture) {
      drawSpectra(*picture, report, options.xScale, options.yScale);
    }
  });
  printNotes(options.file, recording->notes());
  if (options.json) {
    printJson(jsonOf(report));
  } else if (options.csv) {
    printSpectrumCsv(std::cout, report);
  } else {
    printSpectrum(std::cout, report);
  }
  return code;
}

template <class Names>
auto oneOf(const Names& names) {
  using Value = decltype(std::begin(names)->second);
  std::vector<std::pair<std::string, Value>> pairs(std::begin(names), std::end(names));
  return CLI::CheckedTransformer(pairs);
}

void addAnalysisOptions(CLI::App& command, SpectrumOptions& options) {
  constexpr double leastNumber = 1e-30, greatestNumber = 1e30;
  command
      .add_option("--window", options.window,
                  "Window of the segments: rectangular, hann, hamming, blackman-harris or flat-top (default: hann)")
      ->type_name("WINDOW")
      ->transform(oneOf(spectrumWindows));
  auto* length = command.add_option("--length", options.length, "Samples of a segment, an even number (default: 4096)")
                     ->type_name("SAMPLES")
                     ->check(CLI::Range(int64_t{2}, static_cast<int64_t>(RealTransform::longest)));
  command.add_option("--resolution", options.resolution, "Distance of the bins in Hz, instead of the length")
      ->type_name("HZ")
      ->check(between(1e-9, greatestNumber))
      ->excludes(length);
  command.add_option("--overlap", options.overlap, "How much of a segment it shares with the next one, in percent")
      ->type_name("PERCENT")
      ->check(between(0, 99))
      ->capture_default_str();
  command.add_flag("--remove-average", options.removesAverage, "Take each segment's average off first");
  command
      .add_option("--quantity", options.quantity,
                  "What the values are: amplitude or rms of a tone, or density, power a hertz (default: amplitude)")
      ->type_name("QUANTITY")
      ->transform(oneOf(spectrumQuantities));
  command.add_option("--reference", options.reference, "Value of 0 dB")
      ->type_name("NUMBER")
      ->check(between(leastNumber, greatestNumber))
      ->capture_default_str();
  command.add_option("--peaks", options.peaks, "How many peaks to list of each channel")
      ->type_name("NUMBER")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  auto* tone = command.add_flag(
      "--tone", options.tone, "Fit a sine to the whole selection: SINAD, THD, noise, effective bits (IEEE 1057, 1241)");
  command
      .add_option("--tone-frequency", options.toneFrequency,
                  "The tone's frequency in Hz, if it is known: it is not fitted")
      ->type_name("HZ")
      ->check(between(leastNumber, greatestNumber))
      ->needs(tone);
  command.add_option("--harmonics", options.harmonics, "Highest harmonic of the tone that counts as distortion")
      ->type_name("ORDER")
      ->check(CLI::Range(2, mostHarmonics))
      ->needs(tone)
      ->capture_default_str();
  command
      .add_option("--range", options.toneRange,
                  "Range of the converter from end to end, for effective bits (default: the file's full scale)")
      ->type_name("NUMBER")
      ->check(between(leastNumber, greatestNumber))
      ->needs(tone);
}

}  // namespace

void addSpectrumCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<SpectrumOptions>();
  CLI::App& command =
      *program.add_subcommand("spectrum", "Averaged spectra of channels, their peaks, a tone's SINAD and THD");
  addRecordingOption(command, options->file).required();
  addInputOptions(command, options->input);
  addChannelsOption(command, options->channels, "all");
  addTimeRangeOptions(command, options->range);
  addValueOptions(command, options->values);
  addAnalysisOptions(command, *options);
  auto* json = command.add_flag("--json", options->json, "Print JSON, with the spectra");
  command.add_flag("--csv", options->csv, "Print the spectra as CSV, a row for each frequency")->excludes(json);
  addPictureOption(command, options->picture, "Draw the spectra over one another");
  addScaleOptions(command, options->xScale, options->yScale, "Frequency axis");
  command.footer(
      "Segments under a window, their powers averaged (Welch). An amplitude of 1 is that of a sine of amplitude 1 at "
      "a\n"
      "bin; a density, integrated from 0 to half of the rate, is the mean square. Without --scale and --offset "
      "integer\n"
      "files have a full scale of 1, as in kxhost view.\n"
      "Peaks are maxima that no stronger tone's leakage explains. Their frequency and size are those of a tone "
      "between\n"
      "the bins that the window turns into what was found.\n"
      "A tone's SINAD is its rms over that of all else but the constant; the THD counts harmonics 2 to 10, the SNR "
      "and\n"
      "the noise leave them out. Effective bits refer to the range of the converter.\n"
      "\n"
      "Examples:\n"
      "  kxhost spectrum take1.wav --plot spectrum.png --x-axis log\n"
      "  kxhost spectrum mains.csv --rate 50000 --channel 1,2 --window flat-top --quantity rms\n"
      "  kxhost spectrum noise.wav --quantity density --length 65536 --csv\n"
      "  kxhost spectrum converter.wav --tone --json");
  command.callback([options, &chosen] {
    if (options->length && *options->length % 2 != 0) {
      throw CLI::ValidationError("--length", "is not an even number");
    }
    chosen = [options](const Functions& functions) { return runSpectrum(functions, *options); };
  });
}

}  // namespace kxhost
