// A picture in memory: one 32-bit number a pixel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

using std::size_t;

struct Pixel {
  int x;  ///< column
  int y;  ///< row, downwards
};

/// The pixels from left to right and from top to bottom, both included.
struct Rectangle {
  int left, top, right, bottom;

  int width() const { return right - left + 1; }
  int height() const { return bottom - top + 1; }
};

/// Rows of pixels, opaque colours as 0xFFRRGGBB. The top row lies at the lowest address, and rows follow each other
/// without gaps.
class Raster {
public:
  /// Pixels in a row and rows at most: the kernels count them in 16 bits with a sign.
  static constexpr int greatest = 32767;

  /// @param width, height  1 to greatest.
  static Result<Raster> create(int width, int height, uint32_t colour);

  int width() const { return width_; }
  int height() const { return height_; }
  const uint32_t* at(Pixel pixel) const { return &pixels_[index(pixel)]; }
  uint32_t* data() { return pixels_.data(); }

  /// Both draw pixels of exactly this colour. What lies outside of the raster is left out.
  void fill(const Rectangle& area, uint32_t colour);

  /// A line of which each column or each row, whichever it crosses more of, gets one pixel. Both ends lie in the
  /// raster.
  void line(Pixel from, Pixel to, uint32_t colour);

private:
  Raster(int width, int height, uint32_t colour);

  size_t index(Pixel pixel) const {
    return static_cast<size_t>(pixel.y) * static_cast<size_t>(width_) + static_cast<size_t>(pixel.x);
  }

  int width_;
  int height_;
  std::vector<uint32_t> pixels_;
};

}  // namespace kxanalysis
