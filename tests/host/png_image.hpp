// Pictures as PNG, read back pixel by pixel.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/svg_picture.hpp"

namespace kxhost_test {

class PngImage {
public:
  explicit PngImage(const std::string& file);
  ~PngImage() { cairo_surface_destroy(surface_); }
  PngImage(const PngImage&) = delete;
  PngImage& operator=(const PngImage&) = delete;

  int width() const { return cairo_image_surface_get_width(surface_); }
  int height() const { return cairo_image_surface_get_height(surface_); }

  /// 0xFFrrggbb.
  uint32_t pixel(int x, int y) const;

  /// Whether a pixel within two of a place has nearly that colour, "rgb(r,g,b)".
  bool isNear(Place place, const std::string& colour) const;

private:
  cairo_surface_t* surface_;
};

/// Expects a picture to show a curve that its SVG draws: the curve's colour at nine in ten of its places or more.
void expectShows(const PngImage& image, const SvgCurve& curve);

}  // namespace kxhost_test
