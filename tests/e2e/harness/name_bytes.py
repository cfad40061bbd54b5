"""The bytes on the wire for generated names, hosts and credentials, as a scripted server sees them."""

import base64
import re
import socket
import urllib.parse
from collections import Counter
from random import Random

from . import client, names
from .name_jobs import FAILED, KINDS, LISTING, REFUSAL, REFUSED, RIGHT, UPLOADED, connections_opened
from .scripted import Plan, ScriptedServer
from .squid import PROXY, HttpProxy, answer
from .waiting import wait_until

ABOUT_NO_PATH = {b"USER", b"PASS", b"PWD", b"TYPE", b"PASV", b"PORT", b"QUIT"}
CONTENT = b"fetched"
SIZE = 4711


class AnyFile:
    """The files of a server that has every file."""

    def __contains__(self, name):
        return True

    def __getitem__(self, name):
        return CONTENT


def as_sent(command):
    return command.encode("utf-8", "surrogateescape")


def expected(kind, path):
    """The commands that name a path."""
    way, last = names.ftp_way(path)
    end = {"download": [b"SIZE " + last, b"RETR " + last], "upload": [b"STOR " + last], "look": [b"LIST"]}
    return [b"CWD " + segment for segment in way] + end[kind]


def listing(path):
    """The listing of a folder with this file and those of wrong readings."""
    lines = []
    for number, name in enumerate([*names.wrong_readings(path), path]):
        last = name.split(b"/")[-1]
        if last and not {10, 13} & set(last):
            size = SIZE if last == path.split(b"/")[-1] else number
            lines.append(b"-rw-r--r--    1 1000     1000     %8d Jan 15  2012 %s\r\n" % (size, last))
    return b"".join(lines)


class BytesTrial:
    """With a server on port 21 of every address of this machine."""

    name = "bytes"

    def __init__(self, manager, local):
        self.manager, self.local = manager, local
        self.plan = Plan()
        self.server = ScriptedServer(self.plan, files=AnyFile(), address="0.0.0.0")
        self.proxy = HttpProxy(answer(200, CONTENT))
        self.counts = Counter()
        self.failures, self.excused = [], []

    @property
    def sessions(self):
        """The sessions of the last job."""
        return self.server.sessions[self.first :]

    def try_number(self, seed, number):
        """What is wrong, or None."""
        random = Random(f"{seed}:{self.name}:{number}")
        subject = ("path", "path", "path", "proxied", "host", "path", "path", "credentials", "proxy")[number % 9]
        self.first = len(self.server.sessions)
        del self.server.stored[:], self.manager.notices[:]
        del self.proxy.heads[:], self.proxy.bodies[:]
        wrong = getattr(self, "_try_" + subject)(random)
        return wrong and f"{self.name} number {number}: {wrong}"

    def _play(self, kind, path, **fields):
        """(answer, result, connections opened)"""
        target, source = self.local / "target", self.local / "source"
        target.write_bytes(b"")
        source.write_bytes(UPLOADED)
        opened = connections_opened()
        start = {
            "download": lambda: client.download(path, target, **fields),
            "upload": lambda: client.upload(source, path, **fields),
            "look": lambda: client.file_info(path, **fields),
        }
        answer = start[kind]()
        if answer != (0, 0):
            return answer, None, connections_opened() - opened
        wait_until(lambda: self.manager.notices, f"the notice of {kind} of {path!r}, {fields}", 60)
        return answer, self.manager.notices[0].outcome[1], connections_opened() - opened

    def _judge_answer(self, kind, verdict, answer, opened):
        """(whether the job ended with its answer, what is wrong or None)"""
        if answer == REFUSAL and verdict != names.ACCEPTED:
            self.counts[kind, REFUSED] += 1
            return True, f"refused, but {opened} connections were opened" if opened else None
        if answer != (0, 0) or verdict == names.REFUSED:
            return True, f"answered {answer}, should be {verdict}"
        return False, None

    def _try_path(self, random):
        path, kind = names.make_path(random, b"/home/alice"), random.choice(KINDS)
        self.plan.listing = listing(path)
        answer, result, opened = self._play(kind, path, passive_mode=random.randrange(2))
        ended, wrong = self._judge_answer(kind, names.verdict_on_path(path), answer, opened)
        if not ended:
            wrong = self._judge_path(kind, path, result)
        return wrong and f"{kind} of {path!r}: {wrong}"

    def _judge_path(self, kind, path, result):
        due = expected(kind, path)
        for session in self.sessions:
            sent = [as_sent(command) for command in session.commands]
            about = [command for command in sent if command.split(b" ")[0] not in ABOUT_NO_PATH]
            if kind == "download" and not path.split(b"/")[-1] and about == due[:-2] + [b"LIST"]:
                self.counts[kind, LISTING] += 1
                return None
            if about != due[: len(about)]:
                return f"sent {about}, should be {due}"
        can_be_sent = min(path) >= 32 and path.split(b"/")[-1]
        if result != 0:
            self.counts[kind, FAILED] += 1
            return f"result {result}" if can_be_sent else None
        self.counts[kind, RIGHT] += 1
        if kind == "download" and (self.local / "target").read_bytes() != CONTENT:
            return "another content"
        if kind == "upload" and self.server.stored[-1][2] != UPLOADED:
            return "another content arrived"
        return self._judge_look(path) if kind == "look" else None

    def _judge_look(self, path):
        last, info = path.split(b"/")[-1], client.get_file_info()
        if info.exists and (not last or info.size != SIZE):
            return f"saw {info.size} bytes"
        folders = (b"", b".", b"..")
        if not info.exists and min(path) >= 32 and last not in folders and not last.startswith(b" "):
            return "did not see it"
        return None

    def _try_proxied(self, random):
        """The URL in the request to a proxy contains the path; libcurl appends ";type=i"."""
        path, kind = names.make_path(random, b"/home/alice"), random.choice(("download", "upload"))
        who = [b"alice", b"secret"] if random.random() < 0.5 else [names.make_credential(random, 31) for _ in range(2)]
        fields = PROXY | {"username": who[0], "password": who[1]}
        answer_, result, opened = self._play(kind, path, **fields)
        verdicts = {names.verdict_on_path(path, is_proxied_upload=kind == "upload"), *map(names.verdict_on_credential, who)}
        ended, wrong = self._judge_answer("proxied", max(verdicts), answer_, opened)  # "refused" before "accepted"
        for head in [] if ended else self.proxy.heads:
            method, asked, said = read_head(head)
            due = {"download": b"GET", "upload": b"PUT"}[kind], b"/" + path, b":".join(who)
            if (method, asked, said) != due:
                wrong = f"asked {method} {asked} as {said}, should be {due}"
        if not ended:
            self.counts["proxied", RIGHT if result == 0 else FAILED] += 1
            if kind == "upload" and result == 0 and self.proxy.bodies[-1] != UPLOADED:
                wrong = "another content arrived"
        return wrong and f"{kind} of {path!r} through a proxy: {wrong}"

    def _try_proxy(self, random):
        host = random.choice((b"", b"", b"http://")) + names.make_host(random)[:248]
        answer_, result, opened = self._play("download", b"f", **PROXY | {"proxy_host": host})
        ended, wrong = self._judge_answer("proxy", names.verdict_on_proxy(host), answer_, opened)
        if not ended:
            self.counts["proxy", RIGHT if result == 0 else FAILED] += 1
            led_to = address_of(host.removeprefix(b"http://").rpartition(b"@")[2])  # without its login
            reached = {session.reached for session in self.sessions}  # by a port after the proxy's host
            reached |= {"127.0.0.1"} if self.proxy.heads else set()
            if reached - {led_to} or (opened and led_to is None):
                wrong = f"result {result}, {opened} connections, reached {reached}"
        return wrong and f"proxy {host!r}: {wrong}"

    def _try_host(self, random):
        host = names.make_host(random, random.choice((b"127.0.0.1", b"127.0.0.1", b"localhost", b"127.0.0.2")))
        answer, result, opened = self._play("download", b"f", host=host)
        ended, wrong = self._judge_answer("host", names.verdict_on_host(host), answer, opened)
        if not ended:
            reached = {session.reached for session in self.sessions}
            self.counts["host", RIGHT if result == 0 else FAILED] += 1
            if reached - {address_of(host)} or (opened and address_of(host) is None):
                wrong = f"result {result}, reached {reached}"
            elif result == 0 and (self.local / "target").read_bytes() != CONTENT:
                wrong = "another file"
        return wrong and f"host {host!r}: {wrong}"

    def _try_credentials(self, random):
        user, password = names.make_credential(random, 31), names.make_credential(random, 223)
        answer, result, opened = self._play("download", b"f", username=user, password=password)
        verdicts = {names.verdict_on_credential(user), names.verdict_on_credential(password)}
        verdict = max(verdicts)  # "refused" before "accepted"
        ended, wrong = self._judge_answer("credentials", verdict, answer, opened)
        if not ended:
            sent = [as_sent(command) for session in self.sessions for command in session.commands][:2]
            self.counts["credentials", RIGHT if result == 0 else FAILED] += 1
            if result != 0 or sent != [b"USER " + user, b"PASS " + password]:
                wrong = f"result {result}, sent {sent}"
        return wrong and f"user {user!r}, password {password!r}: {wrong}"


def read_head(head):
    """(method, path, user:password) of a request to a proxy."""
    method, url = head.split(b"\r\n")[0].split(b" ")[:2]
    path = re.sub(rb"\Aftp://([^@/]*@)?127\.0\.0\.1(:21)?", b"", re.sub(rb";type=[ai]\Z", b"", url))
    basic = re.search(rb"\r\nAuthorization: Basic (\S*)\r\n", head)
    return method, urllib.parse.unquote_to_bytes(path), base64.b64decode(basic[1] if basic else b"")


def address_of(host):
    """The IPv4 address that a host may lead to, or None. A port after ':' is ignored: the request has its own."""
    text = re.sub(r":\d*\Z", "", host.decode("latin-1")).lower()
    if text.rstrip(".") == "localhost" or text.endswith(".localhost"):
        return "127.0.0.1"
    if re.fullmatch(r"0(\.0)*", text):  # the kernel's name for this machine
        return "127.0.0.1"
    try:
        return socket.inet_ntoa(socket.inet_aton(text)) if re.fullmatch(r"[\dxa-f.]+", text) else None
    except OSError:
        return None
