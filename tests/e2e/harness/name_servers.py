"""The servers for trials of names, and the names that each of them cannot handle."""

from . import names, wire
from .ftp_servers import Proftpd, PureFtpd
from .name_jobs import Server
from .sftp import HostKey, Sshd
from .squid import PROXY, Squid
from .tls import Certificate, ProftpdTls, PureFtpdTls, VsftpdTls
from .vsftpd import Vsftpd

PLAIN_PORT = 2021


def _goes_through_ftp(path):
    """libcurl refuses control characters; for all of these servers '~' is the login directory."""
    return min(path) >= 32 and not any(segment.startswith(b"~") for segment in path.split(b"/"))


def _is_listed(path):
    """A leading dot hides a file; a leading blank cannot be told from the column's."""
    return not path.split(b"/")[-1].startswith((b".", b" "))


def _vsftpd(kind, path):
    return _goes_through_ftp(path) and (kind != "look" or _is_listed(path))


def _pure_ftpd(kind, path):
    """Refuses backslashes; turns leading blanks and 0x7f into '_'."""
    odd = b"\\" in path or b"\x7f" in path or b"/ " in b"/" + path
    return not odd and _vsftpd(kind, path)


def _proftpd(kind, path):
    """Interprets TELNET's 0xff, trims arguments, and lists '?' for non-ASCII bytes."""
    odd = b"\xff" in path or any(segment != segment.strip() for segment in path.split(b"/"))
    return not odd and _vsftpd(kind, path) and (kind != "look" or max(path) < 127)


def _openssh(kind, path):
    return kind != "look" or not path.split(b"/")[-1].startswith(b" ")


def _through_squid(carries):
    return lambda kind, path: carries(kind, path) and not path.startswith(b"/") and b"\xff" not in path


def _squid_reads_otherwise(job, before, fetched):
    if job.path.startswith(b"/"):
        return "squid takes an absolute path for one below the login directory"
    if b"\xff" in job.path:
        return "squid doubles 0xff"
    if job.kind == "download" and fetched.startswith(b"<!DOCTYPE html"):
        return "squid lists a directory"
    if job.kind == "download" and before.get(names.meaning(b"/" + job.path, b"/").file) == fetched:
        return "squid takes what it does not find for an absolute path"
    return None


def _plain(name, start, carries):
    def make():
        start(21)
        return Server(name, {}, active_too=True, plain_port=21, carries=carries)

    return make


def _secure(name, start, start_plain, protocol, carries):
    """The same server without TLS, for the test's own requests."""

    def make():
        start(Certificate(), protocol)
        start_plain(PLAIN_PORT)
        return Server(name, wire.by(protocol), active_too=True, plain_port=PLAIN_PORT, carries=carries)

    return make


def make_openssh():
    Sshd(HostKey())
    return Server("openssh", {"protocol": wire.SFTP, "port": 22}, sftp=True, carries=_openssh)


def _behind_squid(name, start, carries):
    def make():
        start(21)
        squid = Squid()

        def revive():
            """Starts squid again if it has died, which some names cause."""
            if not squid.has_died:
                return False
            print("squid had died:", squid.last_words, flush=True)
            squid.start()
            return True

        kinds = ("download", "upload")  # file information is not supported through a proxy
        rules = {"carries": _through_squid(carries), "excused": _squid_reads_otherwise, "revive": revive}
        return Server(name, PROXY, kinds=kinds, plain_port=21, **rules)

    return make


VSFTPD = (lambda port: Vsftpd(listen_port=port)), _vsftpd
PURE_FTPD = (lambda port: PureFtpd(port=port)), _pure_ftpd
PROFTPD = (lambda port: Proftpd(port, AllowOverwrite="on")), _proftpd


def _every(name, plain, **secure):
    """{row: function that makes its server} for an FTP server. secure: the same with TLS, by kind."""
    start, carries = plain
    rows = {name: _plain(name, start, carries)}
    for kind, tls in secure.items():
        protocol = {"implicit": wire.FTPS_IMPLICIT, "explicit": wire.FTPS_EXPLICIT}[kind]
        rows[f"{name}-{kind}"] = _secure(f"{name}-{kind}", tls, start, protocol, carries)
    rows[f"{name}-squid"] = _behind_squid(f"{name}-squid", start, carries)
    return rows


def _proftpd_tls(certificate, protocol):
    ProftpdTls(certificate, protocol, AllowOverwrite="on")


SERVERS = {
    **_every("vsftpd", VSFTPD, implicit=VsftpdTls, explicit=VsftpdTls),
    **_every("proftpd", PROFTPD, implicit=_proftpd_tls, explicit=_proftpd_tls),
    **_every("pure-ftpd", PURE_FTPD, explicit=lambda certificate, _: PureFtpdTls(certificate)),
    "openssh": make_openssh,
}
