#include "recordings/csv_output.hpp"

#include "analysis/number_text.hpp"
#include "recordings/recording.hpp"

namespace kxrecordings {
using namespace kxanalysis;

CsvOutput::CsvOutput(const std::string& file, const std::vector<std::string>& columns)
    : file_(file), out_(file_.draft(), std::ios::binary), columns_(columns.size()) {
  for (size_t i = 0; i < columns_; ++i) {
    out_ << columns[i] << (i + 1 < columns_ ? ',' : '\n');
  }
}

void CsvOutput::write(std::span<const float> samples) {
  constexpr int digits = 9;  // tell any two singles apart
  for (size_t i = 0; i < samples.size(); ++i) {
    out_ << numberText(static_cast<double>(samples[i]), digits) << ((i + 1) % columns_ != 0 ? ',' : '\n');
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
