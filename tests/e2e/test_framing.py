"""Misbehaving clients of the control socket."""

import concurrent.futures
import contextlib
import socket
import time

import pytest

from harness import client, wire
from harness.waiting import HELD_UP_S, wait_until

NO_OPERATION = client.head(0, 8) + bytes(8)
HASTY = 2  # speed of the clock; low enough that a client delayed a little keeps within its ten seconds


@pytest.fixture
def hasty_daemon(launch):
    return launch(speed=HASTY)


def served(daemon):
    assert client.nothing() == (0, 0)
    assert daemon.running


def incomplete(number, moved):
    """A line of the log."""
    return f"error: ftp_clientd_if({number}): recvn(): incomplete({moved})\n"


# {bytes sent before the client closes: the line of the log}
CUT_SHORT = {
    "in-the-header": (client.head(3, 0)[:5], incomplete(699, "5 of 8")),
    "in-a-download": (client.head(1, 2080) + bytes(100), incomplete(737, "100 of 2080")),
    "in-a-state": (client.head(3, 2080) + bytes(100), incomplete(737, "100 of 2080")),
    "in-nothing-known": (client.head(7, 2080) + bytes(100), incomplete(737, "100 of 2080")),
    "before-the-body": (client.head(2, 2080), incomplete(737, "0 of 2080")),
}


@pytest.mark.parametrize("sent, line", CUT_SHORT.values(), ids=CUT_SHORT)
def test_a_request_cut_short_is_answered_as_no_operation(daemon, log, sent, line):
    assert client.ask_raw(sent, shut=True) == NO_OPERATION
    assert log.errors() == [line]
    served(daemon)


def test_a_request_may_come_byte_by_byte_and_bytes_after_its_body_are_ignored(daemon, local):
    body = wire.request(remote_path="a", local_path=local / "a", port=1)
    request = client.head(1, len(body)) + body
    with client.connect() as connection:
        for byte in request:
            connection.send(bytes([byte]))
        assert client.read_to_end(connection) == client.head(1, 8) + bytes(8)
    wait_until(lambda: not client.state().running, "the end of the job")
    assert client.ask_raw(request + b"and more" * 50) == client.head(1, 8) + bytes(8)


@pytest.mark.parametrize(
    "sent",
    [b"", client.head(0, 0)[:7], client.head(1, 2080), client.head(1, 2080) + bytes(2079)],
    ids=["nothing", "7-of-header", "header-only", "all-but-a-byte"],
)
def test_a_client_that_stalls_is_given_up_after_ten_seconds(hasty_daemon, log, sent):
    with client.connect() as connection:
        connection.sendall(sent)
        begin = time.monotonic()
        assert client.read_to_end(connection) == NO_OPERATION
        taken_s = (time.monotonic() - begin) * HASTY
    assert 8 < taken_s < 11 + HELD_UP_S * HASTY
    log.wait_for(r"^error: ftp_clientd_if\(776\): errno\(110\) Connection timed out\n$")
    assert log.errors()[-1] == (incomplete(699, "9 of 8") if len(sent) < 8 else incomplete(737, "2081 of 2080"))
    served(hasty_daemon)


def test_the_ten_seconds_are_real_with_a_true_clock(daemon):
    with client.connect() as connection:
        begin = time.monotonic()
        assert client.read_to_end(connection) == NO_OPERATION
    assert 9.5 < time.monotonic() - begin < 11 + HELD_UP_S


def test_a_body_of_four_gigabytes_is_announced_but_takes_no_memory(daemon, log):
    before_kib = daemon.resident_kib()
    assert client.ask_raw(client.head(1, 0xFFFFFFFF) + bytes(4096), shut=True) == NO_OPERATION
    # Whether malloc grants it depends on the machine.
    log.wait_for(
        r"^error: ftp_clientd_if\("
        r"(725\): Failed: malloc\(\)|737\): recvn\(\): incomplete\(4096 of -1\))\n$"
    )
    assert daemon.grew_less_than(4096, before_kib)
    served(daemon)


def ask_and_leave(command):
    with client.connect() as connection:
        connection.shutdown(socket.SHUT_RD)  # a client that only closes may be slower than the reply
        connection.sendall(client.head(command, 0))


def test_a_client_that_leaves_before_the_reply_is_logged_as_a_broken_pipe(daemon, log):
    ask_and_leave(0)
    log.wait_for(r"^error: ftp_clientd_if\(843\): errno\(32\) Broken pipe\n$")
    log.wait_for(r"^error: ftp_clientd_if\(662\): sendn\(\): incomplete\(9 of 8\)\n$")
    log.wait_for(r"^error: ftp_clientd\(361\): Could not send return data\.\n$")
    served(daemon)


def test_simultaneous_clients_are_all_answered(daemon):
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        assert list(pool.map(lambda _: client.nothing(), range(40))) == [(0, 0)] * 40


def test_a_silent_client_delays_the_next_one_but_does_not_lose_it(hasty_daemon):
    with client.connect() as silent, client.connect() as patient:
        patient.sendall(client.head(0, 0))
        assert client.read_to_end(patient) == NO_OPERATION
        assert client.read_to_end(silent) == NO_OPERATION


def test_a_request_is_served_within_a_pass_of_the_loop(daemon):
    delays = []
    for _ in range(20):
        begin = time.monotonic()
        client.nothing()
        delays.append(time.monotonic() - begin)
    # A pass takes 100 ms; a busy machine may delay some.
    assert sorted(delays)[4] < 0.2


def test_one_connection_carries_one_request(daemon):
    with client.connect() as connection:
        connection.sendall(client.head(0, 0))
        assert client.read_to_end(connection) == NO_OPERATION
        with pytest.raises((BrokenPipeError, ConnectionResetError)):
            connection.sendall(client.head(0, 0))
            connection.sendall(client.head(0, 0))


def test_a_full_queue_of_clients_is_served(daemon):
    """The backlog is 5; further clients wait in connect, and all are served."""
    with contextlib.ExitStack() as open_ones:
        connections = [open_ones.enter_context(client.connect()) for _ in range(6)]
        for connection in connections:
            connection.sendall(client.head(3, 0))
        for connection in connections:
            assert len(client.read_to_end(connection)) == 80
    wait_until(lambda: client.nothing() == (0, 0), "an answer afterwards")


def test_the_socket_accepts_only_streams(daemon):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as datagrams:
        with pytest.raises(OSError):
            datagrams.connect(client.CONTROL_SOCKET)
    served(daemon)
