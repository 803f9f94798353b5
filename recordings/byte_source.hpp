// Where a reader's bytes come from: a file, memory, or what a front end has in their place.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "functions/result.hpp"

namespace kxrecordings {

using kxcalc::Done;
using kxcalc::Problem;
using kxcalc::Result;

class ByteSource {
public:
  explicit ByteSource(std::string name) : name_(std::move(name)) {}
  virtual ~ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  /// What the sentences of problems begin with.
  const std::string& name() const { return name_; }

  virtual uint64_t size() const = 0;

  /// Fills `bytes`, which lie within the size, from `offset` on.
  virtual Result<> read(uint64_t offset, std::span<char> bytes) = 0;

  Problem problem(const std::string& what) const { return {name_ + ": " + what}; }

private:
  std::string name_;
};

/// A part of a source.
struct ByteRange {
  uint64_t begin, end;

  uint64_t size() const { return end - begin; }
};

/// Bytes that lie in memory, and stay there.
class MemoryBytes final : public ByteSource {
public:
  MemoryBytes(std::string name, std::string_view bytes) : ByteSource(std::move(name)), bytes_(bytes) {}

  uint64_t size() const override { return bytes_.size(); }

  Result<> read(uint64_t offset, std::span<char> bytes) override {
    const std::string_view part = bytes_.substr(static_cast<size_t>(offset), bytes.size());
    std::copy(part.begin(), part.end(), bytes.begin());
    return Done{};
  }

private:
  std::string_view bytes_;
};

}  // namespace kxrecordings
