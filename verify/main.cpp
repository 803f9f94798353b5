// kxverify: runs every function of a kxcalc library and compares what comes out, bit by bit, with the published manifest.
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>

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
    "usage: kxverify [--manifest FILE] LIBRARY   compares LIBRARY with the manifest of this version, or of FILE\n"
    "       kxverify --print LIBRARY             writes LIBRARY's manifest to standard output\n"
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

/// The functions of a library file. It stays open until the program ends.
kxcalc::Functions openLibrary(const std::string& file) {
  // Without a slash the loader would look in the system's folders instead of this one.
  static const auto library =
      kxcalc::Library::open(file.find_first_of("/\\") == std::string::npos ? "./" + file : file);
  if (!library) {
    throw std::runtime_error(library.problem());
  }
  return library->functions();
}

int run(int count, char** arguments) {
  const auto is = [&](int i, const char* option) { return i < count && std::strcmp(arguments[i], option) == 0; };
  if (count == 2 && is(1, "--help")) {
    std::fputs(usage, stdout);
    return 0;
  }
  if (count == 3 && is(1, "--print")) {
    print(openLibrary(arguments[2]));
    return 0;
  }
  if (count == 4 && is(1, "--manifest")) {
    const auto manifest = kxverify::parseManifest(kxverify::readFile(arguments[2]));
    return compare(openLibrary(arguments[3]), manifest, arguments[3]);
  }
  if (count == 2 && arguments[1][0] != '-') {
    return compare(openLibrary(arguments[1]), kxverify::parseManifest(publishedManifest), arguments[1]);
  }
  std::fputs(usage, stderr);
  return misused;
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
