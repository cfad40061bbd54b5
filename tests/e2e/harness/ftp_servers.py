"""Other FTP servers than vsftpd, for their listings of alice's home. Dates are in UTC."""

import logging
import os
import pathlib
import stat
import threading
import time
import warnings

from . import processes
from .daemon import WORLD
from .vsftpd import HOME, Vsftpd, listens, needs_users
from .waiting import wait_until

with warnings.catch_warnings():
    warnings.simplefilter("ignore", DeprecationWarning)  # from modules that it uses
    from pyftpdlib.authorizers import DummyAuthorizer
    from pyftpdlib.filesystems import AbstractedFS
    from pyftpdlib.handlers import FTPHandler
    from pyftpdlib.servers import FTPServer

UTC = os.environ | {"TZ": "UTC"}


class Program(Vsftpd):
    """A server that is a separate program; its files are handled like vsftpd's."""

    def __init__(self, command, port=21):
        needs_users()
        self.home = HOME
        self._process = processes.spawn(command, env=UTC)
        wait_until(lambda: listens(port) or self._process.poll() is not None, f"{command[0]}")
        assert self._process.poll() is None, f"{command[0]} did not start"


class PureFtpd(Program):
    """options: further ones of pure-ftpd."""

    def __init__(self, *options, port=21):
        # The system's users; no resolver; listings of more than 10,000 files; many clients from one address.
        settings = ["-l", "unix", "-u", "1", "-E", "-H", "-L", "200000:5", "-g", WORLD / f"pure-ftpd.{port}.pid"]
        super().__init__(["/usr/sbin/pure-ftpd", "-S", f"127.0.0.1,{port}", *settings, *options], port)


PROFTPD = {
    "ServerName": "here",
    "ServerType": "standalone",
    "DefaultAddress": "127.0.0.1",
    "SocketBindTight": "on",
    "UseIPv6": "off",
    "User": "nobody",
    "Group": "nogroup",
    "WtmpLog": "off",
    "RequireValidShell": "off",
    "AuthOrder": "mod_auth_unix.c",
    "UseReverseDNS": "off",
    "DelayEngine": "off",
}


def _proftpd_modules():
    """Since Debian 13 these are no longer built in."""
    names = [f"mod_{name}" for name in ("delay", "ls", "xfer")]
    return [name for name in names if pathlib.Path(f"/usr/lib/proftpd/{name}.so").exists()]


class Proftpd(Program):
    """settings: proftpd's."""

    def __init__(self, port=21, **settings):
        file, own = (WORLD / f"proftpd.{port}.{end}" for end in ("conf", "own"))
        own.mkdir()
        files = {"PidFile": own / "pid", "ScoreboardFile": own / "scoreboard", "SystemLog": own / "log", "Port": port}
        lines = [f"LoadModule {name}.c\n" for name in _proftpd_modules()]
        lines += [f"{key} {value}\n" for key, value in (PROFTPD | files | settings).items()]
        file.write_text("".join(lines))
        super().__init__(["/usr/sbin/proftpd", "--nodaemon", "--quiet", "--config", str(file)], port)


class Pyftpdlib(Vsftpd):
    """Runs in the test's process, with root's rights."""

    def __init__(self, files=AbstractedFS, handler=FTPHandler, port=21):
        self.home = HOME
        users = DummyAuthorizer()
        users.add_user("alice", "secret", str(HOME), perm="elradfmwMT")
        logging.getLogger("pyftpdlib").setLevel(logging.CRITICAL)

        class Handler(handler):
            authorizer = users
            abstracted_fs = files

        self._server = FTPServer(("127.0.0.1", port), Handler)
        threading.Thread(target=self._server.serve_forever, daemon=True).start()


def dos_files(date_format):
    """Lists files in DOS or Windows style: "<date and time> <DIR or size> <name>"."""

    class DosFiles(AbstractedFS):
        def format_list(self, basedir, listing, ignore_err=True):
            for name in listing:
                found = os.stat(os.path.join(basedir, name))
                when = time.strftime(date_format, time.gmtime(found.st_mtime))
                size = "      <DIR>         "
                if not stat.S_ISDIR(found.st_mode):
                    size = f"{found.st_size:20}"
                yield f"{when} {size} {name}\r\n".encode()

    return DosFiles


class DosServer(Pyftpdlib):
    """The usual style: 01-15-12  03:04PM."""

    def __init__(self, date_format="%m-%d-%y  %I:%M%p"):
        super().__init__(dos_files(date_format))


UNIX_STYLE = {
    "vsftpd": Vsftpd,
    "pure-ftpd": PureFtpd,
    "proftpd": Proftpd,
    "pyftpdlib": Pyftpdlib,
}
