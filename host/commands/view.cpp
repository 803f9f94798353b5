// kxhost view: a picture of one channel's curve, with a cursor on it.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/display/curve.hpp"
#include "host/commands/command.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/pictures/curve_picture.hpp"
#include "host/pictures/finite_range.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/progress.hpp"
#include "host/reports/required.hpp"
#include "recordings/output_file.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

struct ViewOptions {
  std::string file;
  std::string picture;
  InputOptions input;
  int channel = 1;
  std::optional<double> from, to;
  std::optional<double> scale, offset;
  std::string unit;
  AxisScale xScale = AxisScale::linear;
  AxisScale yScale = AxisScale::linear;
  std::optional<Pixel> cursor;
  int width = 1200;
  int height = 480;
};

/// Frames begin to end - 1 of one channel.
struct Selection {
  size_t channel;  // from 0
  uint64_t begin;
  uint64_t end;
  Scaling scaling;
  bool ofMagnitudes;  // logarithms have no place for the sign
};

/// One sample and its pixel.
struct Point {
  uint64_t frame;
  double value;
  Pixel pixel;
};

/// Goes through a recording several times: its length must be known before columns can be laid out, and their extremes
/// before the curve can be drawn. So only blocks of it are ever in memory.
template <class T>
class ChannelReader {
public:
  /// @param passes  how often the recording will be gone through.
  ChannelReader(const Functions& functions, Recording& recording, const std::string& file, int passes)
      : functions_(functions),
        recording_(recording),
        file_(file),
        progress_(file),
        passes_(passes),
        block_(blockFrames * recording.format().channels.size()),
        values_(blockFrames) {}

  uint64_t countFrames() {
    uint64_t total = 0;
    while (const size_t frames = recording_.read(std::span(block_))) {
      total += frames;
      report();
    }
    ++pass_;
    return total;
  }

  /// Calls use(values) for the values of the selection, a part after the other.
  template <class Use>
  void read(const Selection& selection, Use use) {
    const size_t channels = recording_.format().channels.size();
    recording_.rewind();
    for (uint64_t position = 0; position < selection.end;) {
      const size_t frames = recording_.read(std::span(block_));
      if (frames == 0) {
        throw FileError(file_, "changed while it was read");
      }
      const uint64_t end = std::min(position + frames, selection.end);
      if (const uint64_t begin = std::max(position, selection.begin); begin < end) {
        const auto part = std::span(values_).first(end - begin);
        channelValues(functions_, block_.data() + (begin - position) * channels + selection.channel, channels,
                      selection.scaling, part);
        use(std::span<const double>(part));
      }
      position += frames;
      report();
    }
    ++pass_;
  }

private:
  void report() { progress_.update((pass_ + recording_.position()) / passes_); }

  const Functions& functions_;
  Recording& recording_;
  const std::string& file_;
  Progress progress_;
  int passes_;
  int pass_ = 0;
  std::vector<T> block_;
  std::vector<double> values_;
};

double drawnValue(const Selection& selection, double value) {
  return selection.ofMagnitudes ? std::abs(value) : value;
}

/// The Y axis that a curve needs. Infinite values do not count.
Axis yAxisFor(const Curve& curve, AxisScale scale) {
  FiniteRange all, positive;
  for (const CurveColumn& column : curve.columns()) {
    for (const double value : {column.minimum, column.maximum}) {
      if (!column.isEmpty) {
        all.add(value);
      }
      if (!column.isEmpty && value > 0) {
        positive.add(value);
      }
    }
  }
  if (all.isEmpty() || (scale != AxisScale::linear && positive.isEmpty())) {
    return axisAround(scale, 0, 1, 1);
  }
  return axisAround(scale, all.low, all.high, positive.low);
}

/// The frame nearest to a time on the axis, if there is one or if it is the end.
uint64_t frameAt(const std::string& file, const char* option, double time, double rate, uint64_t frames) {
  const double frame = std::round(time * rate);
  if (!(frame >= 0 && frame <= static_cast<double>(frames))) {
    throw FileError(file, fmt::format("{} {:.10g} lies outside of the recording, which goes from 0 to {:.10g}", option,
                                      time, static_cast<double>(frames) / rate));
  }
  return static_cast<uint64_t>(frame);
}

/// What the options select of a recording of that many frames.
Selection selectionOf(const ViewOptions& options, const Format& format, size_t channel, uint64_t frames) {
  const double rate = format.rate.value_or(1);
  const uint64_t begin = options.from ? frameAt(options.file, "--from", *options.from, rate, frames) : 0;
  const uint64_t end = options.to ? frameAt(options.file, "--to", *options.to, rate, frames) : frames;
  const bool isScaled = options.scale || options.offset;
  Selection selection{channel,
                      begin,
                      end,
                      {options.scale.value_or(isScaled ? 1 : 1 / format.fullScale), options.offset.value_or(0)},
                      options.yScale != AxisScale::linear};
  if (options.xScale == AxisScale::logarithmic) {
    selection.begin = std::max<uint64_t>(begin, 1);  // time 0 is infinitely far to the left
  }
  if (selection.begin >= selection.end) {
    throw FileError(options.file, frames == 0 ? "holds no samples to draw"
                                  : begin < selection.begin
                                      ? "nothing is selected: a logarithmic time axis begins after time 0"
                                      : "nothing is selected: no sample lies between --from and --to");
  }
  return selection;
}

/// Ends at the selection's first frame, and at the end of its last one.
Axis xAxisFor(const ViewOptions& options, const Selection& selection, double rate) {
  const Axis axis{options.xScale, static_cast<double>(selection.begin) / rate,
                  static_cast<double>(selection.end) / rate};
  if (axis.scale == AxisScale::logarithmic && std::log10(axis.maximum / axis.minimum) < leastDecades) {
    throw FileError(options.file,
                    "the selection is too short for a logarithmic time axis: its end must be at least 1.26 "
                    "times its beginning");
  }
  return axis;
}

/// The sample that a pixel of the curve stands for: the one that lies nearest to it, of those in its column and the
/// two beside them, whose lines lead there.
template <class T>
Point sampleAt(ChannelReader<T>& reader, Selection selection, const std::vector<uint64_t>& borders,
               const CurvePicture& picture, Pixel found) {
  const size_t column = picture.columnOf(found);
  selection.begin = std::max(borders[column], selection.begin + 1) - 1;
  selection.end = std::min(borders[column + 1] + 1, selection.end);
  Point nearest{};
  double least = std::numeric_limits<double>::infinity();
  uint64_t frame = selection.begin;
  reader.read(selection, [&](std::span<const double> values) {
    for (const double value : values) {
      const Pixel pixel = picture.placeFrame(frame, drawnValue(selection, value));
      const double distance = std::hypot(pixel.x - found.x, pixel.y - found.y);
      if (!std::isnan(value) && distance < least) {
        least = distance;
        nearest = {frame, value, pixel};
      }
      ++frame;
    }
  });
  return nearest;
}

std::string withUnit(const std::string& text, const std::string& unit) {
  return unit.empty() ? text : fmt::format("{} ({})", text, unit);
}

std::string yAxisTitle(AxisScale scale, const std::string& unit) {
  switch (scale) {
    case AxisScale::linear:
      return withUnit("value", unit);
    case AxisScale::logarithmic:
      return withUnit("magnitude", unit);
    case AxisScale::decibel:
      return "magnitude in " + withUnit("dB re 1", unit);
  }
  return "";
}

/// A place on the time axis: a time, or a frame's number where no rate is known.
std::string timeText(const Format& format, uint64_t frame) {
  return format.rate ? fmt::format("{:.10g} s", static_cast<double>(frame) / *format.rate) : std::to_string(frame);
}

std::string valueText(const ViewOptions& options, double value) {
  std::string text = fmt::format("{:.9g}", value);
  if (!options.unit.empty()) {
    text += " " + options.unit;
  }
  if (options.yScale == AxisScale::decibel) {
    text += fmt::format(" ({:.5g} dB)", 20 * std::log10(std::abs(value)));
  }
  return text;
}

/// What the picture calls the values' unit: the file's own is that of unscaled samples.
std::string unitOf(const ViewOptions& options, const Format& format) {
  const bool isFullScaleOne = !options.scale && !options.offset && !format.unit.empty();
  return options.unit.empty() && isFullScaleOne ? "full scale = 1" : options.unit;
}

/// Draws a picture; returns what is to be said about it.
template <class T>
std::string view(const Functions& functions, const ViewOptions& options, Recording& recording, size_t channel,
                 const OutputFile& file) {
  const Format& format = recording.format();
  const double rate = format.rate.value_or(1);
  ChannelReader<T> reader(functions, recording, options.file, options.cursor ? 3 : 2);

  const Selection selection = selectionOf(options, format, channel, reader.countFrames());
  CurvePicture picture(functions, options.width, options.height, rate, xAxisFor(options, selection, rate));
  const std::vector<uint64_t> borders = picture.columnBorders(selection.begin, selection.end);
  Curve curve = required(Curve::create(functions, borders));
  std::vector<double> drawn;
  reader.read(selection, [&](std::span<const double> values) {
    drawn.resize(values.size());
    std::transform(values.begin(), values.end(), drawn.begin(),
                   [&](double value) { return drawnValue(selection, value); });
    curve.feed(drawn);
  });
  picture.setYAxis(yAxisFor(curve, options.yScale));
  picture.drawCurve(curve, borders);

  std::string said = fmt::format("{}: {} samples from {} to {}\n", options.picture, selection.end - selection.begin,
                                 timeText(format, selection.begin), timeText(format, selection.end));
  std::optional<Reading> reading;
  if (options.cursor) {
    said += fmt::format("cursor at {},{}: ", options.cursor->x, options.cursor->y);
    if (const std::optional<Pixel> found = picture.nearestOnCurve(*options.cursor)) {
      const Point point = sampleAt(reader, selection, borders, picture, *found);
      const std::string time = timeText(format, point.frame), value = valueText(options, point.value);
      said += fmt::format("curve at {},{}, sample {}{}, value {}\n", found->x, found->y, point.frame,
                          format.rate ? " at " + time : "", value);
      reading = {point.pixel, fmt::format("{}{}, {}", format.rate ? "" : "sample ", time, value)};
    } else {
      said += "no curve\n";
    }
  }
  picture.finish({fmt::format("{}, channel {}", titleOf(options.file, format), format.channels[channel]),
                  timeAxisTitle(format), yAxisTitle(options.yScale, unitOf(options, format))},
                 reading, file);
  return said;
}

int runView(const Functions& functions, const ViewOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const Format& format = recording->format();
  const size_t channel = channelIndex(options.file, format, options.channel);
  const OutputFile file(options.picture);
  const std::string said =
      visitSampleType(format.type, [&]<class T>() { return view<T>(functions, options, *recording, channel, file); });
  placeOutputs();
  std::cout << said;
  printNotes(options.file, recording->notes());
  return 0;
}

Pixel cursorIn(const std::string& text) {
  const auto pair = pairIn<int>(text);
  if (!pair) {
    throw CLI::ValidationError("--cursor", "is not two whole numbers X,Y: " + text);
  }
  return {pair->first, pair->second};
}

}  // namespace

void addViewCommand(CLI::App& program, Action& chosen) {
  const auto options = std::make_shared<ViewOptions>();
  CLI::App& command = *program.add_subcommand("view", "Picture of a channel's curve, with a cursor on it");
  addRecordingOption(command, options->file).required();
  addInputOptions(command, options->input);
  command.add_option("-o,--output", options->picture, "The picture to draw; - is standard output")
      ->required()
      ->type_name("PICTURE.png")
      ->check(streamOrEndingIn({".png"}));
  addChannelOption(command, options->channel);
  command.add_option("--from", options->from, "Begin at this time, in seconds (in samples where no rate is known)")
      ->type_name("TIME")
      ->check(finite());
  command.add_option("--to", options->to, "End before this time")->type_name("TIME")->check(finite());
  command.add_option("--scale", options->scale, "Value of one step of the file")->type_name("NUMBER")->check(finite());
  command.add_option("--offset", options->offset, "Value of step 0")->type_name("NUMBER")->check(finite());
  command.add_option("--unit", options->unit, "Unit of the values, for the picture")->type_name("TEXT");
  using ScaleNames = std::vector<std::pair<std::string, AxisScale>>;
  command.add_option("--x-axis", options->xScale, "Time axis: lin or log")
      ->type_name("SCALE")
      ->transform(CLI::CheckedTransformer(ScaleNames{{"lin", AxisScale::linear}, {"log", AxisScale::logarithmic}}));
  command.add_option("--y-axis", options->yScale, "Value axis: lin, log or db")
      ->type_name("SCALE")
      ->transform(CLI::CheckedTransformer(
          ScaleNames{{"lin", AxisScale::linear}, {"log", AxisScale::logarithmic}, {"db", AxisScale::decibel}}));
  command
      .add_option_function<std::string>(
          "--cursor", [options](const std::string& text) { options->cursor = cursorIn(text); },
          "Find the point of the curve nearest to this pixel of the picture, counted from its top left corner")
      ->type_name("X,Y");
  command.add_option("--width", options->width, "Width of the picture in pixels")
      ->type_name("PIXELS")
      ->check(CLI::Range(320, 16000))
      ->capture_default_str();
  command.add_option("--height", options->height, "Height of the picture in pixels")
      ->type_name("PIXELS")
      ->check(CLI::Range(240, 16000))
      ->capture_default_str();
  command.footer(
      "Without --scale and --offset integer files are drawn with a full scale of 1. With one of them a value is\n"
      "sample * scale + offset, of integer files in their own steps (16-bit ones from -32768 to 32767).\n"
      "Curves of any length keep every peak: they look as if each sample had been drawn.\n"
      "Logarithmic and dB axes show magnitudes. They cover six decades (120 dB) at most; what is less, 0 too, lies on\n"
      "their lower end. A logarithmic time axis begins with the first sample after time 0.\n"
      "The cursor goes to the nearest pixel of the curve, and reads the sample that lies nearest to that.\n"
      "\n"
      "Examples:\n"
      "  kxhost view take1.wav -o curve.png\n"
      "  kxhost view take1.wav -o attack.png --from 1.25 --to 1.5 --cursor 600,200\n"
      "  kxhost view take1.wav -o decay.png --y-axis db --channel 2\n"
      "  kxhost view --raw int16 --channels 12 --rate 1000 heart.dat -o heart.png --scale 0.0005 --unit mV");
  command.callback([options, &chosen] {
    if (const auto& cursor = options->cursor;
        cursor && (cursor->x < 0 || cursor->x >= options->width || cursor->y < 0 || cursor->y >= options->height)) {
      throw CLI::ValidationError("--cursor", "lies outside of the picture");
    }
    chosen = [options](const Functions& functions) { return runView(functions, *options); };
  });
}

}  // namespace kxhost
