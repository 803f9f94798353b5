"""Functions of arrays of any shape, against NumPy."""

import os
import subprocess
import sys
import threading

import numpy as np
import pytest
import xarray
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as npst

import kxcalc

SAMPLES = ["int16", "int32", "float32", "float64"]


@st.composite
def arrays_with_axis(draw, dtypes=SAMPLES, min_side=1):
    dtype = np.dtype(draw(st.sampled_from(dtypes)))
    shape = draw(npst.array_shapes(max_dims=3, min_side=min_side, max_side=12))
    elements = {"min_value": -100 if dtype.kind != "u" else 0, "max_value": 100}
    x = draw(npst.arrays(dtype, shape, elements=elements))
    x = x.transpose(draw(st.permutations(range(x.ndim))))
    x = x[tuple(slice(None, None, draw(st.sampled_from([1, 1, 2, -1]))) for _ in range(x.ndim))]
    return x, draw(st.integers(-x.ndim, x.ndim - 1))


@given(arrays_with_axis())
def test_statistics_are_those_of_numpy(case):
    x, axis = case
    result = kxcalc.statistics(x, axis)
    wide = x.astype(np.float64)
    assert result.count == x.shape[axis]
    np.testing.assert_array_equal(result.minimum, x.min(axis), strict=True)
    np.testing.assert_array_equal(result.maximum, x.max(axis), strict=True)
    np.testing.assert_allclose(result.mean, wide.mean(axis), rtol=1e-12, atol=1e-9)
    np.testing.assert_allclose(result.rms, np.sqrt((wide**2).mean(axis)), rtol=1e-12, atol=1e-9)
    np.testing.assert_allclose(result.ac_rms, wide.std(axis), rtol=1e-6, atol=1e-4)
    np.testing.assert_array_equal(kxcalc.minmax(x, axis), (result.minimum, result.maximum))
    np.testing.assert_array_equal(kxcalc.rms(x, axis), result.rms)


@given(arrays_with_axis())
def test_views_give_the_bits_of_their_copies(case):
    x, axis = case
    for view, copy in zip(kxcalc.statistics(x, axis), kxcalc.statistics(x.copy(), axis), strict=True):
        np.testing.assert_array_equal(view, copy)


@pytest.mark.parametrize("dtype", SAMPLES)
def test_long_and_shifted_arrays_give_the_same_bits(random, dtype):
    x = (random.standard_normal(20001) * 1000).astype(dtype)
    expected = kxcalc.statistics(x[1:].copy())
    assert kxcalc.statistics(x[1:]) == expected
    assert kxcalc.statistics(np.stack([x[1:], x[:-1]], axis=1)[:, 0]) == expected
    assert kxcalc.minmax(x) == (x.min(), x.max())
    assert expected.crest_factor == pytest.approx(np.abs(x[1:].astype(float)).max() / expected.rms)


@pytest.mark.parametrize("dtype", ["float32", "float64"])
@pytest.mark.parametrize("n", [1, 2, 5, 10000])
def test_nans_show_wherever_they_are(dtype, n):
    for place in {0, n // 2, n - 1}:
        x = np.ones(n, dtype)
        x[place] = np.nan
        assert np.isnan(kxcalc.minmax(x)).all()
        assert np.isnan(kxcalc.statistics(x)[1:]).all()


def test_silence_has_no_crest_factor():
    assert np.isnan(kxcalc.statistics(np.zeros(5)).crest_factor)


@given(arrays_with_axis(["uint8", "int8", "int16", "uint16", "int32", "uint32", "int64", "float32", "float64"], 0))
def test_scale_is_that_of_numpy(case):
    x, _ = case
    kept = np.float32 if x.dtype == np.float32 else np.float64
    np.testing.assert_array_equal(kxcalc.scale(x, 0.3, -2), x.astype(kept) * kept(0.3) + kept(-2), strict=True)
    out = np.zeros(x.shape, np.float32).T.copy().T
    assert kxcalc.scale(x, 0.3, out=out) is out
    np.testing.assert_allclose(out, x * 0.3, rtol=1e-6, atol=1e-30)


@pytest.mark.parametrize(
    "dtype", ["uint8", "int8", "int16", "uint16", "int32", "uint32", "int64", "float32", "float64"]
)
def test_scale_keeps_the_type(dtype):
    x = np.arange(12).astype(dtype).reshape(3, 4)
    result = kxcalc.scale(x[:, ::2], 2, 1)
    assert result.dtype == (np.float32 if dtype == "float32" else np.float64)
    np.testing.assert_array_equal(result, x[:, ::2] * 2.0 + 1)


@given(arrays_with_axis(["float32"], 0))
def test_sine_and_arctangent_are_those_of_numpy(case):
    x, _ = case
    for function, exact in ((kxcalc.sin, np.sin), (kxcalc.arctan, np.arctan)):
        result = function(x)
        assert result.dtype == np.float32
        np.testing.assert_allclose(result, exact(x.astype(np.float64)), rtol=0, atol=1.2e-7)
        for index in np.ndindex(x.shape):
            assert function(x[index].reshape(1))[0] == result[index] or np.isnan(result[index])


@pytest.mark.parametrize("function", [kxcalc.sin, kxcalc.arctan, lambda x, out: kxcalc.scale(x, 0.5, 1, out=out)])
def test_results_may_take_the_place_of_the_elements(random, function):
    for x in (random.standard_normal((3, 5000)).astype("f4"), random.standard_normal((6, 10)).astype("f4")[::2, ::-3]):
        expected = function(x, out=np.zeros(x.shape, "f4"))
        assert function(x, out=x) is x
        np.testing.assert_array_equal(x, expected)
        with pytest.raises(ValueError, match="out overlaps x"):
            function(x[:, 1:], out=x[:, :-1])


def test_out_of_reductions(random):
    x = random.standard_normal((4, 3, 50))
    out = np.zeros((3, 4)).T
    assert kxcalc.rms(x, out=out) is not None
    np.testing.assert_array_equal(out, kxcalc.rms(x))
    pair = np.zeros((4, 3)), np.zeros((4, 3))
    result = kxcalc.minmax(x, out=pair)
    np.testing.assert_array_equal(pair, kxcalc.minmax(x))
    np.testing.assert_array_equal(result, pair)
    for wrong, error, words in (
        (np.zeros((3, 4)), ValueError, "out has the shape"),
        (np.zeros((4, 3), "f4"), TypeError, "out is an array of float32"),
        ([0.0], TypeError, "out is of type list"),
    ):
        with pytest.raises(error, match=words):
            kxcalc.rms(x, out=wrong)
    out.flags.writeable = False
    with pytest.raises(ValueError, match="out is read-only"):
        kxcalc.rms(x, out=out)


@pytest.mark.parametrize("function", [kxcalc.statistics, kxcalc.minmax, kxcalc.rms])
def test_reductions_refuse(function):
    for wrong, error, words in (
        ([1.0], TypeError, "x is of type list"),
        (np.zeros(3, "f2"), TypeError, "x is an array of float16"),
        (np.zeros(3, "u2"), TypeError, "x is an array of uint16"),
        (np.zeros(3, ">f8"), TypeError, "x is an array of float64 in the other byte order"),
        (np.zeros(3, "c16"), TypeError, "x is an array of"),
        (np.ma.masked_array(np.zeros(3)), TypeError, "x is a masked array"),
        (np.zeros(0), ValueError, "x has no samples along axis -1"),
        (np.zeros(()), ValueError, "axis is -1: x has 0 dimensions"),
        (np.zeros(17, "u1")[1:].view("f8"), ValueError, "x is not aligned to its elements of 8 bytes"),
    ):
        with pytest.raises(error, match=words):
            function(wrong)
    with pytest.raises(ValueError, match="axis is 2"):
        function(np.zeros((3, 3)), axis=2)
    assert np.shape(kxcalc.rms(np.zeros((0, 5)))) == (0,)


def test_subclasses_are_arrays(random, tmp_path):
    x = random.standard_normal((3, 4))
    mapped = np.memmap(tmp_path / "x", "f8", "w+", shape=x.shape)
    mapped[:] = x
    for other in (mapped, x.view(np.recarray)):
        result = kxcalc.rms(other)
        assert type(result) is np.ndarray
        np.testing.assert_array_equal(result, kxcalc.rms(x))


def test_xarray(random):
    table = xarray.DataArray(random.standard_normal((50, 3)), dims=("time", "channel"))
    result = xarray.apply_ufunc(kxcalc.rms, table, input_core_dims=[["time"]])
    np.testing.assert_array_equal(result, kxcalc.rms(table.values, axis=0))
    line = xarray.apply_ufunc(
        lambda x: kxcalc.statistics(x)[1:], table, input_core_dims=[["time"]], output_core_dims=[[]] * 6
    )
    np.testing.assert_array_equal(line[1], table.max("time"))


def test_threads_run_meanwhile():
    x = np.ones(4_000_000)
    expected = kxcalc.statistics(x)
    results = []
    threads = [threading.Thread(target=lambda: results.append(kxcalc.statistics(x))) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [expected] * 4


def run(code, **environment):
    return subprocess.run(
        [sys.executable, "-c", code], env={**os.environ, **environment}, capture_output=True, text=True, check=False
    )


def test_the_variant_is_the_best_or_the_one_asked_for():
    runnable = kxcalc._native.runnable_variants()
    if "KXCALC_VARIANT" not in os.environ:
        assert kxcalc.variant == runnable[0]
    for name in runnable:
        done = run(
            "import kxcalc, numpy; print(kxcalc.variant, kxcalc.rms(numpy.arange(5.0)).hex())", KXCALC_VARIANT=name
        )
        assert done.stdout.split() == [name, kxcalc.rms(np.arange(5.0)).hex()]
    done = run("import kxcalc", KXCALC_VARIANT="avx9")
    assert "ImportError: KXCALC_VARIANT is avx9: this package and this processor have" in done.stderr


def test_the_library_gives_the_published_bits():
    assert kxcalc.verify() == []
