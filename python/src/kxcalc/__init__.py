"""Numeric kernels for measurement hosts: the same input gives the same bits on every processor.

`kxcalc.kernels` has the 58 functions of the library as they are. What stands here is for arrays of any shape.
`variant` is the build of the library that is in use, the fastest that the processor runs; the environment variable
KXCALC_VARIANT names another one.
"""

from kxcalc import _native as _native  # first: it brings kernels along
from kxcalc import kernels as kernels
from kxcalc._functions import StatisticsResult, arctan, minmax, rms, scale, sin, statistics
from kxcalc._library import variant, verify

__all__ = [
    "StatisticsResult",
    "arctan",
    "kernels",
    "minmax",
    "rms",
    "scale",
    "sin",
    "statistics",
    "variant",
    "verify",
]
