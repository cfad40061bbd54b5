"""ftpspool's store: what it costs, and what happens when the disk is full, the file is damaged or a command is killed."""

import collections
import os
import pathlib
import re
import resource
import shlex
import subprocess
import time

import pytest

from harness import ftpspool, power
from harness.daemon import WORLD, faketime, is_emulated, memory_kib
from harness.ftpspool import ALICE, DATABASE, SPOOL, Service
from harness.installed import is_for_coverage
from harness.vsftpd import Vsftpd
from harness.waiting import wait_until

MANY = 10_000
MANY_ADDS = 400
MIB = 1 << 20


def make(local, name, content=b"0123456789"):
    path = local / name
    path.write_bytes(content)
    return path


def fill_queue(count):
    """Entries for later, by the numbers that the first one has."""
    number = ftpspool.add("/etc/hostname", ALICE, "--not-before", "2d")
    columns = (
        "server, priority, added_s, not_before_s, expires_s, tries_most, local, copy, original, size_bytes, url, user, "
        "password_file, pin, proxy, proxy_password_file, active, after, move_to"
    )
    numbers = f"WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < {count})"
    query(f"{numbers} INSERT INTO entries ({columns}) SELECT {columns} FROM entries, n WHERE id = {number}")


def query(sql):
    import sqlite3

    connection = sqlite3.connect(DATABASE)
    connection.execute(sql)
    connection.commit()
    connection.close()


def traced(calls, *words):
    """The system calls of that kind that a command makes."""
    log = WORLD / "strace"
    outcome = ftpspool.run(*words, wrapper=("strace", "-f", "-o", log, "-e", f"trace={calls}"))
    assert outcome.status == 0, outcome
    return [line for line in log.read_text().splitlines() if re.search(r"\w+\(", line)]


def fsyncs_of_adds(count, path, *options):
    """The fsyncs of each of so many adds in a row."""
    log = WORLD / "strace"
    words = ["add", path, ALICE, "--password-file", ftpspool.password(), *options]
    add = shlex.join(map(str, ftpspool.command() + words))
    script = f"for i in $(seq {count}); do {add} || exit; done"
    trace = ["strace", "-f", "-o", str(log), "-e", "trace=fsync,fdatasync"]
    outcome = ftpspool.run_command([*trace, "sh", "-c", script])
    assert outcome.status == 0, outcome
    calls = collections.Counter(line.split()[0] for line in log.read_text().splitlines() if "sync(" in line)
    assert len(calls) == count  # by process
    return list(calls.values())


def log_number():
    """How often the write-ahead log was begun."""
    return int.from_bytes(DATABASE.with_name("spool.db-wal").read_bytes()[12:16], "big")


@pytest.mark.native("strace")
@pytest.mark.timeout(600)
def test_adding_costs_two_fsyncs_at_most(local):
    path = make(local, "a")
    ftpspool.add(path)
    assert max(fsyncs_of_adds(MANY_ADDS, path)) <= 2
    assert max(fsyncs_of_adds(10, path, "--copy")) <= 4


@pytest.mark.native("strace")
@pytest.mark.timeout(600)
def test_adding_costs_two_fsyncs_at_most_while_a_service_shortens_the_log(local):
    """The service is slow where it unlocks the log that it has written back: an add could begin the log anew there."""
    path = make(local, "a")
    ftpspool.add(path)
    slow = ("strace", "-f", "-o", "/dev/null", "-e", "trace=fcntl", "-e", "inject=fcntl:delay_enter=2000")
    service = Service("--socket", "/nowhere", wrapper=slow)
    service.wait_started()
    begun = log_number()
    counts = collections.Counter()
    while log_number() == begun:  # on a busy machine the service may come late
        counts.update(fsyncs_of_adds(MANY_ADDS, path))
    print(f"adds by their fsyncs: {dict(counts)}; the log was begun {log_number() - begun} times")
    assert max(counts) <= 2


@pytest.mark.native("strace")
@pytest.mark.timeout(600)
def test_a_command_may_be_killed_at_every_system_call(local):
    """An id that was printed is an entry; no entry is half made, and no copy is left."""
    path = make(local, "a")
    words = ("add", path, "ftp://127.0.0.1/", "--copy")
    traced("%file,%desc,%memory", *words)
    calls = power.numbered_calls(WORLD / "strace")
    assert len(calls) > 100
    expected = 1
    for call in calls[1::7]:
        outcome = ftpspool.run(*words, wrapper=power.killed_at(*call))
        found = ftpspool.entries()
        if outcome.out:
            expected += 1
        assert expected <= len(found) <= expected + 1, call  # killed between the disk and the print
        expected = len(found)
        for one in found:
            assert one["state"] == "queued"
            with open(one["copy"], "rb") as file:
                assert file.read() == b"0123456789"
    assert ftpspool.run(*words).status == 0
    service = Service()
    service.wait_started()
    service.stop()
    copies = {one["copy"] for one in ftpspool.entries()}
    assert {str(copy) for copy in (SPOOL / "files").iterdir()} <= copies


def mount_spool(size):
    SPOOL.mkdir()
    subprocess.run(["mount", "--no-mtab", "-t", "tmpfs", "-o", f"size={size},mode=700", "tmpfs", SPOOL], check=True)


def fill_spool():
    """Leaves no room for a single byte; the file that takes it."""
    filler = SPOOL / "filler"
    with filler.open("wb", buffering=0) as file:
        with pytest.raises(OSError):
            while True:
                file.write(b"x" * 4096)
    return filler


def test_a_full_disk_is_reported_and_loses_nothing(local):
    mount_spool("256k")
    path = make(local, "a")
    added = 0
    while (outcome := ftpspool.run("add", path, "ftp://127.0.0.1/")).status == 0:
        added += 1
    assert outcome.status == 1
    assert "full" in outcome.err
    assert len(ftpspool.entries()) == added > 3
    subprocess.run(["mount", "--no-mtab", "-o", "remount,size=8m", SPOOL], check=True)
    assert ftpspool.run("add", path, "ftp://127.0.0.1/").status == 0
    assert len(ftpspool.entries()) == added + 1


def test_a_disk_that_fills_up_during_a_try_ends_the_service_and_loses_nothing(daemon, local):
    server = Vsftpd(local_max_rate=4 * MIB)
    mount_spool("1m")
    path = make(local, "large", os.urandom(12 * MIB))
    content = path.read_bytes()
    number = ftpspool.add(path, ALICE, "--delete")
    service = Service()
    wait_until(lambda: ftpspool.entry(number)["resumable"], "the first bytes, and that this is stored")
    filler = fill_spool()
    assert service.process.wait(60) == 1
    told = f"ftpspool: {DATABASE}: database or disk is full\n"
    assert service.said().count(told) == 1
    assert path.read_bytes() == content
    service.start()  # as systemd does; nothing can be stored yet
    assert service.process.wait(60) == 1
    assert service.said().count(told) == 2
    assert path.read_bytes() == content
    filler.unlink()
    assert ftpspool.states() == ["sending"]
    service.start()
    ftpspool.wait_for("done")
    assert server.read("large") == content
    assert not path.exists()


def test_a_damaged_database_is_refused_and_set_aside(daemon, vsftpd, local):
    path = make(local, "a")
    for _ in range(300):
        ftpspool.add(path)
    query("PRAGMA wal_checkpoint(TRUNCATE)")
    content = bytearray(DATABASE.read_bytes())
    content[len(content) // 2 : len(content) // 2 + 8192] = b"x" * 8192
    DATABASE.write_bytes(content)
    service = Service()
    assert service.process.wait(30) == 1
    aside = SPOOL / "spool.db.damaged-1"
    assert str(aside) in service.said()
    assert aside.read_bytes() == content
    assert not DATABASE.exists()
    service.start()
    assert ftpspool.add(path) == 1
    ftpspool.wait_for("done")


def test_setting_the_clock_by_a_year_loses_nothing(daemon, vsftpd, local):
    path = make(local, "a")
    if is_emulated():
        pytest.skip("an emulator takes no preloaded clock")
    for number, shift in enumerate(("+365d", "-365d", "+0"), 1):
        service = Service(LD_PRELOAD=faketime(), FAKETIME=shift)
        ftpspool.add(path, ALICE + str(number))
        ftpspool.wait_for("done", number)
        assert service.stop() == 0
    assert ftpspool.states() == ["done"] * 3


def test_a_clock_that_is_set_by_a_year_while_the_service_runs_delays_nothing_for_ever(daemon, vsftpd, local):
    """Only the service's clock is another one: it reads its shift from a file at each look."""
    if is_emulated():
        pytest.skip("an emulator takes no preloaded clock")
    clock = WORLD / "clock"

    def set_clock(shift):
        (WORLD / "clock.new").write_text(f"{shift}\n")
        (WORLD / "clock.new").rename(clock)
        assert ftpspool.run("hold", held).status == 0  # wakes the service, as the kernel does when the clock is set
        assert ftpspool.run("release", held).status == 0

    path = make(local, "a")
    held = ftpspool.add(path, "ftp://127.0.0.1:2121/held", "--not-before", "3650d")
    pausing = ftpspool.add(path, "ftp://alice@127.0.0.1:2121/a")  # nobody listens yet
    early = ftpspool.add(path, ALICE + "early", "--not-before", "200d")
    late = ftpspool.add(path, ALICE + "late", "--not-before", "600d", "--expires", "900d")
    expiring = ftpspool.add(path, "ftp://127.0.0.1:2122/never", "--expires", "300d")
    clock.write_text("+0d\n")
    service = Service(
        LD_PRELOAD=faketime(),
        FAKETIME_TIMESTAMP_FILE=clock,
        FAKETIME_NO_CACHE="1",
        FAKETIME_DONT_FAKE_MONOTONIC="1",
    )
    ftpspool.wait_for("waiting", pausing, expiring)
    set_clock("-365d")
    now = ftpspool.add(path, ALICE + "now")
    ftpspool.wait_for("done", now)
    assert [ftpspool.entry(one)["state"] for one in (early, late)] == ["queued"] * 2
    set_clock("+365d")
    ftpspool.wait_for("done", early)
    ftpspool.wait_for("failed", expiring)
    assert ftpspool.entry(expiring)["error"] == "expired"
    assert ftpspool.entry(late)["state"] == "queued"
    set_clock("+0d")
    server = Vsftpd(listen_port=2121)
    ftpspool.wait_for("done", pausing)
    assert ftpspool.entry(late)["state"] == "queued"
    set_clock("+700d")
    ftpspool.wait_for("done", late)
    assert path.exists()
    assert service.stop() == 0
    server.stop()


@pytest.mark.native("memory and times")
def test_ten_thousand_entries_cost_little(daemon):
    fill_queue(MANY)
    service = Service()
    wait_until(lambda: service.events("started"), "the service to run")
    begin = time.monotonic()
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    assert len(ftpspool.run("list").out.splitlines()) == MANY
    seconds = time.monotonic() - begin
    spent = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
    private_kib = memory_kib(service.pid, "Private_Dirty")
    print(f"list: {seconds:.3f} s, {spent:.3f} s of CPU; service: {private_kib} KiB")
    if daemon.has_sanitizer("[at]") or is_for_coverage():
        return  # a sanitizer keeps what was freed, the other has its counts in memory; both take their time
    assert spent < 3  # 0.06 s where nothing else runs; a sanitizer or a busy machine multiplies it
    assert private_kib <= 2048


@pytest.mark.native("wake-ups")
def test_an_idle_service_sleeps(daemon):
    fill_queue(100)
    service = Service("--exec", "true", "--metrics", WORLD / "ftpspool.prom")

    def switches():
        status = pathlib.Path(f"/proc/{service.pid}/status").read_text()
        return int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", status, re.MULTILINE)[1])

    def rests():
        before = switches()
        time.sleep(1)
        return switches() == before

    wait_until(lambda: service.events("started") and rests(), "the service to rest")
    before = switches()
    time.sleep(10)
    assert switches() - before <= 1
