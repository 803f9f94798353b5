#pragma once

#include <filesystem>
#include <string>

namespace kxrecordings {

/// A file in the making. It takes its place only when it is complete: until then, and when anything fails, whatever
/// stood there stays as it was.
class OutputFile {
public:
  /// Throws FileError if nothing can be written there.
  explicit OutputFile(std::string file);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::string& name() const { return file_; }

  /// A directory of its own beside the file, for whatever is needed on the way.
  const std::filesystem::path& workplace() const { return workplace_; }

  /// Where to write what is to become the file.
  std::filesystem::path draft() const { return workplace_ / "draft"; }

  /// Puts the finished draft in place.
  void place() const;

private:
  std::string file_;
  std::filesystem::path workplace_;
};

}  // namespace kxrecordings
