// Points of a graph, and the pixel nearest to a cursor.
#include <nanobind/stl/pair.h>
#include <nanobind/stl/tuple.h>

#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

/// Rows of pixels, one below the other, a row's own without a gap.
class Image {
public:
  explicit Image(nb::handle object) : buffer_(object, "image") {
    const Py_buffer& view = buffer_.view();
    if (buffer_.type() != typeName<uint32_t>()) {
      buffer_.refuseType(typeName<uint32_t>());
    }
    if (view.ndim != 2) {
      refuseValue("image has " + std::to_string(view.ndim) + " dimensions: 2 are needed, rows and columns");
    }
    if (view.shape[0] > INT32_MAX || view.shape[1] > INT32_MAX) {
      refuseValue("image has rows or columns that 32 bits do not number");
    }
    if (reinterpret_cast<uintptr_t>(view.buf) % alignof(uint32_t) != 0 || pitch() % view.itemsize != 0) {
      refuseValue("image is not aligned to 4 bytes");
    }
    if (width() > 1 && view.strides[1] != view.itemsize) {
      refuseValue("image has columns " + std::to_string(view.strides[1]) + " bytes apart: 4 are needed");
    }
    if (pitch() > INT32_MAX || pitch() < INT32_MIN) {
      refuseValue("image has rows " + std::to_string(pitch()) + " bytes apart: 32 bits do not hold it");
    }
  }

  const uint32_t* data() const { return static_cast<const uint32_t*>(buffer_.view().buf); }
  int32_t height() const { return static_cast<int32_t>(buffer_.view().shape[0]); }
  int32_t width() const { return static_cast<int32_t>(buffer_.view().shape[1]); }

  /// Towards lower addresses, as the kernel counts it.
  ptrdiff_t pitch() const { return height() < 2 ? 0 : -buffer_.view().strides[0]; }

private:
  Buffer buffer_;
};

}  // namespace

void defineDisplay(nb::module_& kernels) {
  defineKernel(
      kernels,
      "def GetXYValGraph2D(y: float, *, y_type: int = 7, x_source: int = 0, x_index: int = 0, x_values: float64[] | "
      "None = None, "
      "x_axis_mode: int = 0, y_axis_mode: int = 0, rectangle: tuple[int, int, int, int], x_scale: float = 1.0, "
      "x_offset: float = 0.0, y_scale: float = 1.0, y_offset: float = 0.0, x_range: tuple[float, float] = (0.0, 1.0), "
      "x_log_range: tuple[float, float] = (0.0, 1.0), y_range: tuple[float, float] = (0.0, 1.0), "
      "y_log_range: tuple[float, float] = (0.0, 1.0), db_reference: float = 1.0) -> tuple[int, int, int]",
      "Place a point of a channel on the pixel grid of a graph.\n\n"
      "Parameters\n----------\n"
      "y\n    The sample.\n"
      "y_type\n    5: the sample is rounded to single, else it is a double.\n"
      "x_source\n    0: X is `x_index`; 1: `x_values[x_index]`; 2: x_index * x_scale + x_offset; else: the least X.\n"
      "x_values\n    Shape (n,), n above `x_index`; needed where `x_source` is 1.\n"
      "x_axis_mode\n    0: linear; 1: logarithmic; else: X is the normalised value itself.\n"
      "y_axis_mode\n    0: linear; 1: logarithmic; else: decibels over `db_reference`.\n"
      "rectangle\n    Left, top, right, bottom in pixels, of 16 bits; Y grows downwards.\n"
      "x_range, y_range\n    Least and largest value of the axis; of an axis in decibels in dB.\n"
      "x_log_range, y_log_range\n    The base-10 logarithms of these, for logarithmic axes.\n\n"
      "Returns\n-------\npixel_x, pixel_y, valid\n    The last is 1.\n\n"
      "Notes\n-----\n"
      "Logarithms are approximations, to 1.23e-4. On an axis without a range the normalised value is the axis minimum.",
      [](double y, int yType, int xSource, uint32_t xIndex, nb::handle xValues, int xAxisMode, int yAxisMode,
         const std::tuple<int16_t, int16_t, int16_t, int16_t>& rectangle, double xScale, double xOffset, double yScale,
         double yOffset, std::pair<double, double> xRange, std::pair<double, double> xLogRange,
         std::pair<double, double> yRange, std::pair<double, double> yLogRange, double dbReference) {
        const auto byte = [](int number, const char* name) {
          if (number < 0 || number > UINT8_MAX) {
            refuseValue(std::string(name) + " is " + std::to_string(number) + ": 0 to 255 is needed");
          }
          return static_cast<uint8_t>(number);
        };
        std::optional<Input<double>> values;
        if (!xValues.is_none()) {
          values.emplace(xValues, "x_values");
        }
        if (xSource == KXCALC_X_VALUES && (!values || values->size() <= xIndex)) {
          refuseValue("x_values has no element x_index");
        }
        const auto single = static_cast<float>(y);
        int32_t pixelX = 0, pixelY = 0, valid = 0;
        XYValGraph2DParams p{};
        p.xSource = byte(xSource, "x_source");
        p.yType = byte(yType, "y_type");
        p.xAxisMode = byte(xAxisMode, "x_axis_mode");
        p.yAxisMode = byte(yAxisMode, "y_axis_mode");
        p.xIndex = xIndex;
        std::tie(p.left, p.top, p.right, p.bottom) = rectangle;
        p.xScale = xScale;
        p.xOffset = xOffset;
        p.yScale = yScale;
        p.yOffset = yOffset;
        std::tie(p.xMin, p.xMax) = xRange;
        std::tie(p.xLogMin, p.xLogMax) = xLogRange;
        std::tie(p.yMin, p.yMax) = yRange;
        std::tie(p.yLogMin, p.yLogMax) = yLogRange;
        p.dbReference = dbReference;
        p.yValue = yType == KXCALC_SINGLE ? static_cast<const void*>(&single) : &y;
        p.xValues = values ? values->data() : nullptr;
        p.pixelX = &pixelX;
        p.pixelY = &pixelY;
        p.valid = &valid;
        functions().kxcalcGetXYValGraph2D(&p);
        return nb::make_tuple(pixelX, pixelY, valid);
      },
      "y"_a, nb::kw_only(), "y_type"_a = static_cast<int>(KXCALC_DOUBLE), "x_source"_a = 0, "x_index"_a = 0,
      "x_values"_a = nb::none(), "x_axis_mode"_a = 0, "y_axis_mode"_a = 0, "rectangle"_a, "x_scale"_a = 1.0,
      "x_offset"_a = 0.0, "y_scale"_a = 1.0, "y_offset"_a = 0.0, "x_range"_a = nb::make_tuple(0.0, 1.0),
      "x_log_range"_a = nb::make_tuple(0.0, 1.0), "y_range"_a = nb::make_tuple(0.0, 1.0),
      "y_log_range"_a = nb::make_tuple(0.0, 1.0), "db_reference"_a = 1.0);

  defineKernel(
      kernels,
      "def FindCursorXY(image: uint32[], cursor_x: int, cursor_y: int, ignore_values: uint32[] | None = None) -> "
      "tuple[int, int, int] | None",
      "Find the pixel nearest to a cursor whose value is not to be ignored.\n\n"
      "Parameters\n----------\n"
      "image\n    Shape (rows, columns); rows at any distance, upwards too, columns side by side.\n"
      "cursor_x, cursor_y\n    Column and row.\n"
      "ignore_values\n    Shape (n,).\n\n"
      "Returns\n-------\nvalue, column, row\n    None where there is no such pixel.\n\n"
      "Notes\n-----\n"
      "The up to three columns after the last four are measured and reported as if the row began with them: fill rows "
      "up to\n"
      "a multiple of four with a value to ignore. Some distances count one more to the right, and from 46341 rows on "
      "far\n"
      "rows may count as near.",
      [](nb::handle object, uint32_t cursorX, uint32_t cursorY, nb::handle ignored) -> nb::object {
        const Image image(object);
        std::optional<Input<uint32_t>> ignore;
        if (!ignored.is_none()) {
          ignore.emplace(ignored, "ignore_values", Layout::contiguous, INT32_MAX);
        }
        constexpr uint32_t nowhere = UINT32_MAX;  // columns are numbered by 31 bits
        uint32_t value = 0, x = nowhere, y = 0;
        {
          const Unlocked unlocked(static_cast<size_t>(image.width()) * static_cast<size_t>(image.height()));
          functions().kxcalcFindCursorXY(
              image.data(), static_cast<int32_t>(image.pitch()), image.width(), image.height(), cursorX, cursorY,
              &value, &x, &y, ignore ? ignore->data() : nullptr, ignore ? static_cast<int32_t>(ignore->size()) : 0);
        }
        return x == nowhere ? nb::none() : nb::object(nb::make_tuple(value, x, y));
      },
      "image"_a, "cursor_x"_a, "cursor_y"_a, "ignore_values"_a = nb::none());
}

}  // namespace kxpython
