#include "support/samples.hpp"

#include <array>
#include <cmath>
#include <concepts>
#include <limits>
#include <numbers>

#include "support/bits.hpp"

namespace support {
namespace {

template <typename T>
T randomSample(Random& random) {
  T sample;
  do {
    setBits(sample, static_cast<BitsOf<T>>(random.bits()));
  } while (isNan(sample) || std::isinf(static_cast<double>(sample)));
  return sample;
}

template <std::integral T>
T scaled(double part) {
  return static_cast<T>(part * static_cast<double>(std::numeric_limits<T>::max()));
}

template <std::floating_point T>
T scaled(double part) {
  return static_cast<T>(part);
}

template <typename T>
T extreme(Random& random) {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::integral<T>) {
    constexpr std::array<T, 8> values{Limits::min(), Limits::max(), Limits::min() + 1, Limits::max() - 1, -1, 0, 1, 2};
    return random.oneOf(values);
  } else {
    constexpr std::array<T, 8> values{Limits::max(), Limits::min(), Limits::denorm_min(),  Limits::epsilon(),
                                      T{0},          T{1},          1 / Limits::epsilon(), Limits::min() / 3};
    return static_cast<T>(random.sign()) * random.oneOf(values);
  }
}

template <std::floating_point T>
void setToSpecial(T& sample, Random& random) {
  const auto sign = static_cast<T>(random.sign());
  switch (random.below(5)) {
    case 0:
      return setToNan(sample, random);
    case 1:
      sample = sign * std::numeric_limits<T>::infinity();
      return;
    case 2:
      sample = sign * T{0};
      return;
    case 3:
      sample = sign * static_cast<T>(random.unit()) * std::numeric_limits<T>::min();
      return;
    default:
      sample = extreme<T>(random);
  }
}

template <typename T>
void fillWithSignal(std::span<T> samples, Random& random, double amplitude, double offset) {
  const double step = 2 * std::numbers::pi / (7 + 90 * random.unit());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double noise = 2 * random.unit() - 1;
    samples[i] = scaled<T>(offset + amplitude * (0.9 * std::sin(step * static_cast<double>(i)) + 0.1 * noise));
  }
}

// The last bits of sums of doubles between 1 and 4, and numbers whose squares are such last bits.
template <std::floating_point T>
void fillWithRoundingTies(std::span<T> samples, Random& random) {
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const int exponent = random.oneIn(2) ? random.between(-55, -51) : random.between(-28, -25);
    const double step = random.sign() * std::ldexp(random.between(0, 3), exponent);
    samples[i] = static_cast<T>(i < 4 ? 1 : step);
  }
}

constexpr std::array sampleClassNames{"whole range",
                                      "signal",
                                      "offset signal",
                                      "24 bits",
                                      "extremes",
                                      "constant",
                                      "zeros",
                                      "rounding ties",
                                      "rare specials",
                                      "many specials",
                                      "NaNs, zeros and ones"};

}  // namespace

std::ostream& operator<<(std::ostream& stream, SampleClass sampleClass) {
  return stream << sampleClassNames[static_cast<std::size_t>(sampleClass)];
}

template <typename T>
std::span<const SampleClass> sampleClasses() {
  static constexpr std::array all{SampleClass::wholeRange,      SampleClass::signal,       SampleClass::offsetSignal,
                                  SampleClass::twentyFourBits,  SampleClass::extremes,     SampleClass::constant,
                                  SampleClass::zeros,           SampleClass::rareSpecials, SampleClass::manySpecials,
                                  SampleClass::nansZerosAndOnes};
  return std::span(all).first(std::integral<T> ? 7 : all.size());
}

template <typename T>
void setToNan(T& value, Random& random) {
  if constexpr (std::floating_point<T>) {
    using Bits = BitsOf<T>;
    constexpr Bits quietBit = Bits{1} << (std::numeric_limits<T>::digits - 2);
    const Bits infinity = bitsOf(std::numeric_limits<T>::infinity());
    const Bits sign = static_cast<Bits>(random.below(2)) << (8 * sizeof(T) - 1);
    const Bits payload = static_cast<Bits>(random.bits()) % (quietBit - 1) + 1;
    setBits(value, sign | infinity | (random.oneIn(4) ? 0 : quietBit) | payload);
  }
}

template <typename T>
void fill(std::span<T> samples, SampleClass sampleClass, Random& random) {
  switch (sampleClass) {
    case SampleClass::signal:
      return fillWithSignal(samples, random, std::integral<T> ? 0.5 : 1, 0);
    case SampleClass::offsetSignal:
      return fillWithSignal(samples, random, std::integral<T> ? 0.001 : 1, std::integral<T> ? 0.9 : 1e6);
    case SampleClass::rareSpecials:
      fillWithSignal(samples, random, std::integral<T> ? 0.5 : 1, 0);
      break;
    default:
      break;
  }
  if constexpr (std::floating_point<T>) {
    if (sampleClass == SampleClass::roundingTies) {
      return fillWithRoundingTies(samples, random);
    }
  }
  const T constant = randomSample<T>(random);
  for (T& sample : samples) {
    switch (sampleClass) {
      case SampleClass::wholeRange:
        sample = randomSample<T>(random);
        break;
      case SampleClass::twentyFourBits:
        sample = static_cast<T>(sizeof(T) == 2 ? random.between(-2048, 2047) : random.between(-8388608, 8388607));
        break;
      case SampleClass::extremes:
        sample = extreme<T>(random);
        break;
      case SampleClass::constant:
        sample = constant;
        break;
      case SampleClass::zeros:
        sample = static_cast<T>(random.sign() * 0.0);
        break;
      default:
        break;
    }
    if constexpr (std::floating_point<T>) {
      if (sampleClass == SampleClass::manySpecials || (sampleClass == SampleClass::rareSpecials && random.oneIn(40))) {
        setToSpecial(sample, random);
      } else if (sampleClass == SampleClass::nansZerosAndOnes) {
        if (random.oneIn(3)) {
          setToNan(sample, random);
        } else {
          sample = static_cast<T>(random.sign()) * static_cast<T>(random.oneIn(2) ? 0 : 1);
        }
      }
    }
  }
}

template std::span<const SampleClass> sampleClasses<int16_t>();
template std::span<const SampleClass> sampleClasses<int32_t>();
template std::span<const SampleClass> sampleClasses<float>();
template std::span<const SampleClass> sampleClasses<double>();
template void setToNan(float&, Random&);
template void setToNan(double&, Random&);
template void fill(std::span<int16_t>, SampleClass, Random&);
template void fill(std::span<int32_t>, SampleClass, Random&);
template void fill(std::span<float>, SampleClass, Random&);
template void fill(std::span<double>, SampleClass, Random&);

std::vector<uint32_t> smallCounts(uint32_t first) {
  std::vector<uint32_t> counts;
  for (uint32_t count = first; count <= 67; ++count) {
    counts.push_back(count);
  }
  counts.insert(counts.end(), {127, 128, 129, 130, 255, 256, 257});
  return counts;
}

std::vector<uint32_t> largeCounts() {
  return {1000, 4096 + 5, 16384 + 13, largestCount};
}

}  // namespace support
