// What one library delivers, kept and compared with what another one does.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "functions/calls/call.hpp"

namespace kxcalc::calls {

/// All results, and the inputs after the call.
class Recording : public Sink {
public:
  void take(const char* name, ConstElements elements, Nan rule, Role role) override;

  struct Taken {
    const char* name;
    ConstElements elements;
  };
  std::span<const Taken> taken() const { return taken_; }

private:
  std::vector<Taken> taken_;
  std::vector<std::unique_ptr<std::byte[]>> memory_;
};

/// Looks for the first difference from a recording.
class Comparison : public Sink {
public:
  /// @param expected  outlives this object.
  explicit Comparison(const Recording& expected) : expected_(expected) {}

  void take(const char* name, ConstElements elements, Nan rule, Role role) override;

  /// What differs, with both values; nothing if all is as expected.
  std::string difference() const;

private:
  const Recording& expected_;
  std::size_t next_ = 0;
  std::string difference_;
};

/// A number and its bits.
template <Number T>
std::string text(const T& number);

}  // namespace kxcalc::calls
