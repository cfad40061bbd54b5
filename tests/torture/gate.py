"""A relay before a real server that changes one piece of what the server sends, and the jobs through it."""

import os
import signal
import socket
import struct
import threading

import rig as world
from harness import client, wire
from harness.sftp import HostKey, Sshd
from harness.tls import Certificate, VsftpdTls
from harness.vsftpd import Vsftpd

BIG = 64 << 20
PORT = 2100
PROTOCOLS = ("ftp", "ftps", "explicit", "sftp")
JOBS = {"download": 1, "upload": 2, "info": 3}
ROWS = [f"{protocol}-{job}" for protocol in PROTOCOLS for job in JOBS]


class Gate:
    """A relay on `port` to a real server on `target`."""

    def __init__(self, port, target):
        self.passed = self.number = 0
        self.act = None
        self.reached = threading.Event()
        self._port, self._target = port, target
        self._sockets = []
        self.stands_still = False
        self._lock = threading.Lock()
        self._listener = None

    def open(self, number=None, act=None):
        """act(piece): replaces the server's piece of that number, from 0; None = drops it and ends its
        connection. Once `stands_still` is set, nothing passes any more and no connection ends."""
        self.close()
        self.passed, self.number, self.act = 0, number, act
        self.stands_still = False
        self.reached.clear()
        self._listener = socket.create_server(("127.0.0.1", self._port))
        threading.Thread(target=self._serve, args=(self._listener,), daemon=True).start()

    def close(self):
        with self._lock:
            if self._listener:
                self._listener.shutdown(socket.SHUT_RDWR)
                self._listener.close()
            self._listener = None
            for each in self._sockets:
                each.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                each.close()
            self._sockets = []

    def _serve(self, listener):
        while True:
            try:
                outer, _ = listener.accept()
                inner = socket.create_connection(("127.0.0.1", self._target))
            except OSError:
                return
            with self._lock:
                self._sockets += [outer, inner]
            for ends in ((outer, inner, False), (inner, outer, True)):
                threading.Thread(target=self._pump, args=ends, daemon=True).start()

    def _pump(self, source, target, is_servers):
        try:
            while piece := source.recv(65536):
                if is_servers:
                    piece = self._acted_on(piece)
                if self.stands_still:
                    return
                if piece is None:
                    break
                target.sendall(piece)
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass

    def _acted_on(self, piece):
        with self._lock:
            due = self.number is not None and self.passed == self.number
            self.passed += 1
        if not due:
            return piece
        piece = self.act(piece)
        self.reached.set()
        return piece


def children_of(pid):
    found = [pid]
    for each in found:
        try:
            with open(f"/proc/{each}/task/{each}/children") as file:
                found += [int(child) for child in file.read().split()]
        except OSError:
            pass
    return found


class Sessions:
    """A server's processes for its connections, without the one that accepts them."""

    def __init__(self, process):
        self._pid = process.pid

    def freeze(self):
        self._signal(signal.SIGSTOP)

    def kill(self):
        self._signal(signal.SIGKILL)

    def _signal(self, number):
        for pid in children_of(self._pid)[1:]:
            try:
                os.kill(pid, number)
            except ProcessLookupError:
                pass


def server_of(protocol):
    """(the server, its port, fields of requests)"""
    if protocol == "sftp":
        return Sshd(HostKey(), port=2022), 2022, {"protocol": wire.SFTP}
    if protocol == "ftp":
        return Vsftpd(listen_port=2021), 2021, {}
    kinds = {"ftps": wire.FTPS_IMPLICIT, "explicit": wire.FTPS_EXPLICIT}
    server = VsftpdTls(Certificate(), kinds[protocol])
    # It uses the protocol's port; the relay has another.
    return server, {"ftps": 990, "explicit": 21}[protocol], {"protocol": kinds[protocol]}


class Row:
    """One kind of job over one protocol."""

    def __init__(self, name, rig):
        protocol, self.job = name.split("-")
        self.rig = rig
        server, port, self.fields = server_of(protocol)
        self.sessions = Sessions(server._process)
        self.gate = Gate(PORT, port)
        self.fields |= {"port": PORT}
        world.serve_file("file", bytes(4000))
        (rig.local / "source").write_bytes(b"")
        os.truncate(rig.local / "source", BIG)

    def start(self):
        if self.job == "download":
            return client.download("file", self.rig.local / "target", **self.fields)
        if self.job == "upload":
            return client.upload(self.rig.local / "source", "target", **self.fields)
        return client.file_info("file", **self.fields)

    def count_pieces(self):
        """The result of an undisturbed job."""
        self.gate.open()
        os.truncate(self.rig.local / "source", 1000)
        assert self.start() == (0, 0)
        assert world.settled(lambda: self.rig.manager.notices, 60), "no end"
        assert self.rig.manager.notices[0].outcome == (0, 0), self.rig.manager.notices[0].outcome
        os.truncate(self.rig.local / "source", BIG)
        return self.gate.passed
