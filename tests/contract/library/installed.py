#!/usr/bin/env python3
"""Is an installation whole, hardened and able to start, in a folder that the build did not know?

    installed.py CMAKE BUILD

Programs and libraries are exactly those that ship; each is hardened as in the build and names no folder of it, so that a
build elsewhere gives the same bytes; the program finds its runtime and its providers beside itself, whatever the current
directory and the environment say.
"""
import os
import re
import subprocess
import sys
import tempfile

import binary

SHIPPED = ["libloopfi.so", "libtarnfi.so", "libznfi.so", "tarnctl"]


def is_binary(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def installed(prefix):
    return {name: os.path.join(base, name) for base, _, names in os.walk(prefix) for name in names
            if is_binary(os.path.join(base, name))}


def source_tree(build):
    with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as cache:
        return next(line.rstrip("\n").partition("=")[2] for line in cache if line.startswith("CMAKE_HOME_DIRECTORY:"))


def build_paths(path, folders):
    """The folders of the build whose names stand in the file, debug information included."""
    with open(path, "rb") as file:
        content = file.read()
    return [folder for folder in folders if re.search(re.escape(os.fsencode(folder)) + b"[/\\0]", content)]


def starts(program, prefix):
    """Its providers are those of the installation, not of the build."""
    environment = {"PATH": "/usr/bin:/bin"}
    answer = subprocess.run([program, "plugin", "list"], cwd="/", env=environment, capture_output=True, text=True, check=False)
    resolved = subprocess.run(["ldd", program], capture_output=True, text=True, check=True).stdout
    problems = []
    if answer.returncode != 0:
        problems.append(f"tarnctl plugin list ended with {answer.returncode}: {answer.stderr.strip()}")
    if f"=> {prefix}/" not in resolved:
        problems.append("the runtime is not that of the installation")
    return problems


def main(cmake, build):
    with tempfile.TemporaryDirectory(prefix="tarnfi-installed-") as folder:
        # Staged, so that no step of it reaches the system's folders.
        root = os.path.realpath(folder)
        prefix = root + "/opt/tarnfi"
        subprocess.run([cmake, "--install", build, "--prefix", "/opt/tarnfi"], check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, "DESTDIR": root})
        found = installed(root)
        problems = [f"{name} is installed" for name in sorted(set(found) - set(SHIPPED))]
        problems += [f"{name} is not installed" for name in sorted(set(SHIPPED) - set(found))]
        is_hard = [binary.hardened(path) == 0 for _, path in sorted(found.items())]
        folders = [os.path.realpath(build), source_tree(build)]
        problems += [f"{name} names {folder}, where it was built" for name, path in sorted(found.items())
                     for folder in build_paths(path, folders)]
        if "tarnctl" in found:
            problems += starts(found["tarnctl"], prefix)
        for problem in problems:
            print(problem)
        return 0 if not problems and all(is_hard) else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
