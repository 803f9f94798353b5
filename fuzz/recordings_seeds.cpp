// Writes the recordings that the fuzzer of the readers begins with into a folder.
#include <cstdio>
#include <fstream>
#include <string>

#include "support/comtrade_take.hpp"
#include "support/hostile_texts.hpp"

namespace {

void write(const std::string& folder, const std::string& name, const std::string& bytes) {
  std::ofstream(folder + "/seed-" + name, std::ios::binary) << bytes;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::fputs("usage: kxcalc-fuzz-recordings-seeds <folder>\n", stderr);
    return 2;
  }
  for (const int edition : {1991, 1999, 2013}) {
    for (const std::string type : {"ASCII", "BINARY", "BINARY32", "FLOAT32"}) {
      support::ComtradeTake take;
      take.edition = edition;
      take.type = type;
      const std::string name = type + std::to_string(edition);
      write(arguments[1], name + "-two", '\1' + take.configuration() + '\f' + take.data());
      write(arguments[1], name + "-one", '\0' + take.single());
      take.rates = {{"1000", 1}, {"500", 3}};
      write(arguments[1], name + "-segments", '\x23' + take.configuration() + '\f' + take.data());
      take.rates = {{"0", 3}};
      take.hasRates = false;
      write(arguments[1], name + "-stamps", '\0' + take.configuration() + '\f' + take.data());
    }
  }
  for (size_t i = 0; i < support::hostileTexts.size(); ++i) {
    write(arguments[1], "text-" + std::to_string(i), '\4' + std::string(support::hostileTexts[i]));
  }
}
