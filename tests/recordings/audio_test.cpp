#include <sys/resource.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <sstream>

#include "recordings/audio_output.hpp"
#include "recordings/files.hpp"
#include "recordings/promised_size.hpp"

namespace kxrecordings_test {
namespace {

/// A number's bytes.
std::string bytesOf(uint64_t number, size_t count, bool bigEndian) {
  std::string bytes;
  for (size_t i = 0; i < count; ++i) {
    bytes += static_cast<char>(number >> 8 * (bigEndian ? count - 1 - i : i));
  }
  return bytes;
}

std::optional<uint64_t> promiseOf(const std::string& bytes) {
  std::istringstream stream(bytes);
  return promisedSize(stream);
}

TEST(PromisedSize, ChunksAreFollowedToTheData) {
  for (const auto& [magic, data, big] : std::to_array<std::tuple<std::string, std::string, bool>>(
           {{"RIFF", "data", false}, {"RIFX", "data", true}, {"FORM", "SSND", true}})) {
    const auto size = [&, isBig = big](uint64_t number) { return bytesOf(number, 4, isBig); };
    const std::string head = magic + "xxxxyyyy";
    EXPECT_EQ(promiseOf(head + data + size(1000)), 12 + 8 + 1000);
    EXPECT_EQ(promiseOf(head + "fmt " + size(16) + std::string(16, 'x') + data + size(77)), 12 + 8 + 16 + 8 + 77);
    EXPECT_EQ(promiseOf(head + "fmt " + size(3) + "xxx." + data + size(77)), 12 + 8 + 4 + 8 + 77);
    EXPECT_EQ(promiseOf(head + "fmt " + size(5) + "xxxxx." + data + size(77)), 12 + 8 + 6 + 8 + 77);
    EXPECT_EQ(promiseOf(head + data + size(0xFFFFFFFF)), std::nullopt);
    EXPECT_EQ(promiseOf(head + data + size(0xFFFFFFFE)), 20 + 0xFFFFFFFEULL);
    EXPECT_EQ(promiseOf(head + "fmt " + size(3) + "xxx."), std::nullopt);
    EXPECT_EQ(promiseOf(head), std::nullopt);
  }
}

TEST(PromisedSize, LongFilesHaveLongSizes) {
  const std::string sizes = "ds64" + bytesOf(28, 4, false) + bytesOf(1, 8, false) + bytesOf(123456789012, 8, false) +
                            bytesOf(5, 8, false) + bytesOf(0, 4, false);
  const std::string head = "RF64xxxxWAVE" + sizes;
  EXPECT_EQ(promiseOf(head + "data" + bytesOf(0xFFFFFFFF, 4, false)), head.size() + 8 + 123456789012);
  EXPECT_EQ(promiseOf(head + "data" + bytesOf(50, 4, false)), head.size() + 8 + 50);
  const std::string name(12, 'n');
  const auto chunk = [&](const std::string& kind, uint64_t size) { return kind + name + bytesOf(size, 8, false); };
  const std::string wave64 = "riff" + std::string(36, 'x');
  EXPECT_EQ(promiseOf(wave64 + chunk("data", 1000)), 1040);
  EXPECT_EQ(promiseOf(wave64 + chunk("fmt ", 27) + std::string(8, 'x') + chunk("data", 100)), 40 + 32 + 100);
  EXPECT_EQ(promiseOf(wave64 + chunk("data", 24)), 64);
  EXPECT_EQ(promiseOf(wave64 + chunk("data", 23)), std::nullopt);
  EXPECT_EQ(promiseOf(wave64 + chunk("data", UINT64_MAX)), std::nullopt);
  const std::string core = "caffxxxx";
  EXPECT_EQ(promiseOf(core + "desc" + bytesOf(3, 8, true) + "xxx" + "data" + bytesOf(90, 8, true)), 8 + 15 + 12 + 90);
  EXPECT_EQ(promiseOf(core + "data" + bytesOf(UINT64_MAX, 8, true)), std::nullopt);
}

TEST(PromisedSize, FixedFieldsAndOtherFiles) {
  EXPECT_EQ(promiseOf(".snd" + bytesOf(32, 4, true) + bytesOf(1000, 4, true)), 1032);
  EXPECT_EQ(promiseOf(".snd" + bytesOf(32, 4, true) + bytesOf(0xFFFFFFFF, 4, true)), std::nullopt);
  EXPECT_EQ(promiseOf(".snd" + bytesOf(32, 4, true)), std::nullopt);
  EXPECT_EQ(promiseOf("OggS" + std::string(100, 'x')), std::nullopt);
  EXPECT_EQ(promiseOf(""), std::nullopt);
}

class AudioTest : public FilesTest {
protected:
  InputOptions raw(const std::string& type, int channels) const {
    InputOptions options;
    options.raw = type;
    options.channels = channels;
    return options;
  }

  /// A WAV file of integers.
  std::string wave(size_t bytesASample, const std::string& data, size_t channels = 1) const {
    const auto number = [](uint64_t value, size_t bytes) { return bytesOf(value, bytes, false); };
    return write("a.wav", "RIFF" + number(36 + data.size(), 4) + "WAVEfmt " + number(16, 4) + number(1, 2) +
                              number(channels, 2) + number(8000, 4) + number(8000 * channels * bytesASample, 4) +
                              number(channels * bytesASample, 2) + number(8 * bytesASample, 2) + "data" +
                              number(data.size(), 4) + data);
  }
};

TEST_F(AudioTest, WhatIsWrittenIsReadAgain) {
  std::vector<float> samples(2 * 5003);
  for (size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<float>(i % 997) / 997 - 0.5F;
  }
  AudioOutput output(path("a.wav"), 2, 44100);
  output.write(std::span(samples).first(2000));
  output.write(std::span(samples).subspan(2000));
  EXPECT_EQ(output.frames(), 5003U);
  EXPECT_FALSE(std::filesystem::exists(path("a.wav")));
  output.finish();
  EXPECT_EQ(read("a.wav").substr(0, 4), "RIFF");
  const auto recording = openRecording(path("a.wav"), {});
  EXPECT_EQ(recording->format().container, "wav");
  EXPECT_EQ(recording->format().samples, "float");
  EXPECT_EQ(recording->format().type, SampleType::float32);
  EXPECT_EQ(recording->format().unit, "full scale = 1");
  EXPECT_EQ(recording->format().fullScale, 1);
  EXPECT_EQ(recording->format().channels, (Names{"1", "2"}));
  EXPECT_EQ(*recording->format().rate, 44100);
  for (const size_t frames : {1000U, 5003U, 6000U}) {
    EXPECT_EQ(recording->position(), 0);
    EXPECT_EQ(samplesOf<float>(*recording, frames), samples);
    EXPECT_EQ(recording->position(), 1);
    recording->rewind();
  }
  InputOptions options;
  options.rate = 7;
  EXPECT_EQ(*openRecording(path("a.wav"), options)->format().rate, 7);
  const std::string cut = write("cut.wav", read("a.wav").substr(0, read("a.wav").size() - 1));
  options.strict = true;
  EXPECT_TRUE(problem(cut, options).starts_with("is truncated: its header announces"));
}

TEST_F(AudioTest, IntegersAreReadInStepsOfTheFile) {
  const auto expect = [&](size_t bytes, const std::string& data, const std::string& name, double fullScale) {
    auto recording = openRecording(wave(bytes, data), {});
    EXPECT_EQ(recording->format().samples, name);
    EXPECT_EQ(recording->format().fullScale, fullScale);
    EXPECT_EQ(recording->format().unit, "steps");
    return recording;
  };
  EXPECT_EQ(samplesOf<int16_t>(*expect(1, std::string("\x80\x00\xff\x81", 4), "uint8", 128), 3),
            (std::vector<int16_t>{0, -128, 127, 1}));
  EXPECT_EQ(samplesOf<int16_t>(*expect(2, std::string("\x01\x80\xff\x7f", 4), "int16", 32768), 3),
            (std::vector<int16_t>{-32767, 32767}));
  EXPECT_EQ(samplesOf<int32_t>(*expect(3, std::string("\x01\x00\x80\xff\xff\x7f", 6), "int24", 8388608), 3),
            (std::vector<int32_t>{-8388607, 8388607}));
  EXPECT_EQ(samplesOf<int32_t>(*expect(4, std::string("\x01\x00\x00\x80", 4), "int32", 2147483648), 3),
            (std::vector<int32_t>{-2147483647}));
  const auto stereo = openRecording(wave(3, std::string("\1\0\0\2\0\0\3\0\0\4\0\0", 12), 2), {});
  EXPECT_EQ(stereo->format().channels.size(), 2U);
  EXPECT_EQ(samplesOf<int32_t>(*stereo, 3), (std::vector<int32_t>{1, 2, 3, 4}));
}

TEST_F(AudioTest, ASlowRecordingHasItsRate) {
  std::string bytes = read(std::filesystem::path(wave(2, "ab")).filename().string());
  bytes.replace(24, 4, bytesOf(1, 4, false));
  EXPECT_EQ(*openRecording(write("slow.wav", bytes), {})->format().rate, 1);
}

TEST_F(AudioTest, ARecordingOfOneSampleIsNotReadBefore) {
  const auto recording = openRecording(wave(2, "ab"), {});
  EXPECT_EQ(recording->position(), 0);
  EXPECT_EQ(samplesOf<int16_t>(*recording, 3).size(), 1U);
  EXPECT_EQ(recording->position(), 1);
}

TEST_F(AudioTest, RawSamplesAreTakenAsTheyAre) {
  const std::vector<double> doubles{1e300, -2, 3, 4};
  const std::string file = write("a.bin", {reinterpret_cast<const char*>(doubles.data()), 32});
  const auto recording = openRecording(file, raw("double", 2));
  EXPECT_EQ(recording->format().container, "raw");
  EXPECT_EQ(recording->format().type, SampleType::float64);
  EXPECT_FALSE(recording->format().rate);
  EXPECT_EQ(samplesOf<double>(*recording, 1), doubles);
  EXPECT_EQ(samplesOf<float>(*openRecording(file, raw("float", 1)), 9).size(), 8U);
  EXPECT_EQ(samplesOf<int32_t>(*openRecording(file, raw("int32", 1)), 9).size(), 8U);
  EXPECT_EQ(samplesOf<int16_t>(*openRecording(file, raw("int16", 1)), 9).size(), 16U);
  const auto strictly = [](InputOptions options) {
    options.strict = true;
    return options;
  };
  EXPECT_EQ(problem(file, strictly(raw("int16", 3))),
            "is truncated or of another shape: 32 bytes are not a multiple of the frame's 6");
  EXPECT_EQ(problem(file, strictly(raw("double", 3))),
            "is truncated or of another shape: 32 bytes are not a multiple of the frame's 24");
  EXPECT_EQ(problem(file, strictly(raw("float", 3))),
            "is truncated or of another shape: 32 bytes are not a multiple of the frame's 12");
  EXPECT_EQ(problem(file, raw("int16", 0)), "the number of channels must be 1 to 1024");
  EXPECT_EQ(problem(file, raw("int16", 1025)), "the number of channels must be 1 to 1024");
  EXPECT_EQ(openRecording(file, raw("float", 3))->notes(),
            Names{"is truncated or of another shape: 32 bytes are not a multiple of the frame's 12"});
  EXPECT_EQ(samplesOf<float>(*openRecording(file, raw("float", 3)), 9).size(), 6U);
  const std::string wide = write("wide.bin", std::string(2048, '\0'));
  EXPECT_EQ(problem(wide, raw("int16", 1024)), "");
}

TEST_F(AudioTest, FilesThatCannotBeReadAreNamed) {
  EXPECT_EQ(problem(path("none.wav")), "no such file");
  EXPECT_EQ(problem(path("")), "is a directory");
  EXPECT_EQ(problem("/dev/null"), "is not a regular file, and only those can be read more than once");
  EXPECT_TRUE(problem(write("letter.wav", "Dear Sir")).starts_with("is not a recording that can be read: "));
  const std::string none = wave(2, "ab");
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit no{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &no);
  EXPECT_EQ(problem(none), "Too many open files");
  setrlimit(RLIMIT_NOFILE, &before);
  InputOptions options;
  options.columns = {"a"};
  EXPECT_EQ(problem(wave(2, "abcd"), options), "has no named columns: --column and --columns are for text files");
  options = {};
  options.rate = 0.5;
  EXPECT_EQ(problem(path("a.wav"), options), "");
  for (const double rate : {0.0, -1.0, static_cast<double>(INFINITY)}) {
    options.rate = rate;
    EXPECT_EQ(problem(path("a.wav"), options), "the sample rate must be above 0");
  }
  const auto recording = openRecording(path("a.wav"), {});
  samplesOf<int16_t>(*recording, 1);
  wave(1, "abcd");
  EXPECT_EQ(problemOf(path("a.wav"), [&] { recording->rewind(); }), "changed while it was read");
}

}  // namespace
}  // namespace kxrecordings_test
