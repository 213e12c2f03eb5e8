#!/usr/bin/env python3
"""fuser_link.py CMAKE BUILD: the install step provides /sbin/fuser below DESTDIR, where the system or this
step alone is installed, and leaves alone what is there."""
import os
import subprocess
import sys
import tempfile


def install(cmake, build, root):
    subprocess.run([cmake, "--install", build, "--component", "fuser"], check=True, stdout=subprocess.DEVNULL,
                   env=os.environ | {"DESTDIR": root})


def runs_below(cmake, root, prefix):
    """The step as it is part of an installation under this prefix."""
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "fuser_link.cmake")
    subprocess.run([cmake, f"-DCMAKE_INSTALL_PREFIX={prefix}", "-P", script], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, env=os.environ | {"DESTDIR": root})


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
        os.unlink(link)
        runs_below(cmake, root, "/home/somebody/tarnfi")
        assert not os.path.lexists(link), "an installation into a folder of one's own changed the system's folders"
        for prefix in ("/usr", "/usr/local"):
            runs_below(cmake, root, prefix)
            assert os.readlink(link) == "/usr/bin/fuser"
            os.unlink(link)
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
