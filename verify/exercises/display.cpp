// Graph lookup, cursor search, sine and arctangent of a block.
#include <array>

#include "common.hpp"

namespace kxverify {
namespace {

void mapBlock(const char* name, void (*kernel)(const float*, float*, uint32_t), Digest& digest) {
  Source source(name);
  overSets<float>(0, [&](const Set& set) {
    auto input = placed<float>(source, set.count < 4 ? Set{Kind::signal, set.count, set.offset} : set);
    for (float& angle : input.elements()) {
      const bool moderate = set.kind == Kind::signal;
      angle = moderate ? angle * (set.count < 4 ? 3.0F : 50.0F) : angle;
    }
    Buffer<float> output(set.count, source.below(placeCount<float>));
    kernel(input.data(), output.data(), set.count);
    digest.add(output);
  });
  // Blocks of a few go through the sine in double. Of all singles these have sines that the last bit of the double rounds
  // otherwise; and any angles.
  constexpr std::array<float, 4> hard{0x1.33333p+13F, 0x1.95f654p+44F, 0x1.524856p+80F, 0x1.487e0cp+103F};
  for (uint32_t i = 0; i < 1000; ++i) {
    Buffer<float> angle(1);
    angle[0] = i < hard.size() ? hard[i] : source.sample<float>(Kind::wide);
    Buffer<float> sine(1);
    kernel(angle.data(), sine.data(), 1);
    digest.add(sine);
  }
}

}  // namespace

void kxcalcGetXYValGraph2DExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcGetXYValGraph2D");
  for (const Kind kind : kinds) {
    for (uint32_t modes = 0; modes < 4 * 3 * 3 * 2; ++modes) {
      for (int round = 0; round < 20; ++round) {
        const auto xValues = placed<double>(source, kind, 8);
        const auto yValue = source.sample<double>(kind);
        const auto ySingle = static_cast<float>(kind == Kind::wide ? source.unit() : yValue);
        int32_t pixelX = 77;
        int32_t pixelY = 77;
        int32_t valid = 77;
        XYValGraph2DParams params{};
        params.xSource = static_cast<uint8_t>(modes % 4);
        params.xAxisMode = static_cast<uint8_t>(modes / 4 % 3);
        params.yAxisMode = static_cast<uint8_t>(modes / 12 % 3);
        params.yType = modes / 36 == 0 ? KXCALC_SINGLE : KXCALC_DOUBLE;
        params.xIndex = source.below(8);
        params.left = source.sample<int16_t>(Kind::wide);
        params.top = source.sample<int16_t>(Kind::signal);
        params.right = source.sample<int16_t>(Kind::wide);
        params.bottom = source.sample<int16_t>(Kind::signal);
        for (double* const field : {&params.xScale, &params.xOffset, &params.yScale, &params.yOffset, &params.xMax,
                                    &params.xMin, &params.xLogMax, &params.xLogMin, &params.yMax, &params.yMin,
                                    &params.yLogMax, &params.yLogMin, &params.dbReference}) {
          *field = source.sample<double>(round % 5 == 0 ? kind : Kind::signal);
        }
        params.yValue = params.yType == KXCALC_SINGLE ? static_cast<const void*>(&ySingle) : &yValue;
        params.xValues = xValues.data();
        params.pixelX = &pixelX;
        params.pixelY = &pixelY;
        params.valid = &valid;
        functions.kxcalcGetXYValGraph2D(&params);
        digest.add(pixelX);
        digest.add(pixelY);
        digest.add(valid);
      }
    }
  }
}

void kxcalcFindCursorXYExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcFindCursorXY");
  const Buffer<uint32_t> ignored = [] {
    Buffer<uint32_t> values(3);
    values[1] = 4;
    values[2] = 9;
    return values;
  }();
  for (int32_t width = 0; width <= 40; ++width) {
    for (const uint32_t rarity : {2U, 30U, 400U}) {
      const int32_t height = 1 + static_cast<int32_t>(source.below(20));
      Buffer<uint32_t> image(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                             source.below(placeCount<uint32_t>));
      for (uint32_t& pixel : image.elements()) {
        pixel = source.below(rarity) == 0 ? source.below(12) : 0;
      }
      for (int32_t ignoreCount = -1; ignoreCount <= 3; ++ignoreCount) {
        uint32_t value = 77;
        uint32_t x = 77;
        uint32_t y = 77;
        const uint32_t cursorX = source.below(60);
        const uint32_t cursorY = source.below(30);
        functions.kxcalcFindCursorXY(image.data(), -4 * width, width, height, cursorX, cursorY, &value, &x, &y,
                                     ignored.data(), ignoreCount);
        digest.add(value);
        digest.add(x);
        digest.add(y);
      }
    }
  }
}

void kxcalcSin_floatExercise(const Functions& functions, Digest& digest) {
  mapBlock("kxcalcSin_float", functions.kxcalcSin_float, digest);
}
void kxcalcATan_floatExercise(const Functions& functions, Digest& digest) {
  mapBlock("kxcalcATan_float", functions.kxcalcATan_float, digest);
}

}  // namespace kxverify
