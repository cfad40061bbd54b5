"""Runs jobs with generated names and checks the files afterwards; `Trial` is for one server.

Beside the meant file are those that a wrong reading of the name would hit. A job with result 0 must have touched the meant
file and nothing else, a failed one nothing but that file, and a refused one must have opened no connection."""

import os
from collections import Counter
from dataclasses import dataclass, field
from random import Random
from typing import NamedTuple

from . import client, names, wire
from .name_tree import Tree
from .raw_ftp import RawFtp
from .waiting import wait_until

REFUSAL = (1, wire.INTERNAL)
KINDS = ("download", "upload", "look")
UPLOADED = b"uploaded"
OLD = b"was here before"
REFUSED, RIGHT, ABSENT, FAILED = "refused", "right", "not there", "failed"
OTHERWISE = "read otherwise by the server"
LISTING = "listing of a bare directory"


def connections_opened():
    """By all programs of this world since its start, including failed attempts."""
    with open("/proc/net/snmp") as counters:
        names_of, values = [line.split() for line in counters if line.startswith("Tcp:")]
    return int(values[names_of.index("ActiveOpens")])


@dataclass
class Server:
    """fields: of the requests. plain_port: where the test can talk plain FTP to the same server; 0 = nowhere.
    carries(kind, path): True if the server must be able to do that job.
    revive(): True if the server had died by itself and was started again.
    excused(job, before, fetched): why a job may touch another file there, or None."""

    name: str
    fields: dict
    sftp: bool = False
    kinds: tuple = KINDS
    active_too: bool = False
    plain_port: int = 0
    carries: object = lambda kind, path: True
    excused: object = lambda job, before, fetched: None
    revive: object = lambda: False


class Job(NamedTuple):
    kind: str
    path: bytes
    meant: names.Meaning
    there: bool  # the file meant, before the job


@dataclass
class Trial:
    server: Server
    manager: object
    local: object  # folder
    tree: Tree
    counts: Counter = field(default_factory=Counter)
    excused: list = field(default_factory=list)
    failures: list = field(default_factory=list)  # jobs that failed though the file existed

    def make(self, seed, number):
        """Creates the files for the job of that number; returns the job and the random generator's state after it."""
        random = Random(f"{seed}:{self.server.name}:{number}")
        path = names.make_path(random, self.tree.login)
        kind = self.server.kinds[number % len(self.server.kinds)]
        meant = names.meaning(path, self.tree.login, self.server.sftp)
        self.tree.clear()
        if random.random() < 0.6:
            self.tree.put(meant)
        elif random.random() < 0.5:
            self.tree.make_folders(meant.folders)
        for reading in names.wrong_readings(path):
            other = names.meaning(reading, self.tree.login, self.server.sftp)
            if other.file != meant.file:
                self.tree.put(other)
        return Job(kind, path, meant, bool(meant.file) and os.path.isfile(meant.file)), random

    def try_number(self, seed, number):
        """What is wrong, or None."""
        job, random = self.make(seed, number)
        if job.there and not self.tree.holds(job.meant.file):
            self.counts[job.kind, "file of the machine itself"] += 1
            return None
        wrong = self.try_job(job, passive=int(not self.server.active_too or random.random() < 0.6))
        if wrong and self.server.revive():
            self.counts[job.kind, "again after the server's death"] += 1
            wrong = self.try_job(self.make(seed, number)[0])
        return wrong and f"{self.server.name} number {number}, {job.kind} of {job.path!r}: {wrong}"

    def try_job(self, job, passive=1):
        is_proxied_upload = job.kind == "upload" and "proxy_host" in self.server.fields
        verdict = names.verdict_on_path(job.path, self.server.sftp, is_proxied_upload)
        before, opened = self.tree.read(), connections_opened()
        answer, result = self._play(job, passive)
        after = self.tree.read()
        if answer == REFUSAL and verdict != names.ACCEPTED:
            self.counts[job.kind, REFUSED] += 1
            return self._judge_refusal(before == after, connections_opened() - opened)
        if answer != (0, 0):
            return f"answered {answer}"
        if verdict == names.REFUSED:
            return f"not refused, result {result}"
        wrong = getattr(self, f"_judge_{job.kind}")(job, result, before, after)
        if wrong and (reason := self._excuse(job, before, after)):
            self.counts[job.kind, reason] += 1
            self.excused.append((reason, job.kind, job.path))
            return None
        return wrong

    def _play(self, job, passive):
        del self.manager.notices[:]
        target, source = self.local / "target", self.local / "source"
        target.write_bytes(OLD)
        source.write_bytes(UPLOADED)
        fields = self.server.fields | {"passive_mode": passive}
        start = {
            "download": lambda: client.download(job.path, target, **fields),
            "upload": lambda: client.upload(source, job.path, **fields),
            "look": lambda: client.file_info(job.path, **fields),
        }
        answer = start[job.kind]()
        if answer != (0, 0):
            return answer, None
        wait_until(lambda: self.manager.notices, f"the notice of {job}", 60)
        return answer, self.manager.notices[0].outcome[1]

    def _excuse(self, job, before, after):
        if job.meant.file is None and job.kind == "download" and after == before:
            return LISTING
        if self.server.plain_port and self._is_the_servers_reading(job, before, after):
            return OTHERWISE
        return self.server.excused(job, before, (self.local / "target").read_bytes())

    def _is_the_servers_reading(self, job, before, after):
        """Whether the server does the same when this test itself sends it the name byte for byte."""
        with RawFtp(self.server.plain_port) as ftp:
            if job.kind == "download":
                return ftp.fetch(job.path) == (self.local / "target").read_bytes()
            if job.kind == "look":
                return ftp.lists(job.path, client.get_file_info().size)
            self.tree.restore(before)
            ftp.store(job.path, UPLOADED)
            return self.tree.read() == after

    def _judge_refusal(self, unchanged, opened):
        if opened:
            return f"refused, but {opened} connections were opened"
        if not unchanged or (self.local / "target").read_bytes() != OLD:
            return "refused, but files have changed"
        return None

    def _count(self, job, done):
        """Counts the job; returns what is wrong if it failed but had to succeed."""
        self.counts[job.kind, RIGHT if done else FAILED if job.there else ABSENT] += 1
        if done or not job.there:
            return None
        self.failures.append((job.kind, job.path))
        return "failed on an existing file" if self.carries(job) else None

    def carries(self, job):
        """True if the job must succeed when the file exists."""
        return self.server.carries(job.kind, job.path)

    def _judge_download(self, job, result, before, after):
        if after != before:
            return f"result {result}, but the server's files have changed: {difference(before, after)}"
        if result != 0:
            return self._count(job, False)
        content = (self.local / "target").read_bytes()
        if not job.there:
            return f"fetched what is not there: {content!r}"
        if content != before[job.meant.file]:
            return f"fetched another file: {content!r}"
        return self._count(job, True)

    def _judge_upload(self, job, result, before, after):
        changed = difference(before, after)
        for folder in job.meant.folders:  # missing ones may have been created
            if folder not in before and after.get(folder, b"") is None:
                changed.pop(folder, None)
        own = changed.pop(job.meant.file, None)
        if changed:
            return f"result {result}, changed {changed}"
        if result == 0 and own != UPLOADED:
            return f"result 0, but there is {own!r}"
        return self._count(job, result == 0)

    def _judge_look(self, job, result, before, after):
        if after != before:
            return f"result {result}, but the server's files have changed: {difference(before, after)}"
        info = client.get_file_info()
        if result != 0 or not info.exists:
            return self._count(job, False)
        if not job.there:
            return f"saw what is not there, {info.size} bytes"
        if info.size != len(before[job.meant.file]):
            return f"saw another file: {info.size} bytes, not {len(before[job.meant.file])}"
        return self._count(job, True)


def difference(before, after):
    """{path: content after} of all that has changed."""
    return {
        path: after.get(path, "gone") for path in before.keys() | after.keys() if before.get(path, "none") != after.get(path, "none")
    }
