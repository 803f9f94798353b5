#include "host/png_image.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kxhost_test {

PngImage::PngImage(const std::string& file) : surface_(cairo_image_surface_create_from_png(file.c_str())) {
  EXPECT_EQ(cairo_surface_status(surface_), CAIRO_STATUS_SUCCESS) << file;
}

uint32_t PngImage::pixel(int x, int y) const {
  if (x < 0 || x >= width() || y < 0 || y >= height()) {
    return 0;
  }
  const unsigned char* row = cairo_image_surface_get_data(surface_) + y * cairo_image_surface_get_stride(surface_);
  uint32_t value = 0;
  std::memcpy(&value, row + 4 * x, sizeof value);
  return value | 0xFF000000;
}

bool PngImage::isNear(Place place, const std::string& colour) const {
  constexpr int reach = 2, likeness = 70;  // thin lines are mixed with the background
  int red = 0, green = 0, blue = 0;
  if (std::sscanf(colour.c_str(), "rgb(%d,%d,%d)", &red, &green, &blue) != 3) {
    ADD_FAILURE() << colour << " is no colour";
    return false;
  }
  const int left = static_cast<int>(std::lround(place.x)), top = static_cast<int>(std::lround(place.y));
  for (int y = top - reach; y <= top + reach; ++y) {
    for (int x = left - reach; x <= left + reach; ++x) {
      const uint32_t value = pixel(x, y);
      const auto part = [value](int shift) { return static_cast<int>((value >> shift) & 0xFF); };
      if (std::abs(part(16) - red) + std::abs(part(8) - green) + std::abs(part(0) - blue) <= likeness) {
        return true;
      }
    }
  }
  return false;
}

void expectShows(const PngImage& image, const SvgCurve& curve) {
  size_t places = 0, shown = 0;
  for (const auto& line : curve.lines) {
    for (const Place& place : line) {
      ++places;
      shown += image.isNear(place, curve.colour) ? 1U : 0U;
    }
  }
  for (const Place& mark : curve.marks) {
    ++places;
    shown += image.isNear(mark, curve.colour) ? 1U : 0U;
  }
  EXPECT_GT(places, 0U) << curve.title;
  EXPECT_GE(static_cast<double>(shown), 0.9 * static_cast<double>(places)) << curve.title << ' ' << curve.colour;
}

}  // namespace kxhost_test
