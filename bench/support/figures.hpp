// What was measured, a row for each job, kind of data and block size, and what follows from it.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/entries.hpp"

namespace kxcalc::bench {

struct Figure {
  std::string who;
  Role role;
  Contract contract;
  double nanoseconds;  // an element
};

struct Row {
  std::string job, variant;
  std::size_t count;
  std::vector<Figure> figures;

  const Figure* of(const std::string& who) const;

  /// The fastest library; null where none was measured.
  const Figure* ours() const;

  /// The fastest peer that gives the same bits, or the fastest of all.
  const Figure* bestPeer(bool sameBits) const;

  /// The longer of the memory traffic, with those accesses that take less, and the chain.
  std::optional<double> limit() const;

private:
  const Figure* fastest(const std::function<bool(const Figure&)>& counts) const;
};

}  // namespace kxcalc::bench
