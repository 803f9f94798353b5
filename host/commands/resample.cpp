// kxhost resample: a recording at another sample rate.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/number_text.hpp"
#include "analysis/resampling/resampler.hpp"
#include "host/commands/command.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "recordings/audio_output.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

struct ResampleOptions {
  std::string file;
  std::string output;
  InputOptions input;
  double rate = 0;
};

/// Where the outputs of all channels meet as frames. All channels are fed the same numbers of samples, so they deliver
/// the same numbers of outputs.
class FrameWriter {
public:
  FrameWriter(AudioOutput& output, size_t channels) : output_(output), channels_(channels) {}

  void add(size_t channel, std::span<const float> values) {
    frames_.resize(values.size() * channels_);
    for (size_t i = 0; i < values.size(); ++i) {
      frames_[i * channels_ + channel] = values[i];
    }
    if (channel + 1 == channels_) {
      output_.write(frames_);
    }
  }

private:
  AudioOutput& output_;
  size_t channels_;
  std::vector<float> frames_;
};

/// Streams a recording into the output; returns its number of frames.
template <class T>
uint64_t resample(const Functions& functions, const std::string& file, Recording& recording, int rate,
                  AudioOutput& output) {
  const Format& format = recording.format();
  const size_t channels = format.channels.size();
  const Scaling scaling{1 / format.fullScale, 0};
  const size_t length = Resampler::blockLength(*format.rate, rate);
  std::vector<Resampler> resamplers;
  for (size_t i = 0; i < channels; ++i) {
    resamplers.push_back(required(Resampler::create(functions, *format.rate, rate)));
  }
  FrameWriter writer(output, channels);
  Progress progress(file);
  std::vector<T> block(length * channels);
  std::vector<float> values(length);
  uint64_t total = 0;
  while (const size_t frames = recording.read(std::span(block))) {
    total += frames;
    if (total > Resampler::mostSamples) {
      throw FileError(file, fmt::format("is too long: resampling ends at {} frames", Resampler::mostSamples));
    }
    const auto channel = std::span(values).first(frames);
    for (size_t i = 0; i < channels; ++i) {
      channelValues(functions, block.data() + i, channels, scaling, channel);
      writer.add(i, required(resamplers[i].feed(channel), file));
    }
    progress.update(recording.position());
  }
  for (size_t i = 0; i < channels; ++i) {
    writer.add(i, required(resamplers[i].finish(), file));
  }
  return total;
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
  AudioOutput output(options.output, format.channels.size(), rate);
  const uint64_t frames = visitSampleType(
      format.type, [&]<class T>() { return resample<T>(functions, options.file, *recording, rate, output); });
  output.finish();
  printNotes(options.file, recording->notes());
  printTo(std::cout, "{}: {} frames at {} Hz, from {} at {} Hz\n", options.output, output.frames(), rate, frames,
          numberText(oldRate, allDigits));
  return 0;
}

}  // namespace

void addResampleCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<ResampleOptions>();
  CLI::App& command = *program.add_subcommand("resample", "Write a recording at another sample rate");
  addRecordingOption(command, options->file).required();
  addInputOptions(command, options->input, "--input-rate");
  command.add_option("--rate", options->rate, "The new sample rate, a whole number of Hz")->required()->type_name("HZ");
  addAudioOutputOption(command, options->output, "The file to write, of 32-bit floats").required();
  command.footer(
      "Every channel goes through a cubic spline that meets all its samples; output 0 is sample 0. Integer files\n"
      "are written with a full scale of 1, others as they are. There is no low-pass filter: what a recording holds\n"
      "above half of the new rate comes back below it.\n"
      "\n"
      "Examples:\n"
      "  kxhost resample take1.wav --rate 48000 -o take1-48k.wav\n"
      "  kxhost resample --input-rate 50000 --column Va --column Ia mains.csv --rate 8000 -o mains.wav");
  command.callback([options, &chosen] {
    chosen = [options](const Functions& functions) { return runResample(functions, *options); };
  });
}

}  // namespace kxhost
