// Longer times of a power analysis, and its days, in tables for people and in JSON for programs.
#pragma once

#include <ostream>

#include "host/reports/json.hpp"
#include "host/reports/power_report.hpp"

namespace kxhost {

/// What users call an interval: "3s", "10min" or "2h".
const char* nameOf(AggregationInterval interval);

/// A table for each kind of interval, with a row an interval.
void printAggregates(std::ostream& out, const PowerReport& report);

/// A table for each day that holds ten minutes: how their values are spread, and those of the frequency over 10 s.
void printDays(std::ostream& out, const PowerReport& report);

Json jsonAggregates(const PowerReport& report);
Json jsonDays(const PowerReport& report);

}  // namespace kxhost
