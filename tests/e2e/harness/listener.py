"""What all servers of the tests' own have in common."""

import socket
import threading


class Listener:
    """Takes TCP connections, one after the other, on a thread of its own: take(connection) treats each."""

    def __init__(self, port, address="127.0.0.1"):
        self._listener = socket.create_server((address, port))
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            self.take(connection)

    def stop(self):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
