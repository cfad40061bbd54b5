"""SFTP with OpenSSH: how a path is understood, lines that break, and servers that refuse."""

import re

import pytest

from harness import client, wire
from harness.content import MIB, content_of
from harness.daemon import SPEED, WORLD
from harness.relay import Relay
from harness.sftp import HostKey, Sshd
from harness.sftp import log as sshd_log
from harness.vsftpd import HOME
from harness.waiting import wait_until
from test_downloads import NAMES

SFTP = wire.by(wire.SFTP)


def test_a_download_above_the_limit_fails_with_12(daemon, sshd, jobs, local):
    sshd.put("a.bin", content_of(5000))
    notice = jobs.download("a.bin", local / "a", **SFTP)
    assert notice.outcome == (1, wire.SIZE_LIMIT)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (42, 0)


# path of the request, file below alice's home, escaped path in the log
PATHS = [
    ("a", "a", "a"),
    ("d/e/a", "d/e/a", "d/e/a"),
    ("a b", "a b", "a%20b"),
    ("100%", "100%", "100%25"),
    ("x%41y", "x%41y", "x%2541y"),
    ("grüße", "grüße", "gr%C3%BC%C3%9Fe"),
    # The login folder is put before every path.
    ("/a", "a", "/a"),
    ("/d e/%/a", "d e/%/a", "/d%20e/%25/a"),
    ("~/a", "~/a", "~/a"),
]


def urls(log):
    """Both URLs of the last job."""
    return [re.sub(r"^curl_wrapper\(", "", text) for text in log.texts if "URL" in text][-2:]


def test_a_path_begins_in_the_login_folder_and_both_urls_are_logged(daemon, sshd, jobs, log, local):
    for path, file, escaped in PATHS:
        sshd.put(file, path.encode())
        assert jobs.download(path, local / "a", **SFTP).outcome == (0, 0), path
        assert (local / "a").read_bytes() == path.encode()
        home = str(HOME).strip("/")
        assert urls(log) == [
            f"427): Specified URL: sftp://127.0.0.1/{escaped}\n",
            f"429): Actual URL   : sftp://127.0.0.1/{home}/{escaped}\n",
        ], path


def test_a_path_is_absolute_when_the_login_folder_is_the_root(daemon, jobs, log, local):
    sshd = Sshd(HostKey(), ChrootDirectory=WORLD / "home", ForceCommand="internal-sftp -d /")
    sshd.put("a b", b"content")
    for path in ("alice/a b", "/alice/a b"):
        (local / "a").unlink(missing_ok=True)
        assert jobs.download(path, local / "a", **SFTP).outcome == (0, 0), path
        assert (local / "a").read_bytes() == b"content"
        url = path.replace(" ", "%20")
        assert urls(log) == [
            f"427): Specified URL: sftp://127.0.0.1/{url}\n",
            f"429): Actual URL   : sftp://127.0.0.1/{url}\n",
        ], path


def test_names_arrive_at_the_server_unchanged(daemon, sshd, jobs, local):
    for name in NAMES:
        (local / "a").write_bytes(name.encode())
        assert jobs.upload(local / "a", name, **SFTP).outcome == (0, 0), name
        assert sshd.read(name) == name.encode()
        assert jobs.download(name, local / "b", **SFTP).outcome == (0, 0), name
        assert (local / "b").read_bytes() == name.encode()
        assert jobs.file_info(name, **SFTP).outcome == (0, 0), name
        assert client.get_file_info()[3:5] == (1, len(name.encode())), name


@pytest.fixture
def line():
    """A function that puts a relay with these options before an SFTP server."""
    lines = []

    def make(**qualities):
        server = Sshd(HostKey(), port=2022)
        server.put("a", b"content")
        lines.append(Relay(22, 2022, **qualities))
        return server, lines[-1]

    yield make
    for each in lines:
        each.stop()


def test_a_name_is_unchanged_after_a_retry(fast_daemon, line, jobs, log, local):
    sshd, _ = line(stops={2: MIB})  # the first only reads the login folder
    name, content = "a b%20ü%", content_of(8 * MIB)
    (local / "a").write_bytes(content)
    notice = jobs.upload(local / "a", name, **SFTP)
    assert (notice.outcome, notice.exec_info.retry_count) == ((0, 0), 1)
    assert sshd.read(name) == content
    said = [text for text in log.texts if " URL" in text]
    assert len(said) == 4 and said[:2] == said[2:]


def test_a_look_up_is_retried_when_the_server_falls_silent(fast_daemon, line, jobs, log):
    _, relay = line()
    assert jobs.file_info("a", **SFTP).outcome == (0, 0)
    # Each job logs in on one connection and then on another. Its last request, which closes the folder, gets no answer.
    relay.stops = {4: relay.taken[2] - 90}
    notice = jobs.file_info("a", **SFTP)
    assert (notice.outcome, notice.exec_info.retry_count) == ((0, 0), 1)
    assert "* Disconnect timed out" not in log.texts  # then libcurl would have kept the session
    assert client.get_file_info()[3:5] == (1, 7)


@pytest.mark.timeout(300)
def test_a_file_is_not_called_absent_because_the_line_went_dead(fast_daemon, line, jobs):
    _, relay = line()
    assert jobs.file_info("a", **SFTP).outcome == (0, 0)
    for left in (250, 350):  # where libssh2 1.11, and 1.10, ask for the folder to be opened
        second_login = relay.connections + 2
        relay.stops = {second_login: relay.taken[2] - left}
        notice = jobs.file_info("a", **SFTP)
        if notice.outcome == (0, 0):
            assert client.get_file_info()[3] == 1, left
        else:
            assert notice.outcome == (1, wire.NETWORK), left


def test_a_slow_line_leaves_no_session_in_memory(fast_daemon, line, jobs, log, local):
    line(delay_s=1 / SPEED)  # one second of the daemon's clock
    assert jobs.download("a", local / "b", **SFTP).outcome == (0, 0)
    assert "* Disconnect timed out" not in log.texts


def test_a_connection_is_broken_without_a_disconnect_message(daemon, jobs, local):
    Sshd(HostKey(), LogLevel="VERBOSE").put("a", b"content")
    assert [notice.outcome for notice in jobs.each(local, **SFTP)] == [(0, 0)] * 3
    assert jobs.download("no/such/a", local / "a", **SFTP).outcome == (1, wire.NETWORK)
    wait_until(lambda: sshd_log().count("Close session") == 8, "sshd to see the end of both connections of each job")
    assert "Received disconnect" not in sshd_log()


def test_the_elapsed_time_includes_connecting_and_a_job_logs_in_twice(daemon, line, jobs, local):
    """First for the login folder, then for the transfer: libcurl does not reuse the first connection."""
    _, relay = line(hold_s=2)
    notice = jobs.download("a", local / "b", **SFTP)
    assert notice.outcome == (0, 0)
    assert relay.connections == 2
    assert notice.exec_info.elapsed_time > 4
    said = sshd_log()
    assert len(re.findall("^Accepted password for alice ", said, re.MULTILINE)) == 2, said


# Beside those of test_secure_transfers.py.
FAILURES = {
    "missing folder": ({"remote_path": "no/such/a"}, 78),
    "no permission": ({"remote_path": "closed"}, 9),
    "nobody there": ({"remote_path": "a", "port": 23}, 7),
}


def test_further_failures_are_network_errors_and_not_tried_again(daemon, sshd, jobs, local):
    sshd.put("a")
    sshd.put("closed", mode=0)
    for case, (fields, curl_code) in FAILURES.items():
        notice = jobs.download(local_path=local / "a", **SFTP | fields)
        assert (notice.outcome, notice.codes) == ((1, wire.NETWORK), (curl_code, 0, 0, 0)), case


# settings, libcurl's code
USELESS = {
    "only-macs-that-libssh2-lacks": ({"MACs": "umac-64@openssh.com", "Ciphers": "aes128-ctr"}, 2),
    "takes-no-password": ({"PasswordAuthentication": "no", "PubkeyAuthentication": "yes"}, 67),
}


@pytest.mark.parametrize("settings, curl_code", USELESS.values(), ids=USELESS)
def test_a_server_that_agrees_on_nothing_is_a_network_error(daemon, jobs, local, settings, curl_code):
    Sshd(HostKey(), **settings).put("a")
    notice = jobs.download("a", local / "a", **SFTP)
    assert (notice.outcome, notice.exec_info.curl_code) == ((1, wire.NETWORK), curl_code)


def test_the_mode_word_does_not_matter(daemon, sshd, jobs, log, local):
    sshd.put("a", b"1")
    assert jobs.download("a", local / "a", passive_mode=0, **SFTP).outcome == (0, 0)
    assert log.count(r"curl_func\(1092\)") == 0
