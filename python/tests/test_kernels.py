"""Every kernel against the library through ctypes, bit for bit."""

import ctypes
import inspect
from ctypes import byref, c_double, c_float, c_int16, c_int32, c_uint16, c_uint32, c_uint64

import numpy as np
import pytest

import kxcalc
from kxcalc import kernels

LENGTHS = [1, 2, 3, 4, 7, 8, 9, 31, 5000]
CTYPES = {"int16": c_int16, "int32": c_int32, "float32": c_float, "float64": c_double}
SUFFIXES = {"int16": "int16_t", "int32": "int32_t", "float32": "float", "float64": "double"}


def samples(random, dtype, n, scale=1000):
    return (random.standard_normal(n) * scale).astype(dtype)


def spectrum(random, n):
    return (random.standard_normal(n) + 1j * random.standard_normal(n)).astype(np.complex64)


def bits(value):
    if isinstance(value, tuple):
        return tuple(bits(part) for part in value)
    if isinstance(value, np.ndarray):
        return value.dtype.str, value.tobytes()
    if isinstance(value, float):
        return np.float64(value).tobytes()
    return value


def same(first, second):
    assert bits(first) == bits(second)


def kernel(name):
    return getattr(kernels, name)


def floats(random):
    return np.float32(random.standard_normal()), c_float


def test_every_export_is_there_and_no_other(library):
    functions = {
        name
        for name in dir(kernels)
        if callable(getattr(kernels, name)) and not isinstance(getattr(kernels, name), type)
    }
    exports = {name.replace("kxcalc", "", 1).replace("kxCalc", "", 1) for name in kxcalc._native.hashes()}
    assert functions == exports
    assert len(functions) == 58


def test_every_kernel_says_what_it_does():
    for name in dir(kernels):
        if callable(getattr(kernels, name)):
            assert inspect.getdoc(getattr(kernels, name)), name


@pytest.mark.parametrize("value", [-1, 0, 9, 10])
def test_version(value):
    assert kernels.GetVersion(value) == (2, 17, int(value >= 10))


@pytest.mark.parametrize("n", LENGTHS)
@pytest.mark.parametrize("dtype", CTYPES)
def test_min_max(library, random, dtype, n):
    x = samples(random, dtype, n)
    least, greatest = CTYPES[dtype](), CTYPES[dtype]()
    library(f"kxcalcGetMinMax_{SUFFIXES[dtype]}", x, c_uint32(n), byref(least), byref(greatest))
    same(kernel(f"GetMinMax_{SUFFIXES[dtype]}")(x), (least.value, greatest.value))
    assert (least.value, greatest.value) == (x.min(), x.max())


@pytest.mark.parametrize("n", [0, *LENGTHS])
@pytest.mark.parametrize("dtype", CTYPES)
def test_statistics_line(library, random, dtype, n):
    x = samples(random, dtype, n)
    offset = c_double if dtype in ("int32", "float64") else c_float
    least, greatest, total, squares = CTYPES[dtype](1), CTYPES[dtype](2), c_double(3), c_double(4)
    name = f"GetMinMaxAveRMS_{SUFFIXES[dtype]}"
    library("kxcalc" + name, x, c_uint32(n), byref(least), byref(greatest), byref(total), byref(squares), offset(0.1))
    result = kernel(name)(x, 1, 2, sum=3, sum_of_squares=4, rms_offset=0.1)
    same(result, (least.value, greatest.value, total.value, squares.value))


@pytest.mark.parametrize("step", [1, 2, 3, 4, 5])
@pytest.mark.parametrize("n", [0, *LENGTHS])
def test_move_with_statistics(library, random, n, step):
    source = samples(random, "int16", n * step)[::step]
    out, expected = np.zeros(n, np.int16), np.zeros(n, np.int16)
    least, greatest, total, squares = c_int16(1), c_int16(2), c_double(3), c_double(4)
    library(
        "kxcalcMoveAndGetMinMaxAveRMS_int16_t",
        expected,
        source,
        c_uint32(n),
        byref(least),
        byref(greatest),
        byref(total),
        byref(squares),
        c_float(0.1),
        c_int32(step),
    )
    result = kernels.MoveAndGetMinMaxAveRMS_int16_t(source, 1, 2, 3, 4, 0.1, out=out)
    assert result[0] is out
    same(result[0], source.copy())
    same(result, (expected, least.value, greatest.value, total.value, squares.value))


def test_moves_backwards_in_short_blocks_only(random):
    source = samples(random, "int16", 7)[::-1]
    same(kernels.MoveAndGetMinMaxAveRMS_int16_t(source, 0, 0)[0], source.copy())
    with pytest.raises(ValueError, match="source has a stride of -1"):
        kernels.MoveAndGetMinMaxAveRMS_int16_t(samples(random, "int16", 8)[::-1], 0, 0)


@pytest.mark.parametrize("n", [0, *LENGTHS])
def test_vectors(library, random, n):
    x, y = samples(random, "float32", n), samples(random, "float32", n)
    for suffix, dtype, number in (("float", "float32", c_float), ("double", "float64", c_double)):
        mine, its = x.astype(dtype), x.astype(dtype)
        assert kernel(f"MultiplyVectorByScalar_{suffix}")(mine, 0.3) is None
        library(f"kxcalcMultiplyVectorByScalar_{suffix}", its, c_uint32(n), number(0.3))
        same(mine, its)
    same(kernels.SumSquaredValues_float(x), library("kxcalcSumSquaredValues_float", x, c_uint32(n), result=c_double))
    same(
        kernels.MultiplyVectorsAndCalcSum_float(x, y),
        library("kxcalcMultiplyVectorsAndCalcSum_float", x, y, c_uint32(n), result=c_double),
    )
    expected = np.zeros(n, np.float32)
    library("kxcalcSubtractVectorsAndMultiplyByScalar_float", expected, x, y, c_uint32(n), c_float(0.3))
    same(kernels.SubtractVectorsAndMultiplyByScalar_float(x, y, 0.3), expected)
    library("kxcalcAddVectorsAndMultiplyByScalar_float", expected, x, y, c_uint32(n), c_float(0.3), c_float(1.7))
    same(kernels.AddVectorsAndMultiplyByScalar_float(x, y, 0.3, 1.7), expected)
    same(kernels.AddVectorsAndMultiplyByScalar_float(x, y, 0.3, 1.7, out=x), expected)


@pytest.mark.parametrize("n", [0, *LENGTHS])
def test_sample_widths(random, n):
    x = random.integers(-(2**31), 2**31, n, dtype=np.int32)
    same(kernels.ConvertInt32ToInt16(x), x.astype(np.int16))
    same(kernels.ConvertInt16ToInt32(x.astype(np.int16)), x.astype(np.int16).astype(np.int32))


def record(*fields):
    return type("Record", (ctypes.Structure,), {"_fields_": [(f"f{i}", type(f)) for i, f in enumerate(fields)]})(
        *fields
    )


@pytest.mark.parametrize("step", [1, 3, -2, 0])
@pytest.mark.parametrize("n", [0, *LENGTHS])
@pytest.mark.parametrize("code, dtype", list(enumerate(["u1", "i1", "i2", "u2", "i4", "f4", "i8", "f8", "u4"])))
def test_scaled_values(library, random, code, dtype, n, step):
    whole = (
        samples(random, "float64", n * max(abs(step), 1), 60).astype("i8" if dtype[0] in "iu" else "f8").astype(dtype)
    )
    source = np.broadcast_to(whole[:1], n) if step == 0 else whole[::step]
    for suffix, out, number in (("float", "float32", c_float), ("double", "float64", c_double)):
        expected = np.zeros(n, out)
        parameters = record(
            ctypes.c_void_p(source.ctypes.data),
            ctypes.c_void_p(expected.ctypes.data),
            number(0.3),
            number(0.7),
            c_int32(n),
            c_uint32(code),
            c_int32(step),
        )
        library(f"kxcalcChannelGetScaledValuesAtPos_{suffix}", byref(parameters))
        same(kernel(f"ChannelGetScaledValuesAtPos_{suffix}")(source, 0.3, 0.7), expected)
        same(kernel(f"ChannelGetScaledValuesAtPos_{suffix}_aligned_output")(source, 0.3, 0.7), expected)


@pytest.mark.parametrize("suffix, dtype", [("float", "f4"), ("double", "f8")])
def test_aligned_outputs_are_aligned(suffix, dtype):
    misaligned = np.zeros(6, dtype)[1:]
    with pytest.raises(ValueError, match="out is not aligned to 16 bytes"):
        kernel(f"ChannelGetScaledValuesAtPos_{suffix}_aligned_output")(np.zeros(5, "i2"), 1, 0, out=misaligned)


def test_interpolator(library, random):
    x = samples(random, "float32", 5000)
    parameters = record(c_double(48000), c_double(44100), c_uint32(1024))
    pointer, values, count = ctypes.c_void_p(), ctypes.POINTER(c_float)(), c_uint32()
    assert library("kxcalcCHSInterpolator_Create", byref(pointer), byref(parameters), result=c_uint32) == 0
    handle = kernels.CHSInterpolator_Create(48000, 44100, 1024)
    for _ in range(2):
        for begin in range(0, 5000, 1000):
            block = x[begin : begin + 1000]
            library(
                "kxcalcCHSInterpolator_InterpolateValues", pointer, block, c_uint32(1000), byref(values), byref(count)
            )
            same(
                kernels.CHSInterpolator_InterpolateValues(handle, block), np.ctypeslib.as_array(values, (count.value,))
            )
        library("kxcalcCHSInterpolator_Stop", pointer, byref(values), byref(count))
        same(kernels.CHSInterpolator_Stop(handle), np.ctypeslib.as_array(values, (count.value,)))
        with pytest.raises(ValueError, match="reset it first"):
            kernels.CHSInterpolator_InterpolateValues(handle, x[:10])
        library("kxcalcCHSInterpolator_Reset", pointer)
        kernels.CHSInterpolator_Reset(handle)
    library("kxcalcCHSInterpolator_Destroy", pointer)
    kernels.CHSInterpolator_Destroy(handle)
    with pytest.raises(ValueError, match="handle is destroyed"):
        kernels.CHSInterpolator_Stop(handle)


@pytest.mark.parametrize("length", [1, 2, 4, 8, 1024])
def test_interpolator_takes_no_block_that_does_not_fit(length):
    handle = kernels.CHSInterpolator_Create(1, 3, length)
    for n in (0, max(length - 3, 0) + 1, 5000):
        with pytest.raises(ValueError, match="input has"):
            kernels.CHSInterpolator_InterpolateValues(handle, np.zeros(n, np.float32))
    if length < 4:
        return
    assert kernels.CHSInterpolator_InterpolateValues(handle, np.zeros(length - 3, np.float32)).size >= 0


@pytest.mark.parametrize("rates", [(0, 1, 8), (1, -1, 8), (1, 1, 7), (1, 1, 0)])
def test_interpolator_refuses(rates):
    with pytest.raises(ValueError, match="rate|buffer_length"):
        kernels.CHSInterpolator_Create(*rates)


def test_point_of_a_graph():
    assert kernels.GetXYValGraph2D(0.5, x_source=2, x_index=5, x_scale=0.1, rectangle=(10, 20, 110, 220)) == (
        60,
        120,
        1,
    )
    x = np.array([0.25, 1.0])
    assert kernels.GetXYValGraph2D(1.0, x_source=1, x_index=1, x_values=x, rectangle=(0, 0, 100, 100))[0] == 100
    for values in (None, x):
        with pytest.raises(ValueError, match="x_values has no element x_index"):
            kernels.GetXYValGraph2D(1.0, x_source=1, x_index=2, x_values=values, rectangle=(0, 0, 100, 100))


@pytest.mark.parametrize("upwards", [False, True])
def test_cursor(library, random, upwards):
    image = random.integers(0, 4, (9, 24), dtype=np.uint32)[:: -1 if upwards else 1, :16]
    ignored = np.array([0, 1, 2], np.uint32)
    value, x, y = c_uint32(), c_uint32(), c_uint32()
    library(
        "kxcalcFindCursorXY",
        image,
        c_int32(-image.strides[0]),
        c_int32(16),
        c_int32(9),
        c_uint32(7),
        c_uint32(4),
        byref(value),
        byref(x),
        byref(y),
        ignored,
        c_int32(3),
    )
    found = kernels.FindCursorXY(image, 7, 4, ignored)
    assert found == (value.value, x.value, y.value)
    assert image[found[2], found[1]] == found[0] == 3
    assert kernels.FindCursorXY(image, 7, 4, np.arange(4, dtype=np.uint32)) is None
    with pytest.raises(ValueError, match="image has columns 8 bytes apart"):
        kernels.FindCursorXY(image[:, ::2], 0, 0)


@pytest.mark.parametrize("filter_type, order", [(3, 2), (0, 1), (0, 4)])
@pytest.mark.parametrize("dtype", ["float32", "float64"])
def test_recursive_filter(library, random, dtype, filter_type, order):
    x = samples(random, dtype, 100)
    gains, taps = random.uniform(0.1, 0.5, 2), random.uniform(-0.2, 0.2, 2 * (order + 1) * 4)
    its = taps.copy()
    number = CTYPES[dtype]
    state = record(
        c_int32(filter_type),
        c_int32(2),
        c_int32(order),
        c_int32(0),
        ctypes.c_void_p(gains.ctypes.data),
        ctypes.c_void_p(its.ctypes.data),
    )
    name = f"IIRFilter_{SUFFIXES[dtype]}"
    expected = np.array([library("kxcalc" + name, byref(state), number(v), result=number) for v in x], dtype)
    same(kernel(name)(x, gains, taps, filter_type=filter_type, section_order=order, out=x), expected)
    same(taps, its)


def test_recursive_filter_needs_the_room_that_it_writes():
    x, gains = np.zeros(3), np.ones(2)
    for size, order, kind in ((23, 2, 3), (24, 1, 0), (0, 2, 3)):
        with pytest.raises(ValueError, match="section_taps has"):
            kernels.IIRFilter_double(x, gains, np.zeros(size), filter_type=kind, section_order=order)
    with pytest.raises(ValueError, match="section_taps is not aligned to 16 bytes"):
        kernels.IIRFilter_double(x, gains, np.zeros(25)[1:])
    with pytest.raises(ValueError, match="section_order is -1"):
        kernels.IIRFilter_double(x, gains, np.zeros(24), filter_type=0, section_order=-1)


def test_other_filters(library, random):
    x, state, its = samples(random, "float64", 100), np.zeros(8), np.zeros(8)
    expected = np.array([library("kxcalcPinkFilter_double", its, c_double(v), result=c_double) for v in x])
    same(kernels.PinkFilter_double(x, state), expected)
    same(state, its)
    ring, weights = samples(random, "float32", 21), samples(random, "float32", 21)
    for position in (0, 5, 21):
        same(
            kernels.FIRFilter_float(ring, weights, position),
            library("kxcalcFIRFilter_float", ring, weights, c_uint32(21), c_uint32(position), result=c_float),
        )
    with pytest.raises(ValueError, match="position is 22"):
        kernels.FIRFilter_float(ring, weights, 22)


@pytest.mark.parametrize("step", [1, 3])
@pytest.mark.parametrize("n", [0, *LENGTHS[:-1]])
@pytest.mark.parametrize("dtype", ["int16", "int32", "float32"])
def test_weighted_sum(library, random, dtype, n, step):
    x, weights = samples(random, dtype, n), samples(random, "float32", n * step)[::step]
    name = f"CACalcFilter_{SUFFIXES[dtype]}"
    newest = ctypes.c_void_p(x.ctypes.data + (n - 1) * x.itemsize)
    same(
        kernel(name)(x, weights), library("kxcalc" + name, newest, c_uint32(n), weights, c_uint32(step), result=c_float)
    )


@pytest.mark.parametrize("width", [0, 1, 4, 9])
def test_moving_average(library, random, width):
    x, expected = samples(random, "float64", 50), np.zeros(50)
    library("kxcalcCACalcAveFilter_double", x, expected, c_uint16(width), c_uint32(50))
    same(kernels.CACalcAveFilter_double(x, width), expected)
    with pytest.raises(ValueError, match=r"input has .* width asks for at least"):
        kernels.CACalcAveFilter_double(x[: max(width - 1, 0)], width)


@pytest.mark.parametrize("n", [0, *LENGTHS])
def test_cycles(library, random, n):
    x, expected = samples(random, "float32", n + 5), np.zeros(n, np.float32)
    peak, index = c_float(), c_uint32()
    library(
        "kxCalcCACopyRawDataToChannels",
        x,
        expected,
        c_uint32(2),
        c_uint32(n + 2),
        c_float(0.5),
        byref(peak),
        byref(index),
    )
    same(kernels.CACopyRawDataToChannels(x, 2, n + 2, 0.5), (expected, peak.value, index.value))
    average, its = samples(random, "float32", n), np.zeros(n, np.float32)
    its[:] = average
    library("kxCalcCAOverallPressure", x, its, c_uint32(0), c_uint32(n), c_uint64(3), byref(peak))
    same(kernels.CAOverallPressure(x[:n], average, 3), peak.value)
    same(average, its)
    for cycles in (0, 2, 9):
        leaving, total, theirs = samples(random, "float32", n), average.copy(), average.copy()
        if n:
            library(
                "kxCalcCARunningVal",
                x,
                leaving,
                theirs,
                expected,
                c_uint32(0),
                c_uint32(n - 1),
                c_uint64(cycles),
                c_uint32(4),
            )
        same(kernels.CARunningVal(x[:n], leaving, total, cycles, 4), expected)
        same(total, theirs)
    with pytest.raises(ValueError, match="leaving_cycle is None"):
        kernels.CARunningVal(x[:n], None, average, 4, 4)


@pytest.mark.parametrize("n", [0, *LENGTHS])
def test_diagrams_and_widths_in_place(library, random, n):
    x, expected = np.abs(samples(random, "float32", n)), np.zeros(n, np.int32)
    limits = (c_int32(-50), c_int32(60))
    library("kxcalcCAPV_lin", x, c_uint32(n), expected, *limits, c_float(0.1), c_float(-3.5))
    same(kernels.CAPV_lin(x, -50, 60, 0.1, -3.5), expected)
    library("kxcalcCAPV_log", x, c_uint32(n), expected, *limits, c_float(9), c_float(3), c_float(10))
    same(kernels.CAPV_log(x, -50, 60, 9, 3, 10), expected)
    with pytest.raises(ValueError, match="reference is 0"):
        kernels.CAPV_log(x, -50, 60, 9, 3, 0)
    values = x.astype(np.float64)
    kernels.CADoubleArrToSingleArrInplace(values)
    same(values.view(np.float32)[:n], x)
    kernels.CASingleArrToDoubleArrInplace(values)
    same(values, x.astype(np.float64))


def test_power_filter(library, random):
    ring, weights = samples(random, "float32", 20), samples(random, "float32", 48)
    for position, row in ((0, 0), (7, 1), (20, 2)):
        args = record(
            ctypes.c_void_p(ring.ctypes.data),
            ctypes.c_void_p(weights.ctypes.data),
            c_uint32(position),
            c_uint32(row),
            c_uint32(20),
        )
        same(
            kernels.PowerCalcFIR_float(ring, weights, position, row),
            library("kxcalcPowerCalcFIR_float", byref(args), result=c_float),
        )
    for wrong, message in ((21, "position"), (0, "coefficients")):
        with pytest.raises(ValueError, match=message):
            kernels.PowerCalcFIR_float(ring, weights, wrong, 3 if wrong == 0 else 0)
    with pytest.raises(ValueError, match="ring has 15 elements"):
        kernels.PowerCalcFIR_float(ring[:15], weights, 0, 0)


@pytest.mark.parametrize("n", [0, *LENGTHS])
def test_power_sums(library, random, n):
    x, expected = samples(random, "float64", n), np.zeros(n, np.float32)
    args = record(
        ctypes.c_void_p(x.ctypes.data),
        ctypes.c_void_p(expected.ctypes.data),
        c_double(5),
        c_float(0.3),
        c_int32(n),
        c_uint32(1),
    )
    library("kxcalcPowerSumVectorMultipliedWithScalar_double", byref(args))
    same(kernels.PowerSumVectorMultipliedWithScalar_double(x, 0.3, 5), (expected, args.f2))
    same(kernels.PowerSumVectorMultipliedWithScalar_double(x, 0.3, 5, accumulate=False), (expected, 5.0))
    same(
        kernels.PowerMultiplyAndSquareElementsAndSumVector_float(expected, 0.7),
        library(
            "kxcalcPowerMultiplyAndSquareElementsAndSumVector_float",
            expected,
            c_int32(n),
            c_float(0.7),
            result=c_double,
        ),
    )


@pytest.mark.parametrize("n", [0, *LENGTHS])
def test_spectra(library, random, n):
    u, i = spectrum(random, n), spectrum(random, n)
    mine, its = u.copy(), u.copy()
    kernels.PowerCorrectFFT_U(mine, i)
    library("kxcalcPowerCorrectFFT_U", its, i, c_int32(n))
    same(mine, its)
    kernels.PowerNegateImag_float(mine)
    same(mine, its.conj())
    same(
        kernels.PowerFindIndexOfMaxAmplitude(u),
        library("kxcalcPowerFindIndexOfMaxAmplitude", u, c_uint32(n), result=c_uint32),
    )
    same(kernels.PowerHarmonicZero(u), library("kxcalcPowerHarmonicZero", u, c_uint32(n), result=c_double))
    if n < 2:
        with pytest.raises(ValueError, match="voltage has .* at least 2"):
            kernels.PowerPandQsum(u, i)
        return
    active, reactive = c_double(), c_double()
    library("kxcalcPowerPandQsum", u, i, c_int32(n), byref(active), byref(reactive))
    same(kernels.PowerPandQsum(u, i), (active.value, reactive.value))


def test_angles(library, random):
    u, expected = spectrum(random, 33), np.zeros(4, np.float32)
    library("kxcalcPowerAngles", u, expected, c_int32(3), c_float(10), c_float(10.4))
    same(kernels.PowerAngles(u, 3, 10, 10.4), expected)
    for n, order_count, bins in (
        (32, 3, 10.4),
        (33, 4, 10.4),
        (33, 3, 0),
        (33, 3, np.nan),
        (33, 3, np.inf),
        (33, -1, 10),
    ):
        with pytest.raises(ValueError, match="spectrum has|order_count is|bins_per_order is"):
            kernels.PowerAngles(u[:n], order_count, 10, bins)


@pytest.mark.parametrize("n", [1, 3, 4, 9])
def test_unbalance(library, random, n):
    inputs = [np.abs(samples(random, "float32", n)) for _ in range(6)]
    outputs = [c_float(np.nan) for _ in range(7)]
    args = record(
        *(ctypes.c_void_p(a.ctypes.data) for a in inputs),
        *(ctypes.c_void_p(ctypes.addressof(o)) for o in outputs),
        c_uint32(n),
    )
    library("kxcalcPowerUnbalance", byref(args))
    same(kernels.PowerUnbalance(*inputs), tuple(o.value for o in outputs))
    nothing = [np.zeros(n, np.float32)] * 6
    assert np.isnan(kernels.PowerUnbalance(*nothing)[3])


FLICKER_ARRAYS = [3] * 9 + [12] + [3] * 5 + [2] * 4


def test_flicker(library, random):
    x, expected = samples(random, "float32", 300, 1), np.zeros(300, np.float32)
    state = random.uniform(-0.1, 0.1, sum(FLICKER_ARRAYS))
    state[58] = -9999999
    its = state.copy()
    starts = np.cumsum([0, *FLICKER_ARRAYS[:-1]])
    args = record(*(ctypes.c_void_p(its.ctypes.data + 8 * int(start)) for start in starts))
    library("kxcalcPowerFlicker", byref(args), x, expected, c_int32(300))
    same(kernels.PowerFlicker(state, x), expected)
    same(state, its)
    classes, theirs = np.zeros(1000, np.uint32), np.zeros(1000, np.uint32)
    kernels.PowerFlickerAddToClass(np.abs(x), classes)
    library("kxcalcPowerFlickerAddToClass", np.abs(x), c_int32(300), theirs)
    same(classes, theirs)
    assert classes.sum() == 300


@pytest.mark.parametrize("n", [0, *LENGTHS])
@pytest.mark.parametrize("name", ["Sin_float", "ATan_float"])
def test_sines(library, random, name, n):
    x, expected = samples(random, "float32", n), np.zeros(n, np.float32)
    library("kxcalc" + name, x, expected, c_uint32(n))
    same(kernel(name)(x), expected)
