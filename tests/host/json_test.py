#!/usr/bin/env python3
"""Holds what kxhost prints with --json against the schema, and the schema against its page.

usage: json_test.py <kxhost> <docs directory>
"""

import copy
import json
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import jsonschema

KXHOST, DOCS = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
SCHEMA = json.loads((DOCS / "kxhost.schema.json").read_text())
WORDS = SCHEMA["$defs"]["words"]["properties"]


def validator(command):
    return jsonschema.Draft202012Validator({"$ref": f"#/$defs/{command}", "$defs": SCHEMA["$defs"]})


class JsonTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.folder = Path(cls.scratch.name)
        cls.run_kxhost("generate", "power", "-o", "mains.wav", "--seconds", "2")
        cls.run_kxhost("combustion", "--simulate", "--cycles", "3", "-o", "engine.csv")
        (cls.folder / "odd.csv").write_text("a,b\n1,2\n3,nan\n")
        (cls.folder / "zero.csv").write_text("a,b\n" + 4000 * "0,0\n")
        rows = [f"{100 * (i % 80 - 40) * (1 if i < 2000 or i > 3000 else 0.3):.6g},{i % 80 - 40}" for i in range(8000)]
        (cls.folder / "dip.csv").write_text("U [V],I [A]\n" + "\n".join(rows) + "\n")

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    @classmethod
    def run_kxhost(cls, *arguments, code=0):
        done = subprocess.run([KXHOST, *arguments], cwd=cls.folder, capture_output=True, text=True)
        if done.returncode != code:
            raise AssertionError(f"{arguments}: exit code {done.returncode}\n{done.stderr}")
        return done.stdout

    def expect(self, command, *arguments, code=0):
        def no_number(text):
            raise AssertionError(f"{arguments}: {text} is no JSON")

        printed = json.loads(self.run_kxhost(*arguments, "--json", code=code), parse_constant=no_number)
        for error in validator(command).iter_errors(printed):
            self.fail(f"{arguments}: {'/'.join(map(str, error.absolute_path))}: {error.message}")
        jsonschema.Draft202012Validator(SCHEMA).validate(printed)
        return printed

    def test_stats(self):
        printed = self.expect("stats", "stats", "mains.wav", "odd.csv")
        self.assertEqual(printed["files"][0]["sample_rate_hz"], 12800)
        self.assertEqual(printed["files"][0]["duration_s"], 2)

    def test_power(self):
        printed = self.expect("power", "power", "mains.wav")
        self.assertTrue(printed["windows"])
        self.expect("power", "power", "zero.csv", "--rate", "4000", "--frequency", "50")
        self.assertTrue(self.expect("power", "power", "dip.csv", "--rate", "4000")["events"])

    def test_flicker(self):
        self.assertEqual(len(self.expect("flicker", "flicker", "mains.wav", "--settling", "0", "--period", "1")["periods"]), 2)
        self.expect("flicker_test", "flicker", "--test", "pst", "--lamp", "230", "--rate", "4000")

    def test_combustion(self):
        self.assertEqual(self.expect("combustion", "combustion", "engine.csv")["file"], "engine.csv")
        self.expect("combustion", "combustion", "--simulate", "--cycles", "1")

    def test_the_schema_is_one(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_each_word_is_used_and_ends_in_no_other_unit(self):
        used = {reference.rpartition("/")[2] for reference in re.findall(r"#/\$defs/words/properties/\w+", json.dumps(SCHEMA))}
        self.assertEqual(used, set(WORDS))
        spelt_out = {"degrees", "volts", "seconds", "hertz", "watts", "amperes", "celsius"}
        for word in WORDS:
            self.assertRegex(word, r"^[a-z][a-z0-9]*(_[a-z0-9]+)*$")
            self.assertNotIn(word.rpartition("_")[2], spelt_out, word)

    def test_the_page_has_each_word(self):
        rows = re.findall(r"^\| `(\w+)` \| (.+) \|$", (DOCS / "json.md").read_text(), re.MULTILINE)
        self.assertEqual(dict(rows), {word: schema["description"] for word, schema in WORDS.items()})
        self.assertEqual(len(rows), len(WORDS))

    def test_a_fault_is_found(self):
        printed = self.expect("stats", "stats", "odd.csv")
        for change in (lambda file: file.pop("samples"), lambda file: file.update(more=1), lambda file: file.update(samples=-1),
                       lambda file: file["channels"][0].update(rms="1")):
            wrong = copy.deepcopy(printed)
            change(wrong["files"][0])
            self.assertFalse(validator("stats").is_valid(wrong))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
