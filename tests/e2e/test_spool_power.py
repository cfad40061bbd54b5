"""ftpspool after a power cut at every write and fsync: no entry is lost, and no file is gone that has not arrived."""

import json
import sqlite3

import pytest

from harness import ftpspool, power
from harness.daemon import WORLD
from harness.ftpspool import ALICE, SPOOL, Service
from harness.waiting import wait_until

LOG = WORLD / "power.log"
AFTER = WORLD / "after"

pytestmark = pytest.mark.native("strace")


def entries_after(disk, mode):
    """What the next start finds; None without a database."""
    disk.leave(mode, AFTER)
    spool = f"{AFTER}{SPOOL}"
    command = [*ftpspool.command()[:-1], spool, "list", "--json"]
    listed = ftpspool.run_command(command)
    assert listed.status == 0, (mode, listed)
    if not (AFTER / str(SPOOL)[1:] / "spool.db").exists():
        return None
    assert sqlite3.connect(f"{spool}/spool.db").execute("PRAGMA integrity_check").fetchone() == ("ok",)
    return [json.loads(line) for line in listed.out.splitlines()]


def points(disk):
    """(number, mode) of every power cut, with the disk as it was then."""
    for number, call in enumerate(power.calls(LOG)):
        if disk.play(call):
            for mode in power.MODES:
                yield number, mode


def add_recorded(*words):
    disk = power.Disk(SPOOL, WORLD / "local")
    outcome = ftpspool.run("add", *words, wrapper=power.wrapper(LOG))
    assert outcome.status == 0, outcome
    return disk


@pytest.mark.timeout(300)
def test_an_id_that_was_printed_is_an_entry_whenever_the_power_is_cut(local):
    (local / "a").write_bytes(b"0123456789")
    count = 0
    for before, words in ((0, ()), (1, ()), (2, ("--copy",))):
        disk = add_recorded(local / "a", "ftp://127.0.0.1/", *words)
        for number, mode in points(disk):
            count += 1
            found = entries_after(disk, mode)
            printed = 1 if disk.printed else 0
            assert before + printed <= len(found or []) <= before + 1, (before, number, mode)
            for one in found or []:
                assert (one["state"], one["local"]) == ("queued", str(local / "a"))
                if one["copy"]:
                    with open(f"{AFTER}{one['copy']}", "rb") as copy:
                        assert copy.read() == b"0123456789", (number, mode)
    assert count > 60


@pytest.mark.timeout(300)
def test_no_file_goes_before_its_arrival_is_safe(daemon, vsftpd, local):
    (local / "sent").mkdir()
    for name, option in (("a", ("--delete",)), ("b", ("--move-to", local / "sent")), ("c", ("--delete", "--copy"))):
        (local / name).write_bytes(name.encode() * 100)
        ftpspool.add(local / name, ALICE, *option)
    disk = power.Disk(SPOOL, local)
    service = Service(wrapper=power.wrapper(LOG))
    ftpspool.wait_for("done")
    wait_until(lambda: len(service.events("done")) == 3, "the last event")
    service.process.terminate()
    service.process.wait()
    seen = set()
    for number, mode in points(disk):
        for one in entries_after(disk, mode):
            seen.add(one["state"])
            name = one["local"].rpartition("/")[2]
            has_arrived = one["state"] in ("arrived", "done")
            places = [f"{AFTER}{one['local']}", f"{AFTER}{local}/sent/{name}"]
            contents = [open(place, "rb").read() for place in places if power.exists(place)]
            assert has_arrived or contents == [name.encode() * 100], (number, mode, one)
            if one["copy"] and not has_arrived:
                assert power.exists(f"{AFTER}{one['copy']}"), (number, mode, one)
    assert {"queued", "sending", "arrived", "done"} <= seen
