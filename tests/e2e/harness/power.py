"""What a disk holds after a power cut: a program's writes and fsyncs are recorded, and replayed up to each point.

Only synced data is safe: a file has the content of its last fsync, and a folder the names of its last fsync. MODES lists
what else may have reached the disk.
"""

import collections
import pathlib
import re
import shutil
from typing import NamedTuple

CALLS = (
    "openat,close,write,pwrite64,writev,pwritev,sendfile,copy_file_range,ftruncate,fsync,fdatasync,rename,renameat,"
    "renameat2,link,linkat,unlink,unlinkat,mkdir,mkdirat"
)
# (names, contents): True = those of the last fsync, False = the present ones.
MODES = {"nothing more": (True, True), "names": (False, True), "contents": (True, False), "all": (False, False)}
NOT_PLAYED = ("writev", "pwritev", "sendfile", "copy_file_range")
LONGEST = 1 << 22


class Call(NamedTuple):
    name: str
    words: list  # bytes for texts, str for everything else
    result: int


def wrapper(log):
    """The command that records a program's calls when it runs the program."""
    return ("strace", "-f", "-xx", "-s", str(LONGEST), "-o", str(log), "-e", f"trace={CALLS}")


def _words(text):
    found = []
    for quoted, plain in re.findall(r'"((?:\\x[0-9a-f]{2})*)"|([^,\s][^,]*)', text):
        found.append(plain.strip() if plain else bytes.fromhex(quoted.replace("\\x", "")))
    return found


def calls(log):
    """The recorded calls that succeeded, in order."""
    for line in pathlib.Path(log).read_text().splitlines():
        match = re.match(r"\d+\s+(\w+)\((.*)\)\s+= (\d+)$", line)
        if match:
            yield Call(match[1], _words(match[2]), int(match[3]))


def numbered_calls(log):
    """(name, number among the calls of that name) for each call, in order."""
    counts = collections.Counter()
    found = []
    for name in re.findall(r"^\d+ +(\w+)\(", pathlib.Path(log).read_text(), re.MULTILINE):
        counts[name] += 1
        found.append((name, counts[name]))
    return found


def killed_at(name, number):
    """The command that kills a program at that call. strace counts the calls of each name separately."""
    return ("strace", "-f", "-o", "/dev/null", "-e", f"trace={name}", "-e", f"inject={name}:signal=KILL:when={number}")


class File:
    def __init__(self, content=b""):
        self.content = bytearray(content)
        self.safe = b""

    def write(self, at, data):
        if len(self.content) < at:
            self.content.extend(bytes(at - len(self.content)))
        self.content[at : at + len(data)] = data


class Disk:
    """The files below some folders. Their present names and contents count as synced."""

    def __init__(self, *folders):
        self._folders = [str(folder) for folder in folders]
        self.names = {}
        self.safe_names = {}
        self._opened = {}
        for folder in folders:
            for path in pathlib.Path(folder).rglob("*"):
                if path.is_file():
                    self.keep(path, path.read_bytes())
        self.printed = b""

    def keep(self, path, content):
        """A file that is there from the beginning, with its name and content safe."""
        file = File(content)
        file.safe = content
        self.names[str(path)] = self.safe_names[str(path)] = file

    def forget_content(self, path):
        """A file that its writer has not synced."""
        self.names[str(path)].safe = b""

    def _is_ours(self, path):
        return any(path.startswith(folder + "/") for folder in self._folders) and not path.endswith("-shm")

    def play(self, call):
        """True if the call changed what a power cut would leave."""
        assert call.name not in NOT_PLAYED or int(call.words[0]) not in self._opened, call
        has_data = call.name in ("write", "pwrite64")
        paths = [] if has_data else [word.decode() for word in call.words if isinstance(word, bytes)]
        action = getattr(self, "_" + call.name.removesuffix("2").removesuffix("at").replace("fdatasync", "fsync"), None)
        return bool(action and action(call, paths))

    def _open_file(self, fd, path, flags):
        file = self.names.get(path)
        if file is None and "O_CREAT" in flags:
            file = self.names[path] = File()
        if file is not None and "O_TRUNC" in flags:
            file.content.clear()
        self._opened[fd] = [file, 0]

    def _open_folder(self, fd, path):
        self._opened[fd] = [path.rstrip("/"), 0]

    def _open(self, call, paths):
        self._opened.pop(call.result, None)
        if pathlib.Path(paths[0]).is_dir():
            self._open_folder(call.result, paths[0])
        elif self._is_ours(paths[0]):
            self._open_file(call.result, paths[0], call.words[2])
        return False

    def _close(self, call, _paths):
        self._opened.pop(int(call.words[0]), None)

    def _write(self, call, _paths):
        fd = int(call.words[0])
        if fd == 1:
            self.printed += call.words[1]
        if fd not in self._opened:
            return fd == 1
        file, at = self._opened[fd]
        file.write(at, call.words[1])
        self._opened[fd][1] = at + call.result
        return True

    def _pwrite64(self, call, _paths):
        opened = self._opened.get(int(call.words[0]))
        if opened:
            opened[0].write(int(call.words[3]), call.words[1][: call.result])
        return bool(opened)

    def _ftruncate(self, call, _paths):
        opened = self._opened.get(int(call.words[0]))
        if opened:
            size = int(call.words[1])
            opened[0].write(size, b"")
            del opened[0].content[size:]
        return bool(opened)

    def _fsync(self, call, _paths):
        opened = self._opened.get(int(call.words[0]))
        if opened and isinstance(opened[0], File):
            opened[0].safe = bytes(opened[0].content)
        elif opened:
            self._fsync_folder(opened[0])
        return bool(opened)

    def _fsync_folder(self, folder):
        is_in = lambda path: path.rpartition("/")[0] == folder
        self.safe_names = {path: file for path, file in self.safe_names.items() if not is_in(path)}
        self.safe_names |= {path: file for path, file in self.names.items() if is_in(path)}

    def _rename(self, _call, paths):
        file = self.names.pop(paths[0], None)
        if file is not None:
            self.names[paths[1]] = file
        return file is not None

    def _link(self, _call, paths):
        if paths[0] in self.names:
            self.names[paths[1]] = self.names[paths[0]]
        return paths[0] in self.names

    def _unlink(self, _call, paths):
        return self.names.pop(paths[0], None) is not None

    def left(self, mode):
        """{path: content} that a power cut now would leave."""
        safe_names, safe_content = MODES[mode]
        names = self.safe_names if safe_names else self.names
        return {path: file.safe if safe_content else bytes(file.content) for path, file in names.items()}


def lay_out(left, target):
    """Writes the files below a folder, each at its own path there."""
    shutil.rmtree(target, ignore_errors=True)
    for path, content in left.items():
        place = pathlib.Path(f"{target}{path}")
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_bytes(content)
