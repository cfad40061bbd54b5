"""The queue of uploads that belongs to the daemon under test, on a spool in the world."""

import json
import os
import pathlib
import signal
import subprocess

from . import ftpctl, processes
from .daemon import WORLD
from .ftpctl import Outcome
from .waiting import DEADLINE_S, wait_until

SPOOL = WORLD / "spool"
DATABASE = SPOOL / "spool.db"
ALICE = "ftp://alice@127.0.0.1/"


def command():
    """Like ftpctl.command(). A build without SQLite has no ftpspool; then the test is skipped."""
    *emulator, client = ftpctl.command()
    path = pathlib.Path(client).with_name("ftpspool")
    if not path.exists():
        import pytest  # imported only here, because not only tests use the queue

        pytest.skip("not built: ftpspool")
    return [*emulator, str(path), "--spool", str(SPOOL)]


def environment(**variables):
    """LeakSanitizer does not work under a tracer."""
    return os.environ | {"ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0"} | variables


def run_command(words):
    done = subprocess.run(words, env=environment(), stdin=subprocess.DEVNULL, capture_output=True, text=True)
    return Outcome(done.returncode, done.stdout, done.stderr)


def run(*words, wrapper=()):
    return run_command([*wrapper, *command(), *map(str, words)])


def password():
    """The path of alice's password file."""
    path = WORLD / "password"
    path.write_text("secret\n")
    path.chmod(0o600)
    return path


def add(local, url=ALICE, *options):
    """Queues a file for alice's home or another place; returns the entry's id."""
    login = ("--password-file", password()) if "alice@" in url else ()
    outcome = run("add", local, url, *login, *options)
    assert outcome.status == 0, outcome
    return int(outcome.out)


def watch(folder, url=ALICE, *options):
    """Watches a folder; returns the watch's id."""
    login = ("--password-file", password()) if "alice@" in url else ()
    outcome = run("watch", folder, url, *login, *options)
    assert outcome.status == 0, outcome
    return int(outcome.out)


def entry(number):
    return run("show", "--json", number).json


def entries():
    return [json.loads(line) for line in run("list", "--json").out.splitlines()]


def states():
    return [one["state"] for one in entries()]


def wait_for(state, *numbers, deadline_s=DEADLINE_S):
    """Waits until these entries, or all, are in that state."""
    wanted = lambda: [one for one in entries() if not numbers or one["id"] in numbers]
    wait_until(
        lambda: all(one["state"] == state for one in wanted()), f"{state}: {[one for one in wanted()]}", deadline_s
    )


class Service:
    """`ftpspool run`; the test's end ends it."""

    def __init__(self, *options, wrapper=(), **variables):
        self.start(*options, wrapper=wrapper, **variables)

    def start(self, *options, wrapper=(), **variables):
        self._starts = len(self.events("started"))
        words = [*wrapper, *command(), "run", "--json", "--pause", "200ms", "--longest-pause", "1s", *map(str, options)]
        self._log = (WORLD / "ftpspool.log").open("a")
        self.process = processes.spawn(
            words, env=environment(**variables), stdin=subprocess.DEVNULL, stdout=self._log, stderr=self._log
        )

    def wait_started(self):
        wait_until(lambda: len(self.events("started")) > self._starts, "the start of the service")

    @property
    def pid(self):
        return self.process.pid

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        """The exit status."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(DEADLINE_S)

    @staticmethod
    def said():
        log = WORLD / "ftpspool.log"
        return log.read_text() if log.exists() else ""

    @staticmethod
    def events(name):
        whole = Service.said().rpartition("\n")[0]  # the service may be writing its last line
        lines = [line for line in whole.splitlines() if line.startswith("{")]
        return [event for event in map(json.loads, lines) if event.get("event") == name]  # a failure has none
