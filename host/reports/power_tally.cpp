#include "host/reports/power_tally.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace kxhost {
namespace {

constexpr std::array<std::pair<bool WindowFlags::*, const char*>, PowerTally::kindsOfFlags> flagNames{
    {{&WindowFlags::frequencyUnknown, "frequency unknown"},
     {&WindowFlags::frequencyMoved, "frequency moved"},
     {&WindowFlags::dip, "dip"},
     {&WindowFlags::swell, "swell"},
     {&WindowFlags::interruption, "interruption"}}};

}  // namespace

std::vector<std::string> namesOf(const WindowFlags& flags) {
  std::vector<std::string> names;
  for (const auto& [flag, name] : flagNames) {
    if (flags.*flag) {
      names.emplace_back(name);
    }
  }
  return names;
}

void PowerTally::add(const PowerWindow& window, int cycles) {
  const WindowFlags& flags = window.place.flags;
  all_.add(window);
  end_ = window.place.begin + window.place.length;
  if (!flags.any()) {
    unflagged_.add(window);
  }
  for (size_t i = 0; i < flagNames.size(); ++i) {
    flags_.at(i) += flags.*flagNames.at(i).first ? 1U : 0U;
  }
  if (!flags.frequencyUnknown) {
    lowestFrequency_ = std::min(lowestFrequency_, window.place.frequency);
    highestFrequency_ = std::max(highestFrequency_, window.place.frequency);
  }
  if (window.strongestBin != 0 && window.strongestBin != static_cast<size_t>(cycles)) {
    firstElsewhere_ = elsewhere_ == 0 ? strongestFrequency(window, cycles) : firstElsewhere_;
    ++elsewhere_;
  }
}

std::string PowerTally::flagCounts() const {
  std::string text;
  for (size_t i = 0; i < flagNames.size(); ++i) {
    if (flags_.at(i) > 0) {
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", flags_.at(i), flagNames.at(i).second);
    }
  }
  return text;
}

double strongestFrequency(const PowerWindow& window, int cycles) {
  return static_cast<double>(window.strongestBin) * window.place.frequency / cycles;
}

std::string windowCount(size_t count) {
  return fmt::format("{} {}", count, count == 1 ? "window" : "windows");
}

}  // namespace kxhost
