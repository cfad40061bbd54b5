"""Processes of this test. It is process 1 of its world: every orphan becomes its child."""

import os
import pathlib
import signal
import subprocess
from typing import NamedTuple

from .waiting import DEADLINE_S, wait_until

_spawned = []


class Process(NamedTuple):
    pid: int
    name: str  # 15 characters at most
    state: str
    parent: int
    session: int


def spawn(command, **options):
    """A server or tool that ends with the test."""
    process = subprocess.Popen(command, **options)
    _spawned.append(process)
    return process


def end_spawned():
    while _spawned:
        process = _spawned.pop()
        process.kill()
        process.wait()


def processes():
    for folder in pathlib.Path("/proc").iterdir():
        if not folder.name.isdigit():
            continue
        try:
            stat = (folder / "stat").read_text()
        except OSError:  # gone by now
            continue
        name = stat[stat.index("(") + 1 : stat.rindex(")")]
        state, parent, _, session = stat[stat.rindex(")") + 2 :].split()[:4]
        yield Process(int(folder.name), name, state, int(parent), int(session))


def signal_children(pid, number):
    """Signals the children of a wrapper that does not pass signals on."""
    for process in processes():
        if process.parent == pid:
            os.kill(process.pid, number)


def adopted(name):
    """The pids of children that the test did not start itself, including zombies."""
    own = {process.pid for process in _spawned}
    found = [
        process
        for process in processes()
        if process.parent == os.getpid() and process.name == name[:15] and process.pid not in own
    ]
    return sorted(found, key=lambda process: process.pid)


def reap_ended(name):
    """Reaps a server's ended orphans: thousands of them would use up the process ids."""
    for process in adopted(name):
        if process.state == "Z":
            reap(process.pid)


def reap(pid, deadline_s=DEADLINE_S):
    """The exit status of a child, or -N if signal N ended it. If it does not end, kills it and fails."""
    ended = []

    def poll():
        ended[:] = os.waitpid(pid, os.WNOHANG)
        return ended[0] == pid

    try:
        wait_until(poll, f"the end of process {pid}", deadline_s)
    except AssertionError:
        os.kill(pid, signal.SIGKILL)
        os.waitpid(pid, 0)
        raise
    return os.waitstatus_to_exitcode(ended[1])
