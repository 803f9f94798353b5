#include "functions/calls/call.hpp"

#include "functions/calls/describe.hpp"

namespace kxcalc::calls {

void Call::deliver() {
  for (const Block& block : blocks_) {
    if (block.role != Role::workspace) {
      sink_.take(block.name, block.elements, block.role == Role::input ? Nan::bits : block.rule, block.role);
    }
  }
  result("surroundings intact", static_cast<uint8_t>(source_.surroundingsIntact()));
}

void Description::run(const Functions& functions, Source& source, Sink& sink) const {
  Call call(functions, source, sink);
  describe(call, functions);
  call.deliver();
}

std::span<const Description> descriptions() {
  static constexpr std::array all{
#define KXCALC_EXPORT(family, name) \
  Description{#family, #name, [](Call& call, const Functions& functions) { calls::name(call, functions.name); }},
#include "functions/exports.inc"
#undef KXCALC_EXPORT
  };
  return all;
}

}  // namespace kxcalc::calls
