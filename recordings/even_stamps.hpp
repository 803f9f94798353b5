// The sample rate that time stamps tell.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

namespace kxrecordings {

/// Takes the time stamps of samples, whole numbers of a unit each. They are even if one step from sample to sample explains all of
/// them, with what was rounded away from the first one and from each other one, less than one unit together.
class EvenStamps {
public:
  /// Nothing where a sample has none.
  void add(std::optional<double> stamp);

  /// Samples a second: a whole number if such a rate explains the stamps, too; nothing where they are not even.
  /// @param unit  seconds that a stamp of 1 stands for.
  std::optional<double> rate(double unit) const;

private:
  bool areThere_ = true;
  uint64_t count_ = 0;
  double first_ = 0, last_ = 0;
  double least_ = 0, most_ = std::numeric_limits<double>::infinity();  // steps that explain all
};

}  // namespace kxrecordings
