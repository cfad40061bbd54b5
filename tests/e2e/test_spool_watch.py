"""ftpspool's watched folders with the real daemon and a real server: each file that comes arrives, and is queued once."""

import os
import pathlib
import re
import signal
import subprocess
import time

import pytest

from harness import ftpspool, power, processes
from harness.daemon import WORLD
from harness.ftpspool import ALICE, Service
from harness.waiting import wait_until

POINTS = int(os.environ.get("FTP_CLIENTD_SPOOL_POINTS", "16"))
CALLS = power.CALLS + ",read,pread64,poll,newfstatat,getdents64,fcntl,flock,inotify_add_watch,epoll_ctl,exit_group"
LOG = WORLD / "calls"


@pytest.fixture(autouse=True)
def told():
    """What the service said, for a test that fails."""
    yield
    if (WORLD / "ftpspool.log").exists():
        print(Service.said())


@pytest.fixture
def folder(local):
    path = local / "in"
    path.mkdir()
    return path


def make(path, size=1000):
    content = os.urandom(size)
    path.write_bytes(content)
    return content


def switches(service):
    """How often it has slept."""
    status = pathlib.Path(f"/proc/{service.pid}/status").read_text()
    return int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", status, re.MULTILINE)[1])


def rests(service, seconds):
    before = switches(service)
    time.sleep(seconds)
    return switches(service) == before


def wait_for_files(count):
    """Until so many entries are there, and all are done."""
    wait_until(lambda: ftpspool.states() == ["done"] * count, f"{count} files: {ftpspool.entries()}")


def test_closed_and_renamed_files_arrive(daemon, vsftpd, local, folder):
    ftpspool.watch(folder)
    service = Service()
    service.wait_started()
    closed = make(folder / "a b")
    wait_for_files(1)
    renamed = make(local / "outside")
    (local / "outside").rename(folder / "c")
    hidden = make(folder / ".d.part")
    wait_for_files(2)
    (folder / ".d.part").rename(folder / "d")
    wait_for_files(3)
    assert [vsftpd.read(name) for name in ("a b", "c", "d")] == [closed, renamed, hidden]
    assert sorted(path.name for path in vsftpd.home.iterdir()) == ["a b", "c", "d"]
    assert service.stop() == 0


def test_files_that_came_while_the_service_was_down_arrive_once(daemon, vsftpd, folder):
    before = make(folder / "before")
    number = ftpspool.watch(folder)
    service = Service()
    wait_for_files(1)
    service.stop()
    down = make(folder / "down")
    service.start()
    wait_for_files(2)
    service.stop()
    service.start()
    after = make(folder / "after")
    wait_for_files(3)
    assert [vsftpd.read(name) for name in ("before", "down", "after")] == [before, down, after]
    assert ftpspool.run("watches", "--json").json["taken"] == 3
    assert ftpspool.run("unwatch", number).out == "1 watch removed\n"
    make(folder / "late")
    ftpspool.wait_for("done", ftpspool.add(folder / "late", ALICE + "other"))
    assert len(ftpspool.entries()) == 4


def test_files_get_names_by_the_pattern_and_are_deleted_after_arrival(daemon, vsftpd, folder):
    ftpspool.watch(folder, ALICE + "archive", "--match", "*.ts", "--name", "%Y/{counter:4}-{base}{extension}", "--delete")
    service = Service()
    service.wait_started()
    content = make(folder / "cam.ts")
    os.utime(folder / "cam.ts", (1700000000, 1700000000))
    wait_for_files(1)
    make(folder / "cam.log")
    other = make(folder / "next.ts")
    wait_for_files(2)
    year = time.gmtime().tm_year
    # Its time was set before or after it was looked at.
    names = [str(path.relative_to(vsftpd.home)) for path in sorted(vsftpd.home.rglob("*.ts"))]
    assert names in (
        ["archive/2023/0001-cam.ts", f"archive/{year}/0002-next.ts"],
        [f"archive/{year}/0001-cam.ts", f"archive/{year}/0002-next.ts"],
    )
    assert [vsftpd.read(name) for name in names] == [content, other]
    wait_until(lambda: [path.name for path in folder.iterdir()] == ["cam.log"], "the deletion")


def test_sub_folders_are_watched_on_request(daemon, vsftpd, local, folder):
    (folder / "old/deep").mkdir(parents=True)
    contents = {"old/deep/a": make(folder / "old/deep/a")}
    ftpspool.watch(folder, ALICE, "--recursive", "--move-to", local)
    service = Service()
    wait_for_files(1)
    (folder / "new/deep").mkdir(parents=True)
    contents["new/deep/b"] = make(folder / "new/deep/b")
    wait_for_files(2)
    (folder / "new").rename(folder / "named")
    contents["named/deep/c"] = make(folder / "named/deep/c")
    wait_for_files(3)
    assert {name: vsftpd.read(name) for name in contents} == contents
    assert sorted(path.name for path in local.iterdir()) == ["a", "b", "c", "in"]
    assert service.stop() == 0


def test_a_file_that_is_open_when_the_service_starts_is_waited_for(daemon, vsftpd, folder):
    with (folder / "open").open("wb") as writer:
        writer.write(b"one")
        writer.flush()
        ftpspool.watch(folder)
        Service()
        for name in ("a", "b"):
            make(folder / name)
        wait_for_files(2)
        writer.write(b"two")
    wait_for_files(3)
    assert vsftpd.read("open") == b"onetwo"


def test_a_rewritten_file_arrives_again(daemon, vsftpd, folder):
    ftpspool.watch(folder)
    Service()
    make(folder / "a")
    wait_for_files(1)
    again = make(folder / "a", 500)
    wait_for_files(2)
    assert vsftpd.read("a") == again
    make(folder / "b")  # the other one was not queued twice
    wait_for_files(3)


def test_a_file_rewritten_before_it_was_sent_arrives_with_its_last_content(daemon, vsftpd, folder):
    ftpspool.watch(folder, ALICE, "--delete")
    service = Service("--socket", "/nowhere")
    for size in (3000, 2000, 1000):
        content = make(folder / "a", size)
        wait_until(lambda: [one["size_bytes"] for one in ftpspool.entries()] == [size], f"the entry of {size} bytes")
    service.stop()
    service.start()
    wait_for_files(1)
    assert vsftpd.read("a") == content


def test_a_card_may_be_put_in_and_taken_out(daemon, vsftpd, folder):
    mount = lambda: subprocess.run(["mount", "--no-mtab", "-t", "tmpfs", "tmpfs", folder], check=True)
    ftpspool.watch(folder)
    service = Service()
    service.wait_started()
    make(folder / "below")
    wait_for_files(1)
    wait_until(lambda: rests(service, 1), "the service to rest")  # only the mount is to wake it
    mount()
    make(folder / "a")
    wait_for_files(2)
    subprocess.run(["umount", "--no-mtab", folder], check=True)
    make(folder / "b")
    wait_for_files(3)  # what was there is not queued again
    assert sorted(path.name for path in vsftpd.home.iterdir()) == ["a", "b", "below"]
    assert service.stop() == 0


def test_a_thousand_files_at_once_are_queued_once_each(daemon, folder):
    ftpspool.watch(folder, "ftp://127.0.0.1:2121/")  # nobody listens
    service = Service()
    service.wait_started()
    for number in range(1000):
        (folder / str(number)).write_bytes(b"x")
    wait_until(lambda: len(service.events("queued")) == 1000, "the last entry")
    assert service.stop() == 0
    assert sorted(int(pathlib.Path(one["local"]).name) for one in ftpspool.entries()) == list(range(1000))


@pytest.mark.native("strace")
def test_a_file_costs_two_fsyncs_at_most(daemon, folder):
    ftpspool.watch(folder, "ftp://127.0.0.1:2121/")
    service = Service("--socket", "/nowhere", wrapper=("strace", "-f", "-o", str(LOG), "-e", "trace=fsync,fdatasync"))
    service.wait_started()
    others = lambda: len(service.events("sending") + service.events("waiting"))
    before, others_before = LOG.read_text().count("sync("), others()
    for number in range(50):
        make(folder / str(number))
    wait_until(lambda: len(service.events("queued")) == 50, "the last entry")
    count = LOG.read_text().count("sync(") - before
    assert 50 <= count <= 2 * (50 + others() + 1 - others_before), (count, others())
    processes.signal_children(service.pid, signal.SIGTERM)
    assert service.process.wait(60) == 0


@pytest.mark.native("wake-ups")
@pytest.mark.timeout(300)
def test_an_idle_watch_sleeps(daemon, local, folder):
    with (folder / "recording").open("wb") as writer:
        writer.write(b"1")
        writer.flush()
        (folder / "sub").mkdir()
        ftpspool.watch(folder, ALICE, "--recursive")
        missing = [local / f"missing{number}" for number in range(10)]
        for path in missing:
            path.mkdir()
            ftpspool.watch(path)
        service = Service()
        service.wait_started()
        for number, path in enumerate(missing, 1):
            path.rmdir()
            wait_until(lambda: len(service.events("lost")) == number, "the loss of a folder")
            time.sleep(1)  # each is missing since another time

        wait_until(lambda: rests(service, 8), "the service to rest", 100)
        before = switches(service)
        time.sleep(20)
        assert switches(service) - before <= 2  # the open file and the missing folders are looked at every half minute


def trial(vsftpd, folder, point, *wrapper):
    """Files come before and while the service runs, and a second one finishes if that was killed; whether it was."""
    folder.mkdir()
    contents = {"before": make(folder / "before")}
    number = ftpspool.watch(folder, f"{ALICE}{folder.name}/", "--name", "{counter}-{name}")
    service = Service(wrapper=wrapper)
    wait_until(lambda: service.process.poll() is not None or entries_of(folder), "the first file")
    contents["closed"] = make(folder / "closed")
    contents["renamed"] = make(folder / ".renamed")
    (folder / ".renamed").rename(folder / "renamed")
    is_done = lambda: [one["state"] for one in entries_of(folder)] == ["done"] * 3
    wait_until(lambda: service.process.poll() is not None or is_done(), "the end")
    is_killed = service.process.poll() is not None
    processes.signal_children(service.pid, signal.SIGTERM)
    service.process.wait(60)
    second = Service()
    wait_until(lambda: is_done(), f"the files: {point}, {entries_of(folder)}")
    assert second.stop() in (0, -signal.SIGTERM), point  # the signal may come before its handler
    names = sorted(path.name for path in (vsftpd.home / folder.name).iterdir())
    assert [name[0] for name in names] == ["1", "2", "3"], (point, names)
    assert {name[2:]: vsftpd.read(f"{folder.name}/{name}") for name in names} == contents, point
    assert ftpspool.run("unwatch", number).status == 0
    return is_killed


def entries_of(folder):
    return [one for one in ftpspool.entries() if one["local"].startswith(f"{folder}/")]


@pytest.mark.native("strace")
@pytest.mark.timeout(1200)
def test_the_service_may_be_killed_while_files_come(daemon, vsftpd, local):
    trial(vsftpd, local / "whole", "none", "strace", "-f", "-o", str(LOG), "-e", f"trace={CALLS}")
    calls = power.numbered_calls(LOG)
    assert len(calls) > 200
    killed = 0
    for point in range(1, len(calls), max(1, len(calls) // POINTS)):
        killed += trial(vsftpd, local / f"p{point}", (point, calls[point]), *power.killed_at(*calls[point]))
    assert killed >= POINTS / 4  # the last calls are those of its end, and a busy machine makes fewer
