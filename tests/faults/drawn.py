"""Faults that a rule makes of a source's text: an operator, a number or a condition changed, or a statement dropped."""

import random
import re
from dataclasses import dataclass

OPERATORS = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
             "&&": "||", "||": "&&", "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*="}
NOT_CODE = re.compile(r'//[^\n]*|#[^\n]*|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'')
OPERATOR = re.compile(r"(?<= )(?:[-+*/]=?|%|[<>]=?|[=!]=|&&|\|\|)(?= )")  # with spaces around: no templates, signs, pointers
NUMBER = re.compile(r"(?<![\w.])\d+(?:\.\d+)?(?![\w.]|e-?\d)")
CONDITION = re.compile(r"\b(?:if|while) \((?=[^;\n]*\) \{\n)")
STATEMENT = re.compile(
    r"^ +(?!return|using|const|constexpr|static|struct|else|case|default|auto|for|if|while|public|private|})[\w*].*(?:[^=]=|\(|\+\+|--|\+=|-=).*;\n"
    r"|^ +(?:return problem|break|continue)\b.*;\n", re.MULTILINE)


@dataclass(frozen=True)
class DrawnFault:
    file: str
    place: str  # file and line
    title: str
    begin: int
    end: int
    new: str

    def planted(self, text):
        return text[:self.begin] + self.new + text[self.end:]


def changed_number(number):
    """The last digit is another one."""
    return number[:-1] + str(int(number[-1]) + 1 if number[-1] != "9" else 8)


def all_faults(file, text):
    """Every fault that the rules make of a file."""
    code = NOT_CODE.sub(lambda match: " " * len(match[0]), text)

    def fault(begin, end, new, title):
        line = code.count("\n", 0, begin) + 1
        return DrawnFault(file, f"{file}:{line}", title, begin, end, new)

    for match in OPERATOR.finditer(code):
        new = OPERATORS.get(match[0])
        if new:
            yield fault(match.start(), match.end(), new, f"{match[0]} is {new}")
    for match in NUMBER.finditer(code):
        new = changed_number(match[0])
        yield fault(match.start(), match.end(), new, f"{match[0]} is {new}")
    for match in CONDITION.finditer(code):
        close = matching(code, match.end())
        yield fault(match.end(), close, f"!({text[match.end():close]})", f"{text[match.end():close]} is negated")
    for match in STATEMENT.finditer(code):
        if match[0].count("(") == match[0].count(")") and not re.search(r"= (?:delete|default);", match[0]):
            yield fault(match.start(), match.end(), "\n", f"{text[match.start():match.end()].strip()} is dropped")


def matching(code, begin):
    """Where the parenthesis that is open at `begin` closes."""
    depth = 1
    for at in range(begin, len(code)):
        depth += {"(": 1, ")": -1}.get(code[at], 0)
        if depth == 0:
            return at
    raise ValueError("a parenthesis stays open")


def drawn(texts, seed):
    """All faults of some sources, by file, in the order in which this seed draws them."""
    faults = [fault for file in sorted(texts) for fault in all_faults(file, texts[file])]
    random.Random(seed).shuffle(faults)
    return faults
