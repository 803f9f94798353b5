// The tests run on the library that they are meant to run on: search paths, and files that were left behind, choose another one
// without a word.
#include <gtest/gtest.h>
#include <kxcalc.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <link.h>
#endif

namespace {

// The files of the libraries of ours that this process has mapped.
std::vector<std::string> loadedLibraries() {
#if defined(_WIN32)
  HMODULE module = nullptr;
  char file[32768] = "";
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<const char*>(&kxcalcGetVersion), &module);
  GetModuleFileNameA(module, file, sizeof(file));
  return {file};
#else
  std::vector<std::string> files;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* found) {
        if (std::filesystem::path(info->dlpi_name).filename().string().starts_with("libkxcalc-")) {
          static_cast<std::vector<std::string>*>(found)->emplace_back(info->dlpi_name);
        }
        return 0;
      },
      &files);
  return files;
#endif
}

TEST(LoadedLibrary, IsTheOneThatTheTestsAreRunFor) {
  const char* const expected = std::getenv("KXCALC_EXPECTED_LIBRARY");
  if (expected == nullptr) {
    GTEST_SKIP() << "KXCALC_EXPECTED_LIBRARY names none";
  }
  uint32_t version[3] = {};
  kxcalcGetVersion(&version[0], &version[1], 0, &version[2]);  // without a call the library need not be mapped
  const std::vector<std::string> loaded = loadedLibraries();
  ASSERT_EQ(loaded.size(), 1U);
  EXPECT_TRUE(std::filesystem::equivalent(loaded[0], expected)) << "loaded " << loaded[0] << ", not " << expected;
}

}  // namespace
