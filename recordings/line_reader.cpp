#include "recordings/line_reader.hpp"

namespace kxrecordings {

LineReader::LineReader(ByteSource& source, ByteRange range, size_t longest, EndMark endMark, uint64_t linesBefore)
    : source_(&source),
      end_(range.end),
      pieceEnd_(range.begin),
      longest_(longest),
      endMark_(endMark),
      number_(linesBefore) {}

Result<bool> LineReader::next() {
  line_.clear();
  isWhole_ = true;
  bool isLine = false;
  while (true) {
    if (used_ == piece_.size()) {
      if (pieceEnd_ == end_) {
        break;
      }
      if (const auto read = nextPiece(); !read) {
        return Problem{read.problem()};
      }
    }
    isLine = isLine || used_ < piece_.size();
    if (takeFromPiece()) {
      break;
    }
  }
  if (line_.ends_with('\r')) {
    line_.pop_back();
  }
  number_ += isLine ? 1 : 0;
  return isLine;
}

Result<> LineReader::nextPiece() {
  constexpr uint64_t pieceBytes = 65536;
  piece_.resize(static_cast<size_t>(std::min(pieceBytes, end_ - pieceEnd_)));
  used_ = 0;
  if (const auto read = source_->read(pieceEnd_, piece_); !read) {
    return Problem{read.problem()};
  }
  pieceEnd_ += piece_.size();
  if (const size_t mark = piece_.find('\x1A'); endMark_ == EndMark::endsText && mark != std::string::npos) {
    pieceEnd_ -= piece_.size() - mark;
    piece_.resize(mark);
    end_ = pieceEnd_;
  }
  return Done{};
}

bool LineReader::takeFromPiece() {
  const size_t lineFeed = piece_.find('\n', used_);
  const bool isEnd = lineFeed != std::string::npos;
  const size_t length = (isEnd ? lineFeed : piece_.size()) - used_;
  const size_t kept = std::min(length, longest_ - line_.size());
  line_.append(piece_, used_, kept);
  isWhole_ = isWhole_ && kept == length;
  used_ += length + (isEnd ? 1 : 0);
  return isEnd;
}

}  // namespace kxrecordings
