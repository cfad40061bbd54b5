"""What the daemon logs and what it writes to the console, read all the time: it blocks when nobody reads."""

import os
import re
import select
import socket
import threading
from typing import NamedTuple

from .waiting import DEADLINE_S, wait_until

LOG_SOCKET = "/dev/log"
CONSOLE = "/dev/console"
LINE = re.compile(r"<(\d+)>(?:\S+ +\d+ [\d:]+ )?([^\[:]+)\[(\d+)\]: (.*)", re.DOTALL)


class LogLine(NamedTuple):
    priority: int  # facility and severity
    ident: str
    pid: int
    text: str  # with its newline


class LogReader:
    """Owns /dev/log."""

    def __init__(self):
        self.lines = []
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 8 << 20)
        self._socket.bind(LOG_SOCKET)
        os.chmod(LOG_SOCKET, 0o666)
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        while True:
            raw = self._socket.recv(65536).decode("utf-8", "backslashreplace").rstrip("\0")
            found = LINE.fullmatch(raw)
            assert found, f"not a line of syslog: {raw!r}"
            self.lines.append(LogLine(int(found[1]), found[2], int(found[3]), found[4]))

    @property
    def texts(self):
        return [line.text for line in self.lines]

    def errors(self):
        return [text for text in self.texts if text.startswith("error: ")]

    def count(self, pattern):
        return sum(1 for text in self.texts if re.search(pattern, text))

    def wait_for(self, pattern, times=1, deadline_s=DEADLINE_S):
        """The first line that holds the pattern, once there are that many."""
        wait_until(lambda: self.count(pattern) >= times, f"{times} x {pattern!r} in the log", deadline_s)
        return next(line for line in self.lines if re.search(pattern, line.text))


class ConsoleReader:
    """Reads the FIFO that stands for the console."""

    def __init__(self):
        self.data = b""
        # Read-write: so there is always a reader, and the daemon's closing is not the end of the file.
        self._fd = os.open(CONSOLE, os.O_RDWR)
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        while True:
            self.data += os.read(self._fd, 65536)

    @property
    def text(self):
        return self.data.decode("utf-8", "backslashreplace")

    def drain(self):
        """Waits until all that was written has been read."""
        wait_until(lambda: not select.select([self._fd], [], [], 0)[0], "the console read to its end")
