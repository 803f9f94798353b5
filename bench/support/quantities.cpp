#include "support/quantities.hpp"

#include <bit>
#include <cstdint>
#include <sstream>

namespace kxcalc::bench {
namespace {

bool agree(Quantity expected, double actual, double tolerance) {
  if (std::isnan(expected.value) || std::isnan(actual)) {
    return std::isnan(expected.value) && std::isnan(actual);
  }
  return tolerance == 0 ? std::bit_cast<uint64_t>(expected.value) == std::bit_cast<uint64_t>(actual)
                        : std::abs(actual - expected.value) <= tolerance * expected.scale;
}

}  // namespace

template <class T>
std::vector<Quantity> elementsOf(const T* output, std::size_t count) {
  std::vector<Quantity> elements;
  for (std::size_t i = 0; i < count; i += 1 + count / 997) {
    elements.emplace_back(output[i]);
  }
  if (count != 0) {
    elements.emplace_back(output[count - 1]);
  }
  return elements;
}

template std::vector<Quantity> elementsOf<float>(const float*, std::size_t);
template std::vector<Quantity> elementsOf<double>(const double*, std::size_t);
template std::vector<Quantity> elementsOf<int16_t>(const int16_t*, std::size_t);
template std::vector<Quantity> elementsOf<int32_t>(const int32_t*, std::size_t);

std::string disagreement(const std::vector<Quantity>& expected, const std::vector<Quantity>& actual, double tolerance) {
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (!agree(expected[i], actual[i].value, tolerance)) {
      std::ostringstream text;
      text.precision(17);
      text << "its result " << i << " is " << actual[i].value << " instead of " << expected[i].value;
      return text.str();
    }
  }
  return "";
}

}  // namespace kxcalc::bench
