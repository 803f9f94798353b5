#include "recordings/watched_recording.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>

namespace kxrecordings {
namespace {

/// Calls action(); what it finds wrong with one file is told of another.
template <class Action>
auto renamed(const std::string& path, const std::string& shown, Action action) {
  try {
    return action();
  } catch (const FileError& error) {
    const std::string sentence = error.what();
    if (path == shown || !sentence.starts_with(path + ": ")) {
      throw;
    }
    throw FileError(shown + sentence.substr(path.size()));
  }
}

class WatchedRecording final : public Recording {
public:
  WatchedRecording(std::unique_ptr<Recording> recording, const InputOptions& options, std::string path,
                   std::string shown)
      : recording_(std::move(recording)),
        refuses_(options.requiresFinite || options.strict),
        refusedChannel_(options.strict ? std::nullopt : options.finiteChannel),
        path_(std::move(path)),
        shown_(std::move(shown)),
        gaps_(recording_->format().channels.size()) {
    format_ = recording_->format();
    notes_ = recording_->notes();
    tellsMissing_ = format_.container == "comtrade" || format_.container == "csv" || format_.container == "text";
  }

  void rewind() override {
    recording_->rewind();
    position_ = 0;
  }

  double position() const override { return recording_->position(); }
  std::optional<uint64_t> frames() const override { return recording_->frames(); }
  std::optional<uint64_t> lineOf(size_t frame) const override { return recording_->lineOf(frame); }

protected:
  size_t readFrames(void* samples, size_t frames) override {
    return renamed(path_, shown_, [&] {
      return visitSampleType(format_.type, [&]<class T>() {
        const auto block = std::span(static_cast<T*>(samples), frames * gaps_.size());
        const size_t read = recording_->read(block);
        if constexpr (std::is_floating_point_v<T>) {
          watch<T>(block.first(read * gaps_.size()));
        }
        position_ += read;
        seen_ = std::max(seen_, position_);
        note();
        return read;
      });
    });
  }

private:
  /// The values of a channel that are no finite numbers.
  struct Gaps {
    uint64_t count = 0;
    std::string first;
  };

  template <class T>
  void watch(std::span<const T> samples) {
    if (std::all_of(samples.begin(), samples.end(), [](T sample) { return std::isfinite(sample); })) {
      return;
    }
    for (size_t i = 0; i < samples.size(); ++i) {
      const size_t frame = i / gaps_.size(), channel = i % gaps_.size();
      if (std::isfinite(samples[i]) || position_ + frame < seen_) {
        continue;
      }
      if (refuses_ && static_cast<int>(channel) + 1 == refusedChannel_.value_or(static_cast<int>(channel) + 1)) {
        throw FileError(path_, fmt::format("{}, channel {}: {} is not a finite number", placeOf(frame),
                                           format_.channels[channel], samples[i]));
      }
      if (tellsMissing_ && std::isnan(samples[i])) {
        continue;
      }
      if (Gaps& gaps = gaps_[channel]; gaps.count++ == 0) {
        gaps.first = placeOf(frame);
      }
    }
  }

  std::string placeOf(size_t frame) const {
    if (const auto line = recording_->lineOf(frame)) {
      return fmt::format("line {}", *line);
    }
    const uint64_t number = position_ + frame;
    return format_.rate ? fmt::format("sample {} ({:.7g} s)", number, static_cast<double>(number) / *format_.rate)
                        : fmt::format("sample {}", number);
  }

  void note() {
    notes_ = recording_->notes();
    for (size_t i = 0; i < gaps_.size(); ++i) {
      if (gaps_[i].count > 0) {
        notes_.push_back(fmt::format("{}, channel {}: not a finite number, as {} of its values", gaps_[i].first,
                                     format_.channels[i], gaps_[i].count));
      }
    }
  }

  std::unique_ptr<Recording> recording_;
  bool refuses_;
  bool tellsMissing_;  // its own notes tell of samples that are missing
  std::optional<int> refusedChannel_;
  std::string path_, shown_;
  std::vector<Gaps> gaps_;  // by channels
  uint64_t position_ = 0;   // in frames
  uint64_t seen_ = 0;       // frames that have been looked at
};

}  // namespace

std::unique_ptr<Recording> watched(std::unique_ptr<Recording> recording, const InputOptions& options,
                                   const std::string& path, const std::string& shown) {
  return std::make_unique<WatchedRecording>(std::move(recording), options, path, shown);
}

std::unique_ptr<Recording> openShown(const std::string& path, const std::string& shown, const InputOptions& options,
                                     std::unique_ptr<Recording> (*open)(const std::string&, const InputOptions&)) {
  return watched(renamed(path, shown, [&] { return open(path, options); }), options, path, shown);
}

}  // namespace kxrecordings
