#include "host/reports/progress.hpp"

#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <iostream>
#include <utility>

#include "host/reports/print.hpp"

namespace kxhost {
namespace {

using namespace std::chrono_literals;
constexpr auto patience = 500ms;
constexpr auto interval = 100ms;
constexpr const char* clearLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::string label)
    : label_(std::move(label)), onTerminal_(isatty(STDERR_FILENO) != 0), next_(Clock::now() + patience) {}

Progress::~Progress() {
  if (drawn_) {
    std::cerr << clearLine << std::flush;
  }
}

void Progress::update(double share) {
  if (!onTerminal_ || Clock::now() < next_) {
    return;
  }
  constexpr size_t width = 40;
  const auto filled = static_cast<size_t>(std::lround(share * width));
  printTo(std::cerr, "{}[{:#<{}}{:{}}] {} % {}", clearLine, "", filled, "", width - filled, std::lround(share * 100),
          label_);
  std::cerr << std::flush;
  drawn_ = true;
  next_ = Clock::now() + interval;
}

}  // namespace kxhost
