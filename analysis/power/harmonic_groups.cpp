#include "analysis/power/harmonic_groups.hpp"

#include <algorithm>
#include <numeric>

namespace kxanalysis {
namespace {

void keepFirst(std::vector<double>& values, double count) {
  values.resize(std::min(values.size(), static_cast<size_t>(std::max(0.0, count))));
}

}  // namespace

void HarmonicGroups::keepBelow(double orders) {
  keepFirst(harmonic, std::floor(orders - 0.5));
  keepFirst(harmonicSubgroups, std::floor(orders - 0.5));
  keepFirst(interharmonic, std::floor(orders));
  keepFirst(interharmonicSubgroups, std::floor(orders));
}

HarmonicGroups groupsOf(std::span<const double> squares, size_t cycles, size_t orders) {
  HarmonicGroups groups;
  if (cycles < HarmonicGroups::fewestCycles) {
    return groups;
  }
  const auto sum = [&](size_t first, size_t count) {
    const auto run = squares.subspan(first, count);
    return std::accumulate(run.begin(), run.end(), 0.0);
  };
  const size_t nearer = (cycles - 1) / 2, halfway = cycles / 2;  // the same where no bin lies halfway
  for (size_t order = 0; order <= orders && (order + 1) * cycles <= squares.size(); ++order) {
    const size_t first = order * cycles + 1;
    groups.interharmonic.push_back(std::sqrt(sum(first, cycles - 1)));
    groups.interharmonicSubgroups.push_back(std::sqrt(sum(first + 1, cycles - 3)));
  }
  for (size_t order = 1; order <= orders && order * cycles + halfway < squares.size(); ++order) {
    const size_t bin = order * cycles;
    const double ends = halfway > nearer ? squares[bin - halfway] + squares[bin + halfway] : 0;
    groups.harmonic.push_back(std::sqrt(sum(bin - nearer, 2 * nearer + 1) + ends / 2));
    groups.harmonicSubgroups.push_back(std::sqrt(sum(bin - 1, 3)));
  }
  return groups;
}

}  // namespace kxanalysis
