// What the models of the statistics kernels share: the head of a buffer, and sums gathered in two partial sums.
#ifndef KXCALC_TESTS_REFERENCE_BLOCK_WALK_HPP
#define KXCALC_TESTS_REFERENCE_BLOCK_WALK_HPP

#include <cstdint>

namespace reference {

/// Elements of a 16-byte block.
template <typename Sample>
inline constexpr uint32_t blockWidth = 16 / sizeof(Sample);

/// Elements from data to the next 16-byte boundary; none where data lies on one.
template <typename Sample>
uint32_t headLength(const Sample* data) {
  const auto pastBoundary = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data) % 16);
  return (16 - pastBoundary) % 16 / static_cast<uint32_t>(sizeof(Sample));
}

/// One sample onto both sums. The offset is added in the precision of the offset's type.
template <typename Sample, typename Offset>
void addToSums(Sample sample, Offset rmsOffset, double* sum, double* sumOfSquares) {
  const double q = static_cast<double>(static_cast<Offset>(sample) + rmsOffset);
  *sum = static_cast<double>(sample) + *sum;
  *sumOfSquares = q * q + *sumOfSquares;
}

/// Head and tail one sample at a time onto the totals; the body in two partial sums, whose total is added at once (it
/// is added, as +0, even when there is no block: a total of -0 becomes +0).
template <typename Sample, typename Offset>
void addToSumsInTwoLanes(const Sample* data, uint32_t count, uint32_t head, Offset rmsOffset, double* sum,
                         double* sumOfSquares) {
  const uint32_t bodyEnd = count - (count - head) % blockWidth<Sample>;
  for (uint32_t i = 0; i < head; ++i) {
    addToSums(data[i], rmsOffset, sum, sumOfSquares);
  }
  double lanes[2] = {0, 0};
  double squareLanes[2] = {0, 0};
  for (uint32_t i = head; i < bodyEnd; ++i) {
    addToSums(static_cast<double>(data[i]), static_cast<double>(rmsOffset), &lanes[(i - head) % 2],
              &squareLanes[(i - head) % 2]);
  }
  *sum = (lanes[0] + lanes[1]) + *sum;
  *sumOfSquares = (squareLanes[0] + squareLanes[1]) + *sumOfSquares;
  for (uint32_t i = bodyEnd; i < count; ++i) {
    addToSums(data[i], rmsOffset, sum, sumOfSquares);
  }
}

}  // namespace reference

#endif
