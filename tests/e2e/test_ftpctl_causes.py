"""The message and the JSON for each cause of a failed job; each has its own sentence and exit status."""

import os
import subprocess

import pytest

from harness import ftpctl
from harness.daemon import WORLD
from harness.sftp import HostKey, Sshd
from harness.squid import PORT, Squid
from harness.scripted import Plan

SERVER, SFTP = "ftp://alice@127.0.0.1", "sftp://alice@127.0.0.1"


UNKNOWN = 10
TRIES = 5


def sure(*words, **variables):
    """Runs a command, again while its outcome is unknown, as may happen on a slow machine."""
    for _ in range(TRIES):
        told = ftpctl.run(*words, **variables)
        if told.status != UNKNOWN:
            break
    return told


def fails(status, *words, name=None, sentence=None, **variables):
    """The command must fail with this status and message, with and without --json."""
    told = sure(*words, **variables)
    assert told.status == status, told
    assert sentence is None or sentence in told.err, told.err
    told_programs = sure("--json", *words, **variables)
    object_ = told_programs.json
    assert (object_["status"], object_["error"]) == (status, name)
    assert f"ftpctl: {object_['message']}" in told_programs.err.splitlines()
    assert words[0] != "get" or not words[-1].exists()
    reason = object_["message"].split(" (")[0]  # the details may differ: retries
    lines = [line.split(" (")[0] for line in told.err.splitlines()]
    assert f"ftpctl: {reason}" in lines


def test_a_refused_login_is_named_as_the_cause(daemon, vsftpd, local):
    refused = {"name": "login-refused", "sentence": "refused the user name or the password", "FTPCTL_PASSWORD": "wrong"}
    Sshd(HostKey())
    for command in (["get", f"{SERVER}/a", local / "a"], ["info", f"{SERVER}/a"], ["get", f"{SFTP}/a", local / "a"]):
        fails(50, *command, **refused)


def test_a_missing_remote_file_or_folder_is_named_as_the_cause(daemon, vsftpd, local):
    Sshd(HostKey())
    for url in (f"{SERVER}/none", f"{SERVER}/none/a", f"{SFTP}/none", f"{SFTP}/none/a"):
        fails(51, "get", url, local / "a", name="no-such-file", sentence="has no such file or folder")
    fails(6, "info", f"{SERVER}/none", name="not-found")


def test_a_forbidden_upload_is_named_as_the_cause(daemon, vsftpd, local):
    Sshd(HostKey())
    (vsftpd.home / "locked").mkdir(mode=0o555)
    (local / "a").write_bytes(b"x")
    for url in (f"{SERVER}/locked/a", f"{SFTP}/locked/a"):
        fails(52, "put", local / "a", url, name="denied", sentence="does not allow it")


def test_an_unknown_host_name_is_named_as_the_cause(daemon, local):
    fails(53, "get", "ftp://nosuchhost.invalid/a", local / "a", name="name-not-found", sentence="nosuchhost.invalid")


def test_a_server_that_does_not_listen_is_named_as_the_cause(daemon, local):
    for scheme in ("ftp", "ftps", "ftpes", "sftp"):
        fails(54, "get", f"{scheme}://alice@127.0.0.1:9/a", local / "a", name="nobody-listens", sentence="127.0.0.1:9")


def test_an_unreachable_server_is_named_as_the_cause(daemon, local):
    subprocess.run(["ip", "route", "add", "unreachable", "192.0.2.0/24"], check=True)
    fails(55, "get", "ftp://alice@192.0.2.1/a", local / "a", name="unreachable", sentence="cannot be reached")


def test_a_failed_handshake_is_named_as_the_cause(daemon, vsftpd, local):
    for url in ("ftps://alice@127.0.0.1:21/a", "ftpes://alice@127.0.0.1/a"):  # this server has no TLS
        fails(56, "get", url, local / "a", name="handshake-failed", sentence="the TLS or SSH handshake failed")


def test_an_ssh_server_without_a_common_MAC_fails_the_handshake(daemon, local):
    Sshd(HostKey(), Ciphers="aes128-ctr", MACs="umac-64@openssh.com")  # no libssh2 knows this MAC
    fails(56, "get", f"{SFTP}/a", local / "a", name="handshake-failed")


def full_disk():
    """A folder of alice's on a disk of 64 KiB."""
    folder = WORLD / "home" / "alice" / "small"
    folder.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k,mode=777", "tmpfs", folder], check=True)


def test_a_full_disk_of_the_server_is_named_as_the_cause(daemon, vsftpd, local):
    full_disk()
    (local / "a").write_bytes(bytes(100_000))
    fails(57, "put", local / "a", f"{SERVER}/small/a", name="server-full", sentence="no space left")


def test_an_sftp_server_whose_disk_is_full_does_not_say_so(daemon, local):
    Sshd(HostKey())
    full_disk()
    (local / "a").write_bytes(bytes(1 << 20))
    url = f"{SFTP}/small/a"
    fails(63, "put", local / "a", url, name="sftp-failed", sentence="its disk may be full")
    arrived = (WORLD / "home" / "alice" / "small" / "a").stat().st_size
    assert 0 < arrived <= 64 << 10
    fails(63, "put", local / "a", url, name="sftp-failed", sentence=f"the remote file has {arrived} of {1 << 20} bytes")


def test_a_full_local_disk_is_named_as_the_cause(daemon, vsftpd, local):
    vsftpd.put("a", b"x" * 4096)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k", "tmpfs", local], check=True)
    (local / "b").write_bytes(b"x" * 4096)
    fails(58, "get", f"{SERVER}/a", local / "a", name="local-full", sentence="the local disk is full")
    assert os.listdir(local) == ["b"]


def test_a_missing_local_file_is_named_as_the_cause(daemon, vsftpd, local):
    fails(59, "put", local / "none", f"{SERVER}/a", name="no-local-file", sentence="does not exist")
    assert not (vsftpd.home / "a").exists()


THROUGH = ["--proxy", f"anna:x@127.0.0.1:{PORT}"]


@pytest.fixture
def guarded(vsftpd):
    """A proxy that needs anna's login, p:1@."""
    return Squid(login=("anna", "p:1@"))


def through(user=None):
    return ["--proxy", (f"{user}@" if user else "") + f"127.0.0.1:{PORT}"]


def test_a_proxy_and_a_tunnel_through_it_use_a_login(daemon, guarded, vsftpd, local):
    Sshd(HostKey(), port=443).put("a", b"hello")  # a port that squid connects to
    for url in (f"{SERVER}/a", f"{SFTP}:443/a"):
        (local / "a").unlink(missing_ok=True)
        told = ftpctl.run("get", *through("anna"), url, local / "a", FTPCTL_PROXY_PASSWORD="p:1@")
        assert told.status == 0, told
        assert (local / "a").read_bytes() == b"hello"


def test_a_missing_or_wrong_proxy_login_is_named_as_the_cause(daemon, guarded, vsftpd, local):
    said = {"name": "proxy-login", "sentence": "the proxy requires a login"}
    fails(60, "get", *through(), f"{SERVER}/a", local / "a", **said)
    fails(60, "get", *through("anna"), f"{SERVER}/a", local / "a", FTPCTL_PROXY_PASSWORD="wrong", **said)


def test_a_refused_tunnel_is_named_as_the_cause(daemon, guarded, local):
    url = "sftp://alice@127.0.0.1:443/a"
    fails(64, "get", *through(), url, local / "a", name="proxy-refused", sentence="the proxy did not connect")


def test_a_proxys_password_is_refused_on_the_command_line(daemon, local):
    told = ftpctl.run("get", *THROUGH, f"{SERVER}/a", local / "a")
    assert told.status == 2
    assert "--proxy-password-file" in told.err and "FTPCTL_PROXY_PASSWORD" in told.err
    assert "anna:x" not in told.err


def test_a_broken_connection_is_named_as_the_cause(daemon, scripted, local):
    scripted(*[Plan(closing="426 broken")] * 4, files={"a": b"x" * 100})
    fails(61, "get", f"{SERVER}/a", local / "a", name="connection-broken", sentence="the connection broke")
