#include "analysis/spectra/sine_fit.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <optional>
#include <string>
#include <utility>

#include "analysis/spectra/averaged_spectrum.hpp"
#include "analysis/spectra/least_squares.hpp"

namespace kxanalysis {
namespace {

using std::numbers::pi;

/// To the nearest whole turn, from -0.5 to 0.5.
double withinATurn(double turns) {
  return turns - std::round(turns);
}

/// The sine as the fits see it: offset + cosine cos(2 pi frequency t) + sine sin(2 pi frequency t), with t in samples
/// from the record's middle, where a frequency's error moves neither of the two.
struct CentredSine {
  double frequency = 0, cosine = 0, sine = 0, offset = 0;

  double amplitude() const { return std::hypot(cosine, sine); }
};

/// Calls use(t, exp(2 pi i frequency t), sample) for each sample.
template <class Use>
void alongSine(std::span<const double> samples, double frequency, Use use) {
  const double middle = static_cast<double>(samples.size() - 1) / 2;
  for (size_t n = 0; n < samples.size(); ++n) {
    const double time = static_cast<double>(n) - middle;
    use(time, std::polar(1.0, 2 * pi * withinATurn(frequency * time)), samples[n]);
  }
}

std::optional<Problem> problemOf(std::span<const double> samples) {
  if (samples.size() < leastFitted) {
    return unsuitable("number of samples", static_cast<double>(samples.size()), "a sine is fitted to 16 or more");
  }
  const auto isFinite = [](double sample) { return std::isfinite(sample); };
  if (const auto odd = std::ranges::find_if_not(samples, isFinite); odd != samples.end()) {
    return unsuitable("sample " + std::to_string(odd - samples.begin()), *odd, "a sine is fitted to finite numbers");
  }
  return std::nullopt;
}

std::optional<Problem> problemOf(std::span<const double> samples, double frequency) {
  if (auto problem = problemOf(samples)) {
    return problem;
  }
  if (!(frequency * static_cast<double>(samples.size()) >= 1 && frequency < 0.5)) {
    return unsuitable("frequency", frequency,
                      "in cycles a sample, it lies below 0.5, and the record holds a cycle of it");
  }
  return std::nullopt;
}

Result<CentredSine> threeParameters(std::span<const double> samples, double frequency) {
  LeastSquares squares(3);
  alongSine(samples, frequency, [&](double, std::complex<double> turned, double sample) {
    squares.add(std::array{turned.real(), turned.imag(), 1.0}, sample);
  });
  const auto found = squares.solved();
  if (!found) {
    return Problem{found.problem()};
  }
  return CentredSine{frequency, (*found)[0], (*found)[1], (*found)[2]};
}

/// How far the frequency has to move, times the number of samples: by the record's share of what the sine's derivative,
/// t (-cosine sin + sine cos), would add. Over half of the record's length and the amplitude, that column is as large
/// as the other ones.
Result<double> cyclesAway(std::span<const double> samples, const CentredSine& sine) {
  const double half = static_cast<double>(samples.size()) / 2, amplitude = sine.amplitude();
  LeastSquares squares(4);
  alongSine(samples, sine.frequency, [&](double time, std::complex<double> turned, double sample) {
    const double derivative = (sine.sine * turned.real() - sine.cosine * turned.imag()) / amplitude * (time / half);
    squares.add(std::array{turned.real(), turned.imag(), 1.0, derivative}, sample);
  });
  const auto found = squares.solved();
  if (!found) {
    return Problem{found.problem()};
  }
  return (*found)[3] / (pi * amplitude);
}

SineFit fitOf(std::span<const double> samples, const CentredSine& sine) {
  double squares = 0;
  alongSine(samples, sine.frequency, [&](double, std::complex<double> turned, double sample) {
    const double rest = sample - (sine.offset + sine.cosine * turned.real() + sine.sine * turned.imag());
    squares += rest * rest;
  });
  const double middle = static_cast<double>(samples.size() - 1) / 2;
  const double turn = withinATurn(-sine.frequency * middle) - std::atan2(sine.sine, sine.cosine) / (2 * pi);
  return {sine.frequency, sine.amplitude(), withinATurn(turn), sine.offset,
          std::sqrt(squares / static_cast<double>(samples.size()))};
}

/// Harmonics whose frequencies, as they were sampled, lie a bin or more from each other, from 0 and from half of the
/// rate.
std::vector<ToneHarmonic> separateHarmonics(double frequency, int highest, size_t length) {
  const double bin = 0.999 / static_cast<double>(length);  // of a record of whole cycles they lie whole bins apart
  std::vector<ToneHarmonic> separate{{1, frequency, 0}};
  for (int order = 2; order <= highest; ++order) {
    const double folded = std::abs(withinATurn(order * frequency));
    const auto isApart = [&](const ToneHarmonic& other) { return std::abs(folded - other.frequency) >= bin; };
    if (folded >= bin && folded <= 0.5 - bin && std::ranges::all_of(separate, isApart)) {
      separate.push_back({order, folded, 0});
    }
  }
  return separate;
}

/// The row of a constant and of each harmonic's cosine and sine at a sample.
void fillRow(std::span<const ToneHarmonic> harmonics, std::complex<double> turned, std::vector<double>& row) {
  row.assign(1, 1.0);
  std::complex<double> power = turned;
  int order = 1;
  for (const ToneHarmonic& harmonic : harmonics) {
    for (; order < harmonic.order; ++order) {
      power *= turned;
    }
    row.push_back(power.real());
    row.push_back(power.imag());
  }
}

}  // namespace

double SineFit::rms() const {
  return amplitude / std::numbers::sqrt2;
}

Result<SineFit> fitSine(std::span<const double> samples, double frequency) {
  if (auto problem = problemOf(samples, frequency)) {
    return *problem;
  }
  const auto sine = threeParameters(samples, frequency);
  if (!sine) {
    return Problem{sine.problem()};
  }
  return fitOf(samples, *sine);
}

Result<SineFit> fitSineAndFrequency(std::span<const double> samples, double frequency) {
  constexpr int mostSteps = 50;
  constexpr double leastStep = 1e-10;  // cycles of the record: Newton's next one is not seen in doubles
  const auto length = static_cast<double>(samples.size());
  for (int step = 0; step < mostSteps; ++step) {
    if (auto problem = problemOf(samples, frequency)) {
      return *problem;
    }
    const auto sine = threeParameters(samples, frequency);
    if (!sine) {
      return Problem{sine.problem()};
    }
    const auto away = sine->amplitude() > 0 ? cyclesAway(samples, *sine) : Problem{"the record holds no such sine"};
    if (!away) {
      return Problem{away.problem()};
    }
    frequency += *away / length;
    if (std::abs(*away) < leastStep) {
      return fitSine(samples, frequency);
    }
  }
  return Problem{"the record holds no sine near the frequency: the iteration does not come to an end"};
}

Result<double> strongestFrequency(std::span<const double> samples) {
  if (auto problem = problemOf(samples)) {
    return *problem;
  }
  const size_t length = samples.size() / 2 * 2;
  auto spectrum = AveragedSpectrum::create({.length = length, .overlap = 0, .removesAverage = true});
  if (!spectrum) {
    return Problem{spectrum.problem()};
  }
  spectrum->feed(samples.first(length));
  const std::vector<double> squares = spectrum->meanSquares();
  const auto strongest =
      static_cast<size_t>(std::max_element(squares.begin() + 1, squares.end() - 1) - squares.begin());
  if (!(squares[strongest] > 0)) {
    return Problem{"the record is constant: it holds no tone"};
  }
  const double offset = offsetOfTone(SpectrumWindow::hann, std::sqrt(squares[strongest - 1]),
                                     std::sqrt(squares[strongest]), std::sqrt(squares[strongest + 1]), length);
  return (static_cast<double>(strongest) + offset) / static_cast<double>(length);
}

double ToneFigures::effectiveBits(double range) const {
  return std::log2(range / (noiseAndDistortion * std::sqrt(12.0)));
}

Result<ToneFigures> toneFigures(std::span<const double> samples, const SineFit& sine, int harmonics) {
  if (auto problem = problemOf(samples, sine.frequency)) {
    return *problem;
  }
  if (harmonics < 2 || harmonics > mostHarmonics) {
    return unsuitable("number of harmonics", harmonics, "the highest order is 2 to 50");
  }
  std::vector<ToneHarmonic> separate = separateHarmonics(sine.frequency, harmonics, samples.size());
  LeastSquares squares(1 + 2 * separate.size());
  std::vector<double> row;
  alongSine(samples, sine.frequency, [&](double, std::complex<double> turned, double sample) {
    fillRow(separate, turned, row);
    squares.add(row, sample);
  });
  const auto found = squares.solved();
  if (!found) {
    return Problem{found.problem()};
  }
  double rest = 0, distortion = 0;
  alongSine(samples, sine.frequency, [&](double, std::complex<double> turned, double sample) {
    fillRow(separate, turned, row);
    const double left = sample - std::inner_product(row.begin(), row.end(), found->begin(), 0.0);
    rest += left * left;
  });
  for (size_t i = 0; i < separate.size(); ++i) {
    separate[i].amplitude = std::hypot((*found)[1 + 2 * i], (*found)[2 + 2 * i]);
    distortion += separate[i].order > 1 ? separate[i].amplitude * separate[i].amplitude / 2 : 0;
  }
  separate.erase(separate.begin());
  return ToneFigures{sine, std::move(separate), sine.residual, std::sqrt(distortion),
                     std::sqrt(rest / static_cast<double>(samples.size()))};
}

}  // namespace kxanalysis
