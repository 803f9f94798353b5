// Version, minimum and maximum, statistics lines.
#include <bit>
#include <cstring>
#include <limits>
#include <type_traits>

#include "common.hpp"

namespace kxverify {
namespace {

template <class T>
void addSelected(Digest& digest, const T& value) {
  if constexpr (std::is_floating_point_v<T>) {
    digest.addBits(value);  // a sample selected by comparisons: its bits are the contract's
  } else {
    digest.add(value);
  }
}

/// Puts NaNs of every sign and payload, signalling ones too, in the place of some elements: as bytes, since a floating-point
/// register may quieten them.
template <class T>
void addNans(Source& source, Buffer<T>& buffer) {
  using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
  const auto infinity = std::bit_cast<Bits>(std::numeric_limits<T>::infinity());
  for (T& element : buffer.elements()) {
    if (source.below(4) == 0) {
      const Bits nan = static_cast<Bits>(source.bits()) | infinity | 1;
      std::memcpy(&element, &nan, sizeof element);
    }
  }
}

template <class T>
void minMax(const char* name, void (*kernel)(const T*, uint32_t, T*, T*), Digest& digest) {
  Source source(name);
  const auto addResults = [&](const Buffer<T>& data) {
    T minimum = 1;
    T maximum = 2;
    kernel(data.data(), static_cast<uint32_t>(data.size()), &minimum, &maximum);
    addSelected(digest, minimum);
    addSelected(digest, maximum);
  };
  overSets<T>(1, [&](const Set& set) {
    auto data = placed<T>(source, set);
    addResults(data);
    if constexpr (std::is_floating_point_v<T>) {
      addNans(source, data);
      addResults(data);
    }
  });
}

/// Sums begin with a number, extremes with samples, to see what is merged and what is overwritten.
template <class T, class Offset, class Call>
void statisticsLines(const char* name, Digest& digest, Call call) {
  Source source(name);
  overSets<T>(0, [&](const Set& set) {
    for (const double rmsOffset : {0.0, -3.0, 0.3}) {
      T minimum = source.sample<T>(set.kind);
      T maximum = source.sample<T>(set.kind);
      double sum = 0.1;
      double sumOfSquares = 0.7;
      call(source, set, &minimum, &maximum, &sum, &sumOfSquares, static_cast<Offset>(rmsOffset));
      addSelected(digest, minimum);
      addSelected(digest, maximum);
      digest.add(sum);
      digest.add(sumOfSquares);
    }
  });
}

template <class T, class Offset>
void statistics(const char* name, void (*kernel)(const T*, uint32_t, T*, T*, double*, double*, Offset),
                Digest& digest) {
  statisticsLines<T, Offset>(name, digest, [&](Source& source, const Set& set, auto... results) {
    auto data = placed<T>(source, set);
    if constexpr (std::is_floating_point_v<T>) {
      if (source.below(4) == 0) {
        addNans(source, data);
      }
    }
    kernel(data.data(), set.count, results...);
  });
}

}  // namespace

void kxcalcGetVersionExercise(const Functions& functions, Digest& digest) {
  for (const int32_t value : {-5, 0, 9, 10, 2147483647, -2147483647 - 1}) {
    uint32_t major = 77;
    uint32_t minor = 77;
    uint32_t flag = 77;
    functions.kxcalcGetVersion(&major, &minor, value, &flag);
    digest.add(major);
    digest.add(minor);
    digest.add(flag);
  }
}

void kxcalcGetMinMax_int32_tExercise(const Functions& functions, Digest& digest) {
  minMax("kxcalcGetMinMax_int32_t", functions.kxcalcGetMinMax_int32_t, digest);
}
void kxcalcGetMinMax_int16_tExercise(const Functions& functions, Digest& digest) {
  minMax("kxcalcGetMinMax_int16_t", functions.kxcalcGetMinMax_int16_t, digest);
}
void kxcalcGetMinMax_floatExercise(const Functions& functions, Digest& digest) {
  minMax("kxcalcGetMinMax_float", functions.kxcalcGetMinMax_float, digest);
}
void kxcalcGetMinMax_doubleExercise(const Functions& functions, Digest& digest) {
  minMax("kxcalcGetMinMax_double", functions.kxcalcGetMinMax_double, digest);
}

void kxcalcGetMinMaxAveRMS_floatExercise(const Functions& functions, Digest& digest) {
  statistics("kxcalcGetMinMaxAveRMS_float", functions.kxcalcGetMinMaxAveRMS_float, digest);
}
void kxcalcGetMinMaxAveRMS_doubleExercise(const Functions& functions, Digest& digest) {
  statistics("kxcalcGetMinMaxAveRMS_double", functions.kxcalcGetMinMaxAveRMS_double, digest);
}
void kxcalcGetMinMaxAveRMS_int16_tExercise(const Functions& functions, Digest& digest) {
  statistics("kxcalcGetMinMaxAveRMS_int16_t", functions.kxcalcGetMinMaxAveRMS_int16_t, digest);
}
void kxcalcGetMinMaxAveRMS_int32_tExercise(const Functions& functions, Digest& digest) {
  statistics("kxcalcGetMinMaxAveRMS_int32_t", functions.kxcalcGetMinMaxAveRMS_int32_t, digest);
}

void kxcalcMoveAndGetMinMaxAveRMS_int16_tExercise(const Functions& functions, Digest& digest) {
  for (const uint32_t stride : {1U, 2U, 3U, 4U, 7U, 8U}) {
    statisticsLines<int16_t, float>("kxcalcMoveAndGetMinMaxAveRMS_int16_t", digest,
                                    [&](Source& source, const Set& set, int16_t* minimum, int16_t* maximum, double* sum,
                                        double* sumOfSquares, float rmsOffset) {
                                      const auto interleaved =
                                          placed<int16_t>(source, set.kind, std::size_t{set.count} * stride);
                                      Buffer<int16_t> destination(set.count, set.offset);
                                      functions.kxcalcMoveAndGetMinMaxAveRMS_int16_t(
                                          destination.data(), interleaved.data(), set.count, minimum, maximum, sum,
                                          sumOfSquares, rmsOffset, static_cast<int32_t>(stride));
                                      digest.add(destination);
                                    });
  }
}

}  // namespace kxverify
