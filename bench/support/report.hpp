// What a run of the benchmarks finds out, gathered while it goes on and written at its end.
#pragma once

#include <benchmark/benchmark.h>

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "support/figures.hpp"
#include "support/subjects.hpp"

namespace kxcalc::bench {

class Report : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override {}

  bool empty() const { return nanoseconds_.empty(); }

  /// Machine and compiler, a table for each size, and what was left out.
  void writeMarkdown(std::ostream& out, const std::vector<Subject>& subjects,
                     const std::vector<std::string>& variants) const;

  void writeCsv(std::ostream& out, const std::vector<Subject>& subjects) const;

private:
  std::map<std::string, double> nanoseconds_;   // of a run, the lower quartile of the repetitions, by benchmark name
  std::map<std::string, std::string> leftOut_;  // why, by benchmark name

  std::vector<Row> rowsOf(const std::vector<Subject>& subjects) const;
};

}  // namespace kxcalc::bench
