#include "host/kxhost_test.hpp"

#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <type_traits>

namespace kxhost_test {
namespace {

std::string shellQuoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) {
    result += c == '\'' ? "'\\''" : std::string(1, c);
  }
  return result + '\'';
}

void expectOneLine(const std::string& text) {
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  EXPECT_TRUE(text.starts_with("kxhost: ") && text.ends_with('\n')) << text;
}

}  // namespace

KxhostTest::KxhostTest() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kxhost-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no temporary directory");
  }
  folder_ = pattern;
}

KxhostTest::~KxhostTest() {
  std::filesystem::remove_all(folder_);
}

Outcome KxhostTest::run(const std::vector<std::string>& arguments, const std::string& environment) const {
  // Beside the temporary directory, so that tests can look at what is in there.
  const std::string out = folder_.string() + ".out", err = folder_.string() + ".err";
  std::string command = environment + " " + shellQuoted(KXHOST_PROGRAM);
  for (const std::string& argument : arguments) {
    command += ' ' + shellQuoted(argument);
  }
  const bool writes = std::ranges::any_of(arguments, [](const std::string& argument) {
    return argument == "-o" || argument == "--output" || argument == "--plot";
  });
  command += forces_ && writes ? " --force" : "";
  const int status = std::system((command + " >" + shellQuoted(out) + " 2>" + shellQuoted(err)).c_str());
  Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(out), read(err)};
  std::filesystem::remove(out);
  std::filesystem::remove(err);
  return outcome;
}

nlohmann::json KxhostTest::stats(const std::vector<std::string>& arguments) const {
  std::vector<std::string> all{"stats", "--json"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const Outcome outcome = run(all);
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  return nlohmann::json::parse(outcome.out).at("files");
}

void KxhostTest::expectRefused(const std::vector<std::string>& arguments, const std::string& file,
                               const std::string& reason, const std::string& environment) const {
  const Outcome outcome = run(arguments, environment);
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.out, "");
  expectOneLine(outcome.err);
  EXPECT_TRUE(outcome.err.starts_with("kxhost: " + file + ": ")) << outcome.err;
  EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
}

void KxhostTest::expectUndrawn(const std::vector<std::string>& arguments, const std::string& output,
                               const std::string& reason, const std::string& environment) const {
  const Outcome outcome = run(arguments, environment);
  EXPECT_EQ(outcome.code, 1);
  EXPECT_NE(outcome.out, "");
  expectOneLine(outcome.err);
  EXPECT_TRUE(outcome.err.starts_with("kxhost: " + output + ": ")) << outcome.err;
  EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
}

void KxhostTest::expectMisuse(const std::vector<std::string>& arguments, const std::string& reason) const {
  const Outcome outcome = run(arguments);
  EXPECT_EQ(outcome.code, 2);
  EXPECT_EQ(outcome.out, "");
  expectOneLine(outcome.err);
  EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
}

template <class T>
std::string KxhostTest::writeAudio(const std::string& name, int format, int channels, const std::vector<T>& samples,
                                   int rate) const {
  SF_INFO info{};
  info.format = format;
  info.channels = channels;
  info.samplerate = rate;
  SNDFILE* const file = sf_open(path(name).c_str(), SFM_WRITE, &info);
  EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
  const auto count = static_cast<sf_count_t>(samples.size());
  sf_count_t written = 0;
  if constexpr (std::is_same_v<T, int16_t>) {
    written = sf_write_short(file, samples.data(), count);
  } else if constexpr (std::is_same_v<T, int32_t>) {
    written = sf_write_int(file, samples.data(), count);
  } else if constexpr (std::is_same_v<T, float>) {
    written = sf_write_float(file, samples.data(), count);
  } else {
    written = sf_write_double(file, samples.data(), count);
  }
  EXPECT_EQ(written, count);
  EXPECT_EQ(sf_close(file), 0);
  return path(name);
}

template std::string KxhostTest::writeAudio(const std::string&, int, int, const std::vector<int16_t>&, int) const;
template std::string KxhostTest::writeAudio(const std::string&, int, int, const std::vector<int32_t>&, int) const;
template std::string KxhostTest::writeAudio(const std::string&, int, int, const std::vector<float>&, int) const;
template std::string KxhostTest::writeAudio(const std::string&, int, int, const std::vector<double>&, int) const;

std::string KxhostTest::writeText(const std::string& name, const std::string& text) const {
  std::ofstream file(path(name), std::ios::binary);
  file << text;
  EXPECT_TRUE(file.flush());
  return path(name);
}

std::string KxhostTest::cut(const std::string& file, const std::string& name, uintmax_t bytes) const {
  std::filesystem::copy_file(file, path(name));
  std::filesystem::resize_file(path(name), std::filesystem::file_size(file) - bytes);
  return path(name);
}

std::string KxhostTest::read(const std::string& file) const {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

std::vector<std::string> KxhostTest::filesPresent() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<int32_t> noise(size_t count, int bits) {
  std::mt19937 random(20);  // the same every time
  std::vector<int32_t> samples(count);
  for (int32_t& sample : samples) {
    sample = static_cast<int32_t>(random()) >> (32 - bits);
  }
  return samples;
}

}  // namespace kxhost_test
