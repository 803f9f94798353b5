// Two builds of the libraries, job by job, for against.py, which judges: their times taken in turn, or the instructions
// that a library executes under valgrind's callgrind. Nothing in this program is compiled for the machine at hand,
// which may be an emulated one.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "support/samples.hpp"
#include "support/subjects.hpp"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#endif

namespace kxcalc::bench {
namespace {

constexpr const char* usage =
    "usage: kxcalc-bench-pairs clock <folder> <other folder> <rounds> <regular expression>\n"
    "       kxcalc-bench-pairs instructions <folder> <regular expression>\n";

/// Whether the same job is there with fewer elements.
bool isThereSmaller(const Subject& subject, const std::vector<Subject>& subjects) {
  return std::any_of(subjects.begin(), subjects.end(), [&](const Subject& other) {
    return other.who == subject.who && other.entry->job == subject.entry->job &&
           other.entry->variant == subject.entry->variant && other.entry->count < subject.entry->count;
  });
}

/// The kernels whose names fit, at all sizes or at the smallest.
std::vector<Subject> chosen(const std::vector<Sibling>& siblings, const std::regex& filter, bool smallestOnly) {
  std::vector<Subject> fitting, wanted;
  const std::vector<Subject> all = subjectsFor(siblings);
  std::copy_if(all.begin(), all.end(), std::back_inserter(fitting), [&](const Subject& subject) {
    return subject.entry->role == Role::kxcalc && std::regex_search(subject.name(), filter);
  });
  std::copy_if(fitting.begin(), fitting.end(), std::back_inserter(wanted),
               [&](const Subject& subject) { return !smallestOnly || !isThereSmaller(subject, fitting); });
  std::size_t longest = 0;
  for (const Subject& subject : wanted) {
    longest = std::max(longest, subject.entry->count);
  }
  expectBlocksUpTo(longest);
  return wanted;
}

double processorSeconds() {
  std::timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double secondsOf(Prepared& prepared, std::size_t times) {
  const double begin = processorSeconds();
  prepared.run(times);
  return processorSeconds() - begin;
}

/// So many that the clock's own resolution does not count.
std::size_t timesThatTakeLongEnough(Prepared& prepared) {
  constexpr double longEnough = 0.002;
  std::size_t times = 1;
  while (secondsOf(prepared, times) < longEnough) {
    times *= 2;
  }
  return times;
}

/// The least time of the even rounds, and that of the odd ones: as far as they differ, it is noise.
struct Minima {
  std::array<double, 2> seconds{std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};

  double least() const { return std::min(seconds[0], seconds[1]); }
  double noise() const { return std::max(seconds[0], seconds[1]) / least() - 1; }
};

/// A line for each job and library: its name, nanoseconds an element in the first folder's library and in the second's,
/// the noise of either.
void printTimes(const std::vector<Subject>& befores, const std::vector<Sibling>& siblings, std::size_t rounds) {
  for (const Subject& before : befores) {
    const auto after = std::find_if(siblings.begin(), siblings.end(),
                                    [&](const Sibling& sibling) { return sibling.variant == before.who; });
    if (after == siblings.end()) {
      continue;
    }
    const std::array prepared{before.entry->prepare(*before.functions),
                              before.entry->prepare(after->library.functions())};
    const std::size_t times = timesThatTakeLongEnough(*prepared[0]);
    std::array<Minima, 2> minima;
    for (std::size_t round = 0; round < rounds; ++round) {
      for (const std::size_t turn : {round / 2 % 2, 1 - round / 2 % 2}) {
        double& least = minima[turn].seconds[round % 2];
        least = std::min(least, secondsOf(*prepared[turn], times));
      }
    }
    const double perElement = 1e9 / static_cast<double>(times) / static_cast<double>(before.entry->count);
    std::cout << before.name() << ',' << minima[0].least() * perElement << ',' << minima[1].least() * perElement << ','
              << minima[0].noise() << ',' << minima[1].noise() << std::endl;
  }
}

/// A dump of callgrind's for each job at its smallest size, with the job's name: what ten runs execute.
int dumpInstructions([[maybe_unused]] const std::vector<Subject>& subjects) {
#if defined(CALLGRIND_DUMP_STATS_AT)
  for (const Subject& subject : subjects) {
    const auto prepared = subject.entry->prepare(*subject.functions);
    prepared->run(1);
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    prepared->run(10);
    const std::string name = subject.name();
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    CALLGRIND_STOP_INSTRUMENTATION;
  }
  return 0;
#else
  std::cerr << "built without valgrind's headers\n";
  return 1;
#endif
}

int run(const std::vector<std::string>& arguments) {
  const bool clock = arguments.size() == 5 && arguments[0] == "clock";
  if (!clock && !(arguments.size() == 3 && arguments[0] == "instructions")) {
    std::cerr << usage;
    return 2;
  }
  std::vector<std::vector<Sibling>> folders;
  for (std::size_t i = 1; i <= (clock ? 2U : 1U); ++i) {
    auto siblings = openSiblings(arguments[i]);
    if (!siblings) {
      std::cerr << siblings.problem() << '\n';
      return 1;
    }
    folders.push_back(std::move(*siblings));
  }
  const std::vector<Subject> subjects = chosen(folders[0], std::regex(arguments.back()), !clock);
  if (!clock) {
    return dumpInstructions(subjects);
  }
  printTimes(subjects, folders[1], std::strtoul(arguments[3].c_str(), nullptr, 10));
  return 0;
}

}  // namespace
}  // namespace kxcalc::bench

int main(int argc, char** argv) {
  return kxcalc::bench::run({argv + 1, argv + argc});
}
