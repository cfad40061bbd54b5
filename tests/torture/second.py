"""A second program, which waits for its turn during another's job with a fault."""

import contextlib
import subprocess

import rig as world
from harness import ftpctl, turns, wire
from harness.scripted import ScriptedServer

FASTER_CLOCK = "libfaketimeMT"
PORT = 2101
CONTENT = b"the second one's own"
ENDS_WITHIN_S = 60
UNKNOWN = 10
TRIES = 5


class SecondClient:
    """ftpctl, with its clock as fast as the daemon's. On a busy machine that may be too fast to tell its job from others':
    if the outcome is unknown, the command is run again."""

    def __init__(self, rig, preloads):
        self._rig = rig
        faketime = [path for path in preloads["LD_PRELOAD"].split(":") if FASTER_CLOCK in path]
        self._clock = {"LD_PRELOAD": faketime[0], "FAKETIME": preloads["FAKETIME"]}
        self._server = ScriptedServer(files={"second": CONTENT}, port=PORT)
        self._target = rig.local / "second"
        self.wrong = None

    @contextlib.contextmanager
    def waiting(self):
        """The with block has the turn. Afterwards `wrong` says what was wrong with the second program's job, or is None."""
        self._target.unlink(missing_ok=True)
        with turns.Turn():
            process = self._start()
            turns.wait_for_line(1)
            yield
            heard = self._heard()
        self.wrong = self._wrong(process)
        # Waits for the notices of all its jobs, which must not be mistaken for the next job's.
        world.settled(lambda: self._heard() >= heard + len(self._server.sessions))
        del self._server.sessions[:]

    def _heard(self):
        whole = [notice for notice in self._rig.manager.notices if notice.raw]  # nothing could be sent over some
        return sum(notice.code == wire.NOTICE_DOWNLOAD for notice in whole)

    def _start(self):
        words = ["--quiet", "get", f"ftp://alice@127.0.0.1:{PORT}/second", self._target]
        return subprocess.Popen(
            [*ftpctl.command(), *words],
            env=ftpctl.environment(**self._clock),
            stdin=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            text=True,
        )

    def _wrong(self, process):
        for tries_left in reversed(range(TRIES)):
            try:
                _, err = process.communicate(timeout=ENDS_WITHIN_S)
            except subprocess.TimeoutExpired:
                process.kill()
                process.communicate()
                return "a second program waits for ever"
            if process.returncode != UNKNOWN or not tries_left:
                break
            process = self._start()
        if process.returncode != 0:
            return f"a second program ended with {process.returncode}: {err.strip()}"
        return None if self._target.read_bytes() == CONTENT else "a second program's file is not its own"
