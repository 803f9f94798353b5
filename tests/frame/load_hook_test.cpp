// The load hook of Windows reports success for each reason that it is called for, and changes nothing.
#if defined(_WIN32)
#include <gtest/gtest.h>
#include <kxcalc.h>
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID);

namespace {

// The hook's source, compiled into this program too.
TEST(LoadHook, SucceedsForEachReason) {
  for (DWORD reason = DLL_PROCESS_DETACH; reason <= DLL_THREAD_DETACH; ++reason) {
    EXPECT_EQ(DllMain(nullptr, reason, nullptr), TRUE) << "reason " << reason;
  }
}

/// The library that this program is linked with.
HMODULE loadedLibrary() {
  HMODULE library = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCSTR>(&kxcalcGetVersion), &library);
  return library;
}

std::string fileOf(HMODULE library) {
  char name[MAX_PATH] = {};
  GetModuleFileNameA(library, name, MAX_PATH);
  return name;
}

/// What the system calls: the platform's start-up code, which calls the hook and passes its answer on.
using EntryPoint = BOOL(WINAPI*)(HINSTANCE, DWORD, LPVOID);
EntryPoint entryPointOf(HMODULE library) {
  const auto* const image = reinterpret_cast<const std::byte*>(library);
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dos->e_lfanew);
  return reinterpret_cast<EntryPoint>(reinterpret_cast<uintptr_t>(image) + headers->OptionalHeader.AddressOfEntryPoint);
}

TEST(LoadHook, SucceedsWhenThreadsComeAndGo) {
  const HMODULE library = loadedLibrary();
  ASSERT_NE(library, nullptr);
  ASSERT_NE(library, GetModuleHandleA(nullptr)) << "the functions are linked into the program";
  for (const DWORD reason : {DWORD{DLL_THREAD_ATTACH}, DWORD{DLL_THREAD_DETACH}}) {
    EXPECT_EQ(entryPointOf(library)(library, reason, nullptr), TRUE) << "reason " << reason;
  }
}

// A copy under another name is a library of its own, which is attached and detached.
TEST(LoadHook, SucceedsWhenTheLibraryIsLoadedAndFreed) {
  const std::string file = fileOf(loadedLibrary());
  const std::string copy = file + ".copy.dll";
  ASSERT_TRUE(CopyFileA(file.c_str(), copy.c_str(), FALSE));
  const HMODULE library = LoadLibraryA(copy.c_str());
  EXPECT_NE(library, nullptr) << "error " << GetLastError();
  EXPECT_NE(library, loadedLibrary());
  if (library != nullptr) {
    const FARPROC address = GetProcAddress(library, "kxcalcGetVersion");
    EXPECT_NE(address, nullptr);
    EXPECT_TRUE(FreeLibrary(library));
    EXPECT_EQ(GetModuleHandleA(copy.c_str()), nullptr);
  }
  DeleteFileA(copy.c_str());
}

}  // namespace
#endif
