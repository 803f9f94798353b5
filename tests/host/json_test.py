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


# The definition, the command line and the exit code; together they have all options that bring words in.
PRINTED = [
    ("stats", "stats mains.wav odd.csv", 0),
    ("stats", "stats mains.wav odd.csv --from 1 --percentiles 5,50,95", 0),
    ("spectrum", "spectrum mains.wav", 0),
    ("spectrum", "spectrum mains.wav --tone --channel 1,4 --from 0.5", 0),
    ("spectrum", "spectrum dip.csv --rate 4000 --tone --quantity rms", 0),
    ("spectrum", "spectrum zero.csv --rate 4000 --quantity density", 0),
    ("power", "power mains.wav", 0),
    ("power", "power day.wav --groups --aggregate 3s,10min,2h,day", 0),
    ("power", "power zero.csv --rate 4000 --frequency 50 --aggregate 3s,day --windows", 0),
    ("power", "power dip.cfg --aggregate 3s", 0),
    ("power", "power dip.csv --rate 4000", 0),
    ("flicker", "flicker lamp.wav --settling 0 --period 1", 0),
    ("flicker", "flicker dip.cfg --settling 0 --period 1", 0),
    ("flicker_test", "flicker --test pst --lamp 230 --rate 4000", 0),
    ("flicker_test", "flicker --test sinusoidal --lamp 120 --rate 4000 --tolerance 0.001", 1),
    ("combustion", "combustion engine.csv", 0),
    ("combustion", "combustion --simulate --cycles 1", 0),
]


def validator(command):
    return jsonschema.Draft202012Validator({"$ref": f"#/$defs/{command}", "$defs": SCHEMA["$defs"]})


def objects(json_value, path=""):
    """All objects, each with where it stands: "windows/phases/power"."""
    if isinstance(json_value, dict):
        yield path, json_value
        for key, value in json_value.items():
            yield from objects(value, f"{path}/{key}")
    elif isinstance(json_value, list):
        for value in json_value:
            yield from objects(value, path)


def no_number(text):
    raise AssertionError(f"{text} is no JSON")


class JsonTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.folder = Path(cls.scratch.name)
        cls.write_recordings()
        cls.printed = {}
        for command, line, code in PRINTED:
            text = cls.run_kxhost(*line.split(), "--json", code=code)
            cls.printed[line] = command, json.loads(text, parse_constant=no_number)

    @classmethod
    def write_recordings(cls):
        cls.run_kxhost("generate", "power", "-o", "mains.wav", "--seconds", "2")
        cls.run_kxhost("generate", "power", "-o", "day.wav", "--seconds", "610", "--rate", "500")
        cls.run_kxhost("generate", "power", "-o", "lamp.wav", "--seconds", "12", "--rate", "4000")
        cls.run_kxhost("combustion", "--simulate", "--cycles", "3", "-o", "engine.csv")
        (cls.folder / "odd.csv").write_text("a,b\n1,2\n3,nan\n")
        (cls.folder / "zero.csv").write_text("a,b\n" + 4000 * "0,0\n")
        rows = [f"{(i % 80 - 40) * (100 if i < 2000 or i > 3000 else 30)},{i % 80 - 40}" for i in range(8000)]
        (cls.folder / "dip.csv").write_text("U [V],I [A]\n" + "\n".join(rows) + "\n")
        (cls.folder / "dip.cfg").write_text(
            "station,1,1999\n2,2A,0D\n1,U,,,V,1,0,0,-9999,9999,1,1,P\n2,I,,,A,1,0,0,-9999,9999,1,1,P\n50\n1\n4000,8000\n"
            "01/02/2024,10:00:00.000000\n01/02/2024,10:00:00.500000\nASCII\n1\n")
        (cls.folder / "dip.dat").write_text("".join(f"{i + 1},{250 * i},{row}\n" for i, row in enumerate(rows)))

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    @classmethod
    def run_kxhost(cls, *arguments, code=0):
        done = subprocess.run([KXHOST, *arguments], cwd=cls.folder, capture_output=True, text=True)
        if done.returncode != code:
            raise AssertionError(f"{arguments}: exit code {done.returncode}\n{done.stderr}")
        return done.stdout

    def document(self, line):
        return self.printed[line][1]

    def test_all_is_as_the_schema_says(self):
        for line, (command, document) in self.printed.items():
            with self.subTest(line):
                for error in validator(command).iter_errors(document):
                    self.fail(f"{'/'.join(map(str, error.absolute_path))}: {error.message}")

    def test_one_command_at_least_fits_what_is_printed(self):
        whole = jsonschema.Draft202012Validator(SCHEMA)
        for line in ("stats mains.wav odd.csv", "spectrum mains.wav", "combustion engine.csv"):
            self.assertTrue(whole.is_valid(self.document(line)), line)

    def test_each_word_is_printed(self):
        keys = {key for _, document in self.printed.values() for _, each in objects(document) for key in each}
        self.assertEqual(keys, set(WORDS))

    def test_the_recordings_have_what_they_are_made_for(self):
        self.assertEqual(self.document("stats mains.wav odd.csv")["files"][0]["duration_s"], 2)
        self.assertEqual(self.document("combustion engine.csv")["file"], "engine.csv")
        day = self.document("power day.wav --groups --aggregate 3s,10min,2h,day")
        self.assertEqual([each["interval"] for each in day["aggregates"]], ["3s", "10min", "2h"])
        self.assertEqual(day["days"][0]["figures"][0]["value_count"], 61)
        self.assertNotIn("windows", day)
        zero = self.document("power zero.csv --rate 4000 --frequency 50 --aggregate 3s,day --windows")
        self.assertIsNone(zero["aggregates"][0]["intervals"][0]["mean"])
        self.assertTrue(self.document("power dip.csv --rate 4000")["events"])
        dip = self.document("flicker dip.cfg --settling 0 --period 1")
        self.assertIn("dip", dip["periods"][0]["flags"])
        self.assertEqual(dip["periods"][1]["from_time"], "2024-02-01 10:00:01.000000")
        lamp = self.document("flicker lamp.wav --settling 0 --period 1")
        self.assertEqual(lamp["days"][0]["plt"]["value_count"], 1)

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

    def test_a_key_that_the_schema_does_not_know_is_found_in_every_object(self):
        for line, (command, document) in self.printed.items():
            checked = set()
            for path, each in objects(document):
                if path not in checked:
                    checked.add(path)
                    each["more"] = 1
                    self.assertFalse(validator(command).is_valid(document), f"{line}: {path}")
                    del each["more"]

    def test_a_key_that_lacks_and_a_value_of_another_type_are_found(self):
        for change in (lambda file: file.pop("samples"), lambda file: file.update(samples=-1),
                       lambda file: file["channels"][0].update(rms="1")):
            wrong = copy.deepcopy(self.document("stats mains.wav odd.csv"))
            change(wrong["files"][0])
            self.assertFalse(validator("stats").is_valid(wrong))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
