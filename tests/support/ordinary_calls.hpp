// One call of every export on ordinary data, for what holds for all of them.
#ifndef KXCALC_TESTS_SUPPORT_ORDINARY_CALLS_HPP
#define KXCALC_TESTS_SUPPORT_ORDINARY_CALLS_HPP

#include <functional>
#include <string_view>

#include "functions/calls/call.hpp"
#include "verify/blocks.hpp"
#include "verify/generator.hpp"

namespace support {

/// The same data every time: some hundred elements, with head, body and tail, and no denormals.
class OrdinarySource : public kxcalc::calls::Source {
public:
  /// @param choice  which of a description's options is taken, counted around.
  OrdinarySource(std::string_view name, std::size_t choice) : generator_(name), choice_(choice) {}

  bool takesExamples() const override { return true; }
  std::size_t option(std::size_t options) override { return choice_ % options; }
  uint64_t upTo(uint64_t highest) override { return generator_.upTo(highest); }
  bool rarely(uint8_t) override { return false; }
  uint32_t count(uint32_t) override { return 301; }
  std::byte* memory(const kxcalc::calls::Memory& memory) override;
  void fill(kxcalc::calls::Elements elements, kxcalc::calls::Numbers numbers) override;
  bool surroundingsIntact() const override { return blocks_.surroundingsIntact(); }

private:
  kxverify::Generator generator_;
  std::size_t choice_;
  kxverify::Blocks blocks_;
};

/// Calls an export with some choices of its options.
void callOrdinarily(const kxcalc::calls::Description& description, const kxcalc::Functions& functions,
                    kxcalc::calls::Sink& sink);

}  // namespace support

#endif
