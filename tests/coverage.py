#!/usr/bin/env python3
"""Lines and branches of the product that the unit and contract tests reach, room by room: ./dev coverage.

coverage.py BUILD [--again] [--missing]   --again: only the report, from the last run's counters;
                                          --missing: the lines and branches that nothing reached

Fails below the aims, and when a test fails. The counters of a library are written when it is unloaded and merged into
one file for each binary, so that a plug-in that is loaded a thousand times counts a thousand times.
"""
import argparse
import collections
import glob
import json
import os
import re
import shutil
import subprocess
import sys

ROOMS = ["providers/tarn", "pdk", "util", "providers/device/scsitool"]
LINES, BRANCHES = 95.0, 85.0  # percent, in each room
# Only for tests, though they do not say so in their names.
TEST_ONLY = re.compile(r"(_test\.cpp|_testing\.h|_actor\.cpp|/(trace_capture|trace_output_capture|modelled_host|private_host|"
                       r"scripted_disks|child)\.(h|cpp))$")
LIBRARIES = ["lib/libtarnfi.so", "lib/libznfi.so"]
PROGRAMS = ["tarn_test", "znfi_test", "znfi_exec_test", "znfi_exec_pipe_test", "scsitool_test", "z_strings_test",
            "contract_pdk", "contract_frame", "contract_building_blocks"]


def run_tests(build, folder):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    environment = dict(os.environ, LLVM_PROFILE_FILE=os.path.join(folder, "%m.profraw"))
    # Instrumentation adds names of its own to the exported ones: that list belongs to the other builds.
    command = ["ctest", "--test-dir", build, "-L", "unit|contract", "-E", "^z_strings_exports$", "-j2", "--timeout", "300", "--quiet",
               "--output-on-failure", "--output-log", os.path.join(folder, "tests.log")]
    failed = subprocess.run(command, env=environment, check=False).returncode != 0
    with open(os.path.join(folder, "tests.log"), encoding="utf-8", errors="replace") as log:
        print(log.read()[-3000:] if failed else [line for line in log if "tests passed" in line][0].strip())
    return not failed


def export(build, folder, *options):
    data = os.path.join(folder, "all.profdata")
    objects = [os.path.join(build, name) for name in LIBRARIES + [os.path.join("tests", name) for name in PROGRAMS]]
    objects = [name for name in objects if os.path.exists(name)]
    command = ["llvm-cov", "export", *options, "-instr-profile", data, objects[0]]
    for name in objects[1:]:
        command += ["-object", name]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def room_of(root, path):
    relative = os.path.relpath(path, root)
    if TEST_ONLY.search("/" + relative):
        return None, relative
    rooms = [room for room in ROOMS if relative.startswith(room + "/")]
    return (rooms[0] if rooms else None), relative


def report(root, build, folder):
    counts = {room: collections.Counter() for room in ROOMS}
    for file in json.loads(export(build, folder, "-summary-only"))["data"][0]["files"]:
        room, _ = room_of(root, file["filename"])
        if room:
            for kind in ("lines", "branches"):
                counts[room][kind] += file["summary"][kind]["count"]
                counts[room][kind + " reached"] += file["summary"][kind]["covered"]
    good = True
    print("| room | lines | reached | branches | reached |\n| --- | ---: | ---: | ---: | ---: |")
    for room, count in counts.items():
        shares = [100.0 * count[kind + " reached"] / max(count[kind], 1) for kind in ("lines", "branches")]
        print(f"| `{room}` | {count['lines']:,} | {shares[0]:.1f} % | {count['branches']:,} | {shares[1]:.1f} % |")
        good = good and count["lines"] > 0 and shares[0] >= LINES and shares[1] >= BRANCHES
    return good


def missing(root, build, folder):
    """What was not reached, from the report in lcov's form: DA:line,times and BRDA:line,block,branch,times."""
    path, lines, branches = None, [], collections.Counter()
    for record in export(build, folder, "-format=lcov").splitlines():
        key, _, value = record.partition(":")
        if key == "SF":
            path, lines, branches = value, [], collections.Counter()
        elif key == "DA" and value.split(",")[1] == "0":
            lines.append(value.split(",")[0])
        elif key == "BRDA" and value.split(",")[3] in ("0", "-"):
            branches[value.split(",")[0]] += 1
        elif record == "end_of_record" and (lines or branches):
            room, relative = room_of(root, path)
            if room:
                print(f"{relative}\n    lines    {' '.join(lines)}\n    branches "
                      f"{' '.join(f'{line}x{count}' for line, count in branches.items())}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--missing", action="store_true")
    options = parser.parse_args()
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    build = os.path.abspath(options.build)
    folder = os.path.join(build, "counters")
    passed = options.again or run_tests(build, folder)
    counters = glob.glob(os.path.join(folder, "*.profraw"))
    if not counters:
        sys.exit("coverage: no counters were written")
    subprocess.run(["llvm-profdata", "merge", "-sparse", "-o", os.path.join(folder, "all.profdata"), *counters],
                   check=True)
    if options.missing:
        missing(root, build, folder)
    good = report(root, build, folder)
    if not good:
        print(f"coverage: a room is below {LINES:g} % of lines or {BRANCHES:g} % of branches", file=sys.stderr)
    sys.exit(0 if good and passed else 1)


if __name__ == "__main__":
    main()
