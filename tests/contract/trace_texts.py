#!/usr/bin/env python3
"""Finds trace texts that no expectation names.

    trace_texts.py SOURCES TESTS...

Every format that a source below SOURCES traces must stand in a test below TESTS, its conversions filled in. Adjacent
literals count as one text on both sides. Level 7 is everybody's own and free. A folder of sources may be one of tests too:
its *_test.cpp files count. Where SOURCES are resource bundles (*.txt in a folder "bundles"), so must every text of theirs.
"""
import os
import re
import sys

LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
COMMENT = re.compile(r'//[^\n]*|/\*.*?\*/', re.DOTALL)
TRACE = re.compile(r'(?:->|\.)trace\s*\(|\b(?:trace\w*|say)\s*\(')
BUNDLE = re.compile(r'/bundles/.*\.txt$')
PLACEHOLDER = re.compile(r'\{\d+\}')
CONVERSION = re.compile(r'%(?:%|[-+ #0]*\d*(?:\.\d+)?(?:hh|h|ll|l|z|j)?[a-zA-Z])')
SKIPPED_SOURCE = re.compile(r'_(?:test|fuzz|bench|actor)\.cpp$|_testing\.h$|^trace_capture\.(?:h|cpp)$')
LEVEL = re.compile(r'\s*(\w+)\s*,')
OWN_LEVEL = "7"
TEST = re.compile(r'_test\.cpp$')
# An expectation begins and ends with its literal, or is a line among several; a level may stand before it.
BEGIN = r'(?:^|[\x01\n]|(?<=[\x01\n])\d[ |])'
END = r'(?=$|[\x01\n])'


def files(folder, pattern):
    for base, _, names in os.walk(folder):
        for name in sorted(names):
            if re.search(pattern, os.path.join(base, name)):
                yield os.path.join(base, name)


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def without_comments(text):
    """Comments become blanks; what looks like one inside a literal stays."""
    keep = re.compile(LITERAL.pattern + "|" + COMMENT.pattern, re.DOTALL)
    return keep.sub(lambda match: match.group(0) if match.group(0).startswith('"') else " ", text)


def unescape(text):
    return re.sub(r"\\(.)", lambda match: {"n": "\n", "t": "\t", "r": "\r", "0": "\0"}.get(match.group(1), match.group(1)),
                  text)


def argument_end(text, start):
    """Where the call that was opened just before start is closed."""
    depth = 1
    at = start
    while depth > 0 and at < len(text):
        literal = LITERAL.match(text, at)
        if literal:
            at = literal.end()
            continue
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        at += 1
    return at


def texts_of(arguments):
    """The literals of a call, adjacent ones joined."""
    joined, last_end = [], None
    for match in LITERAL.finditer(arguments):
        if last_end is not None and not arguments[last_end:match.start()].strip():
            joined[-1] += unescape(match.group(1))
        else:
            joined.append(unescape(match.group(1)))
        last_end = match.end()
    return joined


def is_own_detail(arguments, text):
    """Is the call's level, a number or a constant of the same file, the one that is free?"""
    level = LEVEL.match(arguments)
    if level is None:
        return False
    constant = re.search(rf"constexpr int {level[1]} = (\w+);", text)
    return (constant[1] if constant else level[1]) == OWN_LEVEL


def texts_of_bundle(path):
    """The texts of a resource bundle, its placeholders written as conversions."""
    for match in LITERAL.finditer(without_comments(read(path))):
        yield PLACEHOLDER.sub("%s", unescape(match.group(1)))


def traced(path):
    if BUNDLE.search(path):
        yield from texts_of_bundle(path)
        return
    text = without_comments(read(path))
    for call in TRACE.finditer(text):
        arguments = text[call.end():argument_end(text, call.end())]
        if is_own_detail(arguments, text):
            continue
        for found in texts_of(arguments):
            if re.search(r"[A-Za-z]{3}", found):
                yield found


def tests_of(folder):
    """Every file, where all are tests; else those that are."""
    found = list(files(folder, r"\.(?:cpp|c|h)$"))
    return found if "tests" in folder.split(os.sep) else [path for path in found if TEST.search(path)]


def expected(folders):
    """All texts of the tests; what stands between two literals may be anything."""
    parts = []
    for path in (path for folder in folders for path in tests_of(folder)):
        last_end = None
        text = without_comments(read(path))
        for match in LITERAL.finditer(text):
            gap = "" if last_end is not None and not text[last_end:match.start()].strip() else "\x01"
            parts.append(gap + unescape(match.group(1)))
            last_end = match.end()
    return "".join(parts)


def is_named(text, expectations):
    """The fixed parts in their order, with at most a short filling (or another expression) between them. What begins or ends
    with a fixed part does so in the expectation too: a text is not named by a longer one."""
    fixed = CONVERSION.split(text)
    pattern = "[^\x02]{0,120}?".join(re.escape(part) for part in fixed if part)
    pattern = (BEGIN if fixed[0] else "") + pattern + (END if fixed[-1] else "")
    return re.search(pattern, expectations) is not None


def main(sources, *tests):
    expectations = expected(tests)
    total, missing = 0, []
    for path in files(sources, r"/bundles/.*\.txt$|\.(?:cpp|h)$"):
        if SKIPPED_SOURCE.search(os.path.basename(path)):
            continue
        for text in traced(path):
            total += 1
            if not is_named(text, expectations):
                missing.append(f"{os.path.basename(path)}: {text!r}")
    for line in missing:
        print(f"no expectation names {line}")
    print(f"{total} texts, {len(missing)} not named")
    return 1 if missing or total == 0 else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
