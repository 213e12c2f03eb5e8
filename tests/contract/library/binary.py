#!/usr/bin/env python3
"""What the shipped libraries export, need and are hardened with.

    binary.py exports LIBRARY LIST      the exported names are exactly those of LIST
    binary.py needed LIBRARY LIST       so are the libraries it needs
    binary.py hardened FILE             full RELRO, immediate binding, stack protector, CET, fortified calls, no executable
                                        stack, position independent, searched for libraries in absolute folders only
"""
import re
import subprocess
import sys


# What a fortified build does not call in this plain form. Templates of the C++ library still do, through a pointer, so they
# only count where nothing else is fortified either; a file that calls neither has nothing to fortify.
PLAIN_CALL = re.compile(r"\bU (v?(?:s|sn|as|f|d)?w?printf|v?swprintf|v?syslog|longjmp)(?:@|$)", re.MULTILINE)


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
    """Exported functions that do not begin with the landing pad of indirect branch tracking, and such as are not found."""
    functions = {}
    for line in output("nm", "-D", "--defined-only", library).splitlines():
        address, kind, name = line.split(maxsplit=2)
        if kind in "TW":
            functions[int(address, 16)] = name.split("@")[0]
    first = {int(address, 16): instruction for address, instruction in re.findall(
        r"^([0-9a-f]+) <[^\n]*>:\n\s*[0-9a-f]+:\s*(\S+)", output("objdump", "-d", "--no-show-raw-insn", library),
        re.MULTILINE)}
    return sorted(name for address, name in functions.items() if first.get(address) != "endbr64")


def search_path_faults(dynamic):
    """Entries of the library search path that do not begin at the file's own folder or at the root: the loader reads an
    empty or relative one as the current directory of whoever starts the program."""
    entries = [entry for path in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic) for entry in path.split(":")]
    return [entry for entry in entries if not re.match(r"(?:\$ORIGIN|\$\{ORIGIN\})(?:/|$)|/", entry)]


def hardened(file):
    dynamic = output("readelf", "-dW", file)
    segments = output("readelf", "-lW", file)
    undefined = output("nm", "-D", "--undefined-only", file)
    stack = re.search(r"GNU_STACK\s+(?:0x[0-9a-f]+\s+){5}([RWE ]+?)\s+0x", segments)
    fortified = re.findall(r"\bU (__(?!stack_chk_fail)\w+_chk)\b", undefined)
    plain = [] if fortified else PLAIN_CALL.findall(undefined)
    entries = unprotected_entries(file)
    paths = search_path_faults(dynamic)
    checks = {
        "no read-only relocations": "GNU_RELRO" in segments,
        "no immediate binding": bool(re.search(r"BIND_NOW|FLAGS_1.*NOW", dynamic)),
        "no stack protector": "__stack_chk_fail" in undefined,
        # The C library's own start files carry no CET property on Debian 12, so the property of the whole cannot be asked for.
        f"no landing pad in {entries[:5]}": not entries,
        f"calls that are not fortified: {plain}": not plain,
        "an executable stack": stack is not None and "E" not in stack.group(1),
        "text relocations": "TEXTREL" not in dynamic,
        "a fixed address": "Elf file type is DYN" in segments,
        f"a search path that depends on the current directory: {paths}": not paths,
    }
    for problem, is_fine in checks.items():
        if not is_fine:
            print(f"{file}: {problem}")
    return 0 if all(checks.values()) else 1


def main(arguments):
    if arguments[0] == "exports":
        return same("exports", exported(arguments[1]), listed(arguments[2]))
    if arguments[0] == "needed":
        return same("needed", needed(arguments[1]), listed(arguments[2]))
    return hardened(arguments[1])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
