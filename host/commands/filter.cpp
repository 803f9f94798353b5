// kxhost filter: a recording through a low-pass, a high-pass or a band-pass, and the filter's frequency response.
#include <charconv>
#include <cmath>
#include <iostream>
#include <limits>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/filters/stream_filter.hpp"
#include "analysis/number_text.hpp"
#include "host/commands/command.hpp"
#include "host/pictures/frequency_plot.hpp"
#include "host/pictures/plot.hpp"
#include "host/pictures/response_picture.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "recordings/audio_output.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

/// In Hz; an edge that is not there is empty.
struct Edges {
  std::optional<double> low, high;
};

struct FilterOptions {
  std::string file;
  std::string output;
  std::string plot;
  InputOptions input;
  Edges edges;
  int order = 4;
  std::optional<size_t> taps;
  Window window = Window::hamming;
};

std::string nameOf(const Edges& edges) {
  return !edges.low    ? "low-pass at " + hertz(*edges.high)
         : !edges.high ? "high-pass at " + hertz(*edges.low)
                       : "band-pass from " + hertz(*edges.low) + " to " + hertz(*edges.high);
}

std::string nameOf(const FilterOptions& options, const FilterDesign& design) {
  const std::string band = nameOf(options.edges);
  if (options.taps) {
    return (options.window == Window::hamming ? "Hamming" : "Blackman") + std::string("-windowed sinc ") + band + ", " +
           std::to_string(*options.taps) + " taps";
  }
  const size_t sections = std::get<std::vector<Section>>(design).size();
  return "Butterworth " + band + ", order " + std::to_string(options.order) + " in " + std::to_string(sections) +
         (sections == 1 ? " section" : " sections");
}

/// The edges as fractions of the sample rate. Throws if no filter can have them.
PassBand bandOf(const FilterOptions& options, double rate) {
  const double least = leastDistance * rate;
  for (const auto& edge : {options.edges.low, options.edges.high}) {
    if (edge && !(*edge >= least && *edge <= rate / 2 - least)) {
      throw FileError(options.file, "cannot be filtered at " + hertz(*edge) + ": at its sample rate of " + hertz(rate) +
                                        " the edges of a filter lie above 0 and below " + hertz(rate / 2) + ", by " +
                                        hertz(least) + " or more");
    }
  }
  if (options.edges.low && options.edges.high && *options.edges.high - *options.edges.low < least) {
    throw FileError(options.file, "cannot be filtered: the edges of a band-pass must be " + hertz(least) +
                                      " or more apart at a sample rate of " + hertz(rate));
  }
  return {options.edges.low.value_or(0) / rate, options.edges.high ? *options.edges.high / rate : 0.5};
}

FilterDesign designOf(const FilterOptions& options, const PassBand& band) {
  if (!options.taps) {
    return required(butterworth(band, options.order), options.file);
  }
  return required(windowedSinc(band, *options.taps, options.window), options.file);
}

/// What is not finite would never leave a recursive filter again.
template <class T>
void requireFinite(const std::string& file, std::span<const T> values, uint64_t firstFrame) {
  for (size_t i = 0; i < values.size(); ++i) {
    if (!std::isfinite(values[i])) {
      throw FileError(file, "cannot be filtered: sample " + std::to_string(firstFrame + i) + " is not a finite number");
    }
  }
}

/// Streams a recording into the output, every channel through a filter of its own. 32-bit integers and doubles are
/// filtered as doubles.
template <class T>
void filterInto(const Functions& functions, const std::string& file, Recording& recording, const FilterDesign& design,
                AudioOutput& output) {
  using Value = std::conditional_t<std::is_same_v<T, int32_t> || std::is_same_v<T, double>, double, float>;
  const Format& format = recording.format();
  const size_t channels = format.channels.size();
  const Scaling scaling{1 / format.fullScale, 0};
  std::vector<StreamFilter> filters;
  for (size_t i = 0; i < channels; ++i) {
    filters.push_back(required(StreamFilter::create(functions, design)));
  }
  Progress progress(file);
  std::vector<T> block(blockFrames * channels);
  std::vector<Value> values(blockFrames);
  std::vector<float> filtered(blockFrames * channels);
  while (const size_t frames = recording.read(std::span(block))) {
    const auto channel = std::span(values).first(frames);
    for (size_t i = 0; i < channels; ++i) {
      channelValues(functions, block.data() + i, channels, scaling, channel);
      requireFinite<Value>(file, channel, output.frames());
      filters[i].feed(channel);
      for (size_t frame = 0; frame < frames; ++frame) {
        filtered[frame * channels + i] = static_cast<float>(channel[frame]);
      }
    }
    output.write(std::span(filtered).first(frames * channels));
    progress.update(recording.position());
  }
}

int wholeRate(const FilterOptions& options, double rate) {
  if (rate != std::floor(rate) || rate > std::numeric_limits<int>::max()) {
    throw FileError(options.file, "cannot be filtered into an audio file: its rate of " + hertz(rate) +
                                      " is not a whole number that those can hold");
  }
  return static_cast<int>(rate);
}

int runFilter(const Functions& functions, const FilterOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const Format& format = recording->format();
  if (!format.rate) {
    throw FileError(options.file, "carries no sample rate: --rate is needed");
  }
  const double rate = *format.rate;
  const PassBand band = bandOf(options, rate);
  const FilterDesign design = designOf(options, band);
  std::optional<OutputFile> picture;
  if (!options.plot.empty()) {
    picture.emplace(options.plot);  // first of all: it may turn out that nothing can be written there
  }
  std::optional<AudioOutput> output;
  if (!options.output.empty()) {
    output.emplace(options.output, format.channels.size(), wholeRate(options, rate));
    visitSampleType(format.type,
                    [&]<class T>() { filterInto<T>(functions, options.file, *recording, design, *output); });
  }
  const std::string name = nameOf(options, design);
  std::string said = name + '\n';
  if (options.taps) {
    const double delay = static_cast<double>(*options.taps - 1) / 2;
    said += "delay: " + numberText(delay, allDigits) + " samples, " + numberText(1000 * delay / rate, 6) + " ms\n";
  }
  if (picture) {
    const Responses responses = responsesOf(functions, design, band, rate);
    drawResponses(*picture, name + ", sample rate " + hertz(rate), responses);
    said += edgesText(responses) + '\n';
  }
  if (output) {
    output->finish();
    said += options.output + ": " + std::to_string(output->frames()) + " frames at " + hertz(rate) + '\n';
  }
  for (const std::string& note : recording->notes()) {
    std::cerr << "kxhost: " << options.file << ": " << note << '\n';
  }
  std::cout << said;
  return 0;
}

Edges edgesIn(const std::string& text) {
  double low = 0, high = 0;
  const char* const end = text.data() + text.size();
  const auto [comma, lowError] = std::from_chars(text.data(), end, low);
  if (lowError == std::errc() && comma != end && *comma == ',') {
    const auto [rest, highError] = std::from_chars(comma + 1, end, high);
    if (highError == std::errc() && rest == end) {
      if (!(low < high)) {
        throw CLI::ValidationError("--bandpass", "its first frequency must be below the second one: " + text);
      }
      return {low, high};
    }
  }
  throw CLI::ValidationError("--bandpass", "is not two frequencies LOW,HIGH: " + text);
}

void addDesignOptions(CLI::App& command, const std::shared_ptr<FilterOptions>& options) {
  CLI::App& band = *command.add_option_group("Band", "What passes (one of these)");
  band.add_option_function<double>(
          "--lowpass",
          [options](double edge) {
            options->edges = {std::nullopt, edge};
          },
          "Frequencies below this one, in Hz")
      ->type_name("HZ");
  band.add_option_function<double>(
          "--highpass",
          [options](double edge) {
            options->edges = {edge, std::nullopt};
          },
          "Frequencies above this one")
      ->type_name("HZ");
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
}

}  // namespace

void addFilterCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<FilterOptions>();
  CLI::App& command = *program.add_subcommand("filter", "Low-pass, high-pass or band-pass of every channel");
  command
      .add_option("FILE", options->file, "Recording: an audio file, a CSV file with a header row, raw samples (--raw)")
      ->required()
      ->type_name("");
  addInputOptions(command, options->input);
  addDesignOptions(command, options);
  command.add_option("-o,--output", options->output, "The file to write, of 32-bit floats")
      ->type_name("OUT.wav")
      ->check([](const std::string& file) { return file.ends_with(".wav") ? "" : file + " does not end in .wav"; });
  command.add_option("--plot", options->plot, "Draw the filter's frequency response, as designed and as measured")
      ->type_name("OUT.png|OUT.svg")
      ->check([](const std::string& file) { return canDraw(file) ? "" : file + " does not end in .png or .svg"; });
  command.footer(
      "A Butterworth filter is 3.01 dB down at its edges and falls by 6.02 dB an octave for each order beyond; it is\n"
      "designed by the bilinear transform with prewarped edges. A windowed sinc is about 6 dB down at its edges, "
      "delays\n"
      "all frequencies by (TAPS - 1) / 2 samples, and falls within about 3.3 (hamming) or 5.5 (blackman) sample rates\n"
      "over TAPS to below -50 or -74 dB. A high-pass needs an odd number of taps.\n"
      "Every channel begins at rest. Integer files are written with a full scale of 1, others as they are.\n"
      "The measured response is that of white noise through the kernel; without -o nothing else is filtered.\n"
      "\n"
      "Examples:\n"
      "  kxhost filter take1.wav --highpass 80 --order 2 -o take1-without-rumble.wav\n"
      "  kxhost filter take1.wav --bandpass 300,3400 --order 6 -o phone.wav --plot response.png\n"
      "  kxhost filter take1.wav --lowpass 1000 --fir 201 --window blackman --plot response.svg");
  command.callback([options, &chosen] {
    if (options->output.empty() && options->plot.empty()) {
      throw CLI::RequiredError("--output or --plot");
    }
    if (options->taps && *options->taps % 2 == 0 && !options->edges.high) {
      throw CLI::ValidationError("--fir", "a high-pass needs an odd number of taps: " + std::to_string(*options->taps));
    }
    chosen = [options](const Functions& functions) { return runFilter(functions, *options); };
  });
}

}  // namespace kxhost
