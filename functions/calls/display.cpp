// Graph lookup and cursor search.
#include <algorithm>
#include <cstdlib>

#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

/// A mode: now and then one that is unknown.
uint8_t drawMode(Call& call, const char* name, std::initializer_list<uint8_t> modes, uint8_t highest) {
  return call.rarely(8) ? call.number<uint8_t>(name) : call.setting<uint8_t>(name, modes, 0, highest);
}

/// Where the rows of a raster lie in a buffer that ends with them.
struct Raster {
  explicit Raster(Call& call) {
    width = drawExtent(call, "width", 0, 40);
    height = drawExtent(call, "height", 1, 20);
    const auto gap = call.between<int32_t>("gap", 0, 20);  // bytes, so that some pitches are no whole pixels
    pitch = call.rarely(8) ? call.between<int32_t>("pitch", -30, 30) : 4 * std::max(width, 0) + gap;
    pitch = call.oneOf("direction", {1, -1}) * pitch;
    if (width > 0 && height > 0) {
      const int32_t descent = (height - 1) * (pitch / 4);
      start = static_cast<std::size_t>(std::max(descent, 0));
      size = static_cast<std::size_t>(std::abs(descent)) + static_cast<std::size_t>(width);
    }
    call.tell("pitch", pitch);
    call.tell("start of row 0", start);
  }

  int32_t width = 0;
  int32_t height = 0;
  int32_t pitch = 0;
  std::size_t start = 0;
  std::size_t size = 0;

private:
  static int32_t drawExtent(Call& call, const char* name, int32_t least, int32_t most) {
    if (call.rarely(16)) {
      return call.between<int32_t>(name, -9, 0);
    }
    if (call.rarely(16)) {
      return call.between<int32_t>(name, 1, 150);
    }
    return least == 0 ? call.each(name, least, most) : call.between(name, least, most);
  }
};

/// Most often within the raster, or next to it.
uint32_t drawCursor(Call& call, const char* name, int32_t extent) {
  return call.rarely(8) ? call.number<uint32_t>(name)
                        : static_cast<uint32_t>(call.between<int32_t>(name, -20, std::max(extent, 0) + 20));
}

/// Background, with pixels here and there, of which some are ignored as well.
void sprinkle(Call& call, std::span<uint32_t> image, std::span<const uint32_t> ignored) {
  const auto drawIgnored = [&] { return ignored[call.between<std::size_t>("ignored", 0, ignored.size() - 1)]; };
  const auto drawPixel = [&] { return call.between<std::size_t>("pixel", 0, image.size() - 1); };
  std::ranges::fill(image, drawIgnored());
  const auto pixels = call.setting<uint32_t>("pixels", {5, 0, 1, 2, 40}, 0, 6);
  for (uint32_t i = 0; i < pixels && !image.empty(); ++i) {
    uint32_t& pixel = image[drawPixel()];
    if (call.between<uint32_t>("kind of pixel", 0, 3) == 3) {
      pixel = drawIgnored();
    } else {
      call.setNumber("value of pixel", pixel);
    }
  }
}

}  // namespace

void kxcalcGetXYValGraph2D(Call& call, void (*function)(const XYValGraph2DParams*)) {
  call.repeat(10);
  XYValGraph2DParams params;
  std::memset(&params, 0, sizeof params);
  params.xSource = drawMode(call, "xSource", {0, 1, 2, 3}, 3);
  params.xAxisMode = drawMode(call, "xAxisMode", {1, 0, 2}, 2);
  params.yAxisMode = drawMode(call, "yAxisMode", {2, 1, 0}, 2);
  const bool isSingle = call.oneOf("single", {false, true});
  params.yType = isSingle ? uint8_t{KXCALC_SINGLE} : call.setting<uint8_t>("yType", {KXCALC_DOUBLE});
  const bool isOfSingle = params.yType == KXCALC_SINGLE;
  const bool isListed = params.xSource == 1;
  params.xIndex =
      isListed || !call.rarely(2) ? call.between<uint32_t>("xIndex", 0, 19) : call.number<uint32_t>("xIndex");
  call.setNumber("left", params.left);
  call.setNumber("top", params.top);
  call.setNumber("right", params.right);
  call.setNumber("bottom", params.bottom);
  const auto numbers = call.oneOf("numbers of the axes", {Numbers::ordinary, Numbers::any});
  for (const auto& [name, field] : {std::pair{"xScale", &params.xScale},
                                    {"xOffset", &params.xOffset},
                                    {"yScale", &params.yScale},
                                    {"yOffset", &params.yOffset},
                                    {"xMax", &params.xMax},
                                    {"xMin", &params.xMin},
                                    {"xLogMax", &params.xLogMax},
                                    {"xLogMin", &params.xLogMin},
                                    {"yMax", &params.yMax},
                                    {"yMin", &params.yMin},
                                    {"yLogMax", &params.yLogMax},
                                    {"yLogMin", &params.yLogMin},
                                    {"dbReference", &params.dbReference}}) {
    call.setNumber(name, *field, numbers);
  }
  if (isOfSingle) {
    params.yValue = call.input<float>("yValue", 1).data();
  } else {
    params.yValue = call.input<double>("yValue", 1).data();
  }
  params.xValues = call.input<double>("xValues", isListed ? std::size_t{params.xIndex} + 1 : 0).data();
  params.pixelX = call.output<int32_t>("pixelX", 1).data();
  params.pixelY = call.output<int32_t>("pixelY", 1).data();
  params.valid = call.output<int32_t>("valid", 1).data();
  call.runWithRecord(function, params);
}

void kxcalcFindCursorXY(Call& call, void (*function)(const uint32_t*, int32_t, int32_t, int32_t, uint32_t, uint32_t,
                                                     uint32_t*, uint32_t*, uint32_t*, const uint32_t*, int32_t)) {
  const Raster raster(call);
  const auto ignoreCount = call.setting<int32_t>("ignoreCount", {2, -1, 0, 1, 3}, -2, 20);
  const auto ignored = call.input<uint32_t>("ignoreValues", static_cast<std::size_t>(std::max(ignoreCount, 0)));
  const auto image = call.input<uint32_t>("buffer", raster.size);
  if (!ignored.empty() && call.oneOf("background", {true, false})) {
    sprinkle(call, image, ignored);
  }
  const uint32_t cursorX = drawCursor(call, "cursorX", raster.width);
  const uint32_t cursorY = drawCursor(call, "cursorY", raster.height);
  const auto value = call.both<uint32_t>("foundValue", 1);
  const auto x = call.both<uint32_t>("foundX", 1);
  const auto y = call.both<uint32_t>("foundY", 1);
  call.run(function, image.data() + raster.start, raster.pitch, raster.width, raster.height, cursorX, cursorY, value, x,
           y, ignored, ignoreCount);
}

}  // namespace kxcalc::calls
