"""The server's identity: certificates and host keys are saved and compared with the pinned digest."""

import os
import pathlib
import subprocess

import pytest

from harness import client, wire
from harness.daemon import WORLD, program
from harness.relay import Relay
from harness.scripted import HangUp, Plan, take_then
from harness.sftp import HostKey, Sshd
from harness.sftp import digest_of as digest_of_key
from harness.tls import Certificate, TlsServer
from harness.tls import context as tls_context
from harness.tls import digest_of as digest_of_certificate
from harness.wire import auth

REJECTED = 60  # CURLE_PEER_FAILED_VERIFICATION, of certificates and host keys alike
SECRET = b"only for the right server"
PROTOCOLS = wire.FTPS | {"sftp": wire.SFTP}


class Side:
    """A server with one file, its protocol and its identity."""

    def __init__(self, protocol):
        self.fields = wire.by(protocol)
        self.sftp = protocol == wire.SFTP
        self.kind = wire.AUTH_MD5 if self.sftp else wire.AUTH_SHA1
        self.mismatch = wire.HOSTKEY_MISMATCH if self.sftp else wire.CERT_MISMATCH
        if self.sftp:
            self.identity = HostKey()
            self._server = Sshd(self.identity)
            self._server.put("a", b"content")
        else:
            self.identity = Certificate()
            self._server = TlsServer(control=self.identity, protocol=protocol, files={"a": b"content"})

    @property
    def digest(self):
        return self.identity.md5 if self.sftp else self.identity.sha1

    def names(self, path):
        """True if openssl or ssh-keygen reads the saved file as this server's identity."""
        if self.sftp:
            fields = path.read_text().split()
            return digest_of_key(path) == self.digest and fields == self.identity.fields
        return digest_of_certificate(path) == self.digest

    def stored(self, name):
        if self.sftp:
            return self._server.path(name).exists()
        return bool(self._server.stored)


@pytest.fixture
def side(request):
    return Side(PROTOCOLS[request.param])


on_every_side = pytest.mark.parametrize("side", PROTOCOLS, indirect=True)


def changed(digest, at):
    return digest[:at] + bytes([digest[at] ^ 1]) + digest[at + 1 :]


def verdicts(side):
    """(auth_type, digest, length, result, line of the log or None)"""
    right, other = side.digest, bytes(20 if side.sftp else 16)
    if side.sftp:
        ids = {"none": 1841, "length": 1847, "unsupported": 1869, "unexpected": 1875}
        length_line = "MD5 hash length is not valid: {}"
        unsupported, unsupported_line = wire.AUTH_SHA1, "SHA-1 digest check is not supported."
    else:
        ids = {"none": 1970, "length": 1982, "unsupported": 1975, "unexpected": 2003}
        length_line = "SHA-1 hash length is not valid: {}"
        unsupported, unsupported_line = wire.AUTH_MD5, "MD5 digest check is not supported."
    size = len(right)
    accepted = f"curl_func({ids['none']}): No authentication.\n"
    yield wire.AUTH_NONE, b"", 0, wire.OK, accepted
    yield wire.AUTH_NONE, other, len(other), wire.OK, accepted
    yield side.kind, right, size, wire.OK, None
    for at in (0, size // 2, size - 1):
        yield side.kind, changed(right, at), size, side.mismatch, None
    for length in (0, size - 1, size + 1, 20 if side.sftp else 16, 255):
        line = f"error: curl_func({ids['length']}): {length_line.format(length)}\n"
        yield side.kind, right, length, side.mismatch, line
    line = f"error: curl_func({ids['unsupported']}): {unsupported_line}\n"
    yield unsupported, right, size, wire.AUTH_UNSUPPORTED, line
    yield unsupported, other, len(other), wire.AUTH_UNSUPPORTED, line
    for kind, shown in ((3, 3), (0x7FFFFFFF, 0x7FFFFFFF), (0xFFFFFFFF, -1)):
        line = f"error: curl_func({ids['unexpected']}): Unexpected authentication type: {shown}\n"
        yield kind, right, size, wire.AUTH_UNSUPPORTED, line


@on_every_side
def test_the_verdict_on_each_kind_of_pin_and_the_identity_saved_in_any_case(
    daemon, side, jobs, log, local
):
    path = local / "identity ü"
    for kind, digest, length, result, line in verdicts(side):
        case = (kind, digest, length)
        for file in (local / "a", path):
            file.unlink(missing_ok=True)
        begin = len(log.texts)
        notice = jobs.download("a", local / "a", **side.fields | auth(*case, path))
        assert notice.outcome == (int(result != 0), result), case
        said = [text for text in log.texts[begin:] if "curl_func(" in text]
        assert (line in said) if line else not said, case
        if result == 0:
            assert (local / "a").read_bytes() == b"content", case
        else:
            assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (REJECTED, 0), case
            assert (local / "a").read_bytes() == b"", case
        assert side.names(path), case
        assert path.stat().st_mode & 0o777 == 0o644
        assert sorted(os.listdir(local)) == ["a", "identity ü"]


@on_every_side
def test_a_rejected_server_gets_no_upload_and_no_look_up(daemon, side, jobs, local):
    wrong = side.fields | auth(side.kind, changed(side.digest, 0))
    (local / "a").write_bytes(SECRET)
    assert jobs.upload(local / "a", "up", **wrong).outcome == (1, side.mismatch)
    assert not side.stored("up")
    assert jobs.file_info("a", **wrong).outcome == (1, side.mismatch)
    assert client.get_file_info()[2:4] == (0, 0)


@on_every_side
def test_a_pinned_server_gets_the_upload(daemon, side, jobs, local):
    (local / "a").write_bytes(SECRET)
    assert jobs.upload(local / "a", "up", **side.fields | side.identity.pin).outcome == (0, 0)
    assert side.stored("up")


@pytest.mark.parametrize("kind", ["tls-rsa", "tls-ecdsa", "ssh-ed25519", "ssh-ecdsa"])
def test_identities_with_each_kind_of_key_are_pinned(daemon, jobs, local, kind):
    layer, key = kind.split("-")
    if layer == "tls":
        identity, protocol, mismatch = Certificate(key=key), wire.FTPS_EXPLICIT, wire.CERT_MISMATCH
        TlsServer(control=identity, files={"a": b"content"})
    else:
        identity, protocol, mismatch = HostKey(key), wire.SFTP, wire.HOSTKEY_MISMATCH
        Sshd(identity).put("a", b"content")
    pin = identity.pin
    wrong = pin | {"digest": changed(pin["digest"], len(pin["digest"]) - 1)}
    for expected, outcome in ((pin, (0, 0)), (wrong, (1, mismatch))):
        saved = local / f"saved {outcome}"
        fields = wire.by(protocol) | expected | {"save_path": saved}
        assert jobs.download("a", local / "a", **fields).outcome == outcome
        if layer == "tls":
            assert digest_of_certificate(saved) == identity.sha1
        else:
            assert saved.read_text().split() == identity.fields


def mount(*arguments):
    subprocess.run(["mount", "--no-mtab", *map(str, arguments)], check=True)


@on_every_side
def test_an_identity_that_cannot_be_saved_rejects_the_server(daemon, side, jobs, local):
    read_only, full = local / "read only", local / "full"
    for folder in (read_only, full):
        folder.mkdir()
    mount("-t", "tmpfs", "-o", "ro", "tmpfs", read_only)
    mount("-t", "tmpfs", "-o", "size=4k", "tmpfs", full)
    (full / "filling").write_bytes(bytes(4096))
    cases = {
        local / "no such folder" / "identity": wire.SECURE_5,
        read_only / "identity": wire.SECURE_5,
        local: wire.SECURE_5,
        full / "identity": wire.SECURE_6,
        "/dev/full": wire.SECURE_6,
    }
    for path, result in cases.items():
        for expected in (auth(wire.AUTH_NONE), side.identity.pin):
            notice = jobs.download("a", local / "a", **side.fields | expected | {"save_path": path})
            assert notice.outcome == (1, result), path
            assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (REJECTED, 0), path
    assert not os.listdir(read_only)
    assert os.listdir(full) == ["filling"]
    assert sorted(os.listdir(local)) == ["a", "full", "read only"]


def test_plain_ftp_ignores_pin_and_save_path(daemon, scripted, jobs, local):
    scripted(files={"a": b"1"})
    fields = auth(9, b"x" * 20, 1, local / "identity")
    assert jobs.download("a", local / "a", **fields).outcome == (0, 0)
    assert os.listdir(local) == ["a"]


# --- Another certificate on the data connection


@pytest.fixture(params=wire.FTPS)
def two_faced(request, scripted_tls):
    """A server with different certificates for control and data connections."""
    shown, other = Certificate("shown"), Certificate("other")
    protocol = wire.FTPS[request.param]
    plan = Plan(listing=b"-rw-r--r-- 1 alice alice 1 Jan 15 2012 a\r\n")
    server = scripted_tls(plan, control=shown, data=other, protocol=protocol, files={"a": SECRET})
    server.fields = wire.by(protocol)
    server.shown, server.other = shown, other
    return server


@pytest.mark.parametrize("kind", ["download", "upload", "look"])
def test_a_data_connection_of_another_server_transfers_no_byte(daemon, two_faced, jobs, local, kind):
    fields = two_faced.fields | two_faced.shown.pin | {"save_path": local / "saved"}
    (local / "b").write_bytes(SECRET)
    job = {
        "download": lambda: jobs.download("a", local / "a", **fields),
        "upload": lambda: jobs.upload(local / "b", "up", **fields),
        "look": lambda: jobs.file_info("a", **fields),
    }
    assert job[kind]().outcome == (1, wire.CERT_MISMATCH)
    assert two_faced.data_refused.wait(30)
    assert len(two_faced.wires) == 1
    assert SECRET not in two_faced.wires[0].up + two_faced.wires[0].down
    assert not two_faced.stored
    if kind == "download":
        assert (local / "a").read_bytes() == b""
    assert client.get_file_info()[2:4] == (0, 0)
    # The last checked certificate is the saved one.
    assert digest_of_certificate(local / "saved") == two_faced.other.sha1


def test_without_a_pin_another_certificate_on_the_data_connection_is_accepted(daemon, two_faced, jobs, local):
    assert jobs.download("a", local / "a", **two_faced.fields).outcome == (0, 0)
    assert (local / "a").read_bytes() == SECRET


# --- Another server on a later connection


@pytest.mark.parametrize("protocol", wire.FTPS.values(), ids=wire.FTPS)
def test_another_server_that_takes_over_before_a_retry_is_rejected(
    fast_daemon, scripted_tls, jobs, local, protocol
):
    shown, other = Certificate("shown"), Certificate("other")
    breaking = Plan(take=take_then("close", 1000), closing=HangUp)
    server = scripted_tls(breaking, Plan(), control=shown, protocol=protocol)
    server.after_session(0, lambda: setattr(server, "control", tls_context(other)))
    (local / "a").write_bytes(SECRET * 100000)
    notice = jobs.upload(local / "a", "a", **wire.by(protocol) | shown.pin)
    assert notice.outcome == (1, wire.CERT_MISMATCH)
    assert notice.exec_info.retry_count == 1
    assert [len(session.commands) > 1 for session in server.sessions] == [True, False]


def test_another_sftp_server_on_the_second_connection_is_rejected(daemon, jobs, local):
    """The first connection only reads the login folder."""
    shown, other = HostKey(), HostKey(name="other")
    server = Sshd(shown, port=2022)
    Sshd(other, port=2023)
    relay = Relay(22, 2022, 2023)
    (local / "a").write_bytes(SECRET)
    notice = jobs.upload(local / "a", "up", **wire.by(wire.SFTP) | shown.pin)
    assert notice.outcome == (1, wire.HOSTKEY_MISMATCH)
    assert relay.connections == 2
    assert not server.path("up").exists()
    relay.stop()


# --- Every result of the device's own library

RESULTS = {
    1: wire.AUTH_UNSUPPORTED,
    2: wire.NO_MEMORY,
    3: wire.SECURE_DATA,
    4: wire.SECURE_DATA,
    5: wire.SECURE_5,
    6: wire.SECURE_6,
    7: wire.SECURE_7,
    8: wire.SECURE_UNKNOWN,
    9: wire.SECURE_UNKNOWN,
    -1: wire.SECURE_UNKNOWN,
}


@pytest.fixture
def judge(launch):
    """A daemon with a library whose results judge(save, compare, differs) sets."""
    folder = pathlib.Path(program()[-1]).parent.parent / "tests" / "scripted_secure"
    assert (folder / "libsecure.so").exists(), "not built: scripted_secure"
    script = WORLD / "secure.script"
    daemon = launch(LD_LIBRARY_PATH=str(folder), SCRIPTED_SECURE=str(script))
    assert str(folder / "libsecure.so") in pathlib.Path(f"/proc/{daemon.pid}/maps").read_text()
    return lambda *numbers: script.write_text(" ".join(map(str, numbers)))


def said_unknown(log):
    return [text for text in log.texts if text.startswith("error: curl_func(2190)")]


def unknown_line(answer):
    return f"error: curl_func(2190): err_secure_data_convert(): unknown data: {answer}\n"


@on_every_side
def test_every_result_of_the_library_has_its_error(judge, side, jobs, log, local):
    saving, comparing = auth(wire.AUTH_NONE, save_path=local / "x"), side.identity.pin
    for answer, result in RESULTS.items():
        for script, fields in (((answer, 0, 0), saving), ((0, answer, 0), comparing)):
            judge(*script)
            begin = len(said_unknown(log))
            notice = jobs.download("a", local / "a", **side.fields | fields)
            assert notice.outcome == (1, result), script
            assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (REJECTED, 0), script
            unknown = [unknown_line(answer)] if result == wire.SECURE_UNKNOWN else []
            assert said_unknown(log)[begin:] == unknown, script


@on_every_side
def test_the_library_decides_what_differs(judge, side, jobs, local):
    wrong = side.fields | auth(side.kind, changed(side.digest, 0), save_path=local / "x")
    for differs in (0, 1, -1, 256):
        judge(0, 0, differs)
        outcome = (1, side.mismatch) if differs else (0, 0)
        assert jobs.download("a", local / "a", **wrong).outcome == outcome, differs
