// The numbers that a job computed, and whether two of its implementations agree.
#pragma once

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace kxcalc::bench {

/// A number that a job computed. Two of them agree if they differ by a tolerance times `scale` at most.
struct Quantity {
  template <class Number>
  Quantity(Number number) : Quantity(number, std::abs(static_cast<double>(number))) {}
  template <class Number>
  Quantity(Number number, double scaleOfNumber) : value(static_cast<double>(number)), scale(scaleOfNumber) {}

  double value, scale;
};

/// Up to some hundred elements of an output, spread evenly over it, with the first and the last.
template <class T>
std::vector<Quantity> elementsOf(const T* output, std::size_t count);

/// Empty if all quantities agree, else what differs. A tolerance of 0 asks for the same bits; any NaN is as good as
/// another.
std::string disagreement(const std::vector<Quantity>& expected, const std::vector<Quantity>& actual, double tolerance);

}  // namespace kxcalc::bench
