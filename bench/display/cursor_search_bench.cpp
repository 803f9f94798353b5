#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"

namespace kxcalc::bench {
namespace {

/// Beyond the second pixel of a pair, columns to the right of the cursor count as one farther away than they are.
[[maybe_unused]] constexpr double nextPixel = 1.001;

constexpr int32_t width = 1920, height = 1080;
constexpr uint32_t background = 0xFFFFFFFF, curve = 0xFF0000FF, grid = 0xFFC0C0C0;
constexpr std::array<uint32_t, 8> ignored{background, grid,       0xFF000000, 0xFF808080,
                                          0xFFE0E0E0, 0xFF404040, 0xFF202020, 0xFF101010};

/// A graph, rows from the top at descending addresses: a background with a grid of 100 by 100 pixels and perhaps a
/// curve of one pixel in each column, a period of a sine in the right half.
std::vector<uint32_t> makeGraph(bool withCurve) {
  std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const double angle = 2 * std::numbers::pi * (x - width / 2) / (width / 2);
      const auto curveY = static_cast<int32_t>(height / 2 * (1 - 0.8 * std::sin(angle)));
      const bool onCurve = withCurve && x >= width / 2 && y == curveY;
      const uint32_t around = x % 100 == 0 || y % 100 == 0 ? grid : background;
      pixels[static_cast<size_t>(height - 1 - y) * width + static_cast<size_t>(x)] = onCurve ? curve : around;
    }
  }
  return pixels;
}

const uint32_t* firstRow(bool withCurve) {
  static const std::vector<uint32_t> graph = makeGraph(true), emptyGraph = makeGraph(false);
  return &(withCurve ? graph : emptyGraph)[static_cast<size_t>(height - 1) * width];
}

struct Search {
  const uint32_t* image;  // the first row; the next one lies before it
  int32_t cursorX, cursorY;
  uint32_t value, x, y;

  const uint32_t* row(int32_t number) const { return image - static_cast<std::ptrdiff_t>(number) * width; }

  std::vector<Quantity> results() const {
    const double dx = static_cast<double>(x) - cursorX, dy = static_cast<double>(y) - cursorY;
    return {value, {std::hypot(dx, dy), 1}};
  }
};

bool isIgnored(uint32_t pixel) {
  return std::find(ignored.begin(), ignored.end(), pixel) != ignored.end();
}

/// Every pixel by the rule of the kernel. The width is a multiple of four: there is no tail.
void plain(Search& w) {
  struct Candidate {
    float distance = std::numeric_limits<float>::max();
    uint32_t value = 0;
    int32_t x = 0, y = 0;
  };
  static_assert(width % 4 == 0);
  std::array<Candidate, 4> lanes;
  Candidate best;
  for (int32_t y = 0; y < height; ++y) {
    const uint32_t* const pixels = w.row(y);
    const auto dy = static_cast<float>(w.cursorY - y);
    for (int32_t x = 0; x < width; ++x) {
      if (isIgnored(pixels[x])) {
        continue;
      }
      const bool borrows = x % 2 == 1 && w.cursorX < x - 1;
      const auto dx = static_cast<float>(w.cursorX - x - (borrows ? 1 : 0));
      Candidate& lane = lanes[static_cast<size_t>(x % 4)];
      const float distance = dx * dx + dy * dy;
      if (distance <= lane.distance) {
        lane = {distance, pixels[x], x, y};
      }
    }
    for (const Candidate& lane : lanes) {
      if (best.distance > lane.distance) {
        best = lane;
      }
    }
  }
  if (best.distance < std::numeric_limits<float>::max()) {
    w.value = best.value;
    w.x = static_cast<uint32_t>(best.x);
    w.y = static_cast<uint32_t>(best.y);
  }
}

/// Rows, and columns in each, in the order of their distance from the cursor, as long as they are nearer than what was
/// found.
[[maybe_unused]] void earlyOut(Search& w) {
  int32_t least = std::numeric_limits<int32_t>::max();
  for (int32_t dy = 0; dy < height && dy * dy < least; ++dy) {
    for (const int32_t y : {w.cursorY - dy, w.cursorY + dy}) {
      if (y < 0 || y >= height) {
        continue;
      }
      const uint32_t* const pixels = w.row(y);
      for (int32_t dx = 0; dx < width && dx * dx + dy * dy < least; ++dx) {
        for (const int32_t x : {w.cursorX - dx, w.cursorX + dx}) {
          if (x >= 0 && x < width && !isIgnored(pixels[x])) {
            least = dx * dx + dy * dy;
            w.value = pixels[x];
            w.x = static_cast<uint32_t>(x);
            w.y = static_cast<uint32_t>(y);
          }
        }
      }
    }
  }
}

void compare(const char* variant, bool withCurve, int32_t cursorX, int32_t cursorY) {
  Comparison comparison(
      "kxcalcFindCursorXY", variant, [=](size_t) { return Search{firstRow(withCurve), cursorX, cursorY, 0, 0, 0}; },
      [](const Functions& functions, Search& w) {
        functions.kxcalcFindCursorXY(w.image, 4 * width, width, height, static_cast<uint32_t>(w.cursorX),
                                     static_cast<uint32_t>(w.cursorY), &w.value, &w.x, &w.y, ignored.data(),
                                     static_cast<int32_t>(ignored.size()));
      },
      {static_cast<size_t>(width) * height});
  comparison.limitedByTraffic<Traffic{.first = 4}>([](Search& w) { return Streams{w.row(height - 1)}; });
  comparison.plain(sameBits(), plain);
  comparison.reordered(sameBits(), plain);
#if defined(KXCALC_BENCH_BUILD_NATIVE)
  comparison.library("early-out", otherBits("which of pixels at about the same distance", nextPixel), earlyOut);
#endif
}

const bool registered = [] {
  compare("curve-near", true, 1'300, 190);
  compare("curve-far", true, 20, 1'060);
  compare("all-ignored", false, 1'300, 190);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
