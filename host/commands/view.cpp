// kxhost view: a picture of channels' curves, with cursors on them.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <iterator>
#include <limits>

#include "analysis/display/curve.hpp"
#include "analysis/power/cycle_rms.hpp"
#include "host/commands/command.hpp"
#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "host/commands/selection.hpp"
#include "host/pictures/curve_picture.hpp"
#include "host/pictures/finite_range.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/notes.hpp"
#include "host/reports/print.hpp"
#include "host/reports/required.hpp"
#include "recordings/output_file.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

struct ViewOptions {
  std::string file;
  std::string picture;
  InputOptions input;
  std::vector<int> channels;
  bool isStacked = false;
  bool hasCycleRms = false;
  TimeRange range;
  ValueOptions values;
  AxisScale xScale = AxisScale::linear;
  AxisScale yScale = AxisScale::linear;
  std::vector<Pixel> cursors;
  int width = 1200;
  int height = 480;

  /// Logarithms have no place for the sign.
  bool showsMagnitudes() const { return yScale != AxisScale::linear; }
};

/// What is drawn of a recording.
struct Selection {
  FrameRange range;
  std::vector<size_t> channels;  // from 0
  Scaling scaling;
};

/// One sample and its pixel.
struct Point {
  uint64_t frame;
  double value;
  Pixel pixel;
};

/// What a cursor has found.
struct CursorPoint {
  Point point;
  size_t curve;  // index in the selection
};

/// A channel's curve, the cycles of the mains in it, and what its pixels come from.
struct ChannelCurve {
  Curve curve;
  std::vector<MainsCycle> cycles;
};

double drawnValue(const ViewOptions& options, double value) {
  return options.showsMagnitudes() ? std::abs(value) : value;
}

/// The Y axis that some curves need. Infinite values do not count.
Axis yAxisFor(std::span<const ChannelCurve> curves, AxisScale scale) {
  FiniteRange all, positive;
  for (const ChannelCurve& channel : curves) {
    for (const CurveColumn& column : channel.curve.columns()) {
      for (const double value : {column.minimum, column.maximum}) {
        if (!column.isEmpty) {
          all.add(value);
        }
        if (!column.isEmpty && value > 0) {
          positive.add(value);
        }
      }
    }
  }
  if (all.isEmpty() || (scale != AxisScale::linear && positive.isEmpty())) {
    return axisAround(scale, 0, 1, 1);
  }
  return axisAround(scale, all.low, all.high, positive.low);
}

/// What the options select of a recording of that many frames.
Selection selectionOf(const ViewOptions& options, const Format& format, std::vector<size_t> channels, uint64_t frames) {
  const FrameRange range = framesIn(options.range, options.file, format, frames);
  Selection selection{range, std::move(channels), scalingOf(options.values, format)};
  if (options.xScale == AxisScale::logarithmic) {
    selection.range.begin = std::max<uint64_t>(range.begin, 1);  // time 0 is infinitely far to the left
  }
  if (selection.range.begin >= selection.range.end) {
    throw FileError(options.file, frames == 0 ? "holds no samples to draw"
                                  : range.begin < selection.range.begin
                                      ? "nothing is selected: a logarithmic time axis begins after time 0"
                                      : "nothing is selected: no sample lies between --from and --to");
  }
  return selection;
}

/// Ends at the selection's first frame, and at the end of its last one.
Axis xAxisFor(const ViewOptions& options, const FrameRange& range, double rate) {
  const Axis axis{options.xScale, static_cast<double>(range.begin) / rate, static_cast<double>(range.end) / rate};
  if (axis.scale == AxisScale::logarithmic && std::log10(axis.maximum / axis.minimum) < leastDecades) {
    throw FileError(options.file,
                    "the selection is too short for a logarithmic time axis: its end must be at least 1.26 "
                    "times its beginning");
  }
  return axis;
}

/// The unit of a channel, as the picture calls it: the file's own is that of unscaled samples.
std::string unitOf(const ViewOptions& options, const Format& format, size_t channel) {
  const std::string unit = unitOf(options.values, format, channel);
  return unit.empty() && isFullScaleOne(options.values, format) ? "full scale = 1" : unit;
}

/// The unit that all of these channels have, if they do.
std::string commonUnit(const ViewOptions& options, const Format& format, std::span<const size_t> channels) {
  const std::string first = unitOf(options, format, channels.front());
  const bool isCommon =
      std::ranges::all_of(channels, [&](size_t channel) { return unitOf(options, format, channel) == first; });
  return isCommon ? first : "";
}

AxisTitle yAxisTitle(AxisScale scale, const std::string& unit) {
  switch (scale) {
    case AxisScale::linear:
      return {"value", unit};
    case AxisScale::logarithmic:
      return {"magnitude", unit};
    case AxisScale::decibel:
      break;
  }
  return {"magnitude in dB re 1", unit};
}

/// Channels that have no names go by their numbers.
std::string nameOf(const Format& format, size_t channel) {
  return "channel " + format.channels[channel];
}

CurveTitles titlesOf(const ViewOptions& options, const Format& format, const Selection& selection) {
  const bool isOne = selection.channels.size() == 1;
  CurveTitles titles{titleOf(options.file, format) + (isOne ? ", " + nameOf(format, selection.channels[0]) : ""),
                     format.rate ? AxisTitle{"time", "s"} : AxisTitle{timeAxisTitle(format), ""},
                     {},
                     {}};
  if (!options.isStacked) {
    titles.yAxes = {yAxisTitle(options.yScale, commonUnit(options, format, selection.channels))};
  }
  for (const size_t channel : selection.channels) {
    if (options.isStacked) {
      titles.yAxes.push_back({nameOf(format, channel), unitOf(options, format, channel)});
    } else if (!isOne) {
      titles.keys.push_back(nameOf(format, channel));
    }
  }
  return titles;
}

std::string valueText(const ViewOptions& options, double value, const std::string& unit) {
  std::string text = fmt::format("{:.9g}", value);
  if (!unit.empty()) {
    text += " " + unit;
  }
  if (options.yScale == AxisScale::decibel) {
    text += fmt::format(" ({:.5g} dB)", 20 * std::log10(std::abs(value)));
  }
  return text;
}

/// A picture while it comes into being.
template <class T>
class View {
public:
  View(const Functions& functions, const ViewOptions& options, Recording& recording, std::vector<size_t> channels)
      : functions_(functions),
        options_(options),
        format_(recording.format()),
        reader_(recording, options.file, 2 + static_cast<int>(options.cursors.size())),
        selection_(selectionOf(options, format_, std::move(channels), reader_.count())),
        picture_(functions, options.width, options.height, format_.rate.value_or(1),
                 xAxisFor(options, selection_.range, format_.rate.value_or(1)), titlesOf(options, format_, selection_)),
        borders_(picture_.columnBorders(selection_.range.begin, selection_.range.end)) {}

  /// Draws it; returns what is to be said about it.
  std::string draw(const OutputFile& file) {
    gather();
    drawCurves();
    std::string said = fmt::format("{}: {} samples from {} to {}\n", options_.picture, selection_.range.count(),
                                   timeText(format_, selection_.range.begin), timeText(format_, selection_.range.end));
    std::vector<Reading> readings;
    std::vector<CursorPoint> points;
    for (const Pixel cursor : options_.cursors) {
      said += fmt::format("cursor at {},{}: ", cursor.x, cursor.y);
      if (const std::optional<FoundPixel> found = picture_.nearestOnCurve(cursor)) {
        points.push_back({sampleAt(*found), found->curve});
        said += readingText(*found, points.back()) + '\n';
        readings.push_back({points.back().point.pixel, paneOf(found->curve), labelOf(points.back())});
      } else {
        said += "no curve\n";
      }
    }
    const std::string between = points.size() == 2 ? betweenText(points[0], points[1]) : "";
    said += between.empty() ? "" : fmt::format("between the cursors: {}\n", between);
    for (size_t i = 0; i < curves_.size() && options_.hasCycleRms; ++i) {
      said += cyclesText(i);
      drawCycles(i);
    }
    picture_.finish(readings, between, file);
    return said;
  }

private:
  size_t paneOf(size_t curve) const { return options_.isStacked ? curve : 0; }

  std::string unitOfCurve(size_t curve) const { return unitOf(options_.values, format_, selection_.channels[curve]); }

  /// Reads the curves, and the cycles of the mains.
  void gather() {
    std::vector<CycleRms> rms;
    for (size_t i = 0; i < selection_.channels.size(); ++i) {
      curves_.push_back({required(Curve::create(functions_, borders_)), {}});
      if (options_.hasCycleRms) {
        rms.push_back(required(CycleRms::create(rateOf(options_.file, format_)), options_.file));
      }
    }
    const auto add = [&](size_t i, std::span<const MainsCycle> cycles) {
      curves_[i].cycles.insert(curves_[i].cycles.end(), cycles.begin(), cycles.end());
    };
    std::vector<double> drawn;
    read(selection_.range, selection_.channels, [&](size_t i, std::span<const double> values) {
      drawn.resize(values.size());
      std::ranges::transform(values, drawn.begin(), [&](double value) { return drawnValue(options_, value); });
      curves_[i].curve.feed(drawn);
      if (options_.hasCycleRms) {
        add(i, rms[i].feed(values));
      }
    });
    for (size_t i = 0; i < rms.size(); ++i) {
      add(i, rms[i].finish());
    }
  }

  template <class Use>
  void read(const FrameRange& range, std::span<const size_t> channels, Use use) {
    reader_.readValues(functions_, range, channels, selection_.scaling, use);
  }

  void drawCurves() {
    const auto all = std::span<const ChannelCurve>(curves_);
    for (size_t i = 0; i < curves_.size(); ++i) {
      picture_.setYAxis(paneOf(i), yAxisFor(options_.isStacked ? all.subspan(i, 1) : all, options_.yScale));
    }
    picture_.drawGrids();
    for (size_t i = 0; i < curves_.size(); ++i) {
      picture_.drawCurve(paneOf(i), i, curves_[i].curve, borders_);
    }
  }

  /// The sample that a pixel of a curve stands for: the one that lies nearest to it, of those in its column and the
  /// two beside them, whose lines lead there.
  Point sampleAt(const FoundPixel& found) {
    const size_t column = picture_.columnOf(found.pixel);
    const FrameRange range{std::max(borders_[column], selection_.range.begin + 1) - 1,
                           std::min(borders_[column + 1] + 1, selection_.range.end)};
    Point nearest{};
    double least = std::numeric_limits<double>::infinity();
    uint64_t frame = range.begin;
    read(range, std::span(selection_.channels).subspan(found.curve, 1), [&](size_t, std::span<const double> values) {
      for (const double value : values) {
        const Pixel pixel =
            picture_.placeFrame(paneOf(found.curve), static_cast<double>(frame), drawnValue(options_, value));
        const double distance = std::hypot(pixel.x - found.pixel.x, pixel.y - found.pixel.y);
        if (!std::isnan(value) && distance < least) {
          least = distance;
          nearest = {frame, value, pixel};
        }
        ++frame;
      }
    });
    return nearest;
  }

  /// What is said of a cursor: the pixel, the sample, and the channel where there are several.
  std::string readingText(const FoundPixel& found, const CursorPoint& cursor) const {
    const uint64_t frame = cursor.point.frame;
    return fmt::format("curve at {},{}, sample {}{}, value {}{}", found.pixel.x, found.pixel.y, frame,
                       format_.rate ? " at " + timeText(format_, frame) : "",
                       valueText(options_, cursor.point.value, unitOfCurve(cursor.curve)),
                       curves_.size() > 1 ? ", " + nameOf(format_, selection_.channels[cursor.curve]) : "");
  }

  std::string labelOf(const CursorPoint& cursor) const {
    return fmt::format("{}{}, {}", format_.rate ? "" : "sample ", timeText(format_, cursor.point.frame),
                       valueText(options_, cursor.point.value, unitOfCurve(cursor.curve)));
  }

  /// From the first cursor to the second one. Values of different units have no difference.
  std::string betweenText(const CursorPoint& first, const CursorPoint& second) const {
    const double frames = static_cast<double>(second.point.frame) - static_cast<double>(first.point.frame);
    std::string text =
        fmt::format("\u0394t {:.10g}{}", frames / format_.rate.value_or(1), format_.rate ? " s" : " samples");
    if (format_.rate && frames != 0) {
      text += fmt::format(", 1/\u0394t {:.7g} Hz", *format_.rate / std::abs(frames));
    }
    const std::string unit = unitOfCurve(first.curve);
    if (unit != unitOfCurve(second.curve)) {
      return text;
    }
    text +=
        fmt::format(", \u0394 value {:.9g}", second.point.value - first.point.value) + (unit.empty() ? "" : " " + unit);
    if (options_.yScale == AxisScale::decibel) {
      text += fmt::format(" ({:.5g} dB)", 20 * std::log10(std::abs(second.point.value / first.point.value)));
    }
    return text;
  }

  /// The rms of the cycles of the mains in a channel.
  std::string cyclesText(size_t curve) const {
    const std::vector<MainsCycle>& cycles = curves_[curve].cycles;
    const std::string name = nameOf(format_, selection_.channels[curve]);
    if (cycles.empty()) {
      return fmt::format("{}: no mains is to be seen\n", name);
    }
    const auto [least, most] = std::ranges::minmax_element(cycles, {}, &MainsCycle::rms);
    const double length = cycles.back().end - cycles.front().begin;
    const std::string unit = unitOfCurve(curve).empty() ? "" : " " + unitOfCurve(curve);
    return fmt::format("{}: {} cycles of {:.6g} Hz on the average, rms per cycle from {:.7g}{} to {:.7g}{}\n", name,
                       cycles.size(), static_cast<double>(cycles.size()) * *format_.rate / length, least->rms, unit,
                       most->rms, unit);
  }

  /// In the middle of each cycle.
  void drawCycles(size_t curve) {
    std::vector<TracePoint> points;
    for (const MainsCycle& cycle : curves_[curve].cycles) {
      points.push_back({static_cast<double>(selection_.range.begin) + (cycle.begin + cycle.end) / 2, cycle.rms});
    }
    picture_.drawTrace(paneOf(curve), curve, points);
  }

  const Functions& functions_;
  const ViewOptions& options_;
  const Format& format_;
  FrameReader<T> reader_;
  Selection selection_;
  CurvePicture picture_;
  std::vector<uint64_t> borders_;  // of the columns
  std::vector<ChannelCurve> curves_;
};

/// The channels that are drawn. Throws FileError if there are more than a picture has room for.
std::vector<size_t> channelsOf(const ViewOptions& options, const Format& format) {
  std::vector<size_t> channels = channelIndices(options.file, format, options.channels);
  const size_t room = options.isStacked ? std::min(mostCurves, CurvePicture::panesWithin(options.height)) : mostCurves;
  if (channels.size() > room) {
    throw FileError(options.file, fmt::format("a picture of {} pixels has room for {} channels, not for {}",
                                              options.height, room, channels.size()));
  }
  return channels;
}

int runView(const Functions& functions, const ViewOptions& options) {
  const auto recording = openRecording(options.file, options.input);
  const Format& format = recording->format();
  const std::vector<size_t> channels = channelsOf(options, format);
  const OutputFile file(options.picture);
  const std::string said = visitSampleType(
      format.type, [&]<class T>() { return View<T>(functions, options, *recording, channels).draw(file); });
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
  CLI::App& command = *program.add_subcommand("view", "Picture of channels' curves, with cursors on them");
  addRecordingOption(command, options->file).required();
  addInputOptions(command, options->input);
  command.add_option("-o,--output", options->picture, "The picture to draw; - is standard output")
      ->required()
      ->type_name("PICTURE.png")
      ->check(streamOrEndingIn({".png"}));
  addChannelsOption(command, options->channels, "1");
  command.add_flag("--stacked", options->isStacked, "Draw several channels below each other, not over one another");
  addTimeRangeOptions(command, options->range);
  addValueOptions(command, options->values);
  addScaleOptions(command, options->xScale, options->yScale, "Time axis");
  command
      .add_option_function<std::vector<std::string>>(
          "--cursor",
          [options](const std::vector<std::string>& texts) {
            std::ranges::transform(texts, std::back_inserter(options->cursors), cursorIn);
          },
          "Find the point of a curve nearest to this pixel of the picture, counted from its top left corner;\n"
          "of two cursors, also the time and the value between them")
      ->type_name("X,Y")
      ->allow_extra_args(false);
  command.add_flag("--cycle-rms", options->hasCycleRms, "Also draw the rms of each cycle, where there is a mains");
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
      "A cursor goes to the nearest pixel of a curve, and reads the sample that lies nearest to that.\n"
      "The mains may have 42.5 Hz to 69 Hz; each cycle of it is as long as the frequency there makes it.\n"
      "\n"
      "Examples:\n"
      "  kxhost view take1.wav -o curve.png\n"
      "  kxhost view take1.wav -o attack.png --from 1.25 --to 1.5 --cursor 600,200\n"
      "  kxhost view mains.csv -o mains.png --channel 1,2,3 --stacked --cycle-rms --cursor 300,90 --cursor 500,90\n"
      "  kxhost view take1.wav -o decay.png --y-axis db --channel 2\n"
      "  kxhost view --raw int16 --channels 12 --rate 1000 heart.dat -o heart.png --scale 0.0005 --unit mV");
  command.callback([options, &chosen] {
    if (options->channels.empty()) {
      options->channels = {1};
    }
    if (options->cursors.size() > 2) {
      throw CLI::ValidationError("--cursor", "there are two at most");
    }
    for (const Pixel cursor : options->cursors) {
      if (cursor.x < 0 || cursor.x >= options->width || cursor.y < 0 || cursor.y >= options->height) {
        throw CLI::ValidationError("--cursor", "lies outside of the picture");
      }
    }
    chosen = [options](const Functions& functions) { return runView(functions, *options); };
  });
}

}  // namespace kxhost
