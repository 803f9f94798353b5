// COMTRADE files of the tests' own.
#pragma once

#include "recordings/comtrade_reader.hpp"
#include "recordings/files.hpp"
#include "recordings/text_fields.hpp"
#include "support/comtrade_take.hpp"

namespace kxrecordings_test {

using support::ComtradeTake;

class ComtradeTest : public FilesTest {
protected:
  /// Writes a.cfg and a.dat; returns the first one's path.
  std::string writeTwo(const ComtradeTake& take) const {
    write("a.dat", take.data());
    return write("a.cfg", take.configuration());
  }

  /// One of this many samples, all of them different.
  static ComtradeTake takeOf(size_t count) {
    ComtradeTake take;
    take.samples.clear();
    take.numbers.clear();
    take.stamps.clear();
    take.states.assign(count, {0, 1});
    for (size_t i = 0; i < count; ++i) {
      const auto number = static_cast<double>(i);
      take.samples.push_back({number, 7 - number});
      take.numbers.push_back(static_cast<uint32_t>(i + 1));
      take.stamps.push_back(static_cast<uint32_t>(1000 * i));
    }
    take.rates = {{"1000", count}};
    take.start = "31/01/2024,23:59:58.999000";
    return take;
  }

  static std::string with(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  }
};

}  // namespace kxrecordings_test
