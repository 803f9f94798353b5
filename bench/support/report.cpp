#include "support/report.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <optional>
#include <ostream>
#include <sstream>
#include <vector>

#include "support/entries.hpp"

namespace kxcalc::bench {
namespace {

struct Figure {
  const Entry* entry;
  double nanoseconds;  // an element
};

struct Row {
  const Entry* entry;  // any of the row's
  std::vector<Figure> figures;

  std::optional<double> of(const std::string& who) const {
    const auto found =
        std::find_if(figures.begin(), figures.end(), [&](const Figure& f) { return f.entry->who == who; });
    return found == figures.end() ? std::nullopt : std::optional(found->nanoseconds);
  }

  /// The fastest peer, or the fastest of those that promise all that the kernel does.
  const Figure* best(bool sameResult) const {
    const Figure* fastest = nullptr;
    for (const Figure& figure : figures) {
      const bool isPeer = figure.entry->role == Role::loop || figure.entry->role == Role::library;
      const bool candidate = isPeer && (!sameResult || figure.entry->waives.empty());
      if (candidate && (!fastest || figure.nanoseconds < fastest->nanoseconds)) {
        fastest = &figure;
      }
    }
    return fastest;
  }

  /// The fastest peer's time by the kernel's.
  std::optional<double> lead(bool sameResult) const {
    const auto kernel = of("kxcalc");
    const Figure* const peer = best(sameResult);
    return kernel && peer ? std::optional(peer->nanoseconds / *kernel) : std::nullopt;
  }

  /// How many times the limit the kernel needs: the memory traffic with accesses of this width or, if that takes
  /// longer or stands alone, the chain.
  std::optional<double> timesLimit(const std::string& access) const {
    const auto kernel = of("kxcalc");
    const double limit = std::max(of(access).value_or(0), of("chain").value_or(0));
    return kernel && limit > 0 ? std::optional(*kernel / limit) : std::nullopt;
  }
};

struct Job {
  std::vector<Row> rows;
  std::vector<const Entry*> columns;  // one of each `who` that was measured
};

bool sameRow(const Entry& a, const Entry& b) {
  return a.job == b.job && a.variant == b.variant && a.count == b.count;
}

/// What was measured, in the order in which it was announced.
std::vector<Job> arrange(const std::map<std::string, double>& nanoseconds) {
  std::vector<Job> jobs;
  for (const Entry& entry : entries()) {
    const auto measured = nanoseconds.find(entry.name());
    if (measured == nanoseconds.end() || entry.role == Role::latency) {
      continue;
    }
    auto job =
        std::find_if(jobs.begin(), jobs.end(), [&](const Job& other) { return other.rows[0].entry->job == entry.job; });
    if (job == jobs.end()) {
      job = jobs.insert(job, Job{});
    }
    auto row = std::find_if(job->rows.begin(), job->rows.end(),
                            [&](const Row& other) { return sameRow(*other.entry, entry); });
    if (row == job->rows.end()) {
      row = job->rows.insert(row, Row{&entry, {}});
    }
    row->figures.push_back({&entry, measured->second / static_cast<double>(entry.count)});
    if (std::none_of(job->columns.begin(), job->columns.end(),
                     [&](const Entry* column) { return column->who == entry.who; })) {
      job->columns.push_back(&entry);
    }
  }
  for (Job& job : jobs) {
    std::stable_sort(job.columns.begin(), job.columns.end(),
                     [](const Entry* a, const Entry* b) { return a->role < b->role; });
  }
  return jobs;
}

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

constexpr int labelWidth = 18, countWidth = 10, figureWidth = 10;

void printFigure(std::ostream& out, std::optional<double> figure, int decimals) {
  out << std::setw(figureWidth);
  if (figure) {
    out << std::fixed << std::setprecision(decimals) << *figure;
  } else {
    out << '-';
  }
}

void printJob(std::ostream& out, const Job& job) {
  out << '\n' << job.rows[0].entry->job << '\n';
  out << std::left << std::setw(labelWidth) << "" << std::right << std::setw(countWidth) << "elements";
  for (const Entry* column : job.columns) {
    out << std::setw(figureWidth) << column->who;
  }
  out << " |" << std::setw(figureWidth) << "best/ours" << std::setw(figureWidth) << "same/ours"
      << std::setw(figureWidth) << "/16-byte" << std::setw(figureWidth) << "/widest" << '\n';
  for (const Row& row : job.rows) {
    out << std::left << std::setw(labelWidth) << row.entry->variant << std::right << std::setw(countWidth)
        << row.entry->count;
    for (const Entry* column : job.columns) {
      printFigure(out, row.of(column->who), 3);
    }
    out << " |";
    printFigure(out, row.lead(false), 2);
    printFigure(out, row.lead(true), 2);
    printFigure(out, row.timesLimit("16-byte"), 2);
    printFigure(out, row.timesLimit("widest"), 2);
    out << '\n';
  }
  for (const Entry* column : job.columns) {
    if (!column->waives.empty()) {
      out << "  " << column->who << " does not promise: " << column->waives << '\n';
    }
  }
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    result += c == '"' ? "\"\"" : std::string(1, c);
  }
  return result + '"';
}

void writeField(std::ostream& out, std::optional<double> number) {
  out << ',';
  if (number) {
    out << *number;
  }
}

}  // namespace

bool Report::ReportContext(const Context& context) {
  std::ostream& out = GetOutputStream();
  out << library_ << ", " << today() << ", " << KXCALC_BENCH_COMPILER << ", " << processor() << ", "
      << context.cpu_info.num_cpus << " processors";
  for (const auto& cache : context.cpu_info.caches) {
    out << ", L" << cache.level << ' ' << cache.type << ' ' << cache.size / 1024 << " KiB";
  }
  out << "\nload average";
  for (const double load : context.cpu_info.load_avg) {
    out << ' ' << load;
  }
  out << std::endl;
  return true;
}

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

void Report::Finalize() {
  std::ostream& out = GetOutputStream();
  out << R"(
Nanoseconds an element, the lower quartile of the repetitions.
  kxcalc      the kernel
  plain       the loop that a user would write, -O3 -msse4.1, each operation rounded as written
  native      the same for this machine, -march=native
  reordered   the same for this machine with -ffast-math: operations in any order, fused, no NaNs
  16-byte     the job's memory accesses alone, 16 bytes at a time; widest: as wide as this machine can
  chain       the operations that the result is defined by, most often additions, each waiting for the one before
  best/ours   the fastest peer's time by ours (above 1 we are ahead); same/ours: of the peers that promise what we do
  /16-byte    our time by that of the limit, the longer of traffic and chain; /widest likewise
)";
  for (const Entry& entry : entries()) {
    const auto measured = nanoseconds_.find(entry.name());
    if (entry.role == Role::latency && measured != nanoseconds_.end()) {
      out << "  latency     " << entry.who << ": " << std::fixed << std::setprecision(3)
          << measured->second / static_cast<double>(entry.count) << " ns\n";
    }
  }
  if (*KXCALC_BENCH_LEFT_OUT) {
    out << "left out: " << KXCALC_BENCH_LEFT_OUT << " (not installed)\n";
  }
  for (const Job& job : arrange(nanoseconds_)) {
    printJob(out, job);
  }
  if (!leftOut_.empty()) {
    out << "\nLeft out, because it disagrees:\n";
  }
  for (const auto& [name, reason] : leftOut_) {
    out << "  " << name << ": " << reason << '\n';
  }
  out << std::flush;
}

void Report::writeCsv(std::ostream& out) const {
  out << "date,processor,compiler,library,job,variant,elements,who,does_not_promise,ns_per_element,time_by_ours,"
         "fastest_peer_by_ours,fastest_same_by_ours,ours_by_16_byte_limit,ours_by_widest_limit\n";
  for (const Job& job : arrange(nanoseconds_)) {
    for (const Row& row : job.rows) {
      const auto kernel = row.of("kxcalc");
      for (const auto& [entry, nanoseconds] : row.figures) {
        out << today() << ',' << quoted(processor()) << ',' << quoted(KXCALC_BENCH_COMPILER) << ',' << library_ << ','
            << entry->job << ',' << entry->variant << ',' << entry->count << ',' << entry->who << ','
            << quoted(entry->waives);
        writeField(out, nanoseconds);
        writeField(out, kernel ? std::optional(nanoseconds / *kernel) : std::nullopt);
        const bool ours = entry->role == Role::kxcalc;
        writeField(out, ours ? row.lead(false) : std::nullopt);
        writeField(out, ours ? row.lead(true) : std::nullopt);
        writeField(out, ours ? row.timesLimit("16-byte") : std::nullopt);
        writeField(out, ours ? row.timesLimit("widest") : std::nullopt);
        out << '\n';
      }
    }
  }
}

}  // namespace kxcalc::bench
