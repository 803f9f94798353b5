// kxhost resample: a recording at another sample rate.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <utility>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/number_text.hpp"
#include "analysis/resampling/band_limited_resampler.hpp"
#include "analysis/resampling/resampler.hpp"
#include "host/commands/command.hpp"
#include "host/commands/frame_writer.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "recordings/frame_output.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

struct ResampleOptions {
  std::string file;
  RecordingOutput output;
  InputOptions input;
  double rate = 0;
  bool isPlain = false;
};

/// What limits the recordings that a resampler takes: the spline counts their samples in 32 bits, the filters spread what is
/// not finite, once taken for a single, over many outputs.
void requireUsable(const ResampleOptions& options, std::span<const float> values, uint64_t firstFrame) {
  if (!options.isPlain) {
    requireFinite(options.file, "resampled (unless --plain is given)", values, firstFrame);
  } else if (firstFrame + values.size() > Resampler::mostSamples) {
    throw FileError(options.file, fmt::format("is too long: --plain ends at {} frames", Resampler::mostSamples));
  }
}

/// Streams a recording into the output, every channel through a resampler of its own; returns its number of frames.
template <class AnyResampler, class T>
uint64_t resample(const ResampleOptions& options, Recording& recording, const Functions& functions,
                  std::vector<AnyResampler> resamplers, FrameOutput& output) {
  const Format& format = recording.format();
  const size_t channels = format.channels.size();
  const Scaling scaling{1 / format.fullScale, 0};
  const size_t length = Resampler::blockLength(*format.rate, options.rate);
  FrameWriter writer(output, channels);
  Progress progress(options.file);
  std::vector<T> block(length * channels);
  std::vector<float> values(length);
  uint64_t total = 0;
  while (const size_t frames = recording.read(std::span(block))) {
    const auto channel = std::span(values).first(frames);
    for (size_t i = 0; i < channels; ++i) {
      channelValues(functions, block.data() + i, channels, scaling, channel);
      requireUsable(options, channel, total);
      writer.add(i, required(resamplers[i].feed(channel), options.file));
    }
    total += frames;
    progress.update(recording.position());
  }
  for (size_t i = 0; i < channels; ++i) {
    writer.add(i, required(resamplers[i].finish(), options.file));
  }
  return total;
}

/// The same with the resamplers that the options ask for.
template <class T>
uint64_t resample(const ResampleOptions& options, Recording& recording, const Functions& functions,
                  FrameOutput& output) {
  const double oldRate = *recording.format().rate;
  const size_t channels = recording.format().channels.size();
  if (options.isPlain) {
    std::vector<Resampler> resamplers;
    for (size_t i = 0; i < channels; ++i) {
      resamplers.push_back(required(Resampler::create(functions, oldRate, options.rate)));
    }
    return resample<Resampler, T>(options, recording, functions, std::move(resamplers), output);
  }
  return resample<BandLimitedResampler, T>(
      options, recording, functions,
      std::vector(channels, required(BandLimitedResampler::create(oldRate, options.rate), options.file)), output);
}

int runResample(const Functions& functions, const ResampleOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const Format& format = recording->format();
  const double oldRate = rateOf(options.file, format, "--input-rate");
  const int mostHertz = static_cast<int>(std::clamp<double>(Resampler::mostOutputs * oldRate, 1, INT32_MAX));
  if (!(options.rate >= 1 && options.rate <= mostHertz && options.rate == std::floor(options.rate))) {
    throw FileError(options.file,
                    fmt::format("cannot be resampled to {} Hz: the new rate must be a whole number from 1 to {}",
                                numberText(options.rate, allDigits), mostHertz));
  }
  const int rate = static_cast<int>(options.rate);
  std::optional<uint64_t> expected;
  if (const auto known = recording->frames()) {
    expected = static_cast<uint64_t>(static_cast<double>(*known) / oldRate * rate);
  }
  const auto output = beginRecording(options.output, {format.channels, options.rate, expected});
  const uint64_t frames =
      visitSampleType(format.type, [&]<class T>() { return resample<T>(options, *recording, functions, *output); });
  output->finish();
  placeOutputs();
  printNotes(options.file, recording->notes());
  printTo(std::cout, "{}: {} frames at {} Hz, from {} at {} Hz\n", options.output.name(), output->frames(), rate,
          frames, numberText(oldRate, allDigits));
  return 0;
}

}  // namespace

void addResampleCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<ResampleOptions>();
  CLI::App& command = *program.add_subcommand("resample", "Write a recording at another sample rate");
  addRecordingOption(command, options->file).required();
  addInputOptions(command, options->input, "--input-rate");
  command.add_option("--rate", options->rate, "The new sample rate, a whole number of Hz")
      ->required()
      ->type_name("HZ")
      ->check(wholeNumber(1, INT32_MAX));
  addRecordingOutput(command, options->output, "The file to write").required();
  command.add_flag("--plain", options->isPlain, "Take the bare spline, without the filters that keep to the band");
  command.footer(
      "Frequencies up to 0.45 of the lower one of both rates stay as they are, within 0.1 dB; what lies above its half "
      "is\n"
      "100 dB down or more: the aliases of what a lower rate cannot hold, and the images that a higher one would add.\n"
      "With --plain every channel goes through a cubic spline that meets all its samples, and has both. Output 0 is\n"
      "sample 0. Integer files are written with a full scale of 1, others as they are.\n"
      "\n"
      "Examples:\n"
      "  kxhost resample take1.wav --rate 48000 -o take1-48k.wav\n"
      "  kxhost resample --input-rate 50000 --column Va --column Ia mains.csv --rate 8000 -o mains.wav\n"
      "  kxhost resample slow.csv --input-rate 10 --rate 1000 --plain -o smooth.wav");
  command.callback([options, &chosen] {
    options->input.requiresFinite = !options->isPlain;
    chosen = [options](const Functions& functions) { return runResample(functions, *options); };
  });
}

}  // namespace kxhost
