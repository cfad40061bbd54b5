"""The base of the tests' own servers."""

import socket
import threading


class Listener:
    """Accepts connections one after the other on its own thread, and calls take(connection) for each."""

    def __init__(self, port, address="127.0.0.1"):
        self.listen(socket.create_server((address, port)))

    def listen(self, listener):
        self._listener = listener
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
