"""ftpspool after a power cut at every write and fsync: no entry is lost, and no file is gone that has not arrived."""

import pathlib
import signal
import sqlite3
from typing import NamedTuple

import pytest

from harness import ftpspool, power, processes
from harness.daemon import WORLD
from harness.ftpspool import ALICE, DATABASE, SPOOL, Service
from harness.waiting import wait_until

LOG = WORLD / "power.log"
AFTER = WORLD / "after"
QUEUED, SENDING, ARRIVED, DONE = 0, 3, 4, 5  # as they stand in the database

pytestmark = pytest.mark.native("strace")


class Entry(NamedTuple):
    state: int
    local: str
    copy: str


def entries_in(left):
    """What the next start finds; None without a database."""
    if str(DATABASE) not in left:
        return None
    power.lay_out(left, AFTER)
    connection = sqlite3.connect(f"{AFTER}{DATABASE}")
    assert connection.execute("PRAGMA integrity_check").fetchone() == ("ok",)
    found = [Entry(*row) for row in connection.execute("SELECT state, local, copy FROM entries ORDER BY id")]
    connection.close()
    return found


def points(disk):
    """(what is left, its entries, which cut it was) for every power cut, as long as it differs from the one before."""
    before = {}
    for number, call in enumerate(power.calls(LOG)):
        if not disk.play(call):
            continue
        for mode in power.MODES:
            left = disk.left(mode)
            if before.get(mode) != (left, disk.printed):
                before[mode] = (left, disk.printed)
                yield left, entries_in(left), (number, call.name, mode)


def recorded(*words):
    """Adds an entry; the disk as it was before."""
    disk = power.Disk(SPOOL, WORLD / "local")
    outcome = ftpspool.run("add", *words, wrapper=power.wrapper(LOG))
    assert outcome.status == 0, outcome
    return disk


@pytest.mark.timeout(600)
def test_an_id_that_was_printed_is_an_entry_whenever_the_power_is_cut(local):
    (local / "a").write_bytes(b"0123456789")
    count = 0
    for before, words in ((0, ()), (1, ()), (2, ("--copy",))):
        disk = recorded(local / "a", "ftp://127.0.0.1/", *words)
        disk.forget_content(local / "a")
        for left, found, cut in points(disk):
            count += 1
            least = before + (1 if disk.printed else 0)
            assert least <= len(found or []) <= before + 1, cut
            for entry in found or []:
                assert (entry.state, entry.local) == (QUEUED, str(local / "a")), cut
                assert not entry.copy or left[entry.copy] == b"0123456789", cut
    assert count > 50


@pytest.mark.timeout(600)
def test_no_file_goes_before_its_arrival_is_safe(daemon, vsftpd, local):
    (local / "sent").mkdir()
    for name, option in (("a", ("--delete",)), ("b", ("--move-to", local / "sent")), ("c", ("--delete", "--copy"))):
        (local / name).write_bytes(name.encode() * 100)
        ftpspool.add(local / name, ALICE, *option)
    disk = power.Disk(SPOOL, local)
    service = Service(wrapper=power.wrapper(LOG))
    ftpspool.wait_for("done")
    wait_until(lambda: len(service.events("done")) == 3, "the last event")
    processes.signal_children(service.pid, signal.SIGTERM)
    assert service.process.wait(60) == 0
    seen = set()
    for left, found, cut in points(disk):
        for entry in found:
            seen.add(entry.state)
            name = pathlib.Path(entry.local).name
            places = (entry.local, f"{local}/sent/{name}")
            is_there = [left[place] for place in places if place in left] == [name.encode() * 100]
            has_arrived = entry.state in (ARRIVED, DONE)
            assert is_there or has_arrived, (cut, entry)
            assert not entry.copy or entry.copy in left or has_arrived, (cut, entry)
    assert {QUEUED, SENDING, ARRIVED, DONE} <= seen
