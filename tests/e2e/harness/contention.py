"""Simultaneous jobs of many programs, each with its own names, sizes and contents, which show whose result it got.

A job is one run of ftpctl. What it reports must be true: see Job.wrong()."""

import json
import os
import random
import shutil
import subprocess
import time

from . import ftpctl
from .sftp import HostKey, Sshd
from .vsftpd import HOME, Vsftpd

DONE, TURN, NOT_FOUND, UNKNOWN, CANCELED, NOT_RUNNING, LOCAL_READ = 0, 4, 6, 10, 21, 22, 30
DOWNLOAD_MAX = 4096
SLOW_BYTES_PER_S = 200000  # over FTP, slow enough for a cancel to find a running job
UPLOAD_SIZES = (0, 1000, 1000, 200000)  # often the same, so that the size does not identify a job

OWN_FAILURE = {"missing": NOT_FOUND, "unseen": LOCAL_READ, "cancel": NOT_RUNNING}

# Commands without a turn.
AT_ONCE = ("cancel", "state")


def give(path, content):
    """Writes a file that belongs to alice."""
    path.write_bytes(content)
    path.chmod(0o644)
    shutil.chown(path, "alice", "alice")


def within(folder, is_known=True):
    """The beginning of a command that sees a file "f" in that folder, which nobody else sees.

    is_known: the command can find that out."""
    script = 'mount --no-mtab -t tmpfs tmpfs "$0" && echo unseen >"$0/f" && exec "$@"'
    if not is_known:
        script = "mount --no-mtab --bind /dev/null /proc/$$/mountinfo && " + script
    return ["unshare", "--mount", "--propagation", "private", "sh", "-c", script, folder]


class Job:
    """Call start(), then wait(). Times are from time.monotonic()."""

    def __init__(self, kind, words, judge, wrapper=()):
        self.kind, self.words, self.judge, self._wrapper = kind, words, judge, wrapper
        self.begin_s = self.end_s = self.status = None
        self.out = self.err = ""

    def __str__(self):
        return f"{self.kind}: {' '.join(map(str, self.words))}: {self.status}\n{self.out}{self.err}"

    def start(self):
        self.begin_s = time.monotonic()
        self.process = ftpctl.start(*self.words, wrapper=self._wrapper)
        return self

    def wait(self):
        self.out, self.err = self.process.communicate()
        self.end_s = time.monotonic()
        self.status = self.process.returncode
        return self

    def wrong(self, cancels=(), may_be_unknown=False):
        """Why the reported outcome is not true, or None.

        cancels: (begin, end) of those that stopped a job; may_be_unknown: another program takes no turns."""
        if self.status == DONE:
            return self.judge(self)
        if self.status == OWN_FAILURE.get(self.kind) or (may_be_unknown and self.status in (UNKNOWN, TURN)):
            return None
        if self.status == CANCELED and any(b < self.end_s and self.begin_s < e for b, e in cancels):
            return None
        return "another job's failure"


def cancels_of(jobs):
    """(begin, end) of each cancel that stopped a job."""
    return [(job.begin_s, job.end_s) for job in jobs if job.kind == "cancel" and job.status == DONE]


class Site:
    """Makes jobs. urls: of alice's home, such as "ftp://alice@127.0.0.1"; sha256: what `ftpctl identity` must print."""

    KINDS = ("get", "put", "resume", "verify", "no-wait", "info", "missing", "unseen", "identity", *AT_ONCE)

    def __init__(self, local, urls, secure_url=None, sha256=None, seed=0):
        self._local, self._urls = local, urls
        self._secure_url, self._sha256 = secure_url, sha256
        self._random = random.Random(seed)
        self._count = 0

    def job(self, kind):
        self._count += 1
        name = f"{kind}-{self._count}"
        url = f"{self._random.choice(self._urls)}/{name}"
        make = getattr(self, "_" + kind.replace("-", "_"))
        return make(HOME / name, self._local / name, url)

    def _content(self, size):
        return self._random.randbytes(size)

    def _get(self, remote, local, url):
        content = self._content(self._random.randrange(DOWNLOAD_MAX + 1))
        give(remote, content)

        def judge(_):
            return None if local.read_bytes() == content else "the local file is another's"

        return Job("get", ["get", url, local], judge)

    def _upload(self, kind, remote, local, url, *options, begun=0):
        content = self._content(self._random.choice(UPLOAD_SIZES[1:] if begun else UPLOAD_SIZES))
        local.write_bytes(content)
        if begun:
            give(remote, content[:begun])

        def judge(_):
            if not remote.exists():
                return "there is no remote file"
            stored = remote.read_bytes()
            return None if stored == content else f"the remote file is another: {len(stored)} of {len(content)} bytes"

        job = Job(kind, ["put", *options, local, url], judge)
        job.is_beginning = lambda: not remote.exists() or content.startswith(remote.read_bytes())
        return job

    def _put(self, *where):
        return self._upload("put", *where)

    def _verify(self, *where):
        return self._upload("verify", *where, "--verify")

    def _resume(self, *where):
        return self._upload("resume", *where, "--resume", begun=self._random.choice((1, 400, 600)))

    def _no_wait(self, remote, local, url):
        """It reports only the start; see wrong_in_the_end()."""
        job = self._upload("no-wait", remote, local, url, "--no-wait")
        job.wrong_in_the_end = job.judge
        job.judge = lambda _: None
        return job

    def _unseen(self, remote, local, url):
        """A local file that ftpctl sees and the daemon does not, and only the daemon can find that out."""
        local.mkdir()
        words = ["put", local / "f", url]
        return Job("unseen", words, lambda _: "uploaded what the daemon cannot see", within(local, is_known=False))

    def _info(self, remote, local, url):
        size = self._count * 1000 + self._random.randrange(1000)
        give(remote, b"")
        os.truncate(remote, size)

        def judge(job):
            told = json.loads(job.out)["file"]["size_bytes"]
            return None if told == size else f"another file's size: {told} in place of {size}"

        return Job("info", ["info", "--json", url], judge)

    def _missing(self, remote, local, url):
        return Job("missing", ["info", url], lambda _: "told of a file that is not there")

    def _identity(self, remote, local, url):
        def judge(job):
            told = json.loads(job.out)["identity"]["sha256"]
            return None if told == self._sha256 else f"another server's key: {told}"

        return Job("identity", ["identity", "--json", self._secure_url], judge)

    def _cancel(self, *_):
        return Job("cancel", ["cancel"], lambda _: None)

    def _state(self, *_):
        return Job("state", ["state", "--json"], lambda job: None if json.loads(job.out)["state"] else "no state")


def real_site(local, seed=0):
    """With vsftpd and OpenSSH."""
    Vsftpd(local_max_rate=SLOW_BYTES_PER_S)
    key = HostKey()
    Sshd(key)
    said = ["ssh-keygen", "-l", "-E", "sha256", "-f", key.public]
    sha256 = subprocess.run(said, check=True, capture_output=True, text=True).stdout.split()[1]
    secure = "sftp://alice@127.0.0.1"
    return Site(local, ["ftp://alice@127.0.0.1", secure], secure, sha256, seed)
