#include "recordings/standard_input.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "recordings/audio_recording.hpp"
#include "recordings/clean_end.hpp"
#include "recordings/csv_recording.hpp"
#include "recordings/watched_recording.hpp"

namespace kxrecordings {
namespace {

[[noreturn]] void fail() {
  throw FileError(standardInputName, std::string("cannot be read: ") + std::strerror(errno));
}

/// A file without a name, which goes with the program.
int unnamedFile() {
  std::string name = (std::filesystem::temp_directory_path() / ".kxhost-XXXXXX").string();
  const SignalsHeld held;
  const int file = mkstemp(name.data());
  if (file < 0) {
    fail();
  }
  unlink(name.c_str());
  return file;
}

/// Copies standard input to its end. Returns how it begins.
std::string copyTo(int file) {
  constexpr size_t pieceBytes = 1 << 16;
  std::string beginning;
  std::array<char, pieceBytes> piece;
  while (true) {
    const ssize_t got = ::read(STDIN_FILENO, piece.data(), piece.size());
    if (got == 0) {
      return beginning;
    }
    if (got < 0 && errno != EINTR) {
      fail();
    }
    for (ssize_t done = 0; done < got;) {
      const ssize_t written = ::write(file, piece.data() + done, static_cast<size_t>(got - done));
      if (written < 0 && errno != EINTR) {
        fail();
      }
      done += std::max<ssize_t>(written, 0);
    }
    if (got > 0 && beginning.size() < pieceBytes) {
      beginning.append(piece.data(), static_cast<size_t>(got));
    }
  }
}

/// Audio files have zeros among their first bytes. So has text in two bytes a character, behind its mark.
bool isText(std::string_view beginning) {
  constexpr size_t looked = 4096;
  return beginning.starts_with("\xFF\xFE") || beginning.starts_with("\xFE\xFF") ||
         beginning.substr(0, looked).find('\0') == std::string_view::npos;
}

}  // namespace

std::unique_ptr<Recording> openStandardInput(const InputOptions& options) {
  static bool isRead = false;
  if (std::exchange(isRead, true)) {
    throw FileError(standardInputName, "can be read once only");
  }
  const int file = unnamedFile();  // stays open as long as the program runs
  const std::string beginning = copyTo(file);
  if (beginning.empty()) {
    throw FileError(standardInputName, "is empty");
  }
  const auto open = options.raw ? openRaw : isText(beginning) ? openCsv : openAudio;
  if ((!options.columns.empty() || !options.columnNumbers.empty()) && open != openCsv) {
    throw FileError(standardInputName, "has no named columns: --column and --columns are for text files");
  }
  return openShown("/dev/fd/" + std::to_string(file), standardInputName, options, open);
}

}  // namespace kxrecordings
