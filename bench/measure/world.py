"""The private world of a benchmark and the daemon in it, used through its control socket."""

import argparse
import os
import pathlib
import sys
import time
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

DEADLINE_S = 900


def arguments(description, **options):
    """Reads the command line of a benchmark and restarts the script in a private world.

    Each option is a number with its default; --build is the folder of the measured build."""
    parser = argparse.ArgumentParser(
        description=description, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    for name, default in options.items():
        parser.add_argument(f"--{name}", type=type(default), default=default, help=f"default: {default}")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "bench")
    parser.add_argument("--emulator", default="", help="how to run a daemon of another machine (bench/memory)")
    given = parser.parse_args()
    given.build = given.build.resolve()
    if not (given.build / "bin" / "ftp_clientd").exists():
        sys.exit(f"{sys.argv[0]}: no daemon in {given.build}: build it, or run bench/run")
    sys.setswitchinterval(0.0002)  # our threads measure times, so they must not wait for each other
    if "FTP_CLIENTD_WORLD" not in os.environ:
        os.execv(ROOT / "scripts" / "private", ["private", *sys.orig_argv[:1], *sys.argv])
    os.environ["FTP_CLIENTD"] = f"{given.emulator} {given.build / 'bin' / 'ftp_clientd'}".strip()
    os.environ["HOME"] = os.environ["TMPDIR"]  # for files of other programs
    os.symlink("pts/ptmx", "/dev/ptmx")  # lftp runs ssh on a terminal
    return given


def leave(status=0):
    """Ends the world at once with all its threads and servers."""
    sys.stdout.flush()
    os._exit(status)


class Cost(NamedTuple):
    """The cost of one run. peak_mib is None if it was not measured."""

    wall_s: float
    cpu_s: float
    peak_mib: float | None = None


def cpu_s(pid):
    """User and system time of a process, including ended threads; from clock_getcpuclockid's clock, exact to nanoseconds."""
    return time.clock_gettime(~pid << 3 | 2)


def memory_kib(pid, name, file="status"):
    """A line of /proc/PID/status or smaps_rollup, in KiB."""
    for line in pathlib.Path(f"/proc/{pid}/{file}").read_text().splitlines():
        if line.startswith(name + ":"):
            return int(line.split()[1])
    raise RuntimeError(f"no {name}")


def private_kib(pid):
    """The process's private memory, without an emulator's own."""
    from harness import daemon

    if daemon.is_emulated():
        return daemon.memory_kib(pid, "Private_Dirty")
    return memory_kib(pid, "Private_Dirty", "smaps_rollup")


def settled_kib(pid):
    """The same while idle, some passes of the main loop after the last job's end."""
    time.sleep(0.5)
    return private_kib(pid)


def forget_peak(pid):
    """Restarts VmHWM, the peak."""
    pathlib.Path(f"/proc/{pid}/clear_refs").write_text("5")


def local_file(mib, name="local"):
    """Creates a file of random bytes for uploads; returns its path."""
    from harness.daemon import WORLD

    path = str(WORLD / "tmp" / name)
    with open(path, "wb") as file:
        for _ in range(mib):
            file.write(os.urandom(1 << 20))
    return path


class _Device:
    """A device's readers of log and console and its network manager. One for all daemons."""

    _only = None

    def __new__(cls):
        cls._only = cls._only or super().__new__(cls)
        return cls._only

    def __init__(self):
        if hasattr(self, "log"):
            return
        from harness import network_manager
        from harness.log import ConsoleReader, LogReader

        class Manager(network_manager.NetworkManager):
            """Records in `arrivals` the time of each of `notices`."""

            def __init__(self):
                self.arrivals = []
                super().__init__()

            def take(self, connection):
                self.arrivals.append(time.monotonic())
                super().take(connection)

        self.log = LogReader()
        ConsoleReader()
        self.manager = Manager()


def without_pauses(build, divisor):
    """The environment that divides a daemon's pauses by `divisor`."""
    return {"LD_PRELOAD": build / "bench" / "libquick.so", "PAUSES_DIVIDED_BY": str(divisor)}


class Subject:
    """The measured daemon, started as on a device. One at a time.

    started_s: from its start to the start notice. environment: additional variables."""

    def __init__(self, **environment):
        from harness import wire
        from harness.daemon import Daemon

        device = _Device()
        self.log, self.manager = device.log, device.manager
        due = len(self.manager.of_code(wire.NOTICE_STARTED)) + 1
        self.daemon = Daemon()
        start = time.monotonic()
        self.daemon.launch(**environment)
        self.manager.wait_for(wire.NOTICE_STARTED, due)
        self.started_s = self.manager.arrivals[-1] - start
        self.pid = self.daemon.find()

    def stop(self):
        self.daemon.stop()

    def run(self, command, **fields):
        """The cost of a job that must succeed, from the request to its notice, including the pauses of 100 ms."""
        from harness import client, wire

        code = {wire.DOWNLOAD: wire.NOTICE_DOWNLOAD, wire.UPLOAD: wire.NOTICE_UPLOAD}.get(
            command, wire.NOTICE_FILE_INFO
        )
        due = len(self.manager.of_code(code)) + 1
        forget_peak(self.pid)
        cpu, start = cpu_s(self.pid), time.monotonic()
        assert client.start(command, **fields) == (0, 0)
        notice = self.manager.wait_for(code, due, DEADLINE_S)
        wall = self.manager.arrivals[-1] - start
        assert notice.outcome == (0, 0), "\n".join([str(notice.outcome), *self.log.texts[-40:]])
        return Cost(wall, cpu_s(self.pid) - cpu, memory_kib(self.pid, "VmHWM") / 1024)
