"""The device's network manager: receives notices and keeps them as raw bytes."""

import os
import socket
import threading

from .waiting import DEADLINE_S, wait_until
from .wire import Notice

SOCKET = "/var/run/marlox_nm.sock"


class NetworkManager:
    """Listens until stopped. hang_up = closes every connection at once without reading."""

    def __init__(self, hang_up=False):
        self.notices = []
        self.connections = 0
        self._hang_up = hang_up
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.bind(SOCKET)
        self._socket.listen(16)
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                connection, _ = self._socket.accept()
            except OSError:
                return
            with connection:
                self.connections += 1
                if not self._hang_up:
                    self._take(connection)

    def _take(self, connection):
        raw = b""
        while piece := connection.recv(4096):
            raw += piece
        self.notices.append(Notice(raw))

    def stop(self):
        self._socket.shutdown(socket.SHUT_RDWR)
        self._socket.close()
        os.unlink(SOCKET)

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
