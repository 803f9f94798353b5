#include "support/repeated_memory.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace support {
namespace {

[[noreturn]] void refuse(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void* mapAt(std::byte* place, int file) {
  const int kind = file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
  void* mapped = mmap(place, RepeatedMemory::chunkBytes, PROT_READ | PROT_WRITE, MAP_FIXED | kind, file, 0);
  if (mapped == MAP_FAILED) {
    refuse("a chunk cannot be mapped");
  }
  return mapped;
}

}  // namespace

RepeatedMemory::RepeatedMemory(std::size_t bytes) : size_((bytes + chunkBytes - 1) / chunkBytes * chunkBytes) {
  void* mapped = mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) {
    refuse("the addresses cannot be reserved");
  }
  data_ = static_cast<std::byte*>(mapped);
  const int file = memfd_create("repeated chunk", 0);
  if (file < 0 || ftruncate(file, chunkBytes) != 0) {
    refuse("the repeated chunk cannot be made");
  }
  for (std::size_t offset = 0; offset < size_; offset += chunkBytes) {
    mapAt(data_ + offset, file);
  }
  close(file);
}

RepeatedMemory::~RepeatedMemory() {
  munmap(data_, size_);
}

void RepeatedMemory::separate(std::size_t offset) {
  mapAt(data_ + offset / chunkBytes * chunkBytes, -1);
}

}  // namespace support
