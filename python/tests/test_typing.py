"""The stubs: those that are installed are those of the module, and mypy takes them."""

import doctest
import subprocess
import sys

import pytest


def run(*command):
    done = subprocess.run([sys.executable, "-m", *command], capture_output=True, text=True, check=False)
    assert done.returncode == 0, done.stdout + done.stderr


# Its functions are callables of a type of their own, which stubtest takes for no functions, and so are its classes.
OF_NANOBIND = {
    "kxcalc.kernels.CHSInterpolator is a disjoint base at runtime, but isn't marked with @disjoint_base in the stub",
    "kxcalc.kernels.CHSInterpolator is inconsistent, metaclass differs",
    'kxcalc.kernels.CHSInterpolator.__init__ is inconsistent, stub does not have *args parameter "args"',
}


def test_stubs_are_those_of_the_modules(tmp_path):
    file = tmp_path / "mypy.ini"
    file.write_text("[mypy]\nstrict = True\n")
    command = [sys.executable, "-m", "mypy.stubtest", "--concise", "--mypy-config-file", str(file), "kxcalc"]
    done = subprocess.run(command, capture_output=True, text=True, check=False, cwd=tmp_path)
    lines = [line for line in done.stdout.splitlines() if not line.endswith(" is not a function")]
    assert set(lines) <= OF_NANOBIND, done.stdout + done.stderr
    assert "kxcalc.kernels.Sin_float is not a function" in done.stdout


def test_mypy_takes_what_users_write(tmp_path):
    user = tmp_path / "user.py"
    user.write_text(
        "import kxcalc\nimport numpy as np\n"
        "x = np.zeros(5, np.float32)\n"
        "low, high = kxcalc.kernels.GetMinMax_float(x)\n"
        "print(low + high, kxcalc.statistics(x).mean, kxcalc.sin(x, out=x), kxcalc.variant.upper())\n"
    )
    run("mypy", "--strict", "--cache-dir", str(tmp_path / "cache"), str(user))
    user.write_text("import kxcalc\nkxcalc.kernels.GetMinMax_float('x')\n")
    with pytest.raises(AssertionError, match="incompatible type"):
        run("mypy", "--strict", "--cache-dir", str(tmp_path / "cache"), str(user))


@pytest.mark.parametrize("name", ["_functions", "_library"])
def test_examples(name):
    import importlib

    result = doctest.testmod(importlib.import_module(f"kxcalc.{name}"))
    assert result.attempted > 0
    assert result.failed == 0
