"""The end by signals, and what is left afterwards."""

import os
import signal
import stat
import time

import pytest

from harness import client, wire
from harness.client import CONTROL_SOCKET
from harness.content import MIB, sparse
from harness.scripted import Plan, Silence, take_slowly
from harness.waiting import HELD_UP_S, wait_until, within

SIGNALS = {"INT": signal.SIGINT, "TERM": signal.SIGTERM, "HUP": signal.SIGHUP}
ENDINGS = int(os.environ.get("FTP_CLIENTD_ENDINGS", "40"))

each_signal = pytest.mark.parametrize("number", SIGNALS.values(), ids=SIGNALS)


def upload_without_end(scripted, local):
    server = scripted(Plan(take=take_slowly(10 * MIB)))
    assert client.upload(sparse(local / "a", 1024 * MIB), "a") == (0, 0)
    server.wait_for_command("STOR")
    return server


@each_signal
def test_a_signal_ends_an_idle_daemon_with_status_0(daemon, log, number):
    log.wait_for(r"^zixi_func\(180\)")  # the last line of the start
    before = log.texts
    assert daemon.stop(number) == 0
    # The end is not logged, and the socket file stays for the next run to replace.
    assert log.texts == before
    assert stat.S_ISSOCK(os.stat(CONTROL_SOCKET).st_mode)


@each_signal
def test_a_signal_in_the_middle_of_an_upload_ends_with_status_0_at_once(
    daemon, scripted, network_manager, local, number
):
    upload_without_end(scripted, local)
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "data on its way")
    with within(2 + HELD_UP_S):
        assert daemon.stop(number) == 0
    assert stat.S_ISSOCK(os.stat(CONTROL_SOCKET).st_mode)
    assert network_manager.codes == [wire.NOTICE_STARTED]


SILENT = {
    "greeting": Plan(greeting=Silence),
    "QUIT": Plan(replies={"QUIT": Silence}),
    "RETR": Plan(replies={"RETR": Silence}),
}


@pytest.mark.parametrize("plan", SILENT.values(), ids=SILENT)
def test_a_signal_while_the_server_is_silent_ends_with_status_0(daemon, scripted, local, plan):
    server = scripted(plan, files={"a": b"1"})
    client.download("a", local / "a")
    wait_until(lambda: server.sessions, "a connection")
    with within(2 + HELD_UP_S):
        assert daemon.stop() == 0


def test_a_request_in_the_same_pass_is_still_answered(daemon):
    """The signal comes while the daemon waits for more of a request."""
    idle = len(daemon.descriptors())
    with client.connect() as connection:
        connection.sendall(client.head(3, 0)[:4])
        wait_until(lambda: len(daemon.descriptors()) > idle, "the connection accepted")
        daemon.send_signal(signal.SIGTERM)
        connection.sendall(client.head(3, 0)[4:])
        assert len(client.read_to_end(connection)) == 80
    assert daemon.wait_end() == 0


def test_a_second_run_follows_the_first(daemon, network_manager):
    assert daemon.stop() == 0
    daemon.start()
    network_manager.wait_for(wire.NOTICE_STARTED, times=2)
    assert client.nothing() == (0, 0)


@pytest.mark.timeout(40 + 4 * ENDINGS)
def test_ending_in_the_middle_of_an_upload_never_crashes(endings, scripted, local):
    """FTP_CLIENTD_ENDINGS times, each a little later in the transfer."""
    server = scripted(Plan(take=take_slowly(50 * MIB)))
    sparse(local / "a", 1024 * MIB)
    for ending in endings(ENDINGS):
        assert client.upload(local / "a", "a") == (0, 0)
        server.wait_for_command("STOR", times=ending + 1)
        time.sleep(ending % 10 / 100)  # varies the moment of the signal
