#include "recordings/output_file.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

#include "recordings/clean_end.hpp"
#include "recordings/recording.hpp"

namespace kxrecordings {
namespace {

namespace fs = std::filesystem;

OutputRun* currentRun = nullptr;

/// Where a path leads: the end of a chain of links, which need not exist.
fs::path followed(const std::string& file) {
  constexpr int mostLinks = 40;  // of Linux
  std::error_code none;
  fs::path path = fs::absolute(file);
  for (int i = 0; i < mostLinks && fs::is_symlink(path, none); ++i) {
    path = path.parent_path() / fs::read_symlink(path, none);
  }
  return path;
}

/// The same by its folder's own path, so that two names of one file are seen to be the same.
fs::path inItsFolder(const fs::path& path) {
  std::error_code error;
  const fs::path folder = fs::canonical(path.parent_path(), error);
  return error ? path : folder / path.filename();
}

bool isSameFile(const fs::path& one, const fs::path& other) {
  std::error_code none;
  return fs::equivalent(one, other, none) && !none;
}

FileError unwritable(const std::string& file, const std::string& reason) {
  return {file, "cannot be written: " + reason};
}

std::string bytesText(uint64_t bytes) {
  constexpr double thousand = 1000;
  constexpr std::array units{"bytes", "kB", "MB", "GB", "TB", "PB", "EB"};
  auto number = static_cast<double>(bytes);
  size_t unit = 0;
  for (; number >= thousand && unit + 1 < units.size(); ++unit) {
    number /= thousand;
  }
  return fmt::format("{:.3g} {}", number, units.at(unit));
}

}  // namespace

/// What an OutputFile writes to, which a run keeps until all outputs are complete.
class Draft {
public:
  explicit Draft(const std::string& file)
      : isStandardOutput_(file == "-"), name_(isStandardOutput_ ? "standard output" : file) {
    if (!isStandardOutput_) {
      target_ = inItsFolder(followed(file));
      requireWritable();
    }
    try {
      workplace_.emplace(isStandardOutput_ ? fs::temp_directory_path() : target_.parent_path());
    } catch (const std::system_error& error) {
      throw unwritable(name_, error.code().message());
    }
  }

  bool isStandardOutput() const { return isStandardOutput_; }
  const std::string& name() const { return name_; }
  const fs::path& target() const { return target_; }
  const fs::path& workplace() const { return workplace_->path(); }
  fs::path file() const { return workplace() / Workplace::draft; }

  /// While it was made, more may have become known of what the run reads.
  void requireNoInput() const {
    for (const fs::path& input : currentRun != nullptr ? currentRun->inputs_ : std::vector<fs::path>()) {
      if (!isStandardOutput_ && isSameFile(input, target_)) {
        throw unwritable(name_, "it is an input, too");
      }
    }
  }

  void copyToStandardOutput() const {
    std::ifstream in(file(), std::ios::binary);
    constexpr size_t pieceBytes = 1 << 16;
    std::vector<char> piece(pieceBytes);
    while (in.read(piece.data(), pieceBytes), in.gcount() > 0) {
      for (std::streamsize done = 0; done < in.gcount();) {
        const ssize_t written = ::write(STDOUT_FILENO, piece.data() + done, static_cast<size_t>(in.gcount() - done));
        if (written < 0 && errno != EINTR) {
          throw unwritable(name_, std::strerror(errno));
        }
        done += std::max<ssize_t>(written, 0);
      }
    }
  }

  /// What stood there is kept until the run's outputs all are in place.
  void place() {
    std::error_code error;
    if (replaces_) {
      fs::permissions(file(), fs::status(target_, error).permissions(), error);
      fs::create_hard_link(target_, former(), error);
      if (error) {  // a file system without them
        fs::rename(target_, former(), error);
      }
      fs::rename(file(), target_, error);
    } else {
      fs::create_hard_link(file(), target_, error);  // unlike renaming, it never replaces
      if (error && error != std::errc::file_exists) {
        fs::rename(file(), target_, error);
      }
    }
    if (error) {
      takeBack();
      throw unwritable(name_, error.message());
    }
    isPlaced_ = true;
  }

  void takeBack() {
    std::error_code ignored;
    if (replaces_) {
      fs::rename(former(), target_, ignored);
    } else if (isPlaced_) {
      fs::remove(target_, ignored);
    }
    isPlaced_ = false;
  }

private:
  fs::path former() const { return workplace() / Workplace::former; }

  void requireWritable() {
    std::error_code none;
    const auto status = fs::status(target_, none);
    if (fs::is_directory(status)) {
      throw FileError(name_, "is a directory");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
      throw unwritable(name_, "it is not a regular file, and only those can be replaced");
    }
    replaces_ = fs::exists(status);
    if (currentRun == nullptr) {
      return;
    }
    requireNoInput();
    std::erase_if(currentRun->begun_, [](const auto& other) { return other.expired(); });
    for (const auto& other : currentRun->begun_) {
      const auto draft = other.lock();
      if (draft && draft->target_ == target_) {
        throw unwritable(name_, "another output of this run goes there, too");
      }
    }
    if (replaces_) {
      currentRun->permission_(name_);
    }
  }

  bool isStandardOutput_;
  bool replaces_ = false;
  bool isPlaced_ = false;
  std::string name_;
  fs::path target_;
  std::optional<Workplace> workplace_;
};

namespace {

void placeAll(const std::vector<std::shared_ptr<Draft>>& drafts) {
  for (const auto& draft : drafts) {
    draft->requireNoInput();
  }
  for (const auto& draft : drafts) {  // first: a pipe may break, and what was written to it cannot be taken back
    if (draft->isStandardOutput()) {
      draft->copyToStandardOutput();
    }
  }
  const SignalsHeld held;
  std::vector<Draft*> placed;
  placed.reserve(drafts.size());
  try {
    for (const auto& draft : drafts) {
      if (!draft->isStandardOutput()) {
        draft->place();
        placed.push_back(draft.get());
      }
    }
  } catch (...) {
    std::for_each(placed.rbegin(), placed.rend(), [](Draft* draft) { draft->takeBack(); });
    throw;
  }
}

}  // namespace

OutputFile::OutputFile(const std::string& file) : draft_(std::make_shared<Draft>(file)) {
  if (currentRun != nullptr) {
    currentRun->begun_.push_back(draft_);
  }
}

const std::string& OutputFile::name() const {
  return draft_->name();
}

const fs::path& OutputFile::workplace() const {
  return draft_->workplace();
}

fs::path OutputFile::draft() const {
  return draft_->file();
}

void OutputFile::requireRoom(uint64_t bytes) const {
  std::error_code error;
  const fs::space_info space = fs::space(workplace(), error);
  if (!error && space.available < bytes) {
    throw unwritable(
        name(), fmt::format("it takes {}, and its folder has {} left", bytesText(bytes), bytesText(space.available)));
  }
}

void OutputFile::place() const {
  if (currentRun != nullptr) {
    currentRun->finished_.push_back(draft_);
  } else {
    placeAll({draft_});
  }
}

OutputRun::OutputRun(Permission permission) : permission_(std::move(permission)) {
  currentRun = this;
}

OutputRun::~OutputRun() {
  currentRun = nullptr;
}

void OutputRun::place() {
  const auto drafts = std::exchange(finished_, {});
  placeAll(drafts);
}

void placeOutputs() {
  if (currentRun != nullptr) {
    currentRun->place();
  }
}

void noteInput(const std::string& file) {
  if (currentRun != nullptr) {
    currentRun->inputs_.emplace_back(file);
  }
}

}  // namespace kxrecordings
