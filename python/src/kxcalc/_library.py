"""The library that the package opens: the best one that the processor runs."""

import os
from importlib import resources
from pathlib import Path

from kxcalc import _native

_FOLDER = Path(str(resources.files("kxcalc"))) / "lib"


def _file_of(variant: str) -> Path | None:
    return next((file for file in _FOLDER.glob(f"*kxcalc-{variant}.*")), None)


def _open() -> str:
    runnable = [name for name in _native.runnable_variants() if _file_of(name)]
    wanted = os.environ.get("KXCALC_VARIANT") or next(iter(runnable), "portable")
    if wanted not in runnable:
        raise ImportError(f"KXCALC_VARIANT is {wanted}: this package and this processor have {', '.join(runnable)}")
    _native.open_library(str(_file_of(wanted)))
    return wanted


variant: str = _open()


def verify() -> list[str]:
    """Run every function and compare what comes out with the published bits.

    It takes some seconds.

    Returns
    -------
    list of str
        The functions of the library whose results differ: none, if all is well.

    Examples
    --------
    >>> import kxcalc
    >>> kxcalc.verify()
    []
    """
    lines = (_FOLDER / "kxcalc.manifest").read_text(encoding="ascii").splitlines()
    published = {name: digest for digest, name in (line.split() for line in lines if line and not line.startswith("#"))}
    computed = _native.hashes()
    return [name for name in published | computed if published.get(name) != computed.get(name)]
