"""The device's network manager: receives notices and keeps them as raw bytes."""

import os
import socket

from .listener import Listener
from .waiting import DEADLINE_S, wait_until
from .wire import Notice

SOCKET = "/var/run/marlox_nm.sock"


class NetworkManager(Listener):
    """Listens until stopped. hang_up = closes every connection at once without reading."""

    def __init__(self, hang_up=False):
        self.notices = []
        self.connections = 0
        self._hang_up = hang_up
        server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        server.bind(SOCKET)
        server.listen(16)
        self.listen(server)

    def take(self, connection):
        with connection:
            self.connections += 1
            if self._hang_up:
                return
            raw = b""
            while piece := connection.recv(4096):
                raw += piece
            self.notices.append(Notice(raw))

    def stop(self):
        super().stop()
        os.unlink(SOCKET)

    @property
    def codes(self):
        return [notice.code for notice in self.notices]

    def of_code(self, code):
        return [notice for notice in self.notices if notice.code == code]

    def wait_for(self, code, times=1, deadline_s=DEADLINE_S):
        """Waits for that many notices with the code; returns the latest."""
        wait_until(lambda: len(self.of_code(code)) >= times, f"{times} x notice {code}", deadline_s)
        return self.of_code(code)[-1]


class DeafNetworkManager:
    """Listens but never accepts, and its queue is full: a further connect would wait."""

    def __init__(self):
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.bind(SOCKET)
        self._socket.listen(0)
        self._waiting = []
        while True:
            caller = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            caller.setblocking(False)
            self._waiting.append(caller)
            try:
                caller.connect(SOCKET)
            except BlockingIOError:
                return
