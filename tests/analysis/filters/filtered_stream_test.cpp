#include "analysis/filters/filtered_stream.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/filters/white_noise.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

template <class T>
std::vector<T> noise(size_t count) {
  WhiteNoise source(9);
  std::vector<T> samples(count);
  for (T& sample : samples) {
    sample = static_cast<T>(source.next());
  }
  return samples;
}

template <class Filter, class T>
std::vector<double> throughBlocks(Filter& filter, const std::vector<T>& samples) {
  std::vector<double> all;
  const auto append = [&all](std::span<const double> part) { all.insert(all.end(), part.begin(), part.end()); };
  inBlocks(std::span(samples), 700, [&](std::span<const T> part) { append(filter.feed(part)); });
  append(filter.finish());
  return all;
}

template <class T>
std::vector<double> throughKernels(const FilterDesign& design, std::vector<T> samples) {
  auto filter = StreamFilter::create(linkedFunctions, design);
  filter->feed(std::span(samples));
  return {samples.begin(), samples.end()};
}

template <class T>
std::vector<double> throughTransforms(const FilterDesign& design, const std::vector<T>& samples) {
  auto filter = FastFiniteFilter::create(std::get<std::vector<float>>(design));
  return throughBlocks(*filter, samples);
}

template <class T>
class FilteredStreamTest : public testing::Test {};
using SampleTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(FilteredStreamTest, SampleTypes);

TYPED_TEST(FilteredStreamTest, LongResponsesGoThroughTransformsUnlessTheKernelsAreNamed) {
  const auto samples = noise<TypeParam>(9001);
  const FilterDesign sections = std::vector<Section>{{0.7, 1, -0.3, 0.2, -0.5, 0.1}};
  const FilterDesign shorter = noise<float>(63), longer = noise<float>(64);
  const auto found = [&](const FilterDesign& design, FilterWay way) {
    auto filter = FilteredStream::create(linkedFunctions, design, way);
    return throughBlocks(*filter, samples);
  };
  EXPECT_EQ(found(sections, FilterWay::quickest), throughKernels(sections, samples));
  EXPECT_EQ(found(shorter, FilterWay::quickest), throughKernels(shorter, samples));
  EXPECT_EQ(found(longer, FilterWay::quickest), throughTransforms(longer, samples));
  EXPECT_EQ(found(longer, FilterWay::kernels), throughKernels(longer, samples));
  EXPECT_NE(throughKernels(longer, samples), throughTransforms(longer, samples));
}

TYPED_TEST(FilteredStreamTest, AfterItsEndItIsAtRest) {
  const auto samples = noise<TypeParam>(2000);
  for (const FilterDesign& design : {FilterDesign(std::vector<Section>{{0.7, 1, -0.3, 0.2, -0.5, 0.1}}),
                                     FilterDesign(noise<float>(5)), FilterDesign(noise<float>(400))}) {
    auto filter = FilteredStream::create(linkedFunctions, design);
    const std::vector<double> first = throughBlocks(*filter, samples);
    EXPECT_EQ(first.size(), 2000U);
    EXPECT_EQ(throughBlocks(*filter, samples), first);
  }
}

TEST(FilteredStream, DesignsOfNothingAreNamed) {
  EXPECT_EQ(problemOf(FilteredStream::create(linkedFunctions, std::vector<Section>())),
            "sections is empty: at least one is needed");
  EXPECT_EQ(problemOf(FilteredStream::create(linkedFunctions, std::vector<float>())),
            "coefficients is empty: at least one is needed");
  EXPECT_EQ(problemOf(FilteredStream::create(linkedFunctions, std::vector<float>(5000000))),
            "number of coefficients is 5000000: it is from 1 to 4194304");
}

}  // namespace
}  // namespace kxanalysis_test
