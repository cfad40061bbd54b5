"""Many jobs: nothing grows."""

import pytest

from harness import client, wire
from harness.scripted import Plan, send_then
from harness.waiting import wait_until

ROUNDS = 75
JOBS_OF_A_ROUND = 4


def one_of_each(jobs, local):
    """A download, an upload, a look-up and a download that fails."""
    return [notice.outcome for notice in (*jobs.each(local), jobs.download("missing", local / "c"))]


@pytest.mark.timeout(240)
def test_descriptors_threads_and_memory_stay_flat_over_hundreds_of_jobs(
    fast_daemon, vsftpd, jobs, network_manager, local
):
    vsftpd.put("a", b"content")
    one_of_each(jobs, local)
    descriptors, before_kib = fast_daemon.descriptors(), fast_daemon.resident_kib()
    idle_threads = fast_daemon.threads()  # a sanitizer has its own
    for _ in range(1, ROUNDS):
        assert one_of_each(jobs, local) == [(0, 0), (0, 0), (0, 0), (1, wire.NETWORK)]
    assert fast_daemon.descriptors().keys() == descriptors.keys()
    assert fast_daemon.threads() == idle_threads
    assert len(network_manager.notices) == 1 + ROUNDS * JOBS_OF_A_ROUND
    assert fast_daemon.grew_less_than(2048, before_kib)


def test_descriptors_and_threads_stay_flat_over_cancelled_jobs(fast_daemon, scripted, local):
    server = scripted(Plan(send=send_then("stall", 1)), files={"a": b"12"})
    idle_threads, descriptors = None, None
    for number in range(30):
        assert client.download("a", local / "a") == (0, 0)
        server.wait_for_command("RETR", times=number + 1)
        assert client.cancel() == (0, 0, 1)
        assert client.nothing() == (0, 0)
        idle_threads = idle_threads or fast_daemon.threads()
        descriptors = descriptors or fast_daemon.descriptors().keys()
    wait_until(lambda: fast_daemon.threads() == idle_threads, "the last worker joined")
    assert fast_daemon.descriptors().keys() == descriptors
