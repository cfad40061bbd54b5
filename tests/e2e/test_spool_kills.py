"""ftpspool killed at every system call of its service, and over a line that breaks again and again."""

import contextlib
import os
import pathlib
import signal
import threading

import pytest

from harness import ftpspool, power, processes
from harness.daemon import WORLD
from harness.ftpspool import ALICE, Service
from harness.waiting import wait_until

POINTS = int(os.environ.get("FTP_CLIENTD_SPOOL_POINTS", "8"))
FILES = int(os.environ.get("FTP_CLIENTD_SPOOL_FILES", "8"))
CALLS = power.CALLS + ",pread64,poll,mmap,munmap,fcntl,flock,inotify_add_watch,timerfd_settime,connect,sendto,recvfrom,exit_group"
LOG = WORLD / "calls"


def settled(service, number):
    """Waits until the service has ended or the entry is done; ends it then."""
    wait_until(
        lambda: service.process.poll() is not None or ftpspool.entry(number)["state"] == "done", f"entry {number}"
    )
    processes.signal_children(service.pid, signal.SIGTERM)
    service.process.wait(60)


class Trial:
    """A file that is to arrive, with a service under a wrapper. Its one place is then empty, or it has another one."""

    def __init__(self, server, local, name, option):
        self.server, self.name = server, name
        self.content = os.urandom(5000)
        path = local / name
        path.write_bytes(self.content)
        self.moved = local / "sent" / name if option == "--move-to" else None
        self.number = ftpspool.add(path, ALICE, option, *([self.moved.parent] if self.moved else []))
        self.place = path
        if option == "--copy":  # its producer trusts the id
            path.unlink()
            self.place = pathlib.Path(ftpspool.entry(self.number)["copy"])

    def run(self, *wrapper):
        settled(Service(wrapper=wrapper), self.number)

    def check(self, point):
        """What holds at any time."""
        entry = ftpspool.entry(self.number)
        assert entry["state"] in ("arrived", "done") or self.place.read_bytes() == self.content, (point, entry)
        assert not self.moved or self.place.exists() != self.moved.exists(), (point, entry)
        if entry["state"] in ("arrived", "done"):
            assert self.server.read(self.name) == self.content, (point, entry)

    def finish(self, point):
        service = Service()
        service.wait_started()
        ftpspool.wait_for("done", self.number)
        assert service.stop() == 0, point
        assert not self.place.exists(), point
        assert not self.moved or self.moved.read_bytes() == self.content, point
        assert self.server.read(self.name) == self.content, point


@pytest.mark.native("strace")
@pytest.mark.timeout(1200)
@pytest.mark.parametrize("option", ["--delete", "--move-to", "--copy"])
def test_the_service_may_be_killed_at_every_system_call(daemon, vsftpd, local, option):
    (local / "sent").mkdir()
    whole = Trial(vsftpd, local, "whole", option)
    whole.run("strace", "-f", "-o", str(LOG), "-e", f"trace={CALLS}")
    calls = power.numbered_calls(LOG)
    assert len(calls) > 200
    states = set()
    for point in range(1, len(calls), max(1, len(calls) // POINTS)):
        trial = Trial(vsftpd, local, f"f{point}", option)
        trial.run(*power.killed_at(*calls[point]))
        states.add(ftpspool.entry(trial.number)["state"])
        trial.check(point)
        trial.finish(point)
    assert len(states) > 1, states


def sessions_of(server):
    return {process.pid for process in processes.processes() if process.name == "vsftpd" and process.pid != server.pid}


def send(number, pids):
    for pid in pids:
        with contextlib.suppress(ProcessLookupError):
            os.kill(pid, number)


def break_sessions(server, ended):
    """Ends what serves alice every second: all of it at once, for one half of a session answers 530 when the other has gone."""
    while not ended.wait(1):
        stopped = set()
        while new := sessions_of(server) - stopped:
            send(signal.SIGSTOP, new)
            stopped |= new
        send(signal.SIGKILL, stopped)


@pytest.mark.timeout(3000)
def test_all_files_arrive_once_and_whole_over_a_line_that_breaks(daemon, vsftpd, local):
    contents = {f"f{number}": os.urandom(200_000) for number in range(FILES)}
    for name, content in contents.items():
        (local / name).write_bytes(content)
        ftpspool.add(local / name, ALICE, "--delete")
    ended = threading.Event()
    breaker = threading.Thread(target=break_sessions, args=(vsftpd, ended))
    breaker.start()
    service = Service()
    try:
        ftpspool.wait_for("done", deadline_s=60 + 60 * FILES)
    finally:
        ended.set()
        breaker.join()
    assert {path.name: path.read_bytes() for path in vsftpd.home.iterdir()} == contents
    assert list(local.iterdir()) == []
    assert len(service.events("done")) == FILES
    print(len(service.events("waiting")), "tries broke")
