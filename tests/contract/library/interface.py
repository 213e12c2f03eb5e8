#!/usr/bin/env python3
"""Compares the binary interface of the headers, as built into LIBRARY, with the recorded one.

    interface.py compare LIBRARY RECORD COMPILER    COMPILER as "GNU 12.2.0"; another major version than the record's skips
    interface.py record LIBRARY RECORD COMPILER     after a deliberate change of the interface
"""
import re
import shutil
import subprocess
import sys

SKIP = 77
DUMP = ["abidw", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs"]


def skip(reason):
    print(f"SKIP: {reason}")
    return SKIP


def major(compiler):
    return re.match(r"\w+ \d+", compiler).group(0)


def record(library, path, compiler):
    dump = subprocess.run([*DUMP, library], check=True, capture_output=True, text=True).stdout
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{dump}<!-- {major(compiler)} -->\n")
    return 0


def compare(library, path, compiler):
    if shutil.which("abidiff") is None:
        return skip("abidiff is not installed")
    with open(path, encoding="utf-8") as file:
        recorded_with = file.read().rstrip().rsplit("\n", 1)[1].strip("<!-> ")
    if major(compiler) != recorded_with:
        return skip(f"the interface was recorded with {recorded_with}, this is {compiler}")
    return subprocess.run(["abidiff", "--no-show-locs", path, library], check=False).returncode


def main(arguments):
    what, *rest = arguments
    return record(*rest) if what == "record" else compare(*rest)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
