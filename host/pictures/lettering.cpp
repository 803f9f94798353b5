#include "host/pictures/lettering.hpp"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kxhost {

struct Lettering::Cairo {
  cairo_surface_t* surface;
  cairo_t* context;
};

namespace {

void setFont(cairo_t* context, double size) {
  cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(context, size);
}

/// Text that Cairo takes: names of files and channels may hold control characters, and bytes that are not UTF-8, on
/// which it would draw nothing more at all.
std::string printable(cairo_t* context, std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  cairo_glyph_t* glyphs = nullptr;
  int count = 0;
  const cairo_status_t status =
      cairo_scaled_font_text_to_glyphs(cairo_get_scaled_font(context), 0, 0, text.c_str(),
                                       static_cast<int>(text.size()), &glyphs, &count, nullptr, nullptr, nullptr);
  cairo_glyph_free(glyphs);
  if (status != CAIRO_STATUS_SUCCESS) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; }, '?');
  }
  return text;
}

}  // namespace

Lettering::Lettering(Raster& raster) : cairo_(std::make_unique<Cairo>()) {
  cairo_->surface =
      cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(raster.data()), CAIRO_FORMAT_ARGB32,
                                          raster.width(), raster.height(), raster.width() * 4);
  cairo_->context = cairo_create(cairo_->surface);
}

Lettering::~Lettering() {
  cairo_destroy(cairo_->context);
  cairo_surface_destroy(cairo_->surface);
}

void Lettering::write(Pixel at, Anchor anchor, const std::string& text, double size, uint32_t colour, bool upward) {
  cairo_t* const context = cairo_->context;
  setFont(context, size);
  const std::string shown = printable(context, text);
  cairo_text_extents_t extents;
  cairo_text_extents(context, shown.c_str(), &extents);
  cairo_font_extents_t font;
  cairo_font_extents(context, &font);
  const double share = anchor == Anchor::left ? 0 : anchor == Anchor::centre ? 0.5 : 1;

  cairo_save(context);
  cairo_set_source_rgb(context, ((colour >> 16) & 0xFF) / 255.0, ((colour >> 8) & 0xFF) / 255.0,
                       (colour & 0xFF) / 255.0);
  cairo_translate(context, at.x + 0.5, at.y + 0.5);
  if (upward) {
    cairo_rotate(context, -std::numbers::pi / 2);
  }
  cairo_move_to(context, -share * extents.x_advance, (font.ascent - font.descent) / 2);
  cairo_show_text(context, shown.c_str());
  cairo_restore(context);
}

int Lettering::widthOf(const std::string& text, double size) {
  setFont(cairo_->context, size);
  cairo_text_extents_t extents;
  cairo_text_extents(cairo_->context, printable(cairo_->context, text).c_str(), &extents);
  return static_cast<int>(std::ceil(extents.x_advance));
}

std::string Lettering::shortened(std::string text, double size, int room) {
  if (widthOf(text, size) <= room) {
    return text;
  }
  constexpr const char* ellipsis = "\u2026";
  while (!text.empty() && widthOf(text + ellipsis, size) > room) {
    while ((text.back() & 0xC0) == 0x80 && text.size() > 1) {  // the bytes of a character after its first one
      text.pop_back();
    }
    text.pop_back();
  }
  return text + ellipsis;
}

std::string Lettering::savePng(const std::filesystem::path& file) {
  cairo_status_t status = cairo_status(cairo_->context);
  if (status == CAIRO_STATUS_SUCCESS) {
    cairo_surface_flush(cairo_->surface);
    status = cairo_surface_write_to_png(cairo_->surface, file.c_str());
  }
  return status == CAIRO_STATUS_SUCCESS ? "" : cairo_status_to_string(status);
}

}  // namespace kxhost
