// What the names of channels tell: the unit, and whether that is one of voltages or of currents.
#pragma once

#include <optional>
#include <string_view>

namespace kxrecordings {

enum class Quantity { voltage, current };

struct ElectricUnit {
  std::string_view name;
  Quantity quantity;
  double factor;  ///< to V or A
};

/// A name as "UA [kV]", "Ia (mA)", "Ib/A" or "Ib in A", in two; the unit is empty if there is none.
struct NameAndUnit {
  std::string_view name, unit;
};

NameAndUnit splitUnit(std::string_view name);

/// The unit that a name ends in, if it is one of voltages or currents.
std::optional<ElectricUnit> electricUnitOf(std::string_view name);

}  // namespace kxrecordings
