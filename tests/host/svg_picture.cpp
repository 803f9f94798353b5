#include "host/svg_picture.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

namespace kxhost_test {
namespace {

/// An element's name and attributes with the text behind it, up to the next one.
struct Element {
  std::string name;
  std::string attributes;
  std::string text;

  std::string attribute(const std::string& key) const;
};

std::string Element::attribute(const std::string& key) const {
  size_t begin = attributes.find(' ' + key);
  while (begin != std::string::npos) {
    const size_t after = attributes.find_first_not_of(" \n\t", begin + 1 + key.size());
    if (after != std::string::npos && attributes[after] == '=') {
      const size_t quote = attributes.find_first_of("'\"", after);
      const size_t end = attributes.find(attributes[quote], quote + 1);
      return attributes.substr(quote + 1, end - quote - 1);
    }
    begin = attributes.find(' ' + key, begin + 1);
  }
  return "";
}

std::vector<Element> elementsOf(const std::string& svg) {
  std::vector<Element> elements;
  for (size_t at = svg.find('<'); at != std::string::npos;) {
    const size_t end = svg.find('>', at), next = svg.find('<', end);
    const std::string tag = svg.substr(at + 1, end - at - 1);
    const size_t nameEnd = tag.find_first_of(" \n\t/", 1);
    elements.push_back({tag.substr(0, nameEnd), nameEnd == std::string::npos ? "" : ' ' + tag.substr(nameEnd),
                        next == std::string::npos ? "" : svg.substr(end + 1, next - end - 1)});
    at = next;
  }
  return elements;
}

/// The numbers of a text, whatever is between them.
std::vector<double> numbersIn(const std::string& text) {
  std::vector<double> numbers;
  for (const char* at = text.c_str(); *at != '\0';) {
    char* end = nullptr;
    const double number = std::strtod(at, &end);
    if (end != at) {
      numbers.push_back(number);
      at = end;
    } else {
      ++at;
    }
  }
  return numbers;
}

std::vector<Place> placesIn(const std::string& text) {
  const std::vector<double> numbers = numbersIn(text);
  std::vector<Place> places;
  for (size_t i = 0; i + 1 < numbers.size(); i += 2) {
    places.push_back({numbers[i], numbers[i + 1]});
  }
  return places;
}

/// The lines of a path, each of which begins with an M.
std::vector<std::vector<Place>> linesIn(const std::string& path) {
  std::vector<std::vector<Place>> lines;
  for (size_t at = path.find('M'); at != std::string::npos;) {
    const size_t next = path.find('M', at + 1);
    lines.push_back(placesIn(path.substr(at + 1, next == std::string::npos ? next : next - at - 1)));
    at = next;
  }
  return lines;
}

std::string withoutBlanks(std::string text) {
  std::erase(text, ' ');
  return text;
}

/// Goes through a picture's elements in order: each pane's axes and border, then its curves.
class Reader {
public:
  std::vector<SvgPane> panes;
  std::vector<SvgCurve> objects;

  void take(const Element& element);
  void finish();

private:
  void takePath(const Element& element);
  SvgCurve* curve() { return depth_ > 0 ? &panes.back().curves[current_ - 1] : nullptr; }

  SvgPane next_;               // whose curves are still to come
  size_t current_ = 0;         // curve, counted from 1
  int depth_ = 0;              // of groups within its own
  bool isSampleNext_ = false;  // the level line in the key, which follows the title
  std::optional<std::vector<Place>> tick_;
};

void Reader::take(const Element& element) {
  const std::string id = element.attribute("id");
  if (element.name == "g" && id.starts_with("gnuplot_plot_")) {
    if (panes.empty() || !next_.y.isEmpty()) {
      panes.push_back(std::exchange(next_, {}));
    }
    // Where the key covers curves, they come first and their titles later, under the same numbers.
    current_ = static_cast<size_t>(numbersIn(id).front());
    panes.back().curves.resize(std::max(panes.back().curves.size(), current_));
    depth_ = 1;
    return;
  }
  if (depth_ > 0 && (element.name == "g" || element.name == "/g")) {
    depth_ += element.name == "g" ? 1 : -1;
  }
  if (element.name == "path") {
    takePath(element);
  } else if (element.name == "polygon" && curve() != nullptr) {
    curve()->areas.push_back(placesIn(element.attribute("points")));
    curve()->colour = withoutBlanks(element.attribute("fill"));
  } else if (element.name == "polygon") {
    objects.push_back({"", withoutBlanks(element.attribute("fill")), {}, {placesIn(element.attribute("points"))}, {}});
  } else if (element.name == "use" && curve() != nullptr) {
    const std::vector<double> numbers = numbersIn(element.attribute("transform"));
    if (numbers.size() >= 2) {
      curve()->marks.push_back({numbers[0], numbers[1]});
      curve()->colour = withoutBlanks(element.attribute("color"));
    }
  } else if (element.name == "text" && curve() != nullptr) {
    isSampleNext_ = curve()->title.empty();
    curve()->title = isSampleNext_ ? element.text : curve()->title;
  } else if (element.name == "text" && tick_) {
    const Place from = tick_->front(), to = tick_->back();
    if (std::abs(from.x - to.x) < 0.1) {
      next_.x.addTick(element.text, from.x);
    } else if (to.x < from.x) {
      next_.y.addTick(element.text, from.y);
    } else {
      next_.y2.addTick(element.text, from.y);
    }
    tick_.reset();
  }
}

void Reader::takePath(const Element& element) {
  const std::vector<std::vector<Place>> lines = linesIn(element.attribute("d"));
  if (curve() != nullptr) {
    const bool isSample = isSampleNext_ && lines[0].size() == 2 && lines[0][0].y == lines[0][1].y;
    isSampleNext_ = false;
    curve()->lines.insert(curve()->lines.end(), lines.begin() + (isSample ? 1 : 0), lines.end());
    curve()->colour = withoutBlanks(element.attribute("stroke"));
    return;
  }
  const std::string colour = withoutBlanks(element.attribute("stroke"));
  const bool isBlack = colour == "black";
  if (colour.starts_with("rgb")) {
    objects.push_back({"", colour, lines, {}, {}});
  }
  tick_.reset();
  if (isBlack && lines.size() == 1 && lines[0].size() == 2) {
    tick_ = lines[0];
  } else if (isBlack && !lines.empty() && lines[0].size() >= 3) {
    const auto [left, right] = std::ranges::minmax(lines[0], {}, &Place::x);
    const auto [top, bottom] = std::ranges::minmax(lines[0], {}, &Place::y);
    next_.left = left.x;
    next_.right = right.x;
    next_.top = top.y;
    next_.bottom = bottom.y;
  }
}

/// Takes what lies outside of the panes off, as the samples in the key do.
void Reader::finish() {
  for (SvgPane& pane : panes) {
    const auto isOutside = [&](Place place) {
      return place.x < pane.left - 1 || place.x > pane.right + 1 || place.y < pane.top - 1 || place.y > pane.bottom + 1;
    };
    const auto areOutside = [&](const std::vector<Place>& places) { return std::ranges::all_of(places, isOutside); };
    for (SvgCurve& each : pane.curves) {
      std::erase_if(each.lines, areOutside);
      std::erase_if(each.areas, areOutside);
      std::erase_if(each.marks, isOutside);
    }
  }
}

double scaled(double number, AxisKind kind) {
  return kind == AxisKind::logarithmic ? std::log10(number) : number;
}

double distance(Place from, Place to) {
  return std::hypot(from.x - to.x, from.y - to.y);
}

double distanceToSegment(Place place, Place from, Place to) {
  const double length = distance(from, to);
  if (length == 0) {
    return distance(place, from);
  }
  const double along =
      ((place.x - from.x) * (to.x - from.x) + (place.y - from.y) * (to.y - from.y)) / (length * length);
  const double share = std::clamp(along, 0.0, 1.0);
  return distance(place, {std::lerp(from.x, to.x, share), std::lerp(from.y, to.y, share)});
}

Reader read(const std::string& picture) {
  EXPECT_TRUE(picture.starts_with("<?xml"));
  Reader reader;
  for (const Element& element : elementsOf(picture)) {
    reader.take(element);
  }
  reader.finish();
  return reader;
}

}  // namespace

SvgAxis::Ends SvgAxis::ends(AxisKind kind) const {
  if (ticks_.size() < 2) {
    ADD_FAILURE() << "an axis has " << ticks_.size() << " labelled ticks";
    return {0, 1, 0, 1};
  }
  const auto valueOf = [&](const auto& tick) { return scaled(std::strtod(tick.first.c_str(), nullptr), kind); };
  const Ends ends{valueOf(ticks_.front()), valueOf(ticks_.back()), ticks_.front().second, ticks_.back().second};
  for (const auto& tick : ticks_) {
    const double share = (valueOf(tick) - ends.first) / (ends.last - ends.first);
    EXPECT_NEAR(tick.second, std::lerp(ends.firstPixel, ends.lastPixel, share), 1) << "tick " << tick.first;
  }
  return ends;
}

double SvgAxis::pixelOf(double number, AxisKind kind) const {
  const Ends at = ends(kind);
  return std::lerp(at.firstPixel, at.lastPixel, (scaled(number, kind) - at.first) / (at.last - at.first));
}

double SvgAxis::numberAt(double pixel, AxisKind kind) const {
  const Ends at = ends(kind);
  const double value = std::lerp(at.first, at.last, (pixel - at.firstPixel) / (at.lastPixel - at.firstPixel));
  return kind == AxisKind::logarithmic ? std::pow(10, value) : value;
}

double SvgCurve::distanceOf(Place pixel) const {
  double least = std::numeric_limits<double>::infinity();
  for (const std::vector<Place>& line : lines) {
    for (size_t i = 0; i < line.size(); ++i) {
      least = std::min(least, distanceToSegment(pixel, line[i > 0 ? i - 1 : 0], line[i]));
    }
  }
  for (const std::vector<Place>& area : areas) {
    for (size_t i = 0; i < area.size(); ++i) {
      least = std::min(least, distanceToSegment(pixel, area[i > 0 ? i - 1 : area.size() - 1], area[i]));
    }
  }
  return least;
}

Place SvgPane::at(double xNumber, double yNumber, bool second) const {
  return {x.pixelOf(xNumber, xKind), (second ? y2 : y).pixelOf(yNumber, yKind)};
}

const SvgCurve& SvgPane::curve(const std::string& title) const {
  static const SvgCurve none;
  const auto found = std::ranges::find(curves, title, &SvgCurve::title);
  EXPECT_NE(found, curves.end()) << "no curve " << title;
  return found == curves.end() ? none : *found;
}

void expectThrough(const SvgPane& pane, const SvgCurve& curve, const std::vector<Place>& points, double pixels,
                   bool second) {
  for (const Place& point : points) {
    EXPECT_LE(curve.distanceOf(pane.at(point.x, point.y, second)), pixels)
        << curve.title << " at " << point.x << ", " << point.y;
  }
}

void expectMarks(const SvgPane& pane, const SvgCurve& curve, const std::vector<Place>& points, double pixels) {
  EXPECT_EQ(curve.marks.size(), points.size()) << curve.title;
  for (const Place& point : points) {
    double least = std::numeric_limits<double>::infinity();
    for (const Place& mark : curve.marks) {
      least = std::min(least, distance(mark, pane.at(point.x, point.y)));
    }
    EXPECT_LE(least, pixels) << curve.title << " at " << point.x << ", " << point.y;
  }
}

void expectSpan(const SvgCurve& curve, double left, double right, double pixels) {
  double first = std::numeric_limits<double>::infinity(), last = -first;
  for (const std::vector<Place>& line : curve.lines) {
    for (const Place& place : line) {
      first = std::min(first, place.x);
      last = std::max(last, place.x);
    }
  }
  EXPECT_NEAR(first, left, pixels) << curve.title;
  EXPECT_NEAR(last, right, pixels) << curve.title;
}

std::vector<SvgPane> readSvg(const std::string& picture) {
  return read(picture).panes;
}

std::vector<SvgCurve> readObjects(const std::string& picture) {
  return read(picture).objects;
}

}  // namespace kxhost_test
