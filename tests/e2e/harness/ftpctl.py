"""The command-line client of the build under test."""

import json
import os
import pathlib
import subprocess
from typing import NamedTuple

from . import processes
from .daemon import program


class Outcome(NamedTuple):
    status: int
    out: str
    err: str

    @property
    def json(self):
        return json.loads(self.out)


def command():
    """As for the daemon, with an emulator before the path if needed. Built in the daemon's folder, installed in bin/."""
    *emulator, daemon = program()
    folder = pathlib.Path(daemon).parent
    found = [path for path in (folder / "ftpctl", folder.parent / "bin/ftpctl") if path.exists()]
    assert found, "not built: ftpctl"
    return [*emulator, str(found[0])]


def environment(**variables):
    """With alice's password."""
    return os.environ | {"FTPCTL_PASSWORD": "secret"} | variables


def run(*words, **variables):
    done = subprocess.run(
        [*command(), *map(str, words)], env=environment(**variables), stdin=subprocess.DEVNULL, capture_output=True, text=True
    )
    return Outcome(done.returncode, done.stdout, done.stderr)


def start(*words, wrapper=(), **options):
    """Starts it; the test's end kills it. wrapper: a command to run it under."""
    return processes.spawn(
        [*wrapper, *command(), *map(str, words)],
        env=environment(),
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        **options,
    )
