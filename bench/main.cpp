// Measures every kernel beside its peers and its limits, prints a table, and writes what was measured to a CSV file.
#include <benchmark/benchmark.h>

#include <fstream>
#include <iostream>
#include <vector>

#include "support/report.hpp"

#if defined(KXCALC_BENCH_OPENBLAS)
#include <cblas.h>
#endif

int main(int argc, char** argv) {
  using kxcalc::bench::Report;

#if defined(KXCALC_BENCH_OPENBLAS)
  openblas_set_num_threads(1);  // the kernels run in the caller's thread
#endif

  // The machine may be shared: short measurements in random order, of which the report takes the quicker ones. What the
  // user gives comes later and wins.
  std::string defaults[] = {"--benchmark_min_time=0.01", "--benchmark_repetitions=9",
                            "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> arguments{argv[0]};
  for (std::string& argument : defaults) {
    arguments.push_back(argument.data());
  }
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  auto count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (count > 2 || (count == 2 && arguments[1][0] == '-')) {
    std::cerr << "usage: " << argv[0] << " [--benchmark_...] [csv file]\n";
    return 2;
  }

  Report report(KXCALC_BENCH_LIBRARY);
  if (benchmark::RunSpecifiedBenchmarks(&report) == 0) {
    return 1;
  }
  if (count == 2 && !report.empty()) {
    std::ofstream file(arguments[1]);
    report.writeCsv(file);
    if (!file.flush()) {
      std::cerr << "cannot write " << arguments[1] << '\n';
      return 1;
    }
  }
  return 0;
}
