// The bytes of a file.
#pragma once

#include <fstream>
#include <string>

#include "recordings/byte_source.hpp"

namespace kxrecordings {

class FileBytes final : public ByteSource {
public:
  explicit FileBytes(const std::string& path);

  uint64_t size() const override { return size_; }
  Result<> read(uint64_t offset, std::span<char> bytes) override;

private:
  std::ifstream file_;
  uint64_t size_;
};

}  // namespace kxrecordings
