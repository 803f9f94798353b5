// Writes what the fuzzer of a reader begins with into a folder.
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "support/comtrade_take.hpp"
#include "support/hostile_texts.hpp"

namespace {

void write(const std::string& folder, const std::string& name, const std::string& bytes) {
  std::ofstream(folder + "/seed-" + name, std::ios::binary) << bytes;
}

void writeComtrade(const std::string& folder) {
  for (const int edition : {1991, 1999, 2013}) {
    for (const std::string type : {"ASCII", "BINARY", "BINARY32", "FLOAT32"}) {
      support::ComtradeTake take;
      take.edition = edition;
      take.type = type;
      const std::string name = type + std::to_string(edition);
      write(folder, name + "-two", '\1' + take.configuration() + '\f' + take.data());
      write(folder, name + "-one", '\0' + take.single());
      take.rates = {{"1000", 1}, {"500", 3}};
      write(folder, name + "-segments", '\x23' + take.configuration() + '\f' + take.data());
      take.rates = {{"0", 3}};
      take.hasRates = false;
      write(folder, name + "-stamps", '\0' + take.configuration() + '\f' + take.data());
    }
  }
}

void writeTexts(const std::string& folder) {
  for (size_t i = 0; i < support::hostileTexts.size(); ++i) {
    write(folder, std::to_string(i), '\0' + std::string(support::hostileTexts[i]));
  }
}

/// 32 frames of two channels in each container, and as raw samples.
void writeAudio(const std::string& folder) {
  std::vector<double> samples;
  for (int i = 0; i < 64; ++i) {
    samples.push_back(0.5 * std::sin(0.3 * i));
  }
  const std::pair<const char*, int> containers[] = {
      {"wav16", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {"wav24", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
      {"wavfloat", SF_FORMAT_WAV | SF_FORMAT_FLOAT}, {"wavex", SF_FORMAT_WAVEX | SF_FORMAT_DOUBLE},
      {"rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_32},   {"w64", SF_FORMAT_W64 | SF_FORMAT_PCM_16},
      {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},   {"au", SF_FORMAT_AU | SF_FORMAT_ULAW},
      {"caf", SF_FORMAT_CAF | SF_FORMAT_FLOAT},      {"flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
      {"ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS}};
  for (const auto& [name, format] : containers) {
    const std::string file = folder + "/unfinished";
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = format;
    SNDFILE* const sound = sf_open(file.c_str(), SFM_WRITE, &info);
    sf_write_double(sound, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(sound);
    std::ifstream written(file, std::ios::binary);
    write(folder, name, '\0' + std::string(std::istreambuf_iterator<char>(written), {}));
    std::remove(file.c_str());
  }
  write(folder, "raw", '\x22' + std::string(66, 'r'));
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const std::string reader = argumentCount == 3 ? arguments[1] : "";
  if (reader == "comtrade") {
    writeComtrade(arguments[2]);
  } else if (reader == "text") {
    writeTexts(arguments[2]);
  } else if (reader == "audio") {
    writeAudio(arguments[2]);
  } else {
    std::fputs("usage: kxcalc-fuzz-seeds comtrade|text|audio <folder>\n", stderr);
    return 2;
  }
  return 0;
}
