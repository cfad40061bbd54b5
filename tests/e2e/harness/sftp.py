"""OpenSSH's SFTP server; alice logs in by password."""

import pathlib
import subprocess

import pytest

from . import processes, wire
from .daemon import WORLD
from .libraries import host_keys
from .vsftpd import HOME, Vsftpd, listens, needs_users
from .waiting import wait_until

CONFIGURATION = {
    "UsePAM": "no",
    "PasswordAuthentication": "yes",
    "KbdInteractiveAuthentication": "no",
    "PubkeyAuthentication": "no",
    "PidFile": "none",
    "UseDNS": "no",
    "MaxStartups": "100",
    "Subsystem": "sftp internal-sftp",
}


def _without_penalties():
    """OpenSSH 9.8 and newer refuse an address for a while after its logins have failed, unless this is off."""
    known = b"persourcepenalties" in pathlib.Path("/usr/sbin/sshd").read_bytes()
    return {"PerSourcePenalties": "no"} if known else {}


def digest_of(file):
    """The MD5 digest of a public key file, by ssh-keygen."""
    command = ["ssh-keygen", "-l", "-E", "md5", "-f", str(file)]
    said = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return bytes.fromhex(said.split()[1].removeprefix("MD5:").replace(":", ""))


class HostKey:
    """kind: ed25519, ecdsa, rsa; None = one that the daemon's libssh2 supports"""

    def __init__(self, kind=None, name="host_key"):
        known = host_keys()
        kind = kind or known[0]
        if kind != "rsa" and kind not in known:
            pytest.skip(f"this libssh2 supports only {known[0]} host keys")
        self.file = WORLD / name
        self.public = WORLD / f"{name}.pub"
        command = ["ssh-keygen", "-q", "-t", kind, "-N", "", "-C", "", "-f", str(self.file)]
        subprocess.run(command, check=True)

    @property
    def md5(self):
        return digest_of(self.public)

    @property
    def pin(self):
        """The fields of a request that pins it."""
        return wire.auth(wire.AUTH_MD5, self.md5)

    @property
    def fields(self):
        """Kind and key, as in the public key's file."""
        return self.public.read_text().split()[:2]


def log():
    """The server's log."""
    return (WORLD / "sshd.log").read_text()


class Sshd(Vsftpd):
    """settings: sshd's. Files are handled like vsftpd's."""

    def __init__(self, key, port=22, **settings):
        needs_users()
        self.home = HOME
        file = WORLD / f"sshd_config.{port}"
        address = {"ListenAddress": f"127.0.0.1:{port}"}
        chosen = CONFIGURATION | _without_penalties() | address | {"HostKey": key.file} | settings
        file.write_text("".join(f"{name} {value}\n" for name, value in chosen.items()))
        with open(WORLD / "sshd.log", "wb") as said:
            self._process = processes.spawn(["/usr/sbin/sshd", "-D", "-e", "-f", file], stderr=said)
        wait_until(lambda: listens(port) or self._process.poll() is not None, "sshd to listen")
        assert self._process.poll() is None, log()
