// Writes COMTRADE recordings byte by byte, of each edition and type, for those who read them.
#ifndef KXCALC_TESTS_SUPPORT_COMTRADE_TAKE_HPP
#define KXCALC_TESTS_SUPPORT_COMTRADE_TAKE_HPP

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace support {

struct ComtradeTake {
  struct Channel {
    std::string name, phase, circuit, unit;
    std::string factor = "1", offset = "0";
  };

  int edition = 1999;
  std::string type = "ASCII";
  std::vector<Channel> analog{{"UA", "A", "Bus", "kV", "0.5", "-1"}, {"IB", "B", "Bus", "A", "2", "0"}};
  std::vector<std::string> status{"Trip", "Start"};
  std::vector<std::vector<double>> samples{{10, -20}, {30, 40}, {-50, 60}};  // as stored, a row a record; NaN: missing
  std::vector<std::vector<int>> states{{0, 1}, {1, 0}, {1, 1}};
  std::vector<uint32_t> numbers{1, 2, 3}, stamps{0, 1000, 2000};
  std::string lineFrequency = "50";
  std::vector<std::pair<std::string, size_t>> rates{{"1000", 3}};  // number 0 of them: {"0", last} alone
  bool hasRates = true;
  std::string start = "31/01/2024,23:59:59.999000", trigger = "01/02/2024,00:00:00.000000";
  std::string lineEnd = "\r\n";
  size_t statusOffset = 0;  // of the status channels' numbers

  std::string configuration() const {
    std::string text = "Station,Device" + (edition > 1991 ? ',' + std::to_string(edition) : "") + lineEnd;
    text += std::to_string(analog.size() + status.size()) + ',' + std::to_string(analog.size()) + "A," +
            std::to_string(status.size()) + 'D' + lineEnd;
    for (size_t i = 0; i < analog.size(); ++i) {
      const Channel& channel = analog[i];
      text += std::to_string(i + 1) + ',' + channel.name + ',' + channel.phase + ',' + channel.circuit + ',' +
              channel.unit + ',' + channel.factor + ',' + channel.offset + ",0,-32767,32767" +
              (edition > 1991 ? ",110,0.1,P" : "") + lineEnd;
    }
    for (size_t i = 0; i < status.size(); ++i) {
      text += std::to_string(i + 1 + statusOffset) + ',' + status[i] + (edition > 1991 ? ",,,0" : ",0") + lineEnd;
    }
    text += lineFrequency + lineEnd + std::to_string(hasRates ? rates.size() : 0) + lineEnd;
    for (const auto& [rate, end] : rates) {
      text += rate + ',' + std::to_string(end) + lineEnd;
    }
    text += start + lineEnd + trigger + lineEnd + type + lineEnd;
    text += edition > 1991 ? "1" + lineEnd : "";
    return text + (edition > 1999 ? "-5h30,-5h30" + lineEnd + "0,0" + lineEnd : "");
  }

  std::string data() const {
    std::string bytes;
    for (size_t i = 0; i < samples.size(); ++i) {
      bytes += type == "ASCII" ? textRecord(i) : binaryRecord(i);
    }
    return bytes;
  }

  /// The same in one file.
  std::string single() const {
    const std::string bytes = data();
    const std::string size = type == "ASCII" ? "" : ": " + std::to_string(bytes.size());
    return "--- file type: CFG ---" + lineEnd + configuration() + "--- file type: INF ---" + lineEnd + lineEnd +
           "--- file type: HDR ---" + lineEnd + "Anything, of any length." + lineEnd + "--- file type: DAT " + type +
           size + " ---" + lineEnd + bytes;
  }

private:
  std::string textRecord(size_t i) const {
    std::string text = std::to_string(numbers[i]) + ',' + std::to_string(stamps[i]);
    for (const double sample : samples[i]) {
      text += ',' + (std::isnan(sample)             ? ""
                     : sample == std::floor(sample) ? std::to_string(static_cast<int64_t>(sample))
                                                    : std::to_string(sample));
    }
    for (size_t k = 0; k < status.size(); ++k) {
      text += states[i][k] != 0 ? ",1" : ",0";
    }
    return text + lineEnd;
  }

  static void append(std::string& bytes, uint32_t word, int count) {
    for (int i = 0; i < count; ++i) {
      bytes += static_cast<char>(word >> (8 * i) & 0xFF);
    }
  }

  std::string binaryRecord(size_t i) const {
    std::string bytes;
    append(bytes, numbers[i], 4);
    append(bytes, stamps[i], 4);
    for (const double sample : samples[i]) {
      const bool isMissing = std::isnan(sample);
      if (type == "BINARY") {
        append(bytes, isMissing ? 0x8000U : static_cast<uint32_t>(static_cast<int32_t>(sample)), 2);
      } else if (type == "BINARY32") {
        append(bytes, isMissing ? 0x80000000U : static_cast<uint32_t>(static_cast<int32_t>(sample)), 4);
      } else {
        append(bytes, std::bit_cast<uint32_t>(static_cast<float>(sample)), 4);
      }
    }
    for (size_t k = 0; k < status.size(); k += 16) {
      uint32_t word = 0;
      for (size_t bit = 0; bit < 16 && k + bit < status.size(); ++bit) {
        word |= static_cast<uint32_t>(states[i][k + bit]) << bit;
      }
      append(bytes, word, 2);
    }
    return bytes;
  }
};

}  // namespace support

#endif
