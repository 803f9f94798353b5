// A comparison of one job on one kind of data: the kernel, its peers and its limits, at several block sizes.
//
// A bench file says for each job how its workload is made, and how the kernel and each peer run on it. It is compiled
// three times, and each build registers its share:
// - base, -O3 -msse4.1: the kernel, the plain loop, compiled libraries, traffic in 16-byte accesses, the chain;
// - native, -O3 -march=native: the plain loop, template libraries, traffic in the widest accesses;
// - reordered, -O3 -march=native -ffast-math: the plain loop, where that makes a difference.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/entries.hpp"
#include "support/samples.hpp"
#include "support/traffic.hpp"

namespace kxcalc::bench {

/// How far a peer may be off: by the roundings of sums in another order; of a few operations in single; of sums in
/// single.
inline constexpr double sumsInOtherOrder = 1e-9;
inline constexpr double otherRoundings = 1e-5;
inline constexpr double sumsInSingle = 1e-3;

/// Buffers that a job reads and writes.
struct Streams {
  const void* first;
  const void* second = nullptr;
  void* output = nullptr;
};

// Every build of a bench file has its own.
namespace {

/// Make: Workload(size_t count), with fresh input and room for the results. Kernel: void(Workload&). A workload's
/// results() are the quantities that were computed.
template <class Make, class Kernel>
class Comparison {
public:
  using Workload = std::invoke_result_t<Make, std::size_t>;

  Comparison(std::string job, std::string variant, Make make, Kernel kernel,
             std::vector<std::size_t> counts = {blockSizes.begin(), blockSizes.end()})
      : job_(std::move(job)), variant_(std::move(variant)), make_(make), kernel_(kernel), counts_(std::move(counts)) {
#if defined(KXCALC_BENCH_BUILD_BASE)
    for (const std::size_t size : counts_) {
      add(size, "kxcalc", Role::kxcalc, "", [=](benchmark::State& state) { measure(state, make(size), kernel); });
    }
#endif
  }

  /// The loop that a user would write, and what it does not promise of what the kernel does.
  template <class Run>
  void plain([[maybe_unused]] const std::string& waives, [[maybe_unused]] Run run,
             [[maybe_unused]] double tolerance = sumsInOtherOrder) {
#if defined(KXCALC_BENCH_BUILD_BASE)
    addPeer("plain", Role::loop, waives, run, tolerance);
#elif defined(KXCALC_BENCH_BUILD_NATIVE)
    addPeer("native", Role::loop, waives, run, tolerance);
#endif
  }

  /// The same where operations may be reordered and fused.
  template <class Run>
  void reordered([[maybe_unused]] const std::string& waives, [[maybe_unused]] Run run,
                 [[maybe_unused]] double tolerance = otherRoundings) {
#if defined(KXCALC_BENCH_BUILD_REORDERED)
    addPeer("reordered", Role::loop, waives, run, tolerance);
#endif
  }

  /// A library's code for the same job.
  template <class Run>
  void library(const std::string& who, const std::string& waives, Run run, double tolerance = sumsInOtherOrder) {
    addPeer(who, Role::library, waives, run, tolerance);
  }

  /// The memory accesses alone. streams: Streams(Workload&).
  template <Traffic traffic, class GetStreams>
  void limitedByTraffic([[maybe_unused]] GetStreams streams) {
#if !defined(KXCALC_BENCH_BUILD_REORDERED)
    for (const std::size_t size : counts_) {
      add(size, sizeof(Access) == 16 ? "16-byte" : "widest", Role::traffic, "",
          [=, make = make_](benchmark::State& state) {
            Workload workload = make(size);
            const Streams buffers = streams(workload);
            const TrafficPass<traffic> pass{static_cast<const char*>(buffers.first),
                                            static_cast<const char*>(buffers.second),
                                            static_cast<char*>(buffers.output), size};
            measure(state, pass, [](TrafficPass<traffic> each) { benchmark::DoNotOptimize(each.run()); });
          });
    }
#endif
  }

  /// The dependent additions in double that the result is defined by.
  void limitedByChain(double additionsPerElement) {
    limitedByChainOf([](double sum, double term) { return sum + term; }, additionsPerElement);
  }

  /// Dependent operations of other kinds: step(double value, double operand) returns the next value.
  template <class Step>
  void limitedByChainOf([[maybe_unused]] Step step, [[maybe_unused]] double stepsPerElement = 1) {
#if defined(KXCALC_BENCH_BUILD_BASE)
    struct Chain {
      double operand;
      std::size_t steps;
    };
    for (const std::size_t size : counts_) {
      const auto steps = static_cast<std::size_t>(stepsPerElement * static_cast<double>(size));
      add(size, "chain", Role::chain, "", [=](benchmark::State& state) {
        measure(state, Chain{1, steps}, [step](const Chain& chain) {
          double value = 0;
          for (std::size_t i = 0; i < chain.steps; ++i) {
            value = step(value, chain.operand);
          }
          benchmark::DoNotOptimize(value);
        });
      });
    }
#endif
  }

private:
  std::string job_, variant_;
  Make make_;
  Kernel kernel_;
  std::vector<std::size_t> counts_;

  template <class Body>
  void add(std::size_t count, const std::string& who, Role role, const std::string& waives, Body body) const {
    benchmark::RegisterBenchmark(announce({job_, variant_, count, who, role, waives}).c_str(), body);
  }

  /// A peer is measured if it agrees with the kernel.
  template <class Run>
  void addPeer(const std::string& who, Role role, const std::string& waives, Run run, double tolerance) {
    for (const std::size_t size : counts_) {
      add(size, who, role, waives,
          [=, make = make_, kernel = kernel_, agrees = false](benchmark::State& state) mutable {
            if (!agrees) {
              const auto expected = resultsOf(make(size), kernel);
              const std::string difference = disagreement(expected, resultsOf(make(size), run), tolerance);
              if (!difference.empty()) {
                state.SkipWithError(difference.c_str());
                return;
              }
              agrees = true;
            }
            measure(state, make(size), run);
          });
    }
  }

  template <class Run>
  static std::vector<Quantity> resultsOf(Workload workload, Run run) {
    run(workload);
    return workload.results();
  }

  /// The compiler has to take the subject as changed before each run, and all that is written as read after it.
  template <class Subject, class Run>
  static void measure(benchmark::State& state, Subject subject, Run run) {
    for ([[maybe_unused]] auto iteration : state) {
      benchmark::DoNotOptimize(subject);
      run(subject);
      benchmark::DoNotOptimize(subject);
    }
  }
};

}  // namespace
}  // namespace kxcalc::bench
