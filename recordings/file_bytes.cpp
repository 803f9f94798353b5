#include "recordings/file_bytes.hpp"

#include <filesystem>
#include <system_error>

namespace kxrecordings {

FileBytes::FileBytes(const std::string& path) : ByteSource(path), file_(path, std::ios::binary) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  size_ = error ? 0 : size;
}

Result<> FileBytes::read(uint64_t offset, std::span<char> bytes) {
  file_.clear();
  if (!file_.seekg(static_cast<std::streamoff>(offset)) ||
      !file_.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    return problem("cannot be read at byte " + std::to_string(offset));
  }
  return Done{};
}

}  // namespace kxrecordings
