// The input sets of kxverify: a description's options in every combination, block lengths of every head and tail, blocks at every place,
// each with numbers of each kind.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "functions/calls/call.hpp"
#include "verify/blocks.hpp"
#include "verify/digest.hpp"
#include "verify/generator.hpp"

namespace kxverify {

using kxcalc::Functions;
using kxcalc::calls::Description;

/// The same numbers for the same name. A run takes one combination of options; next() goes on to the next one.
class InputSets : public kxcalc::calls::Source {
public:
  explicit InputSets(std::string_view name) : generator_(name) {}

  /// Whether there is another combination.
  bool next();

  bool takesExamples() const override { return true; }
  std::size_t option(std::size_t options) override;
  uint64_t upTo(uint64_t highest) override { return generator_.upTo(highest); }
  bool rarely(uint8_t) override { return false; }
  uint32_t count(uint32_t least) override;
  std::byte* memory(const kxcalc::calls::Memory& memory) override;
  void fill(kxcalc::calls::Elements elements, kxcalc::calls::Numbers numbers) override;
  bool surroundingsIntact() const override { return blocks_.surroundingsIntact(); }

protected:
  /// Bytes between a boundary and a block.
  std::size_t offset(const kxcalc::calls::Memory& memory);

private:
  Kind kind(kxcalc::calls::Numbers numbers);

  struct Choice {
    std::size_t taken;
    std::size_t options;
  };

  Generator generator_;
  std::vector<Choice> choices_;
  std::size_t asked_ = 0;  // choices of this run so far
  std::optional<Kind> kind_;
  Blocks blocks_;
};

/// The hash of what an export delivers on all of its input sets.
std::string hashOf(const Description& description, const Functions& functions);

}  // namespace kxverify
