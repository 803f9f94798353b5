// Reductions, spectra, powers and angles, unbalance, flicker.
#include <algorithm>
#include <bit>

#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

constexpr How everywhere{.place = Place::everywhere};

std::size_t atLeast(int32_t least, int32_t count) {
  return static_cast<std::size_t>(std::max(least, count));
}

/// Whole turns and zeros between bins, whose signs tell how a turn is taken off.
void setInLine(std::span<float> spectrum) {
  for (std::size_t i = 0; i < spectrum.size(); ++i) {
    spectrum[i] = static_cast<float>(i % 2);
  }
}

/// Bins whose degrees in single are others if the arctangent in double is off by one in the last place.
constexpr std::array hardBins{0.0F,       1.0F,        1750307.0F, -3658496.0F, 4881615.0F,  2993152.0F, -537094.0F,
                              -599756.0F, -2797386.0F, 4888404.0F, -7777567.0F, -6980938.0F, 2819823.0F, -4488960.0F,
                              7977621.0F, 447744.0F,   411568.0F,  6286586.0F,  4179680.0F,  -5206549.0F};

using ThreePhases = std::array<std::span<float>, 3>;

/// A balanced system: what the sums leave of its three phasors feels the last bit of each sine and cosine.
void setBalanced(const ThreePhases& magnitudes, const ThreePhases& angles, float turn) {
  for (std::size_t phase = 0; phase < 3; ++phase) {
    magnitudes[phase][0] = 230;
    angles[phase][0] = turn + 120 * static_cast<float>(phase);
  }
}

/// In degrees: these above all.
float drawTurn(Call& call) {
  constexpr int32_t steps = 0x10000;
  return call.oneOf("any turn", {false, true})
             ? static_cast<float>(call.between<int32_t>("turn, parts", -180 * steps, 180 * steps)) / steps
             : call.oneOf("turn", {-82.0500031F, -130.690506F, -94.6736145F, -175.975235F});
}

using ToClasses = void (*)(const float*, int32_t, uint32_t*);

/// The first single of each class, found by halving.
void classBorders(Call& call, ToClasses function) {
  std::array<uint32_t, 1000> classes;
  const auto classOf = [&](uint32_t pattern) {
    classes.fill(0);
    const auto value = std::bit_cast<float>(pattern);
    call.run(function, &value, 1, classes.data());
    return static_cast<uint32_t>(std::ranges::find_if(classes, [](uint32_t n) { return n != 0; }) - classes.begin());
  };
  auto first = std::bit_cast<uint32_t>(9.99e-5F);  // of class 0
  for (uint32_t number = 1; number < classes.size(); ++number) {
    uint32_t before = first;
    first += 1U << 20;  // an eighth of an octave or more: beyond the class's first single
    while (first - before > 1) {
      const uint32_t middle = before + (first - before) / 2;
      (classOf(middle) < number ? before : first) = middle;
    }
    call.result("first of a class", std::bit_cast<float>(first));
  }
}

}  // namespace

void kxcalcPowerCalcFIR_float(Call& call, float (*function)(const PowerFirArgs*)) {
  const auto length = call.setting<uint32_t>("length", {50, 16, 17, 19, 32}, 16, 60);
  const auto rows = call.between<uint32_t>("rows", 1, 4);
  const auto ring = call.input<float>("ring", length);
  const auto coefficients = call.input<float>("coefficients", std::size_t{16} * rows,
                                              {.numbers = Numbers::ordinary, .place = Place::aligned});
  PowerFirArgs args{};
  args.ring = ring.data();
  args.coefficients = coefficients.data();
  args.position = call.each<uint32_t>("position", 0, length);
  args.row = call.between<uint32_t>("row", 0, rows - 1);
  args.length = length;
  call.result("sample", call.runWithRecord(function, args));
}

void kxcalcPowerSumVectorMultipliedWithScalar_double(Call& call, void (*function)(PowerScaleArgs*)) {
  PowerScaleArgs args;
  std::memset(&args, 0, sizeof args);
  args.accumulate = call.rarely(2) ? call.number<uint32_t>("accumulate") : call.oneOf("accumulate", {1U, 0U, 2U});
  args.count = call.signedCount();
  args.input = call.input<double>("input", atLeast(0, args.count), everywhere).data();
  args.output = call.output<float>("output", atLeast(0, args.count)).data();
  call.setNumber("sum", args.sum, Numbers::ordinary);
  call.setNumber("scale", args.scale, Numbers::ordinary);
  PowerScaleArgs after = args;
  call.run(function, &after);
  const kxcalc_double& sum = after.sum;
  call.result<double>("sum", sum, args.accumulate == 0 ? Nan::bits : Nan::any);
  std::memcpy(&args.sum, &after.sum, sizeof args.sum);
  call.result("rest of the record unchanged", static_cast<uint8_t>(std::memcmp(&after, &args, sizeof args) == 0));
}

void kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(Call& call,
                                                            double (*function)(const float*, int32_t, float)) {
  const uint32_t count = call.count();
  const auto values = call.input<float>("values", count, everywhere);
  const auto scale = call.number<float>("scale", Numbers::ordinary);
  call.result("sum", call.run(function, values, static_cast<int32_t>(count), scale));
}

/// Two spectra, or two that begin anywhere in one buffer, so that they overlap in any way.
void kxcalcPowerCorrectFFT_U(Call& call, void (*function)(float*, const float*, int32_t)) {
  const auto isApart = call.oneOf("apart", {true, false});
  const int32_t binCount = call.signedCount();
  const std::size_t elements = 2 * atLeast(0, binCount);
  if (isApart) {
    const auto spectrum = call.both<float>("spectrum", elements, everywhere);
    const auto correction = call.input<float>("correction", elements);
    call.run(function, spectrum, correction, binCount);
  } else {
    const std::size_t reach = call.rarely(2) ? elements : call.between<std::size_t>("reach", 0, 19);
    const auto buffer = call.both<float>("buffer", elements + reach);
    const auto spectrum = call.between<std::size_t>("spectrum", 0, reach);
    const auto correction = call.rarely(2) ? reach - spectrum : call.between<std::size_t>("correction", 0, reach);
    call.run(function, buffer.subspan(spectrum), buffer.subspan(correction), binCount);
  }
}

void kxcalcPowerNegateImag_float(Call& call, void (*function)(float*, uint32_t)) {
  const uint32_t count = call.count();
  const auto spectrum =
      call.both<float>("spectrum", count, {.numbers = Numbers::selected, .place = Place::everywhere, .nan = Nan::bits});
  call.run(function, spectrum, count);
}

void kxcalcPowerFindIndexOfMaxAmplitude(Call& call, uint32_t (*function)(const float*, uint32_t)) {
  const uint32_t binCount = call.count();
  const auto spectrum = call.input<float>("spectrum", std::size_t{2} * binCount,
                                          {.numbers = Numbers::selected, .place = Place::everywhere});
  call.result("index", call.run(function, spectrum, binCount));
}

void kxcalcPowerHarmonicZero(Call& call, double (*function)(const float*, uint32_t)) {
  const uint32_t binCount = call.count();
  const auto spectrum = call.input<float>("spectrum", std::size_t{2} * binCount, everywhere);
  call.result("sum", call.run(function, spectrum, binCount));
}

void kxcalcPowerPandQsum(Call& call, void (*function)(const float*, const float*, int32_t, double*, double*)) {
  const int32_t binCount = call.signedCount(2);
  const auto voltage = call.input<float>("voltage", 2 * atLeast(2, binCount), everywhere);
  const auto current = call.input<float>("current", 2 * atLeast(2, binCount));
  const auto active = call.output<double>("activePower", 1);
  const auto reactive = call.output<double>("reactivePower", 1);
  call.run(function, voltage, current, binCount, active, reactive);
}

void kxcalcPowerAngles(Call& call, void (*function)(const float*, float*, int32_t, float, float)) {
  enum class Bins { drawn, inLine, hard };
  const auto kind = call.oneOf("bins", {Bins::drawn, Bins::inLine, Bins::hard});
  call.repeat(kind == Bins::hard ? 1 : 50);
  int32_t orderCount = static_cast<int32_t>(hardBins.size()) / 2 - 1;
  float phasePerOrder = 0;
  float binsPerOrder = kind == Bins::inLine ? 2 : 1;
  if (kind != Bins::hard) {
    orderCount = call.rarely(16) ? call.between<int32_t>("orderCount", INT32_MIN, 0)
                                 : call.setting<int32_t>("orderCount", {50, 0, 1, 7}, 0, 50);
  }
  if (kind == Bins::inLine) {
    phasePerOrder = call.oneOf("phasePerOrder", {-360.0F, 360.0F, -1e9F, 1e9F});
  }
  if (kind == Bins::drawn) {
    const auto sixteenths = static_cast<float>(call.between<uint32_t>("binsPerOrder, sixteenths", 1, 400)) / 16;
    binsPerOrder = call.rarely(4) ? sixteenths * 0.3F : sixteenths;
    phasePerOrder = call.rarely(4)
                        ? call.number<float>("phasePerOrder")
                        : static_cast<float>(call.between<int32_t>("phasePerOrder, quarters", -4000, 4000)) / 4;
  }
  const std::size_t orders = atLeast(0, orderCount);
  const std::size_t bins =
      orders == 0 ? 0 : static_cast<std::size_t>(static_cast<float>(orderCount) * binsPerOrder) + 2;
  const auto spectrum = call.input<float>("spectrum", 2 * bins, {.numbers = Numbers::ordinary});
  if (kind == Bins::inLine) {
    setInLine(spectrum);
  } else if (kind == Bins::hard) {
    std::ranges::copy(hardBins, spectrum.begin());
  }
  const auto angles = call.output<float>("angles", orders + 1);
  call.tell("phasePerOrder", phasePerOrder);
  call.tell("binsPerOrder", binsPerOrder);
  call.run(function, spectrum, angles, orderCount, phasePerOrder, binsPerOrder);
}

void kxcalcPowerUnbalance(Call& call, void (*function)(const PowerUnbalanceArgs*)) {
  const auto isBalanced = call.oneOf("balanced", {false, true});
  call.repeat(isBalanced ? 100 : 10);
  const uint32_t count = isBalanced ? 1 : call.count();
  const auto entries = [&](const char* name, Numbers numbers) {
    return call.input<float>(name, std::max(count, 1U), {.numbers = numbers});
  };
  const std::array magnitudes{entries("magnitudeL1", Numbers::ordinary), entries("magnitudeL2", Numbers::ordinary),
                              entries("magnitudeL3", Numbers::ordinary)};
  const std::array angles{entries("angleL1", Numbers::angles), entries("angleL2", Numbers::angles),
                          entries("angleL3", Numbers::angles)};
  if (isBalanced) {
    setBalanced(magnitudes, angles, drawTurn(call));
  }
  const auto result = [&](const char* name) { return call.both<float>(name, 1).data(); };
  PowerUnbalanceArgs args;
  std::memset(&args, 0, sizeof args);
  args.magnitudeL1 = magnitudes[0].data();
  args.magnitudeL2 = magnitudes[1].data();
  args.magnitudeL3 = magnitudes[2].data();
  args.angleL1 = angles[0].data();
  args.angleL2 = angles[1].data();
  args.angleL3 = angles[2].data();
  args.zeroSequence = result("zeroSequence");
  args.positiveSequence = result("positiveSequence");
  args.negativeSequence = result("negativeSequence");
  args.negativeRatio = result("negativeRatio");
  args.zeroRatio = result("zeroRatio");
  args.negativeRatioFirst = result("negativeRatioFirst");
  args.zeroRatioFirst = result("zeroRatioFirst");
  args.count = count;
  call.runWithRecord(function, args);
}

void kxcalcPowerFlicker(Call& call, void (*function)(const FlickerState*, const float*, float*, int32_t)) {
  const int32_t count = call.signedCount();
  const auto samples = call.input<float>("samples", atLeast(0, count), everywhere);
  const auto sensation = call.output<float>("sensation", atLeast(0, count));
  const auto history = [&](const char* name, std::size_t length) {
    return call.both<double>(name, length, {.numbers = Numbers::ordinary}).data();
  };
  const auto coefficients = [&](const char* name, std::size_t length) {
    return call.input<double>(name, length, {.numbers = Numbers::ordinary}).data();
  };
  FlickerState state;
  state.lowPassInput = history("lowPassInput", 3);
  state.lowPassInput1 = history("lowPassInput1", 3);
  state.lowPassInput2 = history("lowPassInput2", 3);
  state.lowPassOutput = history("lowPassOutput", 3);
  state.lowPassOutput1 = history("lowPassOutput1", 3);
  state.lowPassOutput2 = history("lowPassOutput2", 3);
  state.lowPassGain = coefficients("lowPassGain", 3);
  state.lowPassA1 = coefficients("lowPassA1", 3);
  state.lowPassA2 = coefficients("lowPassA2", 3);
  state.weightCoefficients = coefficients("weightCoefficients", 12);
  state.highPassCoefficients = coefficients("highPassCoefficients", 3);
  state.weight1Output = history("weight1Output", 3);
  state.weight1Input = history("weight1Input", 3);
  state.weight2Input = history("weight2Input", 3);
  state.weight2Output = history("weight2Output", 3);
  state.squareHistory = history("squareHistory", 2);
  state.smoothHistory = history("smoothHistory", 2);
  state.highPassInput = history("highPassInput", 2);
  state.highPassOutput = history("highPassOutput", 2);
  if (call.oneOf("begins", {true, false})) {
    state.highPassInput[0] = -9999999;
  }
  call.runWithRecord(function, state, samples, sensation, count);
}

void kxcalcPowerFlickerAddToClass(Call& call, ToClasses function) {
  enum class Values { spread, drawn, borders };
  const auto kind = call.takesExamples() ? call.oneOf("values", {Values::spread, Values::drawn, Values::borders})
                                         : call.oneOf("values", {Values::spread, Values::drawn});
  if (kind == Values::borders) {
    return classBorders(call, function);
  }
  const int32_t count = call.signedCount();
  const auto values = call.input<float>("values", atLeast(0, count), everywhere);
  if (kind == Values::spread) {
    constexpr std::array exact{1.0F, 10.0F, 100.0F, 1e6F, 1e7F, 0.0F, -1.0F};  // powers of ten, and what is not above 0
    for (std::size_t i = 0; i < values.size(); i += 3) {
      values[i] = i % 5 == 0 ? exact[i % exact.size()] : values[i] * 1000;
    }
  }
  const auto classes = call.both<uint32_t>("classes", 1000);
  std::ranges::fill(classes, call.oneOf("counts so far", {0U, UINT32_MAX}));
  call.run(function, values, count, classes);
}

}  // namespace kxcalc::calls
