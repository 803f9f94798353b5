#include "recordings/recording.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "recordings/audio_recording.hpp"
#include "recordings/comtrade_recording.hpp"
#include "recordings/csv_recording.hpp"
#include "recordings/output_file.hpp"
#include "recordings/shown_text.hpp"
#include "recordings/standard_input.hpp"
#include "recordings/watched_recording.hpp"

namespace kxrecordings {
namespace {

/// Everything here reads its file more than once, which a pipe cannot do.
void requireReadableFile(const std::string& file) {
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    throw FileError(file, "no such file");
  }
  if (std::filesystem::is_directory(status)) {
    throw FileError(file, "is a directory");
  }
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw FileError(file, "is not a regular file, and only those can be read more than once");
  }
  errno = 0;
  if (!std::ifstream(file)) {
    throw FileError(file, errno != 0 ? std::strerror(errno) : "cannot be opened");
  }
}

std::string lowerCaseExtension(const std::string& file) {
  std::string extension = std::filesystem::path(file).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

bool isTextExtension(const std::string& extension) {
  return extension == ".csv" || extension == ".tsv" || extension == ".txt" || extension == ".dat";
}

}  // namespace

std::string shownName(const std::string& file) {
  return file == "-" ? standardInputName : file;
}

std::unique_ptr<Recording> openRecording(const std::string& file, const InputOptions& options) {
  const bool isStandardInput = file == "-";
  if (!isStandardInput) {
    requireReadableFile(file);
    noteInput(file);
  }
  if (options.rate && !(*options.rate > 0 && std::isfinite(*options.rate))) {
    throw FileError(file, "the sample rate must be above 0");
  }
  const std::string extension = lowerCaseExtension(file);
  const bool isComtrade = !options.raw && (extension == ".cfg" || extension == ".cff");
  if (options.segment && !isComtrade) {
    throw FileError(file, "has no segments: --segment is for COMTRADE recordings");
  }
  if (options.status && !isComtrade) {
    throw FileError(file, "has no status channels: --status is for COMTRADE recordings");
  }
  if (isStandardInput) {
    return openStandardInput(options);
  }
  const bool isText = !options.raw && isTextExtension(extension);
  if (!isText && (!options.columns.empty() || !options.columnNumbers.empty())) {
    throw FileError(file, "has no named columns: --column and --columns are for text files");
  }
  if (isComtrade) {
    return openShown(file, file, options, openComtrade);
  }
  if (!options.raw && extension == ".dat" &&
      std::filesystem::exists(std::filesystem::path(file).replace_extension(".cfg"))) {
    throw FileError(file, "is opened by the .cfg file beside it, or with --raw");
  }
  return openShown(file, file, options, isText ? openCsv : (options.raw ? openRaw : openAudio));
}

std::string titleOf(const std::string& file, const Format& format) {
  const std::string rate = format.rate ? fmt::format(", {:.6g} Hz", *format.rate) : "";
  constexpr size_t longest = 60;  // of a name
  const std::string name = file == "-" ? standardInputName : std::filesystem::path(file).filename().string();
  return shortened(shownText(name), longest) + " (" + format.container + ", " + format.samples + rate + ')';
}

std::string timeAxisTitle(const Format& format) {
  return format.rate ? "time in seconds" : "time in samples";
}

}  // namespace kxrecordings
