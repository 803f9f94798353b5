// Prints which builds of the library this processor runs, for the tests.
#include <cstdio>

#include "functions/processor.cpp"

int main() {
  for (const std::string_view variant : kxcalc::runnableVariants()) {
    std::printf("%.*s ", static_cast<int>(variant.size()), variant.data());
  }
  return 0;
}
