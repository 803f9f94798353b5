#include "host/reports/spectrum_report.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "analysis/number_text.hpp"
#include "host/reports/print.hpp"
#include "host/reports/recording_times.hpp"
#include "host/reports/table.hpp"

namespace kxhost {
namespace {

constexpr int digits = 7;

double decibelsOf(double ratio) {
  return 20 * std::log10(ratio);
}

template <class Names, class Value>
std::string nameIn(const Names& names, Value value) {
  return std::ranges::find(names, value, [](const auto& name) { return name.second; })->first;
}

/// What the size of a tone is; of a density its rms.
std::string toneTitle(const SpectrumReport& report) {
  return report.quantity == SpectrumQuantity::amplitude ? "Amplitude" : "RMS";
}

std::string inUnit(const std::string& title, const std::string& unit) {
  return unit.empty() ? title : fmt::format("{}/{}", title, unit);
}

/// The unit that all channels have; nothing if they do not.
std::string commonUnit(const SpectrumReport& report) {
  const std::string& first = report.channels.front().unit;
  const bool isCommon =
      std::ranges::all_of(report.channels, [&](const auto& channel) { return channel.unit == first; });
  return isCommon ? first : "";
}

/// Of tones, whose level is that of their amplitude or rms.
double toneLevel(const SpectrumReport& report, double size) {
  return decibelsOf(size / report.reference);
}

void printPeaks(std::ostream& out, const SpectrumReport& report) {
  Table table({Table::text("Channel"), "Frequency/Hz", inUnit(toneTitle(report), commonUnit(report)), "Level/dB"});
  for (const ChannelSpectrum& channel : report.channels) {
    for (const SpectralPeak& peak : channel.peaks) {
      const double size = sizeOf(report, peak);
      table.add(
          {channel.name, cell(peak.frequency, 9), cell(size, digits), fmt::format("{:.2f}", toneLevel(report, size))});
    }
  }
  table.print(out);
}

void printTones(std::ostream& out, const SpectrumReport& report) {
  const std::string unit = commonUnit(report);
  Table tones({Table::text("Channel"), "Tone/Hz", inUnit("Amplitude", unit), inUnit("Offset", unit), "SINAD/dB",
               "SNR/dB", "THD/dB", "THD/%", inUnit("Noise", unit), "Bits"});
  Table harmonics({Table::text("Channel"), "Harmonic", "Frequency/Hz", inUnit("Amplitude", unit), "From the tone/dB"});
  for (const ChannelSpectrum& channel : report.channels) {
    const ToneFigures& tone = *channel.tone;
    tones.add({channel.name, cell(tone.sine.frequency * report.rate, 9), cell(tone.sine.amplitude, digits),
               cell(tone.sine.offset, digits), fmt::format("{:.2f}", decibelsOf(tone.sinad())),
               fmt::format("{:.2f}", decibelsOf(tone.snr())), fmt::format("{:.2f}", decibelsOf(tone.thd())),
               cell(100 * tone.thd(), 5), cell(tone.noise, digits),
               channel.range ? fmt::format("{:.2f}", tone.effectiveBits(*channel.range)) : "-"});
    for (const ToneHarmonic& harmonic : tone.harmonics) {
      harmonics.add({channel.name, std::to_string(harmonic.order), cell(harmonic.frequency * report.rate, 9),
                     cell(harmonic.amplitude, digits),
                     fmt::format("{:.2f}", decibelsOf(harmonic.amplitude / tone.sine.amplitude))});
    }
  }
  out << '\n';
  tones.print(out);
  out << '\n';
  harmonics.print(out);
}

Json jsonOf(const ToneFigures& tone, double rate, std::optional<double> range) {
  auto harmonics = Json::array();
  for (const ToneHarmonic& harmonic : tone.harmonics) {
    harmonics.push_back(
        {{"order", harmonic.order}, {"frequency_hz", harmonic.frequency * rate}, {"amplitude", harmonic.amplitude}});
  }
  return {{"frequency_hz", tone.sine.frequency * rate},
          {"amplitude", tone.sine.amplitude},
          {"phase_deg", 360 * tone.sine.turn},
          {"offset", tone.sine.offset},
          {"sinad_db", decibelsOf(tone.sinad())},
          {"snr_db", decibelsOf(tone.snr())},
          {"thd_db", decibelsOf(tone.thd())},
          {"thd_percent", 100 * tone.thd()},
          {"noise_and_distortion", tone.noiseAndDistortion},
          {"noise", tone.noise},
          {"range", jsonNumber(range)},
          {"effective_bits", range ? Json(tone.effectiveBits(*range)) : Json()},
          {"harmonics", std::move(harmonics)}};
}

Json jsonOf(const SpectrumReport& report, const ChannelSpectrum& channel) {
  auto peaks = Json::array();
  for (const SpectralPeak& peak : channel.peaks) {
    const double size = sizeOf(report, peak);
    peaks.push_back({{"frequency_hz", peak.frequency},
                     {report.quantity == SpectrumQuantity::amplitude ? "amplitude" : "rms", size},
                     {"level_db", toneLevel(report, size)}});
  }
  Json json{{"name", channel.name}, {"unit", channel.unit}, {"peaks", std::move(peaks)}};
  if (channel.tone) {
    json["tone"] = jsonOf(*channel.tone, report.rate, channel.range);
  }
  json["spectrum"] = channel.values;
  return json;
}

}  // namespace

std::vector<double> valuesOf(const AveragedSpectrum& spectrum, SpectrumQuantity quantity, double rate) {
  if (quantity == SpectrumQuantity::density) {
    return spectrum.density(rate);
  }
  std::vector<double> values = spectrum.meanSquares();
  for (double& value : values) {
    const bool isSine = &value != &values.front() && &value != &values.back();
    value = std::sqrt(quantity == SpectrumQuantity::amplitude && isSine ? 2 * value : value);
  }
  return values;
}

double levelOf(const SpectrumReport& report, double value) {
  return report.quantity == SpectrumQuantity::density ? 10 * std::log10(value / (report.reference * report.reference))
                                                      : decibelsOf(value / report.reference);
}

double sizeOf(const SpectrumReport& report, const SpectralPeak& peak) {
  return report.quantity == SpectrumQuantity::amplitude ? std::numbers::sqrt2 * peak.rms : peak.rms;
}

std::string quantityTitle(const SpectrumReport& report, const std::string& unit) {
  switch (report.quantity) {
    case SpectrumQuantity::amplitude:
      return unit.empty() ? "amplitude" : "amplitude in " + unit;
    case SpectrumQuantity::rms:
      return unit.empty() ? "RMS" : "RMS in " + unit;
    case SpectrumQuantity::density:
      break;
  }
  return unit.empty() ? "power density in 1/Hz" : fmt::format("power density in {}\u00B2/Hz", unit);
}

std::string levelTitle(const SpectrumReport& report, const std::string& unit) {
  const std::string size = numberText(report.reference, digits);
  const bool isDensity = report.quantity == SpectrumQuantity::density;
  const std::string name = isDensity                                        ? "power density"
                           : report.quantity == SpectrumQuantity::amplitude ? "amplitude"
                                                                            : "RMS";
  const std::string reference = report.isFullScaleOne && report.reference == 1 ? "full scale"
                                : unit.empty()                                 ? size
                                : isDensity                                    ? fmt::format("({} {})", size, unit)
                                                                               : fmt::format("{} {}", size, unit);
  return fmt::format("{} in dB re {}{}", name, reference, isDensity ? "\u00B2/Hz" : "");
}

std::string segmentsText(const SpectrumReport& report) {
  return fmt::format("{} {} of {} samples, {} window", report.segments, report.segments == 1 ? "segment" : "segments",
                     report.settings.length, nameIn(spectrumWindows, report.settings.window));
}

void printSpectrum(std::ostream& out, const SpectrumReport& report) {
  const double width = report.spacing() * noiseBandwidth(report.settings.window);
  printTo(out, "{}: {}, overlapping by {} samples; bins {:.7g} Hz apart, {:.7g} Hz wide for noise\n",
          titleOf(report.file, report.format), segmentsText(report), report.settings.overlap, report.spacing(), width);
  if (const std::string times = timesText(report.format); !times.empty()) {
    printTo(out, "{}\n", times);
  }
  printTo(out, "0 dB: {}\n\n", levelTitle(report, commonUnit(report)));
  printPeaks(out, report);
  if (report.channels.front().tone) {
    printTones(out, report);
  }
}

void printSpectrumCsv(std::ostream& out, const SpectrumReport& report) {
  std::vector<Table::Column> columns{"Frequency/Hz"};
  for (const ChannelSpectrum& channel : report.channels) {
    columns.emplace_back(channel.name);
  }
  Table table(std::move(columns));
  for (size_t bin = 0; bin < report.channels.front().values.size(); ++bin) {
    std::vector<std::string> row{cell(static_cast<double>(bin) * report.spacing(), allDigits)};
    for (const ChannelSpectrum& channel : report.channels) {
      row.push_back(cell(channel.values[bin], allDigits));
    }
    table.add(std::move(row));
  }
  table.printCsv(out);
}

Json jsonOf(const SpectrumReport& report) {
  Json json{{"file", report.file},
            {"container", report.format.container},
            {"sample_format", report.format.samples},
            {"sample_rate_hz", report.rate},
            {"from_s", static_cast<double>(report.begin) / report.rate},
            {"samples", report.end - report.begin}};
  addTimes(json, report.format);
  json["window"] = nameIn(spectrumWindows, report.settings.window);
  json["segment_samples"] = report.settings.length;
  json["overlap_samples"] = report.settings.overlap;
  json["segments"] = report.segments;
  json["bin_hz"] = report.spacing();
  json["noise_bandwidth_hz"] = report.spacing() * noiseBandwidth(report.settings.window);
  json["quantity"] = nameIn(spectrumQuantities, report.quantity);
  json["reference"] = report.reference;
  auto channels = Json::array();
  for (const ChannelSpectrum& channel : report.channels) {
    channels.push_back(jsonOf(report, channel));
  }
  json["channels"] = std::move(channels);
  return json;
}

}  // namespace kxhost
