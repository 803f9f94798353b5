#include "recordings/csv_recording.hpp"

#include <filesystem>
#include <utility>

#include "recordings/file_bytes.hpp"
#include "recordings/text_fields.hpp"
#include "recordings/text_reader.hpp"

namespace kxrecordings {
namespace {

template <class T>
T required(Result<T> result) {
  if (!result) {
    throw FileError(result.problem());
  }
  return std::move(*result);
}

bool isPlainText(const std::filesystem::path& file) {
  const std::string extension = upperCase(file.extension().string());
  return extension == ".TXT" || extension == ".DAT";
}

class CsvRecording final : public Recording {
public:
  CsvRecording(const std::string& file, const InputOptions& options)
      : reader_(required(TextReader::open(std::make_unique<FileBytes>(file), options))) {
    format_ = reader_.format();
    format_.container = isPlainText(file) ? "text" : "csv";
    notes_ = reader_.notes();
  }

  void rewind() override { reader_.rewind(); }

  std::optional<uint64_t> lineOf(size_t frame) const override { return reader_.linesRead().at(frame); }

  double position() const override { return reader_.position(); }

protected:
  size_t readFrames(void* samples, size_t frames) override {
    const size_t read =
        required(reader_.read(std::span(static_cast<double*>(samples), frames * format_.channels.size())));
    notes_ = reader_.notes();
    return read;
  }

private:
  TextReader reader_;
};

}  // namespace

std::unique_ptr<Recording> openCsv(const std::string& file, const InputOptions& options) {
  return std::make_unique<CsvRecording>(file, options);
}

}  // namespace kxrecordings
