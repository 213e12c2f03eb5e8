"""Runs the program under test with a catalog of its own and the providers of the build."""
import json
import os
import signal
import subprocess


class Answer:
    """What one run answered. `json` is None where the output is no JSON document."""

    def __init__(self, code, out, err):
        self.code, self.out, self.err = code, out, err
        try:
            self.json = json.loads(out)
        except ValueError:
            self.json = None

    def __str__(self):
        return f"exit {self.code}\n{self.out}{self.err}"


class Tarnctl:
    def __init__(self, build, catalog, extra_environment=None):
        self.program = os.path.join(os.path.abspath(build), "bin/tarnctl")
        self.catalog = catalog
        self._providers = os.path.join(os.path.abspath(build), "lib")
        self._extra = dict(extra_environment or {})

    def environment(self, **more):
        kept = {name: value for name, value in os.environ.items() if not name.startswith(("TARNFI_", "ZFI_"))}
        kept.update(TARNFI_CATALOG=self.catalog, TARNFI_PROVIDER_PATH=self._providers, LC_ALL="C.UTF-8")
        return kept | self._extra | more

    def start(self, *words, environment=None, **options):
        """Starts it with standard output and error captured, as the leader of a session of its own."""
        return subprocess.Popen([self.program, *words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, env=self.environment(**(environment or {})),
                                start_new_session=True, **options)

    def run(self, *words, environment=None, seconds=60, **options):
        return finish(self.start(*words, environment=environment, **options), seconds)

    def json(self, *words, **options):
        return self.run("--json", *words, **options)


def finish(process, seconds=60):
    """Waits for a started run. One that hangs gets an interruption, then a kill, and is an error."""
    try:
        out, err = process.communicate(timeout=seconds)
    except subprocess.TimeoutExpired:
        process.send_signal(signal.SIGINT)
        try:
            out, err = process.communicate(timeout=20)
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
        raise AssertionError(f"tarnctl hung: {out!r} {err!r}") from None
    except BaseException:  # an interruption of ours: it is in a session of its own and has heard nothing
        process.send_signal(signal.SIGINT)
        try:
            process.communicate(timeout=20)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
        raise
    return Answer(process.returncode, out.decode(errors="surrogateescape"), err.decode(errors="surrogateescape"))
