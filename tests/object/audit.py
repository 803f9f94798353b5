"""Audits a finished library: what it exports, what it needs, what runs at load, and which instructions it holds.

usage: audit.py <library> <instruction set> [<prefix of the binutils>]
Reads ELF libraries (x86, 32-bit x86, aarch64) and Windows DLLs. Prints one line for each finding and exits with 1; a file
that cannot be read is a finding. With --self-test, plants findings in small libraries of its own and sees each of them found;
with --self-test <instruction set> <prefix> <compiler> [<flags>] for another processor or system.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2]))
from functions import registry  # noqa: E402

ALLOWED_LIBRARIES = {"libc.so.6", "msvcrt.dll", "kernel32.dll"}
ALLOWED_LOADERS = {"ld-linux-aarch64.so.1"}  # aarch64 takes its stack protector's word from there
LOAD_TIME_TAGS = {"INIT", "FINI", "INIT_ARRAY", "FINI_ARRAY", "PREINIT_ARRAY"}

# The C library's mathematics, wherever it comes from: no two platforms, and not all processors of one, give the same bits.
MATHEMATICS = re.compile(
    "_*(a?(sin|cos|tan)h?|atan2|sincos|sinpi|cospi|tanpi|exp|exp2|exp10|expm1|pow|pow10|log|log2|log10|log1p|logb|ilogb|sqrt|cbrt|hypot|"
    "fmod|remainder|remquo|drem|modf|frexp|ldexp|scalbl?n|scalb|significand|ceil|floor|trunc|round|roundeven|rint|lrint|llrint|"
    "lround|llround|nearbyint|fma|fdim|fmax|fmin|fabs|copysign|nextafter|nexttoward|l?gamma|tgamma|erfc?|[jy][01n])"
    "([fl]|_internal)?(_finite)?(@.*)?")

# Instructions that some set adds to those before it, by mnemonic.
SSE3 = "addsub[ps][sd]|haddp[sd]|hsubp[sd]|lddqu|movddup|movs[hl]dup|monitor|mwait"
SSSE3 = "pabs[bwd]|palignr|phadd\\w+|phsub\\w+|pmaddubsw|pmulhrsw|pshufb|psign[bwd]"
SSE41 = ("blend\\w+|pblend\\w+|dpp[sd]|extractps|insertps|movntdqa|mpsadbw|packusdw|pcmpeqq|pextr[bdq]|phminposuw|pinsr[bdq]|"
         "pmax(sb|sd|ud|uw)|pmin(sb|sd|ud|uw)|pmov[sz]x\\w+|pmuldq|pmulld|ptest|roundp[sd]|rounds[sd]")
SSE42 = "crc32\\w?|pcmp[ei]str[im]|pcmpgtq|popcnt\\w?"
LATER = "v\\w+|(andn|bextr|bls\\w+|bzhi|mulx|pdep|pext|rorx|sarx|shlx|shrx|lzcnt|tzcnt|movbe)\\w?|sha\\w+|aes\\w+|k(mov|and|or|xor)\\w+"
# What only EVEX encodes: by mnemonic, and by registers in EVEX_REGISTERS.
EVEX = ("vmovdq[au](8|16|32|64)|vp(and|andn|or|xor)[dq]|vpternlog[dq]|v(ext|ins|broad)\\w+x[248]|valign[dq]|vperm[it]2\\w+|vpermw|vpsraq|vpsravq|"
        "vps[lr]l?a?vw|vpro[lr]v?[dq]|vpmullq|vpabsq|vp(max|min)[su]q|vcvt\\w*u(dq|qq|si)\\w*|vcvt\\w*qq\\w*|vcvtusi\\w+|vpmovu?s?[wdq][bwd]|vpmov[bwdq]2m|"
        "vpmovm2[bwdq]|vptestn?m[bwdq]|v?p?(compress|expand)\\w+|vpconflict[dq]|vplzcnt[dq]|v(rndscale|getexp|getmant|scalef|range|reduce|fixupimm|fpclass)\\w+|"
        "vr(cp|sqrt)14\\w+|vblendm\\w+|vpblendm\\w+|vshuf[if]\\w+|vdbpsadbw|k(mov|and|andn|or|xor|xnor|not|test|ortest|add|shiftl|shiftr|unpck)\\w+")
EVEX_REGISTERS = r"%zmm|%k[0-7]|%[xy]mm(1[6-9]|2\d|3[01])"
BEYOND_V4 = ("vpdp\\w+|vpmadd52\\w+|vpopcnt\\w+|vpsh[lr]d\\w+|vpmultishift\\w+|vp(compress|expand)[bw]|vperm([it]2)?b|vpshufbitqmb|v?gf2p8\\w+|v?aes\\w+|"
             "v?pclmul\\w+|sha(1|256)\\w+|vp2intersect\\w+|v\\w+[ps]h|v\\w+bf16\\w*|rdrand|rdseed|adcx|adox|movdir\\w+|tpause|umwait")
ABOVE = {
    "avx512": BEYOND_V4,
    "avx2": f"{EVEX}|{BEYOND_V4}",
    "sse41": f"{SSE42}|{LATER}",
    "portable": f"{SSE3}|{SSSE3}|{SSE41}|{SSE42}|{LATER}",
}
REGISTERS_ABOVE = {"avx2": EVEX_REGISTERS}
FUSED = "vfn?m(add|sub)\\w+"
# Loads and stores are no arithmetic: a 32-bit function returns its result in an x87 register, and takes one from libm.
X87 = ("f(ld[1lpz]\\w*|ldcw|ldenv|add|sub|mul|div|com|ucom|chs|abs|sqrt|rnd|ild|ist|bld|bst|ptan|patan|sin|cos|yl2x|2xm1|wait|nstcw|"
       "free|init)\\w*")
X87_MOVES = "f(lds?|ldl|ldt|sts?|stl|stps?|stpl|stpt|xch)"
CONTROL_REGISTER = "ldmxcsr|fldcw|fldenv|frstor|fxrstor\\w*|xrstor\\w*"

# aarch64: every set of SIMD instructions above the first has registers or mnemonics of its own.
ARM_FUSED = "fn?m(add|sub)|fml[as]|fcmla"
ARM_ABOVE = "fcadd|sqrdml[as]h|[us]dot|fmlal2?|fmlsl2?|ldapr\\w*|ld(add|clr|eor|set|swp)\\w*|cas\\w*|swp\\w*"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols_of_elf(prefix, library, promised):
    exported = {line.split()[-1] for line in run(f"{prefix}nm", "-D", "--defined-only", library).splitlines()}
    yield from (f"exports {name}, which the registry does not hold" for name in sorted(exported - promised))
    yield from (f"does not export {name}" for name in sorted(promised - exported))

    for line in run(f"{prefix}nm", "-D", "--undefined-only", library).splitlines():
        name = line.split()[-1]
        if "@GLIBC_" not in line:
            yield f"imports {name}, which is not the C library's"
        if MATHEMATICS.fullmatch(name):
            yield f"imports {name}, which is mathematics"

    dynamic = run(f"{prefix}readelf", "--wide", "--dynamic", library)
    tags = re.findall(r"\((\w+)\)\s+(?:Shared library: \[(.+)\])?", dynamic)
    if ("SONAME", "") not in tags:
        yield "has no SONAME"
    for tag, needed in tags:
        if tag == "NEEDED" and needed not in ALLOWED_LIBRARIES | ALLOWED_LOADERS:
            yield f"needs {needed}"
        if tag in LOAD_TIME_TAGS:
            yield f"runs code at load or unload ({tag})"

    # Data that a call could change. The global offset table is the linker's.
    sections = run(f"{prefix}readelf", "--wide", "--sections", library)
    for name, size in re.findall(r"\] (\.data|\.bss)\s+\w+\s+\w+ \w+ (\w+)", sections):
        if int(size, 16) != 0:
            yield f"has {int(size, 16)} bytes of writable data ({name})"


def symbols_of_dll(prefix, library, promised):
    headers = run(f"{prefix}objdump", "--private-headers", library)
    exported = set(re.findall(r"^\s*\[\s*\d+\](?: \+base\[\s*\d+\])?\s+(?:[0-9a-f]+\s+)?([A-Za-z_@?]\S*)$", headers, re.MULTILINE))
    yield from (f"exports {name}, which the registry does not hold" for name in sorted(exported - promised))
    yield from (f"does not export {name}" for name in sorted(promised - exported))
    for needed in re.findall(r"DLL Name: (\S+)", headers):
        if needed.lower() not in ALLOWED_LIBRARIES:
            yield f"needs {needed}"
    # Imported, or linked in: a DLL that keeps no symbols tells of imports alone.
    imported = re.findall(r"^\s+[0-9a-f]+\s+(?:<none>\s+)?(?:[0-9a-f]+\s+)?\d+\s+([A-Za-z_]\w*)$", headers, re.MULTILINE)
    linked = re.findall(r"\(sec\s+[1-9]\d*\)\(fl 0x\w+\)\(ty\s+20\).* (\S+)$", run(f"{prefix}objdump", "--syms", library), re.MULTILINE)
    for name in sorted({name for name in imported + linked if MATHEMATICS.fullmatch(name)}):
        yield f"needs {name}, which is mathematics"


def own_code(code, dll):
    """Of a DLL only what this project compiled: the platform's start-up code and mathematics are linked into it."""
    if not dll:
        return code
    functions = re.split(r"^(?=[0-9a-f]+ <)", code, flags=re.MULTILINE)
    return "".join(f for f in functions if re.match(r"[0-9a-f]+ <_?(kx[cC]alc|_ZN\w*6kxcalc|kept|f>|DllMain)", f))


def calls_among_exports(code, promised):
    """An export does its work itself: a host that replaces one, or counts its calls, sees no calls but its own."""
    for function in re.split(r"^(?=[0-9a-f]+ <)", code, flags=re.MULTILINE):
        caller = re.match(r"[0-9a-f]+ <_?(\w+)>:", function)
        for called in sorted(set(re.findall(r"\t(?:bnd )?(?:call|jmp|bl|b)\s+[0-9a-f]+ <_?(\w+)(?:@plt)?>", function)) & promised):
            if caller and called != caller[1]:  # a loop may go back to a function's first instruction
                yield f"calls {called} from {caller[1]}"


def stack_findings(code):
    """32-bit x86: a function that keeps lanes on the stack must align it, for hosts guarantee 4 bytes only. What compilers put
    aside as its cold part stands on the stack of the rest."""
    functions = {name[1]: text for text in re.split(r"\n\n", code) if (name := re.search(r"<(.+)>:", text))}
    for name, text in functions.items():
        spills = re.search(r"mov(aps|apd|dqa)\s+(%xmm\d,.*\(%e[sb]p|.*\(%e[sb]p[^)]*\),%xmm)", text)
        if spills and "and    $0xfffffff0,%esp" not in functions.get(name.removesuffix(".cold"), text):
            yield f"keeps lanes on a stack that {name} does not align"


def findings(library, instruction_set, promised, prefix=""):
    kind = run(f"{prefix}objdump", "--file-headers", library)
    dll = "pei-" in kind
    arm = "aarch64" in kind
    yield from (symbols_of_dll if dll else symbols_of_elf)(prefix, library, promised)

    code = own_code(run(f"{prefix}objdump", "--disassemble", "--no-show-raw-insn", library), dll)
    instructions = re.findall(r"^\s*[0-9a-f]+:\t(?:(?:rep\w*|lock|bnd|notrack|cs|ds|data16|\{evex\}) )*([\w.]+)([^\n#<]*)", code, re.MULTILINE)
    if len(instructions) < 10:
        yield "cannot be disassembled"
    yield from calls_among_exports(code, promised)
    if arm:
        wrong = [
            ("fused multiply-add", lambda name, _: re.fullmatch(ARM_FUSED, name)),
            ("a write to the floating-point control register", lambda name, operands: name == "msr" and "fpcr" in operands),
            (f"an instruction above {instruction_set}", lambda name, operands: re.fullmatch(ARM_ABOVE, name) or re.search(r"\bz\d+\.", operands)),
        ]
    else:
        wrong = [
            ("fused multiply-add", lambda name, _: re.fullmatch(FUSED, name)),
            ("x87 arithmetic", lambda name, _: re.fullmatch(X87, name) and not re.fullmatch(X87_MOVES, name)),
            ("an MMX register", lambda _, operands: re.search(r"%mm\d", operands)),
            ("a write to the floating-point control register", lambda name, _: re.fullmatch(CONTROL_REGISTER, name)),
            (f"an instruction above {instruction_set}", lambda name, operands: re.fullmatch(ABOVE[instruction_set], name)
             or (instruction_set in REGISTERS_ABOVE and re.search(REGISTERS_ABOVE[instruction_set], operands))),
        ]
    for what, holds in wrong:
        names = sorted({name for name, operands in instructions if holds(name, operands)})
        if names:
            yield f"holds {what}: {', '.join(names)}"
    if "elf32-i386" in kind or "pei-i386" in kind:
        yield from stack_findings(code)


# A name, where it can be planted (a kind of file, of processor, or of library), C source with the fault, flags, and what the
# finding says.
FAULTS = [
    ("an export too many", "elf dll", "void other(void) {}", [], "exports other"),
    ("an export missing", "elf dll", "", ["-DNO_EXPORT"], "does not export kept"),
    ("an import", "elf", "extern void abroad(void); void kept2(void) { abroad(); }", [], "imports abroad"),
    ("a call of an export", "elf dll", "__attribute__((visibility(\"hidden\"))) void f(int* p) { kept(p + 1); p[0] = 1; }", [], "calls kept from f"),
    ("a sine", "elf", "double sin(double); double f(double a) { return sin(a); }", ["-Wl,--no-as-needed", "-lm"],
     "which is mathematics"),
    ("the C library's mathematics", "elf", "double frexp(double, int*); double f(double a) { int e; return frexp(a, &e); }", [],
     "which is mathematics"),
    ("a square root that reports errors", "elf", "double f(double a) { return __builtin_sqrt(a); }", ["-fmath-errno"],
     "which is mathematics"),
    ("the mathematics library", "elf", "double sin(double); double f(double a) { return sin(a); }", ["-Wl,--no-as-needed", "-lm"],
     "needs libm"),
    ("a sine", "dll", "double sin(double); double f(double a) { return sin(a); }", [], "needs sin, which is mathematics"),
    ("a constructor", "elf", "__attribute__((constructor)) static void c(void) { __asm__ volatile(\"nop\"); }", [], "runs code at load"),
    ("writable data", "elf", "int counter = 1;", [], "writable data"),
    ("a fused multiply-add", "x86", "double f(double a, double b, double c) { return a * b + c; }", ["-mfma", "-mfpmath=sse", "-ffp-contract=fast"],
     "fused multiply-add"),
    ("x87 arithmetic", "x86", "long double f(long double a) { return a * a; }", [], "x87 arithmetic"),
    ("MMX", "x86", "void f(void) { __asm__ volatile(\"pxor %mm1, %mm1\"); }", [], "an MMX register"),
    ("the control register", "x86", "void f(void) { unsigned v = 0x1f80; __asm__ volatile(\"ldmxcsr %0\" :: \"m\"(v)); }", [],
     "control register"),
    ("a fused multiply-add and subtract", "avx2 avx512", "void f(void) { __asm__ volatile(\"vfmaddsub231ps %ymm0, %ymm1, %ymm2\"); }", [],
     "fused multiply-add"),
    ("a later instruction", "sse41", "int f(int a) { return __builtin_popcount(a); }", ["-mpopcnt"], "an instruction above sse41: popcnt"),
    ("wider vectors", "sse41", "void f(float* a) { for (int i = 0; i < 8; ++i) a[i] *= 2; }", ["-mavx"], "an instruction above sse41"),
    ("a later instruction", "portable", "int f(int a) { __asm__ volatile(\"pabsd %xmm0, %xmm1\"); return a; }", [],
     "an instruction above portable: pabsd"),
    ("vectors of 64 bytes", "avx2", "void f(void) { __asm__ volatile(\"vaddps %zmm0, %zmm1, %zmm2\"); }", [], "an instruction above avx2: vaddps"),
    ("a register of the later set", "avx2", "void f(void) { __asm__ volatile(\"vaddps %xmm16, %xmm1, %xmm2\"); }", [],
     "an instruction above avx2: vaddps"),
    ("an instruction of the later set", "avx2", "void f(void) { __asm__ volatile(\"vpternlogd $1, %ymm0, %ymm1, %ymm2\"); }", [],
     "an instruction above avx2: vpternlogd"),
    ("an instruction beyond the set", "avx512", "void f(void) { __asm__ volatile(\"vpdpbusd %zmm0, %zmm1, %zmm2\"); }", [],
     "an instruction above avx512: vpdpbusd"),
    ("lanes on a stack that is not aligned", "i386", "void f(void) { __asm__ volatile(\"movaps %xmm0, (%esp)\"); }", [],
     "keeps lanes on a stack"),
    ("a fused multiply-add", "arm", "double f(double a, double b, double c) { return a * b + c; }", ["-ffp-contract=fast"],
     "fused multiply-add"),
    ("the control register", "arm", "void f(long v) { __asm__ volatile(\"msr fpcr, %0\" :: \"r\"(v)); }", [], "control register"),
    ("scalable vectors", "arm", "void f(float* a, int n) { for (int i = 0; i < n; ++i) a[i] *= 2; }", ["-march=armv8-a+sve"],
     "an instruction above"),
]
KEPT = ("#ifndef NO_EXPORT\n__attribute__((noinline)) void kept(int* p) { for (int i = 0; i < 9; ++i) { p[i] += p[i * 2] * 3; p[i + 1] ^= p[i]; } }\n#endif\n")


def self_test(instruction_set="sse41", prefix="", compiler="cc", *compiler_flags):
    failures = planted = 0
    with tempfile.TemporaryDirectory() as folder:
        source, library = Path(folder, "fault.c"), Path(folder, "libfault.so")

        def build(fault, flags):
            source.write_text(KEPT + fault + "\n")
            elf = [] if where & {"dll"} else ["-nostartfiles", "-Wl,-soname,libfault.so", "-Wl,--as-needed"]
            run(compiler, "-O3", "-shared", "-fPIC", *compiler_flags, *elf, *flags, str(source), "-o", str(library))

        where = {"dll"}  # what can be planted here: told by a library without faults
        build("", [])
        kind = run(f"{prefix}objdump", "--file-headers", str(library))
        where = {"dll" if "pei-" in kind else "elf", "arm" if "aarch64" in kind else "x86"}
        where |= {instruction_set} if "x86" in where else set()
        where |= {"i386"} if "elf32-i386" in kind or "pei-i386" in kind else set()
        for name, places, fault, flags, expected in [("nothing", "elf dll", "", [], None), *FAULTS]:
            if not where & set(places.split()):
                continue
            build(fault, flags)
            found = list(findings(str(library), instruction_set, {"kept"}, prefix))
            planted += 1
            if (expected is None and found) or (expected and not any(expected in line for line in found)):
                print(f"planted {name}, found {found or 'nothing'}")
                failures += 1
    try:
        list(findings("/no/such/library.so", instruction_set, {"kept"}, prefix))
        print("a missing file passes")
        failures += 1
    except subprocess.CalledProcessError:
        pass
    print(f"{planted - failures} of {planted} as expected")
    return failures


def main():
    if sys.argv[1:2] == ["--self-test"]:
        return 1 if self_test(*sys.argv[2:]) else 0
    library, instruction_set, *prefix = sys.argv[1:]
    found = list(findings(library, instruction_set, set(registry.names()), *prefix))
    for line in found:
        print(f"{library}: {line}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
