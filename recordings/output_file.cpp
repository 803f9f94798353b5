#include "recordings/output_file.hpp"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "recordings/recording.hpp"

namespace kxrecordings {

OutputFile::OutputFile(std::string file) : file_(std::move(file)) {
  std::error_code none;
  const auto status = std::filesystem::status(file_, none);
  if (std::filesystem::is_directory(status)) {
    throw FileError(file_, "is a directory");
  }
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw FileError(file_, "cannot be written: it is not a regular file, and only those can be replaced");
  }
  const std::filesystem::path folder = std::filesystem::path(file_).parent_path();
  std::string pattern = ((folder.empty() ? "." : folder) / ".kxhost-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw FileError(file_, std::string("cannot be written: ") + std::strerror(errno));
  }
  workplace_ = pattern;
}

OutputFile::~OutputFile() {
  std::error_code ignored;
  std::filesystem::remove_all(workplace_, ignored);
}

void OutputFile::place() const {
  std::error_code error;
  std::filesystem::rename(draft(), file_, error);
  if (error) {
    throw FileError(file_, "cannot be written: " + error.message());
  }
}

}  // namespace kxrecordings
