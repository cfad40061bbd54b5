"""A scripted FTP server for what no real one does: stall, reset, lie, fall silent."""

import socket
import struct
import threading
import time
from dataclasses import dataclass, field
from typing import Callable

from .listener import Listener
from .waiting import DEADLINE_S, wait_until

PIECE = 16384


class Silence:
    """Instead of a reply: none, the connection stays open."""


class HangUp:
    """Instead of a reply: the control connection is closed."""


class Reset:
    """Instead of a reply: the control connection is reset."""


def reset(connection):
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def send_all(session, data, content):
    data.sendall(content)


def send_then(action, count, pieces=PIECE):
    """A sender that sends `count` bytes and then: "stall", "close" or "reset"."""

    def send(session, data, content):
        for at in range(0, count, pieces):
            data.sendall(content[at : min(at + pieces, count)])
        finish(session, data, action)

    return send


def send_pieces(size, pause_s=0.0):
    """A sender of small pieces, each in its own packet."""

    def send(session, data, content):
        data.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for at in range(0, len(content), size):
            data.sendall(content[at : at + size])
            if session.server.closing.wait(pause_s):
                return

    return send


def take_all(session, data):
    received = bytearray()
    while piece := data.recv(PIECE):
        received += piece
    return bytes(received)


def take_then(action, count):
    """A receiver that reads about `count` bytes and then: "stall", "close" or "reset"."""

    def take(session, data):
        received = bytearray()
        while len(received) < count and (piece := data.recv(min(PIECE, count - len(received)))):
            received += piece
        finish(session, data, action)
        return bytes(received)

    return take


def take_slowly(bytes_per_s):
    """A receiver that keeps an upload running until the test ends."""

    def take(session, data):
        received = bytearray()
        while piece := data.recv(bytes_per_s // 20):
            received += piece
            if session.server.closing.wait(0.05):
                break
        return bytes(received)

    return take


def finish(session, data, action):
    if action == "stall":
        session.server.stalled.set()
        session.server.closing.wait()
    elif action == "reset":
        reset(data)
    else:
        assert action == "close", action


# For verbs that need nothing else.
USUAL_REPLIES = {
    "USER": "331 password?",
    "PASS": "230 logged in",
    "PWD": '257 "/" it is',
    "CWD": "250 there",
    "MKD": '257 "it" made',
    "QUIT": "221 bye",
}


@dataclass
class Plan:
    """How one control connection is treated; the default is a friendly server with the files."""

    greeting: object = "220 ready"
    # verb: a reply, Silence, HangUp or Reset instead of the usual reply and what follows it
    replies: dict = field(default_factory=dict)
    announced_size: int = None  # the reply to SIZE; otherwise the truth
    opening: str = "150 here it comes"
    send: Callable = send_all
    take: Callable = take_all
    closing: object = "226 done"
    passive_address: str = "127,0,0,1"  # the host in the reply to PASV; the port is true
    listing: bytes = b""


class Session(threading.Thread):
    """One control connection."""

    def __init__(self, server, connection, plan):
        super().__init__(daemon=True)
        self.server = server
        self.plan = plan
        self.commands = []
        self.began = time.monotonic()
        self.reached = connection.getsockname()[0]
        self._control = connection
        self._passive = None
        self._active = None

    def reply(self, text):
        if text is Silence:
            self.server.closing.wait()
        elif text is HangUp:
            self._control.shutdown(socket.SHUT_RDWR)
        elif text is Reset:
            reset(self._control)
        else:
            self._control.sendall(text.encode() + b"\r\n")

    def run(self):
        try:
            self.reply(self.plan.greeting)
            for line in self._lines():
                self.obey(line)
                if line.startswith("QUIT"):
                    break
        except OSError:
            pass  # the client hung up, or the plan did
        finally:
            self._control.close()
            self.server.session_ended(self)

    def _lines(self):
        # Without a file object, which would keep the connection open after a reset.
        received = b""
        while piece := self._control.recv(4096):
            received += piece
            while b"\r\n" in received:
                line, received = received.split(b"\r\n", 1)
                yield line.decode("utf-8", "surrogateescape")

    def obey(self, line):
        verb, _, argument = line.partition(" ")
        self.commands.append(line)
        if verb in self.server.held:
            self.server.held[verb].wait()
        planned = self.plan.replies.get(verb)
        if planned is not None:
            self.reply(planned)
            return
        method = getattr(self, "on_" + verb.lower(), None)
        if method:
            method(argument)
        else:
            self.reply(USUAL_REPLIES.get(verb, "200 fine"))

    def on_size(self, name):
        if self.plan.announced_size is not None:
            self.reply(f"213 {self.plan.announced_size}")
        elif name in self.server.files:
            self.reply(f"213 {len(self.server.files[name])}")
        else:
            self.reply("550 no such file")

    def on_pasv(self, _):
        self._passive = socket.create_server(("127.0.0.1", 0))
        port = self._passive.getsockname()[1]
        self.reply(f"227 at ({self.plan.passive_address},{port >> 8},{port & 255})")

    def on_port(self, argument):
        numbers = [int(number) for number in argument.split(",")]
        self._active = (".".join(map(str, numbers[:4])), numbers[4] * 256 + numbers[5])
        self.reply("200 will call")

    def _data(self):
        if self._active:
            return socket.create_connection(self._active)
        connection, _ = self._passive.accept()
        self._passive.close()
        return connection

    def on_retr(self, name):
        if name not in self.server.files:
            self.reply("550 no such file")
            return
        self._send(self.server.files[name])

    def on_list(self, _):
        self._send(self.plan.listing)

    def _send(self, content):
        self.reply(self.plan.opening)
        with self._data() as data:
            self.plan.send(self, data, content)
        self.reply(self.plan.closing)

    def on_stor(self, name):
        self._take("STOR", name)

    def on_appe(self, name):
        self._take("APPE", name)

    def _take(self, verb, name):
        self.reply(self.plan.opening)
        with self._data() as data:
            received = self.plan.take(self, data)
        self.server.stored.append((verb, name, received))
        self.reply(self.plan.closing)


class ScriptedServer(Listener):
    """Uses the first plan for the first connection, and so on; the last for all further ones."""

    session_class = Session

    def __init__(self, *plans, files=None, port=21, address="127.0.0.1"):
        self.plans = plans or (Plan(),)
        self.files = files or {}
        self.sessions = []
        self.stored = []  # (verb, name, content)
        self.stalled = threading.Event()
        self.closing = threading.Event()
        self.held = {}
        self._afterwards = {}
        super().__init__(port, address)

    def take(self, connection):
        plan = self.plans[min(len(self.sessions), len(self.plans) - 1)]
        session = self.session_class(self, connection, plan)
        self.sessions.append(session)
        session.start()

    def stop(self):
        self.closing.set()
        super().stop()

    def hold(self, verb):
        """Returns the event for which the server waits before it replies to this command."""
        self.held[verb] = threading.Event()
        return self.held[verb]

    def after_session(self, number, action):
        """Calls action() when session `number`, counted from 0, has ended."""
        self._afterwards[number] = action

    def session_ended(self, session):
        self._afterwards.pop(self.sessions.index(session), lambda: None)()

    @property
    def commands(self):
        return [command for session in self.sessions for command in session.commands]

    def wait_for_command(self, verb, times=1, deadline_s=DEADLINE_S):
        wait_until(
            lambda: sum(command.split(" ")[0] == verb for command in self.commands) >= times,
            f"{times} x {verb} at the server",
            deadline_s,
        )
