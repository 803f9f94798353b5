// A picture in memory: one 32-bit number a pixel, drawn into by this program; its text and its PNG file come from
// Cairo.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kxhost {

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
  Raster(int width, int height, uint32_t colour);

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
  size_t index(Pixel pixel) const {
    return static_cast<size_t>(pixel.y) * static_cast<size_t>(width_) + static_cast<size_t>(pixel.x);
  }

  int width_;
  int height_;
  std::vector<uint32_t> pixels_;
};

/// Writes text onto a raster, with smooth edges: of more colours than the one named.
class Lettering {
public:
  enum class Anchor { left, centre, right };

  explicit Lettering(Raster& raster);
  ~Lettering();
  Lettering(const Lettering&) = delete;
  Lettering& operator=(const Lettering&) = delete;

  /// @param at      a point halfway up the letters, of the text's left end, centre or right end.
  /// @param upward  turns the text about that point, to be read from below upwards.
  void write(Pixel at, Anchor anchor, const std::string& text, double size, uint32_t colour, bool upward = false);

  /// Width in pixels of a text.
  int widthOf(const std::string& text, double size);

  /// As much of a text as `room` pixels hold, with an ellipsis in place of the rest.
  std::string shortened(std::string text, double size, int room);

  /// Saves the raster as a PNG file. Returns what went wrong, or nothing.
  std::string savePng(const std::filesystem::path& file);

private:
  struct Cairo;
  std::unique_ptr<Cairo> cairo_;
};

}  // namespace kxhost
