"""Who the server is: certificates and host keys that are saved and compared with what is expected."""

import os
import pathlib
import subprocess

import pytest

from harness import client, wire
from harness.daemon import WORLD, program
from harness.ftp_servers import one_user_only
from harness.relay import Relay
from harness.scripted import HangUp, Plan, take_then
from harness.sftp import HostKey, Sshd
from harness.sftp import digest_of as digest_of_key
from harness.tls import PORTS, Certificate, TlsServer
from harness.tls import context as tls_context
from harness.tls import digest_of as digest_of_certificate

REJECTED = 60  # CURLE_PEER_FAILED_VERIFICATION, of certificates and host keys alike
SECRET = b"only for the right server"
FTPS = {"implicit": wire.FTPS_IMPLICIT, "explicit": wire.FTPS_EXPLICIT}
PROTOCOLS = FTPS | {"sftp": wire.SFTP}


class Side:
    """A server with one file, the protocol to reach it, and what is known of its identity."""

    def __init__(self, protocol):
        self.fields = {"protocol": protocol, "port": PORTS.get(protocol, 22)}
        self.sftp = protocol == wire.SFTP
        self.kind = wire.AUTH_MD5 if self.sftp else wire.AUTH_SHA1
        self.mismatch = wire.HOSTKEY_MISMATCH if self.sftp else wire.CERT_MISMATCH
        if self.sftp:
            self.identity = HostKey()
            self._server = Sshd(self.identity)
            self._server.put("a", b"content")
        else:
            self.identity = Certificate()
            self._server = TlsServer(
                control=self.identity, protocol=protocol, files={"a": b"content"}
            )

    @property
    def digest(self):
        return self.identity.md5 if self.sftp else self.identity.sha1

    def names(self, path):
        """True when the saved file is read as this server's identity by openssl or ssh-keygen."""
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
    protocol = PROTOCOLS[request.param]
    if protocol == wire.SFTP and one_user_only():
        pytest.skip("sshd logs users in: needs root")
    return Side(protocol)


on_every_side = pytest.mark.parametrize("side", PROTOCOLS, indirect=True)


def auth(kind, digest=b"", length=None, save_path=""):
    length = len(digest) if length is None else length
    return {
        "auth_type": kind,
        "digest": digest,
        "digest_length": bytes([length]),
        "save_path": save_path,
    }


def downloads(network_manager, side):
    """A function that downloads with these fields: (outcome, curl code, response code, retries)."""
    taken = []

    def download(local_path, **fields):
        taken.append(local_path)
        assert client.download("a", local_path, **side.fields | fields) == (0, 0)
        notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, len(taken))
        done = notice.exec_info
        return notice.outcome, done.curl_code, done.response_code, done.retry_count

    return download


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
def test_the_verdict_on_each_kind_of_expectation(daemon, side, network_manager, log, local):
    download = downloads(network_manager, side)
    for kind, digest, length, result, line in verdicts(side):
        case = (kind, digest, length)
        (local / "a").unlink(missing_ok=True)
        begin = len(log.texts)
        outcome, curl_code, response_code, retries = download(
            local / "a", **auth(kind, digest, length)
        )
        assert outcome == (int(result != 0), result), case
        said = [text for text in log.texts[begin:] if "curl_func(" in text]
        assert (line in said) if line else not said, case
        if result == 0:
            assert (local / "a").read_bytes() == b"content", case
        else:
            assert (curl_code, retries) == (REJECTED, 0), case
            assert (local / "a").read_bytes() == b"", case


@on_every_side
def test_a_rejected_server_gets_no_upload_and_answers_no_look(daemon, side, network_manager, local):
    wrong = auth(side.kind, changed(side.digest, 0))
    (local / "a").write_bytes(SECRET)
    client.upload(local / "a", "up", **side.fields | wrong)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (1, side.mismatch)
    assert not side.stored("up")
    client.file_info("a", **side.fields | wrong)
    assert network_manager.wait_for(wire.NOTICE_FILE_INFO).outcome == (1, side.mismatch)
    found = client.get_file_info()
    assert (found.looked_up, found.exists) == (0, 0)


@on_every_side
def test_an_expected_server_gets_the_upload(daemon, side, network_manager, local):
    (local / "a").write_bytes(SECRET)
    client.upload(local / "a", "up", **side.fields | auth(side.kind, side.digest))
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert side.stored("up")


@on_every_side
def test_the_identity_is_saved_whatever_the_verdict(daemon, side, network_manager, local):
    download = downloads(network_manager, side)
    path = local / "identity ü"
    for kind, digest, length, result, _ in verdicts(side):
        path.unlink(missing_ok=True)
        outcome = download(local / "a", **auth(kind, digest, length, path))[0]
        assert outcome == (int(result != 0), result)
        assert side.names(path), (kind, digest, length)
        assert path.stat().st_mode & 0o777 == 0o644
        assert sorted(os.listdir(local)) == ["a", "identity ü"]


@pytest.mark.parametrize("key", ["rsa", "ecdsa"])
def test_certificates_with_each_kind_of_key_are_pinned(daemon, network_manager, local, key):
    certificate = Certificate(key=key)
    TlsServer(control=certificate, files={"a": b"content"})
    fields = {"protocol": wire.FTPS_EXPLICIT}
    for number, (digest, outcome) in enumerate(
        [(certificate.sha1, (0, 0)), (changed(certificate.sha1, 19), (1, 21))], 1
    ):
        wanted = auth(wire.AUTH_SHA1, digest, save_path=local / f"saved {number}")
        client.download("a", local / "a", **fields | wanted)
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == outcome
        assert digest_of_certificate(local / f"saved {number}") == certificate.sha1


@pytest.mark.parametrize("key", ["ed25519", "ecdsa"])
def test_host_keys_of_each_kind_are_pinned(daemon, network_manager, local, key):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    host_key = HostKey(key)
    Sshd(host_key).put("a", b"content")
    fields = {"protocol": wire.SFTP, "port": 22}
    for number, (digest, outcome) in enumerate(
        [(host_key.md5, (0, 0)), (changed(host_key.md5, 15), (1, 22))], 1
    ):
        wanted = auth(wire.AUTH_MD5, digest, save_path=local / f"saved {number}")
        client.download("a", local / "a", **fields | wanted)
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == outcome
        assert (local / f"saved {number}").read_text().split() == host_key.fields


def mount(*arguments):
    subprocess.run(["mount", "--no-mtab", *map(str, arguments)], check=True)


@on_every_side
def test_an_identity_that_cannot_be_saved_rejects_the_server(daemon, side, network_manager, local):
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
    download = downloads(network_manager, side)
    for path, result in cases.items():
        for expected in (auth(wire.AUTH_NONE), auth(side.kind, side.digest)):
            outcome, curl_code, _, retries = download(local / "a", **expected | {"save_path": path})
            assert outcome == (1, result), path
            assert (curl_code, retries) == (REJECTED, 0), path
    assert not os.listdir(read_only)
    assert os.listdir(full) == ["filling"]
    assert sorted(os.listdir(local)) == ["a", "full", "read only"]


def test_plain_ftp_looks_at_none_of_it(daemon, scripted, network_manager, local):
    scripted(files={"a": b"1"})
    client.download("a", local / "a", **auth(9, b"x" * 20, 1, local / "identity"))
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert os.listdir(local) == ["a"]


# --- Another certificate on the data connection


@pytest.fixture(params=FTPS)
def two_faced(request):
    """A server whose data connections show another certificate than its control connections."""
    shown, other = Certificate("shown"), Certificate("other")
    protocol = FTPS[request.param]
    listing = b"-rw-r--r-- 1 alice alice 1 Jan 15 2012 a\r\n"
    server = TlsServer(
        Plan(listing=listing), control=shown, data=other, protocol=protocol, files={"a": SECRET}
    )
    server.fields = {"protocol": protocol, "port": PORTS[protocol]}
    server.shown, server.other = shown, other
    yield server
    server.stop()


def assert_no_data(server):
    assert server.data_refused.wait(30)
    assert len(server.wires) == 1
    assert SECRET not in server.wires[0].up + server.wires[0].down
    assert not server.stored


def test_a_data_connection_of_another_server_gives_no_byte(
    daemon, two_faced, network_manager, local
):
    pin = auth(wire.AUTH_SHA1, two_faced.shown.sha1, save_path=local / "saved")
    client.download("a", local / "a", **two_faced.fields | pin)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (1, wire.CERT_MISMATCH)
    assert (local / "a").read_bytes() == b""
    assert_no_data(two_faced)
    # Saved is what was checked last.
    assert digest_of_certificate(local / "saved") == two_faced.other.sha1


def test_a_data_connection_of_another_server_gets_no_byte(
    daemon, two_faced, network_manager, local
):
    (local / "a").write_bytes(SECRET)
    pin = auth(wire.AUTH_SHA1, two_faced.shown.sha1)
    client.upload(local / "a", "up", **two_faced.fields | pin)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (1, wire.CERT_MISMATCH)
    assert_no_data(two_faced)


def test_a_data_connection_of_another_server_tells_nothing_of_a_file(
    daemon, two_faced, network_manager
):
    pin = auth(wire.AUTH_SHA1, two_faced.shown.sha1)
    client.file_info("a", **two_faced.fields | pin)
    assert network_manager.wait_for(wire.NOTICE_FILE_INFO).outcome == (1, wire.CERT_MISMATCH)
    found = client.get_file_info()
    assert (found.looked_up, found.exists) == (0, 0)
    assert_no_data(two_faced)


def test_without_an_expectation_another_certificate_on_the_data_connection_will_do(
    daemon, two_faced, network_manager, local
):
    client.download("a", local / "a", **two_faced.fields)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert (local / "a").read_bytes() == SECRET


# --- Another server on a later connection


@pytest.mark.parametrize("protocol", FTPS.values(), ids=FTPS)
def test_another_server_that_takes_over_before_a_retry_is_rejected(
    fast_daemon, network_manager, local, protocol
):
    shown, other = Certificate("shown"), Certificate("other")
    breaking = Plan(take=take_then("close", 1000), closing=HangUp)
    server = TlsServer(breaking, Plan(), control=shown, protocol=protocol)
    server.after_session(0, lambda: setattr(server, "control", tls_context(other)))
    (local / "a").write_bytes(SECRET * 100000)
    fields = {"protocol": protocol, "port": PORTS[protocol]}
    client.upload(local / "a", "a", **fields | auth(wire.AUTH_SHA1, shown.sha1))
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (1, wire.CERT_MISMATCH)
    assert notice.exec_info.retry_count == 1
    assert [len(session.commands) > 1 for session in server.sessions] == [True, False]
    server.stop()


def test_another_sftp_server_on_the_second_connection_is_rejected(daemon, network_manager, local):
    """The first connection only asks for the login folder."""
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    shown, other = HostKey("ed25519"), HostKey("ecdsa")
    server = Sshd(shown, port=2022)
    Sshd(other, port=2023)
    relay = Relay(22, 2022, 2023)
    (local / "a").write_bytes(SECRET)
    fields = {"protocol": wire.SFTP, "port": 22} | auth(wire.AUTH_MD5, shown.md5)
    client.upload(local / "a", "up", **fields)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (1, wire.HOSTKEY_MISMATCH)
    assert relay.connections == 2
    assert not server.path("up").exists()
    relay.stop()


# --- Whatever the device's own library answers

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
def judge(unstarted, network_manager):
    """A daemon with a library that answers as judge(save, compare, differs) says."""
    folder = pathlib.Path(program()[-1]).parent.parent / "tests" / "scripted_secure"
    assert (folder / "libsecure.so").exists(), "not built: scripted_secure"
    script = WORLD / "secure.script"
    unstarted.launch(LD_LIBRARY_PATH=str(folder), SCRIPTED_SECURE=str(script))
    unstarted.find()
    network_manager.wait_for(wire.NOTICE_STARTED)
    maps = pathlib.Path(f"/proc/{unstarted.pid}/maps").read_text()
    assert str(folder / "libsecure.so") in maps
    return lambda *numbers: script.write_text(" ".join(map(str, numbers)))


def said_unknown(log):
    return [text for text in log.texts if text.startswith("error: curl_func(2190)")]


def unknown_line(answer):
    return f"error: curl_func(2190): err_secure_data_convert(): unknown data: {answer}\n"


@on_every_side
def test_every_answer_of_the_library_becomes_its_result(judge, side, network_manager, log, local):
    download = downloads(network_manager, side)
    saving, comparing = auth(wire.AUTH_NONE, save_path=local / "x"), auth(side.kind, side.digest)
    for answer, result in RESULTS.items():
        for script, fields in (((answer, 0, 0), saving), ((0, answer, 0), comparing)):
            judge(*script)
            begin = len(said_unknown(log))
            outcome, curl_code, _, retries = download(local / "a", **fields)
            assert outcome == (1, result), script
            assert (curl_code, retries) == (REJECTED, 0), script
            unknown = [unknown_line(answer)] if result == wire.SECURE_UNKNOWN else []
            assert said_unknown(log)[begin:] == unknown, script


@on_every_side
def test_the_library_decides_what_differs(judge, side, network_manager, local):
    download = downloads(network_manager, side)
    wrong = auth(side.kind, changed(side.digest, 0), save_path=local / "x")
    for differs, outcome in (
        (0, (0, 0)),
        (1, (1, side.mismatch)),
        (-1, (1, side.mismatch)),
        (256, (1, side.mismatch)),
    ):
        judge(0, 0, differs)
        assert download(local / "a", **wrong)[0] == outcome, differs
