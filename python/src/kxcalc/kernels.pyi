from typing import Any

import numpy
import numpy.typing

def GetMinMax_int32_t(data: numpy.typing.NDArray[numpy.int32]) -> tuple[int, int]: ...
def GetMinMax_int16_t(data: numpy.typing.NDArray[numpy.int16]) -> tuple[int, int]: ...
def GetMinMax_float(data: numpy.typing.NDArray[numpy.float32]) -> tuple[float, float]: ...
def GetMinMax_double(data: numpy.typing.NDArray[numpy.float64]) -> tuple[float, float]: ...
def GetMinMaxAveRMS_float(
    data: numpy.typing.NDArray[numpy.float32],
    minimum: float,
    maximum: float,
    sum: float = 0.0,
    sum_of_squares: float = 0.0,
    rms_offset: float = 0.0,
) -> tuple[float, float, float, float]: ...
def GetMinMaxAveRMS_double(
    data: numpy.typing.NDArray[numpy.float64],
    minimum: float,
    maximum: float,
    sum: float = 0.0,
    sum_of_squares: float = 0.0,
    rms_offset: float = 0.0,
) -> tuple[float, float, float, float]: ...
def GetMinMaxAveRMS_int16_t(
    data: numpy.typing.NDArray[numpy.int16],
    minimum: int,
    maximum: int,
    sum: float = 0.0,
    sum_of_squares: float = 0.0,
    rms_offset: float = 0.0,
) -> tuple[int, int, float, float]: ...
def GetMinMaxAveRMS_int32_t(
    data: numpy.typing.NDArray[numpy.int32],
    minimum: int,
    maximum: int,
    sum: float = 0.0,
    sum_of_squares: float = 0.0,
    rms_offset: float = 0.0,
) -> tuple[int, int, float, float]: ...
def MoveAndGetMinMaxAveRMS_int16_t(
    source: numpy.typing.NDArray[numpy.int16],
    minimum: int,
    maximum: int,
    sum: float = 0.0,
    sum_of_squares: float = 0.0,
    rms_offset: float = 0.0,
    *,
    out: numpy.typing.NDArray[numpy.int16] | None = None,
) -> tuple[numpy.typing.NDArray[numpy.int16], int, int, float, float]: ...
def MultiplyVectorByScalar_float(data: numpy.typing.NDArray[numpy.float32], factor: float) -> None: ...
def MultiplyVectorByScalar_double(data: numpy.typing.NDArray[numpy.float64], factor: float) -> None: ...
def SumSquaredValues_float(data: numpy.typing.NDArray[numpy.float32]) -> float: ...
def MultiplyVectorsAndCalcSum_float(
    first: numpy.typing.NDArray[numpy.float32], second: numpy.typing.NDArray[numpy.float32]
) -> float: ...
def SubtractVectorsAndMultiplyByScalar_float(
    first: numpy.typing.NDArray[numpy.float32],
    second: numpy.typing.NDArray[numpy.float32],
    factor: float,
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def AddVectorsAndMultiplyByScalar_float(
    first: numpy.typing.NDArray[numpy.float32],
    second: numpy.typing.NDArray[numpy.float32],
    second_factor: float,
    sum_factor: float,
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def ConvertInt32ToInt16(
    source: numpy.typing.NDArray[numpy.int32], *, out: numpy.typing.NDArray[numpy.int16] | None = None
) -> numpy.typing.NDArray[numpy.int16]: ...
def ConvertInt16ToInt32(
    source: numpy.typing.NDArray[numpy.int16], *, out: numpy.typing.NDArray[numpy.int32] | None = None
) -> numpy.typing.NDArray[numpy.int32]: ...
def ChannelGetScaledValuesAtPos_float(
    source: numpy.typing.NDArray[Any],
    scale: float,
    offset: float,
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def ChannelGetScaledValuesAtPos_float_aligned_output(
    source: numpy.typing.NDArray[Any],
    scale: float,
    offset: float,
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def ChannelGetScaledValuesAtPos_double(
    source: numpy.typing.NDArray[Any],
    scale: float,
    offset: float,
    *,
    out: numpy.typing.NDArray[numpy.float64] | None = None,
) -> numpy.typing.NDArray[numpy.float64]: ...
def ChannelGetScaledValuesAtPos_double_aligned_output(
    source: numpy.typing.NDArray[Any],
    scale: float,
    offset: float,
    *,
    out: numpy.typing.NDArray[numpy.float64] | None = None,
) -> numpy.typing.NDArray[numpy.float64]: ...

class CHSInterpolator:
    pass

def CHSInterpolator_Create(input_rate: float, output_rate: float, buffer_length: int) -> CHSInterpolator: ...
def CHSInterpolator_InterpolateValues(
    handle: CHSInterpolator, input: numpy.typing.NDArray[numpy.float32]
) -> numpy.typing.NDArray[numpy.float32]: ...
def CHSInterpolator_Stop(handle: CHSInterpolator) -> numpy.typing.NDArray[numpy.float32]: ...
def CHSInterpolator_Reset(handle: CHSInterpolator) -> None: ...
def CHSInterpolator_Destroy(handle: CHSInterpolator) -> None: ...
def GetXYValGraph2D(
    y: float,
    *,
    y_type: int = 7,
    x_source: int = 0,
    x_index: int = 0,
    x_values: numpy.typing.NDArray[numpy.float64] | None = None,
    x_axis_mode: int = 0,
    y_axis_mode: int = 0,
    rectangle: tuple[int, int, int, int],
    x_scale: float = 1.0,
    x_offset: float = 0.0,
    y_scale: float = 1.0,
    y_offset: float = 0.0,
    x_range: tuple[float, float] = (0.0, 1.0),
    x_log_range: tuple[float, float] = (0.0, 1.0),
    y_range: tuple[float, float] = (0.0, 1.0),
    y_log_range: tuple[float, float] = (0.0, 1.0),
    db_reference: float = 1.0,
) -> tuple[int, int, int]: ...
def FindCursorXY(
    image: numpy.typing.NDArray[numpy.uint32],
    cursor_x: int,
    cursor_y: int,
    ignore_values: numpy.typing.NDArray[numpy.uint32] | None = None,
) -> tuple[int, int, int] | None: ...
def IIRFilter_float(
    samples: numpy.typing.NDArray[numpy.float32],
    section_gains: numpy.typing.NDArray[numpy.float64],
    section_taps: numpy.typing.NDArray[numpy.float64],
    *,
    filter_type: int = 3,
    section_order: int = 2,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def IIRFilter_double(
    samples: numpy.typing.NDArray[numpy.float64],
    section_gains: numpy.typing.NDArray[numpy.float64],
    section_taps: numpy.typing.NDArray[numpy.float64],
    *,
    filter_type: int = 3,
    section_order: int = 2,
    out: numpy.typing.NDArray[numpy.float64] | None = None,
) -> numpy.typing.NDArray[numpy.float64]: ...
def PinkFilter_double(
    samples: numpy.typing.NDArray[numpy.float64],
    state: numpy.typing.NDArray[numpy.float64],
    *,
    out: numpy.typing.NDArray[numpy.float64] | None = None,
) -> numpy.typing.NDArray[numpy.float64]: ...
def FIRFilter_float(
    ring: numpy.typing.NDArray[numpy.float32], coefficients: numpy.typing.NDArray[numpy.float32], position: int
) -> float: ...
def CACalcFilter_int16_t(
    samples: numpy.typing.NDArray[numpy.int16], weights: numpy.typing.NDArray[numpy.float32]
) -> float: ...
def CACalcFilter_float(
    samples: numpy.typing.NDArray[numpy.float32], weights: numpy.typing.NDArray[numpy.float32]
) -> float: ...
def CACalcFilter_int32_t(
    samples: numpy.typing.NDArray[numpy.int32], weights: numpy.typing.NDArray[numpy.float32]
) -> float: ...
def CACalcAveFilter_double(
    input: numpy.typing.NDArray[numpy.float64], width: int, *, out: numpy.typing.NDArray[numpy.float64] | None = None
) -> numpy.typing.NDArray[numpy.float64]: ...
def CACopyRawDataToChannels(
    raw: numpy.typing.NDArray[numpy.float32],
    start: int,
    end: int,
    offset: float,
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> tuple[numpy.typing.NDArray[numpy.float32], float, int]: ...
def CADoubleArrToSingleArrInplace(buffer: numpy.typing.NDArray[numpy.float64]) -> None: ...
def CASingleArrToDoubleArrInplace(buffer: numpy.typing.NDArray[numpy.float64]) -> None: ...
def CAPV_lin(
    input: numpy.typing.NDArray[numpy.float32],
    lower: int,
    upper: int,
    scale: float,
    offset: float,
    *,
    out: numpy.typing.NDArray[numpy.int32] | None = None,
) -> numpy.typing.NDArray[numpy.int32]: ...
def CAPV_log(
    input: numpy.typing.NDArray[numpy.float32],
    lower: int,
    upper: int,
    scale: float,
    offset: float,
    reference: float,
    *,
    out: numpy.typing.NDArray[numpy.int32] | None = None,
) -> numpy.typing.NDArray[numpy.int32]: ...
def CAOverallPressure(
    new_cycle: numpy.typing.NDArray[numpy.float32], average: numpy.typing.NDArray[numpy.float32], cycles: int
) -> float: ...
def CARunningVal(
    new_cycle: numpy.typing.NDArray[numpy.float32],
    leaving_cycle: numpy.typing.NDArray[numpy.float32] | None,
    sum: numpy.typing.NDArray[numpy.float32],
    cycles: int,
    window: int,
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def PowerCalcFIR_float(
    ring: numpy.typing.NDArray[numpy.float32],
    coefficients: numpy.typing.NDArray[numpy.float32],
    position: int,
    row: int,
) -> float: ...
def PowerSumVectorMultipliedWithScalar_double(
    input: numpy.typing.NDArray[numpy.float64],
    scale: float,
    sum: float = 0.0,
    *,
    accumulate: bool = True,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> tuple[numpy.typing.NDArray[numpy.float32], float]: ...
def PowerMultiplyAndSquareElementsAndSumVector_float(
    values: numpy.typing.NDArray[numpy.float32], scale: float
) -> float: ...
def PowerUnbalance(
    magnitude_l1: numpy.typing.NDArray[numpy.float32],
    magnitude_l2: numpy.typing.NDArray[numpy.float32],
    magnitude_l3: numpy.typing.NDArray[numpy.float32],
    angle_l1: numpy.typing.NDArray[numpy.float32],
    angle_l2: numpy.typing.NDArray[numpy.float32],
    angle_l3: numpy.typing.NDArray[numpy.float32],
) -> tuple[float, float, float, float, float, float, float]: ...
def PowerFlicker(
    state: numpy.typing.NDArray[numpy.float64],
    samples: numpy.typing.NDArray[numpy.float32],
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def PowerFlickerAddToClass(
    values: numpy.typing.NDArray[numpy.float32], classes: numpy.typing.NDArray[numpy.uint32]
) -> None: ...
def PowerCorrectFFT_U(
    spectrum: numpy.typing.NDArray[numpy.complex64], correction: numpy.typing.NDArray[numpy.complex64]
) -> None: ...
def PowerNegateImag_float(spectrum: numpy.typing.NDArray[numpy.complex64]) -> None: ...
def PowerFindIndexOfMaxAmplitude(spectrum: numpy.typing.NDArray[numpy.complex64]) -> int: ...
def PowerHarmonicZero(spectrum: numpy.typing.NDArray[numpy.complex64]) -> float: ...
def PowerPandQsum(
    voltage: numpy.typing.NDArray[numpy.complex64], current: numpy.typing.NDArray[numpy.complex64]
) -> tuple[float, float]: ...
def PowerAngles(
    spectrum: numpy.typing.NDArray[numpy.complex64],
    order_count: int,
    phase_per_order: float,
    bins_per_order: float,
    *,
    out: numpy.typing.NDArray[numpy.float32] | None = None,
) -> numpy.typing.NDArray[numpy.float32]: ...
def Sin_float(
    input: numpy.typing.NDArray[numpy.float32], *, out: numpy.typing.NDArray[numpy.float32] | None = None
) -> numpy.typing.NDArray[numpy.float32]: ...
def ATan_float(
    input: numpy.typing.NDArray[numpy.float32], *, out: numpy.typing.NDArray[numpy.float32] | None = None
) -> numpy.typing.NDArray[numpy.float32]: ...
def GetVersion(value: int = 0) -> tuple[int, int, int]: ...
