// One call of every export on ordinary data, for what holds for all of them.
#ifndef KXCALC_TESTS_SUPPORT_EVERY_EXPORT_HPP
#define KXCALC_TESTS_SUPPORT_EVERY_EXPORT_HPP

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace support {

struct ExportCall {
  std::string name;
  /// Calls the export and returns every byte that it wrote or returned. May be called by several threads at once.
  std::function<std::vector<std::byte>()> results;
};

/// Each export once, on the same data every time, of some hundred elements, with head, body and tail.
std::vector<ExportCall> everyExport();

}  // namespace support

#endif
