// The libraries that a build of a bench file compares with, as far as they are installed.
#pragma once

#include <cstddef>

#if defined(KXCALC_BENCH_EIGEN)
#include <Eigen/Core>
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
#define HWY_COMPILE_ONLY_STATIC  // for this machine, as everything else in the build
#include <hwy/highway.h>
#endif
#if defined(KXCALC_BENCH_SLEEF)
#include <sleef.h>
#endif
#if defined(KXCALC_BENCH_VOLK)
#include <volk/volk.h>
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
#include <cblas.h>
#endif
#if defined(KXCALC_BENCH_LIBSAMPLERATE)
#include <samplerate.h>
#endif
#if defined(KXCALC_BENCH_LIQUID)
#include <liquid/liquid.h>
#endif

namespace kxcalc::bench {
namespace {

#if defined(KXCALC_BENCH_EIGEN)
template <class T>
auto eigenArray(const T* data, std::size_t count) {
  return Eigen::Map<const Eigen::Array<T, Eigen::Dynamic, 1>>(data, static_cast<Eigen::Index>(count));
}
template <class T>
auto eigenArray(T* data, std::size_t count) {
  return Eigen::Map<Eigen::Array<T, Eigen::Dynamic, 1>>(data, static_cast<Eigen::Index>(count));
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
namespace hn = hwy::HWY_NAMESPACE;

/// Calls step(i) for i = begin, begin + distance, ... as long as distance elements are left; returns where it stopped.
template <class Step>
HWY_INLINE std::size_t forEachVector(std::size_t begin, std::size_t count, std::size_t distance, Step step) {
  std::size_t i = begin;
  for (; i + distance <= count; i += distance) {
    step(i);
  }
  return i;
}
#endif

}  // namespace
}  // namespace kxcalc::bench
