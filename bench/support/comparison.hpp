// A comparison of one job on one kind of data: the kernel, its peers and its limits, at several block sizes.
//
// A bench file says for each job how its workload is made, and how the kernel and each peer run on it, and which peers
// keep the export's order and rounding. It is compiled three times, and each build announces its share:
// - base, -O3 -msse4.1: the kernel, the plain loop, compiled libraries, traffic in 16-byte accesses, the chain;
// - native, -O3 -march=native: the plain loop, template libraries, traffic in the widest accesses;
// - reordered, -O3 -march=native -ffast-math: the plain loop, where that makes a difference.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/entries.hpp"
#include "support/samples.hpp"
#include "support/traffic.hpp"

namespace kxcalc::bench {

/// Buffers that a job reads and writes.
struct Streams {
  const void* first;
  const void* second = nullptr;
  void* output = nullptr;
};

// Every build of a bench file has its own.
namespace {

/// Anything that runs on anything. The compiler has to take the subject as changed before each run, and all that is
/// written as read after it.
template <class MakeSubject, class Run>
class Repeated final : public Prepared {
public:
  Repeated(MakeSubject make, Run action) : subject_(make()), run_(action) {}

  void run(std::size_t times) override {
    for (std::size_t i = 0; i < times; ++i) {
      benchmark::DoNotOptimize(subject_);
      run_(subject_);
      benchmark::DoNotOptimize(subject_);
    }
  }

  std::vector<Quantity> results() const override {
    if constexpr (requires { subject_.results(); }) {
      return subject_.results();
    } else {
      return {};
    }
  }

private:
  std::invoke_result_t<MakeSubject> subject_;
  Run run_;
};

template <class MakeSubject, class Run>
std::unique_ptr<Prepared> repeated(MakeSubject make, Run run) {
  return std::make_unique<Repeated<MakeSubject, Run>>(make, run);
}

/// Make: Workload(size_t count), with fresh input and room for the results. A workload's results() are the quantities
/// that were computed.
template <class Make>
class Comparison {
public:
  using Workload = std::invoke_result_t<Make, std::size_t>;

  /// Kernel: void(const Functions&, Workload&).
  template <class Kernel>
  Comparison(std::string job, std::string variant, Make make, [[maybe_unused]] Kernel kernel,
             std::vector<std::size_t> counts = {blockSizes.begin(), blockSizes.end()})
      : job_(std::move(job)), variant_(std::move(variant)), make_(make), counts_(std::move(counts)) {
#if defined(KXCALC_BENCH_BUILD_BASE)
    for (const std::size_t count : counts_) {
      announce({job_, variant_, count, "", Role::kxcalc, sameBits(), [=](const Functions& functions) {
                  return repeated([=] { return make(count); },
                                  [&functions, kernel](Workload& w) { kernel(functions, w); });
                }});
    }
#endif
  }

  /// The loop that a user would write.
  template <class Run>
  void plain([[maybe_unused]] const Contract& contract, [[maybe_unused]] Run run) {
#if defined(KXCALC_BENCH_BUILD_BASE)
    announcePeer("plain", Role::loop, contract, run);
#elif defined(KXCALC_BENCH_BUILD_NATIVE)
    announcePeer("native", Role::loop, contract, run);
#endif
  }

  /// The same where operations may be reordered and fused.
  template <class Run>
  void reordered([[maybe_unused]] const Contract& contract, [[maybe_unused]] Run run) {
#if defined(KXCALC_BENCH_BUILD_REORDERED)
    announcePeer("reordered", Role::loop, contract, run);
#endif
  }

  /// A library's code for the same job.
  template <class Run>
  void library(const std::string& who, const Contract& contract, Run run) {
    announcePeer(who, Role::library, contract, run);
  }

  /// The memory accesses alone. streams: Streams(Workload&).
  template <Traffic traffic, class GetStreams>
  void limitedByTraffic([[maybe_unused]] GetStreams streams) {
#if !defined(KXCALC_BENCH_BUILD_REORDERED)
    struct Pass {
      Workload workload;
      Streams streams;
      std::size_t count;

      void run() const {
        const TrafficPass<traffic> pass{static_cast<const char*>(streams.first),
                                        static_cast<const char*>(streams.second), static_cast<char*>(streams.output),
                                        count};
        benchmark::DoNotOptimize(pass.run());
      }
    };
    announceEach(sizeof(Access) == 16 ? "16-byte" : "widest", Role::traffic, sameBits(),
                 [streams, make = make_](std::size_t count) {
                   const auto makePass = [=] {
                     Pass pass{make(count), {}, count};
                     pass.streams = streams(pass.workload);
                     return pass;
                   };
                   return repeated(makePass, [](const Pass& pass) { pass.run(); });
                 });
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
    announceEach("chain", Role::chain, sameBits(), [=](std::size_t count) {
      const auto steps = static_cast<std::size_t>(stepsPerElement * static_cast<double>(count));
      return repeated(
          [=] {
            return Chain{1, steps};
          },
          [step](const Chain& chain) {
            double value = 0;
            for (std::size_t i = 0; i < chain.steps; ++i) {
              value = step(value, chain.operand);
            }
            benchmark::DoNotOptimize(value);
          });
    });
#endif
  }

private:
  std::string job_, variant_;
  Make make_;
  std::vector<std::size_t> counts_;

  template <class Run>
  void announcePeer(const std::string& who, Role role, const Contract& contract, Run run) {
    announceEach(who, role, contract,
                 [run, make = make_](std::size_t count) { return repeated([=] { return make(count); }, run); });
  }

  /// prepare: what Entry::prepare returns, of a block size.
  template <class Prepare>
  void announceEach(const std::string& who, Role role, const Contract& contract, Prepare prepare) {
    for (const std::size_t count : counts_) {
      announce({job_, variant_, count, who, role, contract, [=](const Functions&) { return prepare(count); }});
    }
  }
};

}  // namespace
}  // namespace kxcalc::bench
