"""The daemon's log and console, which must always be read: otherwise the daemon blocks."""

import os
import re
import select
import socket
import threading
from typing import NamedTuple

from .waiting import DEADLINE_S, wait_until

LOG_SOCKET = "/dev/log"
CONSOLE = "/dev/console"
IDENT = "libftp_clientd_if"
MARK = b"read until here"
LINE = re.compile(r"<(\d+)>(?:\S+ +\d+ [\d:]+ )?([^\[:]+)\[(\d+)\]: (.*)", re.DOTALL)


class LogLine(NamedTuple):
    priority: int  # facility and severity
    ident: str
    pid: int
    text: str  # with its newline


class LogReader:
    """Owns /dev/log and keeps the daemon's lines (servers log there as well)."""

    def __init__(self):
        self.lines = []
        self.grown = threading.Event()
        self._marks = 0
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 8 << 20)
        self._socket.bind(LOG_SOCKET)
        os.chmod(LOG_SOCKET, 0o666)
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        while True:
            raw = self._socket.recv(65536)
            if raw == MARK:
                self._marks += 1
                continue
            found = LINE.fullmatch(raw.decode("utf-8", "backslashreplace").rstrip("\0"))
            if found and found[2] == IDENT:
                self.lines.append(LogLine(int(found[1]), found[2], int(found[3]), found[4]))
                self.grown.set()

    @property
    def texts(self):
        """Reads everything logged until now; lines wait in the socket until then."""
        due = self._marks + 1
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as marker:
            marker.sendto(MARK, self._socket.getsockname())
        wait_until(lambda: self._marks >= due, "the log read up to now")
        return [line.text for line in self.lines]

    def errors(self):
        return [text for text in self.texts if text.startswith("error: ")]

    def count(self, pattern):
        return sum(1 for text in self.texts if re.search(pattern, text))

    def wait_for(self, pattern, times=1, deadline_s=DEADLINE_S):
        """Waits for that many lines that match the pattern; returns the first."""

        def found():
            lines = [line for line in list(self.lines) if re.search(pattern, line.text)]
            return lines[0] if len(lines) >= times else None

        return wait_until(found, f"{times} x {pattern!r} in the log", deadline_s)


class ConsoleReader:
    """Reads the FIFO that replaces the console."""

    def __init__(self):
        self.data = b""
        # Read-write, so that there is always a reader and a writer, even when the daemon closes it.
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
        wait_until(
            lambda: not select.select([self._fd], [], [], 0)[0], "the console read to its end"
        )
