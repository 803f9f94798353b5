// kxverify: runs every function of a kxcalc library and compares what comes out, bit by bit, with the published manifest.
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "functions/library.hpp"
#include "verify/input_sets.hpp"
#include "verify/manifest.hpp"

namespace {

constexpr int differs = 1;
constexpr int misused = 2;

constexpr char publishedManifest[] =
#include "published_manifest.inc"
    ;

constexpr char usage[] =
    "usage: kxverify [--manifest FILE] [LIBRARY]   compares LIBRARY with the manifest of this version, or of FILE\n"
    "       kxverify --print [LIBRARY]             writes LIBRARY's manifest to standard output\n"
    "Without LIBRARY: the fastest build that the processor runs, as the system's loader finds it.\n"
    "Exit code: 0 if every function gives the published bits, 1 if not, 2 if the command line is wrong.\n";

void print(const kxcalc::Functions& functions) {
  std::puts("# SHA-256 of the results of every function on kxverify's input sets.");
  for (const kxverify::Description& description : kxcalc::calls::descriptions()) {
    std::printf("%s  %s\n", kxverify::hashOf(description, functions).c_str(), description.name);
  }
}

int compare(const kxcalc::Functions& functions, const kxverify::Manifest& manifest, const char* library) {
  int equal = 0;
  int total = 0;
  for (const kxverify::Description& description : kxcalc::calls::descriptions()) {
    const auto published = manifest.find(description.name);
    const char* verdict = "differs";
    if (published == manifest.end()) {
      verdict = "is not in the manifest";
    } else if (published->second == kxverify::hashOf(description, functions)) {
      verdict = "equal";
      ++equal;
    }
    ++total;
    std::printf("%-56s %s\n", description.name, verdict);
  }
  std::printf("%s: %d of %d functions give the published bits\n", library, equal, total);
  return equal == total ? 0 : differs;
}

/// @param file  empty: the fastest build that the processor runs.
kxcalc::Library openLibrary(const std::string& file) {
  // Without a slash the loader would look in the system's folders instead of this one.
  auto library = file.empty()
                     ? kxcalc::Library::openFastest()
                     : kxcalc::Library::open(file.find_first_of("/\\") == std::string::npos ? "./" + file : file);
  if (!library) {
    throw std::runtime_error(library.problem());
  }
  return *library;
}

int run(int count, char** arguments) {
  std::vector<std::string> words(arguments + 1, arguments + count);
  const auto take = [&](size_t number) { words.erase(words.begin(), words.begin() + static_cast<ptrdiff_t>(number)); };
  if (words == std::vector<std::string>{"--help"}) {
    std::fputs(usage, stdout);
    return 0;
  }
  std::string manifest = publishedManifest;
  const bool prints = !words.empty() && words[0] == "--print";
  if (prints) {
    take(1);
  } else if (words.size() > 1 && words[0] == "--manifest") {
    manifest = kxverify::readFile(words[1]);
    take(2);
  }
  if (words.size() > 1 || (words.size() == 1 && words[0].substr(0, 1) == "-")) {
    std::fputs(usage, stderr);
    return misused;
  }
  const std::string file = words.empty() ? "" : words[0];
  if (prints) {
    print(openLibrary(file).functions());
    return 0;
  }
  const kxverify::Manifest published = kxverify::parseManifest(manifest);
  const kxcalc::Library library = openLibrary(file);
  return compare(library.functions(), published, file.empty() ? library.file().c_str() : file.c_str());
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return run(count, arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kxverify: %s\n", error.what());
    return differs;
  }
}
