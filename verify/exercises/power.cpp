// Power analysis and flicker.
#include <array>
#include <bit>

#include "common.hpp"

namespace kxverify {

void kxcalcPowerCalcFIR_floatExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerCalcFIR_float");
  for (const Kind kind : kinds) {
    for (const uint32_t length : {16U, 17U, 19U, 32U, 50U}) {
      const auto ring = placed<float>(source, kind, length);
      Buffer<float> bank(std::size_t{16} * 3);
      source.fill(bank, Kind::signal);
      for (uint32_t position = 0; position <= length; ++position) {
        const PowerFirArgs args{ring.data(), bank.data(), position, source.below(3), length};
        digest.add(functions.kxcalcPowerCalcFIR_float(&args));
      }
    }
  }
}

void kxcalcPowerSumVectorMultipliedWithScalar_doubleExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerSumVectorMultipliedWithScalar_double");
  for (const uint32_t accumulate : {0U, 1U, 2U}) {
    overSets<double>(0, [&](const Set& set) {
      const auto input = placed<double>(source, set);
      Buffer<float> output(set.count, source.below(placeCount<float>));
      PowerScaleArgs args{input.data(),
                          output.data(),
                          source.unit(),
                          source.sample<float>(Kind::signal),
                          static_cast<int32_t>(set.count),
                          accumulate};
      functions.kxcalcPowerSumVectorMultipliedWithScalar_double(&args);
      digest.add(output);
      digest.add(args.sum);
    });
  }
}

void kxcalcPowerMultiplyAndSquareElementsAndSumVector_floatExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerMultiplyAndSquareElementsAndSumVector_float");
  overSets<float>(0, [&](const Set& set) {
    const auto values = placed<float>(source, set);
    digest.add(functions.kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(
        values.data(), static_cast<int32_t>(set.count), source.sample<float>(Kind::signal)));
  });
}

void kxcalcPowerCorrectFFT_UExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerCorrectFFT_U");
  overSets<float>(0, [&](const Set& set) {
    auto spectrum = placed<float>(source, Set{set.kind, 2 * set.count, set.offset});
    const auto correction = placed<float>(source, set.kind, spectrum.size());
    functions.kxcalcPowerCorrectFFT_U(spectrum.data(), correction.data(), static_cast<int32_t>(set.count));
    digest.add(spectrum);
    auto own = placed<float>(source, Kind::signal, spectrum.size() + 4);  // a correction that overlaps the spectrum
    float* const begin = own.data() + source.below(5);
    functions.kxcalcPowerCorrectFFT_U(begin, own.data() + source.below(5), static_cast<int32_t>(set.count));
    digest.add(own);
  });
}

void kxcalcPowerNegateImag_floatExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerNegateImag_float");
  overSets<float>(0, [&](const Set& set) {
    auto spectrum = placed<float>(source, set);
    functions.kxcalcPowerNegateImag_float(spectrum.data(), set.count);
    digest.addBits(spectrum);
  });
}

void kxcalcPowerFindIndexOfMaxAmplitudeExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerFindIndexOfMaxAmplitude");
  overSets<float>(0, [&](const Set& set) {
    auto spectrum = placed<float>(source, Set{set.kind, 2 * set.count, set.offset});
    digest.add(functions.kxcalcPowerFindIndexOfMaxAmplitude(spectrum.data(), set.count));
    for (float& part : spectrum.elements()) {
      part = static_cast<float>(source.below(3));  // equal magnitudes
    }
    digest.add(functions.kxcalcPowerFindIndexOfMaxAmplitude(spectrum.data(), set.count));
  });
}

void kxcalcPowerHarmonicZeroExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerHarmonicZero");
  overSets<float>(0, [&](const Set& set) {
    const auto spectrum = placed<float>(source, Set{set.kind, 2 * set.count, set.offset});
    digest.add(functions.kxcalcPowerHarmonicZero(spectrum.data(), set.count));
  });
}

void kxcalcPowerPandQsumExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerPandQsum");
  overSets<float>(0, [&](const Set& set) {
    const uint32_t bins = set.count < 2 ? 2 : set.count;
    const auto voltage = placed<float>(source, Set{set.kind, 2 * bins, set.offset});
    const auto current = placed<float>(source, set.kind, voltage.size());
    double active = 77;
    double reactive = 77;
    functions.kxcalcPowerPandQsum(voltage.data(), current.data(), static_cast<int32_t>(set.count), &active, &reactive);
    digest.add(active);
    digest.add(reactive);
  });
}

void kxcalcPowerAnglesExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerAngles");
  for (int round = 0; round < 200; ++round) {
    const auto orders = static_cast<int32_t>(source.below(51)) - 1;
    const float binsPerOrder = 1 + static_cast<float>(source.below(64)) / 8;
    const auto spectrum = placed<float>(source, Kind::signal, 1000);
    Buffer<float> angles(51);
    functions.kxcalcPowerAngles(spectrum.data(), angles.data(), orders, static_cast<float>(source.unit()) * 400,
                                binsPerOrder);
    digest.add(angles);
  }
  // Whole turns: zeros, whose signs tell how a turn is taken off.
  Buffer<float> straight(1000);
  for (std::size_t k = 1; k < straight.size(); k += 2) {
    straight[k] = 1;
  }
  for (const float phasePerOrder : {-360.0F, 360.0F, -1e9F, 1e9F}) {
    Buffer<float> angles(51);
    functions.kxcalcPowerAngles(straight.data(), angles.data(), 50, phasePerOrder, 2);
    digest.add(angles);
  }
  // Bins whose degrees in single are others if the arctangent in double is off by one in the last place.
  constexpr std::array<float, 20> hard{0,       1,        1750307, -3658496, 4881615,  2993152, -537094,
                                       -599756, -2797386, 4888404, -7777567, -6980938, 2819823, -4488960,
                                       7977621, 447744,   411568,  6286586,  4179680,  -5206549};
  Buffer<float> bins(hard.size() + 2);
  for (std::size_t k = 0; k < hard.size(); ++k) {
    bins[k] = hard[k];
  }
  Buffer<float> angles(10);
  functions.kxcalcPowerAngles(bins.data(), angles.data(), 9, 0, 1);
  digest.add(angles);
}

void kxcalcPowerUnbalanceExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerUnbalance");
  for (uint32_t count = 0; count <= longestShort; ++count) {
    const auto magnitudes = [&] { return placed<float>(source, Kind::signal, count + 1); };
    const auto angles = [&] {
      auto degrees = magnitudes();
      for (float& angle : degrees.elements()) {
        angle *= 360;
      }
      return degrees;
    };
    const auto m1 = magnitudes(), m2 = magnitudes(), m3 = magnitudes();
    const auto a1 = angles(), a2 = angles(), a3 = angles();
    Buffer<float> results(7);
    float* const out = results.data();
    const PowerUnbalanceArgs args{m1.data(), m2.data(), m3.data(), a1.data(), a2.data(), a3.data(), out,
                                  out + 1,   out + 2,   out + 3,   out + 4,   out + 5,   out + 6,   count};
    functions.kxcalcPowerUnbalance(&args);
    digest.add(results);
  }
  // Balanced systems: what their sums leave of three phasors feels the last bit of each sine and cosine.
  constexpr std::array<float, 4> turns{-82.0500031F, -130.690506F, -94.6736145F, -175.975235F};  // these above all
  for (std::size_t round = 0; round < 200; ++round) {
    Buffer<float> magnitudes(1), angles(3), results(7);
    magnitudes[0] = 230;
    const float turn = round < turns.size() ? turns[round] : static_cast<float>(source.unit() * 180);
    for (std::size_t phase = 0; phase < 3; ++phase) {
      angles[phase] = turn + 120 * static_cast<float>(phase);
    }
    const float* const m = magnitudes.data();
    const float* const a = angles.data();
    float* const out = results.data();
    const PowerUnbalanceArgs args{m,       m,       m,       a,       a + 1,   a + 2,   out,
                                  out + 1, out + 2, out + 3, out + 4, out + 5, out + 6, 1};
    functions.kxcalcPowerUnbalance(&args);
    digest.add(results);
  }
}

void kxcalcPowerFlickerExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerFlicker");
  for (const Kind kind : kinds) {
    Buffer<double> memory(std::size_t{19} * 12);
    source.fill(memory, Kind::signal);
    const auto array = [&](std::size_t k) { return memory.data() + k * 12; };
    for (std::size_t i = 0; i < 12; ++i) {
      array(9)[i] /= 4;  // the weighting filters stay stable
    }
    array(17)[0] = -9999999.0;
    const FlickerState state{array(0),  array(1),  array(2),  array(3),  array(4),  array(5),  array(6),
                             array(7),  array(8),  array(9),  array(10), array(11), array(12), array(13),
                             array(14), array(15), array(16), array(17), array(18)};
    for (uint32_t count = 0; count <= longestShort; ++count) {
      const auto samples = placed<float>(source, count == longestShort ? kind : Kind::signal, count);
      Buffer<float> sensation(count, source.below(placeCount<float>));
      functions.kxcalcPowerFlicker(&state, samples.data(), sensation.data(), static_cast<int32_t>(count));
      digest.add(sensation);
      digest.add(memory);
    }
  }
}

void kxcalcPowerFlickerAddToClassExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPowerFlickerAddToClass");
  Buffer<uint32_t> classes(1000);
  for (const Kind kind : kinds) {
    auto values = placed<float>(source, kind, longRun);
    for (std::size_t i = 0; i < values.size(); i += 50) {
      values[i] = source.oneOf(std::array{1.0F, 10.0F, 100.0F, 1e6F, 1e7F, 0.0F, -1.0F});
    }
    for (std::size_t i = 1; i < values.size(); i += 3) {
      values[i] *= 1000;
    }
    functions.kxcalcPowerFlickerAddToClass(values.data(), static_cast<int32_t>(values.size()), classes.data());
    digest.add(classes);
  }
  // The first single of each class, found by halving.
  const auto classOf = [&](uint32_t pattern) {
    Buffer<uint32_t> counters(1000);
    const auto value = std::bit_cast<float>(pattern);
    functions.kxcalcPowerFlickerAddToClass(&value, 1, counters.data());
    uint32_t number = 0;
    while (number < 999 && counters[number] == 0) {
      ++number;
    }
    return number;
  };
  uint32_t first = std::bit_cast<uint32_t>(9.99e-5F);  // of class 0
  for (uint32_t number = 1; number <= 999; ++number) {
    uint32_t before = first;
    first += 1U << 20;  // an eighth of an octave or more: beyond the class's first single
    while (first - before > 1) {
      const uint32_t middle = before + (first - before) / 2;
      (classOf(middle) < number ? before : first) = middle;
    }
    digest.add(std::bit_cast<float>(first));
  }
}

}  // namespace kxverify
