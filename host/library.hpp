// The kernel library, opened by name at run time: which build suits the processor is the host's decision.
#pragma once

#include <string>

#include "kxcalc.h"

namespace kxhost {

/// A shared library, open as long as this object lives.
class SharedObject {
public:
  /// A file name without a slash is looked up as the system's loader does, along the program's run path among others.
  explicit SharedObject(const std::string& file);
  ~SharedObject();
  SharedObject(const SharedObject&) = delete;
  SharedObject& operator=(const SharedObject&) = delete;

  template <class Function>
  Function function(const char* name) const {
    return reinterpret_cast<Function>(address(name));
  }

private:
  void* address(const char* name) const;

  std::string file_;
  void* handle_;
};

/// The functions of the library that this program calls, under their own names and with the types of their
/// declarations. Throws if the file does not load, lacks one of them or has another interface.
class Library {
public:
  explicit Library(const std::string& file);

private:
  SharedObject object_;

public:
#define KXHOST_FUNCTION(name) decltype(&::name) const name = object_.function<decltype(&::name)>(#name)
  KXHOST_FUNCTION(kxcalcGetVersion);
  KXHOST_FUNCTION(kxcalcGetMinMax_double);
  KXHOST_FUNCTION(kxcalcGetMinMaxAveRMS_float);
  KXHOST_FUNCTION(kxcalcGetMinMaxAveRMS_double);
  KXHOST_FUNCTION(kxcalcGetMinMaxAveRMS_int16_t);
  KXHOST_FUNCTION(kxcalcGetMinMaxAveRMS_int32_t);
  KXHOST_FUNCTION(kxcalcMoveAndGetMinMaxAveRMS_int16_t);
  KXHOST_FUNCTION(kxcalcChannelGetScaledValuesAtPos_float);
  KXHOST_FUNCTION(kxcalcChannelGetScaledValuesAtPos_double);
  KXHOST_FUNCTION(kxcalcCHSInterpolator_Create);
  KXHOST_FUNCTION(kxcalcCHSInterpolator_InterpolateValues);
  KXHOST_FUNCTION(kxcalcCHSInterpolator_Stop);
  KXHOST_FUNCTION(kxcalcCHSInterpolator_Destroy);
  KXHOST_FUNCTION(kxcalcGetXYValGraph2D);
  KXHOST_FUNCTION(kxcalcFindCursorXY);
  KXHOST_FUNCTION(kxcalcIIRFilter_float);
  KXHOST_FUNCTION(kxcalcIIRFilter_double);
  KXHOST_FUNCTION(kxcalcPinkFilter_double);
  KXHOST_FUNCTION(kxcalcFIRFilter_float);
  KXHOST_FUNCTION(kxcalcCACalcFilter_float);
  KXHOST_FUNCTION(kxcalcCACalcAveFilter_double);
  KXHOST_FUNCTION(kxCalcCACopyRawDataToChannels);
  KXHOST_FUNCTION(kxcalcCADoubleArrToSingleArrInplace);
  KXHOST_FUNCTION(kxcalcCASingleArrToDoubleArrInplace);
  KXHOST_FUNCTION(kxcalcCAPV_lin);
  KXHOST_FUNCTION(kxcalcCAPV_log);
  KXHOST_FUNCTION(kxCalcCAOverallPressure);
  KXHOST_FUNCTION(kxCalcCARunningVal);
  KXHOST_FUNCTION(kxcalcPowerCorrectFFT_U);
  KXHOST_FUNCTION(kxcalcPowerNegateImag_float);
  KXHOST_FUNCTION(kxcalcPowerFindIndexOfMaxAmplitude);
  KXHOST_FUNCTION(kxcalcPowerHarmonicZero);
  KXHOST_FUNCTION(kxcalcPowerPandQsum);
  KXHOST_FUNCTION(kxcalcPowerAngles);
  KXHOST_FUNCTION(kxcalcPowerUnbalance);
  KXHOST_FUNCTION(kxcalcPowerFlicker);
  KXHOST_FUNCTION(kxcalcPowerFlickerAddToClass);
  KXHOST_FUNCTION(kxcalcSin_float);
#undef KXHOST_FUNCTION
};

}  // namespace kxhost
