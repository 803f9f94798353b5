#include "functions/calls/recording.hpp"

#include <iomanip>
#include <sstream>

namespace kxcalc::calls {
namespace {

/// Through memory: a signalling NaN keeps its bits.
template <class T>
uint64_t bitsOf(const T& number) {
  Plain<std::conditional_t<std::floating_point<T>, std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>,
                           std::make_unsigned_t<std::conditional_t<std::floating_point<T>, int, T>>>>
      bits;
  static_assert(sizeof bits == sizeof number);
  std::memcpy(&bits, &number, sizeof bits);
  return bits;
}

template <class T>
bool isSame(const T& actual, const T& expected, Nan rule) {
  return bitsOf(actual) == bitsOf(expected) || (rule == Nan::any && actual != actual && expected != expected);
}

}  // namespace

template <Number T>
std::string text(const T& number) {
  std::ostringstream stream;
  if constexpr (std::floating_point<T>) {
    stream << std::setprecision(std::numeric_limits<T>::max_digits10) << number << " (" << std::hexfloat << number
           << ", ";
  } else {
    stream << +number << " (";
  }
  stream << "0x" << std::hex << std::setfill('0') << std::setw(2 * sizeof(T)) << bitsOf(number) << ')';
  return stream.str();
}

template std::string text(const uint8_t&);
template std::string text(const int8_t&);
template std::string text(const int16_t&);
template std::string text(const uint16_t&);
template std::string text(const int32_t&);
template std::string text(const uint32_t&);
template std::string text(const int64_t&);
template std::string text(const uint64_t&);
template std::string text(const float&);
template std::string text(const double&);

void Recording::take(const char* name, ConstElements elements, Nan /*rule*/, Role /*role*/) {
  std::visit(
      [&]<class T>(std::span<const T> numbers) {
        memory_.push_back(std::make_unique_for_overwrite<std::byte[]>(numbers.size_bytes()));
        auto* const copy = reinterpret_cast<T*>(memory_.back().get());
        if (!numbers.empty()) {
          std::memcpy(copy, numbers.data(), numbers.size_bytes());
        }
        taken_.push_back({name, std::span<const T>(copy, numbers.size())});
      },
      elements);
}

void Comparison::take(const char* name, ConstElements elements, Nan rule, Role role) {
  const std::size_t index = next_++;
  if (!difference_.empty()) {
    return;
  }
  if (index >= expected_.taken().size()) {
    difference_ = std::string(name) + ": not expected";
    return;
  }
  const Recording::Taken& taken = expected_.taken()[index];
  std::visit(
      [&]<class T>(std::span<const T> actual) {
        const auto* const expected = std::get_if<std::span<const T>>(&taken.elements);
        if (std::strcmp(name, taken.name) != 0 || expected == nullptr || actual.size() != expected->size()) {
          difference_ = std::string(name) + ": another number of elements, or expected " + taken.name;
          return;
        }
        for (std::size_t i = 0; i < actual.size(); ++i) {
          if (!isSame(actual[i], (*expected)[i], rule)) {
            difference_ = std::string(name) + (role == Role::input ? ", an input" : "") + ", index " +
                          std::to_string(i) + ": actual " + text(actual[i]) + ", expected " + text((*expected)[i]);
            return;
          }
        }
      },
      elements);
}

std::string Comparison::difference() const {
  if (difference_.empty() && next_ < expected_.taken().size()) {
    return std::string(expected_.taken()[next_].name) + ": missing";
  }
  return difference_;
}

}  // namespace kxcalc::calls
