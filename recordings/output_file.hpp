#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kxrecordings {

class Draft;

/// A file in the making. It takes its place only when it is complete: until then, and when anything fails, whatever
/// stood there stays as it was. Links are followed. "-" is standard output, which gets the file when that is complete.
class OutputFile {
public:
  /// Throws FileError if nothing can be written there, or if the run (see below) forbids it.
  explicit OutputFile(const std::string& file);

  /// For people to read.
  const std::string& name() const;

  /// A directory of its own beside the file, for whatever is needed on the way. What lies there is called as Workplace
  /// has it.
  const std::filesystem::path& workplace() const;

  /// Where to write what is to become the file. An absolute path.
  std::filesystem::path draft() const;

  /// Throws FileError if the file's folder has no room for so many bytes.
  void requireRoom(uint64_t bytes) const;

  /// Puts the finished draft in place: at once, or, where there is a run, when all of its outputs are.
  void place() const;

private:
  std::shared_ptr<Draft> draft_;
};

/// What one run of a program reads and writes, as long as this lives, of which there is one at most. Its outputs appear
/// together or not at all, and none takes the place of an input.
class OutputRun {
public:
  /// What is asked before a file that exists becomes an output; throws if it is to stay.
  using Permission = std::function<void(const std::string& file)>;

  explicit OutputRun(Permission permission);
  ~OutputRun();
  OutputRun(const OutputRun&) = delete;
  OutputRun& operator=(const OutputRun&) = delete;

  /// Puts the finished drafts in place, all or none.
  void place();

private:
  friend class Draft;
  friend class OutputFile;
  friend void noteInput(const std::string& file);

  Permission permission_;
  std::vector<std::filesystem::path> inputs_;
  std::vector<std::weak_ptr<Draft>> begun_;
  std::vector<std::shared_ptr<Draft>> finished_;
};

/// Puts what the run has finished so far in place; nothing without one.
void placeOutputs();

/// Tells the run, if there is one, of a file that is read.
void noteInput(const std::string& file);

}  // namespace kxrecordings
