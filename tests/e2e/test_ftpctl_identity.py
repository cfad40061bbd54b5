"""ftpctl identity: reads a server's identity, which can then be pinned."""

import os
import re
import signal
import subprocess

import pytest

from harness import client, ftpctl, wire
from harness.scripted import Plan, Silence
from harness.sftp import HostKey, Sshd
from harness.sftp import log as sshd_log
from harness.tls import Certificate, PyftpdlibTls, TlsServer, VsftpdTls, openssl
from harness.waiting import wait_until

CERT_MISMATCH, HOSTKEY_MISMATCH, NOBODY_LISTENS, CANCELED = 41, 42, 54, 21


def ssh_fingerprint(key, kind):
    command = ["ssh-keygen", "-l", "-E", kind, "-f", key.public]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.split()


def openssl_fingerprint(certificate, kind):
    said = openssl("x509", "-in", certificate.file, "-noout", "-fingerprint", f"-{kind}")
    return said.strip().split("=")[1]


class Server:
    """A real server with the file "a", and its identity as the usual tools print it."""

    def __init__(self, name):
        kind, key = name.split()
        self.sftp = kind == "openssh"
        if self.sftp:
            self.identity, self.url = HostKey(key), "sftp://alice@127.0.0.1"
            # The daemon's libssh2 may support RSA keys only with their oldest signatures.
            server = Sshd(self.identity, HostKeyAlgorithms="+ssh-rsa")
        else:
            self.identity = Certificate(key=key)
            protocol = wire.FTPS_EXPLICIT if kind == "vsftpd" else wire.FTPS_IMPLICIT
            scheme = "ftpes" if kind == "vsftpd" else "ftps"
            self.url = f"{scheme}://alice@127.0.0.1"
            server = {"vsftpd": VsftpdTls, "pyftpdlib": PyftpdlibTls}[kind](self.identity, protocol)
        server.put("a", b"content")

    def facts(self):
        """The expected JSON object, from openssl and ssh-keygen."""
        if self.sftp:
            bits, sha256, *_, kind = ssh_fingerprint(self.identity, "sha256")
            md5 = ssh_fingerprint(self.identity, "md5")[1].removeprefix("MD5:")
            return {
                "kind": "host key",
                "type": self.identity.fields[0],
                "key_type": {"(RSA)": "RSA", "(ECDSA)": "ECDSA", "(ED25519)": "Ed25519"}[kind],
                "key_bits": int(bits),
                "sha256": sha256,
                "md5": md5,
                "pin": "md5:" + md5,
            }
        sha1 = openssl_fingerprint(self.identity, "sha1")
        subject = openssl("x509", "-in", self.identity.file, "-noout", "-subject").strip()
        shown = openssl("x509", "-in", self.identity.file, "-noout", "-text")
        return {
            "kind": "certificate",
            # OpenSSL 3.2 and newer leave out the blanks.
            "subject": re.sub(" ?= ?", " = ", subject.removeprefix("subject=")),
            "key_type": "RSA" if "rsaEncryption" in shown else "ECDSA",
            "key_bits": int(re.search(r"Public-Key: \((\d+) bit\)", shown)[1]),
            "sha256": openssl_fingerprint(self.identity, "sha256"),
            "sha1": sha1,
            "pin": "sha1:" + sha1,
        }


SERVERS = [
    "vsftpd rsa",
    "vsftpd ecdsa",
    "pyftpdlib ecdsa",
    "openssh rsa",
    "openssh ecdsa",
    "openssh ed25519",
]


@pytest.fixture(params=SERVERS)
def server(request):
    return Server(request.param)


def changed(pin):
    """The pin with its last digit changed."""
    return pin[:-1] + ("0" if pin[-1] != "0" else "1")


def test_the_printed_pin_is_the_servers_and_another_is_refused(daemon, server, local):
    facts = server.facts()
    known = ftpctl.run("identity", "--json", server.url)
    assert known.status == 0, known
    assert {name: known.json["identity"].get(name) for name in facts} == facts

    shown = ftpctl.run("identity", server.url + "/any/path")
    assert (shown.status, shown.err) == (0, "")
    assert shown.out.splitlines()[-1].split() == ["use", "--pin", facts["pin"]]
    assert facts["sha256"] in shown.out
    assert ftpctl.run("identity", "--quiet", server.url).out == facts["pin"] + "\n"

    pin = shown.out.split("--pin ")[1].strip()
    got = ftpctl.run("get", "--pin", pin, server.url + "/a", local / "a")
    assert got.status == 0, got
    assert (local / "a").read_bytes() == b"content"

    refused = ftpctl.run("get", "--pin", changed(pin), server.url + "/a", local / "b")
    assert refused.status == (HOSTKEY_MISMATCH if server.sftp else CERT_MISMATCH), refused
    assert not (local / "b").exists()


@pytest.mark.parametrize("scheme", ["ftps", "ftpes"])
def test_the_server_gets_no_credentials(daemon, local, network_manager, scheme):
    protocol = {"ftps": wire.FTPS_IMPLICIT, "ftpes": wire.FTPS_EXPLICIT}[scheme]
    server = TlsServer(control=Certificate(), protocol=protocol, files={"a": b"content"})
    assert ftpctl.run("identity", f"{scheme}://alice@127.0.0.1/a").status == 0
    said = " ".join(str(command) for session in server.sessions for command in session.commands)
    assert "USER" not in said and "PASS" not in said and "RETR" not in said, said
    assert not server.wires, "a data connection"
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (1, wire.CERT_MISMATCH)
    server.stop()


def test_an_sftp_server_sees_no_login(daemon):
    Sshd(HostKey(), LogLevel="DEBUG1")
    assert ftpctl.run("identity", "sftp://alice@127.0.0.1").status == 0
    wait_until(lambda: "Connection" in sshd_log() and "preauth" in sshd_log(), "sshd to tell")
    assert "alice" not in sshd_log()


def test_nothing_is_left_and_the_last_file_information_is_kept(daemon, network_manager, local):
    listing = b"-rw-r--r-- 1 alice alice 7 Jan 15 2012 a\r\n"
    server = TlsServer(
        Plan(listing=listing), control=Certificate(), files={"a": b"content"}
    )
    assert ftpctl.run("info", "ftpes://alice@127.0.0.1/a").status == 0
    assert ftpctl.run("identity", "ftpes://127.0.0.1", TMPDIR=str(local)).status == 0
    assert client.get_file_info().size == 7
    assert ftpctl.run("identity", "ftps://127.0.0.1:1", TMPDIR=str(local)).status == NOBODY_LISTENS
    assert os.listdir(local) == []
    server.stop()


def test_ctrl_c_cancels_it_and_leaves_nothing(daemon, scripted, local):
    scripted(Plan(greeting=Silence))
    asking = ftpctl.start("identity", "ftpes://127.0.0.1", cwd=local)
    wait_until(lambda: client.state().running == 1, "the job to run")
    asking.send_signal(signal.SIGINT)
    out, err = asking.communicate(timeout=30)
    assert asking.returncode == CANCELED, (out, err)
    assert "interrupted, cancelling the job" in err
    assert not [name for name in os.listdir(os.environ["TMPDIR"]) if name.startswith("ftpctl.")]


def test_without_a_place_for_its_folder_no_job_is_started(daemon, local, network_manager):
    outcome = ftpctl.run("identity", "ftpes://127.0.0.1", TMPDIR=str(local / "none"))
    assert outcome.status == 1
    assert outcome.err == f"ftpctl: {local}/none: No such file or directory\n"
    assert client.state().kind == 0
