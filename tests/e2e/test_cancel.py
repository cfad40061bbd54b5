"""Cancelling, and starting again afterwards."""

import os
import socket
import time

import pytest

from harness import client, wire
from harness.content import MIB, sparse
from harness.scripted import Plan, Silence, send_then, take_slowly, take_then
from harness.waiting import HELD_UP_S, wait_until

ANSWERED_S = 3 + HELD_UP_S


def is_cancelled(kind):
    begin = time.monotonic()
    assert client.ask_raw(client.head(4, 0)) == client.head(4, 12) + bytes(8) + kind.to_bytes(4, "little")
    taken_s = time.monotonic() - begin
    assert client.state()[:6] == (0, 0, 0, kind, wire.CANCELED, 1)
    return taken_s


@pytest.fixture
def only_the_next_job_is_announced(jobs, network_manager, local):
    """A function. Notices keep their order: after that of the next job, none of an earlier job can come."""

    def play():
        (local / "next").write_bytes(b"")
        jobs.upload(local / "next", "next", port=1)
        assert network_manager.codes == [wire.NOTICE_STARTED, wire.NOTICE_UPLOAD]

    return play


def test_a_cancelled_download_removes_its_file_and_sends_no_notice(
    daemon, scripted, only_the_next_job_is_announced, local
):
    server = scripted(Plan(send=send_then("stall", 1000)), files={"a": bytes(2000)})
    client.download("a", local / "a")
    server.stalled.wait(30)
    wait_until(lambda: client.state().exec_info.transferred_size == 1000, "the first 1000 bytes")
    state = client.state()
    assert (state[:6], state.exec_info.total_size) == ((0, 0, 1, 1, 0, 0), 2000)
    assert state.exec_info.retry_count == 0
    assert (local / "a").exists()
    assert is_cancelled(1) < ANSWERED_S
    assert not (local / "a").exists()
    only_the_next_job_is_announced()


def test_a_cancelled_upload_keeps_its_file_and_sends_no_notice(
    daemon, scripted, only_the_next_job_is_announced, local
):
    server = scripted(Plan(take=take_slowly(10 * MIB)))
    client.upload(sparse(local / "a", 512 * MIB), "a")
    server.wait_for_command("STOR")
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "some data on its way")
    assert is_cancelled(2) < ANSWERED_S
    assert os.stat(local / "a").st_size == 512 * MIB
    only_the_next_job_is_announced()


STALLS = {
    "greeting": Plan(greeting=Silence),
    "PASS": Plan(replies={"PASS": Silence}),
    "RETR": Plan(replies={"RETR": Silence}),
    "226": Plan(closing=Silence),
    "QUIT": Plan(replies={"QUIT": Silence, "RETR": "150 wait"}),
}


@pytest.mark.parametrize("plan", STALLS.values(), ids=STALLS)
def test_a_cancel_is_quick_wherever_the_server_stalls(daemon, scripted, local, plan):
    server = scripted(plan, files={"a": b"1"})
    client.download("a", local / "a")
    wait_until(lambda: server.sessions, "a connection")
    assert is_cancelled(1) < ANSWERED_S


def test_a_cancel_right_after_the_start_takes_effect(daemon, scripted, local):
    scripted(Plan(greeting=Silence))
    for _ in range(5):
        assert client.download("a", local / "a") == (0, 0)
        assert is_cancelled(1) < ANSWERED_S


def test_a_cancelled_job_is_not_tried_again(daemon, scripted, log, local):
    server = scripted(Plan(take=take_then("stall", 1000)))
    client.upload(sparse(local / "a", 64 * MIB), "a")
    server.stalled.wait(30)
    is_cancelled(2)
    assert len(server.sessions) == 1
    assert log.count(r"retry\(") == 0


def test_a_cancel_during_the_pause_before_a_retry_takes_effect(
    daemon, scripted, only_the_next_job_is_announced, log, local
):
    server = scripted(Plan(send=send_then("reset", 100)), files={"a": bytes(1000)})
    client.download("a", local / "a")
    log.wait_for(r"retry\(1\)\n$")
    assert is_cancelled(1) < ANSWERED_S
    assert len(server.sessions) <= 2
    only_the_next_job_is_announced()


def test_a_file_information_job_can_be_cancelled(daemon, scripted, only_the_next_job_is_announced):
    server = scripted(Plan(replies={"LIST": Silence}))
    client.file_info("a")
    server.wait_for_command("LIST")
    assert is_cancelled(3) < ANSWERED_S
    only_the_next_job_is_announced()


def test_the_daemon_accepts_jobs_after_a_cancel(daemon, scripted, jobs, local):
    server = scripted(Plan(send=send_then("stall", 1)), Plan(), files={"a": b"whole"})
    client.download("a", local / "a")
    server.stalled.wait(30)
    is_cancelled(1)
    assert jobs.download("a", local / "a").outcome == (0, 0)
    assert (local / "a").read_bytes() == b"whole"
    assert client.state()[:6] == (0, 0, 0, 1, 0, 0)


def test_the_mark_of_an_idle_cancel_stays_until_the_next_start(daemon, scripted, jobs, local):
    scripted(files={"a": b"1"})
    assert client.cancel() == (1, 2, 0)
    assert client.state().cancel == 1
    assert jobs.download("a", local / "a").outcome == (0, 0)
    assert client.state().cancel == 0


@pytest.mark.timeout(240)
def test_a_start_between_a_jobs_end_and_its_report_fails_with_5_and_forgets_the_job(
    daemon, scripted, jobs, network_manager, log, local
):
    """The loop serves a request before it looks for a finished job, so a request that is queued when
    the worker ends finds it unjoined. To hit that moment, the server continues directly after a
    reply, when the loop begins its 100 ms of sleep.
    """
    plan = Plan(replies={"RETR": "550 gone"})
    for attempt in range(30):
        server = scripted(plan, files={"a": b"1"}, port=2100 + attempt)
        gate = server.hold("SIZE")
        before = len(network_manager.notices)
        assert client.download("a", local / "a", port=2100 + attempt) == (0, 0)
        server.wait_for_command("SIZE")
        assert client.nothing() == (0, 0)
        gate.set()
        server.wait_for_command("QUIT")
        answer = client.download("a", local / "a", port=1)
        if answer == (1, wire.INTERNAL):
            break
        # Too late (the job was reported and a new one runs) or too early (still busy).
        assert answer in ((0, 0), (1, wire.BUSY))
        expected = before + (2 if answer == (0, 0) else 1)
        wait_until(lambda: len(network_manager.notices) == expected, "the reports of this attempt")
        client.download("a", local / "a", protocol=wire.ZIXI_4)  # so that the next reply is not (0, 3)
        assert client.download("a", local / "a", port=1) == (0, 0)
        wait_until(lambda: len(network_manager.notices) == expected + 1, "a report")
    else:
        raise AssertionError("no request came between a job's end and its report")
    log.wait_for(r"^error: curl_func\(458\): errno\(\d+\) .*\n$")
    log.wait_for(r"^error: ftp_clientd\(393\): command_download\(\): Failed\(5\)\n$")
    state = client.state()
    assert (state.running, state.kind, state.job_result) == (0, 1, wire.INTERNAL)
    # The ended job is forgotten: the next one starts, and only that is reported.
    (local / "b").write_bytes(b"")
    jobs.upload(local / "b", "b", port=1)
    assert len(network_manager.notices) == before + 1


def test_a_cancel_takes_effect_in_a_tls_handshake_with_a_silent_server(daemon, only_the_next_job_is_announced, local):
    """There libcurl waits without calling back."""
    listener = socket.create_server(("127.0.0.1", 21))
    client.download("a", local / "a", protocol=wire.FTPS_EXPLICIT)
    connection, _ = listener.accept()
    connection.sendall(b"220 ready\r\n")
    assert connection.recv(4096).startswith(b"AUTH")
    connection.sendall(b"234 go on\r\n")
    assert connection.recv(4096)[0] == 22  # the ClientHello
    assert is_cancelled(1) < ANSWERED_S
    client.read_to_end(connection)  # the daemon has closed it
    only_the_next_job_is_announced()
