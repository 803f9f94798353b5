// libsndfile takes a cut file as a shorter one without a word, so the announced length is read from the header here.
#include "recordings/promised_size.hpp"

#include <array>
#include <cstddef>
#include <string_view>

namespace kxrecordings {
namespace {

/// A container that is a list of chunks, each a name, a size and that many bytes.
struct ChunkLayout {
  std::string_view magic;  // first bytes of the file
  uint64_t firstChunk;     // offset in bytes
  size_t nameBytes;        // of a chunk's name
  size_t sizeBytes;        // of a chunk's size
  bool bigEndian;
  bool sizeCountsHeader;       // whether name and size are part of the size
  uint64_t alignment;          // of chunks, in bytes
  std::string_view dataChunk;  // first bytes of the name of the chunk that holds the samples
};

constexpr std::array<ChunkLayout, 6> layouts{{
    {"RIFF", 12, 4, 4, false, false, 2, "data"},  // WAV
    {"RIFX", 12, 4, 4, true, false, 2, "data"},   // WAV, big-endian
    {"RF64", 12, 4, 4, false, false, 2, "data"},  // WAV above 4 GiB
    {"riff", 40, 16, 8, false, true, 8, "data"},  // W64
    {"FORM", 12, 4, 4, true, false, 2, "SSND"},   // AIFF
    {"caff", 8, 4, 8, true, false, 1, "data"},    // CAF
}};

std::optional<uint64_t> readNumber(std::istream& file, uint64_t offset, size_t bytes, bool bigEndian) {
  std::array<char, 8> buffer{};
  file.clear();
  if (!file.seekg(static_cast<std::streamoff>(offset)) ||
      !file.read(buffer.data(), static_cast<std::streamsize>(bytes))) {
    return std::nullopt;
  }
  uint64_t number = 0;
  for (size_t i = 0; i < bytes; ++i) {
    number = number << 8 | static_cast<unsigned char>(buffer[bigEndian ? i : bytes - 1 - i]);
  }
  return number;
}

bool startsWith(std::istream& file, uint64_t offset, std::string_view text) {
  std::array<char, 4> buffer{};
  file.clear();
  return file.seekg(static_cast<std::streamoff>(offset)) && file.read(buffer.data(), buffer.size()) &&
         std::string_view(buffer.data(), buffer.size()) == text;
}

std::optional<uint64_t> promiseOfChunks(std::istream& file, const ChunkLayout& layout) {
  const uint64_t open = layout.sizeBytes == 8 ? UINT64_MAX : UINT32_MAX;
  const uint64_t header = layout.nameBytes + layout.sizeBytes;
  uint64_t chunk = layout.firstChunk;
  while (auto size = readNumber(file, chunk + layout.nameBytes, layout.sizeBytes, layout.bigEndian)) {
    const bool isData = startsWith(file, chunk, layout.dataChunk);
    if (isData && *size == open && layout.magic == "RF64") {
      size = readNumber(file, 28, 8, false);  // the first chunk of these files holds the 64-bit sizes
    }
    if (!size || *size == open || (layout.sizeCountsHeader && *size < header)) {
      return std::nullopt;
    }
    const uint64_t end = chunk + *size + (layout.sizeCountsHeader ? 0 : header);
    if (isData) {
      return end;
    }
    chunk = (end + layout.alignment - 1) / layout.alignment * layout.alignment;
  }
  return std::nullopt;
}

}  // namespace

std::optional<uint64_t> promisedSize(std::istream& file) {
  for (const ChunkLayout& layout : layouts) {
    if (startsWith(file, 0, layout.magic)) {
      return promiseOfChunks(file, layout);
    }
  }
  if (startsWith(file, 0, ".snd")) {  // AU: a header of fixed fields
    const auto offset = readNumber(file, 4, 4, true);
    const auto size = readNumber(file, 8, 4, true);
    if (offset && size && *size != UINT32_MAX) {
      return *offset + *size;
    }
  }
  return std::nullopt;
}

}  // namespace kxrecordings
