"""Plants small faults in the sources, one at a time, and requires that the tests that they concern fail.

usage: run.py [-j jobs] [--share n] [--drawn number] [--seed seed] <build directory> [<list>...]
       run.py --check

The build directory holds the libraries, their tests and those of the rooms, built from the sources as they stand. The faults
stand beside this file, a list for each family of kernels and one for each room, which is a folder whose tests are one
program (none named: all):

    file <source, from the root of the project on; it holds for the faults that follow>
    library <the build that judges the faults that follow in this file: code that sse41, the usual one, does not have>

    fault <what is wrong now>
    exports <names without their prefix, * and ? allowed>
    tests <a filter as GoogleTest takes it, instead of the tests of each export>
    unobservable <why no test can tell: such a fault has to pass the tests>
    - <text that occurs once in the file; its further lines with their whole indentation>
    + <what stands in its place, or no such line>

A fault is caught if, for each of its exports, a test fails, crashes or does not come to an end. The lists of all families
together have three observable faults or more for every export. Faults of a room name no exports; without a filter all of
its tests judge them. Faults of a library that the processor does not run are not judged, and said to be so.

--check only tells whether the lists are well written, fit the sources and have faults enough, and counts them.

With --share n one of n is planted, others every day. In the rooms faults are drawn by rule, too (drawn.py), another selection with
every seed. One that survives is to be caught by a new test, or, where it changes nothing that can be seen, to be written into the
room's list as an unobservable one.
"""

import argparse
import json
import os
import re
import resource
import shlex
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from datetime import date
from fnmatch import fnmatchcase
from itertools import islice
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
from functions import registry  # noqa: E402

from drawn import drawn  # noqa: E402
from room import DoesNotCompile, Room  # noqa: E402

ROOMS = {"analysis": "tests/analysis/kxanalysis-tests-sse41", "recordings": "tests/recordings/kxrecordings-tests"}
USUAL_LIBRARY = "sse41"
USUALLY_DRAWN = 150
FAULTS_OF_AN_EXPORT = 3
TIME_LIMIT = 60  # seconds; the tests of an export take a few


class Mistake(Exception):
    """In a list of faults, or in what they are planted in: not a fault that survives."""


@dataclass
class Fault:
    place: str
    file: str
    library: str
    title: str
    exports: list = field(default_factory=list)
    tests: str = ""
    proof: str = ""
    old: list = field(default_factory=list)
    new: list = field(default_factory=list)

    def planted(self, text):
        old = "\n".join(self.old)
        if text.count(old) != 1:
            raise Mistake(f"{self.place}: its text occurs {text.count(old)} times in {self.file}: the source has moved on")
        return text.replace(old, "\n".join(self.new))


def registered_exports():
    """Their names without the prefix."""
    return [name[len("kxcalc"):] for name in registry.names()]


def libraries():
    """The names of all builds."""
    return re.findall(r"^([a-z]\w*)", (ROOT / "cmake/variants.txt").read_text(), re.MULTILINE)


def runnable_libraries(build):
    """Those that the processor runs: configuring asked it."""
    return re.search(r"KXCALC_PROCESSOR_RUNS:INTERNAL=(.*)", (build / "CMakeCache.txt").read_text())[1].split()


def faults_of(path, exports):
    """The faults of a list, each of which fits its source."""
    faults, file, library = [], None, None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        place = f"{path.name}:{number}"
        word, _, rest = line.partition(" ")
        if not line or word == "#":
            continue
        if word == "file":
            file, library = rest, USUAL_LIBRARY
        elif word == "library":
            if rest not in libraries() or path.stem in ROOMS:
                raise Mistake(f"{place}: there is no such library, or it is not asked for: {rest}")
            library = rest
        elif word == "fault":
            faults.append(Fault(place, file, library, rest))
        elif not faults:
            raise Mistake(f"{place}: stands before the first fault")
        elif word == "exports":
            for pattern in rest.split():
                found = [name for name in exports if fnmatchcase(name, pattern)]
                if not found:
                    raise Mistake(f"{place}: no export is called {pattern}")
                faults[-1].exports += found
        elif word == "tests":
            faults[-1].tests = rest
        elif word == "unobservable":
            faults[-1].proof = rest
        elif word == "-":
            faults[-1].old.append(rest)
        elif word == "+":
            faults[-1].new.append(rest)
        else:
            raise Mistake(f"{place}: not a line of a list of faults: {line}")
    for fault in faults:
        if not fault.old or fault.old == fault.new or (path.stem in ROOMS) == bool(fault.exports):
            raise Mistake(f"{fault.place}: names no export, or one in a room, or changes nothing")
        fault.planted((ROOT / fault.file).read_text())
    return faults


class Laboratory:
    """Builds the library with a fault, from the objects and by the commands of a finished build, and tests it."""

    def __init__(self, build, scratch, library, exports):
        objects = f"CMakeFiles/kxcalc-{library}.dir"
        self.scratch = scratch
        self.sources = scratch / "src"
        self.executable = scratch / f"kxcalc-tests-{library}"
        shutil.copytree(ROOT / "src", self.sources)
        shutil.copytree(build / objects, scratch / objects)
        shutil.copy2(build / "tests" / self.executable.name, self.executable)

        self.compiling = {}  # by source
        for command in json.loads((build / "compile_commands.json").read_text()):
            if f"{objects}/" in command["command"]:
                self.compiling[str(Path(command["file"]).relative_to(ROOT))] = shlex.split(command["command"])
        target = Path(os.path.realpath(build / f"libkxcalc-{library}.so")).name
        commands = subprocess.run(["ninja", "-C", build, "-t", "commands", target], check=True, capture_output=True, text=True)
        self.linking = shlex.split(commands.stdout.splitlines()[-1].split("&&")[1])

        self.unmodified = scratch / "unmodified"
        self.unmodified.mkdir()
        self.link(self.unmodified, {})
        self.source_of = {
            name: source for source in self.compiling
            for name in re.findall(r'^extern "C" .*?\bkx[cC]alc(\w+)\(', (ROOT / source).read_text(), re.MULTILINE)}
        suites = re.findall(r"^(\S+\.)(.*)$", self.run(self.unmodified, "--gtest_list_tests").stdout, re.MULTILINE)
        self.filter_of = {}
        for name in exports:
            own = [suite + "*" for suite, parameter in suites if re.search(rf"\b{name}(DeathTest)?\b", suite + parameter)]
            if not own or name not in self.source_of:
                raise Mistake(f"{name} has no tests, or no source")
            self.filter_of[name] = ":".join(own)

    def link(self, folder, objects):
        """The library into the folder, with some objects in place of those of the build."""
        arguments = [objects.get(argument, str(self.scratch / argument)) if argument.startswith("CMakeFiles/") else argument
                     for argument in self.linking]
        soname = next(argument for argument in arguments if "-soname," in argument).rpartition(",")[2]
        arguments[arguments.index("-o") + 1] = str(folder / soname)
        subprocess.run(arguments, check=True, capture_output=True)

    def build(self, fault, folder):
        """Compiles the sources of the fault's exports and no others: nothing else is tested."""
        shutil.copytree(self.sources, folder / "src")
        changed = folder / fault.file
        changed.write_text(fault.planted(changed.read_text()))
        objects = {}
        for source in {self.source_of[name] for name in fault.exports}:
            arguments = [argument.replace(f"{ROOT}/src", f"{folder}/src") for argument in self.compiling[source]]
            output = arguments.index("-o") + 1
            objects[arguments[output]] = str((folder / source).with_suffix(".o"))
            arguments[output] = objects[arguments[output]]
            compiled = subprocess.run([*arguments, "-w"], capture_output=True, text=True)
            if compiled.returncode != 0:
                raise Mistake(f"{fault.place}: does not compile:\n{compiled.stderr}")
        self.link(folder, objects)

    def run(self, library, *arguments):
        return subprocess.run([self.executable, *arguments], capture_output=True, text=True, errors="replace",
                              timeout=TIME_LIMIT, env={**os.environ, "LD_LIBRARY_PATH": str(library)})

    def fails(self, library, tests):
        try:
            return self.run(library, f"--gtest_filter={tests}", "--gtest_fail_fast").returncode != 0
        except subprocess.TimeoutExpired:
            return True

    def tests_of(self, fault):
        """What is asked, and the filter that answers."""
        return {fault.tests: fault.tests} if fault.tests else {name: self.filter_of[name] for name in fault.exports}

    def survived(self, fault):
        """Those of the fault's tests that pass."""
        with tempfile.TemporaryDirectory(dir=self.scratch) as folder:
            self.build(fault, Path(folder))
            return [what for what, tests in self.tests_of(fault).items() if not self.fails(folder, tests)]


def enough_faults(families, exports):
    """Of every export. Prints what is missing."""
    enough = True
    for name in exports:
        number = sum(name in fault.exports and not fault.proof for faults in families.values() for fault in faults)
        if number < FAULTS_OF_AN_EXPORT:
            print(f"{name} has {number} faults")
            enough = False
    return enough


def print_counts(families, rooms):
    of_kernels = [fault for faults in families.values() for fault in faults]
    faults = of_kernels + [fault for faults in rooms.values() for fault in faults]
    observable = [fault for fault in faults if not fault.proof]
    print(f"{len(observable)} faults, {sum(not fault.proof for fault in of_kernels)} of them in kernels, "
          f"{sum(fault.library != USUAL_LIBRARY for fault in observable)} judged on other libraries than {USUAL_LIBRARY}; "
          f"{len(faults) - len(observable)} more are unobservable")


@dataclass
class Sums:
    """Of observable faults; `well` unless one survives, or one that is said to be unobservable is caught."""
    caught: int = 0
    planted: int = 0
    not_run: dict = field(default_factory=dict)  # their number, by library
    well: bool = True

    def add(self, other):
        self.caught += other.caught
        self.planted += other.planted
        self.well &= other.well
        for library, number in other.not_run.items():
            self.not_run[library] = self.not_run.get(library, 0) + number

    def __str__(self):
        left_out = f", {sum(self.not_run.values())} not run here: {' '.join(sorted(self.not_run))}" if self.not_run else ""
        return f"{self.caught}/{self.planted} faults caught{left_out}"


def judge(judges, name, faults, jobs):
    """Plants those that there is a judge of, by library, and prints the survivors and a line."""
    sums = Sums()
    for fault in faults:
        if fault.library not in judges:
            sums.add(Sums(not_run={fault.library: 1}))
    faults = [fault for fault in faults if fault.library in judges]
    tests = {(fault.library, test) for fault in faults for test in judges[fault.library].tests_of(fault).values()}
    for library, test in sorted(tests):
        if judges[library].fails(judges[library].unmodified, test):
            raise Mistake(f"tests fail without a fault: {test}")
    with ThreadPoolExecutor(jobs) as pool:
        for fault, survived in zip(faults, pool.map(lambda fault: judges[fault.library].survived(fault), faults)):
            if not fault.proof:
                sums.add(Sums(caught=not survived, planted=1, well=not survived))
                if survived:
                    print(f"{fault.place}: survives {', '.join(survived)}: {fault.title}", flush=True)
            elif len(survived) != len(judges[fault.library].tests_of(fault)):
                print(f"{fault.place}: is caught, and said to be unobservable: {fault.title}", flush=True)
                sums.well = False
    print(f"{name:<10} {sums}", flush=True)
    return sums


def judge_drawn(room, listed, number, seed, jobs):
    """Those that the room's list does not call unobservable. Prints the survivors and a line."""
    explained = {(fault.file, fault.planted(room.texts[fault.file])) for fault in listed if fault.proof}
    sums, said = Sums(), 0
    if room.fails(room.unmodified, "*"):
        raise Mistake(f"tests of {room.room} fail without a fault")

    def judged(fault):
        """None where the compiler sees it."""
        if (fault.file, fault.planted(room.texts[fault.file])) in explained:
            return fault, "explained"
        try:
            return fault, "survives" if room.survived(fault) else "caught"
        except DoesNotCompile:
            return fault, None

    with ThreadPoolExecutor(jobs) as pool:
        faults = iter(drawn(room.texts, seed))
        while sums.planted + said < number and (batch := list(islice(faults, number - sums.planted - said))):
            for fault, verdict in pool.map(judged, batch):
                said += verdict == "explained"
                if verdict == "survives":
                    print(f"{fault.place}: survives: {fault.title}", flush=True)
                if verdict in ("survives", "caught"):
                    sums.add(Sums(caught=verdict == "caught", planted=1, well=verdict == "caught"))
    print(f"{room.room:<10} {sums}, drawn with seed {seed}; {said} more are unobservable", flush=True)
    return sums


def main():
    parser = argparse.ArgumentParser(usage=re.search("usage: (.*\n.*)", __doc__)[1])
    parser.add_argument("-j", type=int, default=os.cpu_count())
    parser.add_argument("--drawn", type=int, default=USUALLY_DRAWN)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--share", type=int, default=1)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("build", type=Path, nargs="?")
    parser.add_argument("families", nargs="*")
    options = parser.parse_args()
    if options.check == bool(options.build):
        parser.print_usage()
        return 2
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))  # crashes are expected
    try:
        exports = registered_exports()
        lists = {path.stem: path for path in sorted(Path(__file__).parent.glob("*.txt"))}
        for family in options.families:
            if family not in lists:
                raise Mistake(f"there is no list of faults of {family}")
        families = {family: faults_of(lists[family], exports) for family in options.families or lists}
        rooms = {room: families.pop(room) for room in ROOMS if room in families}
        sums = Sums(well=bool(options.families) or enough_faults(families, exports))
        if options.check:
            print_counts(families, rooms)
            return 0 if sums.well else 1
        share = slice(date.today().toordinal() % options.share, None, options.share)
        build = options.build.resolve()
        needed = {fault.library for faults in families.values() for fault in faults}
        with tempfile.TemporaryDirectory(prefix="kxcalc-faults-") as scratch:
            laboratories = {library: Laboratory(build, Path(scratch) / library, library, exports)
                            for library in runnable_libraries(build) if library in needed}
            for name, faults in families.items():
                sums.add(judge(laboratories, name, faults[share], options.j))
            for name, faults in rooms.items():
                room = Room(ROOT, build, scratch, name, ROOMS[name])
                sums.add(judge({USUAL_LIBRARY: room}, name, faults[share], options.j))
                sums.add(judge_drawn(room, faults, options.drawn // len(rooms), options.seed, options.j))
        print(f"{'all':<10} {sums}", flush=True)
        return 0 if sums.well else 1
    except Mistake as mistake:
        print(mistake)
        return 1


if __name__ == "__main__":
    sys.exit(main())
