"""Login directories with generated names: a job must happen below the server's one and nowhere else."""

import os
import pathlib
from random import Random

from . import names
from .name_jobs import Job, Trial
from .name_tree import Tree

PASSWD = pathlib.Path("/etc/passwd")  # this world's own
FILES = (b"f", b"d/f", b"%41", b"a b", "ä".encode(), b"d%/e [/f")


class LoginTrial(Trial):
    """Gives alice another home for each job."""

    def make(self, seed, number):
        random = Random(f"{seed}:{self.server.name} login:{number}")
        name, path = names.make_login_folder(random), random.choice(FILES)
        root = self.tree.root
        if os.path.isdir(self.tree.login):
            self.tree = Tree(root, root + b"/alice")
            self.tree.clear()
        login = root + b"/" + name
        move_home(login)
        self.tree = Tree(root, login)
        meant = names.meaning(path, login, self.server.sftp)
        there = self.tree.put(meant) if random.random() < 0.7 else not self.tree.make_folders(meant.folders)
        for reading in names.wrong_readings(name):
            if reading.strip(b"/.") and len(reading) < 200:
                other = names.meaning(path, os.path.normpath(root + b"/" + reading), self.server.sftp)
                if other.file != meant.file:
                    self.tree.put(other)
        kind = self.server.kinds[number % len(self.server.kinds)]
        return Job(kind, path, meant, there), random

    def carries(self, job):
        """No URL can express an SFTP login directory that trimming changes: such a job must fail."""
        trimmed = b"\\" in self.tree.login or self.tree.login.endswith(b" ")
        return not (self.server.sftp and trimmed) and super().carries(job)

    def try_number(self, seed, number):
        wrong = super().try_number(seed, number)
        return wrong and f"login directory {self.tree.login!r}: {wrong}"


def move_home(folder):
    """Edits it in place, because the file is a mount point."""
    lines = PASSWD.read_bytes().split(b"\n")
    for at, line in enumerate(lines):
        if line.startswith(b"alice:"):
            lines[at] = b":".join([*line.split(b":")[:5], folder, b"/bin/sh"])
    with open(PASSWD, "r+b") as file:
        file.truncate()
        file.write(b"\n".join(lines))
