// By the complex transforms of KISS FFT, whose steps grow with the largest prime factor of a length. Lengths with a large
// one go through Bluestein's convolution: L. Bluestein, A linear filtering approach to the computation of discrete Fourier
// transform (1970).
#include "analysis/spectra/real_transform.hpp"

#include <bit>
#include <cstdint>
#include <kissfft.hh>
#include <optional>
#include <utility>
#include <vector>

#include "analysis/spectra/rotation.hpp"

namespace kxanalysis {
namespace {

using Complex = std::complex<double>;

/// Without the check for infinities that std::complex makes of a product: there are none but those of the samples.
Complex product(Complex a, Complex b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

size_t largestPrimeFactor(size_t number) {
  size_t largest = 1;
  for (size_t factor = 2; factor * factor <= number; ++factor) {
    for (; number % factor == 0; number /= factor) {
      largest = factor;
    }
  }
  return number > 1 ? number : largest;
}

/// The transform of any length out of two of a power of two. With k n = (k^2 + n^2 - (k - n)^2) / 2 the sum over n of
/// x[n] exp(-2 pi i k n / N) is w[k] times the convolution of x[n] w[n] with the conjugate of w, w[k] being
/// exp(-pi i k^2 / N), whose angle repeats itself every 2 N of k^2.
class Bluestein {
public:
  explicit Bluestein(size_t length)
      : size_(std::bit_ceil(2 * length)),
        forward_(size_, false),
        backward_(size_, true),
        chirp_(length),
        response_(size_),
        in_(size_),
        out_(size_) {
    for (size_t k = 0; k < length; ++k) {
      chirp_[k] = rotation(uint64_t{k} * k, uint64_t{2} * length);
      const Complex scaled = std::conj(chirp_[k]) / static_cast<double>(size_);
      in_[k] = scaled;
      in_[(size_ - k) % size_] = scaled;
    }
    forward_.transform(in_.data(), response_.data());
  }

  void transform(const Complex* samples, Complex* bins) {
    std::fill(in_.begin(), in_.end(), 0);
    for (size_t n = 0; n < chirp_.size(); ++n) {
      in_[n] = product(samples[n], chirp_[n]);
    }
    forward_.transform(in_.data(), out_.data());
    for (size_t i = 0; i < size_; ++i) {
      in_[i] = product(out_[i], response_[i]);
    }
    backward_.transform(in_.data(), out_.data());
    for (size_t k = 0; k < chirp_.size(); ++k) {
      bins[k] = product(out_[k], chirp_[k]);
    }
  }

private:
  size_t size_;
  kissfft<double> forward_, backward_;
  std::vector<Complex> chirp_, response_, in_, out_;
};

/// The transform of complex signals of one length, by the quicker way.
class ComplexTransform {
public:
  explicit ComplexTransform(size_t length) {
    constexpr size_t largestFactor = 31;  // beyond, the convolution is quicker
    if (largestPrimeFactor(length) > largestFactor) {
      convolution_.emplace(length);
    } else {
      direct_.emplace(length, false);
    }
  }

  void transform(const Complex* samples, Complex* bins) {
    if (convolution_) {
      convolution_->transform(samples, bins);
    } else {
      direct_->transform(samples, bins);
    }
  }

private:
  std::optional<kissfft<double>> direct_;
  std::optional<Bluestein> convolution_;
};

}  // namespace

/// An even number of samples is taken as half as many complex ones, from whose spectrum those of the samples with even
/// and with odd numbers are told apart by their symmetry.
struct RealTransform::Plan {
  explicit Plan(size_t samples)
      : length(samples),
        isHalved(samples % 2 == 0),
        complex(isHalved ? samples / 2 : samples),
        in(isHalved ? samples / 2 : samples),
        out(in.size()),
        bins(samples / 2 + 1) {
    for (size_t k = 0; isHalved && k < bins.size(); ++k) {
      rotations.push_back(rotation(k, length));
    }
  }

  void transform(std::span<const double> samples) {
    for (size_t i = 0; i < in.size(); ++i) {
      in[i] = isHalved ? Complex(samples[2 * i], samples[2 * i + 1]) : Complex(samples[i], 0);
    }
    complex.transform(in.data(), out.data());
    for (size_t k = 0; k < bins.size(); ++k) {
      bins[k] = isHalved ? unfolded(k) : out[k];
    }
  }

  Complex unfolded(size_t k) const {
    const Complex here = out[k % out.size()], mirrored = std::conj(out[(out.size() - k) % out.size()]);
    const Complex even = (here + mirrored) * 0.5, difference = (here - mirrored) * 0.5;
    const Complex odd{difference.imag(), -difference.real()};  // divided by i
    return even + product(odd, rotations[k]);
  }

  size_t length;
  bool isHalved;
  ComplexTransform complex;
  std::vector<Complex> in, out, rotations, bins;
};

Result<RealTransform> RealTransform::create(size_t length) {
  if (length < 1 || length > longest) {
    return unsuitable("length", static_cast<double>(length), "a transform has 1 to 67108864 samples");
  }
  return RealTransform(std::make_unique<Plan>(length));
}

RealTransform::RealTransform(std::unique_ptr<Plan> plan) : plan_(std::move(plan)) {}
RealTransform::RealTransform(RealTransform&& other) noexcept = default;
RealTransform& RealTransform::operator=(RealTransform&& other) noexcept = default;
RealTransform::~RealTransform() = default;

size_t RealTransform::length() const {
  return plan_->length;
}

std::span<const std::complex<double>> RealTransform::transform(std::span<const double> samples) {
  plan_->transform(samples);
  return plan_->bins;
}

}  // namespace kxanalysis
