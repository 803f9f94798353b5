"""kxverify as a user runs it: on the libraries that it must accept, and on some that it must not.

usage: kxverify_test.py <kxverify> <library> <manifest> <C compiler> <public header's folder>
"""

import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2]))
from functions import registry  # noqa: E402

total = len(registry.names())
kxverify, library, manifest, compiler, include = sys.argv[1:]

# Functions that differ from the library's in one respect each: the last bit, a NaN's sign, merging for overwriting, a write
# one element too far.
FLAWS = {
    "kxcalcPowerHarmonicZero": "double kxcalcPowerHarmonicZero(const float* s, uint32_t n) { double v = real(s, n); "
                               "return n == 67 ? v * (1 + 0x1p-52) : v; }",
    "kxcalcPowerNegateImag_float": "void kxcalcPowerNegateImag_float(float* s, uint32_t n) { for (uint32_t i = 1; i < n; i += 2) "
                                   "if (s[i] == s[i]) s[i] = -s[i]; }",
    "kxcalcGetMinMax_int16_t": "void kxcalcGetMinMax_int16_t(const int16_t* d, uint32_t n, int16_t* a, int16_t* b) { "
                               "for (uint32_t i = 0; i < n; ++i) { if (d[i] < *a) *a = d[i]; if (d[i] > *b) *b = d[i]; } }",
    "kxcalcConvertInt32ToInt16": "void kxcalcConvertInt32ToInt16(const int32_t* s, int16_t* d, uint32_t n) { uint32_t i = 0; "
                                 "for (; i < n; ++i) d[i] = (int16_t)s[i]; if (n > 8) d[i] = 1; }",
}
SOURCE = """#include <dlfcn.h>
#include <stddef.h>
#include <kxcalc.h>
#define real(...) ((__typeof__(&NAME))dlsym(RTLD_NEXT, TEXT))(__VA_ARGS__)
"""

failures = []


def run(*arguments):
    result = subprocess.run([kxverify, *arguments], capture_output=True, text=True)
    return result.returncode, result.stdout, result.stderr


def check(what, holds):
    if not holds:
        failures.append(what)


code, out, _ = run(library)
check("the library is accepted", code == 0 and out.splitlines()[-1] == f"{library}: {total} of {total} functions give the published bits")
check("a line an export", len(out.splitlines()) == total + 1 and all(line.endswith(" equal") for line in out.splitlines()[:-1]))
check("--print writes the published manifest", run("--print", library)[:2] == (0, Path(manifest).read_text()))
check("a manifest may be named", run("--manifest", manifest, library)[0] == 0)
check("--help", run("--help")[0] == 0 and "usage" in run("--help")[1])
for arguments in [], ["--nonsense"], [library, library], ["--print"], ["--manifest", manifest]:
    check(f"misuse: {arguments}", run(*arguments)[0] == 2)

with tempfile.TemporaryDirectory() as folder:
    for name, flaw in FLAWS.items():
        source, flawed = Path(folder, "flawed.c"), Path(folder, f"lib{name}.so")
        text = SOURCE.replace("NAME", name).replace("TEXT", f'"{name}"') + flaw
        source.write_text("#define _GNU_SOURCE\n" + text)
        subprocess.run([compiler, "-shared", "-fPIC", "-I", include, str(source), "-o", str(flawed), "-Wl,--no-as-needed", library,
                        f"-Wl,-rpath,{Path(library).parent}"], check=True)
        code, out, _ = run(str(flawed))
        differing = [line.split()[0] for line in out.splitlines() if line.endswith(" differs")]
        check(f"a flaw in {name} alone is found: {differing}", code == 1 and differing == [name])
        check("the verdict counts", out.splitlines()[-1].endswith(f"{total - 1} of {total} functions give the published bits"))

    lacking = Path(folder, "liblacking.so")
    source.write_text("int unused;")
    subprocess.run([compiler, "-shared", "-fPIC", str(source), "-o", str(lacking)], check=True)
    code, _, error = run(str(lacking))
    check("a library without the exports", code == 1 and "lacks the export kxcalcGetVersion" in error)

    garbage = Path(folder, "garbage.so")
    garbage.write_text("no library")
    check("a file that is no library", run(str(garbage))[0] == 1)
    check("a file that is not there", run(str(Path(folder, "nothing.so")))[0] == 1)

    short = Path(folder, "short.manifest")
    lines = Path(manifest).read_text().splitlines()
    short.write_text("\n".join(lines[:-1]) + "\n")
    code, out, _ = run("--manifest", str(short), library)
    check("an export that the manifest lacks", code == 1 and "is not in the manifest" in out)
    short.write_text("abc kxcalcGetVersion\n")
    code, _, error = run("--manifest", str(short), library)
    check("a manifest that is none", code == 1 and "line 1" in error)
    check("a manifest that is not there", run("--manifest", str(Path(folder, "nothing")), library)[0] == 1)

print("\n".join(f"fails: {what}" for what in failures))
sys.exit(1 if failures else 0)
