// Scaling in place: data[i] = data[i] * factor, one rounding.
#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

template <class T>
KXCALC_INLINE void scaleInPlace(T* data, size_t count, T factor) {
  walkElements<laneCount<T>>(data, count, [=](auto at) { at.store(data, at.load(data) * factor); });
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcMultiplyVectorByScalar_float(float* data, uint32_t count, float factor) {
  kxcalc::scaleInPlace(data, count, factor);
}

extern "C" void kxcalcMultiplyVectorByScalar_double(double* data, uint32_t count, double factor) {
  kxcalc::scaleInPlace(data, count, factor);
}
