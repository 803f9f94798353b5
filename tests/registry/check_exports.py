"""Walks the public header: every function must be in the registry, have each argument documented, a plain model, a description of its
call, tests and a benchmark, and every row of the registry must be in the header.

usage: check_exports.py <source directory> <test executable>
With --self-test, plants a gap of each kind.
"""

import re
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2]))
from functions import registry  # noqa: E402

DECLARATION = re.compile(r"/\*\*(?P<comment>(?:[^*]|\*(?!/))*)\*/\s*KXCALC_API (?P<returns>\w+) (?P<name>\w+)\((?P<arguments>[^)]*)\);")


def gaps(header, rows, models, descriptions, tests, benchmarks):
    """The texts of header, registry (its rows), models and descriptions; the listing of tests; the text of the benchmarks, which name
    their export when they are registered."""
    promised = registry.names(rows)
    declared = []
    for match in DECLARATION.finditer(header):
        name, comment = match["name"], match["comment"]
        declared.append(name)
        for argument in match["arguments"].split(","):
            argument = re.search(r"(\w+)\s*$", argument)[1]
            if not re.search(rf"@param {argument}\s+\S", comment):
                yield f"{name}: argument {argument} is not documented"
        if match["returns"] != "void" and "@return" not in comment:
            yield f"{name}: the result is not documented"
        if "@param count " in comment and not re.search(r"@param count .*\b0\b", comment, re.DOTALL):
            yield f"{name}: what count 0 does is not documented"
        if not re.search(rf"\b{name}\(", models):
            yield f"{name}: has no model"
        if not re.search(rf"^void {name}\(\s*Call& call,", descriptions, re.MULTILINE):
            yield f"{name}: has no description"
        if not re.search(rf"\b{name.removeprefix('kxcalc').removeprefix('kxCalc')}\b", tests):
            yield f"{name}: has no test"
        if f'"{name}"' not in benchmarks:
            yield f"{name}: has no benchmark"
    if len(re.findall(r"^KXCALC_API ", header, re.MULTILINE)) != len(declared):
        yield "a declaration stands without a comment of its own"
    if declared != promised:
        yield "header and registry differ"
    if not declared:
        yield "the header declares nothing"


def self_test():
    header = "/** Doubles.\n * @param count  0 returns.\n * @return  it. */\nKXCALC_API int kxcalcTwice(int count);\n"
    whole = [header, "KXCALC_EXPORT(stats, kxcalcTwice)", "int kxcalcTwice(int count) {}", "void kxcalcTwice(Call& call, int (*function)(int)) {}", "Twice.\n  Works\n", 'compare("kxcalcTwice", kxcalcTwice);']
    planted = [
        (None, whole, None),
        ("an argument", [header.replace("@param count", "count"), *whole[1:]], "argument count"),
        ("count 0", [header.replace("0 returns", "number"), *whole[1:]], "count 0"),
        ("a result", [header.replace("@return", ""), *whole[1:]], "the result"),
        ("a comment", ["KXCALC_API int kxcalcBare(int a);\n" + header, *whole[1:]], "without a comment"),
        ("a row", [whole[0], "KXCALC_EXPORT(stats, kxcalcTwice)\nKXCALC_EXPORT(stats, kxcalcThrice)", *whole[2:]], "differ"),
        ("a model", [*whole[:2], "", *whole[3:]], "has no model"),
        ("a description", [*whole[:3], whole[3].replace("Twice", "TwiceOver"), *whole[4:]], "has no description"),
        ("a test", [*whole[:4], "Thrice.\n", whole[5]], "has no test"),
        ("a benchmark", [*whole[:5], 'compare("kxcalcTwiceOver", kxcalcTwice);'], "has no benchmark"),
    ]
    failures = 0
    for what, inputs, expected in planted:
        found = list(gaps(*inputs))
        if (expected is None and found) or (expected and not any(expected in line for line in found)):
            print(f"without {what}: found {found}")
            failures += 1
    return failures


def main():
    if sys.argv[1:] == ["--self-test"]:
        return 1 if self_test() else 0
    source = Path(sys.argv[1])
    listing = lambda *command: subprocess.run(command, check=True, capture_output=True, text=True).stdout
    found = list(gaps(
        (source / "include/kxcalc.h").read_text(),
        registry.FILE.read_text(),
        "".join(path.read_text() for path in sorted((source / "tests/reference").glob("*.hpp"))),
        "".join(path.read_text() for path in sorted((source / "functions/calls").glob("*.cpp"))),
        listing(sys.argv[2], "--gtest_list_tests"),
        "".join(path.read_text() for path in sorted((source / "bench").glob("*/*_bench.cpp"))),
    ))
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
