#!/usr/bin/env python3
"""What the shipped libraries export, need and are hardened with.

    binary.py exports LIBRARY LIST      the exported names are exactly those of LIST
    binary.py needed LIBRARY LIST       so are the libraries it needs
    binary.py hardened LIBRARY          full RELRO, immediate binding, stack protector, CET, fortified calls, no executable stack
"""
import re
import subprocess
import sys


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def listed(path):
    with open(path, encoding="utf-8") as file:
        return sorted(line.strip() for line in file if line.strip() and not line.startswith("#"))


def exported(library):
    names = set()
    for line in output("nm", "-D", "--defined-only", library).splitlines():
        _, kind, name = line.split(maxsplit=2)
        if kind != "A":  # the version's own name
            names.add(name.split("@")[0])
    return sorted(names)


def needed(library):
    return sorted(re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "-dW", library)))


def same(what, actual, wanted):
    for name in sorted(set(actual) - set(wanted)):
        print(f"{what}: {name} is not on the list")
    for name in sorted(set(wanted) - set(actual)):
        print(f"{what}: {name} is missing")
    return 0 if actual == wanted else 1


def unprotected_entries(library):
    """Exported functions that do not begin with the landing pad of indirect branch tracking."""
    functions = {line.split()[2].split("@")[0] for line in output("nm", "-D", "--defined-only", library).splitlines()
                 if line.split()[1] == "T"}
    first = re.findall(r"^[0-9a-f]+ <([^>@]+)(?:@@[^>]*)?>:\n\s*[0-9a-f]+:\s*(\S+)", output(
        "objdump", "-d", "--no-show-raw-insn", library), re.MULTILINE)
    return sorted(name for name, instruction in first if name in functions and instruction != "endbr64")


def hardened(library):
    dynamic = output("readelf", "-dW", library)
    segments = output("readelf", "-lW", library)
    undefined = output("nm", "-D", "--undefined-only", library)
    stack = re.search(r"GNU_STACK.*?(R\S*)\s", segments)
    checks = {
        "no read-only relocations": "GNU_RELRO" in segments,
        "no immediate binding": bool(re.search(r"BIND_NOW|FLAGS_1.*NOW", dynamic)),
        "no stack protector": "__stack_chk_fail" in undefined,
        # The C library's own start files carry no CET property on Debian 12, so the property of the whole cannot be asked for.
        f"no landing pad in {unprotected_entries(library)[:5]}": not unprotected_entries(library),
        "no fortified call": bool(re.search(r"__\w+_chk\b", undefined.replace("__stack_chk_fail", ""))),
        "an executable stack": stack is not None and "E" not in stack.group(1),
        "text relocations": "TEXTREL" not in dynamic,
        "a search path outside its own folder": not re.search(r"\((?:RPATH|RUNPATH)\)(?!.*\[\$ORIGIN[:\]])", dynamic),
    }
    for problem, is_fine in checks.items():
        if not is_fine:
            print(f"{library}: {problem}")
    return 0 if all(checks.values()) else 1


def main(arguments):
    if arguments[0] == "exports":
        return same("exports", exported(arguments[1]), listed(arguments[2]))
    if arguments[0] == "needed":
        return same("needed", needed(arguments[1]), listed(arguments[2]))
    return hardened(arguments[1])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
