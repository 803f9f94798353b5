// Which builds of the library a processor runs. The instruction set is in a library's name: kxcalc-avx2 runs where the
// processor has AVX2 and the system keeps its registers.
#pragma once

#include <string_view>
#include <vector>

namespace kxcalc {

/// The names of the builds that this processor runs ("avx512", "avx2", "sse41", "portable"; "neon", "portable"), the
/// fastest first.
std::vector<std::string_view> runnableVariants();

/// Whether this processor runs the build of that name.
bool runsVariant(std::string_view variant);

}  // namespace kxcalc
