"""Holds the sources against the floors of the house: what a file includes, names or throws has to stand on its own floor or below.

usage: check_floors.py <source directory>     prints a line for each arrow that points up
With --self-test, plants an arrow of each kind.
"""

import re
import sys
import tempfile
from fnmatch import fnmatchcase
from pathlib import Path

HEADER, FUNCTIONS, ANALYSIS, RECORDINGS = "include", "functions", "analysis", "recordings"
BELOW_FRONT_ENDS = {HEADER, FUNCTIONS, ANALYSIS, RECORDINGS}
SHARED_BY_TESTS = {HEADER, FUNCTIONS, "verify", "tests/support", "tests/reference"}
KERNEL_KITS = {"src/frame", "src/vmath"}

# A room and the rooms that it may include, besides itself. The first pattern that fits a file's folder names its room.
ROOMS = [
    ("include", set()),
    ("src/frame", {HEADER}),
    ("src/*", {HEADER} | KERNEL_KITS),  # a family knows no other family
    ("functions", {HEADER}),
    ("analysis", {HEADER, FUNCTIONS}),
    ("recordings", {FUNCTIONS}),  # what is there for all, but no kernels: see KERNEL_FREE
    ("host/reports", BELOW_FRONT_ENDS),
    ("host/pictures", BELOW_FRONT_ENDS | {"host/reports"}),
    ("host/commands", BELOW_FRONT_ENDS | {"host/reports", "host/pictures"}),
    ("host", BELOW_FRONT_ENDS | {"host/reports", "host/pictures", "host/commands"}),  # main.cpp
    ("python", BELOW_FRONT_ENDS | {"verify"}),  # a front end knows no other one
    ("web", BELOW_FRONT_ENDS),
    ("verify", {HEADER, FUNCTIONS}),
    ("bench", {HEADER, FUNCTIONS, "verify"}),
    ("fuzz", SHARED_BY_TESTS | {RECORDINGS}),
    ("tests/reference", {HEADER, FUNCTIONS}),  # a model shares nothing with what it is the model of
    ("tests/support", SHARED_BY_TESTS),
    ("tests/frame", SHARED_BY_TESTS | KERNEL_KITS),
    ("tests/vmath", SHARED_BY_TESTS | KERNEL_KITS | {"src/power"}),  # the flicker's classes come from a logarithm of the kit
    ("tests/analysis", SHARED_BY_TESTS | {ANALYSIS}),
    ("tests/bench", {HEADER, FUNCTIONS, "bench"}),
    ("tests/recordings", SHARED_BY_TESTS | {RECORDINGS}),
    ("tests/host", SHARED_BY_TESTS | BELOW_FRONT_ENDS | {"host", "host/reports", "host/pictures", "host/commands"}),
    ("tests/package", BELOW_FRONT_ENDS),  # as others include what is installed
    ("tests/*", SHARED_BY_TESTS),
    ("cmake", {HEADER, FUNCTIONS}),  # programs that are run while a build is configured
]
KERNEL_FREE = {"recordings"}  # rooms that do not see the public header, on no path
FLOORS = sorted({pattern.split("/")[0] for pattern, _ in ROOMS})
HOST_ROOMS = {"commands", "reports", "pictures"}

# Where an include is looked for, besides the file's own folder.
INCLUDE_ROOTS = {
    "cmake": ["functions"], "include": ["include"], "src": ["src", "include"], "functions": ["include"], "analysis": ["include"], "recordings": ["include"],
    "host": [], "python": ["python", "include"], "web": ["web", "include"], "verify": ["verify", "include"], "bench": ["bench", "include"],
    "fuzz": ["fuzz", "tests", "verify", "include"], "tests": ["tests", "verify", "src", "include"],
}

# What is brought from elsewhere, and the rooms (none: every room but the kernels) that may include it.
LIBRARIES = [
    (r"CLI/.*", {"host", "host/commands"}),
    (r"nlohmann/.*", {"host/reports", "host/commands", "tests/host"}),
    (r"cairo.*|png\.h", {"host/pictures", "tests/host"}),
    (r"sndfile.*", {"recordings", "fuzz", "tests/recordings", "tests/host"}),
    (r"fast_float/.*", {"recordings"}),
    (r"kiss_?fft.*", {"analysis"}),
    (r"nanobind/.*|Python\.h", {"python"}),
    (r"emscripten.*", {"web"}),
    (r"benchmark/.*|valgrind/.*", {"bench"}),
    (r"fuzzer/.*", {"fuzz"}),
    (r"gtest/.*|gmock/.*", {"fuzz", "tests/*"}),
]
KERNELS_MAY_INCLUDE = {"algorithm", "array", "bit", "climits", "cmath", "concepts", "cstddef", "cstdint", "cstdlib", "cstring", "limits",
                       "numbers", "type_traits", "utility", "version"}
FRAME_MAY_INCLUDE = {"arm_neon.h", "emmintrin.h", "immintrin.h", "smmintrin.h", "windows.h"}
# Files, streams and threads, which an analysis leaves to its caller.
ANALYSIS_MAY_NOT_INCLUDE = {"barrier", "condition_variable", "cstdio", "filesystem", "fstream", "future", "iostream", "latch", "mutex",
                            "semaphore", "shared_mutex", "stop_token", "syncstream", "thread"}

# The targets by which a room is linked, in the CMakeLists.txt of another one.
TARGETS = [
    (r"kxcalc-functions(-interface)?", "functions"),
    (r"kxanalysis", "analysis"),
    (r"kxrecordings", "recordings"),
    (r"kxhost", "host"),
    (r"kxcalc-exercises|kxverify", "verify"),
]

INCLUDE = re.compile(r"^[ \t]*#[ \t]*include[ \t]*([<\"])([^>\"]+)[>\"]", re.MULTILINE)
COMMENT_OR_LITERAL = re.compile(r"//[^\n]*|/\*.*?\*/|R\"(\w*)\(.*?\)\1\"|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+'", re.DOTALL)


def room_of(path):
    """The room that a file stands in, and what its room may include; None for a file that stands in none."""
    folder = path.rpartition("/")[0]
    while folder:
        for pattern, known in ROOMS:
            if fnmatchcase(folder, pattern) and folder.count("/") == pattern.count("/"):
                return folder, known
        folder = folder.rpartition("/")[0]
    return None, set()


def allowed(room, patterns):
    return any(fnmatchcase(room, pattern) for pattern in patterns)


def included_file(root, path, name):
    """The path of the project's file that is meant; None for a file from elsewhere."""
    floor = path.split("/")[0]
    for folder in [path.rpartition("/")[0], "", *INCLUDE_ROOTS[floor]]:
        file = (root / folder / name).resolve()
        if file.is_file() and file.is_relative_to(root.resolve()):
            return str(file.relative_to(root.resolve()))
    return None


def foreign_arrow(room, name):
    """What is wrong with an include from outside the project; None if nothing."""
    if room.startswith("src/"):
        well = name in KERNELS_MAY_INCLUDE or (room == "src/frame" and name in FRAME_MAY_INCLUDE)
        return None if well else "kernels stand on the compiler and a few headers without run-time parts"
    for pattern, rooms in LIBRARIES:
        if re.fullmatch(pattern, name):
            return None if allowed(room, rooms) else "this library is used in " + ", ".join(sorted(rooms))
    if room == "analysis" and (name in ANALYSIS_MAY_NOT_INCLUDE or name.endswith(".h")):
        return "analyses leave files, streams and threads to their callers"
    return None


def sees_kernels(root, path, seen):
    """Whether a file includes the public header, itself or through others."""
    if path == "include/kxcalc.h":
        return True
    if path in seen:
        return False
    seen.add(path)
    targets = (included_file(root, path, match[2]) for match in INCLUDE.finditer((root / path).read_text()))
    return any(sees_kernels(root, target, seen) for target in targets if target)


def arrows_of_source(root, path, text):
    room, known = room_of(path)
    if room is None:
        yield f"{path}: stands on no floor"
        return
    for match in INCLUDE.finditer(text):
        name = match[2]
        line = text.count("\n", 0, match.start()) + 1
        target = included_file(root, path, name)
        if target is None:
            wrong = foreign_arrow(room, name)
            if wrong:
                yield f"{path}:{line}: includes {name}: {wrong}"
        elif (other := room_of(target)[0]) != room and other not in known:
            yield f"{path}:{line}: includes {target}: {room} does not know {other}"
        elif room in KERNEL_FREE and other != room and sees_kernels(root, target, set()):
            yield f"{path}:{line}: includes {target}: {room} does not know the kernels"
    if room == "analysis":
        code = COMMENT_OR_LITERAL.sub(lambda literal: re.sub(r"[^\n]", " ", literal[0]), text)
        for match in re.finditer(r"\bthrow\b", code):
            yield f"{path}:{code.count(chr(10), 0, match.start()) + 1}: throws: an analysis says in its result what is wrong"


def arrows_of_build(path, text):
    """Links against a room that is not known. The arrows of tests are those of their includes."""
    room, known = room_of(path)
    if room is None or room.startswith("tests"):
        return
    for number, line in enumerate(text.splitlines(), 1):
        for word in re.findall(r"[\w-]+", line.partition("#")[0]):
            for pattern, other in TARGETS:
                if re.fullmatch(pattern, word) and other not in known | {room}:
                    yield f"{path}:{number}: names {word}: {room} does not know {other}"


def arrows(root):
    """A sentence for each arrow that points up."""
    for floor in sorted(path.name for path in root.iterdir() if path.is_dir()):
        if floor.startswith((".", "build")):
            continue
        sources = sorted(file for file in (root / floor).rglob("*") if file.suffix in {".c", ".cpp", ".h", ".hpp", ".inc"} and file.is_file())
        if floor not in FLOORS:
            if sources:
                yield f"{floor}/: is no floor"
            continue
        for file in sources:
            yield from arrows_of_source(root, str(file.relative_to(root)), file.read_text())
        for file in sorted((root / floor).rglob("CMakeLists.txt")):
            yield from arrows_of_build(str(file.relative_to(root)), file.read_text())
    for entry in sorted((root / "host").iterdir()) if (root / "host").is_dir() else []:
        if entry.name not in HOST_ROOMS | {"main.cpp", "CMakeLists.txt"}:
            yield f"host/{entry.name}: the host consists of main.cpp, {', '.join(sorted(HOST_ROOMS))}"


HOUSE = {
    "include/kxcalc.h": "#include <stdint.h>\n",
    "src/frame/lanes.hpp": "#include <smmintrin.h>\n#include \"kxcalc.h\"\n",
    "src/vmath/sine.hpp": "#include \"frame/lanes.hpp\"\n",
    "src/power/flicker.cpp": "#include <cmath>\n#include \"frame/lanes.hpp\"\n#include \"vmath/sine.hpp\"\n",
    "src/stats/extremes.hpp": "",
    "functions/result.hpp": "#include <string>\n",
    "functions/functions.hpp": "#include <kxcalc.h>\n#include <string>\n",
    "analysis/power/mean.hpp": "#include \"functions/functions.hpp\"\n#include <vector>\n#include <kissfft/kissfft.hh>\n// throws nothing: no throw\n",
    "analysis/CMakeLists.txt": "target_link_libraries(kxanalysis PUBLIC kxcalc-functions-interface)\n",
    "cmake/probe.cpp": "#include \"result.hpp\"\n",
    "recordings/wave.hpp": "#include \"functions/result.hpp\"\n#include <sndfile.h>\n#include <fstream>\n",
    "host/main.cpp": "#include \"host/commands/command.hpp\"\n#include <CLI/CLI.hpp>\n",
    "host/commands/command.hpp": "#include \"host/reports/table.hpp\"\n#include \"host/pictures/plot.hpp\"\n#include \"recordings/wave.hpp\"\n",
    "host/reports/table.hpp": "#include \"analysis/power/mean.hpp\"\n#include <nlohmann/json.hpp>\n",
    "host/pictures/plot.hpp": "#include <cairo.h>\n#include \"host/reports/table.hpp\"\n",
    "python/module.cpp": "#include \"analysis/power/mean.hpp\"\n",
    "web/module.cpp": "#include \"recordings/wave.hpp\"\n",
    "verify/call.hpp": "#include \"functions/functions.hpp\"\n",
    "fuzz/power_fuzz.cpp": "#include \"reference/flicker.hpp\"\n#include <fuzzer/FuzzedDataProvider.h>\n",
    "bench/power/flicker_bench.cpp": "#include <benchmark/benchmark.h>\n#include \"kxcalc.h\"\n",
    "tests/reference/flicker.hpp": "#include <vector>\n",
    "tests/power/flicker_test.cpp": "#include \"reference/flicker.hpp\"\n#include <gtest/gtest.h>\n",
    "tests/frame/lanes_test.cpp": "#include \"frame/lanes.hpp\"\n",
    "tests/analysis/mean_test.cpp": "#include \"analysis/power/mean.hpp\"\n",
}
# A line more in a file, and what is said of it.
PLANTED = [
    ("include/kxcalc.h", '#include "functions/functions.hpp"', "include does not know functions"),
    ("src/frame/lanes.hpp", '#include "stats/extremes.hpp"', "src/frame does not know src/stats"),
    ("src/power/flicker.cpp", '#include "stats/extremes.hpp"', "src/power does not know src/stats"),
    ("src/power/flicker.cpp", '#include "../stats/extremes.hpp"', "src/power does not know src/stats"),
    ("src/vmath/sine.hpp", '#include "../functions/functions.hpp"', "src/vmath does not know functions"),
    ("src/power/flicker.cpp", "#include <vector>", "includes vector"),
    ("src/power/flicker.cpp", "# include <iostream>", "includes iostream"),
    ("src/power/flicker.cpp", "#include <smmintrin.h>", "includes smmintrin.h"),
    ("functions/functions.hpp", '#include "analysis/power/mean.hpp"', "functions does not know analysis"),
    ("functions/functions.hpp", "#include <cairo/cairo.h>", "includes cairo"),
    ("analysis/power/mean.hpp", '#include "recordings/wave.hpp"', "analysis does not know recordings"),
    ("analysis/power/mean.hpp", '#include "host/reports/table.hpp"', "analysis does not know host/reports"),
    ("analysis/power/mean.hpp", '#include "src/stats/extremes.hpp"', "analysis does not know src/stats"),
    *[("analysis/power/mean.hpp", f"#include <{name}>", f"includes {name}")
      for name in ("fstream", "iostream", "filesystem", "thread", "future", "mutex", "cairo.h", "sndfile.h", "CLI/CLI.hpp", "nlohmann/json.hpp",
                   "unistd.h", "fftw3.h")],
    ("analysis/power/mean.hpp", 'inline void f() { throw "no"; }', "throws"),
    ("analysis/CMakeLists.txt", "target_link_libraries(kxanalysis PRIVATE kxrecordings)", "analysis does not know recordings"),
    ("recordings/wave.hpp", '#include "analysis/power/mean.hpp"', "recordings does not know analysis"),
    ("recordings/wave.hpp", '#include "functions/functions.hpp"', "recordings does not know the kernels"),
    ("recordings/wave.hpp", "#include <kxcalc.h>", "recordings does not know include"),
    ("recordings/wave.hpp", "#include <kissfft.hh>", "includes kissfft.hh"),
    ("recordings/CMakeLists.txt", "target_link_libraries(kxrecordings PRIVATE kxanalysis)", "recordings does not know analysis"),
    ("host/reports/table.hpp", '#include "host/commands/command.hpp"', "host/reports does not know host/commands"),
    ("host/reports/table.hpp", '#include "host/pictures/plot.hpp"', "host/reports does not know host/pictures"),
    ("host/reports/table.hpp", "#include <CLI/CLI.hpp>", "includes CLI"),
    ("host/pictures/plot.hpp", '#include "../commands/command.hpp"', "host/pictures does not know host/commands"),
    ("host/commands/command.hpp", '#include "src/frame/lanes.hpp"', "host/commands does not know src/frame"),
    ("host/extra.hpp", "", "host/extra.hpp: the host consists of"),
    ("host/audio/extra.hpp", "", "host/audio: the host consists of"),
    ("python/module.cpp", '#include "host/reports/table.hpp"', "python does not know host/reports"),
    ("python/module.cpp", '#include "web/module.cpp"', "python does not know web"),
    ("web/module.cpp", '#include "python/module.cpp"', "web does not know python"),
    ("host/main.cpp", '#include "python/module.cpp"', "host does not know python"),
    ("verify/call.hpp", '#include "tests/reference/flicker.hpp"', "verify does not know tests/reference"),
    ("verify/call.hpp", "#include <gtest/gtest.h>", "includes gtest"),
    ("bench/power/flicker_bench.cpp", '#include "src/frame/lanes.hpp"', "bench does not know src/frame"),
    ("fuzz/power_fuzz.cpp", '#include "src/frame/lanes.hpp"', "fuzz does not know src/frame"),
    ("tests/reference/flicker.hpp", '#include "frame/lanes.hpp"', "tests/reference does not know src/frame"),
    ("tests/power/flicker_test.cpp", '#include "frame/lanes.hpp"', "tests/power does not know src/frame"),
    ("tests/power/flicker_test.cpp", '#include "analysis/power/mean.hpp"', "tests/power does not know analysis"),
    ("tests/analysis/mean_test.cpp", '#include "recordings/wave.hpp"', "tests/analysis does not know recordings"),
    ("cellar/wine.cpp", "", "cellar/: is no floor"),
    ("src/loose.cpp", "", "src/loose.cpp: stands on no floor"),
]


def self_test():
    failures = 0
    for path, line, expected in [(None, None, None), *PLANTED]:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for name, text in {**HOUSE, **({path: HOUSE.get(path, "") + line + "\n"} if path else {})}.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            found = list(arrows(root))
        if len(found) != (1 if path else 0) or (path and expected not in found[0]):
            print(f"{path or 'nothing planted'}: {line}: found {found}")
            failures += 1
    return failures


def main():
    if sys.argv[1:] == ["--self-test"]:
        return 1 if self_test() else 0
    found = list(arrows(Path(sys.argv[1])))
    for arrow in found:
        print(arrow)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
