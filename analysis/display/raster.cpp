#include "analysis/display/raster.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kxanalysis {

Result<Raster> Raster::create(int width, int height, uint32_t colour) {
  if (width < 1 || width > greatest) {
    return unsuitable("width", width, "a raster is 1 to 32767 pixels wide");
  }
  if (height < 1 || height > greatest) {
    return unsuitable("height", height, "a raster is 1 to 32767 pixels high");
  }
  return Raster(width, height, colour);
}

Raster::Raster(int width, int height, uint32_t colour)
    : width_(width), height_(height), pixels_(static_cast<size_t>(width) * static_cast<size_t>(height), colour) {}

void Raster::fill(const Rectangle& area, uint32_t colour) {
  const int left = std::max(area.left, 0), right = std::min(area.right, width_ - 1);
  const int bottom = std::min(area.bottom, height_ - 1);
  for (int y = std::max(area.top, 0); y <= bottom && left <= right; ++y) {
    std::fill_n(pixels_.data() + index({left, y}), right - left + 1, colour);
  }
}

void Raster::line(Pixel from, Pixel to, uint32_t colour) {
  const int dx = to.x - from.x, dy = to.y - from.y;
  const int steps = std::max({std::abs(dx), std::abs(dy), 1});
  for (int i = 0; i <= steps; ++i) {
    const double share = static_cast<double>(i) / steps;
    const Pixel pixel{from.x + static_cast<int>(std::lround(dx * share)),
                      from.y + static_cast<int>(std::lround(dy * share))};
    pixels_[index(pixel)] = colour;
  }
}

}  // namespace kxanalysis
