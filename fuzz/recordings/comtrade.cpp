// The reader of COMTRADE recordings on any bytes.
#include <cstdint>

#include "exercise.hpp"
#include "recordings/comtrade_reader.hpp"

/// The first byte holds the options. A file of two parts has a form feed between them, others are one file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kxrecordings;
  if (size == 0) {
    return 0;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  InputOptions options;
  options.status = (data[0] & 1) != 0;
  if ((data[0] & 2) != 0) {
    options.segment = data[0] >> 4;
  }
  const size_t border = bytes.find('\f');
  if (border == std::string_view::npos) {
    exercise(ComtradeReader::open(bytesOf(bytes), options));
  } else {
    exercise(ComtradeReader::open(bytesOf(bytes.substr(0, border)), bytesOf(bytes.substr(border + 1)), options));
  }
  return 0;
}
