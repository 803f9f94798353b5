// Crank-angle kernels.
#include <algorithm>

#include "common.hpp"

namespace kxverify {
namespace {

template <class Sample>
void weightedSums(const char* name, float (*kernel)(const Sample*, uint32_t, const float*, uint32_t), Digest& digest) {
  Source source(name);
  for (const uint32_t stride : {1U, 2U, 5U}) {
    overSets<Sample>(0, [&](const Set& set) {
      const auto samples = placed<Sample>(source, set);
      const auto weights =
          placed<float>(source, set.kind == Kind::wide ? Kind::signal : set.kind, std::size_t{set.count} * stride + 1);
      const Sample* const newest = samples.data() + (set.count == 0 ? 0 : set.count - 1);
      digest.add(kernel(newest, set.count, weights.data(), stride));
    });
  }
}

template <class Call>
void coordinates(const char* name, Digest& digest, Call call) {
  Source source(name);
  overSets<float>(0, [&](const Set& set) {
    const auto input = placed<float>(source, set);
    for (const auto& [lower, upper] : {std::array<int32_t, 2>{-1000, 1000}, {10, 5}, {-2147483647 - 1, 2147483647}}) {
      Buffer<int32_t> output(set.count, source.below(placeCount<int32_t>));
      const float scale = 0.5F * static_cast<float>(source.below(2000));  // halfway cases among the coordinates
      const float offset = 0.5F * static_cast<float>(source.below(100));
      call(source, input, output, lower, upper, scale, offset);
      digest.add(output);
    }
  });
}

/// Halves, in double: a signalling NaN cannot come out of them, whatever the bytes.
template <class T>
void fillInPlace(Source& source, Buffer<double>& buffer, Kind kind) {
  auto* const bytes = reinterpret_cast<unsigned char*>(buffer.data());
  for (std::size_t i = 0; i < buffer.size(); ++i) {
    const auto sample = std::bit_cast<std::array<unsigned char, sizeof(T)>>(source.sample<T>(kind));
    std::copy(sample.begin(), sample.end(), bytes + i * sizeof(T));
  }
}

}  // namespace

void kxcalcCACalcFilter_int16_tExercise(const Functions& functions, Digest& digest) {
  weightedSums("kxcalcCACalcFilter_int16_t", functions.kxcalcCACalcFilter_int16_t, digest);
}
void kxcalcCACalcFilter_floatExercise(const Functions& functions, Digest& digest) {
  weightedSums("kxcalcCACalcFilter_float", functions.kxcalcCACalcFilter_float, digest);
}
void kxcalcCACalcFilter_int32_tExercise(const Functions& functions, Digest& digest) {
  weightedSums("kxcalcCACalcFilter_int32_t", functions.kxcalcCACalcFilter_int32_t, digest);
}

void kxcalcCACalcAveFilter_doubleExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcCACalcAveFilter_double");
  for (const Kind kind : kinds) {
    for (const auto width : std::array<uint16_t, 9>{0, 1, 2, 3, 4, 5, 8, 9, 33}) {
      const uint32_t odd = width | 1U;
      for (uint32_t count = odd; count <= odd + longestShort; ++count) {
        const auto input = placed<double>(source, kind, count);
        Buffer<double> output(count, source.below(placeCount<double>));
        functions.kxcalcCACalcAveFilter_double(input.data(), output.data(), width, count);
        digest.add(output);
      }
    }
  }
}

void kxCalcCACopyRawDataToChannelsExercise(const Functions& functions, Digest& digest) {
  Source source("kxCalcCACopyRawDataToChannels");
  const auto copy = [&](const Set& set, uint32_t start, const Buffer<float>& cycle) {
    Buffer<float> channel(set.count, source.below(placeCount<float>));
    float peak = 77;
    uint32_t index = 77;
    // Raw data is indexed absolutely: the array begins `start` elements before the cycle.
    const auto* const raw =
        reinterpret_cast<const float*>(reinterpret_cast<uintptr_t>(cycle.data()) - uintptr_t{start} * sizeof(float));
    functions.kxCalcCACopyRawDataToChannels(raw, channel.data(), start, start + set.count,
                                            source.sample<float>(Kind::signal), &peak, &index);
    digest.add(channel);
    digest.add(peak);
    digest.add(index);
  };
  overSets<float>(0, [&](const Set& set) {
    auto cycle = placed<float>(source, set);
    copy(set, 0, cycle);
    for (float& sample : cycle.elements()) {
      sample = static_cast<float>(source.below(3));  // equal maxima
    }
    copy(set, 5, cycle);
    copy(set, 16777210, cycle);
  });
}

void kxcalcCADoubleArrToSingleArrInplaceExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcCADoubleArrToSingleArrInplace");
  overSets<double>(0, [&](const Set& set) {
    Buffer<double> buffer(set.count);
    fillInPlace<double>(source, buffer, set.kind);
    functions.kxcalcCADoubleArrToSingleArrInplace(buffer.data(), set.count);
    const auto* const singles = reinterpret_cast<const unsigned char*>(buffer.data());
    for (std::size_t i = 0; i < set.count; ++i) {
      std::array<unsigned char, sizeof(float)> bytes;
      std::copy_n(singles + i * sizeof(float), sizeof(float), bytes.begin());
      digest.add(std::bit_cast<float>(bytes));
    }
  });
}

void kxcalcCASingleArrToDoubleArrInplaceExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcCASingleArrToDoubleArrInplace");
  overSets<double>(0, [&](const Set& set) {
    Buffer<double> buffer(set.count);
    fillInPlace<float>(source, buffer, set.kind);
    functions.kxcalcCASingleArrToDoubleArrInplace(buffer.data(), set.count);
    digest.add(buffer);
  });
}

void kxcalcCAPV_linExercise(const Functions& functions, Digest& digest) {
  coordinates("kxcalcCAPV_lin", digest,
              [&](Source&, const Buffer<float>& input, Buffer<int32_t>& output, auto... axis) {
                functions.kxcalcCAPV_lin(input.data(), static_cast<uint32_t>(input.size()), output.data(), axis...);
              });
}

void kxcalcCAPV_logExercise(const Functions& functions, Digest& digest) {
  coordinates("kxcalcCAPV_log", digest,
              [&](Source& source, const Buffer<float>& input, Buffer<int32_t>& output, auto... axis) {
                functions.kxcalcCAPV_log(input.data(), static_cast<uint32_t>(input.size()), output.data(), axis...,
                                         static_cast<float>(source.unit()) + 1.5F);
              });
}

void kxCalcCAOverallPressureExercise(const Functions& functions, Digest& digest) {
  Source source("kxCalcCAOverallPressure");
  for (const uint64_t cycles : {uint64_t{0}, uint64_t{1}, uint64_t{7}, uint64_t{16777217}, uint64_t{1} << 32,
                                (uint64_t{1} << 53) + 1, uint64_t{1} << 63, (uint64_t{1} << 63) + 1025, ~uint64_t{0}}) {
    overSets<float>(0, [&](const Set& set) {
      const auto added = placed<float>(source, set);
      auto average = placed<float>(source, set.kind, set.count);
      float peak = 77;
      functions.kxCalcCAOverallPressure(added.data(), average.data(), 3, 3 + set.count, cycles, &peak);
      digest.add(average);
      digest.add(peak);
    });
  }
}

void kxCalcCARunningValExercise(const Functions& functions, Digest& digest) {
  Source source("kxCalcCARunningVal");
  struct Progress {
    uint64_t cycles;
    uint32_t window;
  };
  for (const Progress& progress :
       {Progress{0, 5}, {1, 5}, {4, 5}, {5, 5}, {9, 5}, {2, 0}, {uint64_t{1} << 32, 4000000000U}, {3, 4000000000U}}) {
    overSets<float>(0, [&](const Set& set) {
      const auto added = placed<float>(source, set);
      const auto leaving = placed<float>(source, set.kind, set.count);
      auto sum = placed<float>(source, set.kind, set.count);
      auto average = placed<float>(source, set.kind, set.count);
      functions.kxCalcCARunningVal(added.data(), leaving.data(), sum.data(), average.data(), 1, set.count,
                                   progress.cycles, progress.window);
      digest.add(sum);
      digest.add(average);
    });
  }
}

}  // namespace kxverify
