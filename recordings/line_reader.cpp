#include "recordings/line_reader.hpp"

namespace kxrecordings {

LineReader::LineReader(ByteSource& source, ByteRange range, size_t longest, EndMark endMark, uint64_t linesBefore,
                       char lineEnd)
    : source_(&source),
      end_(range.end),
      pieceEnd_(range.begin),
      longest_(longest),
      endMark_(endMark),
      lineEnd_(lineEnd),
      number_(linesBefore) {}

Result<bool> LineReader::next() {
  isWhole_ = true;
  bool isLine = takeWholeLine();
  if (!isLine) {
    gathered_.clear();
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
    line_ = gathered_;
  }
  if (line_.ends_with('\r')) {
    line_.remove_suffix(1);
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

bool LineReader::takeWholeLine() {
  const size_t end = piece_.find(lineEnd_, used_);
  if (end == std::string::npos || end - used_ > longest_) {
    return false;
  }
  line_ = std::string_view(piece_).substr(used_, end - used_);
  used_ = end + 1;
  return true;
}

bool LineReader::takeFromPiece() {
  const size_t found = piece_.find(lineEnd_, used_);
  const bool isEnd = found != std::string::npos;
  const size_t length = (isEnd ? found : piece_.size()) - used_;
  const size_t kept = std::min(length, longest_ - gathered_.size());
  gathered_.append(piece_, used_, kept);
  isWhole_ = isWhole_ && kept == length;
  used_ += length + (isEnd ? 1 : 0);
  return isEnd;
}

}  // namespace kxrecordings
