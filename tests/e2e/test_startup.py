"""From the first fork to the start notice, and how that can fail."""

import os
import pathlib
import platform
import re
import shutil
import signal
import socket
import stat
import subprocess

import pytest

from harness import client, wire
from harness.client import CONTROL_SOCKET
from harness.daemon import is_emulated
from harness.log import LOG_SOCKET
from harness.waiting import holds_for, wait_until

STARTED = bytes.fromhex("0a0301 0800 00000000 00000000 00000000")
FAILED = bytes.fromhex("0a0301 0800 00000000 01000000 05000000")


def without_reserved(raw):
    """Bytes 3, 6 and 7 of a notice are unused."""
    return raw[:3] + raw[4:6] + raw[8:]


def strace(*injections):
    """Runs the daemon with failing system calls, e.g. "setsid:error=EPERM"."""
    options = [option for injection in injections for option in ("-e", f"inject={injection}")]
    return ["strace", "-f", "-qq", "-o", "/dev/null", *options]


NO_LEAK_CHECK = {"ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"}  # it cannot run under strace


def test_the_start_is_announced_with_twenty_bytes_and_nothing_but_the_versions_is_logged(daemon, network_manager, log):
    (notice,) = network_manager.notices
    assert len(notice.raw) == 20
    assert without_reserved(notice.raw) == STARTED
    assert not log.errors()


def test_the_daemon_detaches_itself(daemon):
    assert daemon.front_status() == 0
    status = open(f"/proc/{daemon.pid}/status").read()
    assert f"PPid:\t{os.getpid()}\n" in status
    assert "Umask:\t0000\n" in status
    assert os.getsid(daemon.pid) not in (daemon.pid, os.getsid(0))
    assert os.readlink(f"/proc/{daemon.pid}/cwd") == "/"


def test_standard_input_is_null_and_the_outputs_are_the_console(daemon):
    descriptors = daemon.descriptors()
    assert descriptors[0] == "/dev/null"
    assert descriptors[1] == descriptors[2] == "/dev/console"
    others = [target for number, target in descriptors.items() if number > 2]
    assert all(target.startswith("socket:") for target in others), descriptors


def test_the_log_names_the_daemon_its_pid_and_facility(daemon, log):
    line = log.wait_for(r"^curl_func\(260\): libcurl/")
    assert (line.priority, line.ident, line.pid) == (8 | 6, "libftp_clientd_if", daemon.pid)
    assert line.text.endswith("\n")


def test_the_control_socket_is_a_socket_file(daemon):
    assert stat.S_ISSOCK(os.stat(CONTROL_SOCKET).st_mode)
    assert os.path.realpath(CONTROL_SOCKET) == "/run/ftp.sock"


@pytest.mark.parametrize("left", ["socket", "file"])
def test_what_an_earlier_run_left_at_the_socket_path_is_replaced(unstarted, network_manager, left):
    if left == "socket":
        with socket.socket(socket.AF_UNIX) as stale:
            stale.bind(CONTROL_SOCKET)
    else:
        open(CONTROL_SOCKET, "w").close()
    unstarted.start()
    assert without_reserved(network_manager.wait_for(wire.NOTICE_STARTED).raw) == STARTED
    assert client.nothing() == (0, 0)


def test_a_control_socket_that_cannot_be_bound_is_announced_and_ends_with_status_0(
    unstarted, network_manager, log
):
    os.mkdir(CONTROL_SOCKET)
    unstarted.launch()
    assert unstarted.statuses_of_all() == [0, 0, 0]
    assert without_reserved(network_manager.wait_for(wire.NOTICE_STARTED).raw) == FAILED
    log.wait_for(r"^error: ftp_clientd_if\(119\): errno\(98\) Address already in use\n$")
    assert len(network_manager.notices) == 1


def test_a_start_needs_no_network_manager(unstarted, log):
    unstarted.start()
    log.wait_for(r"^error: ftp_clientd_if\(599\): errno\(2\) No such file or directory\n$")
    assert client.nothing() == (0, 0)
    assert len(log.errors()) == 1


def test_without_a_log_socket_the_lines_go_to_the_console(unstarted, network_manager, console):
    os.unlink(LOG_SOCKET)
    os.mkdir(CONTROL_SOCKET)
    unstarted.launch()
    assert unstarted.statuses_of_all() == [0, 0, 0]
    wait_until(lambda: "\n" in console.text, "a line on the console")
    # The C library's format with LOG_PID and LOG_CONS.
    assert re.match(
        r"libftp_clientd_if\[\d+\]: "
        r"error: ftp_clientd_if\(119\): errno\(98\) Address already in use\n",
        console.text,
    )


def test_a_missing_console_becomes_a_plain_file(unstarted, network_manager):
    os.unlink("/dev/console")
    unstarted.start()
    assert client.nothing() == (0, 0)
    status = os.lstat("/dev/console")
    assert stat.S_ISREG(status.st_mode) and stat.S_IMODE(status.st_mode) == 0o666
    assert os.readlink(f"/proc/{unstarted.pid}/fd/1") == "/dev/console"


def no_console_and_no_room_for_one():
    os.unlink("/dev/console")
    subprocess.run(["mount", "--no-mtab", "-o", "remount,bind,ro", "/dev"], check=True)


def a_folder_as_console():
    os.unlink("/dev/console")
    os.mkdir("/dev/console")


def no_null_device():
    subprocess.run(["umount", "--lazy", "/dev/null"], check=True)
    # Moved, because other programs of this world may still need it.
    shutil.move("/dev/null", "/dev/null.away")


# (the fault, in the machine or a system call; statuses; what is logged)
FATAL = {
    "missing-console": (no_console_and_no_room_for_one, [0, 0, 1], "967): errno(30) Read-only file system"),
    "odd-console": (a_folder_as_console, [0, 0, 1], "967): errno(21) Is a directory"),
    "null": (no_null_device, [0, 0, 1], "979): errno(2) No such file or directory"),
    "fork": ("clone,clone3,fork,vfork:error=EAGAIN", [1], "935): errno(11) Resource temporarily unavailable"),
    "setsid": ("setsid:error=EPERM", [0, 1], "892): errno(1) Operation not permitted"),
    "chdir": ("chdir:error=EACCES", [0, 0, 1], "907): errno(13) Permission denied"),
    "dup2-1": ("dup2,dup3:error=EBUSY:when=1", [0, 0, 1], "985): errno(16) Device or resource busy"),
    "dup2-2": ("dup2,dup3:error=EBUSY:when=2", [0, 0, 1], "991): errno(16) Device or resource busy"),
}


@pytest.mark.parametrize("wrong, statuses, line", FATAL.values(), ids=FATAL)
def test_a_daemonising_failure_is_logged_and_ends_with_status_1(unstarted, log, wrong, statuses, line):
    if callable(wrong):
        wrong()
        unstarted.launch()
    else:
        if is_emulated():
            if "clone3" in wrong and float(platform.libc_ver()[1]) < 2.34:  # clone3 came with it
                pytest.skip("an emulator's own threads need the call that fails")
            wrong = wrong.replace("clone3,", "")  # strace's own threads need that one
        unstarted.launch(wrapper=strace(wrong), **NO_LEAK_CHECK)
    assert unstarted.statuses_of_all() == statuses
    log.wait_for(f"^error: ftp_clientd{re.escape('(' + line)}\\n$")
    assert not os.path.exists(CONTROL_SOCKET)


def test_after_a_failed_socket_call_the_daemon_runs_without_clients(unstarted, network_manager, log):
    # The process's first socket is the control socket; the log's is created with the first line.
    unstarted.start(wrapper=strace("socket:error=EMFILE:when=1"), **NO_LEAK_CHECK)
    assert without_reserved(network_manager.wait_for(wire.NOTICE_STARTED).raw) == STARTED
    log.wait_for(r"^error: ftp_clientd_if\(108\): errno\(24\) Too many open files\n$")
    assert holds_for(lambda: unstarted.running and not os.path.exists(CONTROL_SOCKET), 0.5)


def test_a_failed_listen_is_announced(unstarted, network_manager, log):
    unstarted.launch(wrapper=strace("listen:error=EOPNOTSUPP"), **NO_LEAK_CHECK)
    unstarted.statuses_of_all()
    assert without_reserved(network_manager.wait_for(wire.NOTICE_STARTED).raw) == FAILED
    log.wait_for(r"^error: ftp_clientd_if\(125\): errno\(95\) Operation not supported\n$")


def mask_of(*signals):
    """As in /proc/PID/status."""
    return sum(1 << number - 1 for number in signals)


@pytest.mark.native("it catches every signal")
def test_no_signal_but_the_three_that_end_it_is_caught_or_ignored(daemon, jobs, local):
    """In particular SIGPIPE: every send has MSG_NOSIGNAL. A job does not change this."""
    (local / "a").write_bytes(b"1")
    jobs.upload(local / "a", "a", port=1)
    status = pathlib.Path(f"/proc/{daemon.pid}/status").read_text()
    masks = dict(re.findall(r"^(Sig\w{3}):\s*(\w+)$", status, re.MULTILINE))
    usual = (1 << 31) - 1  # higher ones are reserved for the C library's threads
    if daemon.has_sanitizer("[at]"):  # it catches these to report them
        usual &= ~mask_of(signal.SIGBUS, signal.SIGFPE, signal.SIGSEGV)
    ending = mask_of(signal.SIGHUP, signal.SIGINT, signal.SIGTERM)
    assert (int(masks["SigCgt"], 16) & usual, int(masks["SigIgn"], 16) & usual) == (ending, 0)


@pytest.mark.parametrize("number", [signal.SIGUSR1, signal.SIGALRM], ids=["USR1", "ALRM"])
def test_other_signals_keep_their_default_effect(daemon, number):
    assert daemon.stop(number) == -number
