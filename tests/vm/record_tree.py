#!/usr/bin/env python3
"""record_tree.py COMMENT: prints what the discovery of SCSI disks can see of this machine's /sys, in the form of
providers/device/scsitool/trees. Runs in the guest, from record_*.sh. Device numbers are left out: the nodes of a
laid-out tree are plain files."""
import os
import sys

_SYS = "/sys"
_DEVICE_ATTRIBUTES = ("type", "vendor", "model", "rev", "state", "wwid")


def read(path):
    """One line; None where it cannot be read, as with the identification of a disk without one."""
    try:
        with open(os.path.join(_SYS, path), encoding="utf-8", errors="replace") as file:
            return file.read().strip()
    except OSError:
        return None


def entries(path):
    try:
        return sorted(os.listdir(os.path.join(_SYS, path)))
    except OSError:
        return []


def attribute(path):
    content = read(path)
    return [] if content is None else [f"f {path} {content}".rstrip()]


def hosts():
    for host in entries("class/scsi_host"):
        yield from attribute(f"class/scsi_host/{host}/proc_name")
        yield f"f class/scsi_host/{host}/scan"


def units():
    for address in entries("class/scsi_device"):
        folder = f"class/scsi_device/{address}/device"
        for name in _DEVICE_ATTRIBUTES:
            yield from attribute(f"{folder}/{name}")
        if read(f"{folder}/access_state") is not None:  # a device handler is asked for it, where there is one
            yield from attribute(f"{folder}/dh_state")
            yield from attribute(f"{folder}/access_state")
        yield f"f {folder}/delete"
        for block in entries(f"{folder}/block"):
            yield from attribute(f"{folder}/block/{block}/size")
            yield from attribute(f"{folder}/block/{block}/queue/logical_block_size")
            yield f"l block/{block}/device ../../{folder}"


def blocks():
    for block in entries("block"):
        if block.startswith("loop"):
            continue
        if not os.path.exists(f"{_SYS}/block/{block}/device/type"):
            yield from attribute(f"block/{block}/size")
        for name in ("dm/name", "dm/uuid"):
            yield from attribute(f"block/{block}/{name}")
        for kind in ("slaves", "holders"):
            others = entries(f"block/{block}/{kind}")
            yield from [f"l block/{block}/{kind}/{other} ../../{other}" for other in others] or [f"d block/{block}/{kind}"]
        yield f"n {block}"


def main(comment):
    print(f"# {comment} Recorded on Linux {os.uname().release}.")
    for part in (hosts(), units(), blocks()):
        for line in part:
            print(line)


if __name__ == "__main__":
    main(*sys.argv[1:])
