// The reader of tables in text on any bytes.
#include <cstdint>

#include "exercise.hpp"
#include "recordings/text_reader.hpp"

/// The first byte holds the options.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kxrecordings;
  if (size == 0) {
    return 0;
  }
  InputOptions options;
  if ((data[0] & 1) != 0) {
    options.decimalMark = ',';
  }
  options.timesAreValues = (data[0] & 2) != 0;
  if ((data[0] & 4) != 0) {
    options.columnNumbers = {2, 1, 2};
  }
  exercise(TextReader::open(bytesOf({reinterpret_cast<const char*>(data) + 1, size - 1}), options));
  return 0;
}
