"""Finds what a line of C++ can be made wrong in: comparisons, constants, trace levels and string literals."""
import re
from dataclasses import dataclass

COMPARISONS = {"==": "!=", "!=": "==", "<=": "<", ">=": ">", "<": "<=", ">": ">=", "&&": "||", "||": "&&"}
LEVELS = {"kTraceError": "kTraceWarning", "kTraceWarning": "kTraceProgress", "kTraceProgress": "kTraceDetail",
          "kTraceDetail": "kTraceProgress"}
STRING = re.compile(r'"(?:[^"\\]|\\.)*"')
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(?![\w.'])")
NAMED = re.compile(r"\b(ZFI_OK|ZFI_ERR_\w+|ZFI_CLAIMED|true|false)\b")


@dataclass(frozen=True)
class Mutation:
    path: str
    line: int  # from 1
    start: int
    end: int
    kind: str
    replacement: str

    def apply(self, text):
        lines = text.split("\n")
        old = lines[self.line - 1]
        lines[self.line - 1] = old[:self.start] + self.replacement + old[self.end:]
        return "\n".join(lines)


def blanked(line):
    """The line with comments and the insides of its strings blanked out, columns kept."""
    line = STRING.sub(lambda match: '"' + " " * (len(match.group()) - 2) + '"', line)
    return re.sub(r"//.*", lambda match: " " * len(match.group()), line)


def other_number(text):
    value = int(text, 0)
    return hex(value + 1) if text.startswith("0x") else str(value + 1)


def other_name(text):
    if text in ("true", "false"):
        return "false" if text == "true" else "true"
    return "ZFI_ERR_FAILED" if text != "ZFI_ERR_FAILED" else "ZFI_OK"


def other_string(text):
    """One character more in the middle, not inside an escape or a conversion."""
    inside = text[1:-1]
    middle = len(inside) // 2
    while middle > 0 and inside[middle - 1] in "\\%":
        middle -= 1
    return '"' + inside[:middle] + "#" + inside[middle:] + '"'


def of_line(path, number, line):
    if line.lstrip().startswith(("#", "//", "static_assert", "extern", "using", "namespace", "template")):
        return
    code = blanked(line)
    for match in re.finditer(r" (==|!=|<=|>=|<|>|&&|\|\|) ", code):
        yield Mutation(path, number, match.start(1), match.end(1), "comparison", COMPARISONS[match.group(1)])
    for match in NUMBER.finditer(code):
        yield Mutation(path, number, match.start(), match.end(), "constant", other_number(match.group()))
    for match in NAMED.finditer(code):
        yield Mutation(path, number, match.start(), match.end(), "constant", other_name(match.group()))
    for match in re.finditer(r"\bkTrace\w+\b", code):
        if match.group() in LEVELS and "constexpr" not in code:
            yield Mutation(path, number, match.start(), match.end(), "level", LEVELS[match.group()])
    for match in STRING.finditer(line):
        if code[match.start()] == '"':
            yield Mutation(path, number, match.start(), match.end(), "string", other_string(match.group()))


def of_file(path, text):
    for number, line in enumerate(text.split("\n"), 1):
        yield from of_line(path, number, line)
