"""The private world of a benchmark, and the daemon in it, asked through its control socket."""

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
    """The command line of a benchmark, and a private world to run it in: there the script is started anew.

    Each option is a number with its default; --build names the build folder that is measured."""
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
    sys.setswitchinterval(0.0002)  # threads of ours take the times: they shall not wait for each other
    if "FTP_CLIENTD_WORLD" not in os.environ:
        os.execv(ROOT / "scripts" / "private", ["private", *sys.orig_argv[:1], *sys.argv])
    os.environ["FTP_CLIENTD"] = f"{given.emulator} {given.build / 'bin' / 'ftp_clientd'}".strip()
    os.environ["HOME"] = os.environ["TMPDIR"]  # peers keep what they like to keep here
    os.symlink("pts/ptmx", "/dev/ptmx")  # lftp runs ssh on a terminal
    return given


def leave(status=0):
    """Ends the world at once, whatever threads and servers there are."""
    sys.stdout.flush()
    os._exit(status)


class Cost(NamedTuple):
    """What one run took. peak_mib is None where nobody asked."""

    wall_s: float
    cpu_s: float
    peak_mib: float | None = None


def cpu_s(pid):
    """User and system time of a process, of its ended threads too: clock_getcpuclockid's clock, in nanoseconds."""
    return time.clock_gettime(~pid << 3 | 2)


def memory_kib(pid, name, file="status"):
    """A line of /proc/PID/status or smaps_rollup, in KiB."""
    for line in pathlib.Path(f"/proc/{pid}/{file}").read_text().splitlines():
        if line.startswith(name + ":"):
            return int(line.split()[1])
    raise RuntimeError(f"no {name}")


def private_kib(pid):
    """Memory that is the process's alone, without what an emulator takes."""
    from harness import daemon

    if daemon.is_emulated():
        return daemon.memory_kib(pid, "Private_Dirty")
    return memory_kib(pid, "Private_Dirty", "smaps_rollup")


def settled_kib(pid):
    """The same when nothing runs: the last job's end lies some passes of the main loop back."""
    time.sleep(0.5)
    return private_kib(pid)


def forget_peak(pid):
    """From here on VmHWM is the peak."""
    pathlib.Path(f"/proc/{pid}/clear_refs").write_text("5")


def local_file(mib, name="local"):
    """A file of random bytes for uploads; its path."""
    from harness.daemon import WORLD

    path = str(WORLD / "tmp" / name)
    with open(path, "wb") as file:
        for _ in range(mib):
            file.write(os.urandom(1 << 20))
    return path


class _Device:
    """What the daemon meets on a device: somebody who reads log and console and takes its notices. One for all daemons."""

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
            """Notes when each notice came; `arrivals` has a time for each of `notices`."""

            def __init__(self):
                self.arrivals = []
                super().__init__()

            def _take(self, connection):
                self.arrivals.append(time.monotonic())
                super()._take(connection)

        self.log = LogReader()
        ConsoleReader()
        self.manager = Manager()


def without_pauses(build, divisor):
    """The environment in which a daemon's pauses take that part of their time."""
    return {"LD_PRELOAD": build / "bench" / "libquick.so", "PAUSES_DIVIDED_BY": str(divisor)}


class Subject:
    """The daemon that is measured, started as a device does. One at a time.

    started_s: from its start to the start-up notice. environment: variables of its own."""

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
        """Cost of a job that must end well, from the request to its notice, the 100 ms cadence included."""
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
