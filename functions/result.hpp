// What a function returns that may not be able to do its job: a value, or a sentence that says what is wrong.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace kxcalc {

/// What is wrong, in one sentence that names the setting or the file.
struct Problem {
  std::string sentence;
};

/// Nothing, where success is all there is to tell.
struct Done {};

template <class T = Done>
class [[nodiscard]] Result {
public:
  Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  Result(Problem problem) : content_(std::in_place_index<1>, std::move(problem)) {}

  explicit operator bool() const { return content_.index() == 0; }

  /// Only where there is one.
  T& operator*() { return *std::get_if<0>(&content_); }
  const T& operator*() const { return *std::get_if<0>(&content_); }
  T* operator->() { return std::get_if<0>(&content_); }
  const T* operator->() const { return std::get_if<0>(&content_); }

  /// Only where there is no value.
  const std::string& problem() const { return std::get_if<1>(&content_)->sentence; }

private:
  std::variant<T, Problem> content_;
};

}  // namespace kxcalc
