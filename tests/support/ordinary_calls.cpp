#include "support/ordinary_calls.hpp"

#include <concepts>
#include <initializer_list>

namespace support {

std::byte* OrdinarySource::memory(const kxcalc::calls::Memory& memory) {
  return blocks_.add(memory.bytes, memory.place == kxcalc::calls::Place::aligned ? 0 : memory.elementSize);
}

void OrdinarySource::fill(kxcalc::calls::Elements elements, kxcalc::calls::Numbers numbers) {
  std::visit(
      [&]<class T>(std::span<T> values) {
        for (T& value : values) {
          generator_.set(value, kxverify::Kind::signal);
          if constexpr (std::floating_point<T>) {
            value = numbers == kxcalc::calls::Numbers::angles ? value * 360 : value;
          }
        }
      },
      elements);
}

void callOrdinarily(const kxcalc::calls::Description& description, const kxcalc::Functions& functions,
                    kxcalc::calls::Sink& sink) {
  for (const std::size_t choice : {0U, 1U, 33U}) {
    OrdinarySource source(description.name, choice);
    description.run(functions, source, sink);
  }
}

}  // namespace support
