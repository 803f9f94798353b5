#include "analysis/flicker/flicker_standard_points.hpp"

#include <array>
#include <cmath>
#include <numbers>
#include <span>

#include "analysis/flicker/flicker_observation.hpp"
#include "analysis/flicker/flicker_severity.hpp"

namespace kxanalysis {
namespace {

struct TablePoint {
  double modulation;
  double change;
};

// Largest sensation of 1 for sinusoidal and for rectangular changes, and short-term severity of 1 for rectangular ones.

constexpr auto sinusoidal230 = std::to_array<TablePoint>(
    {{0.5, 2.325},  {1, 1.397},        {1.5, 1.067}, {2, 0.879},   {2.5, 0.747}, {3, 0.645},    {3.5, 0.564},
     {4, 0.497},    {4.5, 0.442},      {5, 0.396},   {5.5, 0.357}, {6, 0.325},   {6.5, 0.300},  {7, 0.280},
     {7.5, 0.265},  {8, 0.256},        {8.8, 0.250}, {9.5, 0.254}, {10, 0.261},  {10.5, 0.271}, {11, 0.283},
     {11.5, 0.298}, {12, 0.314},       {13, 0.351},  {14, 0.393},  {15, 0.438},  {16, 0.486},   {17, 0.537},
     {18, 0.590},   {19, 0.646},       {20, 0.704},  {21, 0.764},  {22, 0.828},  {23, 0.894},   {24, 0.964},
     {25, 1.037},   {100.0 / 3, 2.128}});

constexpr auto sinusoidal120 = std::to_array<TablePoint>(
    {{0.5, 2.453},  {1, 1.465},         {1.5, 1.126}, {2, 0.942},   {2.5, 0.815}, {3, 0.717},    {3.5, 0.637},
     {4, 0.570},    {4.5, 0.514},       {5, 0.466},   {5.5, 0.426}, {6, 0.393},   {6.5, 0.366},  {7, 0.346},
     {7.5, 0.332},  {8, 0.323},         {8.8, 0.321}, {9.5, 0.329}, {10, 0.341},  {10.5, 0.355}, {11, 0.373},
     {11.5, 0.394}, {12, 0.417},        {13, 0.469},  {14, 0.528},  {15, 0.592},  {16, 0.660},   {17, 0.734},
     {18, 0.811},   {19, 0.892},        {20, 0.977},  {21, 1.067},  {22, 1.160},  {23, 1.257},   {24, 1.359},
     {25, 1.464},   {100.0 / 3, 2.570}, {40, 4.393}});

constexpr auto rectangular230 = std::to_array<TablePoint>(
    {{0.5, 0.509},  {1, 0.467},   {1.5, 0.429},  {2, 0.398},   {2.5, 0.370},  {3, 0.352},        {3.5, 0.342},
     {4, 0.332},    {4.5, 0.312}, {5, 0.291},    {5.5, 0.268}, {6, 0.248},    {6.5, 0.231},      {7, 0.216},
     {7.5, 0.207},  {8, 0.199},   {8.8, 0.196},  {9.5, 0.199}, {10, 0.203},   {10.5, 0.212},     {11, 0.222},
     {11.5, 0.233}, {12, 0.245},  {13, 0.272},   {14, 0.308},  {15, 0.341},   {16, 0.376},       {17, 0.411},
     {18, 0.446},   {19, 0.497},  {20, 0.553},   {21, 0.585},  {21.5, 0.592}, {22, 0.612},       {23, 0.680},
     {24, 0.743},   {25, 0.764},  {25.5, 0.806}, {28, 0.915},  {30.5, 0.847}, {100.0 / 3, 1.671}});

constexpr auto rectangular120 = std::to_array<TablePoint>(
    {{0.5, 0.598},  {1, 0.548},   {1.5, 0.503},  {2, 0.469},   {2.5, 0.439},  {3, 0.419},         {3.5, 0.408},
     {4, 0.394},    {4.5, 0.373}, {5, 0.348},    {5.5, 0.324}, {6, 0.302},    {6.5, 0.283},       {7, 0.269},
     {7.5, 0.258},  {8, 0.253},   {8.8, 0.252},  {9.5, 0.258}, {10, 0.266},   {10.5, 0.278},      {11, 0.292},
     {11.5, 0.308}, {12, 0.324},  {13, 0.367},   {14, 0.411},  {15, 0.457},   {16, 0.509},        {17, 0.575},
     {18, 0.626},   {19, 0.688},  {20, 0.746},   {21, 0.815},  {21.5, 0.837}, {22, 0.851},        {23, 0.946},
     {24, 1.067},   {25, 1.088},  {25.5, 1.072}, {28, 1.383},  {30.5, 1.602}, {100.0 / 3, 1.823}, {37, 1.304},
     {40, 3.451}});

constexpr auto severity230 = std::to_array<TablePoint>(
    {{1, 2.715}, {2, 2.191}, {7, 1.450}, {39, 0.894}, {110, 0.722}, {1620, 0.407}, {4000, 2.343}});

constexpr auto severity120 = std::to_array<TablePoint>(
    {{1, 3.181}, {2, 2.564}, {7, 1.694}, {39, 1.040}, {110, 0.844}, {1620, 0.548}, {4800, 4.837}});

std::span<const TablePoint> tableOf(FlickerSeries series, Lamp lamp) {
  const bool is230 = lamp == Lamp::volts230;
  switch (series) {
    case FlickerSeries::sinusoidal:
      return is230 ? std::span<const TablePoint>(sinusoidal230) : sinusoidal120;
    case FlickerSeries::rectangular:
      return is230 ? std::span<const TablePoint>(rectangular230) : rectangular120;
    case FlickerSeries::severity:
      return is230 ? std::span<const TablePoint>(severity230) : severity120;
  }
  return {};
}

/// @param cycles  since time 0.
double sineAt(double cycles) {
  return std::sin(2 * std::numbers::pi * (cycles - std::floor(cycles)));
}

/// A sine, or the sign of one.
double modulationAt(FlickerSeries series, double cycles) {
  if (series == FlickerSeries::sinusoidal) {
    return sineAt(cycles);
  }
  return cycles - std::floor(cycles) < 0.5 ? 1 : -1;
}

}  // namespace

std::vector<FlickerStandardPoint> flickerStandardPoints(FlickerSeries series, Lamp lamp) {
  std::vector<FlickerStandardPoint> points;
  for (const TablePoint& point : tableOf(series, lamp)) {
    points.push_back({series, lamp, point.modulation, point.change});
  }
  return points;
}

/// A carrier at mains frequency, sqrt(2) U sin(2 pi f t) (1 + change / 2 m(t)); both it and m are at 0 at time 0.
void StandardVoltage::next(std::span<float> voltage) {
  const double amplitude = std::numbers::sqrt2 * nominalVoltage(point_.lamp);
  const double mains = nominalSetting(point_.lamp).mains;
  for (float& sample : voltage) {
    const double time = static_cast<double>(position_++) / rate_;
    sample = static_cast<float>(amplitude * sineAt(mains * time) *
                                (1 + point_.change / 100 / 2 * modulationAt(point_.series, point_.frequency() * time)));
  }
}

Result<double> measureStandardPoint(const Functions& functions, const FlickerStandardPoint& point, double rate) {
  // Every modulation of the tables comes to its largest sensation again within 5 s.
  const bool isSeverity = point.series == FlickerSeries::severity;
  const double settlingSeconds = isSeverity ? 60 : 20, seconds = isSeverity ? 600 : 5;
  auto meter = Flickermeter::create(functions, nominalSetting(point.lamp), rate);
  if (!meter) {
    return Problem{meter.problem()};
  }
  const auto inSamples = [&](double duration) { return static_cast<uint64_t>(std::ceil(duration * rate)); };
  auto observation = FlickerObservation::create(functions, inSamples(settlingSeconds), inSamples(seconds));
  if (!observation) {
    return Problem{observation.problem()};
  }
  StandardVoltage voltage(point, rate);
  std::vector<float> block(4096);
  for (;;) {
    voltage.next(block);
    const auto sensation = meter->feed(block);
    if (!sensation) {
      return Problem{sensation.problem()};
    }
    if (const auto periods = observation->feed(*sensation); !periods.empty()) {
      return isSeverity ? severityOf(periods.front().classes).shortTerm : periods.front().largest;
    }
  }
}

}  // namespace kxanalysis
