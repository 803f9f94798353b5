#include "support/report.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "support/tables.hpp"

namespace kxcalc::bench {
namespace {

std::string processor() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("model name") && line.find(": ") != std::string::npos) {
      return line.substr(line.find(": ") + 2);
    }
  }
  return "unknown processor";
}

std::string today() {
  const std::time_t now = std::time(nullptr);
  std::ostringstream text;
  text << std::put_time(std::localtime(&now), "%F");
  return text.str();
}

void writeMachine(std::ostream& out) {
  const benchmark::CPUInfo& info = benchmark::CPUInfo::Get();
  out << "Measured " << today() << " on " << processor() << ", " << info.num_cpus << " processors";
  for (const auto& cache : info.caches) {
    out << ", L" << cache.level << ' ' << cache.type << ' ' << cache.size / 1024 << " KiB";
  }
  out << "; " << KXCALC_BENCH_COMPILER << ".";
  if (*KXCALC_BENCH_LEFT_OUT) {
    out << " Not installed: " << KXCALC_BENCH_LEFT_OUT << '.';
  }
  out << '\n';
}

}  // namespace

void Report::ReportRuns(const std::vector<Run>& runs) {
  // One benchmark's repetitions come together.
  std::vector<double> times;
  for (const Run& run : runs) {
    if (run.error_occurred) {
      leftOut_[run.run_name.function_name] = run.error_message;
    } else if (run.run_type == Run::RT_Iteration) {
      times.push_back(run.GetAdjustedCPUTime());
    }
  }
  if (!times.empty()) {
    // Others on the machine only ever add time, so the slow half says nothing; the fastest of all may have had luck
    // with what was still in a shared cache.
    const auto quartile = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 4);
    std::nth_element(times.begin(), quartile, times.end());
    nanoseconds_[runs[0].run_name.function_name] = *quartile;
  }
  if (isatty(STDERR_FILENO)) {
    GetErrorStream() << '\r' << nanoseconds_.size() + leftOut_.size() << " measured" << std::flush;
  }
}

std::vector<Row> Report::rowsOf(const std::vector<Subject>& subjects) const {
  std::vector<Row> rows;
  std::map<std::string, std::size_t> places;
  for (const Subject& subject : subjects) {
    const Entry& entry = *subject.entry;
    const auto measured = nanoseconds_.find(subject.name());
    if (measured == nanoseconds_.end() || entry.role == Role::latency) {
      continue;
    }
    const auto [place, isNew] = places.emplace(entry.row(), rows.size());
    if (isNew) {
      rows.push_back({entry.job, entry.variant, entry.count, {}});
    }
    const double perElement = measured->second / static_cast<double>(entry.count);
    rows[place->second].figures.push_back({subject.who, entry.role, entry.contract, perElement});
  }
  return rows;
}

void Report::writeMarkdown(std::ostream& out, const std::vector<Subject>& subjects,
                           const std::vector<std::string>& variants) const {
  writeMachine(out);
  for (const Subject& subject : subjects) {
    const auto measured = nanoseconds_.find(subject.name());
    if (subject.entry->role == Role::latency && measured != nanoseconds_.end()) {
      out << "A " << subject.who << " takes " << std::fixed << std::setprecision(2)
          << measured->second / static_cast<double>(subject.entry->count) << " ns.\n";
    }
  }
  kxcalc::bench::writeMarkdown(out, rowsOf(subjects), variants);
  if (!leftOut_.empty()) {
    out << "\nLeft out, because it disagrees:\n\n";
  }
  for (const auto& [name, reason] : leftOut_) {
    out << "- " << name << ": " << reason << '\n';
  }
}

void Report::writeCsv(std::ostream& out, const std::vector<Subject>& subjects) const {
  kxcalc::bench::writeCsv(out, rowsOf(subjects), today(), processor(), KXCALC_BENCH_COMPILER);
}

}  // namespace kxcalc::bench
