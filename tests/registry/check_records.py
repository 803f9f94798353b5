"""Holds the table of records at the end of the public header against what a compiler makes of them: each field of each record stands
in it, in order, with the offset and size that it has with pointers of 32 and of 64 bits. And preprocesses the header as readers do
that know no attributes.

usage: check_records.py <public header> <C compiler>
With --self-test instead of the header, breaks the header in several ways and expects each to be found.
"""

import re
import subprocess
import sys
from pathlib import Path

PLAIN = "-DKXCALC_NO_ATTRIBUTES"
GCC = [(4, ["-m32"]), (4, ["-m32", PLAIN]), (8, ["-m64"]), (8, ["-m64", PLAIN])]
CLANG = [(4, ["--target=i386-linux-gnu"]), (4, ["--target=i386-linux-gnu", PLAIN]), (8, ["--target=x86_64-linux-gnu"]), (8, ["--target=x86_64-linux-gnu", PLAIN]),
         (4, ["--target=armv7-linux-gnueabihf"]), (8, ["--target=aarch64-linux-gnu"]),
         (4, ["--target=i686-windows-msvc", "-fdeclspec"]), (8, ["--target=x86_64-windows-msvc", "-fdeclspec"]),
         (4, ["--target=i686-windows-msvc", PLAIN]), (4, ["--target=i686-windows-gnu", PLAIN])]
LANGUAGES = [["-x", "c", "-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror"], ["-x", "c++", "-std=c++20", "-Wall", "-Wextra", "-Werror"]]


def compiled(command, text):
    return subprocess.run([*command, "-"], input=text, capture_output=True, text=True)


def records_of(header):
    """The fields of each record, as they are declared."""
    return {name: re.findall(r"(\w+)(?:\[\d+\])?;", re.sub(r"/\*.*?\*/", "", body, flags=re.DOTALL))
            for body, name in re.findall(r"^typedef struct \w+ \{(.*?)^\} (\w+);", header, re.MULTILINE | re.DOTALL)}


def table_of(header):
    """The rows of the table: (record, field or None for the record's size, offset and size for 32 and for 64 bits)."""
    rows, record = [], None
    for line in header[header.index("Layout of records"):].splitlines():
        if match := re.fullmatch(r" \* (\w+) +(\d+) +(\d+)", line):
            record = match[1]
            rows.append((record, None, None, int(match[2]), None, int(match[3])))
        elif match := re.fullmatch(r" \*   (\w+) +(\d+) +(\d+) +(\d+) +(\d+)", line):
            rows.append((record, match[1], *map(int, match.groups()[1:])))
    return rows


def assertions(rows, pointer, plain):
    """C and C++ alike: an array of a negative size where an offset or a size is another. Without attributes records may be shorter."""
    for number, (record, name, offset32, size32, offset64, size64) in enumerate(rows):
        offset, size = (offset32, size32) if pointer == 4 else (offset64, size64)
        if name is None:
            holds = f"sizeof({record}) {'<=' if plain else '=='} {size}"
        else:
            holds = f"offsetof({record}, {name}) == {offset} && sizeof((({record}*)0)->{name}) == {size}"
        yield f"typedef char wrong_{record}_{name or 'itself'}_{number}[({holds}) ? 1 : -1];"


def targets_of(compiler):
    """What the compiler can compile for. Freestanding: no system's headers are needed."""
    targets = [(pointer, flags) for pointer, flags in (CLANG if "clang" in Path(compiler).name else GCC)
               if compiled([compiler, *flags, "-x", "c", "-ffreestanding", "-fsyntax-only"], "int a;\n").returncode == 0]
    return targets or [(8, []), (8, [PLAIN])]  # none of them: a compiler for another processor


def findings(header, compiler):
    rows, records = table_of(header), records_of(header)
    for name in re.findall(r"^typedef struct (\w+) \{", header, re.MULTILINE):
        listed = [field for record, field, *_ in rows if record == name and field]
        if listed != records.get(name):
            yield f"{name}: the table has the fields {listed}, the record {records.get(name)}"
    for earlier, later in zip(rows, rows[1:]):
        if later[1] and any((earlier[k] + earlier[k + 1] if earlier[1] else 0) != later[k] for k in (2, 4)):
            yield f"{later[0]}: a gap before {later[1]}"
    if not records:
        yield "the header declares no records"

    for pointer, flags in targets_of(compiler):
        text = "#include <stddef.h>\n" + header + "\n" + "\n".join(assertions(rows, pointer, PLAIN in flags)) + "\n"
        for language in LANGUAGES:
            result = compiled([compiler, *flags, *language, "-Wno-unused-local-typedefs", "-ffreestanding", "-fsyntax-only"], text)
            if result.returncode != 0:
                wrong = sorted(set(re.findall(r"wrong_(\w+)_\d+", result.stderr))) or [result.stderr[:500]]
                yield f"{' '.join(flags + language[:2])}: {', '.join(wrong)}"

    for flags in ([], ["-D_WIN32"]):
        plain = compiled([compiler, "-E", "-P", "-x", "c", "-ffreestanding", PLAIN, *flags], header).stdout
        declarations = plain[plain.find("kxcalc_double;"):]  # what comes before is the compiler's stdint.h
        if "kxcalcGetVersion" not in declarations or re.search(r"__attribute__|__declspec", declarations):
            yield "without attributes: some are left"


def self_test(header, compiler):
    planted = [
        ("nothing", "", "", None),
        ("a field too many", "  float scale;         /**< factor. */", "  float scale;\n  float more;", "PowerScaleArgs"),
        ("an offset for 32 bits", f" *   {'row':<38}{12:6}", f" *   {'row':<38}{16:6}", "PowerFirArgs"),
        ("doubles at multiples of 4", "__attribute__((aligned(8)))", "", "PowerScaleArgs_itself"),
        ("a gap", "  int16_t left; ", "  uint8_t hole;\n  int16_t left; ", "XYValGraph2DParams"),
        ("an attribute", "#define KXCALC_API\n", "#define KXCALC_API __attribute__((used))\n", "without attributes"),
        ("a record too large", "  kxcalc_double b7;", "  kxcalc_double b7[2];", "PinkFilterState"),
        ("what C99 does not know", "typedef struct CHSInterpolator CHSInterpolator;", "typedef struct CHSInterpolator CHSInterpolator;;", "-x c"),
    ]
    i386 = "#if !defined(__i386__) || !defined(__linux__)\n#error\n#endif\n"
    if all(compiled([compiler, *flags, "-x", "c", "-fsyntax-only"], i386).returncode for _, flags in targets_of(compiler)):
        planted = [fault for fault in planted if fault[0] != "doubles at multiples of 4"]  # no other system has them there
    failures = 0
    for what, old, new, expected in planted:
        if old not in header:
            print(f"{what}: cannot be planted")
            failures += 1
            continue
        found = list(findings(header.replace(old, new, 1) if old else header, compiler))
        if (expected is None and found) or (expected and not any(expected in line for line in found)):
            print(f"planted {what}, found {found or 'nothing'}")
            failures += 1
    return failures


def main():
    if sys.argv[1] == "--self-test":
        return 1 if self_test(Path(sys.argv[2]).read_text(), sys.argv[3]) else 0
    found = list(findings(Path(sys.argv[1]).read_text(), sys.argv[2]))
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
