// kxhost filter: a recording through a low-pass, a high-pass or a band-pass, and the filter's frequency response.
#include <fmt/format.h>

#include <cmath>
#include <iostream>
#include <limits>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/filters/filtered_stream.hpp"
#include "analysis/number_text.hpp"
#include "host/commands/command.hpp"
#include "host/commands/frame_writer.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/pictures/response_picture.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "recordings/frame_output.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

/// In Hz; an edge that is not there is empty.
struct Edges {
  std::optional<double> low, high;
};

struct FilterOptions {
  std::string file;
  RecordingOutput output;
  std::string picture;
  InputOptions input;
  Edges edges;
  int order = 4;
  std::optional<size_t> taps;
  Window window = Window::hamming;
  FilterWay way = FilterWay::quickest;
};

std::string nameOf(const Edges& edges) {
  return !edges.low    ? fmt::format("low-pass at {:.6g} Hz", *edges.high)
         : !edges.high ? fmt::format("high-pass at {:.6g} Hz", *edges.low)
                       : fmt::format("band-pass from {:.6g} Hz to {:.6g} Hz", *edges.low, *edges.high);
}

std::string nameOf(const FilterOptions& options, const FilterDesign& design) {
  const std::string band = nameOf(options.edges);
  if (options.taps) {
    const char* const window = options.window == Window::hamming ? "Hamming" : "Blackman";
    return fmt::format("{}-windowed sinc {}, {} taps", window, band, *options.taps);
  }
  const size_t sections = std::get<std::vector<Section>>(design).size();
  return fmt::format("Butterworth {}, order {} in {} {}", band, options.order, sections,
                     sections == 1 ? "section" : "sections");
}

/// The edges as fractions of the sample rate. Throws if no filter can have them.
PassBand bandOf(const FilterOptions& options, double rate) {
  const double least = leastDistance * rate;
  for (const auto& edge : {options.edges.low, options.edges.high}) {
    if (edge && !(*edge >= least && *edge <= rate / 2 - least)) {
      throw FileError(options.file,
                      fmt::format("cannot be filtered at {:.6g} Hz: at its sample rate of {:.6g} Hz the edges of a "
                                  "filter lie above 0 and below {:.6g} Hz, by {:.6g} Hz or more",
                                  *edge, rate, rate / 2, least));
    }
  }
  if (options.edges.low && options.edges.high && *options.edges.high - *options.edges.low < least) {
    throw FileError(options.file,
                    fmt::format("cannot be filtered: the edges of a band-pass must be {:.6g} Hz or more apart at a "
                                "sample rate of {:.6g} Hz",
                                least, rate));
  }
  return {options.edges.low.value_or(0) / rate, options.edges.high ? *options.edges.high / rate : 0.5};
}

FilterDesign designOf(const FilterOptions& options, const PassBand& band) {
  if (!options.taps) {
    return required(butterworth(band, options.order), options.file);
  }
  return required(windowedSinc(band, *options.taps, options.window), options.file);
}

/// Streams a recording into the output, every channel through a filter of its own. 32-bit integers and doubles are
/// filtered as doubles.
template <class T>
void filterInto(const Functions& functions, const FilterOptions& options, Recording& recording,
                const FilterDesign& design, FrameOutput& output) {
  using Value = std::conditional_t<std::is_same_v<T, int32_t> || std::is_same_v<T, double>, double, float>;
  const Format& format = recording.format();
  const size_t channels = format.channels.size();
  const Scaling scaling{1 / format.fullScale, 0};
  std::vector<FilteredStream> filters(channels, required(FilteredStream::create(functions, design, options.way)));
  FrameWriter writer(output, channels);
  Progress progress(options.file);
  std::vector<T> block(blockFrames * channels);
  std::vector<Value> values(blockFrames);
  while (const size_t frames = recording.read(std::span(block))) {
    const auto channel = std::span(values).first(frames);
    for (size_t i = 0; i < channels; ++i) {
      channelValues(functions, block.data() + i, channels, scaling, channel);
      writer.add(i, filters[i].feed(std::span<const Value>(channel)));
    }
    progress.update(recording.position());
  }
  for (size_t i = 0; i < channels; ++i) {
    writer.add(i, filters[i].finish());
  }
}

void requireWholeRate(const FilterOptions& options, double rate) {
  if (rate != std::floor(rate) || rate > std::numeric_limits<int>::max()) {
    throw FileError(options.file,
                    fmt::format("cannot be filtered into an audio file: its rate of {:.6g} Hz is not a whole number "
                                "that those can hold",
                                rate));
  }
}

int runFilter(const Functions& functions, const FilterOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const Format& format = recording->format();
  const double rate = rateOf(options.file, format);
  const PassBand band = bandOf(options, rate);
  const FilterDesign design = designOf(options, band);
  const std::optional<OutputFile> picture = begunPicture(options.picture);
  std::unique_ptr<FrameOutput> output;
  if (options.output.isWanted()) {
    if (options.output.kind() == FrameFormat::wav) {
      requireWholeRate(options, rate);
    }
    output = beginRecording(options.output, {format.channels, rate, recording->frames()});
    visitSampleType(format.type, [&]<class T>() { filterInto<T>(functions, options, *recording, design, *output); });
  }
  const std::string name = nameOf(options, design);
  std::string said = name + '\n';
  if (options.taps) {
    const double delay = static_cast<double>(*options.taps - 1) / 2;
    said += fmt::format("delay: {} samples, {:.6g} ms\n", numberText(delay, allDigits), 1000 * delay / rate);
  }
  const int code = finishOutputs([&] {
    if (picture) {
      const Responses responses = responsesOf(functions, design, options.way, band, rate);
      said += edgesText(responses) + '\n';
      drawResponses(*picture, fmt::format("{}, sample rate {:.6g} Hz", name, rate), responses);
    }
    if (output) {
      output->finish();
    }
  });
  if (output && code == 0) {
    said += fmt::format("{}: {} frames at {:.6g} Hz\n", options.output.name(), output->frames(), rate);
  }
  printNotes(options.file, recording->notes());
  std::cout << said;
  return code;
}

Edges edgesIn(const std::string& text) {
  const auto edges = pairIn<double>(text);
  if (!edges) {
    throw CLI::ValidationError("--bandpass", "is not two frequencies LOW,HIGH: " + text);
  }
  if (!(edges->first < edges->second)) {
    throw CLI::ValidationError("--bandpass", "its first frequency must be below the second one: " + text);
  }
  return {edges->first, edges->second};
}

void addDesignOptions(CLI::App& command, const std::shared_ptr<FilterOptions>& options) {
  CLI::App& band = *command.add_option_group("Band", "What passes (one of these)");
  band.add_option_function<double>(
          "--lowpass",
          [options](double edge) {
            options->edges = {std::nullopt, edge};
          },
          "Frequencies below this one, in Hz")
      ->type_name("HZ")
      ->check(aboveZero());
  band.add_option_function<double>(
          "--highpass",
          [options](double edge) {
            options->edges = {edge, std::nullopt};
          },
          "Frequencies above this one")
      ->type_name("HZ")
      ->check(aboveZero());
  band.add_option_function<std::string>(
          "--bandpass", [options](const std::string& text) { options->edges = edgesIn(text); },
          "Frequencies between these two")
      ->type_name("LOW,HIGH");
  band.require_option(1);
  auto* order =
      command.add_option("--order", options->order, "Order of the Butterworth filter; of a band-pass, of each edge")
          ->type_name("NUMBER")
          ->check(CLI::Range(1, maximumOrder))
          ->capture_default_str();
  auto* taps =
      command.add_option("--fir", options->taps, "Take a windowed sinc of this many taps, of linear phase, instead")
          ->type_name("TAPS")
          ->check(CLI::Range(minimumTaps, maximumTaps))
          ->excludes(order);
  command.add_option("--window", options->window, "Its window: hamming (default) or blackman")
      ->type_name("NAME")
      ->transform(CLI::CheckedTransformer(
          std::vector<std::pair<std::string, Window>>{{"hamming", Window::hamming}, {"blackman", Window::blackman}}))
      ->needs(taps);
  command
      .add_flag_callback(
          "--exact", [options] { options->way = FilterWay::kernels; },
          "Sum up every output in the FIR kernel, however many taps there are")
      ->needs(taps);
}

}  // namespace

void addFilterCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<FilterOptions>();
  CLI::App& command = *program.add_subcommand("filter", "Low-pass, high-pass or band-pass of every channel");
  addRecordingOption(command, options->file).required();
  addInputOptions(command, options->input);
  addDesignOptions(command, options);
  addRecordingOutput(command, options->output, "The file to write");
  addPictureOption(command, options->picture, "Draw the filter's frequency response, as designed and as measured");
  command.footer(
      "A Butterworth filter is 3.01 dB down at its edges and falls by 6.02 dB an octave for each order beyond; it is\n"
      "designed by the bilinear transform with prewarped edges. A windowed sinc is about 6 dB down at its edges, "
      "delays\n"
      "all frequencies by (TAPS - 1) / 2 samples, and falls within about 3.3 (hamming) or 5.5 (blackman) sample rates\n"
      "over TAPS to below -50 or -74 dB. A high-pass needs an odd number of taps.\n"
      "Every channel begins at rest. Integer files are written with a full scale of 1, others as they are.\n"
      "64 taps and more go through Fourier transforms of blocks, which give the kernel's outputs within 1e-6 of "
      "full\n"
      "scale in a small part of its time; --exact takes the kernel.\n"
      "The measured response is that of white noise through the same filter; without -o nothing else is filtered.\n"
      "\n"
      "Examples:\n"
      "  kxhost filter take1.wav --highpass 80 --order 2 -o take1-without-rumble.wav\n"
      "  kxhost filter take1.wav --bandpass 300,3400 --order 6 -o phone.wav --plot response.png\n"
      "  kxhost filter take1.wav --lowpass 1000 --fir 201 --window blackman --plot response.svg");
  options->input.requiresFinite = true;  // else nothing but NaNs would come out of a recursive filter ever after
  command.callback([options, &chosen] {
    if (!options->output.isWanted() && options->picture.empty()) {
      throw CLI::RequiredError("--output or --plot");
    }
    if (options->taps && *options->taps % 2 == 0 && !options->edges.high) {
      throw CLI::ValidationError("--fir", fmt::format("a high-pass needs an odd number of taps: {}", *options->taps));
    }
    chosen = [options](const Functions& functions) { return runFilter(functions, *options); };
  });
}

}  // namespace kxhost
