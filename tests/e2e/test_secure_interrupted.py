"""Encrypted transfers that are cancelled, or that the daemon's end interrupts."""

import os
import signal
import time

import pytest

from harness import client, wire
from harness.daemon import Daemon, sanitizer_reports
from harness.ftp_servers import one_user_only
from harness.network_manager import NetworkManager
from harness.relay import Relay
from harness.scripted import Plan, take_slowly
from harness.sftp import HostKey, Sshd
from harness.tls import PORTS, Certificate, TlsServer
from harness.waiting import HELD_UP_S, wait_until

MIB = 1 << 20
PROTOCOLS = {
    "implicit": wire.FTPS_IMPLICIT,
    "explicit": wire.FTPS_EXPLICIT,
    "sftp": wire.SFTP,
}
ENDINGS = int(os.environ.get("FTP_CLIENTD_ENDINGS", "40")) // 4


@pytest.fixture(params=PROTOCOLS)
def slow(request):
    """The fields of a server that takes uploads slowly."""
    protocol = PROTOCOLS[request.param]
    if protocol == wire.SFTP:
        if one_user_only():
            pytest.skip("sshd logs users in: needs root")
        Sshd(HostKey(), port=2022)
        server = Relay(22, 2022, up_bytes_per_s=5 * MIB)
    else:
        plan = Plan(take=take_slowly(5 * MIB))
        server = TlsServer(plan, control=Certificate(), protocol=protocol)
    yield {"protocol": protocol, "port": PORTS.get(protocol, 22)}
    server.stop()


def start_upload(local, fields):
    with open(local / "a", "wb") as file:
        file.truncate(512 * MIB)
    assert client.upload(local / "a", "a", **fields) == (0, 0)


def test_a_cancelled_upload_ends_soon_and_the_next_job_runs(
    daemon, slow, network_manager, log, local
):
    start_upload(local, slow)
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "some data on its way")
    begin = time.monotonic()
    assert client.cancel() == (0, 0, 2)
    assert time.monotonic() - begin < 3 + HELD_UP_S
    assert client.state()[:6] == (0, 0, 0, 2, wire.CANCELED, 1)
    (local / "small").write_bytes(b"content")
    client.upload(local / "small", "small", **slow)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert len(network_manager.of_code(wire.NOTICE_UPLOAD)) == 1  # none of the cancelled job
    assert log.count(r"\.\.\. retry\(") == 0


@pytest.mark.timeout(60 + 4 * ENDINGS)
def test_ending_in_the_middle_of_an_upload_never_crashes(log, console, slow, local):
    """FTP_CLIENTD_ENDINGS tells how often; each time a little later in the transfer."""
    manager = NetworkManager()
    for ending in range(ENDINGS):
        daemon = Daemon()
        daemon.launch()
        daemon.find()
        manager.wait_for(wire.NOTICE_STARTED, times=ending + 1)
        begin = len(log.texts)
        start_upload(local, slow)
        # In turn: at once, in the handshake, in the transfer.
        if ending % 3 == 1:
            wait_until(lambda: len(log.texts) > begin + 2, "a connection")
        elif ending % 3 == 2:
            wait_until(lambda: client.state().exec_info.transferred_size > 0, "data")
        started = time.monotonic()
        number = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[ending // 3 % 3]
        assert daemon.stop(number) == 0
        assert time.monotonic() - started < 2 + HELD_UP_S
    assert "runtime error:" not in console.text
    assert not sanitizer_reports()
