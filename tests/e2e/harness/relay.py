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
    taken: {number of a connection: bytes of the client so far}.
    """

    def __init__(self, port, *targets, up_bytes_per_s=0, hold_s=0, delay_s=0, stops=None):
        self.connections = 0
        self._targets = targets
        self._hold_s = hold_s
        self._delay_s = delay_s
        self.stops = stops or {}
        self.taken = {}
        self._pause_s = PIECE / up_bytes_per_s if up_bytes_per_s else 0
        super().__init__(port)

    def take(self, outer):
        target = self._targets[min(self.connections, len(self._targets) - 1)]
        self.connections += 1
        number = self.connections
        time.sleep(self._hold_s)
        inner = socket.create_connection(("127.0.0.1", target))
        for ends in ((outer, inner, self._pause_s, number), (inner, outer, 0, None)):
            threading.Thread(target=self._pump, args=ends, daemon=True).start()

    def _pump(self, source, target, pause_s, number):
        """number: that of the connection, in the client's direction only."""
        taken, most = 0, self.stops.get(number)
        try:
            while piece := source.recv(PIECE):
                time.sleep(self._delay_s)
                target.sendall(piece)
                time.sleep(pause_s)
                taken += len(piece)
                if number is not None:
                    self.taken[number] = taken
                if most is not None and taken >= most:
                    return
        except OSError:
            pass
        try:
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass
