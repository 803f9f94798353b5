// By radix 4, from one long transform to many short ones with decimation in frequency, and back with decimation in time
// (Oppenheim and Schafer, Discrete-Time Signal Processing, sections 9.2 to 9.4). The second undoes the first step by step,
// so that neither has to bring the bins into order.
#include "analysis/spectra/convolution_transform.hpp"

#include <bit>

#include "analysis/lanes.hpp"
#include "analysis/spectra/rotation.hpp"

namespace kxanalysis {
namespace {

/// What fits the first-level cache goes through a step as a whole; what is longer, part by part through all of them.
constexpr size_t cached = 1024;

/// Neighbouring complex values.
struct Complexes {
  Lanes real, imaginary;

  Complexes operator+(Complexes other) const { return {real + other.real, imaginary + other.imaginary}; }
  Complexes operator-(Complexes other) const { return {real - other.real, imaginary - other.imaginary}; }
  Complexes timesI() const { return {-imaginary, real}; }

  Complexes rotated(const double* by) const {
    const Lanes cosine = load(by), sine = load(by + laneCount);
    return {real * cosine - imaginary * sine, real * sine + imaginary * cosine};
  }
  Complexes rotatedBack(const double* by) const {
    const Lanes cosine = load(by), sine = load(by + laneCount);
    return {real * cosine + imaginary * sine, imaginary * cosine - real * sine};
  }
};

constexpr size_t rotationSize = 2 * laneCount;

/// exp(-2 pi i k p / length) for k < count and each p up to `powers`: for the first k as many as there are lanes, their
/// cosines and sines of p = 1, those of p = 2, and so on; then for the next k.
std::vector<double> rotations(size_t count, size_t powers, size_t length) {
  std::vector<double> all;
  for (size_t first = 0; first < count; first += laneCount) {
    for (size_t power = 1; power <= powers; ++power) {
      for (size_t k = first; k < first + laneCount; ++k) {
        all.push_back(rotation(k * power, length).real());
      }
      for (size_t k = first; k < first + laneCount; ++k) {
        all.push_back(rotation(k * power, length).imag());
      }
    }
  }
  return all;
}

/// The transform of four values that are `laneCount` times four, and its inverse, times 4.
struct Four {
  Complexes a, b, c, d;

  Four transformed() const {
    const Complexes ac = a + c, bd = b + d, difference = a - c, turned = (b - d).timesI();
    return {ac + bd, difference - turned, ac - bd, difference + turned};
  }
  Four transformedBack() const {
    const Complexes ac = a + c, bd = b + d, difference = a - c, turned = (b - d).timesI();
    return {ac + bd, difference + turned, ac - bd, difference - turned};
  }
};

}  // namespace

struct ConvolutionTransform::Signal {
  double *real, *imaginary;

  Signal from(size_t offset) const { return {real + offset, imaginary + offset}; }

  Complexes at(size_t i) const { return {load(real + i), load(imaginary + i)}; }
  void put(size_t i, Complexes values) const {
    store(real + i, values.real);
    store(imaginary + i, values.imaginary);
  }

  /// Values that are four apart.
  Complexes column(size_t i) const { return {Lanes{real[i], real[i + 4]}, Lanes{imaginary[i], imaginary[i + 4]}}; }
  void putColumn(size_t i, Complexes values) const {
    for (size_t lane = 0; lane < laneCount; ++lane) {
      real[i + 4 * lane] = values.real[lane];
      imaginary[i + 4 * lane] = values.imaginary[lane];
    }
  }

  /// Two halves with the even bins and with the odd ones.
  void halve(size_t half, const double* by) const {
    for (size_t k = 0; k < half; k += laneCount, by += rotationSize) {
      const Complexes a = at(k), b = at(k + half);
      put(k, a + b);
      put(k + half, (a - b).rotated(by));
    }
  }
  void join(size_t half, const double* by) const {
    for (size_t k = 0; k < half; k += laneCount, by += rotationSize) {
      const Complexes a = at(k), b = at(k + half).rotatedBack(by);
      put(k, a + b);
      put(k + half, a - b);
    }
  }

  /// Four quarters, each with every fourth bin.
  void split(size_t quarter, const double* by) const {
    for (size_t k = 0; k < quarter; k += laneCount, by += 3 * rotationSize) {
      const Four four = Four{at(k), at(k + quarter), at(k + 2 * quarter), at(k + 3 * quarter)}.transformed();
      put(k, four.a);
      put(k + quarter, four.b.rotated(by));
      put(k + 2 * quarter, four.c.rotated(by + rotationSize));
      put(k + 3 * quarter, four.d.rotated(by + 2 * rotationSize));
    }
  }
  void merge(size_t quarter, const double* by) const {
    for (size_t k = 0; k < quarter; k += laneCount, by += 3 * rotationSize) {
      const Four four = Four{at(k), at(k + quarter).rotatedBack(by), at(k + 2 * quarter).rotatedBack(by + rotationSize),
                             at(k + 3 * quarter).rotatedBack(by + 2 * rotationSize)}
                            .transformedBack();
      put(k, four.a);
      put(k + quarter, four.b);
      put(k + 2 * quarter, four.c);
      put(k + 3 * quarter, four.d);
    }
  }

  /// The last step: neighbouring fours, whose bins are left side by side.
  void splitFours(size_t length) const {
    for (size_t i = 0; i < length; i += 4 * laneCount) {
      const Four four = Four{column(i), column(i + 1), column(i + 2), column(i + 3)}.transformed();
      put(i, four.a);
      put(i + laneCount, four.b);
      put(i + 2 * laneCount, four.c);
      put(i + 3 * laneCount, four.d);
    }
  }
  void mergeFours(size_t length) const {
    for (size_t i = 0; i < length; i += 4 * laneCount) {
      const Four four = Four{at(i), at(i + laneCount), at(i + 2 * laneCount), at(i + 3 * laneCount)}.transformedBack();
      putColumn(i, four.a);
      putColumn(i + 1, four.b);
      putColumn(i + 2, four.c);
      putColumn(i + 3, four.d);
    }
  }
};

ConvolutionTransform::ConvolutionTransform(size_t length) : length_(length) {
  if (std::countr_zero(length) % 2 != 0) {
    halving_ = rotations(length / 2, 1, length);
    length /= 2;
  }
  for (; length > 4; length /= 4) {
    quartering_.push_back(rotations(length / 4, 3, length));
  }
}

void ConvolutionTransform::forward(double* real, double* imaginary) const {
  const Signal x{real, imaginary};
  if (halving_.empty()) {
    forward(0, x, length_);
    return;
  }
  x.halve(length_ / 2, halving_.data());
  forward(0, x, length_ / 2);
  forward(0, x.from(length_ / 2), length_ / 2);
}

void ConvolutionTransform::backward(double* real, double* imaginary) const {
  const Signal x{real, imaginary};
  if (halving_.empty()) {
    backward(0, x, length_);
    return;
  }
  backward(0, x, length_ / 2);
  backward(0, x.from(length_ / 2), length_ / 2);
  x.join(length_ / 2, halving_.data());
}

void ConvolutionTransform::forward(size_t step, Signal x, size_t length) const {
  if (length > cached) {
    x.split(length / 4, quartering_[step].data());
    for (size_t i = 0; i < 4; ++i) {
      forward(step + 1, x.from(i * (length / 4)), length / 4);
    }
    return;
  }
  for (size_t part = length; part > 4; part /= 4, ++step) {
    for (size_t i = 0; i < length; i += part) {
      x.from(i).split(part / 4, quartering_[step].data());
    }
  }
  x.splitFours(length);
}

void ConvolutionTransform::backward(size_t step, Signal x, size_t length) const {
  if (length > cached) {
    for (size_t i = 0; i < 4; ++i) {
      backward(step + 1, x.from(i * (length / 4)), length / 4);
    }
    x.merge(length / 4, quartering_[step].data());
    return;
  }
  x.mergeFours(length);
  size_t part = 16;
  for (size_t last = quartering_.size(); last-- > step; part *= 4) {
    for (size_t i = 0; i < length; i += part) {
      x.from(i).merge(part / 4, quartering_[last].data());
    }
  }
}

}  // namespace kxanalysis
