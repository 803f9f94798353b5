// Text on a raster, and the raster's PNG file: Cairo's work.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "analysis/display/raster.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {

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
