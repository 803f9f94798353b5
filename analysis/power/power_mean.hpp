// The figures of many windows taken together.
#pragma once

#include <array>
#include <complex>
#include <span>
#include <vector>

#include "analysis/power/power_analysis.hpp"

namespace kxanalysis {

/// Windows taken together: root mean squares of rms values and of unbalance ratios (IEC 61000-4-30, 4.5), averages of
/// powers, angles of averaged phasors. It keeps sums, not the windows.
class PowerMean {
public:
  /// @param window  of the same phases as the others. Of orders, those count that all windows have.
  void add(const PowerWindow& window);

  /// How many were added.
  size_t count() const { return count_; }

  /// Of at least one. It lies from the first window's begin to the last one's end, with the flags of them all.
  PowerWindow value() const;

private:
  /// Sums of squares, over those windows that have the figure.
  struct Squares {
    double sum = 0, count = 0;

    void add(double value);
    double root() const;
  };

  /// The same of the figures of as many orders as all windows have.
  struct OrderSquares {
    std::vector<Squares> orders;

    template <class Number>
    void add(const std::vector<Number>& values, bool isFirst);
    template <class Number>
    std::vector<Number> roots() const;
  };

  struct Signal {
    Squares rms;
    OrderSquares harmonics;
    std::array<OrderSquares, 4> groups;
    std::vector<std::complex<double>> phasors;

    void add(const SignalFigures& figures);
    SignalFigures value() const;
  };

  struct Phase {
    Signal voltage, current;
    PowerFigures power;
  };

  struct Sequences {
    std::array<Squares, 5> figures;

    void add(const SequenceFigures& sequences);
    SequenceFigures value() const;
  };

  size_t count_ = 0;
  std::vector<Phase> phases_;
  bool haveSequences_ = false;
  Sequences voltages_, currents_;
  WindowPlace place_;
};

/// All of some windows taken together.
/// @param windows  at least one, all of the same phases.
PowerWindow meanOf(std::span<const PowerWindow> windows);

/// Those without flags, or all where every one is flagged.
PowerWindow meanOfUnflagged(std::span<const PowerWindow> windows);

/// How many have flags.
size_t flaggedCount(std::span<const PowerWindow> windows);

}  // namespace kxanalysis
