"""ftpspool with the real daemon and real servers: what is queued arrives once and whole, whatever is killed."""

import os
import re
import signal

import pytest

from harness import client, ftpctl, ftpspool, processes
from harness.daemon import WORLD
from harness.ftpspool import ALICE, Service
from harness.vsftpd import Vsftpd
from harness.waiting import wait_until

MIB = 1 << 20
SLOW = {"local_max_rate": 4 * MIB}
LARGE = 12 * MIB  # three seconds on a slow server


@pytest.fixture(autouse=True)
def told():
    """What the service said, for a test that fails."""
    yield
    if (WORLD / "ftpspool.log").exists():
        print(Service.said())


def make(local, name, size=1000):
    path = local / name
    path.write_bytes(os.urandom(size))
    return path


def kill_server(server):
    """With its sessions."""
    server.stop()
    for process in processes.processes():
        if process.name == "vsftpd":
            os.kill(process.pid, signal.SIGKILL)
    wait_until(lambda: not any(p.name == "vsftpd" and p.state != "Z" for p in processes.processes()), "no server")


def wait_for_bytes(server, name, size):
    path = server.path(name)
    wait_until(lambda: path.exists() and path.stat().st_size >= size, f"{size} bytes of {name}")


def bytes_sent(number):
    """By the last try of the entry."""
    done = next(event for event in Service.events("done") if event["id"] == number)
    sent = re.match(r"(\d+) of", done["message"])
    return int(sent[1]) if sent else 0


def test_entries_queued_before_and_after_the_start_arrive(daemon, vsftpd, local):
    first, second = make(local, "a b"), make(local, "c")
    numbers = [ftpspool.add(first)]
    service = Service()
    ftpspool.wait_for("done")
    (vsftpd.home / "in").mkdir()
    os.chown(vsftpd.home / "in", 4000, 4000)
    numbers.append(ftpspool.add(second, ALICE + "in/d"))
    ftpspool.wait_for("done")
    assert numbers == [1, 2]
    assert vsftpd.read("a b") == first.read_bytes()
    assert vsftpd.read("in/d") == second.read_bytes()
    assert service.stop() == 0
    assert ftpspool.run("clear", "--done").out == "2 entries removed\n"


def test_the_local_file_is_kept_deleted_or_moved_after_its_arrival(daemon, vsftpd, local):
    names = ["kept", "deleted", "moved", "copied"]
    files = {name: make(local, name) for name in names}
    contents = {name: path.read_bytes() for name, path in files.items()}
    (local / "sent").mkdir()
    ftpspool.add(files["kept"], ALICE, "--keep")
    ftpspool.add(files["deleted"], ALICE, "--delete")
    ftpspool.add(files["moved"], ALICE, "--move-to", local / "sent")
    ftpspool.add(files["copied"], ALICE, "--copy")
    files["copied"].unlink()
    Service()
    ftpspool.wait_for("done")
    assert sorted(path.name for path in local.iterdir()) == ["kept", "sent"]
    assert (local / "sent/moved").read_bytes() == contents["moved"]
    assert list((ftpspool.SPOOL / "files").iterdir()) == []
    assert {name: vsftpd.read(name) for name in names} == contents


def test_a_permanent_failure_is_reported_at_once(daemon, vsftpd, local):
    path = make(local, "a")
    wrong = WORLD / "wrong"
    wrong.write_text("wrong")
    wrong.chmod(0o600)
    gone = make(local, "gone")
    login = ("--password-file", wrong)
    numbers = [
        int(ftpspool.run("add", path, ALICE, *login).out),
        ftpspool.add(path, ALICE + "/etc/a"),  # from the root on
        ftpspool.add(gone),
    ]
    gone.unlink()
    Service()
    ftpspool.wait_for("failed")
    failed = [ftpspool.entry(number) for number in numbers]
    assert failed[0]["error"] == "login-refused"
    assert failed[1]["error"] in ("denied", "no-such-file")  # vsftpd says 553 to both
    assert failed[2]["error"] == "no-local-file"
    assert [one["tries"] for one in failed] == [1, 1, 0]
    assert path.exists()
    wrong.write_text("secret")
    assert ftpspool.run("retry", numbers[0]).status == 0
    ftpspool.wait_for("done", numbers[0])


def test_a_server_that_is_down_delays_no_other(daemon, vsftpd, local):
    path = make(local, "a")
    for _ in range(3):
        ftpspool.add(path, "ftp://127.0.0.1:2121/a", "--priority", 5)
    numbers = [ftpspool.add(path, f"{ALICE}{name}") for name in "abc"]
    Service()
    ftpspool.wait_for("done", *numbers)
    assert set(ftpspool.states()) <= {"done", "waiting", "queued", "sending"}
    assert ftpspool.entry(1)["error"] in (None, "nobody-listens")
    Vsftpd(listen_port=2121, anonymous_enable="YES", anon_upload_enable="YES", no_anon_password="YES").stop()


def test_a_broken_upload_resumes_where_it_stopped(daemon, local):
    server = Vsftpd(**SLOW)
    path = make(local, "large", LARGE)
    number = ftpspool.add(path, ALICE, "--delete")
    content = path.read_bytes()
    service = Service()
    wait_for_bytes(server, "large", MIB)
    kill_server(server)
    wait_until(lambda: service.events("waiting"), "the end of the try")
    assert path.exists()
    server = Vsftpd()
    ftpspool.wait_for("done")
    assert server.read("large") == content
    assert bytes_sent(number) < LARGE
    assert not path.exists()


def test_a_killed_service_loses_nothing(daemon, local):
    server = Vsftpd(**SLOW)
    path = make(local, "large", LARGE)
    ftpspool.add(path, ALICE, "--delete")
    content = path.read_bytes()
    service = Service()
    wait_for_bytes(server, "large", MIB)
    service.kill()
    assert ftpspool.states() == ["sending"]
    assert path.exists()
    service.start()
    ftpspool.wait_for("done")
    assert server.read("large") == content
    assert not path.exists()


def test_a_killed_daemon_costs_no_try(daemon, network_manager, local):
    server = Vsftpd(**SLOW)
    path = make(local, "large", LARGE)
    number = ftpspool.add(path, ALICE, "--tries", 1)  # a try that the daemon has ended does not count
    service = Service()
    wait_for_bytes(server, "large", MIB)
    assert daemon.stop(signal.SIGKILL) == -signal.SIGKILL
    wait_until(lambda: service.events("waiting"), "the end of the try")
    daemon.start()
    ftpspool.wait_for("done")
    assert server.read("large") == path.read_bytes()
    assert ftpspool.entry(number)["tries"] == 0


def test_a_stopped_service_cancels_its_job_and_the_next_goes_on(daemon, local):
    server = Vsftpd(**SLOW)
    path = make(local, "large", LARGE)
    number = ftpspool.add(path)
    service = Service()
    wait_for_bytes(server, "large", MIB)
    assert service.stop() == 0
    assert client.state().running == 0
    assert ftpspool.entry(number)["state"] == "waiting"
    service.start()
    ftpspool.wait_for("done")
    assert server.read("large") == path.read_bytes()


def test_an_entry_can_be_held_and_removed_while_it_is_sent(daemon, local):
    server = Vsftpd(**SLOW)
    path = make(local, "large", LARGE)
    ftpspool.add(path)
    Service()
    wait_for_bytes(server, "large", MIB)
    assert ftpspool.run("hold", 1).status == 0
    wait_until(lambda: client.state().running == 0, "the end of the job")
    assert ftpspool.states() == ["held"]
    assert ftpspool.run("release", 1).status == 0
    wait_until(lambda: client.state().running == 1, "the job to go on")
    assert ftpspool.run("remove", 1).status == 0
    wait_until(lambda: client.state().running == 0, "the end of the job")
    assert ftpspool.entries() == []
    assert path.exists()


def test_other_programs_get_their_turns(daemon, vsftpd, local):
    paths = [make(local, f"f{number}", 100_000) for number in range(20)]
    for path in paths:
        ftpspool.add(path)
    Service()
    for number in range(5):
        assert ftpctl.run("put", "--verify", paths[0], f"{ALICE}other{number}").status == 0
    ftpspool.wait_for("done")
    for path in paths:
        assert vsftpd.read(path.name) == path.read_bytes()
    assert all(one["tries"] == 0 for one in ftpspool.entries())


@pytest.mark.native("strace")
def test_a_service_that_always_wakes_late_fails_no_try(daemon, local):
    """As on a device that is busy with other things."""
    server = Vsftpd(local_max_rate=400_000)  # the upload still runs when its state is asked for first
    Service(wrapper=("strace", "-f", "-o", "/dev/null", "-e", "trace=poll", "-e", "inject=poll:delay_exit=500000"))
    path = make(local, "a", 100_000)
    ftpspool.add(path)
    ftpspool.wait_for("done")
    assert server.read("a") == path.read_bytes()
    assert ftpspool.entry(1)["tries"] == 0


def test_a_file_that_became_shorter_is_neither_sent_nor_deleted(daemon, vsftpd, local):
    path = make(local, "a")
    ftpspool.add(path, ALICE, "--delete")
    path.write_bytes(b"")
    Service()
    ftpspool.wait_for("failed")
    assert path.exists()
    assert not vsftpd.path("a").exists()


def test_a_remote_file_with_other_content_is_replaced_not_resumed(daemon, vsftpd, local):
    path = make(local, "a")
    vsftpd.put("a", b"x" * 500)
    ftpspool.add(path)
    Service()
    ftpspool.wait_for("done")
    assert vsftpd.read("a") == path.read_bytes()


def test_a_name_that_cannot_be_sent_fails_at_once(daemon, vsftpd, local):
    """libcurl refuses the 31 control characters in the path of an FTP URL, and no other byte."""
    refused, other = make(local, "a\tb"), make(local, "c\x7f\x80")
    outcome = ftpspool.run("add", refused, ALICE, "--password-file", ftpspool.password())
    assert (outcome.status, "a control character cannot be sent over FTP" in outcome.err) == (2, True)
    ftpspool.watch(local)
    Service()
    wait_until(lambda: sorted(ftpspool.states()) == ["done", "failed"], "both files")
    assert vsftpd.read("c\x7f\x80") == other.read_bytes()
    assert [one["tries"] for one in ftpspool.entries() if one["state"] == "failed"] == [0]
