#include "host/reports/power_cells.hpp"

#include <fmt/format.h>

#include <cmath>
#include <utility>

namespace kxhost {

std::string figure(std::optional<double> number, int digits) {
  return cell(number && !std::isnan(*number) ? number : std::nullopt, digits);
}

std::string fixedCell(std::optional<double> number, int decimals) {
  if (!number || std::isnan(*number)) {
    return "-";
  }
  const double steps = std::pow(10, decimals);
  return fmt::format("{:.{}f}", std::round(*number * steps) / steps + 0.0, decimals);  // + 0 takes the sign off a zero
}

std::string percentCell(std::optional<double> percent) {
  return fixedCell(percent, 3);
}

std::string ratioCell(std::optional<double> ratio) {
  return percentCell(ratio ? std::optional(100 * *ratio) : std::nullopt);
}

std::string angleCell(float degrees) {
  return fixedCell(degrees, 2);
}

std::vector<Table::Column> figureColumns(size_t phases) {
  std::vector<Table::Column> columns;
  for (const auto& [letter, unit] : {std::pair('U', 'V'), {'I', 'A'}}) {
    for (size_t i = 1; i <= phases; ++i) {
      columns.emplace_back(fmt::format("{}{}/{}", letter, i, unit));
    }
  }
  columns.insert(columns.end(), {"P/W", "Q/var", "S/VA", "PF"});
  if (phases == 3) {
    columns.insert(columns.end(), {"u2/%", "u0/%"});
  }
  return columns;
}

std::vector<std::string> figureCells(const PowerWindow& window) {
  std::vector<std::string> cells;
  for (const auto signal : {&PhaseFigures::voltage, &PhaseFigures::current}) {
    for (const PhaseFigures& phase : window.phases) {
      cells.push_back(figure((phase.*signal).rms));
    }
  }
  const PowerFigures total = window.total();
  for (const std::optional<double> each :
       {std::optional(total.active), std::optional(total.reactive), std::optional(total.apparent), total.factor()}) {
    cells.push_back(figure(each));
  }
  if (window.voltageSequence) {
    cells.push_back(percentCell(window.voltageSequence->negativeRatio));
    cells.push_back(percentCell(window.voltageSequence->zeroRatio));
  }
  return cells;
}

}  // namespace kxhost
