#include "analysis/combustion/cycle_analysis.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "analysis/closeness.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

constexpr Engine engine{80, 90, 140, 12};

class CycleAnalysisTest : public testing::Test {
protected:
  CycleAnalysisTest() {
    for (int angle = -360; angle < 360; angle += 2) {
      angles_.push_back(angle);
    }
    options_.smoothing = Smoothing::none;
  }

  CycleAnalysis make() const {
    auto analysis = CycleAnalysis::create(linkedFunctions, engine, options_, angles_);
    EXPECT_TRUE(analysis) << analysis.problem();
    return std::move(*analysis);
  }

  std::string problem() const { return problemOf(CycleAnalysis::create(linkedFunctions, engine, options_, angles_)); }

  /// A polytrope, of which the expansion has three times the pressure, over a zero level.
  std::vector<float> cycle(double constant, double zero, double exponent = 1.3) const {
    std::vector<float> samples;
    for (const double angle : angles_) {
      const double pressure = constant * std::pow(engine.volume(angle), -exponent) * (angle > 0 ? 3 : 1);
      samples.push_back(static_cast<float>(pressure + zero));
    }
    return samples;
  }

  std::vector<double> angles_;
  AnalysisOptions options_;
};

TEST_F(CycleAnalysisTest, TheIntakesPressureIsTheMeanOfItsWindow) {
  options_.intakePressure = 0.9;
  CycleAnalysis analysis = make();
  const std::vector<float> raw = cycle(500, 7);
  double sum = 0;
  for (int angle = -190; angle <= -170; angle += 2) {
    sum += static_cast<double>(raw[static_cast<size_t>((angle + 360) / 2)]);
  }
  const CycleFigures figures = analysis.feed(raw);
  EXPECT_NEAR(figures.offset, sum / 11 - 0.9, 1e-6);
  for (size_t i = 0; i < raw.size(); ++i) {
    EXPECT_NEAR(static_cast<double>(analysis.corrected()[i]), static_cast<double>(raw[i]) - figures.offset, 1e-5);
  }
  EXPECT_EQ(analysis.smoothed(), analysis.corrected());
}

TEST_F(CycleAnalysisTest, APolytropesZeroLevelIsFound) {
  options_.pegging = Pegging::polytropic;
  options_.peggingExponent = 1.35;
  CycleAnalysis analysis = make();
  for (const double zero : {0.0, 3.5, -2.0}) {
    EXPECT_NEAR(analysis.feed(cycle(500, zero, 1.35)).offset, zero, 2e-6);
  }
  options_.pegging = Pegging::none;
  EXPECT_EQ(make().feed(cycle(500, 3)).offset, 0);
}

TEST_F(CycleAnalysisTest, AWindowOfItsOwnIsTaken) {
  options_.peggingWindow = AngleWindow{20, 20};
  options_.intakePressure = 5;
  const std::vector<float> raw = cycle(500, 7);
  EXPECT_NEAR(make().feed(raw).offset, static_cast<double>(raw[190]) - 5, 1e-5);
  EXPECT_EQ(defaultPeggingWindow(Pegging::polytropic).from, -100);
  EXPECT_EQ(defaultPeggingWindow(Pegging::polytropic).to, -60);
  EXPECT_EQ(defaultPeggingWindow(Pegging::intake).from, -190);
  EXPECT_EQ(defaultPeggingWindow(Pegging::intake).to, -170);
}

TEST_F(CycleAnalysisTest, FiguresOfACycle) {
  options_.pegging = Pegging::none;
  CycleAnalysis analysis = make();
  const std::vector<float> raw = cycle(500, 0);
  const CycleFigures figures = analysis.feed(raw);
  EXPECT_EQ(*figures.peakAngle, 2);
  EXPECT_EQ(*figures.peak, static_cast<double>(raw[181]));
  EXPECT_EQ(*figures.averagePeak, static_cast<double>(raw[181]));
  EXPECT_EQ(figures.windowedPeak, static_cast<double>(raw[181]));
  EXPECT_EQ(figures.rise.angle, 0);
  expectClose(figures.rise.steepness, (static_cast<double>(raw[181]) - static_cast<double>(raw[179])) / 4);
  expectClose(figures.meanEffectivePressure, grossMeanEffectivePressure(engine, angles_, raw));
  ASSERT_TRUE(analysis.compression() && analysis.expansion());
  EXPECT_NEAR(analysis.compression()->exponent, 1.3, 1e-6);
  EXPECT_NEAR(analysis.expansion()->exponent, 1.3, 1e-6);
  EXPECT_NEAR(analysis.compression()->logConstant, std::log(500), 1e-5);
  EXPECT_NEAR(analysis.expansion()->logConstant, std::log(1500), 1e-5);
  EXPECT_EQ(analysis.expansion()->window.from, 80);
  for (size_t i = 0; i < angles_.size(); ++i) {
    expectSingle(analysis.volumes()[i], engine.volume(angles_[i]));
  }
  EXPECT_EQ(analysis.angles(), angles_);
}

TEST_F(CycleAnalysisTest, OfEqualPeaksTheFirstIsNamed) {
  options_.pegging = Pegging::none;
  for (const size_t first : {0U, 1U, 5U, 6U, 7U}) {
    std::vector<float> raw(angles_.size(), 1);
    raw[first] = raw[first + 1] = raw[8] = raw[100] = 9;
    EXPECT_EQ(*make().feed(raw).peakAngle, angles_[first]);
  }
}

TEST_F(CycleAnalysisTest, TheRiseIsLookedForInItsWindow) {
  options_.pegging = Pegging::none;
  std::vector<float> raw = cycle(500, 0);
  raw[106] = 90;  // at -148 degrees, where a sensor may see a valve close
  EXPECT_EQ(make().feed(raw).rise.angle, 0);
  options_.rise = {-180, 180};
  EXPECT_EQ(make().feed(raw).rise.angle, -150);
  options_.rise = {0, 3};
  EXPECT_EQ(problem(), "holds less than 3 samples of a cycle from 0 to 3 degrees");
  options_ = {};
  options_.burn = {0, 3};
  EXPECT_EQ(problem(), "holds less than 3 samples of a cycle from 0 to 3 degrees");
}

TEST_F(CycleAnalysisTest, NetWorkAndHeatAreThoseOfTheCycle) {
  options_.pegging = Pegging::none;
  const std::vector<float> raw = cycle(500, 0);  // the pressure triples after top dead centre
  const CycleFigures figures = make().feed(raw);
  expectClose(*figures.netMeanEffectivePressure, *netMeanEffectivePressure(engine, angles_, raw));
  ASSERT_TRUE(figures.burn);
  EXPECT_NEAR(figures.burn->angle50, 1, 1e-3);
  options_.heatExponents = HeatExponents{1.25, 1.35};
  const auto given = heatRelease(engine, angles_, raw, options_.burn, *options_.heatExponents);
  EXPECT_EQ(make().feed(raw).burn->heat, given->heat);
  EXPECT_NE(given->heat, figures.burn->heat);
  EXPECT_FALSE(make().feed(std::vector<float>(angles_.size(), -1)).burn);
}

TEST_F(CycleAnalysisTest, CyclesAreAveragedAndTheirExtremesKept) {
  options_.pegging = Pegging::none;
  options_.window = 2;
  CycleAnalysis analysis = make();
  std::vector<CycleFigures> figures;
  for (const float level : {4.0F, 1.0F, 10.0F}) {
    std::vector<float> raw(angles_.size(), level);
    raw[100] = 3 * level;
    figures.push_back(analysis.feed(raw));
  }
  EXPECT_EQ(analysis.cycles(), 3U);
  EXPECT_EQ(analysis.windowedCycles(), 2U);
  EXPECT_EQ(analysis.average()[0], 5);
  EXPECT_EQ(analysis.average()[100], 15);
  EXPECT_EQ(analysis.windowed()[0], 5.5F);
  EXPECT_EQ(analysis.windowed()[100], 16.5F);
  EXPECT_EQ(analysis.lowest()[0], 1);
  EXPECT_EQ(analysis.lowest()[100], 3);
  EXPECT_EQ(analysis.highest()[0], 10);
  EXPECT_EQ(analysis.highest()[100], 30);
  EXPECT_EQ(*figures[1].averagePeak, 7.5);
  EXPECT_EQ(*figures[2].averagePeak, 15);
  EXPECT_EQ(figures[1].windowedPeak, 7.5);
  EXPECT_EQ(figures[2].windowedPeak, 16.5);
  EXPECT_EQ(*figures[2].peak, 30);
  EXPECT_EQ(*figures[2].peakAngle, -160);
  EXPECT_EQ(analysis.statistics().samples(), 3 * angles_.size());
  EXPECT_EQ(analysis.statistics().maximum(), 30);
  EXPECT_EQ(analysis.statistics().minimum(), 1);
  expectClose(analysis.statistics().average(), 15 * (360 + 2) / (3 * 360.0));
}

TEST_F(CycleAnalysisTest, WithoutAPressureAboveZeroThereIsNoPeak) {
  options_.pegging = Pegging::none;
  CycleAnalysis analysis = make();
  const CycleFigures figures = analysis.feed(std::vector<float>(angles_.size(), -1));
  EXPECT_FALSE(figures.peak || figures.peakAngle || figures.averagePeak);
  EXPECT_EQ(figures.windowedPeak, -1);
  EXPECT_FALSE(analysis.compression());
}

TEST_F(CycleAnalysisTest, TheSmoothedCycleIsWhatIsAveraged) {
  options_.pegging = Pegging::none;
  options_.smoothing = Smoothing::average;
  options_.smoothingWidth = 3;
  CycleAnalysis analysis = make();
  std::vector<float> raw(angles_.size(), 1);
  raw[180] = 10;
  const CycleFigures figures = analysis.feed(raw);
  EXPECT_EQ(*figures.peak, 10);
  EXPECT_EQ(*figures.averagePeak, 4);
  EXPECT_EQ(figures.windowedPeak, 4);
  EXPECT_EQ(figures.rise.steepness, 0.75);
  EXPECT_EQ(figures.rise.angle, -4);
  EXPECT_EQ(analysis.corrected()[180], 10);
  EXPECT_EQ(analysis.highest()[181], 4);
}

TEST_F(CycleAnalysisTest, SettingsThatCannotBeAreNamed) {
  EXPECT_EQ(problem(), "");
  EXPECT_EQ(problemOf(CycleAnalysis::create(linkedFunctions, {0, 90, 140, 12}, options_, angles_)),
            "bore is 0: it is above 0 mm");
  options_.window = 0;
  EXPECT_EQ(problem(), "window is 0: at least 1 cycle is averaged");
  options_ = {};
  options_.smoothingWidth = 4;
  EXPECT_EQ(problem(), "smoothing width is 4: it is an odd number of samples");
  options_ = {};
  options_.compression = {-100, -99};
  EXPECT_EQ(problem(), "holds less than 2 samples of a cycle from -100 to -99 degrees");
  options_.compression = {-100, -98};
  EXPECT_EQ(problem(), "");
  options_.expansion = {81, 83};
  EXPECT_EQ(problem(), "holds less than 2 samples of a cycle from 81 to 83 degrees");
  options_ = {};
  options_.peggingWindow = AngleWindow{1, 1};
  EXPECT_EQ(problem(), "holds less than 1 samples of a cycle from 1 to 1 degrees");
  options_.peggingWindow = AngleWindow{2, 2};
  EXPECT_EQ(problem(), "");
  options_.pegging = Pegging::polytropic;
  EXPECT_EQ(problem(), "holds less than 2 samples of a cycle from 2 to 2 degrees");
  options_.pegging = Pegging::none;
  options_.peggingWindow = AngleWindow{1, 1};
  EXPECT_EQ(problem(), "");
  options_ = {};
  angles_[5] = angles_[4];
  EXPECT_EQ(problem(), "the crank angle does not rise");
  angles_ = {0};
  EXPECT_EQ(problem(), "the crank angle does not rise");
  angles_.clear();
  for (int angle = -178; angle <= 180; angle += 2) {
    angles_.push_back(angle);
  }
  EXPECT_EQ(problem(), "the crank angle runs from -178 to 180 degrees: -180 to 180 degrees are needed");
  angles_.insert(angles_.begin(), -180);
  EXPECT_EQ(problem(), "");
  angles_.pop_back();
  EXPECT_EQ(problem(), "the crank angle runs from -180 to 178 degrees: -180 to 180 degrees are needed");
}

}  // namespace
}  // namespace kxanalysis_test
