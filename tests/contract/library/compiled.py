#!/usr/bin/env python3
"""Is every source of the products compiled with the hardening that a library or program as a whole does not show?

    compiled.py COMPILE_COMMANDS SOURCE_TREE

A file of ours is in a product when it lies in one of the product rooms and is no test.
"""
import json
import os
import re
import shlex
import sys

ROOMS = ("pdk", "providers", "util", "host")
TEST = re.compile(r"(?:_test|_testing|_bench|_fuzz|_actor)\.(?:c|cpp)$")
TEST_TARGET = re.compile(r"/(\w+)\.dir/")
WANTED = {
    "-fstack-protector-strong": "the stack protector",
    "-fcf-protection=full": "landing pads",
    "-D_FORTIFY_SOURCE=3": "fortified calls",
}
FORBIDDEN = re.compile(r"-fno-stack-protector|-fcf-protection=none|-fno-p(?:ic|ie)$|-z,?execstack")


def faults(arguments):
    # The last word wins: what is taken back later is not there.
    for flag, what in WANTED.items():
        if flag not in arguments:
            yield f"without {what}"
        elif flag.startswith("-D") and "-U_FORTIFY_SOURCE" in arguments[arguments.index(flag):]:
            yield f"without {what}"
    if not {"-fPIC", "-fPIE"} & set(arguments):
        yield "for a fixed address"
    for argument in arguments:
        if FORBIDDEN.search(argument):
            yield f"with {argument}"


def main(commands, tree):
    with open(commands, encoding="utf-8") as file:
        entries = json.load(file)
    checked, bad = 0, 0
    for entry in entries:
        path = os.path.relpath(os.path.join(entry["directory"], entry["file"]), tree)
        if path.split(os.sep)[0] not in ROOMS or TEST.search(path):
            continue
        arguments = shlex.split(entry["command"])
        output = arguments[arguments.index("-o") + 1]
        target = TEST_TARGET.search(output)
        if target and re.search(r"test|bench|fuzz|actor|calls_from", target[1]):
            continue  # what tests are made of besides their own files
        checked += 1
        for fault in faults(arguments):
            bad += 1
            print(f"{path} is compiled {fault}")
    print(f"{checked} sources")
    return 1 if bad or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
