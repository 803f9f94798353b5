#!/usr/bin/env python3
"""Compares two builds of the libraries, job by job: what became slower, what faster?

usage: against.py [--instructions] <kxcalc-bench-pairs> <folder before> <folder after> [<filter>]
A folder holds libkxcalc-<instruction set>.so files, or is a build directory. The filter is a regular expression over
<job>[/<variant>]/<elements>/<instruction set>.

Times of the two are taken in turn, and the least of each counts. What differs by more than a twentieth is measured again, for longer,
and that is what counts. Where the least times of the even and of the odd rounds differ by as much, the machine is too busy to tell:
instructions are counted under valgrind instead, at the job's smallest size (valgrind has no AVX-512: such a job remains unclear). With
--instructions nothing but those counts.

Exit code 1 if a job became slower, 2 for misuse or where nothing could be compared.
With --self-test, judges figures that it knows.
"""

import re
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

TIME_LIMIT = 1.05
INSTRUCTION_LIMIT = 1.02
ROUNDS, MORE_ROUNDS = 8, 40


class Mistake(Exception):
    """Of the user's, or of a program that is called."""


@dataclass
class Times:
    before: float  # nanoseconds an element
    after: float
    noise: float  # of the noisier one


def compared(before, after, limit):
    if after > before * limit:
        return "slower"
    return "faster" if before > after * limit else "level"


def verdict(times, counts):
    """Of a job's times and of its instructions before and after, either of which may be None."""
    if times and times.noise <= TIME_LIMIT - 1:
        return compared(times.before, times.after, TIME_LIMIT)
    return compared(*counts, INSTRUCTION_LIMIT) if counts else "unclear"


def smallest_size(name, names):
    """The name of the same job and library at the smallest size."""
    job, _, library = name.rsplit("/", 2)
    sizes = [int(other.rsplit("/", 2)[1]) for other in names if other.rsplit("/", 2)[0::2] == [job, library]]
    return f"{job}/{min(sizes)}/{library}"


def exactly(names):
    return "^(" + "|".join(re.escape(name) for name in names) + ")$"


def output(*command):
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode:
        raise Mistake((result.stderr or result.stdout).strip())
    return result.stdout


def measure(program, before, after, rounds, pattern):
    rows = [line.split(",") for line in output(program, "clock", before, after, str(rounds), pattern).splitlines()]
    return {row[0]: Times(float(row[1]), float(row[2]), max(float(row[3]), float(row[4]))) for row in rows}


def read_dump(text):
    """The name and the instructions of a job."""
    return re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.MULTILINE)[1], int(re.search(r"^summary: (\d+)", text, re.MULTILINE)[1])


def count(program, folder, pattern):
    """What each job's library in a folder executes in ten runs; none without valgrind."""
    with tempfile.TemporaryDirectory() as dumps:
        try:
            output("valgrind", "-q", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={dumps}/job", program, "instructions",
                   folder, pattern)
        except FileNotFoundError:
            return {}
        return dict(read_dump(path.read_text()) for path in Path(dumps).iterdir() if "Client Request" in path.read_text())


def count_both(program, before, after, names):
    if not names:
        return {}
    first, second = (count(program, folder, exactly(names)) for folder in (before, after))
    return {name: (first[name], second[name]) for name in names if name in first and name in second}


def by_clock(program, before, after, pattern):
    times = measure(program, before, after, ROUNDS, pattern)
    doubtful = [name for name, each in times.items() if verdict(each, None) != "level"]
    if doubtful:
        times.update(measure(program, before, after, MORE_ROUNDS, exactly(doubtful)))
    asked = {smallest_size(name, times) for name, each in times.items() if verdict(each, None) not in ("level", "faster")}
    counts = count_both(program, before, after, sorted(asked))
    return {name: (each, counts.get(smallest_size(name, times))) for name, each in times.items()}


def by_instructions(program, before, after, pattern):
    first, second = (count(program, folder, pattern) for folder in (before, after))
    return {name: (None, (first[name], second[name])) for name in first if name in second}


def change(before, after, unit):
    return f"{before:.4g} -> {after:.4g} {unit} ({100 * (after / before - 1):+.1f} %)"


def report(figures):
    """A line for each job that is not level, and the sums; the exit code."""
    sums = {"level": 0, "faster": 0, "slower": 0, "unclear": 0}
    for name, (times, counts) in figures.items():
        judged = verdict(times, counts)
        sums[judged] += 1
        if judged == "level":
            continue
        parts = [change(times.before, times.after, "ns an element") + f", noise {100 * times.noise:.0f} %"] if times else []
        parts += [change(*counts, "instructions")] if counts else []
        print(f"{judged}: {name}: {'; '.join(parts)}")
    print(", ".join(f"{number} {judged}" for judged, number in sums.items()))
    return 1 if sums["slower"] else 0


def libraries_in(folder):
    """The folder, as an absolute path, if it holds libraries."""
    folder = Path(folder).resolve()
    if not list(folder.glob("libkxcalc-*.so")):
        raise Mistake(f"{folder}: holds no libkxcalc-<instruction set>.so")
    return str(folder)


def self_test():
    quiet, busy = 0.01, 0.2
    known = [
        (Times(1, 1.04, quiet), None, "level"), (Times(1, 0.97, quiet), (100, 200), "level"), (Times(1, 1.06, quiet), (100, 100), "slower"),
        (Times(1.06, 1, quiet), None, "faster"), (Times(1, 2, busy), None, "unclear"), (Times(1, 2, busy), (100, 101), "level"),
        (Times(1, 1, busy), (100, 103), "slower"), (Times(1, 2, busy), (103, 100), "faster"), (None, (100, 103), "slower"),
        (None, (0, 0), "level"), (None, None, "unclear"),
    ]
    wrong = [f"{times}, {counts}: {verdict(times, counts)}, not {right}" for times, counts, right in known if verdict(times, counts) != right]
    names = ["a/1000/avx2", "a/32/avx2", "a/10/sse41", "a/b/5/avx2"]
    wrong += [] if [smallest_size(name, names) for name in names] == ["a/32/avx2", "a/32/avx2", "a/10/sse41", "a/b/5/avx2"] else ["smallest size"]
    dump = "version: 1\ndesc: Trigger: Client Request: a/b/5/avx2\nevents: Ir\nsummary: 1234\n"
    wrong += [] if read_dump(dump) == ("a/b/5/avx2", 1234) else ["dump"]
    wrong += [] if re.search(exactly(names), "a/10/sse41") and not re.search(exactly(names), "aa/10/sse41") else ["pattern"]
    for line in wrong:
        print(line)
    return 1 if wrong else 0


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    instructions = arguments[:1] == ["--instructions"]
    arguments = arguments[instructions:]
    if len(arguments) not in (3, 4) or any(argument.startswith("-") for argument in arguments):
        print(__doc__, file=sys.stderr)
        return 2
    program, before, after, pattern = arguments if len(arguments) == 4 else [*arguments, "."]
    try:
        figures = (by_instructions if instructions else by_clock)(program, libraries_in(before), libraries_in(after), pattern)
        if not figures:
            raise Mistake("no job that both builds have and that can be measured fits the filter")
    except Mistake as mistake:
        print(mistake, file=sys.stderr)
        return 2
    return report(figures)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
