"""The daemon under test, started as on a device: it forks twice and detaches itself."""

import glob
import os
import pathlib
import re
import shlex
import signal

from . import processes
from .waiting import DEADLINE_S, HELD_UP_S, wait_until

WORLD = pathlib.Path(os.environ.get("FTP_CLIENTD_WORLD", "/nonexistent"))
REPORTS = WORLD / "sanitizer"
SPEED = 10  # of a fast daemon's clock: its limits of 60 s are 6 s, more than HELD_UP_S
LATE_S = HELD_UP_S * SPEED  # the same by that clock
EMULATED_END = 1 << 40  # addresses of an emulated program are lower, the emulator's own are higher

_SANITIZER = f"log_path={REPORTS}:"


def program():
    """The command that starts the daemon: a path, or an emulator with options before one."""
    return shlex.split(os.environ["FTP_CLIENTD"])


def is_emulated():
    return len(program()) > 1


def sysroot():
    """The prefix of the daemon's library paths."""
    command = program()
    return command[command.index("-L") + 1] if "-L" in command else ""


def faketime():
    """The library to preload for another time of day."""
    [library] = glob.glob(f"{sysroot()}/usr/lib/*/faketime/libfaketimeMT.so.1")
    return library


def fast_clock():
    """The libraries to preload for a clock of another speed."""
    build = pathlib.Path(program()[-1]).parent.parent
    own = glob.glob(f"{build}/tests/libfast_clock.so")
    return own or [faketime(), *glob.glob(f"{build}/tests/libtime64.so")]


def memory_kib(pid, kind):
    """The daemon's memory: an emulator's own is at higher addresses than the emulated program's. kind: of smaps."""
    own, total_kib = True, 0
    for line in pathlib.Path(f"/proc/{pid}/smaps").read_text().splitlines():
        if mapping := re.match("([0-9a-f]+)-[0-9a-f]+ ", line):
            own = not is_emulated() or int(mapping[1], 16) < EMULATED_END
        elif own and line.startswith(kind + ":"):
            total_kib += int(line.split()[1])
    assert total_kib, f"no {kind}"
    return total_kib


def environment(speed, extra):
    variables = {
        "PATH": os.environ["PATH"],
        "ASAN_OPTIONS": _SANITIZER + "verify_asan_link_order=0",
        # The daemon does not wait for its transfer when it ends.
        "TSAN_OPTIONS": _SANITIZER + "report_thread_leaks=0",
        "UBSAN_OPTIONS": "print_stacktrace=1",
    }
    if speed != 1:
        variables |= {
            "LD_PRELOAD": ":".join(fast_clock()),
            "FAKETIME": f"+0 x{speed}",
            "FAKETIME_DONT_FAKE_MONOTONIC": "0",  # ARM builds of it leave that clock alone
        }
    return variables | extra


class Daemon:
    """One run; start it once. `pid` is the daemon process."""

    def __init__(self):
        self.pid = None
        self._front = None
        self.name = os.path.basename(program()[0])

    def launch(self, speed=1, wrapper=(), sibling=None, **extra_environment):
        """Starts it and does not wait. speed: of its clock; wrapper: a command to run it under;
        sibling: the name of another program in its folder to start instead."""
        command = program()
        if sibling:
            command[-1] = str(pathlib.Path(command[-1]).with_name(sibling))
            assert os.path.exists(command[-1]), f"not built: {sibling}"
        self.name = os.path.basename(command[0])
        variables = environment(speed, extra_environment)
        if is_emulated() and "LD_PRELOAD" in variables:  # meant for the daemon, not for the emulator
            command[1:1] = ["-E", f"LD_PRELOAD={variables.pop('LD_PRELOAD')}"]
        self._front = processes.spawn([*wrapper, *command], env=variables, cwd=WORLD / "tmp")

    def front_status(self):
        """The exit status of the started process, which ends once the daemon is detached."""
        return self._front.wait(DEADLINE_S)

    def front_ended(self):
        """True if the started process has ended."""
        return self._front.poll() is not None

    def find(self):
        """Waits for the daemon process, an orphan that is not a session leader."""

        def stayed():
            family = processes.adopted(self.name)
            for process in family:
                if process.state == "Z":
                    processes.reap(process.pid)  # the middle one
            if len(family) != 1 or family[0].state == "Z":
                return None
            left = family[0].session not in (family[0].pid, os.getsid(0))
            return family[0].pid if left else None

        self.pid = wait_until(stayed, "a daemon that left its starter")
        return self.pid

    def start(self, **options):
        """launch(**options), and find()."""
        self.launch(**options)
        return self.find()

    def statuses_of_all(self):
        """Waits until all its processes have ended; returns their exit statuses, oldest first."""
        statuses = [self.front_status()]
        wait_until(
            lambda: all(process.state == "Z" for process in processes.adopted(self.name)),
            "the end of all processes of the daemon",
        )
        return statuses + [processes.reap(process.pid) for process in processes.adopted(self.name)]

    @property
    def running(self):
        return self.pid is not None and any(
            process.pid == self.pid and process.state != "Z" for process in processes.processes()
        )

    def send_signal(self, number):
        os.kill(self.pid, number)

    def stop(self, number=signal.SIGTERM):
        """Sends the signal; returns the exit status, or -N if signal N ended it."""
        self.send_signal(number)
        return self.wait_end()

    def wait_end(self):
        pid, self.pid = self.pid, None
        return processes.reap(pid)

    def descriptors(self):
        """{number: target} of its open files."""
        folder = f"/proc/{self.pid}/fd"
        return {int(number): os.readlink(f"{folder}/{number}") for number in os.listdir(folder)}

    def threads(self):
        """The number of threads."""
        return len(os.listdir(f"/proc/{self.pid}/task"))

    def peak_kib(self):
        """Its peak resident memory."""
        status = pathlib.Path(f"/proc/{self.pid}/status").read_text()
        return int(re.search(r"^VmHWM:\s*(\d+) kB$", status, re.MULTILINE)[1])

    def resident_kib(self):
        return memory_kib(self.pid, "Rss")

    def private_kib(self):
        """Memory that it has written to. Library code counts as private or shared depending on other processes."""
        return memory_kib(self.pid, "Private_Dirty")

    def grew_less_than(self, kib, before_kib):
        """Whether its resident memory grew by less than `kib`; always true with a sanitizer, which keeps freed memory."""
        return self.has_sanitizer("[at]") or self.resident_kib() - before_kib < kib

    def has_sanitizer(self, kinds):
        """kinds: a regular expression for the letter before "san"."""
        maps = pathlib.Path(f"/proc/{self.pid}/maps").read_text()
        return re.search(f"lib{kinds}san", maps) is not None


def sanitizer_reports():
    return "".join(path.read_text() for path in sorted(WORLD.glob(REPORTS.name + ".*")))
