import ctypes
from pathlib import Path

import hypothesis
import numpy as np
import pytest

import kxcalc

hypothesis.settings.register_profile("quick", max_examples=25, deadline=None, database=None, derandomize=True)
hypothesis.settings.register_profile("long", max_examples=2000, deadline=None)
hypothesis.settings.load_profile("quick")


class Library:
    """The library of the package, called as C does: arrays as addresses, in the order of the header."""

    def __init__(self):
        folder = Path(kxcalc.__file__).parent / "lib"
        self.library = ctypes.CDLL(str(next(folder.glob(f"*kxcalc-{kxcalc.variant}.*"))))

    def __call__(self, name, *arguments, result=None):
        function = getattr(self.library, name)
        function.restype = result
        return function(*(ctypes.c_void_p(a.ctypes.data) if isinstance(a, np.ndarray) else a for a in arguments))


@pytest.fixture(scope="session")
def library():
    return Library()


@pytest.fixture
def random():
    return np.random.default_rng(20250705)
