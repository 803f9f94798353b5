// 32-bit x86: hosts guarantee a stack aligned to 4 bytes only. Every function is called with its stack 4, 8 and 12 bytes
// off a 16-byte boundary, on all of kxverify's input sets, and must deliver what it delivers otherwise.
#if defined(__i386__)
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "functions/linked.hpp"
#include "verify/input_sets.hpp"

// Calls function with words as its arguments, the stack pointer being (16 - offset) % 16 past a 16-byte boundary, and
// stores the result, which is of the kind that ResultKind tells.
extern "C" void kxcalcTestCallOffset(void (*function)(), const uint32_t* words, uint32_t count, uint32_t offset,
                                     void* result, uint32_t resultKind);
__asm__(R"(
  .text
  .globl kxcalcTestCallOffset
  .type kxcalcTestCallOffset, @function
kxcalcTestCallOffset:
  pushl %ebp
  movl %esp, %ebp
  pushl %esi
  pushl %edi
  pushl %ebx
  movl 8(%ebp), %ebx
  movl 12(%ebp), %esi
  movl 16(%ebp), %ecx
  andl $-16, %esp
  leal 31(,%ecx,4), %eax
  andl $-16, %eax
  subl %eax, %esp
  addl $16, %esp
  subl 20(%ebp), %esp
  movl %esp, %edi
  cld
  rep movsl
  call *%ebx
  movl 24(%ebp), %ecx
  movl 28(%ebp), %edx
  cmpl $1, %edx
  je 1f
  cmpl $2, %edx
  je 2f
  cmpl $3, %edx
  jne 4f
  movl %eax, (%ecx)
  jmp 4f
1:fstpl (%ecx)
  jmp 4f
2:fstps (%ecx)
4:leal -12(%ebp), %esp
  popl %ebx
  popl %edi
  popl %esi
  popl %ebp
  ret
)");

namespace {

template <class R>
constexpr uint32_t resultKind = std::is_same_v<R, double>  ? 1
                                : std::is_same_v<R, float> ? 2
                                : std::is_void_v<R>        ? 0
                                                           : 3;

constexpr std::size_t wordsOf(std::size_t bytes) {
  return (bytes + 3) / 4;
}

template <auto function, uint32_t offset>
struct Misaligned;

template <class R, class... Arguments, R (*function)(Arguments...), uint32_t offset>
struct Misaligned<function, offset> {
  static R call(Arguments... arguments) {
    constexpr std::size_t total = (wordsOf(sizeof(Arguments)) + ...);
    std::array<uint32_t, total> words{};
    uint32_t* next = words.data();
    const auto push = [&](const auto& argument) {
      std::memcpy(next, &argument, sizeof argument);
      next += wordsOf(sizeof argument);
    };
    (push(arguments), ...);
    std::conditional_t<std::is_void_v<R>, uint32_t, R> result{};
    kxcalcTestCallOffset(reinterpret_cast<void (*)()>(function), words.data(), total, offset, &result, resultKind<R>);
    if constexpr (!std::is_void_v<R>) {
      return result;
    }
  }
};

template <uint32_t offset>
constexpr kxcalc::Functions misalignedFunctions{
#define KXCALC_EXPORT(family, name) &Misaligned<&::name, offset>::call,
#include "functions/exports.inc"
#undef KXCALC_EXPORT
};

TEST(MisalignedStack, EveryExportDeliversTheSame) {
  for (const kxverify::Description& description : kxcalc::calls::descriptions()) {
    const std::string expected = kxverify::hashOf(description, kxcalc::linkedFunctions);
    EXPECT_EQ(kxverify::hashOf(description, misalignedFunctions<0>), expected) << description.name;
    EXPECT_EQ(kxverify::hashOf(description, misalignedFunctions<4>), expected) << description.name << ", 4 bytes off";
    EXPECT_EQ(kxverify::hashOf(description, misalignedFunctions<8>), expected) << description.name << ", 8 bytes off";
    EXPECT_EQ(kxverify::hashOf(description, misalignedFunctions<12>), expected) << description.name << ", 12 bytes off";
  }
}

}  // namespace
#endif
