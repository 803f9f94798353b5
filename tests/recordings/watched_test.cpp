// Values that are no finite numbers, and truncated files: noted or refused.
#include <cmath>
#include <limits>

#include "recordings/audio_output.hpp"
#include "recordings/files.hpp"

namespace kxrecordings_test {
namespace {

class WatchedTest : public FilesTest {
protected:
  static std::vector<std::string> notesOf(const std::string& file, size_t frames, int passes = 1,
                                          const InputOptions& options = {}) {
    const auto recording = openRecording(file, options);
    for (int pass = 0; pass < passes; ++pass) {
      visitSampleType(recording->format().type, [&]<class T>() { samplesOf<T>(*recording, frames); });
      recording->rewind();
    }
    return recording->notes();
  }

  static InputOptions strict() {
    InputOptions options;
    options.strict = true;
    return options;
  }

  static InputOptions finite() {
    InputOptions options;
    options.requiresFinite = true;
    return options;
  }
};

TEST_F(WatchedTest, ValuesThatAreNoFiniteNumbersAreNotedByLineAndChannel) {
  const std::string file = write("a.csv", "a,b\n1,2\n\n3,nan\n-inf,5\n6,inf\n");
  for (const size_t frames : {1U, 2U, 3U, 9U}) {
    EXPECT_EQ(notesOf(file, frames, 2), (Names{"1 sample of channel b is missing and taken as NaN, in line 4",
                                               "line 5, channel a: not a finite number, as 1 of its values",
                                               "line 6, channel b: not a finite number, as 1 of its values"}));
  }
  EXPECT_EQ(problem(file, finite()), "line 4, channel b: nan is not a finite number");
  EXPECT_EQ(problem(file, strict()), "line 4, channel b: nan is not a finite number");
  InputOptions one = finite();
  one.finiteChannel = 1;
  EXPECT_EQ(problem(file, one), "line 5, channel a: -inf is not a finite number");
  one.strict = true;
  EXPECT_EQ(problem(file, one), "line 4, channel b: nan is not a finite number");
  EXPECT_EQ(notesOf(write("b.csv", "a,b\n1,2\n"), 9), Names{});
}

TEST_F(WatchedTest, WhereThereAreNoLinesSamplesAreCounted) {
  std::vector<float> samples(200, 1);
  samples[2 * 60 + 1] = std::numeric_limits<float>::infinity();
  AudioOutput output(path("a.wav"), 2, 1000);
  output.write(samples);
  output.finish();
  for (const size_t frames : {7U, 61U, 1000U}) {
    EXPECT_EQ(notesOf(path("a.wav"), frames, 3),
              Names{"sample 60 (0.06 s), channel 2: not a finite number, as 1 of its values"});
  }
  EXPECT_EQ(problem(path("a.wav"), finite()), "sample 60 (0.06 s), channel 2: inf is not a finite number");
  const double nan = std::nan("");
  InputOptions raw = finite();
  raw.raw = "double";
  raw.channels = 1;
  EXPECT_EQ(problem(write("a.bin", {reinterpret_cast<const char*>(&nan), sizeof nan}), raw),
            "sample 0, channel 1: nan is not a finite number");
}

TEST_F(WatchedTest, ATruncatedFileIsReadToItsEnd) {
  AudioOutput output(path("a.wav"), 1, 1000);
  output.write(std::vector<float>(100, 0.5F));
  output.finish();
  const std::string whole = read("a.wav"), file = write("cut.wav", whole.substr(0, whole.size() - 42));
  const std::string how = "is truncated: its header announces " + std::to_string(whole.size()) + " bytes, there are " +
                          std::to_string(whole.size() - 42);
  EXPECT_EQ(notesOf(file, 7, 2), Names{how});
  EXPECT_EQ(problem(file, strict()), how);
  EXPECT_EQ(samplesOf<float>(*openRecording(file, {}), 7), std::vector<float>(89, 0.5F));
  EXPECT_EQ(*openRecording(file, {})->frames(), 89U);
}

}  // namespace
}  // namespace kxrecordings_test
