// The readers of recordings on any bytes: they come to an end in bounded memory, say in one sentence what is wrong, and give the
// same frames in blocks of any size, from the beginning on as often as asked.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/comtrade_reader.hpp"
#include "recordings/text_reader.hpp"

namespace {

using namespace kxrecordings;

void require(bool holds, const std::string& what) {
  if (!holds) {
    std::fprintf(stderr, "A reader is wrong: %s\n", what.c_str());
    std::abort();
  }
}

void requireSentence(const std::string& sentence) {
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
void requireSame(const Reading& one, const Reading& other) {
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

std::unique_ptr<ByteSource> bytesOf(std::string_view bytes) {
  return std::make_unique<MemoryBytes>("fuzzed", bytes);
}

void exerciseText(std::string_view bytes, uint8_t choices) {
  InputOptions options;
  if ((choices & 8) != 0) {
    options.decimalMark = ',';
  }
  options.timesAreValues = (choices & 16) != 0;
  if ((choices & 32) != 0) {
    options.columnNumbers = {2, 1, 2};
  }
  exercise(TextReader::open(bytesOf(bytes), options));
}

}  // namespace

/// The first byte holds the options, and whether the others are a table in text or COMTRADE. There, a file of two parts has a form
/// feed between them, others are one file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  InputOptions options;
  options.status = (data[0] & 1) != 0;
  if ((data[0] & 2) != 0) {
    options.segment = data[0] >> 4;
  }
  if ((data[0] & 4) != 0) {
    exerciseText(bytes, data[0]);
    return 0;
  }
  const size_t border = bytes.find('\f');
  if (border == std::string_view::npos) {
    exercise(ComtradeReader::open(bytesOf(bytes), options));
  } else {
    exercise(ComtradeReader::open(bytesOf(bytes.substr(0, border)), bytesOf(bytes.substr(border + 1)), options));
  }
  return 0;
}
