#include "analysis/power/power_mean.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace kxanalysis {
namespace {

constexpr double degrees = 180 / std::numbers::pi;

constexpr std::array<float SequenceFigures::*, 5> sequenceFigures{
    &SequenceFigures::positive, &SequenceFigures::negative, &SequenceFigures::zero, &SequenceFigures::negativeRatio,
    &SequenceFigures::zeroRatio};

constexpr std::array<std::vector<double> HarmonicGroups::*, 4> allGroups{
    &HarmonicGroups::harmonic, &HarmonicGroups::harmonicSubgroups, &HarmonicGroups::interharmonic,
    &HarmonicGroups::interharmonicSubgroups};

bool isFlagged(const PowerWindow& window) {
  return window.place.flags.any();
}

}  // namespace

void PowerMean::Squares::add(double value) {
  sum += value * value;
  ++count;
}

double PowerMean::Squares::root() const {
  return count > 0 ? std::sqrt(sum / count) : std::numeric_limits<double>::quiet_NaN();
}

template <class Number>
void PowerMean::OrderSquares::add(const std::vector<Number>& values, bool isFirst) {
  orders.resize(isFirst ? values.size() : std::min(orders.size(), values.size()));
  for (size_t i = 0; i < orders.size(); ++i) {
    orders[i].add(static_cast<double>(values[i]));
  }
}

template <class Number>
std::vector<Number> PowerMean::OrderSquares::roots() const {
  std::vector<Number> roots;
  for (const Squares& squares : orders) {
    roots.push_back(static_cast<Number>(squares.root()));
  }
  return roots;
}

void PowerMean::Signal::add(const SignalFigures& figures) {
  const bool isFirst = rms.count == 0;
  rms.add(figures.rms);
  harmonics.add(figures.harmonics, isFirst);
  for (size_t i = 0; i < groups.size(); ++i) {
    groups.at(i).add(figures.groups.*allGroups.at(i), isFirst);
  }
  phasors.resize(harmonics.orders.size());
  for (size_t i = 0; i < phasors.size(); ++i) {
    phasors[i] +=
        std::polar(static_cast<double>(figures.harmonics[i]), static_cast<double>(figures.angles[i]) / degrees);
  }
}

SignalFigures PowerMean::Signal::value() const {
  SignalFigures mean;
  mean.rms = rms.root();
  mean.harmonics = harmonics.roots<float>();
  for (size_t i = 0; i < groups.size(); ++i) {
    mean.groups.*allGroups.at(i) = groups.at(i).roots<double>();
  }
  for (const std::complex<double>& phasor : phasors) {
    mean.angles.push_back(static_cast<float>(std::arg(phasor) * degrees));
  }
  return mean;
}

void PowerMean::Sequences::add(const SequenceFigures& sequences) {
  for (size_t i = 0; i < figures.size(); ++i) {
    if (const float value = sequences.*sequenceFigures[i]; !std::isnan(value)) {
      figures[i].add(static_cast<double>(value));
    }
  }
}

SequenceFigures PowerMean::Sequences::value() const {
  SequenceFigures mean;
  for (size_t i = 0; i < figures.size(); ++i) {
    mean.*sequenceFigures[i] = static_cast<float>(figures[i].root());
  }
  return mean;
}

void PowerMean::add(const PowerWindow& window) {
  phases_.resize(window.phases.size());
  for (size_t i = 0; i < phases_.size(); ++i) {
    const PhaseFigures& phase = window.phases[i];
    phases_[i].voltage.add(phase.voltage);
    phases_[i].current.add(phase.current);
    phases_[i].power.active += phase.power.active;
    phases_[i].power.reactive += phase.power.reactive;
    phases_[i].power.apparent += phase.power.apparent;
  }
  haveSequences_ = window.voltageSequence.has_value();
  if (haveSequences_) {
    voltages_.add(*window.voltageSequence);
    currents_.add(*window.currentSequence);
  }
  if (count_ == 0) {
    place_.begin = window.place.begin;
  }
  place_.length = window.place.begin + window.place.length - place_.begin;
  place_.flags = place_.flags | window.place.flags;
  place_.frequency += window.place.frequency;  // windows are of as many cycles, about as long
  ++count_;
}

PowerWindow PowerMean::value() const {
  PowerWindow mean;
  const auto count = static_cast<double>(count_);
  for (const Phase& phase : phases_) {
    const PowerFigures& sum = phase.power;
    mean.phases.push_back({phase.voltage.value(),
                           phase.current.value(),
                           {sum.active / count, sum.reactive / count, sum.apparent / count}});
  }
  if (haveSequences_) {
    mean.voltageSequence = voltages_.value();
    mean.currentSequence = currents_.value();
  }
  mean.place = place_;
  mean.place.frequency /= count;
  return mean;
}

PowerWindow meanOf(std::span<const PowerWindow> windows) {
  PowerMean mean;
  for (const PowerWindow& window : windows) {
    mean.add(window);
  }
  return mean.value();
}

PowerWindow meanOfUnflagged(std::span<const PowerWindow> windows) {
  const bool areAll = std::ranges::all_of(windows, isFlagged);
  PowerMean mean;
  for (const PowerWindow& window : windows) {
    if (areAll || !isFlagged(window)) {
      mean.add(window);
    }
  }
  return mean.value();
}

size_t flaggedCount(std::span<const PowerWindow> windows) {
  return static_cast<size_t>(std::ranges::count_if(windows, isFlagged));
}

}  // namespace kxanalysis
