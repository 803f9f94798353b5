// What all readers of recordings are to keep on any bytes: they come to an end in bounded memory, say in one sentence what is
// wrong, and give the same frames in blocks of any size, from the beginning on as often as asked.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/byte_source.hpp"

namespace kxrecordings {

inline void require(bool holds, const std::string& what) {
  if (!holds) {
    std::fprintf(stderr, "A reader is wrong: %s\n", what.c_str());
    std::abort();
  }
}

inline void requireSentence(const std::string& sentence) {
  require(!sentence.empty() && sentence.find('\n') == std::string::npos && sentence.size() < 2000,
          "not one sentence: " + sentence);
}

/// What reading to the end gives, in blocks of this many frames: the values, and what was wrong in the end.
struct Reading {
  std::vector<double> values;
  std::string problem;
};

template <class Reader>
Reading readingOf(Reader& reader, size_t frames) {
  Reading reading;
  std::vector<double> block(frames * reader.format().channels.size());
  while (true) {
    const auto count = reader.read(block);
    if (!count) {
      reading.problem = count.problem();
      requireSentence(reading.problem);
      return reading;
    }
    const auto values = static_cast<std::ptrdiff_t>(*count * reader.format().channels.size());
    reading.values.insert(reading.values.end(), block.begin(), block.begin() + values);
    require(reader.position() >= 0 && reader.position() <= 1, "a position outside of 0 and 1");
    if (*count < frames) {
      return reading;
    }
  }
}

/// Frames before a problem that are not handed over depend on the size of the blocks.
inline void requireSame(const Reading& one, const Reading& other) {
  require(one.problem == other.problem, one.problem + " became " + other.problem);
  require(!one.problem.empty() || one.values.size() == other.values.size(), "another number of values");
  for (size_t i = 0; i < std::min(one.values.size(), other.values.size()); ++i) {
    require(one.values[i] == other.values[i] || (std::isnan(one.values[i]) && std::isnan(other.values[i])),
            "another value");
  }
}

template <class Reader>
void exercise(Result<Reader> reader) {
  if (!reader) {
    requireSentence(reader.problem());
    return;
  }
  const Reading single = readingOf(*reader, 1);
  reader->rewind();
  requireSame(single, readingOf(*reader, 7));
  for (const std::string& note : reader->notes()) {
    requireSentence(note);
  }
  require(reader->notes().size() < 20, "many notes");
}

inline std::unique_ptr<ByteSource> bytesOf(std::string_view bytes) {
  return std::make_unique<MemoryBytes>("fuzzed", bytes);
}

}  // namespace kxrecordings
