// Dips, swells and interruptions of voltages, by their rms values over one cycle, renewed every half cycle.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace kxanalysis {

/// Sums of the squares of samples, as integrals between any two positions: on straight lines between the samples.
class SquareIntegral {
public:
  void feed(std::span<const double> samples);

  /// Samples so far.
  double end() const { return static_cast<double>(dropped_ + squares_.size()); }

  /// Root mean square from one position to a later one; both lie among the samples that are kept.
  double rms(double begin, double end) const;

  /// Drops the samples before a position.
  void forget(double begin);

private:
  double integralTo(double position) const;

  std::vector<double> squares_;
  size_t dropped_ = 0;
};

enum class VoltageEventKind { dip, swell, interruption };

struct VoltageEvent {
  VoltageEventKind kind;
  double begin, duration;  ///< in s
  double extreme;          ///< rms in V: the least one, of a swell the largest one
  double ratio;            ///< of that to the reference
  size_t phase;            ///< where it was, from 0
  bool isOver;             ///< or else the stream ended before
};

/// Finds events of one to three phases (IEC 61000-4-30, 5.4 and 5.5). A dip begins where any phase falls below 90 % of its
/// reference and ends where all have at least 92 %; a swell begins where any phase rises above 110 % and ends where all
/// have at most 108 %; an interruption begins where all are below 5 % and ends where any has at least 7 %. Thus what ends
/// as an interruption is a dip as well.
class VoltageEvents {
public:
  /// What one is reported against, of each phase, in V. Without, there are no events.
  void setReference(std::vector<double> volts) { reference_ = std::move(volts); }
  std::span<const double> reference() const { return reference_; }

  /// Takes the next rms values, one for each phase, over the cycle that begins at a time in s; returns the events that
  /// end with it, which stay until the next call.
  std::span<const VoltageEvent> feed(double time, std::span<const double> volts);

  /// Ends the stream at a time in s: returns the events that are not over.
  std::span<const VoltageEvent> finish(double time);

  /// Whether there is one of a kind at the moment.
  bool isIn(VoltageEventKind kind) const { return open_.at(static_cast<size_t>(kind)).has_value(); }

private:
  void follow(VoltageEventKind kind, double time, std::span<const double> volts, bool begins, bool ends);
  void deepen(VoltageEvent& event, std::span<const double> volts) const;

  std::vector<double> reference_;
  std::array<std::optional<VoltageEvent>, 3> open_;
  std::vector<VoltageEvent> over_;
};

}  // namespace kxanalysis
