#include "recordings/comtrade_reader.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include "recordings/even_stamps.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

using Segment = ComtradeConfiguration::Segment;

/// A number as short as it is exact, for sentences.
std::string numberText(double number) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.10g", number);
  return buffer;
}

uint64_t beginOf(const std::vector<Segment>& segments, size_t index) {
  return index == 0 ? 0 : segments[index - 1].end;
}

size_t longestOf(const std::vector<Segment>& segments) {
  size_t longest = 0;
  for (size_t i = 1; i < segments.size(); ++i) {
    if (segments[i].end - beginOf(segments, i) > segments[longest].end - beginOf(segments, longest)) {
      longest = i;
    }
  }
  return longest;
}

/// What the file calls the type that samples are stored in.
std::string sampleName(ComtradeType type) {
  switch (type) {
    case ComtradeType::ascii:
      return "decimal";
    case ComtradeType::binary:
      return "int16";
    case ComtradeType::binary32:
      return "int32";
    case ComtradeType::float32:
      return "float";
  }
  return "";
}

}  // namespace

Result<ComtradeReader> ComtradeReader::open(std::unique_ptr<ByteSource> configuration, std::unique_ptr<ByteSource> data,
                                            const InputOptions& options) {
  const ComtradeSections whole{{{0, configuration->size()}, 0}, {{0, data->size()}, 0}, std::nullopt};
  return openSections(std::move(configuration), std::move(data), whole, options);
}

Result<ComtradeReader> ComtradeReader::open(std::unique_ptr<ByteSource> file, const InputOptions& options) {
  const auto sections = findComtradeSections(*file);
  if (!sections) {
    return Problem{sections.problem()};
  }
  return openSections(std::move(file), nullptr, *sections, options);
}

Result<ComtradeReader> ComtradeReader::openSections(std::unique_ptr<ByteSource> configuration,
                                                    std::unique_ptr<ByteSource> data, const ComtradeSections& sections,
                                                    const InputOptions& options) {
  ComtradeReader reader;
  reader.configurationSource_ = std::move(configuration);
  reader.dataSource_ = std::move(data);
  ByteSource& configurationSource = *reader.configurationSource_;
  ByteSource& dataSource = reader.dataSource_ ? *reader.dataSource_ : configurationSource;

  LineReader lines(configurationSource, sections.configuration.range, longestConfigurationLine,
                   LineReader::EndMark::endsText, sections.configuration.linesBefore);
  auto read = readComtradeConfiguration(configurationSource, lines, reader.notes_);
  if (!read) {
    return Problem{read.problem()};
  }
  if (sections.type && *sections.type != read->type) {
    return configurationSource.problem("line " + std::to_string(sections.data.linesBefore) +
                                       ": the data are of another type than the configuration says");
  }
  reader.configuration_ = std::make_unique<ComtradeConfiguration>(std::move(*read));
  auto records =
      openComtradeRecords(dataSource, sections.data.range, sections.data.linesBefore, *reader.configuration_);
  if (!records) {
    return Problem{records.problem()};
  }
  reader.records_ = std::move(*records);
  if (const auto chosen = reader.chooseSegment(options.segment); !chosen) {
    return configurationSource.problem(chosen.problem());
  }
  reader.describe(options.status);
  reader.format_.rate = options.rate;
  if (!options.rate) {
    if (const auto found = reader.findRate(); !found) {
      return Problem{found.problem()};
    }
  }
  return reader;
}

Result<> ComtradeReader::chooseSegment(const std::optional<int>& wanted) {
  const auto& segments = configuration_->segments;
  if (wanted && (*wanted < 1 || static_cast<size_t>(*wanted) > segments.size())) {
    return Problem{"has no segment " + std::to_string(*wanted) + ", they are numbered 1 to " +
                   std::to_string(segments.size())};
  }
  const bool isOneRate = std::all_of(segments.begin(), segments.end(),
                                     [&](const Segment& segment) { return segment.rate == segments[0].rate; });
  if (isOneRate && !wanted) {
    segmentRate_ = segments[0].rate;
    end_ = segments.back().end;
    return Done{};
  }
  const size_t index = wanted ? static_cast<size_t>(*wanted - 1) : longestOf(segments);
  first_ = beginOf(segments, index);
  end_ = segments[index].end;
  segmentRate_ = segments[index].rate;
  isToTheEnd_ = index + 1 == segments.size();
  if (!wanted) {
    notes_.push_back("holds " + std::to_string(segments.size()) +
                     " segments, not all of one sample rate; the longest is " + "read, segment " +
                     std::to_string(index + 1) + " of samples " + std::to_string(first_ + 1) + " to " +
                     std::to_string(end_) + " at " + numberText(segmentRate_) + " Hz");
  }
  return Done{};
}

void ComtradeReader::describe(bool withStatus) {
  format_.container = "comtrade";
  format_.samples = sampleName(configuration_->type);
  format_.type = SampleType::float64;
  for (const auto& channel : configuration_->analog) {
    format_.channels.push_back(channel.title());
    format_.places.push_back({channel.phase, channel.circuit});
  }
  if (withStatus) {
    for (const auto& channel : configuration_->status) {
      format_.channels.push_back(channel.name);
      format_.places.push_back({channel.phase, channel.circuit});
    }
    format_.statusChannels = configuration_->status.size();
  }
  format_.lineFrequency = configuration_->lineFrequency;
  format_.start = configuration_->start;
  format_.trigger = configuration_->trigger;
  double before = 0;
  const auto& segments = configuration_->segments;
  for (size_t i = 0; first_ > 0 && segments[i].end <= first_; ++i) {
    before += static_cast<double>(segments[i].end - beginOf(segments, i)) / segments[i].rate;
  }
  constexpr double longest = 1e9;
  if (format_.start && before <= longest) {
    format_.start = format_.start->later(before);
  } else {
    format_.start.reset();
  }
}

Result<> ComtradeReader::findRate() {
  if (segmentRate_ > 0) {
    format_.rate = segmentRate_;
    return Done{};
  }
  return findRateByStamps();
}

Result<> ComtradeReader::findRateByStamps() {
  std::vector<double> frame(format_.channels.size());
  EvenStamps stamps;
  uint64_t frames = 0;
  for (;; ++frames) {
    const auto next = records_->next(frame);
    if (!next) {
      return Problem{next.problem()};
    }
    if (!*next) {
      break;
    }
    stamps.add(records_->mark().stamp);
  }
  if (const auto rate = stamps.rate(configuration_->stampSeconds)) {
    format_.rate = rate;
    notes_.push_back("the sample rate, " + numberText(*rate) + " Hz, comes from the time stamps");
  } else if (frames > 0) {
    notes_.push_back("the time stamps are not even and tell no sample rate");
  }
  return Done{};
}

std::vector<std::string> ComtradeReader::notes() const {
  std::vector<std::string> all = notes_;
  all.insert(all.end(), records_->notes().begin(), records_->notes().end());
  return all;
}

Result<size_t> ComtradeReader::read(std::span<double> samples) {
  auto count = readOn(samples);
  isInPlace_ = isInPlace_ && count;
  return count;
}

Result<size_t> ComtradeReader::readOn(std::span<double> samples) {
  if (!isInPlace_) {
    if (const auto there = records_->goTo(first_ + position_); !there) {
      return Problem{there.problem()};
    }
    isInPlace_ = true;
    lastNumber_.reset();
  }
  const size_t channels = format_.channels.size(), wanted = samples.size() / channels;
  for (size_t frame = 0; frame < wanted; ++frame) {
    if (!isToTheEnd_ && first_ + position_ == end_) {
      return frame;
    }
    const auto values = samples.subspan(frame * channels, channels);
    const auto next = records_->next(values);
    if (!next) {
      return Problem{next.problem()};
    }
    if (!*next) {
      return frame;
    }
    ++position_;
    noteJump();
    markMissing(values);
  }
  return wanted;
}

void ComtradeReader::rewind() {
  position_ = 0;
  isInPlace_ = false;
}

void ComtradeReader::noteJump() {
  const auto number = records_->mark().number;
  if (!isJumpNoted_ && number && lastNumber_ && *number != *lastNumber_ + 1) {
    isJumpNoted_ = true;
    notes_.push_back("the sample numbers jump, first in " + records_->where() + " from " + numberText(*lastNumber_) +
                     " to " + numberText(*number) + "; the samples are taken one after the other");
  }
  lastNumber_ = number;
}

void ComtradeReader::markMissing(std::span<double> values) {
  for (size_t i = 0; i < values.size(); ++i) {
    if (std::isfinite(values[i])) {
      continue;
    }
    values[i] = std::numeric_limits<double>::quiet_NaN();
    if (!isMissingNoted_) {
      isMissingNoted_ = true;
      notes_.push_back("samples that are missing are taken as NaN, the first one in " + records_->where() +
                       ", channel " + quoteOf(format_.channels[i]));
    }
  }
}

double ComtradeReader::position() const {
  const uint64_t frames = end_ - first_;
  return position_ < frames ? static_cast<double>(position_) / static_cast<double>(frames) : 1;
}

}  // namespace kxrecordings
