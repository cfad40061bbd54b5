"""HTTP proxies: squid, which speaks FTP to servers, and a scripted one."""

import socket

from . import processes
from .daemon import WORLD
from .listener import Listener
from .vsftpd import listens
from .waiting import wait_until

PORT = 3128
PROXY = {"proxy_type": 1, "proxy_host": "127.0.0.1", "proxy_port": PORT}  # of a request

CONFIGURATION = f"""
http_port 127.0.0.1:{PORT}
http_access allow all
visible_hostname here
pid_filename none
cache deny all
cache_mem 0 MB
cache_log {WORLD}/squid/cache.log
access_log stdio:{WORLD}/squid/access.log
coredump_dir {WORLD}/squid
netdb_filename none
pinger_enable off
dns_nameservers 127.0.0.1
shutdown_lifetime 0 seconds
max_filedescriptors 256
"""


# Checks logins for squid, one "user password" per line; squid runs it as nobody.
WHO_MAY = """#!/bin/sh
while read -r login; do
    [ "$login" = "%s" ] && echo OK || echo ERR
done
"""
LOGIN_NEEDED = """
auth_param basic program {program}
auth_param basic realm here
acl known proxy_auth REQUIRED
http_access allow known
http_access deny all
"""


class Squid:
    """login: (user, password) that a client must send, both URL-encoded; None: no login."""

    def __init__(self, login=None):
        folder = WORLD / "squid"
        folder.mkdir()
        folder.chmod(0o777)
        self._file = folder / "squid.conf"
        configuration = CONFIGURATION
        if login:
            program = folder / "who_may"
            program.write_text(WHO_MAY % " ".join(login))
            program.chmod(0o755)
            configuration = configuration.replace("http_access allow all\n", "")
            configuration += LOGIN_NEEDED.format(program=program)
        self._file.write_text(configuration)
        self._log = folder / "access.log"
        self.start()

    def start(self):
        """Starts it again after it has died."""
        self._process = processes.spawn(["/usr/sbin/squid", "-N", "-f", str(self._file)])
        wait_until(lambda: listens(PORT) or self._process.poll() is not None, "squid to listen")
        assert self._process.poll() is None, "squid did not start"

    @property
    def has_died(self):
        return self._process.poll() is not None

    @property
    def last_words(self):
        said = (WORLD / "squid" / "cache.log").read_text(errors="backslashreplace").splitlines()
        return f"status {self._process.returncode}", said[-3:]

    @property
    def requests(self):
        """[(method, URL)] of the answered requests."""
        lines = self._log.read_text().splitlines() if self._log.exists() else []
        found = [tuple(line.split()[5:7]) for line in lines]
        return [request for request in found if request[0] not in ("-", "NONE")]  # a connection without a request

    def stop(self):
        self._process.kill()
        self._process.wait()


class HttpProxy(Listener):
    """Replies to the first request with the first answer, and so on; to all further ones with the last.

    heads: the received heads as bytes; bodies: what followed each."""

    def __init__(self, *answers, port=PORT):
        self.answers = answers
        self.heads, self.bodies = [], []
        self.connections = 0
        super().__init__(port)

    def take(self, connection):
        self.connections += 1
        with connection, connection.makefile("rb") as incoming:
            try:
                self._treat(connection, incoming)
            except OSError:
                pass  # the client hung up

    def _treat(self, connection, incoming):
        head = b""
        while line := incoming.readline():
            head += line
            if line == b"\r\n":
                break
        if not head.endswith(b"\r\n\r\n"):
            return
        answer = self.answers[min(len(self.heads), len(self.answers) - 1)]
        self.heads.append(head)
        headers = dict(
            line.lower().split(b": ", 1) for line in head.split(b"\r\n")[1:] if b": " in line
        )
        body = b""
        # A client with "Expect: 100-continue" waits for the reply before it sends.
        if answer[9:10] == b"2" and b"content-length" in headers:
            if b"expect" in headers:
                connection.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")
            body = incoming.read(int(headers[b"content-length"]))
        self.bodies.append(body)
        connection.sendall(answer)
        connection.shutdown(socket.SHUT_WR)
        while connection.recv(4096):  # a close with bytes unread would reset the connection
            pass


def answer(status, body=b"", version="1.1"):
    """The bytes of one answer."""
    head = f"HTTP/{version} {status} because\r\nContent-Length: {len(body)}\r\n"
    return head.encode() + b"Connection: close\r\n\r\n" + body
