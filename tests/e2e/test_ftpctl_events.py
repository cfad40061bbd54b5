"""ftpctl listen and watch with the real daemon: a line and a command for each event, across restarts of the daemon."""

import json
import os
import pathlib
import signal

import pytest

from harness import client, ftpctl
from harness.network_manager import SOCKET
from harness.scripted import Plan
from harness.waiting import wait_until


def lines(path):
    return path.read_text().splitlines() if path.exists() else []


def start_listening(*words):
    listening = ftpctl.start("listen", *words)
    wait_until(lambda: os.path.exists(SOCKET), "ftpctl to listen")
    return listening


def launched(daemon):
    daemon.launch()
    daemon.front_status()
    daemon.find()
    client.nothing()


def runs_a_command(process):
    return pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text() != ""


def output_of(process, status=0):
    out, err = process.communicate(timeout=30)
    assert (process.returncode, err) == (status, "")
    return out


def test_each_notice_runs_the_command_in_order(unstarted, scripted, local):
    scripted(files={"a": b"content"})
    heard = local / "heard"
    fields = "$FTPCTL_EVENT $FTPCTL_RESULT $FTPCTL_TRANSFERRED_SIZE $FTPCTL_RESPONSE_CODE"
    listening = start_listening("--count", "3", "--exec", f"sleep 0.2; echo {fields} >>{heard}")
    launched(unstarted)
    assert ftpctl.run("get", "ftp://127.0.0.1/a", local / "a").status == 0
    assert ftpctl.run("get", "ftp://127.0.0.1/missing", local / "b").status == 51
    out = output_of(listening)
    assert lines(heard)[0] == "started 0"
    assert lines(heard)[1] == "download 0 7 226"
    assert lines(heard)[2].startswith("download 16 0 ")
    assert len(out.splitlines()) == 3
    assert " download done, 7 of 7 bytes in " in out or " download done, 7 bytes in " in out


def test_the_notice_of_a_failed_job_does_not_read_done(unstarted, scripted, local):
    scripted(Plan(replies={"PASS": "530 no"}), Plan(replies={"STOR": "553 no"}), Plan(replies={"LIST": "550 no"}))
    (local / "file").write_bytes(b"content")
    heard = local / "heard"
    listening = start_listening("--count", "4", "--exec", f"echo $FTPCTL_EVENT:$FTPCTL_CAUSE >>{heard}")
    launched(unstarted)
    assert ftpctl.run("get", "ftp://alice@127.0.0.1/a", local / "a").status == 50
    assert ftpctl.run("put", local / "file", "ftp://alice@127.0.0.1/a").status not in (0, 50)
    assert ftpctl.run("info", "ftp://alice@127.0.0.1/a").status not in (0, 50)
    told = [line.split(" ", 2)[2] for line in output_of(listening).splitlines()]
    assert told[0] == "daemon started"
    assert [line.split(",")[0] for line in told[1:]] == ["download failed", "upload failed", "file information failed"]
    assert not any("done" in line for line in told)
    assert lines(heard)[:2] == ["started:", "download:login-refused"]


def test_watch_sees_a_job_begin_and_end(daemon, scripted, local):
    scripted(files={"a": b"content"})
    watching = ftpctl.start("watch", "--json", "--exec", f"echo $FTPCTL_JOB:$FTPCTL_RESULT >>{local}/seen")
    wait_until(lambda: lines(local / "seen") == ["no job:0"], "the first state")
    assert ftpctl.run("get", "ftp://127.0.0.1/a", local / "a").status == 0
    wait_until(lambda: lines(local / "seen")[-1] == "download:0", "the download")
    wait_until(lambda: not runs_a_command(watching), "the command to end")
    watching.send_signal(signal.SIGINT)
    assert all(line.startswith('{"event":"state","time":') for line in output_of(watching).splitlines())


@pytest.mark.parametrize("end", [signal.SIGTERM, signal.SIGKILL])
def test_watch_continues_after_a_restart_of_the_daemon(unstarted, scripted, local, end):
    scripted(files={"a": b"content"})
    launched(unstarted)
    seen = local / "seen"
    command = f"echo $FTPCTL_EVENT:$FTPCTL_RUNNING:$FTPCTL_JOB >>{seen}"
    watching = ftpctl.start("watch", "--json", "--exec", command)
    assert ftpctl.run("get", "ftp://127.0.0.1/a", local / "a").status == 0
    wait_until(lambda: lines(seen)[-1:] == ["state:0:download"], "the end of the download")
    unstarted.stop(end)
    wait_until(lambda: lines(seen)[-1] == "daemon:0:", "the daemon's end")
    launched(unstarted)
    wait_until(lambda: lines(seen)[-1] == "state:0:no job", "the new daemon's state")
    assert lines(seen)[-4:] == ["state:0:download", "daemon:0:", "daemon:1:", "state:0:no job"]
    assert ftpctl.run("get", "ftp://127.0.0.1/a", local / "a").status == 0
    wait_until(lambda: lines(seen)[-1] == "state:0:download", "the next download")
    wait_until(lambda: not runs_a_command(watching), "the command to end")
    watching.send_signal(signal.SIGTERM)
    events = [json.loads(line) for line in output_of(watching).splitlines()]
    assert [event["running"] for event in events if event["event"] == "daemon"] == [False, True]
    assert {event["event"] for event in events} == {"state", "daemon"}


def test_watch_fails_without_a_daemon_at_its_start(unstarted):
    watching = ftpctl.run("watch", "--json")
    assert watching.status == 3
    assert watching.json["status"] == 3
    assert watching.err.startswith("ftpctl: ")
