"""ftpctl with the real daemon and real servers: files left, messages and exit status."""

import json
import os
import signal

import pytest

from harness import client, ftpctl
from harness.scripted import Plan, Silence, send_then
from harness.waiting import wait_until

ALICE = "ftp://alice@127.0.0.1"
CANCELED, BUSY = 21, 4


def names(folder):
    return sorted(os.listdir(folder))


def test_a_file_is_replaced_when_the_download_is_complete(daemon, vsftpd, local):
    vsftpd.put("dir/a b.ini", b"new")
    (local / "a").write_bytes(b"old")
    (local / "a").chmod(0o751)
    (local / "link").symlink_to("a")
    got = ftpctl.run("get", ALICE + "/dir/a%20b.ini", local / "link")
    assert (got.status, got.err) == (0, "")
    assert (local / "a").read_bytes() == b"new"
    assert (local / "a").stat().st_mode & 0o7777 == 0o751
    assert names(local) == ["a", "link"]

    assert ftpctl.run("get", ALICE + "/dir/a%20b.ini", str(local) + "/").status == 0
    assert (local / "a b.ini").read_bytes() == b"new"
    assert ftpctl.run("get", ALICE + "/dir/a%20b.ini", "-").out == "new"


def test_a_failed_download_leaves_the_old_file_and_nothing_else(daemon, vsftpd, local):
    vsftpd.put("large", bytes(5000))
    vsftpd.put("secret", b"x", mode=0o000)
    (local / "a").write_bytes(b"old")
    cases = {"missing": (51, "no-such-file"), "large": (32, "size-limit"), "secret": (51, "no-such-file")}
    for name, (status, error) in cases.items():
        got = ftpctl.run("get", "--json", f"{ALICE}/{name}", local / "a")
        if name == "secret":  # vsftpd replies 550 to both
            assert got.status in (51, 52), got
        else:
            assert (got.status, got.json["error"]) == (status, error), got
        assert (local / "a").read_bytes() == b"old"
        assert names(local) == ["a"]


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_signal_cancels_the_job_and_leaves_the_old_file_and_nothing_else(daemon, scripted, local, number):
    server = scripted(Plan(send=send_then("stall", 100)), files={"a": bytes(1000)})
    for there in ([], ["a"]):
        for name in there:
            (local / name).write_bytes(b"old")
        server.stalled.clear()
        getting = ftpctl.start("get", "ftp://127.0.0.1/a", local / "a")
        assert server.stalled.wait(30)
        getting.send_signal(number)
        _, err = getting.communicate(timeout=30)
        assert getting.returncode == CANCELED, err
        assert "interrupted" in err
        assert client.state().running == 0
        assert names(local) == there
    assert (local / "a").read_bytes() == b"old"


def test_several_files_go_into_a_folder(daemon, vsftpd, local):
    vsftpd.put("in/keep", b"")
    for name in ("a", "b c"):
        (local / name).write_bytes(name.encode())
    outcome = ftpctl.run("put", "--json", "--verify", local / "a", local / "none", local / "b c", ALICE + "/in/")
    told = [json.loads(line) for line in outcome.out.splitlines()]
    assert outcome.status == 59
    assert [one["status"] for one in told] == [0, 59, 0]
    assert told[2]["remote"] == ALICE + "/in/b%20c"
    assert [one["upload"] and one["upload"]["verified"] for one in told] == [True, None, True]
    assert vsftpd.read("in/a") == b"a"
    assert vsftpd.read("in/b c") == b"b c"


def test_a_resumed_upload_ends_with_the_whole_file(daemon, vsftpd, local):
    content = os.urandom(300_000)
    (local / "a").write_bytes(content)
    vsftpd.put("a", content[:100_000])
    outcome = ftpctl.run("put", "--resume", "--json", local / "a", ALICE + "/a")
    assert outcome.status == 0, outcome
    assert outcome.json["upload"] == {
        "sent": "rest",
        "local_bytes": 300_000,
        "resumed_bytes": 100_000,
        "remote_bytes": 300_000,
        "verified": True,
        "may_be_spoiled": False,
    }
    assert outcome.json["job"]["progress"]["transferred_bytes"] == 200_000
    assert vsftpd.read("a") == content
    assert ftpctl.run("put", "--resume", local / "a", ALICE + "/a").out == (
        f"{ALICE}/a: all 300000 bytes are there already\n"
    )
    vsftpd.put("a", content + b"more")
    assert ftpctl.run("put", "--resume", local / "a", ALICE + "/a").status == 7


def test_a_missing_file_shows_no_other_files_data(daemon, vsftpd):
    vsftpd.put("there", b"12345")
    assert ftpctl.run("info", "--json", ALICE + "/there").json["file"]["size_bytes"] == 5
    missing = ftpctl.run("info", "--json", ALICE + "/none")
    assert missing.status == 6
    assert missing.json["file"] == {"exists": False}


def test_a_command_that_does_not_wait_reports_a_taken_turn(daemon, scripted, local):
    scripted(Plan(replies={"RETR": Silence}), files={"a": bytes(10)})
    first = ftpctl.start("get", "ftp://127.0.0.1/a", local / "a")
    wait_until(lambda: client.state().running == 1, "the job to run")
    assert ftpctl.run("info", "--wait-turn", "0", "ftp://127.0.0.1/a").status == BUSY
    waited = ftpctl.run("info", "--wait-turn", "4500ms", "ftp://127.0.0.1/a")
    assert waited.status == BUSY
    assert waited.err.startswith("waiting for another program's turn; running: download, ")
    first.send_signal(signal.SIGINT)
    assert first.wait(timeout=30) == CANCELED


def test_the_second_of_two_waits_for_the_first(daemon, vsftpd, local):
    (local / "a").write_bytes(os.urandom(3_000_000))
    both = [ftpctl.start("put", "--verify", local / "a", f"{ALICE}/{name}") for name in ("one", "two")]
    assert [one.wait(timeout=60) for one in both] == [0, 0]
    assert vsftpd.read("one") == vsftpd.read("two") == (local / "a").read_bytes()
