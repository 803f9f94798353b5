#include "recordings/comtrade_recording.hpp"

#include <filesystem>
#include <utility>

#include "recordings/comtrade_reader.hpp"
#include "recordings/file_bytes.hpp"
#include "recordings/output_file.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

template <class T>
T required(Result<T> result) {
  if (!result) {
    throw FileError(result.problem());
  }
  return std::move(*result);
}

bool isComplete(const std::filesystem::path& file) {
  return upperCase(file.extension().string()) == ".CFF";
}

/// The data file beside a .cfg file: the one in the same letter case, or any.
std::string dataFileOf(const std::filesystem::path& configuration) {
  std::filesystem::path data = configuration;
  data.replace_extension(configuration.extension() == ".CFG" ? ".DAT" : ".dat");
  if (std::filesystem::is_regular_file(data)) {
    return data.string();
  }
  const std::filesystem::path folder = data.has_parent_path() ? data.parent_path() : ".";
  const std::string wanted = upperCase(data.filename().string());
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (upperCase(entry.path().filename().string()) == wanted && entry.is_regular_file(error)) {
      return (data.parent_path() / entry.path().filename()).string();
    }
  }
  throw FileError(configuration.string(), "its data file " + data.filename().string() + " is missing");
}

ComtradeReader readerOf(const std::string& file, const InputOptions& options) {
  auto bytes = std::make_unique<FileBytes>(file);
  if (isComplete(file)) {
    return required(ComtradeReader::open(std::move(bytes), options));
  }
  const std::string data = dataFileOf(file);
  noteInput(data);
  return required(ComtradeReader::open(std::move(bytes), std::make_unique<FileBytes>(data), options));
}

class ComtradeRecording final : public Recording {
public:
  ComtradeRecording(const std::string& file, const InputOptions& options) : reader_(readerOf(file, options)) {
    format_ = reader_.format();
    notes_ = reader_.notes();
  }

  void rewind() override { reader_.rewind(); }

  double position() const override { return reader_.position(); }

protected:
  size_t readFrames(void* samples, size_t frames) override {
    const size_t read =
        required(reader_.read(std::span(static_cast<double*>(samples), frames * format_.channels.size())));
    notes_ = reader_.notes();
    return read;
  }

private:
  ComtradeReader reader_;
};

}  // namespace

std::unique_ptr<Recording> openComtrade(const std::string& file, const InputOptions& options) {
  return std::make_unique<ComtradeRecording>(file, options);
}

}  // namespace kxrecordings
