// Figures of rows: what kxcalc.statistics, minmax and rms stand on. Their arguments have been checked but for what could
// touch other memory.
#include <algorithm>
#include <cmath>

#include "analysis/statistics/statistics.hpp"
#include "python/bindings/module.hpp"
#include "python/bindings/rows.hpp"

namespace kxpython {
namespace {

/// Calls with a value of the samples' type, of those that have statistics.
template <class Visit>
void visitSampleType(const Rows& rows, Visit visit) {
  const std::string type = rows.type();
  if (type == typeName<int16_t>()) {
    visit(int16_t{});
  } else if (type == typeName<int32_t>()) {
    visit(int32_t{});
  } else if (type == typeName<float>()) {
    visit(float{});
  } else if (type == typeName<double>()) {
    visit(double{});
  } else {
    rows.buffer().refuseType("int16, int32, float32 or float64");
  }
}

/// The results of all rows, one after another.
template <class T>
Output<T> resultsOf(const Rows& rows, nb::handle object, const char* name) {
  Output<T> results(object, name);
  results.requireSize(rows.rowCount(), "x");
  return results;
}

template <class T>
struct Extremes {
  T minimum, maximum;
};

/// NaN where there is one, which the kernels promise nothing of.
template <class T>
Extremes<T> extremesOf(const Row& row, auto kernel) {
  Extremes<T> all{};
  bool isFirst = true, hasNan = false;
  inAlignedBlocks<T>(row, [&](std::span<const T> samples) {
    Extremes<T> extremes{};
    kernel(samples.data(), static_cast<uint32_t>(samples.size()), &extremes.minimum, &extremes.maximum);
    all = isFirst ? extremes
                  : Extremes<T>{std::min(all.minimum, extremes.minimum), std::max(all.maximum, extremes.maximum)};
    isFirst = false;
    if constexpr (std::is_floating_point_v<T>) {
      bool isNan = false;
      for (const T sample : samples) {
        isNan |= std::isnan(sample);
      }
      hasNan = hasNan || isNan;
    }
  });
  if (hasNan) {
    all.minimum = all.maximum = std::numeric_limits<T>::quiet_NaN();
  }
  return all;
}

auto extremesKernel(int16_t) {
  return functions().kxcalcGetMinMax_int16_t;
}
auto extremesKernel(int32_t) {
  return functions().kxcalcGetMinMax_int32_t;
}
auto extremesKernel(float) {
  return functions().kxcalcGetMinMax_float;
}
auto extremesKernel(double) {
  return functions().kxcalcGetMinMax_double;
}

void minmax(nb::handle object, nb::handle minima, nb::handle maxima) {
  const Rows rows(object, "x");
  visitSampleType(rows, [&]<class T>(T type) {
    const Output<T> minimum = resultsOf<T>(rows, minima, "minimum"), maximum = resultsOf<T>(rows, maxima, "maximum");
    const auto kernel = extremesKernel(type);
    const Unlocked unlocked(rows.size());
    for (size_t i = 0; i < rows.rowCount(); ++i) {
      const Extremes<T> extremes = extremesOf<T>(rows.row(i), kernel);
      minimum.data()[i] = extremes.minimum;
      maximum.data()[i] = extremes.maximum;
    }
  });
}

template <class T>
kxanalysis::Statistics<T> statisticsOf(const Row& row, kxanalysis::RmsOffset<T> offset = 0) {
  kxanalysis::Statistics<T> statistics(functions(), offset);
  inAlignedBlocks<T>(row, [&](std::span<const T> samples) { statistics.feed(samples); });
  return statistics;
}

void rms(nb::handle object, nb::handle results) {
  const Rows rows(object, "x");
  visitSampleType(rows, [&]<class T>(T) {
    const Output<double> rms = resultsOf<double>(rows, results, "out");
    const Unlocked unlocked(rows.size());
    for (size_t i = 0; i < rows.rowCount(); ++i) {
      rms.data()[i] = std::sqrt(statisticsOf<T>(rows.row(i)).meanSquare());
    }
  });
}

void statistics(nb::handle object, nb::handle minima, nb::handle maxima, nb::handle means, nb::handle squares,
                nb::handle alternating) {
  const Rows rows(object, "x");
  visitSampleType(rows, [&]<class T>(T) {
    const Output<T> minimum = resultsOf<T>(rows, minima, "minimum"), maximum = resultsOf<T>(rows, maxima, "maximum");
    const Output<double> mean = resultsOf<double>(rows, means, "mean"), rms = resultsOf<double>(rows, squares, "rms"),
                         acRms = resultsOf<double>(rows, alternating, "ac_rms");
    const Unlocked unlocked(rows.size());
    for (size_t i = 0; i < rows.rowCount(); ++i) {
      const auto plain = statisticsOf<T>(rows.row(i));
      const auto offset = kxanalysis::alternatingOffset<T>(plain.average());
      minimum.data()[i] = static_cast<T>(plain.minimum());
      maximum.data()[i] = static_cast<T>(plain.maximum());
      mean.data()[i] = plain.average();
      rms.data()[i] = std::sqrt(plain.meanSquare());
      acRms.data()[i] = kxanalysis::alternatingRms<T>(statisticsOf<T>(rows.row(i), offset), offset);
    }
  });
}

}  // namespace

void defineReductions(nb::module_& module) {
  module.def("minmax", &minmax, "x"_a, "minimum"_a, "maximum"_a, "Extremes of each row of x.");
  module.def("rms", &rms, "x"_a, "out"_a, "Root mean square of each row of x.");
  module.def("statistics", &statistics, "x"_a, "minimum"_a, "maximum"_a, "mean"_a, "rms"_a, "ac_rms"_a,
             "Figures of each row of x.");
}

}  // namespace kxpython
