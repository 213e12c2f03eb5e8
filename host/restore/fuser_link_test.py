#!/usr/bin/env python3
"""fuser_link.py CMAKE BUILD: the install step provides /sbin/fuser below DESTDIR, and leaves alone what is there."""
import os
import subprocess
import sys
import tempfile


def install(cmake, build, root):
    subprocess.run([cmake, "--install", build, "--component", "fuser"], check=True, stdout=subprocess.DEVNULL,
                   env=os.environ | {"DESTDIR": root})


def main(cmake, build):
    with tempfile.TemporaryDirectory(prefix="tarnfi-test-install-") as root:
        link = root + os.path.realpath("/sbin") + "/fuser"
        for _ in range(2):  # again is harmless
            install(cmake, build, root)
            assert os.readlink(link) == "/usr/bin/fuser", os.readlink(link)
        os.unlink(link)
        with open(link, "w", encoding="ascii") as file:
            file.write("somebody else's")
        install(cmake, build, root)
        with open(link, encoding="ascii") as file:
            assert file.read() == "somebody else's"
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
