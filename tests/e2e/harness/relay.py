"""A TCP relay that replaces a server by another or makes the line slow."""

import socket
import threading
import time

from .listener import Listener

PIECE = 16384


class Relay(Listener):
    """Relays the first connection to the first port, and so on; all further ones to the last.

    up_bytes_per_s: rate limit for the client's bytes; 0 = none.
    hold_s: how long a connection waits for its target.
    delay_s: delay of each piece, in both directions.
    stops: {number of a connection, from 1: bytes of the client after which it goes dead}.
    """

    def __init__(self, port, *targets, up_bytes_per_s=0, hold_s=0, delay_s=0, stops=None):
        self.connections = 0
        self._targets = targets
        self._hold_s = hold_s
        self._delay_s = delay_s
        self._stops = stops or {}
        self._pause_s = PIECE / up_bytes_per_s if up_bytes_per_s else 0
        super().__init__(port)

    def take(self, outer):
        target = self._targets[min(self.connections, len(self._targets) - 1)]
        self.connections += 1
        most = self._stops.get(self.connections)
        time.sleep(self._hold_s)
        inner = socket.create_connection(("127.0.0.1", target))
        for ends in ((outer, inner, self._pause_s, most), (inner, outer, 0, None)):
            threading.Thread(target=self._pump, args=(self._delay_s, *ends), daemon=True).start()

    @staticmethod
    def _pump(delay_s, source, target, pause_s, most):
        taken = 0
        try:
            while piece := source.recv(PIECE):
                time.sleep(delay_s)
                target.sendall(piece)
                time.sleep(pause_s)
                taken += len(piece)
                if most is not None and taken >= most:
                    return
        except OSError:
            pass
        try:
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass
