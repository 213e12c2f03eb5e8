#!/usr/bin/env python3
"""swept.py PROGRAM [WORDS…]: runs a test program and looks at the machine before and after: loop devices, mounts, guards,
semaphores and the kernel's log. What is new and stays is a failure, whatever the program says."""
import os
import subprocess
import sys
import time

import kernel

_PATIENCE = 3.0  # seconds for what is just going away


def guards():
    found = set()
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/comm", encoding="ascii") as file:
                if file.read() == "tarnctl-guard\n":
                    found.add(pid)
        except OSError:
            continue
    return found


def machine():
    """Everything that a test of ours can leave behind, as lines for people."""
    return ({f"attached: {device} over {file}" for device, file in kernel.loop_devices("tarnfi-").items()}
            | {f"mounted: {mount.source} on {mount.point}" for mount in kernel.mounts() if "tarnfi-" in mount.point}
            | {f"running: guard {pid}" for pid in guards()}
            | {f"there: semaphore set {identity}" for identity in kernel.semaphores()})


def left_since(before):
    deadline = time.monotonic() + _PATIENCE
    while True:
        left = machine() - before
        if not left or time.monotonic() > deadline:
            return left
        time.sleep(0.02)


def main(words):
    if any(word.startswith("--gtest_list") for word in words):
        os.execv(words[0], words)
    log, before = kernel.KernelLog(), machine()
    status = subprocess.run(words, check=False).returncode
    found = [f"left behind: {line}" for line in sorted(left_since(before))] + [f"the kernel says: {line}" for line in log.errors()]
    log.close()
    print("".join(line + "\n" for line in found), end="")
    return 1 if found else status if status >= 0 else 128 - status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
