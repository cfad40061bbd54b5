"""A second program, which waits for its turn while the job of another meets a fault."""

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
    """ftpctl, with its clock as fast as the daemon's. On a busy machine that is too fast to be sure of what it sees: told
    that its outcome is not known, it runs the command again."""

    def __init__(self, rig, preloads):
        self._rig = rig
        faketime = [path for path in preloads["LD_PRELOAD"].split(":") if FASTER_CLOCK in path]
        self._clock = {"LD_PRELOAD": faketime[0], "FAKETIME": preloads["FAKETIME"]}
        self._server = ScriptedServer(files={"second": CONTENT}, port=PORT)
        self._target = rig.local / "second"
        self.wrong = None

    @contextlib.contextmanager
    def waiting(self):
        """The block has the turn. Afterwards `wrong` tells what was wrong with the second's own job, or is None."""
        self._target.unlink(missing_ok=True)
        with turns.Turn():
            process = self._start()
            turns.wait_for_line(1)
            yield
            heard = self._heard()
        self.wrong = self._wrong(process)
        # What it caused must not be taken for the next job's: each of its jobs is announced.
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
