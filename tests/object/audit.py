"""Audits a finished library: what it exports, what it needs, what runs at load, and which instructions it holds.

usage: audit.py <library.so> <instruction set> <registry of exports>
Prints one line for each finding and exits with 1; a file that cannot be read is a finding. With --self-test, plants
findings in small libraries of its own and sees each of them found.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

ALLOWED_LIBRARIES = {"libc.so.6", "libm.so.6"}
LOAD_TIME_TAGS = {"INIT", "FINI", "INIT_ARRAY", "FINI_ARRAY", "PREINIT_ARRAY"}

# Instructions that some set adds to those before it, by mnemonic.
SSE3 = "addsub[ps][sd]|haddp[sd]|hsubp[sd]|lddqu|movddup|movs[hl]dup|monitor|mwait"
SSSE3 = "pabs[bwd]|palignr|phadd\\w+|phsub\\w+|pmaddubsw|pmulhrsw|pshufb|psign[bwd]"
SSE41 = ("blend\\w+|pblend\\w+|dpp[sd]|extractps|insertps|movntdqa|mpsadbw|packusdw|pcmpeqq|pextr[bdq]|phminposuw|pinsr[bdq]|"
         "pmax(sb|sd|ud|uw)|pmin(sb|sd|ud|uw)|pmov[sz]x\\w+|pmuldq|pmulld|ptest|roundp[sd]|rounds[sd]")
SSE42 = "crc32\\w?|pcmp[ei]str[im]|pcmpgtq|popcnt\\w?"
LATER = "v\\w+|(andn|bextr|bls\\w+|bzhi|mulx|pdep|pext|rorx|sarx|shlx|shrx|lzcnt|tzcnt|movbe)\\w?|sha\\w+|aes\\w+|k(mov|and|or|xor)\\w+"
ABOVE = {
    "sse41": f"{SSE42}|{LATER}",
    "portable": f"{SSE3}|{SSSE3}|{SSE41}|{SSE42}|{LATER}",
}
FUSED = "vfn?m(add|sub)\\w+"
X87 = "f(ld|st|add|sub|mul|div|com|ucom|chs|abs|sqrt|rnd|ild|ist|bld|bst|ptan|patan|sin|cos|yl2x|2xm1|xch|wait|nstcw|ldcw|free|init)\\w*"
CONTROL_REGISTER = "ldmxcsr|fldcw|fldenv|frstor|fxrstor\\w*|xrstor\\w*"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def findings(library, instruction_set, registry):
    promised = {line.split()[1] for line in registry.splitlines() if line and not line.startswith("#")}

    exported = {line.split()[-1] for line in run("nm", "-D", "--defined-only", library).splitlines()}
    yield from (f"exports {name}, which the registry does not hold" for name in sorted(exported - promised))
    yield from (f"does not export {name}" for name in sorted(promised - exported))

    for line in run("nm", "-D", "--undefined-only", library).splitlines():
        if "@GLIBC_" not in line:
            yield f"imports {line.split()[-1]}, which is not the C library's"

    dynamic = run("readelf", "--wide", "--dynamic", library)
    tags = re.findall(r"\((\w+)\)\s+(?:Shared library: \[(.+)\])?", dynamic)
    if ("SONAME", "") not in tags:
        yield "has no SONAME"
    for tag, needed in tags:
        if tag == "NEEDED" and needed not in ALLOWED_LIBRARIES:
            yield f"needs {needed}"
        if tag in LOAD_TIME_TAGS:
            yield f"runs code at load or unload ({tag})"

    # Data that a call could change. The global offset table is the linker's.
    for name, size in re.findall(r"\] (\.data|\.bss)\s+\w+\s+\w+ \w+ (\w+)", run("readelf", "--wide", "--sections", library)):
        if int(size, 16) != 0:
            yield f"has {int(size, 16)} bytes of writable data ({name})"

    code = run("objdump", "--disassemble", "--no-show-raw-insn", library)
    instructions = re.findall(r"^\s+[0-9a-f]+:\t(?:(?:rep\w*|lock|bnd|notrack|cs|ds|data16) )*(\w+)([^\n#<]*)", code, re.MULTILINE)
    if len(instructions) < 10:
        yield "cannot be disassembled"
    wrong = [
        ("fused multiply-add", lambda name, _: re.fullmatch(FUSED, name)),
        ("x87 arithmetic", lambda name, _: re.fullmatch(X87, name)),
        ("an MMX register", lambda _, operands: re.search(r"%mm\d", operands)),
        ("a write to the floating-point control register", lambda name, _: re.fullmatch(CONTROL_REGISTER, name)),
        (f"an instruction above {instruction_set}", lambda name, _: re.fullmatch(ABOVE[instruction_set], name)),
    ]
    for what, holds in wrong:
        names = sorted({name for name, operands in instructions if holds(name, operands)})
        if names:
            yield f"holds {what}: {', '.join(names)}"


# A name, C source with the fault, flags, and what the finding says.
FAULTS = [
    ("an export too many", "void other(void) {}", [], "exports other"),
    ("an export missing", "", ["-DNO_EXPORT"], "does not export kept"),
    ("an import", "extern void abroad(void); void kept2(void) { abroad(); }", [], "imports abroad"),
    ("a constructor", "__attribute__((constructor)) static void c(void) { __asm__ volatile(\"nop\"); }", [], "runs code at load"),
    ("writable data", "int counter = 1;", [], "writable data"),
    ("a fused multiply-add", "double f(double a, double b, double c) { return a * b + c; }", ["-mfma", "-ffp-contract=fast"],
     "fused multiply-add"),
    ("x87 arithmetic", "long double f(long double a) { return a * a; }", [], "x87 arithmetic"),
    ("MMX", "void f(void) { __asm__ volatile(\"pxor %mm1, %mm1\"); }", [], "an MMX register"),
    ("the control register", "void f(void) { unsigned v = 0x1f80; __asm__ volatile(\"ldmxcsr %0\" :: \"m\"(v)); }", [],
     "control register"),
    ("a later instruction", "int f(int a) { return __builtin_popcount(a); }", ["-mpopcnt"], "an instruction above sse41: popcnt"),
    ("wider vectors", "void f(float* a) { for (int i = 0; i < 8; ++i) a[i] *= 2; }", ["-mavx"], "an instruction above sse41"),
]


def self_test():
    kept = "#ifndef NO_EXPORT\nvoid kept(int* p) { for (int i = 0; i < 9; ++i) { p[i] += p[i * 2] * 3; p[i + 1] ^= p[i]; } }\n#endif\n"
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        source, library = Path(folder, "fault.c"), Path(folder, "libfault.so")
        for name, fault, flags, expected in [("nothing", "", [], None), *FAULTS]:
            source.write_text(kept + fault + "\n")
            run("cc", "-O3", "-shared", "-fPIC", "-nostartfiles", "-Wl,-soname,libfault.so", "-Wl,--as-needed", *flags,
                str(source), "-o", str(library))
            found = list(findings(str(library), "sse41", "stats kept\n"))
            if (expected is None and found) or (expected and not any(expected in line for line in found)):
                print(f"planted {name}, found {found or 'nothing'}")
                failures += 1
    try:
        list(findings("/no/such/library.so", "sse41", "stats kept\n"))
        print("a missing file passes")
        failures += 1
    except subprocess.CalledProcessError:
        pass
    return failures


def main():
    if sys.argv[1:] == ["--self-test"]:
        return 1 if self_test() else 0
    library, instruction_set, registry = sys.argv[1:]
    found = list(findings(library, instruction_set, Path(registry).read_text()))
    for line in found:
        print(f"{library}: {line}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
