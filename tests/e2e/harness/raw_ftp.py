"""An FTP client that sends bytes unchanged, to see what the server itself does with a name."""

import re
import socket

from . import names


class RawFtp:
    """Logged in. If the server refuses, its methods return False and do not raise."""

    def __init__(self, port=21, user=b"alice", password=b"secret"):
        self._control = socket.create_connection(("127.0.0.1", port), 10)
        self._incoming = self._control.makefile("rb")
        self._reply()
        self.ask(b"USER " + user)
        assert self.ask(b"PASS " + password) == 230

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._incoming.close()
        self._control.close()

    def _reply(self):
        line = self._incoming.readline()
        while line and not re.match(rb"\d\d\d ", line):
            line = self._incoming.readline()
        self.text = line
        return int(line[:3] or b"0")

    def ask(self, command):
        self._control.sendall(command + b"\r\n")
        return self._reply()

    def _transfer(self, command, content=None):
        """The received data, or b"" after sending content; None if the server refused."""
        if self.ask(b"PASV") != 227:
            return None
        *_, high, low = re.search(rb"(\d+,){5}\d+", self.text)[0].split(b",")
        with socket.create_connection(("127.0.0.1", int(high) * 256 + int(low)), 10) as data:
            if self.ask(command) // 100 != 1:
                return None
            received = b""
            if content is None:
                while piece := data.recv(65536):
                    received += piece
            else:
                data.sendall(content)
        return received if self._reply() == 226 else None

    def go(self, path, make=False):
        """Enters the path's folder segment by segment; returns the last segment, None if the folder cannot be entered."""
        way, last = names.ftp_way(path)
        for segment in way:
            if self.ask(b"CWD " + segment) != 250:
                if not make or self.ask(b"MKD " + segment) != 257 or self.ask(b"CWD " + segment) != 250:
                    return None
        return last

    def fetch(self, path):
        self.ask(b"TYPE I")
        last = self.go(path)
        return self._transfer(b"RETR " + last) if last else None

    def store(self, path, content):
        self.ask(b"TYPE I")
        last = self.go(path, make=True)
        return bool(last) and self._transfer(b"STOR " + last, content) is not None

    def lists(self, path, size):
        """True if the folder's listing has a line that ends with that name and has that size in its fifth column."""
        last = self.go(path)
        lines = (self._transfer(b"LIST") or b"").split(b"\r\n") if last else []
        named = [line.split() for line in lines if line.endswith(b" " + last)]
        return any(len(columns) > 4 and columns[4] == b"%d" % size for columns in named)
