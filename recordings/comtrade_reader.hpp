// COMTRADE recordings of fault recorders and power analysers, out of any source of bytes. Nothing is thrown.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recordings/comtrade_records.hpp"
#include "recordings/comtrade_sections.hpp"
#include "recordings/recording.hpp"

namespace kxrecordings {

/// The channels are the analog ones, named with their unit as "UA [kV]", and the status ones behind them if the options
/// ask for these. Values are a * sample + b with the channel's own factors, primary or secondary as the file has them;
/// status channels are 0 and 1. Missing samples are NaNs. Of segments of different rates one is read, the longest
/// unless the options name another. Skews and transformer ratios are left aside.
///
/// What is odd and yet clear is read, with a note: a sample more or fewer than announced, sample numbers that jump,
/// status channels that are numbered on from the analog ones, bytes that end texts.
class ComtradeReader {
public:
  /// A .cfg file and the .dat file that goes with it.
  static Result<ComtradeReader> open(std::unique_ptr<ByteSource> configuration, std::unique_ptr<ByteSource> data,
                                     const InputOptions& options);

  /// A .cff file, which holds both.
  static Result<ComtradeReader> open(std::unique_ptr<ByteSource> file, const InputOptions& options);

  const Format& format() const { return format_; }

  /// What is odd about the recording as far as it has been read, a sentence each.
  std::vector<std::string> notes() const;

  /// Reads the next interleaved frames, as many as there is room for; returns how many, fewer only at the end. After a
  /// problem, the frames before it are lost.
  Result<size_t> read(std::span<double> samples);

  /// Back to the first frame.
  void rewind();

  /// Share that has been read, 0 to 1.
  double position() const;

private:
  /// @param data  none where the configuration's source holds both.
  static Result<ComtradeReader> openSections(std::unique_ptr<ByteSource> configuration,
                                             std::unique_ptr<ByteSource> data, const ComtradeSections& sections,
                                             const InputOptions& options);

  ComtradeReader() = default;

  Result<> chooseSegment(const std::optional<int>& wanted);
  void describe(bool withStatus);
  Result<size_t> readOn(std::span<double> samples);
  Result<> findRate();
  Result<> findRateByStamps();
  void noteJump();
  void markMissing(std::span<double> values);

  std::unique_ptr<ByteSource> configurationSource_, dataSource_;
  std::unique_ptr<ComtradeConfiguration> configuration_;  // stays where it is: the records look into it
  std::unique_ptr<ComtradeRecords> records_;
  Format format_;
  std::vector<std::string> notes_;
  double segmentRate_ = 0;
  uint64_t first_ = 0, end_ = 0;  // samples of the file that are read
  bool isToTheEnd_ = true;        // of the file, wherever that is
  uint64_t position_ = 0;         // of the next frame
  bool isInPlace_ = false;        // whether the records are there
  std::optional<double> lastNumber_;
  bool isJumpNoted_ = false, isMissingNoted_ = false;
};

}  // namespace kxrecordings
