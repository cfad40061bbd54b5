"""Many jobs: nothing grows."""

import os

import pytest

from harness import client, wire
from harness.scripted import Plan, send_then
from harness.waiting import wait_until

ROUNDS = 75
JOBS_OF_A_ROUND = 4


def threads(daemon):
    return len(os.listdir(f"/proc/{daemon.pid}/task"))


def one_of_each(network_manager, local, number):
    """A download, an upload, a look and a download that fails."""
    client.download("a", local / "a")
    network_manager.wait_for(wire.NOTICE_DOWNLOAD, 2 * number + 1)
    client.upload(local / "a", "up/b")
    network_manager.wait_for(wire.NOTICE_UPLOAD, number + 1)
    client.file_info("a")
    network_manager.wait_for(wire.NOTICE_FILE_INFO, number + 1)
    client.download("missing", local / "c")
    network_manager.wait_for(wire.NOTICE_DOWNLOAD, 2 * number + 2)


@pytest.mark.timeout(240)
def test_descriptors_threads_and_memory_stay_flat_over_hundreds_of_jobs(
    fast_daemon, vsftpd, network_manager, local
):
    vsftpd.put("a", b"content")
    one_of_each(network_manager, local, 0)
    descriptors, before_kib = fast_daemon.descriptors(), fast_daemon.resident_kib()
    idle_threads = threads(fast_daemon)  # a sanitizer has one of its own
    for number in range(1, ROUNDS):
        one_of_each(network_manager, local, number)
    assert fast_daemon.descriptors().keys() == descriptors.keys()
    assert threads(fast_daemon) == idle_threads
    assert len(network_manager.notices) == 1 + ROUNDS * JOBS_OF_A_ROUND
    outcomes = [notice.outcome for notice in network_manager.notices]
    assert outcomes == [(0, 0)] + [(0, 0), (0, 0), (0, 0), (1, wire.NETWORK)] * ROUNDS
    assert fast_daemon.grew_less_than(2048, before_kib)


def test_descriptors_and_threads_stay_flat_over_cancelled_jobs(fast_daemon, scripted, local):
    server = scripted(Plan(send=send_then("stall", 1)), files={"a": b"12"})
    idle_threads, descriptors = None, None
    for number in range(30):
        assert client.download("a", local / "a") == (0, 0)
        server.wait_for_command("RETR", times=number + 1)
        assert client.cancel() == (0, 0, 1)
        assert client.nothing() == (0, 0)
        idle_threads = idle_threads or threads(fast_daemon)
        descriptors = descriptors or fast_daemon.descriptors().keys()
    wait_until(lambda: threads(fast_daemon) == idle_threads, "the last worker joined")
    assert fast_daemon.descriptors().keys() == descriptors
