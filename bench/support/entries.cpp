#include "support/entries.hpp"

#include <cmath>
#include <cstdint>
#include <sstream>

namespace kxcalc::bench {
namespace {

std::vector<Entry>& announced() {
  static std::vector<Entry> all;
  return all;
}

}  // namespace

std::string Entry::name() const {
  return job + (variant.empty() ? "" : '/' + variant) + '/' + std::to_string(count) + '/' + who;
}

std::string announce(const Entry& entry) {
  announced().push_back(entry);
  return entry.name();
}

const std::vector<Entry>& entries() {
  return announced();
}

template <class T>
std::vector<Quantity> elementsOf(const T* output, std::size_t count) {
  std::vector<Quantity> elements;
  for (std::size_t i = 0; i < count; i += 1 + count / 997) {
    elements.emplace_back(output[i]);
  }
  elements.emplace_back(output[count - 1]);
  return elements;
}

template std::vector<Quantity> elementsOf<float>(const float*, std::size_t);
template std::vector<Quantity> elementsOf<double>(const double*, std::size_t);
template std::vector<Quantity> elementsOf<int16_t>(const int16_t*, std::size_t);
template std::vector<Quantity> elementsOf<int32_t>(const int32_t*, std::size_t);

std::string disagreement(const std::vector<Quantity>& expected, const std::vector<Quantity>& actual, double tolerance) {
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto [value, scale] = expected[i];
    const double other = actual[i].value;
    const bool agrees = std::abs(other - value) <= tolerance * scale || (std::isnan(value) && std::isnan(other));
    if (!agrees) {
      std::ostringstream text;
      text.precision(9);
      text << "its result " << i << " is " << other << " instead of " << value;
      return text.str();
    }
  }
  return "";
}

}  // namespace kxcalc::bench
