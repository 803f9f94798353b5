#include "recordings/channel_units.hpp"

#include <array>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

constexpr std::array<ElectricUnit, 13> units{{{"V", Quantity::voltage, 1},
                                              {"uV", Quantity::voltage, 1e-6},
                                              {"mV", Quantity::voltage, 1e-3},
                                              {"kV", Quantity::voltage, 1e3},
                                              {"KV", Quantity::voltage, 1e3},
                                              {"kv", Quantity::voltage, 1e3},
                                              {"MV", Quantity::voltage, 1e6},
                                              {"A", Quantity::current, 1},
                                              {"uA", Quantity::current, 1e-6},
                                              {"mA", Quantity::current, 1e-3},
                                              {"kA", Quantity::current, 1e3},
                                              {"KA", Quantity::current, 1e3},
                                              {"ka", Quantity::current, 1e3}}};

/// Letters alone, which without brackets may be anything.
constexpr std::array<ElectricUnit, 2> bracketedUnits{{{"v", Quantity::voltage, 1}, {"a", Quantity::current, 1}}};

constexpr std::string_view closingBrackets = "])";

}  // namespace

NameAndUnit splitUnit(std::string_view name) {
  name = trimmed(name);
  if (!name.empty() && closingBrackets.find(name.back()) != std::string_view::npos) {
    const size_t open = name.rfind(name.back() == ']' ? '[' : '(');
    if (open == std::string_view::npos) {
      return {name, ""};
    }
    return {trimmed(name.substr(0, open)), trimmed(name.substr(open + 1, name.size() - open - 2))};
  }
  for (const std::string_view mark : {"/", " in "}) {
    if (const size_t at = name.rfind(mark); at != std::string_view::npos) {
      return {trimmed(name.substr(0, at)), trimmed(name.substr(at + mark.size()))};
    }
  }
  return {name, ""};
}

std::optional<ElectricUnit> electricUnitOf(std::string_view name) {
  const std::string_view text = splitUnit(name).unit;
  for (const ElectricUnit& unit : units) {
    if (unit.name == text) {
      return unit;
    }
  }
  const std::string_view whole = trimmed(name);
  for (const ElectricUnit& unit : bracketedUnits) {
    if (unit.name == text && closingBrackets.find(whole.back()) != std::string_view::npos) {
      return unit;
    }
  }
  return std::nullopt;
}

}  // namespace kxrecordings
