// The report of a run: one row for each job, kind of data and block size, with the kernel, its peers and its limits.
#pragma once

#include <benchmark/benchmark.h>

#include <iosfwd>
#include <map>
#include <string>
#include <utility>

namespace kxcalc::bench {

class Report : public benchmark::BenchmarkReporter {
public:
  explicit Report(std::string library) : library_(std::move(library)) {}

  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

  bool empty() const { return nanoseconds_.empty(); }
  void writeCsv(std::ostream& out) const;

private:
  std::string library_;
  std::map<std::string, double> nanoseconds_;   // of a call, the lower quartile of the repetitions, by benchmark name
  std::map<std::string, std::string> leftOut_;  // why, by benchmark name
};

}  // namespace kxcalc::bench
