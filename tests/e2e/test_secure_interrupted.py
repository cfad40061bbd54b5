"""Encrypted transfers interrupted by a cancel or by the daemon's end."""

import os

import pytest

from harness import client, wire
from harness.content import MIB, sparse
from harness.waiting import HELD_UP_S, wait_until, within

ENDINGS = int(os.environ.get("FTP_CLIENTD_ENDINGS", "40")) // 4


pytestmark = pytest.mark.parametrize("slow", ["implicit", "explicit", "sftp"], indirect=True)


def start_upload(local, fields):
    assert client.upload(sparse(local / "a", 512 * MIB), "a", **fields) == (0, 0)


def test_a_cancelled_upload_ends_soon_and_the_next_job_runs(daemon, slow, jobs, network_manager, log, local):
    start_upload(local, slow)
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "some data on its way")
    with within(3 + HELD_UP_S):
        assert client.cancel() == (0, 0, 2)
    assert client.state()[:6] == (0, 0, 0, 2, wire.CANCELED, 1)
    (local / "small").write_bytes(b"content")
    assert jobs.upload(local / "small", "small", **slow).outcome == (0, 0)
    assert len(network_manager.of_code(wire.NOTICE_UPLOAD)) == 1  # none of the cancelled job
    assert log.count(r"\.\.\. retry\(") == 0


@pytest.mark.timeout(60 + 4 * ENDINGS)
def test_ending_in_the_middle_of_an_upload_never_crashes(endings, log, slow, local):
    """FTP_CLIENTD_ENDINGS times, each a little later in the transfer."""
    for ending in endings(ENDINGS):
        begin = len(log.texts)
        start_upload(local, slow)
        # In turn: at once, in the handshake, in the transfer.
        if ending % 3 == 1:
            wait_until(lambda: len(log.texts) > begin + 2, "a connection")
        elif ending % 3 == 2:
            wait_until(lambda: client.state().exec_info.transferred_size > 0, "data")
