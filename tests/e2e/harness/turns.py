"""The turns that programs take at the daemon (docs/protocol.md), and programs that take none."""

import fcntl
import os
import threading

from . import client
from .waiting import DEADLINE_S, wait_until

FILE = client.CONTROL_SOCKET + ".turn"


class Turn:
    """The turn, held by the test in a with statement. Waits for it like any program."""

    def __enter__(self):
        self._fd = os.open(FILE, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o666)
        wait_until(self._try, "the turn")
        return self

    def __exit__(self, *_):
        os.close(self._fd)

    def _try(self):
        try:
            fcntl.flock(self._fd, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        return True


def is_free():
    with open(FILE, "rb") as file:
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        return True


def waiting():
    """The number of programs in the queue."""
    if not os.path.exists(FILE):
        return 0
    found = os.stat(FILE)
    name = f"{os.major(found.st_dev):02x}:{os.minor(found.st_dev):02x}:{found.st_ino}"
    with open("/proc/locks") as locks:  # of the whole machine
        fields = [line.split() for line in locks]
    return sum(name in each and "OFDLCK" in each for each in fields)


def wait_for_line(count, deadline_s=DEADLINE_S):
    """Waits until that many programs wait."""
    wait_until(lambda: waiting() >= count, f"{count} programs in the line", deadline_s)


class Stranger:
    """A program that takes no turns: repeats an action during a with statement.

    `said` counts the replies. pause_s: between two actions; 0 = as fast as possible."""

    def __init__(self, action, pause_s=0.0):
        self._action, self._pause_s = action, pause_s
        self._stop = threading.Event()
        self.said = {}
        self._thread = threading.Thread(target=self._repeat, daemon=True)

    def __enter__(self):
        self._thread.start()
        wait_until(lambda: self.said, "a first answer to a stranger")
        return self

    def __exit__(self, *_):
        self._stop.set()
        self._thread.join()

    def _repeat(self):
        while not self._stop.is_set():
            answer = self._action()
            self.said[answer] = self.said.get(answer, 0) + 1
            self._stop.wait(self._pause_s)
