// One channel out of interleaved samples, with its statistics line.
#ifndef KXCALC_TESTS_REFERENCE_MOVE_WITH_STATISTICS_HPP
#define KXCALC_TESTS_REFERENCE_MOVE_WITH_STATISTICS_HPP

#include <cstddef>
#include <cstdint>

#include "reference/block_walk.hpp"
#include "reference/min_max.hpp"
#include "reference/min_max_ave_rms.hpp"

namespace reference {

inline void kxcalcMoveAndGetMinMaxAveRMS_int16_t(int16_t* destination, const int16_t* source, uint32_t count,
                                                 int16_t* minimum, int16_t* maximum, double* sum, double* sumOfSquares,
                                                 float rmsOffset, int32_t stride) {
  if (count == 0) {
    return;
  }
  const bool isShort = count < 8;
  const bool isContiguous = !isShort && stride <= 1;
  for (uint32_t i = 0; i < count; ++i) {
    destination[i] = source[static_cast<ptrdiff_t>(i) * (isContiguous ? 1 : stride)];
  }
  if (isShort) {
    for (uint32_t i = 0; i < count; ++i) {
      mergeExtremes(destination[i], minimum, maximum);
      addToSums(destination[i], rmsOffset, sum, sumOfSquares);
    }
  } else if (isContiguous) {
    addToSumsInTwoLanes(destination, count, headLength(source), rmsOffset, sum, sumOfSquares);
    getMinMaxOfLanes(source, count, minimum, maximum);
  } else {
    addToSumsInTwoLanes(destination, count, headLength(destination), rmsOffset, sum, sumOfSquares);
    for (uint32_t i = 0; i < count; ++i) {
      mergeExtremes(destination[i], minimum, maximum);
    }
  }
}

}  // namespace reference

#endif
