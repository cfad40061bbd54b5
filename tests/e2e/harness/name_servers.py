"""The servers on which names are tried, and what each of them cannot do with a name."""

from . import names, wire
from .ftp_servers import Proftpd, PureFtpd
from .name_jobs import Server
from .sftp import HostKey, Sshd
from .squid import PORT, Squid
from .tls import IMPLICIT_PORT, Certificate, VsftpdTls
from .vsftpd import Vsftpd

PLAIN_PORT = 2021


def _goes_through_ftp(path):
    """libcurl takes no control characters; '~' is the login directory to all of these servers."""
    return min(path) >= 32 and not any(segment.startswith(b"~") for segment in path.split(b"/"))


def _is_listed(path):
    """Files with a dot in front are hidden; nobody can tell a blank in front from the column's."""
    return not path.split(b"/")[-1].startswith((b".", b" "))


def _vsftpd(kind, path):
    return _goes_through_ftp(path) and (kind != "look" or _is_listed(path))


def _pure_ftpd(kind, path):
    """Takes no backslash; makes '_' of blanks in front and of 0x7f."""
    odd = b"\\" in path or b"\x7f" in path or b"/ " in b"/" + path
    return not odd and _vsftpd(kind, path)


def _proftpd(kind, path):
    """Knows TELNET's 0xff; drops blanks round an argument; lists '?' for what is not ASCII."""
    odd = b"\xff" in path or any(segment != segment.strip() for segment in path.split(b"/"))
    return not odd and _vsftpd(kind, path) and (kind != "look" or max(path) < 127)


def _openssh(kind, path):
    return kind != "look" or not path.split(b"/")[-1].startswith(b" ")


def _squid(kind, path):
    return _vsftpd(kind, path) and not path.startswith(b"/") and b"\xff" not in path


def _squid_reads_otherwise(job, before, fetched):
    if job.kind == "upload" and job.path.endswith(b"/"):
        return None  # it would make up a name of its own
    if job.path.startswith(b"/"):
        return "squid takes an absolute path for one below the login directory"
    if b"\xff" in job.path:
        return "squid doubles 0xff"
    if job.kind == "download" and fetched.startswith(b"<!DOCTYPE html"):
        return "squid lists a directory"
    if job.kind == "download" and before.get(names.meaning(b"/" + job.path, b"/").file) == fetched:
        return "squid takes what it does not find for an absolute path"
    return None


def make_vsftpd():
    Vsftpd()
    return Server("vsftpd", {}, active_too=True, plain_port=21, carries=_vsftpd)


def make_pure_ftpd():
    PureFtpd()
    return Server("pure-ftpd", {}, active_too=True, plain_port=21, carries=_pure_ftpd)


def make_proftpd():
    Proftpd(AllowOverwrite="on")
    return Server("proftpd", {}, active_too=True, plain_port=21, carries=_proftpd)


def _make_secure(name, protocol, port):
    VsftpdTls(Certificate(), protocol)
    Vsftpd(listen_port=PLAIN_PORT)
    fields = {"protocol": protocol, "port": port}
    return Server(name, fields, active_too=True, plain_port=PLAIN_PORT, carries=_vsftpd)


def make_ftps():
    return _make_secure("ftps", wire.FTPS_IMPLICIT, IMPLICIT_PORT)


def make_explicit():
    return _make_secure("explicit", wire.FTPS_EXPLICIT, 21)


def make_openssh():
    Sshd(HostKey())
    return Server("openssh", {"protocol": wire.SFTP, "port": 22}, sftp=True, carries=_openssh)


def make_squid():
    Vsftpd()
    squid = Squid()

    def revive():
        """It does die now and then."""
        if not squid.has_died:
            return False
        print("squid had died:", squid.last_words, flush=True)
        squid.start()
        return True

    proxy = {"proxy_type": 1, "proxy_host": "127.0.0.1", "proxy_port": PORT}
    kinds = ("download", "upload")  # file information is not supported through a proxy
    rules = {"carries": _squid, "excused": _squid_reads_otherwise, "revive": revive}
    return Server("squid", proxy, kinds=kinds, plain_port=21, **rules)


SERVERS = {
    "vsftpd": make_vsftpd,
    "pure-ftpd": make_pure_ftpd,
    "proftpd": make_proftpd,
    "ftps": make_ftps,
    "explicit": make_explicit,
    "openssh": make_openssh,
    "squid": make_squid,
}
