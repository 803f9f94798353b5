#include "host/reports/channel_list.hpp"

#include <fmt/ranges.h>

#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "host/reports/table.hpp"
#include "recordings/channel_units.hpp"

namespace kxhost {
namespace {

std::string numbersOf(const std::vector<size_t>& channels) {
  std::vector<size_t> numbers;
  for (const size_t channel : channels) {
    numbers.push_back(channel + 1);
  }
  return fmt::format("{}", fmt::join(numbers, ","));
}

std::string namesOf(const Format& format, const std::vector<size_t>& channels) {
  std::vector<std::string> names;
  for (const size_t channel : channels) {
    names.emplace_back(splitUnit(format.channels[channel]).name);
  }
  return fmt::format("{}", fmt::join(names, " "));
}

}  // namespace

std::string optionsFor(const PowerGroup& group) {
  return fmt::format("--voltage {} --current {}", numbersOf(group.voltages), numbersOf(group.currents));
}

void printChannels(std::ostream& out, const Format& format, const std::vector<PowerGroup>& groups) {
  Table channels({"Channel", Table::text("Name"), Table::text("Unit"), Table::text("Phase"), Table::text("Circuit")});
  for (size_t i = 0; i < format.channels.size(); ++i) {
    const NameAndUnit parts = splitUnit(format.channels[i]);
    const ChannelPlace place = i < format.places.size() ? format.places[i] : ChannelPlace();
    channels.add({std::to_string(i + 1), std::string(parts.name), std::string(parts.unit), place.phase, place.circuit});
  }
  channels.print(out);
  if (groups.empty()) {
    return;
  }
  constexpr size_t mostGroups = 20;
  Table options({Table::text("What may belong together"), Table::text("Voltages"), Table::text("Currents")});
  for (size_t i = 0; i < std::min(groups.size(), mostGroups); ++i) {
    options.add({optionsFor(groups[i]), namesOf(format, groups[i].voltages), namesOf(format, groups[i].currents)});
  }
  out << '\n';
  options.print(out);
  if (groups.size() > mostGroups) {
    printTo(out, "and {} more\n", groups.size() - mostGroups);
  }
}

}  // namespace kxhost
