"""Plants faults in a room of the house, a folder of sources whose tests are one program, and runs that program."""

import json
import os
import re
import resource
import shlex
import subprocess
import tempfile
from pathlib import Path

TIME_LIMIT = 60  # seconds; the tests take a few
MEMORY = 4 << 30  # bytes; a loop that does not end is not to take all of it


class DoesNotCompile(Exception):
    """The compiler has found the fault."""


class Room:
    """Compiles what a fault changes, by the commands of a finished build, and links it with the rest into the test program."""

    def __init__(self, root, build, scratch, room, program):
        self.root, self.build, self.scratch, self.room = root, build, Path(scratch), room
        self.compiling = {}  # the command, by object
        for command in json.loads((build / "compile_commands.json").read_text()):
            source = str(Path(command["file"]).relative_to(root)) if command["file"].startswith(f"{root}/") else ""
            if source.startswith((f"{room}/", f"tests/{room}/")):
                arguments = shlex.split(command["command"])
                self.compiling[arguments[arguments.index("-o") + 1]] = source, arguments
        commands = self.ninja("commands", program).splitlines()
        self.linking = shlex.split(commands[-1].split("&&")[1])
        self.objects_of = {}  # by source or header
        for block in re.split(r"\n\n+", self.ninja("deps", *self.compiling)):
            name, *files = block.split("\n")
            for file in files:
                path = os.path.relpath(build / file.strip(), root)
                if path.startswith(f"{room}/"):
                    self.objects_of.setdefault(path, []).append(name.partition(":")[0])
        self.texts = {file: (root / file).read_text() for file in self.objects_of}
        self.unmodified = build / program

    def ninja(self, tool, *arguments):
        return subprocess.run(["ninja", "-C", self.build, "--quiet", "-t", tool, *arguments],
                              check=True, capture_output=True, text=True).stdout

    def link(self, folder, fault):
        """The test program with the fault. An object before the library takes the place of the library's own."""
        changed = folder / fault.file
        changed.parent.mkdir(parents=True)
        changed.write_text(fault.planted(self.texts[fault.file]))
        objects, own = {}, []
        for index, name in enumerate(self.objects_of[fault.file]):
            source, arguments = self.compiling[name]
            output = str(folder / f"{index}.o")
            file = changed if source == fault.file else self.root / source
            arguments = [output if argument == name else str(file) if argument == str(self.root / source) else argument
                         for argument in arguments]
            path = next(i for i, argument in enumerate(arguments) if argument.startswith("-I"))
            arguments[path:path] = [f"-I{folder}"]  # headers are named from the root on: the changed one is found first
            compiled = subprocess.run([*arguments, "-w", "-O1"], cwd=self.build, capture_output=True, text=True)
            if compiled.returncode != 0:
                raise DoesNotCompile(f"{fault.place}: {compiled.stderr}")
            objects[name] = output
            own += [output] if source.startswith(f"{self.room}/") else []
        first = next(i for i, argument in enumerate(self.linking) if argument.endswith(".o"))
        arguments = [objects.get(argument, argument) for argument in self.linking]
        arguments[arguments.index("-o") + 1] = str(folder / "tests")
        arguments[first:first] = own
        subprocess.run(arguments, cwd=self.build, check=True, capture_output=True)
        return folder / "tests"

    def fails(self, program, tests):
        """Or crashes, or does not come to an end."""
        try:
            return subprocess.run([program, f"--gtest_filter={tests}", "--gtest_fail_fast", "--gtest_brief=1"],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=TIME_LIMIT, cwd=self.scratch,
                                  preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))).returncode != 0
        except subprocess.TimeoutExpired:
            return True

    def tests_of(self, fault):
        tests = getattr(fault, "tests", "") or "*"
        return {tests: tests}

    def survived(self, fault):
        """Those of the fault's tests that pass."""
        with tempfile.TemporaryDirectory(dir=self.scratch) as folder:
            program = self.link(Path(folder), fault)
            return [what for what, tests in self.tests_of(fault).items() if not self.fails(program, tests)]
