// Text, a line after the other, in memory that does not grow with the file.
#pragma once

#include <string>
#include <string_view>

#include "recordings/byte_source.hpp"

namespace kxrecordings {

class LineReader {
public:
  /// What a 0x1A is, which ends text files of older systems.
  enum class EndMark { endsText, isText };

  /// @param source       outlives the reader.
  /// @param linesBefore  the range, in the numbering.
  /// @param longest      characters that are kept of a line.
  /// @param lineEnd      a line feed, with or without a carriage return before it, or a carriage return alone.
  LineReader(ByteSource& source, ByteRange range, size_t longest, EndMark endMark = EndMark::endsText,
             uint64_t linesBefore = 0, char lineEnd = '\n');

  /// Goes to the next line; false at the end.
  Result<bool> next();

  /// Without the line end. Stays until the next call.
  std::string_view line() const { return line_; }

  /// Whether all of the line is there.
  bool isWhole() const { return isWhole_; }

  /// Of the line, counted from 1.
  uint64_t number() const { return number_; }

  /// Where the next line begins.
  uint64_t offset() const { return pieceEnd_ - (piece_.size() - used_); }

private:
  Result<> nextPiece();

  /// The line, if the piece holds all of it.
  bool takeWholeLine();

  /// Takes what the piece has of the line; true if the line ends there.
  bool takeFromPiece();

  ByteSource* source_;
  uint64_t end_;
  uint64_t pieceEnd_;  // in the source
  std::string piece_;
  size_t used_ = 0;  // of the piece
  size_t longest_;
  EndMark endMark_;
  char lineEnd_;
  std::string gathered_;   // of a line that goes on from piece to piece
  std::string_view line_;  // in the piece or gathered
  bool isWhole_ = true;
  uint64_t number_;
};

}  // namespace kxrecordings
