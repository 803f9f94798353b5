#include "recordings/frame_output.hpp"

#include "recordings/audio_output.hpp"
#include "recordings/csv_output.hpp"

namespace kxrecordings {
namespace {

/// A header row of numbers alone would be none.
std::vector<std::string> columnsOf(std::vector<std::string> channels) {
  for (std::string& name : channels) {
    if (name.find_first_not_of("0123456789") == std::string::npos) {
      name.insert(0, "channel ");
    }
  }
  return channels;
}

}  // namespace

std::unique_ptr<FrameOutput> createFrames(const std::string& file, FrameFormat format, const FrameContents& contents) {
  if (format == FrameFormat::csv) {
    return std::make_unique<CsvOutput>(file, columnsOf(contents.channels), contents.frames);
  }
  return std::make_unique<AudioOutput>(file, contents.channels.size(), static_cast<int>(contents.rate),
                                       contents.frames);
}

}  // namespace kxrecordings
