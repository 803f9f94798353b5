/* A library that loads but cannot be used: of another interface version, or with the version query alone. */
#include <stdint.h>

void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t value, uint32_t* flag);

void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t value, uint32_t* flag) {
  *major = STUB_MAJOR;
  *minor = 1;
  *flag = value > 9;
}

#if defined(STUB_COMPLETE)
#define STUB(name) \
  void name(void); \
  void name(void) {}
STUB(kxcalcGetMinMax_double)
STUB(kxcalcGetMinMaxAveRMS_float)
STUB(kxcalcGetMinMaxAveRMS_double)
STUB(kxcalcGetMinMaxAveRMS_int16_t)
STUB(kxcalcGetMinMaxAveRMS_int32_t)
STUB(kxcalcMoveAndGetMinMaxAveRMS_int16_t)
STUB(kxcalcChannelGetScaledValuesAtPos_float)
STUB(kxcalcChannelGetScaledValuesAtPos_double)
STUB(kxcalcCHSInterpolator_Create)
STUB(kxcalcCHSInterpolator_InterpolateValues)
STUB(kxcalcCHSInterpolator_Stop)
STUB(kxcalcCHSInterpolator_Destroy)
STUB(kxcalcGetXYValGraph2D)
STUB(kxcalcFindCursorXY)
STUB(kxcalcIIRFilter_float)
STUB(kxcalcIIRFilter_double)
STUB(kxcalcPinkFilter_double)
STUB(kxcalcFIRFilter_float)
STUB(kxcalcCACalcFilter_float)
STUB(kxcalcCACalcAveFilter_double)
STUB(kxCalcCACopyRawDataToChannels)
STUB(kxcalcCADoubleArrToSingleArrInplace)
STUB(kxcalcCASingleArrToDoubleArrInplace)
STUB(kxcalcCAPV_lin)
STUB(kxcalcCAPV_log)
STUB(kxCalcCAOverallPressure)
STUB(kxCalcCARunningVal)
STUB(kxcalcPowerCorrectFFT_U)
STUB(kxcalcPowerNegateImag_float)
STUB(kxcalcPowerFindIndexOfMaxAmplitude)
STUB(kxcalcPowerHarmonicZero)
STUB(kxcalcPowerPandQsum)
STUB(kxcalcPowerAngles)
STUB(kxcalcPowerUnbalance)
STUB(kxcalcPowerFlicker)
STUB(kxcalcPowerFlickerAddToClass)
STUB(kxcalcSin_float)
#endif
