"""FTP_CLIENTD_JOBS jobs of both engines in turn: nothing grows."""

import os

import pytest

from harness import client, feeder, wire
from harness.daemon import SPEED
from harness.feeder import FOLDER, make_file
from harness.scripted import Plan
from harness.waiting import wait_until

JOBS = int(os.environ.get("FTP_CLIENTD_JOBS", "300"))
WARM_UP_ROUNDS = 5
# Allows a few pages; a leak of 32 bytes per job would exceed that in 10,000 jobs.
GROWTH_KIB = 256


def zixi_cancelled(local):
    assert feeder.upload(local / "a", "d/e/a") == (0, 0)
    assert client.cancel() == (0, 0, 2)
    return 0, 0


# A round: (start of a job, (code, result, detail) of its notice). The engines alternate.
ROUND = [
    (lambda local: client.upload(local / "a", "a"), (wire.NOTICE_UPLOAD, 0, 0)),
    (lambda local: feeder.upload(local / "a", "d/a", user="u", password="p"), (wire.NOTICE_UPLOAD, 0, 0)),
    (lambda local: client.upload(local / "a", "a", port=1), (wire.NOTICE_UPLOAD, 1, wire.NETWORK)),
    (lambda local: feeder.file_info(), (wire.NOTICE_FILE_INFO, 0, 0)),
    (lambda local: client.download("file", local / "b"), (wire.NOTICE_DOWNLOAD, 0, 0)),
    (lambda local: feeder.upload(local / "missing", "d/missing"), (wire.NOTICE_UPLOAD, 1, wire.NETWORK)),
    (lambda local: client.file_info("file"), (wire.NOTICE_FILE_INFO, 0, 0)),
    (zixi_cancelled, None),
]
NOTICES = [notice for _, notice in ROUND if notice]
ROUNDS = JOBS // len(ROUND)


def play_round(network_manager, local):
    for number, (start, notice) in enumerate(ROUND):
        expected = len(network_manager.notices) + (notice is not None)
        assert start(local) == (0, 0)
        wait_until(lambda: len(network_manager.notices) == expected, f"the notice of job {number}")


def held(daemon):
    """What must not change: open files and the number of threads."""
    return daemon.descriptors(), daemon.threads()


@pytest.mark.timeout(120 + JOBS // 4)
def test_nothing_grows_over_jobs_of_both_engines(launch, network_manager, scripted, local):
    assert ROUNDS > WARM_UP_ROUNDS
    scripted(
        Plan(listing=b"-rw-r--r--   1 user group   4 Dec 31  2012 file\r\n"),
        files={"file": b"1234"},
    )
    make_file(local / "a", 70000)
    # One heap: which of several a thread would use does not depend on the daemon.
    daemon = launch(speed=SPEED, MALLOC_ARENA_MAX="1", **feeder.knobs())
    for _ in range(WARM_UP_ROUNDS):
        play_round(network_manager, local)
    before, before_kib = held(daemon), daemon.private_kib()
    for _ in range(ROUNDS - WARM_UP_ROUNDS):
        play_round(network_manager, local)
    after_kib = daemon.private_kib()
    wait_until(lambda: held(daemon) == before, "the last worker and its files gone")
    print(
        f"{ROUNDS * len(ROUND)} jobs: {len(before[0])} descriptors, {before[1]} threads, "
        f"private memory {before_kib} KiB, then {after_kib} KiB"
    )
    seen = [(notice.code, *notice.outcome) for notice in network_manager.notices[1:]]
    assert seen == NOTICES * ROUNDS
    assert {path.name for path in FOLDER.rglob("*")} == {"d", "e", "a"}
    if not daemon.has_sanitizer("[at]"):
        assert after_kib - before_kib < GROWTH_KIB
