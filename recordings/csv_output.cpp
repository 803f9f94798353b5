#include "recordings/csv_output.hpp"

#include <fmt/format.h>

#include "recordings/recording.hpp"

namespace kxrecordings {

CsvOutput::CsvOutput(const std::string& file, const std::vector<std::string>& columns)
    : file_(file), out_(file_.draft(), std::ios::binary), columns_(columns.size()) {
  for (size_t i = 0; i < columns_; ++i) {
    out_ << columns[i] << (i + 1 < columns_ ? ',' : '\n');
  }
}

void CsvOutput::write(std::span<const float> samples) {
  for (size_t i = 0; i < samples.size(); ++i) {
    out_ << fmt::format("{:.9g}", samples[i])  // 9 digits tell any two singles apart
         << ((i + 1) % columns_ != 0 ? ',' : '\n');
  }
}

void CsvOutput::finish() {
  out_.close();
  if (!out_) {
    throw FileError(file_.name(), "cannot be written: writing failed");
  }
  file_.place();
}

}  // namespace kxrecordings
