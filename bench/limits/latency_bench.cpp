// Latencies of dependent operations, which set the pace of chains.
#include "support/comparison.hpp"

#if defined(KXCALC_BENCH_BUILD_BASE)
namespace kxcalc::bench {
namespace {

template <class T, class Operation>
void measureLatency(const char* operation, Operation apply) {
  constexpr size_t count = blockSizes.front();
  announce({"latency", "", count, operation, Role::latency, sameBits(), [=](const Functions&) {
              return repeated([] { return samples<T>(Signal::noise); },
                              [=](const T* data) {
                                T result = data[0];
                                for (size_t i = 0; i < count; ++i) {
                                  result = apply(result, data[i]);
                                }
                                benchmark::DoNotOptimize(result);
                              });
            }});
}

const bool registered = [] {
  measureLatency<double>("double addition", [](double a, double b) { return a + b; });
  measureLatency<float>("single minimum", [](float a, float b) { return a < b ? a : b; });
  measureLatency<double>("double minimum", [](double a, double b) { return a < b ? a : b; });
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
#endif
