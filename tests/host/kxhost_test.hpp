// Runs kxhost as a subprocess on files that the tests write themselves.
#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kxhost_test {

struct Outcome {
  int code;
  std::string out;
  std::string err;
};

/// A test with a temporary directory of its own.
class KxhostTest : public testing::Test {
protected:
  KxhostTest();
  ~KxhostTest() override;

  /// Path of a file in the temporary directory.
  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  /// Runs `kxhost` with these arguments, with --force, too, where they name an output.
  /// @param environment  assignments that precede the command, as the shell takes them.
  Outcome run(const std::vector<std::string>& arguments, const std::string& environment = "") const;

  /// Runs `kxhost stats --json` with these arguments, expects success and returns the files' results.
  nlohmann::json stats(const std::vector<std::string>& arguments) const;

  /// Expects exit code 1, nothing on standard output and one line on standard error: the file's name and what is wrong.
  void expectRefused(const std::vector<std::string>& arguments, const std::string& file, const std::string& reason,
                     const std::string& environment = "") const;

  /// Expects exit code 1, figures on standard output all the same, and one line on standard error: the output's name and
  /// why it is not there.
  void expectUndrawn(const std::vector<std::string>& arguments, const std::string& output, const std::string& reason,
                     const std::string& environment = "") const;

  /// Expects exit code 2, nothing on standard output and one line on standard error that holds `reason`.
  void expectMisuse(const std::vector<std::string>& arguments, const std::string& reason) const;

  /// Writes an audio file of interleaved samples through libsndfile and returns its path.
  template <class T>
  std::string writeAudio(const std::string& name, int format, int channels, const std::vector<T>& samples,
                         int rate = 48000) const;

  /// Writes a file of these bytes and returns its path.
  std::string writeText(const std::string& name, const std::string& text) const;
  template <class T>
  std::string writeRaw(const std::string& name, const std::vector<T>& samples) const {
    return writeText(name, {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(T)});
  }

  /// Copies a file without its last bytes and returns the copy's path.
  std::string cut(const std::string& file, const std::string& name, uintmax_t bytes) const;

  std::string read(const std::string& file) const;

  /// Names of the files in the temporary directory, sorted.
  std::vector<std::string> filesPresent() const;

  bool forces_ = true;  ///< tests write the same files over and over

private:
  std::filesystem::path folder_;
};

/// A full-scale test signal: deterministic noise.
std::vector<int32_t> noise(size_t count, int bits);

template <class To>
std::vector<To> as(const std::vector<int32_t>& samples, double factor = 1) {
  std::vector<To> result;
  result.reserve(samples.size());
  for (const int32_t sample : samples) {
    result.push_back(static_cast<To>(static_cast<double>(sample) * factor));
  }
  return result;
}

}  // namespace kxhost_test
