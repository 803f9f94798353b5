// Files of the tests' own, and what reading them gives.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "recordings/recording.hpp"

namespace kxrecordings_test {

using namespace kxrecordings;

/// A test with a folder of its own.
class FilesTest : public testing::Test {
protected:
  FilesTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kxrecordings-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~FilesTest() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }

  std::string read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  size_t filesPresent() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder_), {}));
  }

  /// What is wrong, without the file's name in front; empty if nothing is.
  template <class Action>
  static std::string problemOf(const std::string& file, Action action) {
    try {
      action();
    } catch (const FileError& error) {
      const std::string what = error.what();
      EXPECT_TRUE(what.starts_with(file + ": ")) << what;
      return what.substr(file.size() + 2);
    }
    return "";
  }

  std::string problem(const std::string& file, const InputOptions& options = {}) const {
    return problemOf(file, [&] {
      const auto recording = openRecording(file, options);
      visitSampleType(recording->format().type, [&]<class T>() { samplesOf<T>(*recording, 7); });
    });
  }

  /// All samples, read some frames at a time.
  template <class T>
  static std::vector<T> samplesOf(Recording& recording, size_t frames) {
    std::vector<T> all, block(frames * recording.format().channels.size());
    for (size_t count = frames; count == frames;) {
      count = recording.read(std::span(block));
      all.insert(all.end(), block.begin(),
                 block.begin() + static_cast<std::ptrdiff_t>(count * recording.format().channels.size()));
    }
    return all;
  }

private:
  std::filesystem::path folder_;
};

using Names = std::vector<std::string>;
using Doubles = std::vector<double>;

}  // namespace kxrecordings_test
