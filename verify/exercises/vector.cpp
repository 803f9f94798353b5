// Vector arithmetic and sample widths.
#include "common.hpp"

namespace kxverify {
namespace {

template <class T>
void scaleInPlace(const char* name, void (*kernel)(T*, uint32_t, T), Digest& digest) {
  Source source(name);
  overSets<T>(0, [&](const Set& set) {
    auto data = placed<T>(source, set);
    kernel(data.data(), set.count, source.sample<T>(set.kind));
    digest.add(data);
  });
}

/// Two inputs and an output, the output also in place of an input and one element ahead of it.
template <class Call>
void threeVectors(const char* name, Digest& digest, Call call) {
  Source source(name);
  overSets<float>(0, [&](const Set& set) {
    const auto first = placed<float>(source, set);
    const auto second = placed<float>(source, set.kind, set.count);
    Buffer<float> output(set.count, source.below(placeCount<float>));
    call(source, set, output.data(), first.data(), second.data());
    digest.add(output);
    auto inPlace = second;
    call(source, set, inPlace.data(), first.data(), inPlace.data());
    digest.add(inPlace);
    auto ahead = placed<float>(source, set.kind, set.count + std::size_t{1});
    call(source, set, ahead.data() + 1, ahead.data(), second.data());
    digest.add(ahead);
  });
}

template <class From, class To>
void convert(const char* name, void (*kernel)(const From*, To*, uint32_t), Digest& digest) {
  Source source(name);
  overSets<From>(0, [&](const Set& set) {
    Buffer<To> converted(set.count, source.below(placeCount<To>));
    kernel(placed<From>(source, set).data(), converted.data(), set.count);
    digest.add(converted);
  });
}

}  // namespace

void kxcalcMultiplyVectorByScalar_floatExercise(const Functions& functions, Digest& digest) {
  scaleInPlace("kxcalcMultiplyVectorByScalar_float", functions.kxcalcMultiplyVectorByScalar_float, digest);
}
void kxcalcMultiplyVectorByScalar_doubleExercise(const Functions& functions, Digest& digest) {
  scaleInPlace("kxcalcMultiplyVectorByScalar_double", functions.kxcalcMultiplyVectorByScalar_double, digest);
}

void kxcalcSumSquaredValues_floatExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcSumSquaredValues_float");
  overSets<float>(0, [&](const Set& set) {
    digest.add(functions.kxcalcSumSquaredValues_float(placed<float>(source, set).data(), set.count));
  });
  // Long enough for everything that is done side by side.
  const auto data = placed<float>(source, Kind::signal, 100000);
  digest.add(functions.kxcalcSumSquaredValues_float(data.data(), 100000));
}

void kxcalcMultiplyVectorsAndCalcSum_floatExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcMultiplyVectorsAndCalcSum_float");
  overSets<float>(0, [&](const Set& set) {
    const auto first = placed<float>(source, set);
    const auto second = placed<float>(source, set.kind, set.count);
    digest.add(functions.kxcalcMultiplyVectorsAndCalcSum_float(first.data(), second.data(), set.count));
  });
}

void kxcalcSubtractVectorsAndMultiplyByScalar_floatExercise(const Functions& functions, Digest& digest) {
  threeVectors("kxcalcSubtractVectorsAndMultiplyByScalar_float", digest,
               [&](Source& source, const Set& set, float* output, const float* first, const float* second) {
                 functions.kxcalcSubtractVectorsAndMultiplyByScalar_float(output, first, second, set.count,
                                                                          source.sample<float>(Kind::signal));
               });
}

void kxcalcAddVectorsAndMultiplyByScalar_floatExercise(const Functions& functions, Digest& digest) {
  threeVectors("kxcalcAddVectorsAndMultiplyByScalar_float", digest,
               [&](Source& source, const Set& set, float* output, const float* first, const float* second) {
                 const auto secondFactor = source.sample<float>(Kind::signal);
                 const auto sumFactor = source.sample<float>(Kind::signal);
                 functions.kxcalcAddVectorsAndMultiplyByScalar_float(output, first, second, set.count, secondFactor,
                                                                     sumFactor);
               });
}

void kxcalcConvertInt32ToInt16Exercise(const Functions& functions, Digest& digest) {
  convert("kxcalcConvertInt32ToInt16", functions.kxcalcConvertInt32ToInt16, digest);
}
void kxcalcConvertInt16ToInt32Exercise(const Functions& functions, Digest& digest) {
  convert("kxcalcConvertInt16ToInt32", functions.kxcalcConvertInt16ToInt32, digest);
}

}  // namespace kxverify
