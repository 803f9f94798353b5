"""Plants small faults in the sources, one at a time, and requires that the tests that they concern fail.

usage: run.py [-j jobs] [--drawn number] [--seed seed] <build directory> [<list>...]

The build directory holds kxcalc-sse41, its tests and those of the rooms, built from the sources as they stand. The faults
stand beside this file, a list for each family of kernels and one for each room, which is a folder whose tests are one
program (none named: all):

    file <source, from the root of the project on; it holds for the faults that follow>

    fault <what is wrong now>
    exports <names without their prefix, * and ? allowed>
    tests <a filter as GoogleTest takes it, instead of the tests of each export>
    unobservable <why no test can tell: such a fault has to pass the tests>
    - <text that occurs once in the file; its further lines with their whole indentation>
    + <what stands in its place, or no such line>

A fault is caught if, for each of its exports, a test fails, crashes or does not come to an end. The lists of all families
together have three observable faults or more for every export. Faults of a room name no exports; without a filter all of
its tests judge them.

In the rooms faults are drawn by rule, too (drawn.py), another selection with every seed. One that survives is to be caught by
a new test, or, where it changes nothing that can be seen, to be written into the room's list as an unobservable one.
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
from fnmatch import fnmatchcase
from itertools import islice
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
from functions import registry  # noqa: E402

from drawn import drawn  # noqa: E402
from room import DoesNotCompile, Room  # noqa: E402

ROOMS = {"analysis": "tests/analysis/kxanalysis-tests-sse41", "recordings": "tests/recordings/kxrecordings-tests"}
USUALLY_DRAWN = 150
FAULTS_OF_AN_EXPORT = 3
TIME_LIMIT = 60  # seconds; the tests of an export take a few


class Mistake(Exception):
    """In a list of faults, or in what they are planted in: not a fault that survives."""


@dataclass
class Fault:
    place: str
    file: str
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


def faults_of(path, exports):
    """The faults of a list, each of which fits its source."""
    faults, file = [], None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        place = f"{path.name}:{number}"
        word, _, rest = line.partition(" ")
        if not line or word == "#":
            continue
        if word == "file":
            file = rest
        elif word == "fault":
            faults.append(Fault(place, file, rest))
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

    def __init__(self, build, scratch, exports):
        self.scratch = scratch
        self.sources = scratch / "src"
        self.objects = scratch / "CMakeFiles/kxcalc-sse41.dir"
        self.executable = scratch / "kxcalc-tests-sse41"
        shutil.copytree(ROOT / "src", self.sources)
        shutil.copytree(build / "CMakeFiles/kxcalc-sse41.dir", self.objects)
        shutil.copy2(build / "tests/kxcalc-tests-sse41", self.executable)

        self.compiling = {}  # by source
        for command in json.loads((build / "compile_commands.json").read_text()):
            if "CMakeFiles/kxcalc-sse41.dir/" in command["command"]:
                self.compiling[str(Path(command["file"]).relative_to(ROOT))] = shlex.split(command["command"])
        target = Path(os.path.realpath(build / "libkxcalc-sse41.so")).name
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


def all_caught(laboratory, families, jobs):
    """Those that are observable, and no other. Prints the survivors, and a line for each family and for all."""
    tests = {what: test for faults in families.values() for fault in faults for what, test in laboratory.tests_of(fault).items()}
    for what, test in tests.items():
        if laboratory.fails(laboratory.unmodified, test):
            raise Mistake(f"tests fail without a fault: {what}")
    wrong = all_of_caught = all_of_planted = 0
    with ThreadPoolExecutor(jobs) as pool:
        for family, faults in families.items():
            caught = planted = 0
            for fault, survived in zip(faults, pool.map(laboratory.survived, faults)):
                if not fault.proof:
                    planted += 1
                    caught += not survived
                    if survived:
                        print(f"{fault.place}: survives {', '.join(survived)}: {fault.title}", flush=True)
                elif len(survived) != len(laboratory.tests_of(fault)):
                    print(f"{fault.place}: is caught, and said to be unobservable: {fault.title}", flush=True)
                    wrong += 1
            print(f"{family:<10} {caught}/{planted}", flush=True)
            all_of_caught += caught
            all_of_planted += planted
    if len(families) > 1:
        print(f"{'all':<10} {all_of_caught}/{all_of_planted} faults caught", flush=True)
    return wrong == 0 and all_of_caught == all_of_planted


def all_drawn_caught(room, listed, number, seed, jobs):
    """Apart from those that the room's list calls unobservable. Prints the survivors and a line for all."""
    explained = {(fault.file, fault.planted(room.texts[fault.file])) for fault in listed if fault.proof}
    said = unseen = caught = 0
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
        faults, found = iter(drawn(room.texts, seed)), 0
        while found < number and (batch := list(islice(faults, number - found))):
            for fault, verdict in pool.map(judged, batch):
                found += verdict is not None
                caught += verdict == "caught"
                said += verdict == "explained"
                if verdict == "survives":
                    unseen += 1
                    print(f"{fault.place}: survives: {fault.title}", flush=True)
    print(f"{room.room:<10} {caught}/{found - said} drawn with seed {seed}, {said} more are unobservable", flush=True)
    return unseen == 0


def main():
    parser = argparse.ArgumentParser(usage=re.search("usage: (.*)", __doc__)[1])
    parser.add_argument("-j", type=int, default=os.cpu_count())
    parser.add_argument("--drawn", type=int, default=USUALLY_DRAWN)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("build", type=Path)
    parser.add_argument("families", nargs="*")
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))  # crashes are expected
    try:
        exports = registered_exports()
        lists = {path.stem: path for path in sorted(Path(__file__).parent.glob("*.txt"))}
        for family in options.families:
            if family not in lists:
                raise Mistake(f"there is no list of faults of {family}")
        families = {family: faults_of(lists[family], exports) for family in options.families or lists}
        rooms = {room: families.pop(room) for room in ROOMS if room in families}
        good = True if options.families else enough_faults(families, exports)
        build = options.build.resolve()
        with tempfile.TemporaryDirectory(prefix="kxcalc-faults-") as scratch:
            if families:
                good &= all_caught(Laboratory(build, Path(scratch), exports), families, options.j)
            for name, faults in rooms.items():
                room = Room(ROOT, build, scratch, name, ROOMS[name])
                good &= all_caught(room, {name: faults}, options.j)
                good &= all_drawn_caught(room, faults, options.drawn // len(rooms), options.seed, options.j)
        return 0 if good else 1
    except Mistake as mistake:
        print(mistake)
        return 1


if __name__ == "__main__":
    sys.exit(main())
