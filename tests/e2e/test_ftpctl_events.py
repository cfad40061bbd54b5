"""ftpctl listen and watch beside the real daemon: a line and a command for each event."""

import os
import signal

from harness import client, ftpctl
from harness.network_manager import SOCKET
from harness.waiting import wait_until


def lines(path):
    return path.read_text().splitlines() if path.exists() else []


def test_each_notice_runs_the_command_in_order(unstarted, scripted, local):
    scripted(files={"a": b"content"})
    heard = local / "heard"
    fields = "$FTPCTL_EVENT $FTPCTL_RESULT $FTPCTL_TRANSFERRED_SIZE $FTPCTL_RESPONSE_CODE"
    command = f"sleep 0.2; echo {fields} >>{heard}"
    listening = ftpctl.start("listen", "--count", "3", "--exec", command)
    wait_until(lambda: os.path.exists(SOCKET), "ftpctl to listen")
    unstarted.launch()
    unstarted.find()
    client.nothing()
    assert ftpctl.run("get", "ftp://127.0.0.1/a", local / "a").status == 0
    assert ftpctl.run("get", "ftp://127.0.0.1/missing", local / "b").status == 36
    out, err = listening.communicate(timeout=30)
    assert (listening.returncode, err) == (0, "")
    assert lines(heard)[0] == "started 0"
    assert lines(heard)[1] == "download 0 7 226"
    assert lines(heard)[2].startswith("download 16 0 ")
    assert len(out.splitlines()) == 3
    assert " download done, 7 of 7 bytes in " in out or " download done, 7 bytes in " in out


def test_watch_sees_a_job_begin_and_end(daemon, scripted, local):
    scripted(files={"a": b"content"})
    watching = ftpctl.start("watch", "--json", "--exec", f"echo $FTPCTL_JOB:$FTPCTL_RESULT >>{local}/seen")
    wait_until(lambda: lines(local / "seen") == ["no job:0"], "the first state")
    assert ftpctl.run("get", "ftp://127.0.0.1/a", local / "a").status == 0
    wait_until(lambda: lines(local / "seen")[-1] == "download:0", "the download")
    watching.send_signal(signal.SIGINT)
    out, err = watching.communicate(timeout=30)
    assert (watching.returncode, err) == (0, "")
    assert all(line.startswith('{"event":"state","time":') for line in out.splitlines())
