"""Many jobs, engine after engine: nothing grows. FTP_CLIENTD_JOBS tells how many."""

import os
import pathlib
import re

import pytest

from harness import client, feeder, wire
from harness.daemon import SPEED
from harness.feeder import FOLDER, make_file
from harness.scripted import Plan
from harness.waiting import wait_until

JOBS = int(os.environ.get("FTP_CLIENTD_JOBS", "300"))
WARM_UP_ROUNDS = 5
# Of a page here and there; a leak of 32 bytes a job would be more than that in 10,000 jobs.
GROWTH_KIB = 256


def libcurl_upload(local):
    assert client.upload(local / "a", "a") == (0, 0)


def zixi_upload(local):
    assert feeder.upload(local / "a", "d/a", user="u", password="p") == (0, 0)


def libcurl_without_server(local):
    assert client.upload(local / "a", "a", port=1) == (0, 0)


def zixi_file_information(local):
    assert feeder.file_info() == (0, 0)


def libcurl_download(local):
    assert client.download("file", local / "b") == (0, 0)


def zixi_without_local_file(local):
    assert feeder.upload(local / "missing", "d/missing") == (0, 0)


def libcurl_file_information(local):
    assert client.file_info("file") == (0, 0)


def zixi_cancelled(local):
    assert feeder.upload(local / "a", "d/e/a") == (0, 0)
    assert client.cancel() == (0, 0, 2)


# A round: (job, (code, result, detail) of its notice). The engines take turns.
ROUND = [
    (libcurl_upload, (wire.NOTICE_UPLOAD, 0, 0)),
    (zixi_upload, (wire.NOTICE_UPLOAD, 0, 0)),
    (libcurl_without_server, (wire.NOTICE_UPLOAD, 1, wire.NETWORK)),
    (zixi_file_information, (wire.NOTICE_FILE_INFO, 0, 0)),
    (libcurl_download, (wire.NOTICE_DOWNLOAD, 0, 0)),
    (zixi_without_local_file, (wire.NOTICE_UPLOAD, 1, wire.NETWORK)),
    (libcurl_file_information, (wire.NOTICE_FILE_INFO, 0, 0)),
    (zixi_cancelled, None),
]
NOTICES = [notice for _, notice in ROUND if notice]
ROUNDS = JOBS // len(ROUND)


def play_round(network_manager, local):
    for start, notice in ROUND:
        expected = len(network_manager.notices) + (notice is not None)
        start(local)
        wait_until(lambda: len(network_manager.notices) == expected, f"the notice of {start}")


def held(daemon):
    """What must stay: open files, and how many threads."""
    return daemon.descriptors(), len(os.listdir(f"/proc/{daemon.pid}/task"))


def is_sanitized(daemon):
    """Freed memory is kept there for a while."""
    return re.search("lib[at]san", pathlib.Path(f"/proc/{daemon.pid}/maps").read_text())


@pytest.mark.timeout(120 + JOBS // 4)
def test_nothing_grows_over_jobs_of_both_engines(unstarted, network_manager, scripted, local):
    assert ROUNDS > WARM_UP_ROUNDS
    scripted(
        Plan(listing=b"-rw-r--r--   1 user group   4 Dec 31  2012 file\r\n"),
        files={"file": b"1234"},
    )
    make_file(local / "a", 70000)
    # One heap: which of several a thread takes is no news of the daemon.
    unstarted.launch(speed=SPEED, ZIXI_FEEDER_DIR=str(FOLDER), MALLOC_ARENA_MAX="1")
    unstarted.find()
    network_manager.wait_for(wire.NOTICE_STARTED)
    for _ in range(WARM_UP_ROUNDS):
        play_round(network_manager, local)
    before, before_kib = held(unstarted), unstarted.private_kib()
    for _ in range(ROUNDS - WARM_UP_ROUNDS):
        play_round(network_manager, local)
    after_kib = unstarted.private_kib()
    wait_until(lambda: held(unstarted) == before, "the last worker and its files gone")
    print(
        f"{ROUNDS * len(ROUND)} jobs: {len(before[0])} descriptors, {before[1]} threads, "
        f"private memory {before_kib} KiB, then {after_kib} KiB"
    )
    seen = [(notice.code, *notice.outcome) for notice in network_manager.notices[1:]]
    assert seen == NOTICES * ROUNDS
    assert {path.name for path in FOLDER.rglob("*")} == {"d", "e", "a"}
    if not is_sanitized(unstarted):
        assert after_kib - before_kib < GROWTH_KIB
