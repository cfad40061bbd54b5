"""Servers that never stop replying, and local files that change during an upload."""

import threading

import pytest

from harness import client, wire
from harness.content import MIB
from harness.daemon import is_emulated
from harness.libraries import code_of_a_file_that_shrank, reads_replies_for_ever
from harness.listener import Listener
from harness.scripted import Plan
from harness.waiting import HELD_UP_S, wait_until, within

GROWTH_KIB = 4096

ENDLESS = {
    "lines": b"220-welcome\r\n" * 1000,
    "a line": b"220-" + b"x" * 16380,
    "nothing": bytes(16384),
}


class Flood(Listener):
    """Sends these valid lines, each after one of the client's, and then the piece for ever."""

    def __init__(self, piece, before=(), port=21):
        self._piece, self._before = piece, before
        self.sent_bytes = 0
        super().__init__(port)

    def take(self, connection):
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


def jobs_go_on(scripted, jobs, local):
    scripted(Plan(), files={"b": b"whole"}, port=2121)
    assert jobs.download("b", local / "b", port=2121).outcome == (0, 0)


@pytest.mark.parametrize("piece", ENDLESS.values(), ids=ENDLESS)
def test_an_endless_greeting_fails_only_the_job(fast_daemon, scripted, jobs, local, piece):
    if reads_replies_for_ever() and (piece == ENDLESS["lines"] or is_emulated()):
        pytest.skip("this libcurl checks no time limit while it has something to read, which an emulator always has")
    Flood(piece)
    before_kib = fast_daemon.resident_kib()
    assert jobs.download("a", local / "a").outcome in ((1, wire.TIMEOUT), (1, wire.NETWORK))
    assert fast_daemon.grew_less_than(GROWTH_KIB, before_kib)
    jobs_go_on(scripted, jobs, local)


@pytest.mark.parametrize("piece", ENDLESS.values(), ids=ENDLESS)
def test_an_endless_reply_after_the_login_is_cancelled_within_three_seconds(
    daemon, scripted, jobs, network_manager, local, piece
):
    login = (b"220 hello\r\n", b"331 password?\r\n", b"230 in\r\n", b'257 "/"\r\n')
    server = Flood(piece, login)
    before_kib = daemon.resident_kib()
    client.download("a", local / "a")
    wait_until(lambda: server.sent_bytes > MIB // 4 or not client.state().running, "an endless reply")
    if client.state().running:
        with within(3 + HELD_UP_S):
            assert client.cancel() == (0, 0, 1)
    else:
        network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert daemon.grew_less_than(GROWTH_KIB, before_kib)
    jobs_go_on(scripted, jobs, local)


# --- The local file of an upload


def shrinks(path):
    with open(path, "r+b") as file:
        file.truncate(6 * MIB)


def vanishes(path):
    path.unlink()


def grows(path):
    with open(path, "ab") as file:
        file.write(bytes(MIB))


@pytest.mark.parametrize("slow", ["ftp", "sftp"], indirect=True)
@pytest.mark.parametrize("change", [shrinks, vanishes, grows])
def test_a_changing_local_file_is_sent_as_it_was_or_the_job_fails(
    daemon, slow, network_manager, local, change
):
    (local / "a").write_bytes(bytes(12 * MIB))
    assert client.upload(local / "a", "a", **slow) == (0, 0)
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "some data on its way")
    change(local / "a")
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.exec_info.total_size == 12 * MIB
    if change == shrinks:
        assert notice.outcome == (1, wire.NETWORK)
        assert notice.exec_info.curl_code == code_of_a_file_that_shrank()
    else:
        assert notice.outcome == (0, 0)
        # At least that much: over SFTP appended bytes may be sent too.
        sent = notice.exec_info.transferred_size
        assert sent == 12 * MIB or change == grows and sent > 12 * MIB
