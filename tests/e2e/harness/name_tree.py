"""A server's files during a trial of a name: known before a job, compared after it."""

import contextlib
import os
import shutil

MARGIN = 12  # bytes between the sizes of two files


@contextlib.contextmanager
def for_everybody():
    """Files created meanwhile are writable for everybody."""
    before = os.umask(0)
    try:
        yield
    finally:
        os.umask(before)


class Tree:
    """All files below `root`, where servers may write; the login directory is kept. Paths are absolute bytes."""

    def __init__(self, root, login):
        self.root, self.login = os.fsencode(root), os.fsencode(login)
        os.makedirs(self.login, exist_ok=True)
        self._files = 0
        for folder in (self.root, self.login):
            os.chmod(folder, 0o777)

    def clear(self):
        """Removes everything but the login directory."""
        self._files = 0
        for folder in (self.root, self.login):
            for entry in os.scandir(folder):
                if self.login == entry.path or self.login.startswith(entry.path + b"/"):
                    continue
                if entry.is_dir(follow_symlinks=False):
                    shutil.rmtree(entry.path)
                else:
                    os.unlink(entry.path)

    def holds(self, path):
        return path.startswith(self.root + b"/")

    def make_folders(self, folders):
        """False if one cannot exist: a file is in the way, its name is too long, or it is outside this tree."""
        for folder in folders:
            if folder == b"/" or self.root == folder or self.root.startswith(folder + b"/"):
                continue
            if not self.holds(folder):
                return False
            try:
                with for_everybody():
                    os.makedirs(folder, exist_ok=True)
            except OSError:
                return False
        return True

    def put(self, meaning):
        """Makes a file whose content and size no other in the tree has; False if it cannot exist."""
        if meaning.file is None or not self.holds(meaning.file):
            return False
        if os.path.lexists(meaning.file) or not self.make_folders(meaning.folders):
            return False
        try:
            with for_everybody(), open(meaning.file, "xb") as file:
                file.write(self._content(meaning.file))
        except OSError:
            return False
        return True

    def _content(self, path):
        self._files += 1
        length = self._files * MARGIN
        return (b"%d: " % self._files + path.ljust(length))[:length]

    def restore(self, files):
        """Restores what was read before."""
        self.clear()
        with for_everybody():
            for path in sorted(files):
                if files[path] is None:
                    os.makedirs(path, exist_ok=True)
                    continue
                with open(path, "wb") as file:
                    file.write(files[path])

    def read(self):
        """{path: content; None for a folder}"""
        found = {}
        for folder, folders, files in os.walk(self.root):
            for name in folders:
                found[os.path.join(folder, name)] = None
            for name in files:
                path = os.path.join(folder, name)
                try:
                    with open(path, "rb") as file:
                        found[path] = file.read()
                except FileNotFoundError:
                    pass  # of a server that is just ending
        return found
