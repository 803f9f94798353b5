// What `kxhost spectrum` has found, in words, as a table and as JSON.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "analysis/spectra/averaged_spectrum.hpp"
#include "analysis/spectra/sine_fit.hpp"
#include "analysis/spectra/spectral_peaks.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// What a spectrum's values are: a tone's amplitude, its rms, or power a hertz.
enum class SpectrumQuantity { amplitude, rms, density };

struct ChannelSpectrum {
  std::string name;
  std::string unit;            ///< of the samples; may be empty
  std::vector<double> values;  ///< by bins, in the unit (density: its square a hertz)
  std::vector<SpectralPeak> peaks;
  std::optional<ToneFigures> tone;
  std::optional<double> range;  ///< from end to end, that effective bits refer to
};

struct SpectrumReport {
  std::string file;
  Format format;
  double rate;
  uint64_t begin, end;  ///< frames
  SpectrumSettings settings;
  size_t segments;
  SpectrumQuantity quantity;
  double reference;     ///< of 0 dB
  bool isFullScaleOne;  ///< whether the samples are fractions of a full scale
  std::vector<ChannelSpectrum> channels;

  double spacing() const { return rate / static_cast<double>(settings.length); }
};

constexpr std::pair<const char*, SpectrumWindow> spectrumWindows[] = {
    {"rectangular", SpectrumWindow::rectangular},
    {"hann", SpectrumWindow::hann},
    {"hamming", SpectrumWindow::hamming},
    {"blackman-harris", SpectrumWindow::blackmanHarris},
    {"flat-top", SpectrumWindow::flatTop}};
constexpr std::pair<const char*, SpectrumQuantity> spectrumQuantities[] = {
    {"amplitude", SpectrumQuantity::amplitude}, {"rms", SpectrumQuantity::rms}, {"density", SpectrumQuantity::density}};

/// The values of a spectrum's bins.
std::vector<double> valuesOf(const AveragedSpectrum& spectrum, SpectrumQuantity quantity, double rate);

/// A value in dB; minus infinity of 0.
double levelOf(const SpectrumReport& report, double value);

/// A tone in the quantity: density tells none, so its rms is given.
double sizeOf(const SpectrumReport& report, const SpectralPeak& peak);

/// "amplitude in V", "power density in V²/Hz", "RMS" where no unit is known.
std::string quantityTitle(const SpectrumReport& report, const std::string& unit);

/// "amplitude in dB re 1 V", "RMS in dB re full scale".
std::string levelTitle(const SpectrumReport& report, const std::string& unit);

/// "22 segments of 4096 samples, hann window".
std::string segmentsText(const SpectrumReport& report);

void printSpectrum(std::ostream& out, const SpectrumReport& report);

/// A row for each frequency, a column for each channel.
void printSpectrumCsv(std::ostream& out, const SpectrumReport& report);

Json jsonOf(const SpectrumReport& report);

}  // namespace kxhost
