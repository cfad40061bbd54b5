"""A private world with a running daemon, for the long tests; the end-to-end tests have fixtures for that.

A program that imports this runs under scripts/private; `enter` restarts it there."""

import argparse
import concurrent.futures
import os
import pathlib
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path.insert(0, str(HERE.parent / "e2e"))
sys.dont_write_bytecode = True

from harness import processes, wire  # noqa: E402
from harness.daemon import REPORTS, WORLD, Daemon, fast_clock, sanitizer_reports  # noqa: E402
from harness.log import ConsoleReader, LogReader  # noqa: E402
from harness.network_manager import NetworkManager  # noqa: E402
from harness.vsftpd import HOME  # noqa: E402

FASTER = 10  # speed of the daemon's clock


def need_root():
    """Ends the program as a skipped test where no server could become alice."""
    if os.geteuid() != 0 and subprocess.run(["sudo", "-n", "true"], capture_output=True).returncode != 0:
        print("skipped: vsftpd and sshd log users in, which needs root")
        sys.exit(77)


def unpack_servers():
    need_root()
    subprocess.run([ROOT / "scripts" / "servers"], check=True, stdout=sys.stderr)


def enter(daemon):
    """Restarts this program in a private world, as its process 1, with this daemon (a path)."""
    if os.environ.get("FTP_CLIENTD_WORLD"):
        return
    need_root()
    daemon = pathlib.Path(daemon).resolve()
    if not daemon.exists():
        sys.exit(f"{sys.argv[0]}: {daemon} is not there: build it first")
    os.environ["FTP_CLIENTD"] = str(daemon)
    program = [str(ROOT / "scripts" / "private"), "/usr/bin/python3", "-u", *sys.argv]
    os.execv(program[0], program)


def take_precedence():
    """Gives this process and its children real-time priority."""
    try:
        os.sched_setscheduler(0, os.SCHED_RR, os.sched_param(1))
    except PermissionError:
        print("no real-time priority here", file=sys.stderr)


def default_daemon():
    return str(ROOT / "build" / "release" / "bin" / "ftp_clientd")


def options(doc):
    """A parser for the program's command line, with the option --daemon."""
    parser = argparse.ArgumentParser(description=doc, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--daemon", default=default_daemon())
    return parser


def play_rows(parser, rows, one_row, head):
    """Runs rows of a table, each in its own world: one_row(name, arguments) returns whether it passed. Adds the arguments
    -j and names of rows to the parser. Ends the program."""
    parser.add_argument("-j", dest="jobs", type=int, default=2, help="rows at a time: they mostly wait")
    parser.add_argument("rows", nargs="*")
    arguments = parser.parse_args()
    if os.environ.get("FTP_CLIENTD_WORLD"):
        sys.exit(0 if one_row(arguments.rows[0], arguments) else 1)
    unknown = set(arguments.rows) - set(rows)
    if unknown:
        parser.error(f"no such row: {unknown}")
    own = [word for word in sys.argv if word not in arguments.rows]
    play_all([[*own, row] for row in arguments.rows or rows], arguments, head)


def serve_file(name, content):
    """Makes a file of alice's; her home must belong to her."""
    os.chown(HOME, 4000, 4000)
    (HOME / name).write_bytes(content)
    (HOME / name).chmod(0o644)


def preloads(daemon):
    """{variable: value} that preloads fail_nth into the daemon, with a faster clock."""
    build = pathlib.Path(daemon).resolve().parent.parent
    fail_nth = build / "tests" / "torture" / "fail_nth.so"
    assert fail_nth.exists(), f"not built: {fail_nth}"
    return {"LD_PRELOAD": f"{fail_nth}:{fast_clock()[0]}", "FAKETIME": f"+0 x{FASTER}"}


def in_private(command):
    """Runs the Python program in a private world to its end; its whole output is in stdout."""
    return output_of([str(ROOT / "scripts" / "private"), "/usr/bin/python3", "-u", *command])


def output_of(command):
    """Runs the command to its end; its whole output is in stdout."""
    return subprocess.run(
        command,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        errors="backslashreplace",
    )


def play_all(commands, arguments, head):
    """Runs the commands, each in its own world, some at a time; prints their output in order. Ends the program."""
    unpack_servers()
    os.environ["FTP_CLIENTD"] = str(pathlib.Path(arguments.daemon).resolve())
    print(head, flush=True)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for command, done in zip(commands, pool.map(in_private, commands)):
            print(done.stdout, end="", flush=True)
            if done.returncode != 0:
                print(f"failed: {' '.join(command)}", flush=True)
                failed += 1
    sys.exit(1 if failed else 0)


class Rig:
    """The daemon and its peers. Call start() again when a test has killed the daemon."""

    def __init__(self, speed=1, **environment):
        self.log = LogReader()
        self.console = ConsoleReader()
        self.manager = NetworkManager()
        self.local = WORLD / "local"
        self.local.mkdir()
        self.daemon = None
        self._speed = speed
        self.environment = {
            # Stacks through libraries without frame pointers, which show who lost a block.
            "ASAN_OPTIONS": f"log_path={REPORTS}:verify_asan_link_order=0:fast_unwind_on_malloc=0",
            "LSAN_OPTIONS": f"suppressions={HERE / 'lost_by_libssh2'}:print_suppressions=0",
            **environment,
        }

    def start(self):
        self.forget()
        self.daemon = Daemon()
        self.daemon.launch(speed=self._speed, **self.environment)
        self.daemon.find()
        self.manager.wait_for(wire.NOTICE_STARTED)
        self.forget()
        return self.daemon

    def forget(self):
        """Forgets the log, notices and files so far; those of thousands of jobs would fill the memory."""
        del self.log.lines[:]
        del self.manager.notices[:]
        for server in ("sshd", "vsftpd", "pure-ftpd", "proftpd"):
            processes.reap_ended(server)

    @property
    def alive(self):
        try:
            stat = pathlib.Path(f"/proc/{self.daemon.pid}/stat").read_text()
        except OSError:
            return False
        return stat.rsplit(") ", 1)[1][0] != "Z"

    def descriptors(self):
        """Numbers and kinds, without the inode, which differs for a reopened socket."""
        return {fd: kind.split(":")[0] for fd, kind in self.daemon.descriptors().items()}

    def threads(self):
        return self.daemon.threads()

    def is_sanitized(self):
        return self.daemon.has_sanitizer("[at]")

    def stop(self):
        """A list of what was wrong at the end."""
        wrong = []
        if not self.alive:
            wrong.append(f"the daemon had ended: status {self.daemon.wait_end()}")
        else:
            status = self.daemon.stop()
            if status != 0:
                wrong.append(f"the daemon ended with status {status}")
        if sanitizer_reports():
            wrong.append(sanitizer_reports())
        if "runtime error:" in self.console.text:
            wrong.append(self.console.text)
        return wrong


def settled(condition, seconds=5.0):
    """True as soon as condition() is true; False if it does not become so in time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.002)
    return True
