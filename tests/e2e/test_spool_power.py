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
LONG_LOG = 400 << 10  # bytes
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
    rows = connection.execute("SELECT state, local, copy FROM entries ORDER BY id").fetchall()
    connection.close()
    return [Entry(state, local, copy and f"{SPOOL}/files/{copy}") for state, local, copy in rows]


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
def test_a_printed_id_survives_a_power_cut_at_any_time(local):
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
def test_no_local_file_is_deleted_before_its_arrival_is_on_the_disk(daemon, vsftpd, local):
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


@pytest.mark.timeout(600)
def test_no_entry_is_lost_while_the_service_writes_the_log_back(local):
    """The log is longer than the service leaves it."""
    (local / "a").write_bytes(b"0123456789")
    log = DATABASE.with_name("spool.db-wal")
    before = 0
    while before == 0 or log.stat().st_size <= LONG_LOG:
        before = ftpspool.add(local / "a", "ftp://127.0.0.1/", "--not-before", "2d")
    disk = power.Disk(SPOOL, WORLD / "local")
    service = Service("--socket", "/nowhere", wrapper=power.wrapper(LOG))
    wait_until(lambda: log.stat().st_size <= LONG_LOG, "a log that was begun anew")
    processes.signal_children(service.pid, signal.SIGTERM)
    assert service.process.wait(60) == 0
    cuts = [(len(found), cut) for _, found, cut in points(disk)]
    assert len(cuts) > 20
    assert {count for count, _ in cuts} == {before}, cuts


def remembered_in(left):
    """The entries of the files that the watches know, as entries_in() has laid them out."""
    if str(DATABASE) not in left:
        return None
    connection = sqlite3.connect(f"{AFTER}{DATABASE}")
    found = connection.execute("SELECT entry, path FROM seen ORDER BY entry").fetchall()
    entries = connection.execute("SELECT id, local FROM entries ORDER BY id").fetchall()
    connection.close()
    assert [id for id, _ in found] == [id for id, _ in entries]
    return [name for _, name in found]


@pytest.mark.timeout(600)
@pytest.mark.parametrize("option", ["--delete", "--copy"])
def test_a_file_in_a_watched_folder_is_queued_once_or_still_there(daemon, vsftpd, local, option):
    folder = local / "in"
    folder.mkdir()
    contents = {name: name.encode() * 100 for name in ("before", "closed", "renamed")}
    (folder / "before").write_bytes(contents["before"])
    ftpspool.watch(folder, ALICE, option)
    disk = power.Disk(SPOOL, local)
    for name in ("closed", "renamed"):
        disk.keep(folder / name, contents[name])
    service = Service(wrapper=power.wrapper(LOG))
    service.wait_started()
    (folder / "closed").write_bytes(contents["closed"])
    (folder / ".part").write_bytes(contents["renamed"])
    (folder / ".part").rename(folder / "renamed")
    wait_until(lambda: len(service.events("done")) == 3, "the last event")
    processes.signal_children(service.pid, signal.SIGTERM)
    assert service.process.wait(60) == 0
    seen = set()
    for left, found, cut in points(disk):
        names = [pathlib.Path(entry.local).name for entry in found]
        assert sorted(names) == sorted(set(names)) == sorted(remembered_in(left)), cut
        assert disk.printed.count(b'"event":"queued"') <= len(found), cut
        arrived = {name for name, entry in zip(names, found) if entry.state in (ARRIVED, DONE)}
        for name in contents.keys() - arrived:
            assert left.get(f"{folder}/{name}") == contents[name], (cut, name)
        for name, entry in zip(names, found):
            assert name in arrived or not entry.copy or left[entry.copy] == contents[name], (cut, entry)
        seen.update((len(found), entry.state) for entry in found)
    assert disk.printed.count(b'"event":"queued"') == 3
    assert {count for count, _ in seen} == {1, 2, 3}
    assert {state for _, state in seen} >= {QUEUED, SENDING, ARRIVED, DONE}
