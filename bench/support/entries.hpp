// What is known of each benchmark beside its time.
#pragma once

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace kxcalc::bench {

enum class Role {
  kxcalc,
  loop,     // that a user would write
  library,  // of others
  traffic,  // the job's memory accesses alone
  chain,    // the dependent operations that the job's result is defined by
  latency,  // of one operation, for orientation
};

struct Entry {
  std::string job;      // the export's name
  std::string variant;  // which data or arguments, if there are several
  std::size_t count;    // elements
  std::string who;
  Role role;
  std::string waives;  // what a peer does not promise and the export does

  /// The benchmark's: <job>[/<variant>]/<count>/<who>.
  std::string name() const;
};

/// Adds a benchmark to the entries, and returns its name.
std::string announce(const Entry& entry);

/// All that were announced, in that order.
const std::vector<Entry>& entries();

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

/// Empty if all quantities agree, else what differs.
std::string disagreement(const std::vector<Quantity>& expected, const std::vector<Quantity>& actual, double tolerance);

}  // namespace kxcalc::bench
