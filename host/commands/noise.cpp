// kxhost noise: white noise, and pink noise made of it, with the spectrum that it has.
#include <bit>
#include <cmath>
#include <iostream>

#include "analysis/filters/filter_design.hpp"
#include "analysis/filters/pink_filter.hpp"
#include "analysis/filters/white_noise.hpp"
#include "analysis/number_text.hpp"
#include "analysis/spectra/averaged_spectrum.hpp"
#include "analysis/spectra/noise_bands.hpp"
#include "analysis/statistics/statistics.hpp"
#include "host/commands/command.hpp"
#include "host/commands/options.hpp"
#include "host/commands/outputs.hpp"
#include "host/pictures/frequency_picture.hpp"
#include "host/pictures/picture_file.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "host/reports/table.hpp"
#include "recordings/frame_output.hpp"

namespace kxhost {
namespace {

struct NoiseOptions {
  RecordingOutput output;
  std::string picture;
  bool pink = false;
  bool white = false;
  double seconds = 0;
  int rate = 44100;
  uint64_t seed = 1;

  NoiseColour colour() const { return pink ? NoiseColour::pink : NoiseColour::white; }
  std::string name() const { return pink ? "pink noise" : "white noise"; }
};

/// RMS of what is written: -20 dB re full scale. Pink noise is the sum of many independent values, nearly Gaussian, and
/// full scale ten times its RMS away from 0: it never gets there.
constexpr double writtenRms = 0.1;

/// What the filter does to white noise; empty of white noise itself.
using ImpulseResponse = std::vector<double>;

/// From the generator's white noise, filtered or not, to what is written. The power of filtered white noise is its own
/// times the sum of the squares of the impulse response.
double levelFactor(const ImpulseResponse& impulseResponse) {
  double powerGain = impulseResponse.empty() ? 1 : 0;
  for (const double value : impulseResponse) {
    powerGain += value * value;
  }
  return writtenRms / std::sqrt(WhiteNoise::meanSquare * powerGain);
}

uint64_t framesOf(const NoiseOptions& options) {
  return static_cast<uint64_t>(std::llround(options.seconds * options.rate));
}

/// Bins less than 1 Hz apart, for the lowest bands.
size_t segmentLength(const NoiseOptions& options) {
  return std::bit_ceil(static_cast<size_t>(options.rate));
}

/// Of the shortest noise whose spectrum can be measured.
std::string leastSeconds(const NoiseOptions& options) {
  return fmt::format("{:.4g} s", static_cast<double>(segmentLength(options)) / options.rate);
}

/// Writes the noise and takes note of what is written.
void generate(const Functions& functions, const NoiseOptions& options, double factor, FrameOutput& output,
              Statistics<float>& statistics, AveragedSpectrum& spectrum) {
  WhiteNoise source(options.seed);
  PinkFilter filter(functions);
  Progress progress(options.output.name());
  std::vector<float> block(blockFrames);
  std::vector<double> written(blockFrames);
  const uint64_t frames = framesOf(options);
  while (output.frames() < frames) {
    const size_t length = std::min<uint64_t>(blockFrames, frames - output.frames());
    for (size_t i = 0; i < length; ++i) {
      const double white = source.next();
      block[i] = static_cast<float>(factor * (options.pink ? filter.next(white) : white));
      written[i] = static_cast<double>(block[i]);
    }
    const auto samples = std::span<const float>(block).first(length);
    statistics.feed(samples);
    spectrum.feed(std::span(written).first(length));
    output.write(samples);
    progress.update(static_cast<double>(output.frames()) / static_cast<double>(frames));
  }
}

std::string decibelText(double value) {
  return fmt::format("{:.6g}", std::round(value * 1000) / 1000 + 0.0);  // + 0 takes the sign off a zero
}

/// The filter's gain at these frequencies, which are in Hz.
std::vector<LevelPoint> gainsAt(const std::vector<double>& frequencies, const ImpulseResponse& impulseResponse,
                                double rate) {
  std::vector<LevelPoint> gains;
  gains.reserve(frequencies.size());
  for (const double frequency : frequencies) {
    gains.push_back({frequency, decibels(responseOf(impulseResponse, frequency / rate))});
  }
  return gains;
}

/// A line for each of 20, 50, 100, 200, ... Hz.
void printGains(const ImpulseResponse& impulseResponse, double rate, const IdealFit& ideal) {
  std::vector<double> frequencies{20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000};
  std::erase_if(frequencies, [rate](double frequency) { return frequency > highestBandEnd(rate); });
  Table table({"Frequency/Hz", "Filter gain/dB", "From the ideal/dB"});
  for (const LevelPoint& gain : gainsAt(frequencies, impulseResponse, rate)) {
    const double deviation = gain.decibels - ideal.level - idealSlope(NoiseColour::pink, gain.frequency);
    table.add({cell(gain.frequency, allDigits), decibelText(gain.decibels), decibelText(deviation)});
  }
  table.print(std::cout);
}

/// What can be said of the spectrum of the noise.
struct Spectra {
  std::vector<double> density;       // measured, by bins; empty of noise too short to measure
  std::vector<LevelPoint> measured;  // by bands
  IdealFit measuredFit{};
  std::vector<LevelPoint> filter;  // gain; empty of white noise
  IdealFit filterFit{};
};

Spectra spectraOf(const NoiseOptions& options, const AveragedSpectrum& spectrum,
                  const ImpulseResponse& impulseResponse) {
  constexpr size_t pointsADecade = 40;
  Spectra spectra;
  if (spectrum.segments() > 0) {
    spectra.density = spectrum.density(options.rate);
    spectra.measured = bandLevels(spectra.density, options.rate, options.colour());
    spectra.measuredFit = fitIdeal(spectra.measured, options.colour());
  }
  if (options.pink) {
    const double highest = highestBandEnd(options.rate);
    const auto points = static_cast<size_t>(std::ceil(pointsADecade * std::log10(highest / lowestHeard))) + 1;
    spectra.filter = gainsAt(frequencyGrid(lowestHeard, highest, points), impulseResponse, options.rate);
    spectra.filterFit = fitIdeal(spectra.filter, options.colour());
  }
  return spectra;
}

void printDeviations(const NoiseOptions& options, const Spectra& spectra) {
  printTo(std::cout, "Largest deviation from {}, {:.6g} Hz to {:.6g} Hz:\n",
          options.pink ? "-3.01 dB per octave" : "a flat spectrum", lowestHeard, highestBandEnd(options.rate));
  if (options.pink) {
    printTo(std::cout, "  of the filter {} dB\n", decibelText(spectra.filterFit.deviation));
  }
  if (spectra.measured.empty()) {
    printTo(std::cout, "  of the noise not known: it takes {} to measure\n", leastSeconds(options));
    return;
  }
  // The power of Gaussian noise in a band B Hz wide over T seconds scatters by 1 / sqrt(B T) of itself (Bendat and
  // Piersol, Random Data, section 8.3).
  const double bandwidth = lowestHeard * (std::pow(10.0, 0.1) - 1);
  const double scatter = 10 / std::log(10) / std::sqrt(bandwidth * options.seconds);
  printTo(std::cout,
          "  of the noise {} dB, measured in ten bands a decade (the lowest scatters by {} dB at this length)\n",
          decibelText(spectra.measuredFit.deviation), decibelText(scatter));
}

void drawSpectra(const NoiseOptions& options, const OutputFile& file, double factor, const Spectra& spectra) {
  using enum FrequencyCurve::Style;
  constexpr double binsADecade = 400;
  const double rate = options.rate, lowest = lowestHeard / 2, ideal = spectra.measuredFit.level;
  std::vector<LevelPoint> bins;
  for (size_t i = 1; i < spectra.density.size(); ++i) {
    const double frequency = static_cast<double>(i) * rate / 2 / static_cast<double>(spectra.density.size() - 1);
    if (frequency >= lowest) {
      bins.push_back({frequency, 10 * std::log10(spectra.density[i])});
    }
  }
  FrequencyPicture picture;
  picture.title = fmt::format("{}, {:.6g} s, sample rate {:.6g} Hz, RMS {:.4g} dB re full scale", options.name(),
                              options.seconds, rate, 20 * std::log10(writtenRms));
  picture.subtitle = fmt::format("largest deviation from the ideal, {:.6g} Hz to {:.6g} Hz: measured {} dB",
                                 lowestHeard, highestBandEnd(rate), decibelText(spectra.measuredFit.deviation));
  picture.yTitle = "power density in dB re full scale^2 / Hz";
  picture.lowest = lowest;
  picture.highest = rate / 2;
  picture.curves = {{"averaged spectrum", "#9ec5e8", thinLine, thinned(bins, binsADecade)}};
  if (options.pink) {
    picture.subtitle += fmt::format(", filter {} dB", decibelText(spectra.filterFit.deviation));
    std::vector<LevelPoint> expected = spectra.filter;
    for (LevelPoint& point : expected) {  // the density of the white noise, one-sided, times the filter's gain
      point.decibels += 10 * std::log10(factor * factor * WhiteNoise::meanSquare * 2 / rate);
    }
    picture.curves.push_back({"filter", "#2f6090", line, std::move(expected)});
  }
  const double lowEnd = ideal + idealSlope(options.colour(), lowest);
  const double highEnd = ideal + idealSlope(options.colour(), rate / 2);
  picture.curves.push_back({options.pink ? "ideal, -3.01 dB per octave" : "ideal, flat",
                            "#000000",
                            dashedLine,
                            {{lowest, lowEnd}, {rate / 2, highEnd}}});
  picture.curves.push_back({"measured, ten bands a decade", "#c03020", points, spectra.measured});
  constexpr double air = 10;
  picture.bottom = 10 * std::floor((highEnd - air) / 10);
  picture.top = 10 * std::ceil((lowEnd + air) / 10);
  drawOverFrequency(file, picture);
}

int runNoise(const Functions& functions, const NoiseOptions& options) {
  if (!options.picture.empty() && framesOf(options) < segmentLength(options)) {
    throw FileError(options.picture, fmt::format("cannot be drawn: it takes {} of noise to measure its spectrum",
                                                 leastSeconds(options)));
  }
  const std::optional<OutputFile> picture = begunPicture(options.picture);
  const auto output = beginRecording(options.output, {{"noise"}, static_cast<double>(options.rate), framesOf(options)});
  const ImpulseResponse impulseResponse = options.pink ? pinkImpulseResponse(functions) : ImpulseResponse();
  const double factor = levelFactor(impulseResponse);
  Statistics<float> statistics(functions);
  AveragedSpectrum spectrum =
      required(AveragedSpectrum::create({.length = segmentLength(options), .overlap = segmentLength(options) / 2}));
  generate(functions, options, factor, *output, statistics, spectrum);
  const Spectra spectra = spectraOf(options, spectrum, impulseResponse);
  const int code = finishOutputs([&] {
    if (picture) {
      drawSpectra(options, *picture, factor, spectra);
    }
    output->finish();
  });
  const double peak = std::max(-statistics.minimum(), statistics.maximum());
  printTo(std::cout, "{}: {} frames at {} Hz, {} of seed {}, RMS {} dB and peak {} dB re full scale\n",
          code == 0 ? options.output.name() : "not written", output->frames(), options.rate, options.name(),
          options.seed, decibelText(10 * std::log10(statistics.meanSquare())), decibelText(20 * std::log10(peak)));
  if (options.pink) {
    printGains(impulseResponse, options.rate, spectra.filterFit);
  }
  printDeviations(options, spectra);
  return code;
}

}  // namespace

void addNoiseCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<NoiseOptions>();
  CLI::App& command = *program.add_subcommand("noise", "Write white or pink noise, and show its spectrum");
  CLI::App& colour = *command.add_option_group("Colour", "Which noise (one of these)");
  colour.add_flag("--pink", options->pink, "The same power in every octave");
  colour.add_flag("--white", options->white, "The same power in every hertz");
  colour.require_option(1);
  command.add_option("--seconds", options->seconds, "Length, up to a day")
      ->required()
      ->type_name("SECONDS")
      ->check(between(0.001, 86400, "number of seconds"));
  command.add_option("--rate", options->rate, "Sample rate in Hz")
      ->type_name("HZ")
      ->check(wholeNumber(8000, 384000))
      ->capture_default_str();
  command.add_option("--seed", options->seed, "Another noise for every number")
      ->type_name("NUMBER")
      ->check(wholeNumber(0, UINT64_MAX))
      ->capture_default_str();
  addRecordingOutput(command, options->output, "The file to write, with one channel").required();
  addPictureOption(command, options->picture, "Draw the spectrum of the noise beside the ideal one");
  command.footer(
      "White noise is evenly distributed: the upper 53 bits of the Mersenne twister MT19937-64. Pink noise is the "
      "white\n"
      "noise of the same seed through the pink-noise filter, which begins at rest. Both are written with an RMS of -20 "
      "dB\n"
      "re full scale, so that they do not clip. A seed gives the same noise on every machine.\n"
      "The pink-noise filter is made for 44100 Hz: at other rates its curve moves along with the rate.\n"
      "The table gives the filter's gain, found from its impulse response, and how far that is from the ideal slope.\n"
      "The ideal lies where the largest deviation from it is least.\n"
      "\n"
      "Examples:\n"
      "  kxhost noise --pink --seconds 60 -o pink.wav --plot spectrum.png\n"
      "  kxhost noise --white --seconds 10 --rate 48000 --seed 7 -o white.wav");
  command.callback(
      [options, &chosen] { chosen = [options](const Functions& functions) { return runNoise(functions, *options); }; });
}

}  // namespace kxhost
