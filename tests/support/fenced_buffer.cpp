#include "support/fenced_buffer.hpp"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(data, size)
#define ASAN_UNPOISON_MEMORY_REGION(data, size)
#endif

#include <algorithm>
#include <cstdint>
#include <new>
#include <stdexcept>

namespace support {
namespace {

constexpr std::size_t canaryBytes = 128;
constexpr std::byte canary{0xA5};

std::size_t roundedUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

// Reads what is poisoned: not instrumented, and without memcmp, which the sanitizer replaces.
__attribute__((no_sanitize("address"))) bool holdsCanaries(const std::byte* data, std::size_t count) {
  std::byte difference{0};
  for (std::size_t i = 0; i < count; ++i) {
    difference |= data[i] ^ canary;
  }
  return difference == std::byte{0};
}

}  // namespace

#if defined(_WIN32)
PageMapping::PageMapping(std::size_t bytes) : size_(roundedUp(bytes, pageSize())) {
  data_ = static_cast<std::byte*>(VirtualAlloc(nullptr, size_, MEM_RESERVE, PAGE_NOACCESS));
  if (data_ == nullptr) {
    throw std::bad_alloc();
  }
}

PageMapping::~PageMapping() {
  VirtualFree(data_, 0, MEM_RELEASE);
}

std::size_t PageMapping::pageSize() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize;
}
#else
PageMapping::PageMapping(std::size_t bytes) : size_(roundedUp(bytes, pageSize())) {
  void* mapped = mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) {
    throw std::bad_alloc();
  }
  data_ = static_cast<std::byte*>(mapped);
}

PageMapping::~PageMapping() {
  munmap(data_, size_);
}

std::size_t PageMapping::pageSize() {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}
#endif

void PageMapping::open(std::size_t offset, std::size_t bytes) {
  const std::size_t begin = offset / pageSize() * pageSize();
  const std::size_t end = roundedUp(offset + bytes, pageSize());
#if defined(_WIN32)
  const bool opened = end <= size_ && VirtualAlloc(data_ + begin, end - begin, MEM_COMMIT, PAGE_READWRITE) != nullptr;
#else
  const bool opened = end <= size_ && mprotect(data_ + begin, end - begin, PROT_READ | PROT_WRITE) == 0;
#endif
  if (!opened) {
    throw std::bad_alloc();
  }
}

void PageMapping::refuseWrites(std::size_t offset, std::size_t bytes) {
#if defined(_WIN32)
  DWORD before = 0;
  const bool done = VirtualProtect(data_ + offset, bytes, PAGE_READONLY, &before) != 0;
#else
  const bool done = mprotect(data_ + offset, bytes, PROT_READ) == 0;
#endif
  if (!done) {
    throw std::bad_alloc();
  }
}

std::ostream& operator<<(std::ostream& stream, const Placement& placement) {
  switch (placement.kind) {
    case Placement::Kind::endsAtFence:
      return stream << "ending at the fence";
    case Placement::Kind::beginsAtFence:
      return stream << "beginning at the fence";
    case Placement::Kind::pastBoundary:
      return stream << placement.offset << " elements past a 16-byte boundary";
  }
  return stream;
}

FencedMemory::FencedMemory(std::size_t capacity)
    : capacity_(capacity),
      roomSize_(roundedUp(capacity + 16 + 2 * canaryBytes, PageMapping::pageSize())),
      mapping_(roomSize_ + 2 * PageMapping::pageSize()) {
  mapping_.open(PageMapping::pageSize(), roomSize_);
}

FencedMemory::~FencedMemory() {
  unpoison();
}

std::byte* FencedMemory::place(std::size_t bytes, const Placement& placement, std::size_t elementSize) {
  if (bytes > capacity_) {
    throw std::length_error("a fenced buffer above its capacity");
  }
  unpoison();
  std::byte* const room = mapping_.data() + PageMapping::pageSize();
  std::byte* const roomEnd = room + roomSize_;
  std::byte* begin = room;
  if (placement.kind == Placement::Kind::endsAtFence) {
    begin = roomEnd - bytes;
  } else if (placement.kind == Placement::Kind::pastBoundary) {
    begin = room + canaryBytes + placement.offset * elementSize;
  }
  std::byte* const end = begin + bytes;
  before_ = {begin - std::min<std::ptrdiff_t>(begin - room, canaryBytes), begin};
  after_ = {end, end + std::min<std::ptrdiff_t>(roomEnd - end, canaryBytes)};
  for (const std::span<std::byte> zone : {before_, after_}) {
    std::ranges::fill(zone, canary);
    ASAN_POISON_MEMORY_REGION(zone.data(), zone.size());
  }
  return begin;
}

bool FencedMemory::surroundingsIntact() const {
  return holdsCanaries(before_.data(), before_.size()) && holdsCanaries(after_.data(), after_.size());
}

void FencedMemory::refuseWrites() {
  mapping_.refuseWrites(PageMapping::pageSize(), roomSize_);
}

void FencedMemory::unpoison() {
  if (before_.data() != nullptr) {
    ASAN_UNPOISON_MEMORY_REGION(before_.data(),
                                static_cast<std::size_t>(after_.data() - before_.data()) + after_.size());
  }
}

}  // namespace support
