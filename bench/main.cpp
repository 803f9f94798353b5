// Measures every kernel of all libraries of a folder beside its peers and its limits, prints tables, and writes them
// and all that was measured to files.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "support/report.hpp"
#include "support/samples.hpp"
#include "support/subjects.hpp"

#if defined(KXCALC_BENCH_OPENBLAS)
#include <cblas.h>
#endif

namespace kxcalc::bench {
namespace {

constexpr const char* usage =
    " [--benchmark_...] <folder of libraries> <file without ending>   measures, writes <file>.md and .csv\n"
    "       kxcalc-bench --check <folder of libraries> <regular expression>   checks that results agree, up to the "
    "second size\n";

/// A subject is measured if it agrees.
void registerAll(const std::vector<Subject>& subjects, const Functions& first) {
  for (const Subject& subject : subjects) {
    benchmark::RegisterBenchmark(subject.name().c_str(),
                                 [&subject, &first, agrees = false](benchmark::State& state) mutable {
                                   if (!agrees) {
                                     const std::string difference = disagreement(subject, first);
                                     if (!difference.empty()) {
                                       state.SkipWithError(difference.c_str());
                                       return;
                                     }
                                     agrees = true;
                                   }
                                   const auto prepared = subject.entry->prepare(*subject.functions);
                                   while (state.KeepRunningBatch(state.max_iterations)) {
                                     prepared->run(static_cast<std::size_t>(state.max_iterations));
                                   }
                                 });
  }
}

int check(const std::vector<Subject>& subjects, const Functions& first, const std::regex& filter) {
  expectBlocksUpTo(blockSizes[1]);
  std::size_t agreeing = 0, differing = 0;
  for (const Subject& subject : subjects) {
    if (subject.entry->count > blockSizes[1] || !std::regex_search(subject.name(), filter)) {
      continue;
    }
    const std::string difference = disagreement(subject, first);
    ++(difference.empty() ? agreeing : differing);
    if (!difference.empty()) {
      std::cout << subject.name() << ": " << difference << '\n';
    }
  }
  std::cout << agreeing << " agree, " << differing << " differ\n";
  return differing == 0 && agreeing != 0 ? 0 : 1;
}

template <class Write>
bool writeFile(const std::string& name, Write write) {
  std::ofstream file(name);
  write(file);
  if (!file.flush()) {
    std::cerr << "cannot write " << name << '\n';
    return false;
  }
  return true;
}

int measure(const std::vector<Subject>& subjects, const std::vector<std::string>& variants, const std::string& file) {
  Report report;
  if (benchmark::RunSpecifiedBenchmarks(&report) == 0 || report.empty()) {
    return 1;
  }
  report.writeMarkdown(std::cout, subjects, variants);
  return writeFile(file + ".md", [&](std::ostream& out) { report.writeMarkdown(out, subjects, variants); }) &&
                 writeFile(file + ".csv", [&](std::ostream& out) { report.writeCsv(out, subjects); })
             ? 0
             : 1;
}

int run(int argc, char** argv) {
  const bool checks = argc == 4 && std::string(argv[1]) == "--check";
  if (!checks && (argc != 3 || argv[1][0] == '-')) {
    std::cerr << "usage: kxcalc-bench" << usage;
    return 2;
  }
  const auto siblings = openSiblings(argv[checks ? 2 : 1]);
  if (!siblings) {
    std::cerr << siblings.problem() << '\n';
    return 1;
  }
  const std::vector<Subject> subjects = subjectsFor(*siblings);
  const Functions& first = siblings->front().library.functions();
  if (checks) {
    return check(subjects, first, std::regex(argv[3]));
  }
  std::vector<std::string> variants;
  for (const Sibling& sibling : *siblings) {
    variants.push_back(sibling.variant);
  }
  registerAll(subjects, first);
  return measure(subjects, variants, argv[2]);
}

}  // namespace
}  // namespace kxcalc::bench

int main(int argc, char** argv) {
#if defined(KXCALC_BENCH_OPENBLAS)
  openblas_set_num_threads(1);  // the kernels run in the caller's thread
#endif

  // The machine may be shared: short measurements in random order, of which the report takes the quicker ones. What the
  // user gives comes later and wins.
  std::string defaults[] = {"--benchmark_min_time=0.004", "--benchmark_repetitions=5",
                            "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> arguments{argv[0]};
  for (std::string& argument : defaults) {
    arguments.push_back(argument.data());
  }
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  auto count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  return kxcalc::bench::run(count, arguments.data());
}
