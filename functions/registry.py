"""The registry of exports (exports.inc), for scripts: every one of them reads it here."""

import re
from pathlib import Path

FILE = Path(__file__).with_name("exports.inc")


def exports(text=None):
    """(family, name) of each export, in the header's order."""
    rows = [line for line in (text if text is not None else FILE.read_text()).splitlines() if line and not line.startswith("//")]
    matches = [re.fullmatch(r"KXCALC_EXPORT\((\w+), (kx[cC]alc\w+)\)", row) for row in rows]
    for row, match in zip(rows, matches):
        if match is None:
            raise ValueError(f"not a family and an export's name: {row}")
    return [match.groups() for match in matches]


def names(text=None):
    return [name for _, name in exports(text)]


def families(text=None):
    return list(dict.fromkeys(family for family, _ in exports(text)))
