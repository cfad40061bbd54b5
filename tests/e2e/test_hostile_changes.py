"""Servers that never stop replying, and local files that change while they are sent."""

import socket
import threading
import time

import pytest

from harness import client, wire
from harness.ftp_servers import one_user_only
from harness.relay import Relay
from harness.scripted import Plan, take_slowly
from harness.sftp import HostKey, Sshd
from harness.waiting import HELD_UP_S, wait_until

MIB = 1 << 20
GROWTH_KIB = 4096

ENDLESS = {
    "lines": b"220-welcome\r\n" * 1000,
    "a line": b"220-" + b"x" * 16380,
    "nothing": bytes(16384),
}


class Flood:
    """Accepts, says so many true lines, each after one of the client's, and then the same for ever."""

    def __init__(self, piece, before=(), port=21):
        self._piece, self._before = piece, before
        self.sent_bytes = 0
        self._listener = socket.create_server(("127.0.0.1", port))
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            connection, _ = self._listener.accept()
            threading.Thread(target=self._talk, args=(connection,), daemon=True).start()

    def _talk(self, connection):
        try:
            for line in self._before:
                connection.sendall(line)
                connection.recv(4096)
            while True:
                connection.sendall(self._piece)
                self.sent_bytes += len(self._piece)
        except OSError:
            connection.close()


def jobs_go_on(scripted, network_manager, local):
    scripted(Plan(), files={"b": b"whole"}, port=2121)
    before = len(network_manager.of_code(wire.NOTICE_DOWNLOAD))
    client.download("b", local / "b", port=2121)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, before + 1).outcome == (0, 0)


@pytest.mark.parametrize("piece", ENDLESS.values(), ids=ENDLESS)
def test_an_endless_greeting_ends_the_job_only(
    fast_daemon, scripted, network_manager, local, piece
):
    Flood(piece)
    before_kib = fast_daemon.resident_kib()
    client.download("a", local / "a")
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, deadline_s=60)
    assert notice.outcome in ((1, wire.TIMEOUT), (1, wire.NETWORK))
    assert fast_daemon.grew_less_than(GROWTH_KIB, before_kib)
    jobs_go_on(scripted, network_manager, local)


@pytest.mark.parametrize("piece", ENDLESS.values(), ids=ENDLESS)
def test_an_endless_reply_after_the_login_is_cancelled_within_three_seconds(
    daemon, scripted, network_manager, local, piece
):
    login = (b"220 hello\r\n", b"331 password?\r\n", b"230 in\r\n", b'257 "/"\r\n')
    server = Flood(piece, login)
    before_kib = daemon.resident_kib()
    client.download("a", local / "a")
    wait_until(
        lambda: server.sent_bytes > MIB // 4 or not client.state().running, "an endless reply"
    )
    if client.state().running:
        begin = time.monotonic()
        assert client.cancel() == (0, 0, 1)
        assert time.monotonic() - begin < 3 + HELD_UP_S
    assert daemon.grew_less_than(GROWTH_KIB, before_kib)
    jobs_go_on(scripted, network_manager, local)


# --- The local file of an upload


@pytest.fixture(params=["ftp", "sftp"])
def slow(request, scripted):
    """The fields of a server that takes uploads slowly."""
    if request.param == "ftp":
        scripted(Plan(take=take_slowly(4 * MIB)))
        yield {"protocol": wire.FTP}
        return
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    Sshd(HostKey(), port=2022)
    relay = Relay(22, 2022, up_bytes_per_s=4 * MIB)
    yield {"protocol": wire.SFTP, "port": 22}
    relay.stop()


def start_upload(local, fields, size=12 * MIB):
    (local / "a").write_bytes(bytes(size))
    assert client.upload(local / "a", "a", **fields) == (0, 0)
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "some data on its way")


def test_a_local_file_that_shrinks_is_no_success(daemon, slow, network_manager, local):
    start_upload(local, slow)
    with open(local / "a", "r+b") as file:
        file.truncate(6 * MIB)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 18  # partial file
    assert notice.exec_info.total_size == 12 * MIB


def test_a_local_file_that_vanishes_is_sent_whole(daemon, slow, network_manager, local):
    start_upload(local, slow)
    (local / "a").unlink()
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.transferred_size == 12 * MIB


def test_a_local_file_that_grows_is_sent_as_far_as_it_was_announced(
    daemon, slow, network_manager, local
):
    """At least so far: over SFTP what came later may go along."""
    start_upload(local, slow)
    with open(local / "a", "ab") as file:
        file.write(bytes(MIB))
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.total_size == 12 * MIB
    assert notice.exec_info.transferred_size >= 12 * MIB
