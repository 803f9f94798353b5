"""The benchmarks as script/bench calls them: that results agree, that tables are written, that a slower library is found. No time
is judged but that of a function which does its work a hundred times.

usage: bench_test.py <folder of kxcalc-bench and kxcalc-bench-pairs> <folder of libraries> <C compiler> <public header's folder>
"""

import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

programs, libraries, compiler, include = sys.argv[1:]
bench, pairs = f"{programs}/kxcalc-bench", f"{programs}/kxcalc-bench-pairs"
against = Path(__file__).resolve().parents[2] / "bench/against.py"
job = "kxcalcConvertInt32ToInt16/1000/portable"
failures = []

SLOW = """#define _GNU_SOURCE
#include <dlfcn.h>
#include <kxcalc.h>
void kxcalcConvertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count) {
  __typeof__(&kxcalcConvertInt32ToInt16) real = (__typeof__(real))dlsym(RTLD_NEXT, "kxcalcConvertInt32ToInt16");
  for (int i = 0; i < 100; ++i) real(source, destination, count);
}
"""
WRONG = SLOW.replace("real(source, destination, count);", "real(source, destination, count), destination[0] = 1;")


def run(*command):
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    return result.returncode, result.stdout + result.stderr


def check(what, holds, output):
    if not holds:
        failures.append(f"{what}: {output}")


def with_flaw(folder, source):
    """A folder with the portable library behind a function of another kind."""
    original = Path(folder, "original.so")
    shutil.copy(f"{libraries}/libkxcalc-portable.so", original)
    Path(folder, "flaw.c").write_text(source)
    subprocess.run([compiler, "-shared", "-fPIC", "-I", include, Path(folder, "flaw.c"), "-o", Path(folder, "libkxcalc-portable.so"),
                    "-Wl,--no-as-needed", original, f"-Wl,-rpath,{libraries}"], check=True)
    return folder


code, out = run(bench, "--check", libraries, ".")
check("all results agree", code == 0 and out.endswith(" agree, 0 differ\n"), out)

with tempfile.TemporaryDirectory() as figures:
    code, out = run(bench, "--benchmark_min_time=0.0001", "--benchmark_repetitions=2", "--benchmark_filter=ConvertInt32ToInt16/1000/", libraries,
                    f"{figures}/all")
    table, rows = Path(figures, "all.md").read_text(), Path(figures, "all.csv").read_text().splitlines()
    check("the tables are printed and written", code == 0 and table == out and "\n| ConvertInt32ToInt16 |" in table and "| portable |" in table, out)
    check("each figure is written", sum(",kxcalcConvertInt32ToInt16,,1000,portable,kxcalc," in row for row in rows) == 1, rows)
    check("a file that cannot be written", run(bench, "--benchmark_min_time=0.0001", "--benchmark_filter=Version", libraries, f"{figures}/no/file")[0] == 1, "")
    check("a filter that nothing fits", run(bench, "--benchmark_filter=nothing", libraries, f"{figures}/none")[0] == 1, "")
    check("a folder without libraries", run(bench, figures, f"{figures}/none")[0] == 1, "")
for arguments in [], ["--check"], [libraries], [libraries, "a", "b", "c"], ["--benchmark_nonsense", libraries, "a"]:
    check(f"misuse: {arguments}", run(bench, *arguments)[0] == 2, "")

with tempfile.TemporaryDirectory() as first, tempfile.TemporaryDirectory() as second:
    code, out = run(against, "--instructions", pairs, libraries, libraries, "Convert.*portable|PinkFilter.*sse41")
    check("a build is level with itself", code == 0 and out.splitlines()[-1].endswith(" level, 0 faster, 0 slower, 0 unclear"), out)
    slow = with_flaw(first, SLOW)
    for mode in ["--instructions"], []:
        code, out = run(against, *mode, pairs, libraries, slow, "ConvertInt.*/1000/portable")
        check(f"a slower job is found {mode}", code == 1 and f"slower: {job}: " in out and " 1 slower" in out, out)
    code, out = run(against, "--instructions", pairs, slow, libraries, "ConvertInt.*/1000/portable")
    check("a faster job fails nothing", code == 0 and f"faster: {job}: " in out, out)
    wrong = with_flaw(second, WRONG)
    code, out = run(bench, "--check", wrong, "ConvertInt32ToInt16")
    check("a peer that gives other bits than the library is named", code == 1 and "kxcalcConvertInt32ToInt16/1000/plain: its result 0 is" in out, out)
    sibling = next(path for path in Path(libraries).glob("libkxcalc-*.so") if path.stem in ("libkxcalc-sse41", "libkxcalc-neon"))
    shutil.copy(sibling, wrong)
    code, out = run(bench, "--check", wrong, "ConvertInt32ToInt16/1000/")
    check("a library that gives other bits than the first is named", code == 1 and f"{job}: its result 0 is" in out and " 1 differ\n" in out, out)
for arguments in [], [pairs, libraries, "/nowhere"], [pairs, libraries, programs], [pairs, libraries, libraries, "nothing"], ["--nonsense"]:
    check(f"misuse of against.py: {arguments}", run(against, *arguments)[0] == 2, "")

print("\n".join(failures))
sys.exit(1 if failures else 0)
