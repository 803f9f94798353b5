// Columns and cells that the tables of a power analysis have in common.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "analysis/power/power_analysis.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/table.hpp"

namespace kxhost {

constexpr int powerDigits = 7;

/// A figure; "-" where it does not exist, for which NaN stands, too.
std::string figure(std::optional<double> number, int digits = powerDigits);

/// With so many decimals.
std::string fixedCell(std::optional<double> number, int decimals);

std::string percentCell(std::optional<double> percent);

/// A ratio in percent.
std::string ratioCell(std::optional<double> ratio);

std::string angleCell(float degrees);

/// Columns of rms values, powers and, of three phases, unbalance, and a window's cells in them.
std::vector<Table::Column> figureColumns(size_t phases);
std::vector<std::string> figureCells(const PowerWindow& window);

}  // namespace kxhost
