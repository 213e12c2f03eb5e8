#!/usr/bin/env python3
"""one_case.py MODULE METHOD: runs one test of the ring. Exit 0 passed, 1 failed, 77 skipped with "SKIP: reason"."""
import importlib
import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../lib")]


def cases(module, method):
    for suite in unittest.defaultTestLoader.loadTestsFromModule(importlib.import_module(module)):
        for case in suite:
            if case.id().split(".")[-1] == method:
                yield case


def main(module, method):
    found = list(cases(module, method))
    if len(found) != 1:
        print(f"{len(found)} tests are named {method} in {module}")
        return 1
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=2).run(found[0])
    for _, reason in result.skipped:
        print(f"SKIP: {reason}")
    if not result.wasSuccessful():
        return 1
    return 77 if result.skipped else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
