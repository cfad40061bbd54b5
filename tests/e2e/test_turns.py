"""Programs take turns at the daemon: each gets its own job's outcome, in the order of arrival."""

import itertools
import json
import os
import re
import signal
import subprocess
import time

import pytest

from harness import client, contention, ftpctl, turns
from harness.scripted import Plan
from harness.vsftpd import one_user_only
from harness.waiting import DEADLINE_S, HELD_UP_S, holds_for, wait_until, within

DONE, TURN, CANCELED, NO_LOCAL_FILE = 0, 4, 21, 59
TRIES = 3
AT_ONCE_S = 1 + HELD_UP_S  # limit for what would otherwise last for ever
URL = "ftp://alice@127.0.0.1"
LISTED = b"-rw-r--r-- 1 alice alice 400 Jan 15 2020 f\r\n"
KINDS = contention.Site.KINDS
PAIRS = [*itertools.combinations_with_replacement(KINDS, 2)]
SLICES = 4


@pytest.fixture
def site(daemon, local):
    return contention.real_site(local)


def ended_well(*processes):
    for process in processes:
        out, err = process.communicate(timeout=DEADLINE_S)
        assert process.returncode == DONE, out + err


@pytest.mark.parametrize("part", range(SLICES))
def test_of_two_simultaneous_commands_each_gets_its_own_outcome(site, part):
    started = []
    for kinds in PAIRS[part::SLICES]:
        jobs = [site.job(kind).start() for kind in kinds]
        for job in jobs:
            job.wait()
        assert not [str(job) + why for job in jobs if (why := job.wrong(contention.cancels_of(jobs)))], kinds
        started += [job for job in jobs if job.kind == "no-wait" and job.status == DONE and "cancel" not in kinds]
    for job in started:
        wait_until(lambda job=job: job.wrong_in_the_end(job) is None, f"what was started to arrive: {job}")


def test_waiting_commands_are_served_in_the_order_of_arrival(daemon, vsftpd, local):
    site = contention.Site(local, [URL])
    jobs, ended = [], []
    with turns.Turn():
        for kind in ("put", "get", "info", "no-wait", "resume", "verify", "get", "put"):
            jobs.append(site.job(kind).start())
            turns.wait_for_line(len(jobs))
    while len(ended) < len(jobs):
        ended += [job for job in jobs if job.process.poll() is not None and job not in ended]
    assert ended == jobs, [jobs.index(job) for job in ended]
    assert not [str(job.wait()) + why for job in jobs if (why := job.wait().wrong())]
    assert turns.waiting() == 0 and turns.is_free()


def test_the_wait_for_a_turn_has_a_limit_and_is_reported_after_a_second(daemon, scripted, local):
    scripted(files={"a": b"content"})
    (local / "a").write_bytes(b"old")
    cases = [  # limit, option, shortest and longest time, is the wait reported
        ("0", [], 0, AT_ONCE_S, False),
        ("300ms", [], 0.3, 0.3 + AT_ONCE_S, False),
        ("4.5", [], 4.5, 4.5 + AT_ONCE_S, True),
        ("1.5", ["--quiet"], 1.5, 1.5 + AT_ONCE_S, False),
    ]
    with turns.Turn():
        for limit, options, shortest_s, longest_s, is_told in cases:
            begin = time.monotonic()
            ended = ftpctl.run(*options, "get", "--wait-turn", limit, f"{URL}/a", local / "a")
            assert ended.status == TURN, ended
            assert shortest_s <= time.monotonic() - begin < longest_s, limit
            assert ("waiting for another program" in ended.err) == is_told, ended
            assert "--wait-turn" in ended.err.splitlines()[-1]
            assert (local / "a").read_bytes() == b"old"
    assert client.state().kind == 0  # no job was started
    assert ftpctl.run("get", "--wait-turn", "0", f"{URL}/a", local / "a").status == DONE


def test_the_wait_for_a_job_of_a_program_without_turns_is_reported(daemon, scripted, local):
    """--wait-turn limits this as well; the running job continues."""
    server = scripted(files={"a": b"content", "b": b"b"})
    held = server.hold("RETR")
    assert client.download("b", local / "b") == (0, 0)
    server.wait_for_command("RETR")
    for _ in range(TRIES):  # without a reply within a second the line is shorter
        ended = ftpctl.run("get", "--wait-turn", "4.5", f"{URL}/a", local / "a")
        assert ended.status == TURN, ended
        assert ended.err.startswith("waiting for another program"), ended
        if told := re.search("^waiting for another program.*; running: download", ended.err):
            break
    assert told, ended
    waiting = ftpctl.start("get", f"{URL}/a", local / "a")
    assert holds_for(lambda: waiting.poll() is None, 0.5)
    held.set()
    ended_well(waiting)
    assert ((local / "a").read_bytes(), (local / "b").read_bytes()) == (b"content", b"b")


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP], ids=lambda n: n.name)
def test_a_signal_ends_the_wait_at_once(daemon, scripted, local, number):
    scripted(files={"a": b"content"})
    with turns.Turn():
        process = ftpctl.start("get", f"{URL}/a", local / "a")
        turns.wait_for_line(1)
        with within(AT_ONCE_S):
            process.send_signal(number)
            _, err = process.communicate(timeout=DEADLINE_S)
        assert process.returncode == CANCELED and "before the job was started" in err, err
        assert turns.waiting() == 0
    assert client.state().kind == 0
    assert os.listdir(local) == []


# phase: the command, the verb that the server holds back then, and its count by then
PHASES = {
    "started": (("get", f"{URL}/f", "LOCAL"), "USER", 1),
    "downloading": (("get", f"{URL}/f", "LOCAL"), "RETR", 1),
    "uploading": (("put", "SOURCE", f"{URL}/f"), "STOR", 1),
    "looking": (("info", f"{URL}/f"), "LIST", 1),
    "looking-up": (("put", "--resume", "SOURCE", f"{URL}/f"), "LIST", 1),
    "appending": (("put", "--resume", "SOURCE", f"{URL}/f"), "APPE", 1),
    "verifying": (("put", "--verify", "SOURCE", f"{URL}/f"), "LIST", 1),
    "verifying-resumed": (("put", "--resume", "SOURCE", f"{URL}/f"), "LIST", 2),
}


@pytest.mark.parametrize("phase", PHASES)
def test_a_killed_holder_frees_the_turn_at_once(daemon, scripted, local, phase):
    """Its job continues in the daemon; the next program waits for that and gets the outcome of its own."""
    words, verb, times = PHASES[phase]
    server = scripted(Plan(listing=LISTED), files={"f": b"f" * 400, "next": b"mine"})
    (local / "source").write_bytes(bytes(1000))
    places = {"LOCAL": local / "f", "SOURCE": local / "source"}
    held = server.hold(verb)
    holder = ftpctl.start(*(places.get(word, word) for word in words))
    for count in range(1, times + 1):
        server.wait_for_command(verb, count)
        if count < times:
            held.set()
            held = server.hold(verb)
    assert not turns.is_free()
    waiting = ftpctl.start("get", f"{URL}/next", local / "next")
    turns.wait_for_line(1)
    holder.kill()
    wait_until(lambda: turns.waiting() == 0, "the turn of the next", AT_ONCE_S)
    assert holds_for(lambda: waiting.poll() is None and not turns.is_free(), 0.3)
    held.set()
    ended_well(waiting)
    assert (local / "next").read_bytes() == b"mine"


def test_a_command_killed_while_it_waits_is_skipped(daemon, scripted, local):
    scripted(files={"a": b"a", "b": b"b"})
    with turns.Turn():
        first = ftpctl.start("get", f"{URL}/a", local / "a")
        turns.wait_for_line(1)
        second = ftpctl.start("get", f"{URL}/b", local / "b")
        turns.wait_for_line(2)
        first.kill()
        first.wait()
    ended_well(second)
    assert (local / "b").read_bytes() == b"b"


def test_a_file_removed_while_its_upload_waits_is_reported_as_missing(daemon, vsftpd, local):
    (local / "a").write_bytes(b"content")
    with turns.Turn():
        process = ftpctl.start("put", local / "a", f"{URL}/a")
        turns.wait_for_line(1)
        (local / "a").unlink()
    _, err = process.communicate(timeout=DEADLINE_S)
    assert process.returncode == NO_LOCAL_FILE, err
    assert str(local / "a") in err


def read_only():
    os.unlink(turns.FILE)
    subprocess.run(["mount", "--no-mtab", "-o", "remount,ro", "/run"], check=True)
    return lambda: subprocess.run(["mount", "--no-mtab", "-o", "remount,rw", "/run"], check=True)


def replaced_by(make):
    def replace():
        os.unlink(turns.FILE)
        make()
        return lambda: None

    return replace


UNTAKABLE = {
    "read-only": (read_only, "Read-only file system"),
    "folder": (replaced_by(lambda: os.mkdir(turns.FILE)), ""),
    "link": (replaced_by(lambda: os.symlink("/run/elsewhere", turns.FILE)), "Too many levels of symbolic links"),
    "pipe": (replaced_by(lambda: os.mkfifo(turns.FILE)), ""),
}


@pytest.mark.parametrize("kind", UNTAKABLE)
def test_without_turns_a_command_runs_with_one_warning(daemon, vsftpd, local, kind):
    spoil, reason = UNTAKABLE[kind]
    for name in ("a", "b"):
        (local / name).write_bytes(name.encode())
    open(turns.FILE, "a").close()
    mend = spoil()
    try:
        ended = ftpctl.run("put", "--verify", local / "a", local / "b", f"{URL}/")
        assert ended.status == DONE, ended
        assert (vsftpd.read("a"), vsftpd.read("b")) == (b"a", b"b")
        told = [line for line in ended.err.splitlines() if "cannot take turns" in line]
        assert told == [line for line in told if f"{turns.FILE}: {reason}" in line] and len(told) == 1, ended
        ended = ftpctl.run("--quiet", "info", f"{URL}/a")
        assert (ended.status, ended.err) == (DONE, "")
        assert ftpctl.run("state").err == ""  # needs no turn
        assert not os.path.exists("/run/elsewhere")
    finally:
        mend()


@pytest.mark.parametrize("mode", [0o600, 0o644, 0o666], ids=oct)
def test_another_user_takes_turns_as_far_as_the_file_allows(daemon, vsftpd, local, mode):
    """Read permission is enough to hold the turn and to wait for it; without it there is a warning."""
    if one_user_only():
        pytest.skip("needs a second user")
    os.close(os.open(turns.FILE, os.O_CREAT))
    os.chmod(turns.FILE, mode)
    os.chmod(client.CONTROL_SOCKET, 0o777)
    vsftpd.put("f", b"12345")
    alice = {"user": "alice", "group": "alice", "extra_groups": []}
    with turns.Turn():
        process = ftpctl.start("--json", "info", f"{URL}/f", **alice)
        if mode == 0o600:
            wait_until(lambda: process.poll() is not None, "one who goes on without a turn")
        else:
            assert holds_for(lambda: process.poll() is None, 1.5)
    out, err = process.communicate(timeout=DEADLINE_S)
    assert json.loads(out)["file"]["size_bytes"] == 5
    assert ("cannot take turns" in err) == (mode == 0o600)
