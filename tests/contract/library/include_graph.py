#!/usr/bin/env python3
"""Who may include whom, over every source file of the tree: host and providers meet in pdk/include only.

    include_graph.py ROOT
"""
import os
import re
import sys

# room: the rooms it may include, besides itself. The longest matching room of a path counts.
MAY_INCLUDE = {
    "util": set(),
    "pdk/include": set(),
    "pdk/runtime": {"pdk/include"},
    "providers/device/scsitool": {"pdk/include"},
    "providers/tarn": {"pdk/include", "util", "providers/device/scsitool"},
    "providers": {"pdk/include", "util"},
    "host": {"pdk/include"},
}
C_HEADERS = {"zfi_types.h", "znfi.h", "zfi_entry_points.h"}
STANDARD_C = {f"{name}.h" for name in (
    "assert complex ctype errno fenv float inttypes iso646 limits locale math setjmp signal stdalign stdarg stdatomic "
    "stdbool stddef stdint stdio stdlib stdnoreturn string tgmath threads time uchar wchar wctype").split()}
SOURCE = re.compile(r"\.(c|cpp|h|def|inc)$")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
MACRO_INCLUDE = re.compile(r'^\s*#\s*include\s*[^<"\s]', re.MULTILINE)


def sources(root):
    for top in ("util", "pdk", "providers", "host"):
        for folder, _, files in os.walk(os.path.join(root, top)):
            for name in files:
                if SOURCE.search(name):
                    yield os.path.relpath(os.path.join(folder, name), root)


def room_of(path):
    rooms = [room for room in MAY_INCLUDE if path.startswith(room + "/")]
    if "providers" in rooms and len(rooms) == 1:
        return "/".join(path.split("/")[:2])  # each provider is a room of its own
    return max(rooms, key=len) if rooms else None


def allowed(room):
    return MAY_INCLUDE.get(room, MAY_INCLUDE["providers"])


def targets(path, name, files):
    """Every file of the tree that the compiler could take for this include."""
    beside = os.path.normpath(os.path.join(os.path.dirname(path), name))
    if beside in files:
        return [beside]
    return [file for file in files if file == name or file.endswith("/" + name)]


def faults_of(path, text, files):
    room = room_of(path)
    for bracket, name in INCLUDE.findall(text):
        if os.path.basename(path) in C_HEADERS and room == "pdk/include":
            if name not in (STANDARD_C if bracket == "<" else C_HEADERS):
                yield f"{path} includes {name}: only C standard headers and the other C headers may be"
            continue
        found = targets(path, name, files)
        rooms = {room_of(file) for file in found}
        if found and not any(other == room or other in allowed(room) for other in rooms):
            yield f"{path} ({room}) includes {name} of {', '.join(sorted(rooms))}"
        if bracket == '"' and not found:
            yield f"{path} includes \"{name}\", which is not in the tree"
    if MACRO_INCLUDE.search(text):
        yield f"{path} includes by macro: nobody can follow that"


def main(root):
    files = sorted(sources(root))
    faults = []
    for path in files:
        with open(os.path.join(root, path), encoding="utf-8") as file:
            faults += faults_of(path, file.read(), set(files))
    for fault in faults:
        print(fault)
    print(f"{len(files)} files, {len(faults)} faults")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
