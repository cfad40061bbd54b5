"""A real FTP server with the user alice, password secret."""

import os
import pathlib
import shutil
import socket

from . import processes
from .daemon import WORLD
from .waiting import wait_until

HOME = WORLD / "home" / "alice"

CONFIGURATION = {
    "listen": "YES",
    "listen_ipv6": "NO",
    "listen_address": "127.0.0.1",
    "background": "NO",
    "anonymous_enable": "NO",
    "local_enable": "YES",
    "write_enable": "YES",
    "local_umask": "022",
    "xferlog_enable": "NO",
    "use_localtime": "NO",
    "seccomp_sandbox": "NO",  # its list of system calls is older than the kernel's
    "secure_chroot_dir": "/run/vsftpd/empty",
    "pam_service_name": "vsftpd",
}


def one_user_only():
    """A world created without root has one user id, so no server can become alice there."""
    with open("/proc/self/uid_map") as ids:
        return int(ids.read().split()[2]) == 1


def needs_users():
    """For servers that log alice in: skips the test where they cannot."""
    if one_user_only():
        import pytest  # imported only here, because not only tests use the servers

        pytest.skip("the server logs users in: needs root")


def listens(port, address="127.0.0.1"):
    with socket.socket() as probe:
        return probe.connect_ex((address, port)) == 0


class Vsftpd:
    """Serves alice's home on port 21. settings: vsftpd's."""

    def __init__(self, **settings):
        needs_users()
        self.home = HOME
        self._file = WORLD / "vsftpd.conf"
        self._file.write_text(
            "".join(f"{key}={value}\n" for key, value in (CONFIGURATION | settings).items())
        )
        self._process = processes.spawn(["/usr/sbin/vsftpd", str(self._file)])
        port = int(settings.get("listen_port", 21))
        wait_until(lambda: listens(port) or self._process.poll() is not None, "vsftpd to listen")
        assert self._process.poll() is None, "vsftpd did not start"

    def put(self, name, content=b"", mode=0o644, modified=None):
        """A file of alice's. modified: seconds since 1970."""
        path = self.home / name
        for folder in reversed(path.relative_to(self.home).parents):
            (self.home / folder).mkdir(exist_ok=True)
            shutil.chown(self.home / folder, "alice", "alice")
        path.write_bytes(content)
        path.chmod(mode)
        shutil.chown(path, "alice", "alice")
        if modified is not None:
            self.set_time(name, modified)
        return path

    def set_time(self, name, modified):
        os.utime(self.home / name, (modified, modified))

    def read(self, name):
        return (self.home / name).read_bytes()

    @property
    def pid(self):
        """The process that listens; each session has processes of its own."""
        return self._process.pid

    def path(self, name) -> pathlib.Path:
        return self.home / name

    def stop(self):
        self._process.kill()
        self._process.wait()
