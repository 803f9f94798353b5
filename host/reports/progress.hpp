#pragma once

#include <chrono>
#include <string>

namespace kxhost {

/// A progress bar on standard error, for work that turns out to take a while; none where that is not a terminal.
class Progress {
public:
  explicit Progress(std::string label);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// @param share  of the work that is done, 0 to 1.
  void update(double share);

private:
  using Clock = std::chrono::steady_clock;

  std::string label_;
  bool onTerminal_;
  bool drawn_ = false;
  Clock::time_point next_;
};

}  // namespace kxhost
