"""What does not fit is refused in a sentence that names the argument, and nothing crashes."""

import array
import contextlib
import sys

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as npst

import kxcalc
from kxcalc import kernels

FLOATS = np.arange(8, dtype=np.float32)


def odd(x):
    raw = np.zeros(x.nbytes + 1, np.uint8)
    view = raw[1:].view(x.dtype)
    view[:] = x
    return view


WRONG = [
    (FLOATS.astype(np.float64), TypeError, "is an array of float64: float32 is needed"),
    (FLOATS.astype(">f4"), TypeError, "is an array of float32 in the other byte order: float32 is needed"),
    (FLOATS.astype(np.float16), TypeError, "is an array of float16"),
    (FLOATS.astype(bool), TypeError, "is an array of bool"),
    (FLOATS.astype("M8[s]"), TypeError, "is of type ndarray: an array of numbers is needed"),
    (FLOATS.astype(object), TypeError, "is an array of"),
    (np.zeros(4, [("a", "f4")]), TypeError, "is an array of"),
    ([1.0, 2.0], TypeError, "is of type list"),
    (None, TypeError, "is of type NoneType"),
    (3.0, TypeError, "is of type float"),
    (b"12345678", TypeError, "is an array of uint8"),
    (FLOATS.reshape(2, 4), ValueError, "has 2 dimensions: 1 is needed"),
    (FLOATS[0:1].reshape(()), ValueError, "has 0 dimensions: 1 is needed"),
    (FLOATS[::2], ValueError, "is not contiguous: its elements lie 8 bytes apart"),
    (FLOATS[::-1], ValueError, "is not contiguous: its elements lie -4 bytes apart"),
    (odd(FLOATS), ValueError, "is not aligned to 4 bytes"),
    (np.broadcast_to(np.float32(1), 2**32), ValueError, "has 4294967296 elements: 4294967295 are the most"),
]


@pytest.mark.parametrize("wrong, error, words", WRONG, ids=[words for _, _, words in WRONG])
def test_inputs(wrong, error, words):
    for name, call in {
        "data": lambda: kernels.SumSquaredValues_float(wrong),
        "input": lambda: kernels.Sin_float(wrong),
        "second": lambda: kernels.MultiplyVectorsAndCalcSum_float(FLOATS, wrong),
    }.items():
        with pytest.raises(error, match=f"^{name} {words}"):
            call()


@pytest.mark.parametrize("wrong, error, words", [case for case in WRONG if case[0] is not None], ids=str)
def test_outputs(wrong, error, words):
    with pytest.raises(error, match=f"^out {words}"):
        kernels.Sin_float(FLOATS, out=wrong)


def test_outputs_are_written():
    out = np.zeros(8, np.float32)
    assert kernels.Sin_float(FLOATS, out=out) is out
    np.testing.assert_allclose(out, np.sin(FLOATS), atol=1e-7)
    with pytest.raises(ValueError, match="^out has 7 elements: input asks for 8"):
        kernels.Sin_float(FLOATS, out=out[1:])
    with pytest.raises(ValueError, match="^out overlaps input"):
        kernels.Sin_float(out[:4], out=out[3:7])
    out.flags.writeable = False
    with pytest.raises(ValueError, match="^out is read-only"):
        kernels.Sin_float(FLOATS, out=out)
    with pytest.raises(ValueError, match="^data is read-only"):
        kernels.MultiplyVectorByScalar_float(out, 2)
    assert kernels.SumSquaredValues_float(out) > 0


def test_other_exporters_of_buffers():
    assert kernels.SumSquaredValues_float(array.array("f", [3, 4])) == 25
    assert kernels.SumSquaredValues_float(memoryview(FLOATS)) == 140
    assert kernels.SumSquaredValues_float(FLOATS.view(np.recarray)) == 140


def test_nothing_is_too_little():
    for name in ("int16_t", "int32_t", "float", "double"):
        dtype = {"int16_t": "i2", "int32_t": "i4", "float": "f4", "double": "f8"}[name]
        with pytest.raises(ValueError, match="^data has 0 elements: a minimum asks for at least 1"):
            getattr(kernels, f"GetMinMax_{name}")(np.zeros(0, dtype))


def test_references_are_given_back():
    x, out = FLOATS.copy(), np.zeros(8, np.float32)
    before = sys.getrefcount(x), sys.getrefcount(out)
    for _ in range(100):
        kernels.Sin_float(x, out=out)
        kxcalc.sin(x, out=out)
        kxcalc.minmax(x)
        with pytest.raises(ValueError, match="overlaps"):
            kernels.Sin_float(x, out=x)
    assert (sys.getrefcount(x), sys.getrefcount(out)) == before
    x.resize(16, refcheck=False)  # no buffer is held any more


DTYPES = st.sampled_from(["i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f2", "f4", "f8", "c8", "?", ">f4", ">i2"])


@st.composite
def any_array(draw):
    """Arrays of all types, shapes, strides and orders; read-only ones, and ones at odd addresses."""
    x = draw(npst.arrays(draw(DTYPES), npst.array_shapes(min_dims=0, max_dims=3, min_side=0, max_side=9)))
    if x.ndim:
        x = x[draw(npst.basic_indices(x.shape, allow_ellipsis=False))]
    x = np.asarray(x)
    if draw(st.booleans()):
        x = x.T
    if draw(st.booleans()) and x.ndim == 1 and x.size:
        x = odd(np.ascontiguousarray(x))
    if draw(st.booleans()):
        x = x.view()
        x.flags.writeable = False
    return x


ONE_ARRAY = [
    name
    for name in dir(kernels)
    if name.startswith(
        (
            "GetMinMax_",
            "Sum",
            "Sin",
            "ATan",
            "Convert",
            "CADouble",
            "CASingle",
            "PowerNegate",
            "PowerFind",
            "PowerHarmonic",
        )
    )
]


@given(any_array())
def test_no_array_crashes_a_kernel(x):
    for name in ONE_ARRAY:
        try:
            getattr(kernels, name)(x)
        except (TypeError, ValueError) as error:
            assert str(error).split()[0] in {"data", "input", "source", "buffer", "spectrum"}


@given(any_array(), any_array())
def test_no_pair_of_arrays_crashes(x, out):
    for call in (
        lambda: kernels.Sin_float(x, out=out),
        lambda: kernels.ConvertInt32ToInt16(x, out=out),
        lambda: kernels.ChannelGetScaledValuesAtPos_double(x, 1, 0, out=out),
        lambda: kernels.PowerCorrectFFT_U(x, out),
        lambda: kernels.MoveAndGetMinMaxAveRMS_int16_t(x, 0, 0, out=out),
        lambda: kernels.CACalcFilter_float(x, out),
        lambda: kernels.FindCursorXY(x, 0, 0, out),
        lambda: kernels.IIRFilter_double(x, out, out),
        lambda: kxcalc.sin(x, out=out),
        lambda: kxcalc.scale(x, 2, out=out),
        lambda: kxcalc.minmax(x, out=(out, out)),
        lambda: kxcalc.statistics(x),
    ):
        with contextlib.suppress(TypeError, ValueError):
            call()
