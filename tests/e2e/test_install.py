"""The installed files, the daemon running from there, and the program that starts it for a group of users."""

import grp
import os
import pathlib
import re
import shlex
import socket
import stat
import subprocess
import time

import pytest

from harness import client, feeder, processes, wire
from harness.client import CONTROL_SOCKET
from harness.daemon import WORLD, program
from harness.vsftpd import needs_users

ROOT = WORLD / "root"
PRIVATE = "lib/ftp_clientd"
LIBRARIES = ("libsecure.so", "libzixiFeeder.so")
PID_FILE = WORLD / "daemon.pid"
NOBODY = 65534


def install(*options):
    """Installs from the build of the daemon under test."""
    build = pathlib.Path(program()[-1]).resolve().parent.parent
    subprocess.run(
        ["cmake", "--install", build, *options],
        check=True,
        env=os.environ | {"DESTDIR": str(ROOT)},
        stdout=subprocess.DEVNULL,
    )


def files_below(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}


@pytest.fixture
def installed(monkeypatch):
    """/opt/device below a folder; the daemon there is the one under test."""
    install("--prefix", "/opt/device", "--component", "daemon")
    place = ROOT / "opt/device"
    monkeypatch.setenv("FTP_CLIENTD", " ".join([*program()[:-1], str(place / "sbin/ftp_clientd")]))
    return place


@pytest.fixture
def start(installed, monkeypatch):
    """The command that starts the daemon's."""
    needs_users()
    *emulator, daemon = program()
    if emulator:  # a script, because the kernel runs what `start` names; it has the name of the process
        script = WORLD / "emulated" / os.path.basename(emulator[0])
        script.parent.mkdir()
        script.write_text(f"#!/bin/sh\nexec {shlex.join([*emulator, daemon])}\n")
        script.chmod(0o755)
        monkeypatch.setenv("FTP_CLIENTD", str(script))
    return [*emulator, str(installed / PRIVATE / "start"), "alice", str(PID_FILE)]


def loaded(daemon):
    """{name: file} of the two loaded libraries that a device may replace."""
    maps = pathlib.Path(f"/proc/{daemon.pid}/maps").read_text()
    found = {pathlib.Path(path) for path in re.findall(r"(/\S+\.so)$", maps, re.MULTILINE)}
    return {path.name: path for path in found if path.name in LIBRARIES}


def test_the_daemon_comes_with_its_libraries_unit_and_manual(installed):
    assert files_below(installed) == {
        "sbin/ftp_clientd",
        f"{PRIVATE}/libsecure.so",
        f"{PRIVATE}/libzixiFeeder.so",
        f"{PRIVATE}/start",
        "lib/systemd/system/ftp_clientd.service",
        "lib/sysusers.d/ftp_clientd.conf",
        "share/man/man8/ftp_clientd.8.gz",
    }


def test_the_tools_come_without_the_daemon():
    install("--prefix", "/usr", "--component", "tools")
    tools = files_below(ROOT / "usr")
    assert "bin/ftpctl" in tools
    assert not any("ftp_clientd" in name or name.endswith(".so") for name in tools)


def test_the_unit_has_the_installed_paths(installed):
    unit = (installed / "lib/systemd/system/ftp_clientd.service").read_text()
    assert re.findall("^ExecStart=(.*)$", unit, re.MULTILINE) == [
        "/opt/device/lib/ftp_clientd/start ftpclient /run/ftp_clientd.pid /opt/device/sbin/ftp_clientd"
    ]
    assert "@" not in re.sub("@[a-z-]+", "", unit)  # a set of system calls


def test_an_installed_daemon_finds_its_libraries_and_does_a_job(installed, launch, jobs, scripted, local):
    scripted(files={"a.txt": b"installed"})
    assert loaded(launch()) == {name: installed / PRIVATE / name for name in LIBRARIES}
    assert jobs.download("a.txt", local / "a").outcome == (0, 0)
    assert (local / "a").read_bytes() == b"installed"


def test_the_installed_zixi_library_never_connects(installed, feed, jobs, log, local):
    feed()  # with the folder where the stand-in would store
    notice = jobs.zixi_upload(feeder.make_file(local / "a", 10), "a")
    assert notice.outcome == (1, wire.NETWORK)
    assert feeder.signed(notice.exec_info.zixi_error) == -4
    log.wait_for(r"^error: zixi_func\(\d+\): .*ZIXI_ERROR_NOT_CONNECTED")
    assert feeder.stored() == {}


def test_the_library_path_of_the_environment_comes_first(installed, launch):
    closed = WORLD / "closed"
    closed.mkdir()
    for name in LIBRARIES:
        (installed / PRIVATE / name).rename(closed / name)
    assert loaded(launch(LD_LIBRARY_PATH=str(closed))) == {name: closed / name for name in LIBRARIES}


def connect_as(groups):
    """A process of the user nobody, in these groups, connects to the control socket."""
    code = f"import socket; socket.socket(socket.AF_UNIX).connect({CONTROL_SOCKET!r})"
    return subprocess.run(
        ["/usr/bin/python3", "-c", code],
        user=NOBODY,
        group=NOBODY,
        extra_groups=groups,
        capture_output=True,
        text=True,
    )


def started_with(command):
    """(exit status, output on standard error)"""
    said = WORLD / "said"  # not a pipe, which the started daemon would hold open
    with said.open("w") as stderr:
        status = subprocess.run(command, stderr=stderr).returncode
    return status, said.read_text()


ADOPTS = pytest.mark.native("it refuses PR_SET_CHILD_SUBREAPER, without which `start` loses sight of the daemon")


@pytest.fixture
def started(start, unstarted):
    """A function that starts the daemon for alice's group."""

    def call():
        unstarted.launch(wrapper=start)
        assert unstarted.front_status() == 0
        return grp.getgrnam("alice").gr_gid

    return call


@ADOPTS
def test_a_started_daemon_answers_its_group_and_nobody_else(started, unstarted):
    group = started()
    # All is ready when `start` returns.
    status = os.stat(CONTROL_SOCKET)
    assert (stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid) == (0o660, 0, group)
    assert int(PID_FILE.read_text()) == unstarted.find()
    assert client.nothing() == (0, 0)
    assert connect_as([group]).returncode == 0
    assert "PermissionError" in connect_as([]).stderr


@ADOPTS
def test_clients_of_the_group_may_take_turns_and_nobody_else(started, unstarted):
    turn = pathlib.Path(CONTROL_SOCKET + ".turn")
    turn.touch(0o644)  # created by a client before the start
    group = started()
    unstarted.find()
    status = turn.stat()
    assert (stat.S_IMODE(status.st_mode), status.st_gid, status.st_size) == (0o660, group, 0)


@ADOPTS
def test_a_start_without_a_turn_file_succeeds_with_a_warning(start, unstarted):
    os.symlink("/dev/null", CONTROL_SOCKET + ".turn")
    said = "start: /var/run/ftp.sock.turn: Too many levels of symbolic links\n"
    assert started_with([*start, program()[-1]]) == (0, said)
    unstarted.find()
    assert client.nothing() == (0, 0)


@ADOPTS
def test_a_start_replaces_the_socket_that_an_earlier_run_left(started, unstarted):
    with socket.socket(socket.AF_UNIX) as stale:
        stale.bind(CONTROL_SOCKET)
        inode = os.stat(CONTROL_SOCKET).st_ino
        started()
        unstarted.find()
        assert os.stat(CONTROL_SOCKET).st_ino != inode
    assert client.nothing() == (0, 0)


ENDED = (1, "start: the daemon has ended; its log says why\n")


def test_a_daemon_that_ends_is_reported_at_once(start, log):
    os.unlink("/dev/console")
    os.mkdir("/dev/console")
    assert started_with([*start, program()[-1]]) == ENDED
    log.wait_for(r"^error: ftp_clientd\(967\)")
    assert not PID_FILE.exists()


def script(text):
    """A script in place of the daemon."""
    path = WORLD / "script"
    path.write_text(text)
    path.chmod(0o755)
    return str(path)


def test_a_daemon_that_does_not_answer_is_waited_for_ten_seconds(start):
    silent = script("#!/bin/sh\nexec sleep 1000\n")
    began = time.monotonic()
    assert started_with([*start, silent]) == (1, "start: the daemon does not answer\n")
    assert time.monotonic() - began > 8.9  # `start` counts whole seconds
    assert not PID_FILE.exists()


STUCK = """#!/usr/bin/python3
import socket, time
server = socket.socket(socket.AF_UNIX)
server.bind("{path}")
server.listen(0)
{does}
time.sleep(1000)
"""


@pytest.mark.parametrize(
    "does",
    [
        pytest.param("full = socket.socket(socket.AF_UNIX); full.connect(server.getsockname())", id="takes_none"),
        pytest.param("taken = server.accept()", id="sends_nothing"),
    ],
)
def test_a_daemon_that_leaves_connections_alone_is_not_waited_for_longer(start, does):
    stuck = script(STUCK.format(path=CONTROL_SOCKET, does=does))
    assert started_with([*start, stuck]) == (1, "start: the daemon does not answer\n")


def test_a_daemon_that_ends_after_creating_its_socket_is_reported_at_once(start):
    dying = script(f"#!/usr/bin/python3\nimport socket\nsocket.socket(socket.AF_UNIX).bind({CONTROL_SOCKET!r})\n")
    assert started_with([*start, dying]) == ENDED
    assert not PID_FILE.exists()


@ADOPTS
def test_a_file_that_cannot_be_created_or_removed_is_reported(start, unstarted):
    os.mkdir(CONTROL_SOCKET)
    assert started_with([*start, program()[-1]]) == (1, "start: /var/run/ftp.sock: Is a directory\n")
    os.rmdir(CONTROL_SOCKET)
    start[2] = str(WORLD / "none" / "daemon.pid")
    assert started_with([*start, program()[-1]]) == (1, f"start: {start[2]}: No such file or directory\n")
    unstarted.find()


def test_nothing_is_started_for_a_group_that_does_not_exist(start):
    missing = [*start[:-2], "nosuchgroup", str(PID_FILE), program()[-1]]
    assert started_with(missing) == (1, "start: no group nosuchgroup\n")
    assert not processes.adopted(os.path.basename(program()[0]))
    assert not os.path.exists(CONTROL_SOCKET)


def test_wrong_arguments_are_refused(start):
    assert started_with(start) == (2, "usage: start GROUP PID_FILE DAEMON\n")
