// Graph lookup and cursor search.
#include <kxcalc.h>

#include <algorithm>

#include "fuzzing.hpp"
#include "reference/cursor_search.hpp"
#include "reference/graph_lookup.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;

void checkGraphLookup(Draw& draw) {
  const auto lookup = KXCALC_FUZZED(kxcalcGetXYValGraph2D);
  XYValGraph2DParams params;
  std::memset(&params, 0, sizeof params);
  params.xSource = draw.oneIn(8) ? draw.value<uint8_t>() : draw.below<uint8_t>(4);
  params.yType = draw.oneIn(2) ? uint8_t{KXCALC_SINGLE} : draw.value<uint8_t>();
  params.xAxisMode = draw.oneIn(8) ? draw.value<uint8_t>() : draw.below<uint8_t>(3);
  params.yAxisMode = draw.oneIn(8) ? draw.value<uint8_t>() : draw.below<uint8_t>(3);
  params.xIndex = params.xSource == 1 ? draw.below<uint32_t>(20) : draw.value<uint32_t>();
  for (int16_t* const edge : {&params.left, &params.top, &params.right, &params.bottom}) {
    draw.setTo(*edge);
  }
  for (double* const number :
       {&params.xScale, &params.xOffset, &params.yScale, &params.yOffset, &params.xMax, &params.xMin, &params.xLogMax,
        &params.xLogMin, &params.yMax, &params.yMin, &params.yLogMax, &params.yLogMin, &params.dbReference}) {
    draw.setTo(*number);
  }
  const Buffer<float> single = draw.buffer<float>(params.yType == KXCALC_SINGLE ? 1 : 0);
  const Buffer<double> number = draw.buffer<double>(params.yType == KXCALC_SINGLE ? 0 : 1);
  params.yValue = params.yType == KXCALC_SINGLE ? static_cast<const void*>(single.data()) : number.data();
  const Buffer<double> xValues = draw.buffer<double>(params.xSource == 1 ? std::size_t{params.xIndex} + 1 : 0);
  params.xValues = xValues.data();
  const Call call(lookup.name, {{"xSource", params.xSource},
                                {"yType", params.yType},
                                {"xAxisMode", params.xAxisMode},
                                {"xIndex", params.xIndex},
                                {"yAxisMode", params.yAxisMode},
                                {"left", params.left},
                                {"top", params.top},
                                {"right", params.right},
                                {"bottom", params.bottom},
                                {"xScale", params.xScale},
                                {"xOffset", params.xOffset},
                                {"yScale", params.yScale},
                                {"yOffset", params.yOffset},
                                {"xMax", params.xMax},
                                {"xMin", params.xMin},
                                {"xLogMax", params.xLogMax},
                                {"xLogMin", params.xLogMin},
                                {"yMax", params.yMax},
                                {"yMin", params.yMin},
                                {"yLogMax", params.yLogMax},
                                {"yLogMin", params.yLogMin},
                                {"dbReference", params.dbReference},
                                {"yValue, of a single", single},
                                {"yValue, of a double", number},
                                {"xValues", xValues}});
  const auto run = [&](auto* function, Buffer<int32_t>& outputs) {
    params.pixelX = &outputs[0];
    params.pixelY = &outputs[1];
    params.valid = &outputs[2];
    const XYValGraph2DParams before = params;
    function(&params);
    call.unchangedRecord(params, before);
  };
  Buffer<int32_t> actual = draw.room<int32_t>(3);
  Buffer<int32_t> expected = actual;
  run(lookup.kernel, actual);
  run(lookup.model, expected);
  call.same("pixelX, pixelY, valid", actual, expected);
}

/// Where the rows of a raster lie in a buffer that ends with them.
struct Raster {
  explicit Raster(Draw& draw) {
    const bool isLarge = draw.oneIn(16);
    const int32_t most = isLarge ? 150 : 24;
    width = draw.oneIn(16) ? draw.between<int32_t>(-9, 0) : draw.between<int32_t>(1, most);
    height = draw.oneIn(16) ? draw.between<int32_t>(-9, 0) : draw.between<int32_t>(1, most);
    const int32_t gap = draw.between<int32_t>(0, 20);  // bytes, so that some pitches are no whole pixels
    pitch = draw.oneIn(8) ? draw.between<int32_t>(-30, 30) : 4 * std::max(width, 0) + gap;
    pitch = draw.oneIn(2) ? -pitch : pitch;
    if (width > 0 && height > 0) {
      const int32_t descent = (height - 1) * (pitch / 4);
      start = static_cast<std::size_t>(std::max(descent, 0));
      size = static_cast<std::size_t>(std::abs(descent)) + static_cast<std::size_t>(width);
    }
  }

  int32_t width;
  int32_t height;
  int32_t pitch;
  std::size_t start = 0;
  std::size_t size = 0;
};

/// Most often within the raster, or next to it.
uint32_t drawCursor(Draw& draw, int32_t extent) {
  if (draw.oneIn(8)) {
    return draw.value<uint32_t>();
  }
  return static_cast<uint32_t>(draw.between<int32_t>(-20, std::max(extent, 0) + 20));
}

void checkCursorSearch(Draw& draw) {
  const auto find = KXCALC_FUZZED(kxcalcFindCursorXY);
  const Raster raster(draw);
  const uint32_t cursorX = drawCursor(draw, raster.width);
  const uint32_t cursorY = drawCursor(draw, raster.height);
  const int32_t ignoreCount = draw.oneIn(16) ? draw.between<int32_t>(-3, 0) : draw.between<int32_t>(1, 20);
  const Buffer<uint32_t> ignored = draw.buffer<uint32_t>(static_cast<std::size_t>(std::max(ignoreCount, 0)));
  Buffer<uint32_t> image = draw.buffer<uint32_t>(raster.size);
  if (ignored.size() > 0 && !draw.oneIn(4)) {
    // Background, with a pixel here and there.
    std::ranges::fill(image.span(), ignored[draw.below(ignored.size())]);
    const auto pixels = draw.below<std::size_t>(6);
    for (std::size_t i = 0; i < pixels && image.size() > 0; ++i) {
      draw.setTo(image[draw.below(image.size())]);
    }
  }
  const auto imageBefore = copyOf(image);
  const auto ignoredBefore = copyOf(ignored);
  const Buffer<uint32_t> initial = draw.buffer<uint32_t>(3);
  Buffer<uint32_t> actual = initial;
  Buffer<uint32_t> expected = initial;
  const Call call(find.name, {{"buffer", imageBefore},
                              {"start of row 0", raster.start},
                              {"pitch", raster.pitch},
                              {"width", raster.width},
                              {"height", raster.height},
                              {"cursorX", cursorX},
                              {"cursorY", cursorY},
                              {"value, X, Y", initial},
                              {"ignoreValues", ignoredBefore},
                              {"ignoreCount", ignoreCount}});
  find.kernel(image.data() + raster.start, raster.pitch, raster.width, raster.height, cursorX, cursorY, &actual[0],
              &actual[1], &actual[2], ignored.data(), ignoreCount);
  find.model(imageBefore.data() + raster.start, raster.pitch, raster.width, raster.height, cursorX, cursorY,
             &expected[0], &expected[1], &expected[2], ignoredBefore.data(), ignoreCount);
  call.same("value, X, Y", actual, expected);
  call.unchanged("buffer", image, imageBefore);
  call.unchanged("ignoreValues", ignored, ignoredBefore);
}

constexpr fuzzing::Check allChecks[] = {checkGraphLookup, checkCursorSearch};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
