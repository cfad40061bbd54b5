"""A client of the control socket, written from the byte tables only."""

import socket
import struct
import time

from . import wire
from .waiting import DEADLINE_S, POLL_S

CONTROL_SOCKET = "/var/run/ftp.sock"


def connect(deadline_s=DEADLINE_S):
    """Connects to the control socket as soon as somebody listens there."""
    end = time.monotonic() + deadline_s
    while True:
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        connection.settimeout(deadline_s)
        try:
            connection.connect(CONTROL_SOCKET)
            return connection
        except OSError:
            connection.close()
            if time.monotonic() > end:
                raise
            time.sleep(POLL_S)


def read_to_end(connection):
    """All that the daemon sends until it closes."""
    received = b""
    while True:
        try:
            piece = connection.recv(65536)
        except ConnectionResetError:  # it closed with unread bytes
            return received
        if not piece:
            return received
        received += piece


def head(command, length):
    return struct.pack("<2I", command, length)


def ask_raw(data, shut=False):
    """Sends the bytes and returns everything received; shut = closes the sending side."""
    with connect() as connection:
        connection.sendall(data)
        if shut:
            connection.shutdown(socket.SHUT_WR)
        return read_to_end(connection)


def ask(command, body=b""):
    """The reply's body; its head must have the command and the body's length."""
    reply = ask_raw(head(command, len(body)) + body)
    assert reply[:8] == head(command, len(reply) - 8), reply
    return reply[8:]


def start(command, **fields):
    """(result, detail) of command 1, 2 or 5."""
    return struct.unpack("<2I", ask(command, wire.request(**fields)))


def download(remote_path, local_path, **fields):
    return start(wire.DOWNLOAD, remote_path=remote_path, local_path=local_path, **fields)


def upload(local_path, remote_path, **fields):
    return start(wire.UPLOAD, remote_path=remote_path, local_path=local_path, **fields)


def file_info(remote_path, **fields):
    return start(wire.DL_FILE_INFO, remote_path=remote_path, **fields)


def nothing():
    """(result, detail) of command 0."""
    return struct.unpack("<2I", ask(wire.NONE))


def state():
    return wire.State.of(ask(wire.GET_STATE))


def cancel():
    """(result, detail, kind of job)"""
    return struct.unpack("<3I", ask(wire.CANCEL))


def get_file_info():
    return wire.FileInfo.of(ask(wire.GET_FILE_INFO))
