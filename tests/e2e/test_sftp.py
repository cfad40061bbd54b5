"""SFTP with OpenSSH: transfers, file information, and how a path is understood."""

import calendar
import random
import re

import pytest

from harness import client, wire
from harness.daemon import SPEED, WORLD
from harness.ftp_servers import one_user_only
from harness.relay import Relay
from harness.sftp import HostKey, Sshd
from harness.vsftpd import HOME
from harness.waiting import wait_until
from test_downloads import NAMES

MIB = 1 << 20
SFTP = {"protocol": wire.SFTP, "port": 22}


def content_of(size):
    return random.Random(size).randbytes(size)


def sshd_log():
    return (WORLD / "sshd.log").read_text()


@pytest.fixture
def sshd(request):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    return Sshd(HostKey(getattr(request, "param", "ed25519")))


def assert_done(notice, size):
    assert notice.outcome == (0, 0)
    done = notice.exec_info
    assert (done.total_size, done.transferred_size) == (size, size)
    assert (done.curl_code, done.response_code_type, done.response_code, done.retry_count) == (
        0,
        0,
        0,
        0,
    )
    assert 0 < done.elapsed_time < 30


@pytest.mark.parametrize("sshd", ["ed25519", "ecdsa"], indirect=True)
def test_a_download_arrives_whole(daemon, sshd, network_manager, local):
    for number, size in enumerate([0, 1, 4096], 1):
        sshd.put("a.bin", content_of(size))
        assert client.download("a.bin", local / "a", **SFTP) == (0, 0)
        assert_done(network_manager.wait_for(wire.NOTICE_DOWNLOAD, number), size)
        assert (local / "a").read_bytes() == content_of(size)


@pytest.mark.parametrize("sshd", ["ed25519", "ecdsa"], indirect=True)
def test_an_upload_arrives_whole(daemon, sshd, network_manager, local):
    for number, size in enumerate([0, 1, 16 * MIB], 1):
        (local / "a").write_bytes(content_of(size))
        assert client.upload(local / "a", "a.bin", **SFTP) == (0, 0)
        assert_done(network_manager.wait_for(wire.NOTICE_UPLOAD, number), size)
        assert sshd.read("a.bin") == content_of(size)


def test_a_server_with_only_an_rsa_key_is_a_network_error(daemon, network_manager, local):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    Sshd(HostKey("rsa")).put("a", b"1")
    client.download("a", local / "a", **SFTP)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 2


def test_a_download_above_the_limit_fails_with_12(daemon, sshd, network_manager, local):
    sshd.put("a.bin", content_of(5000))
    client.download("a.bin", local / "a", **SFTP)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.SIZE_LIMIT)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (42, 0)


def test_an_upload_makes_missing_folders(daemon, sshd, network_manager, local):
    (local / "a").write_bytes(b"deep")
    client.upload(local / "a", "one/two three/ü %/a b", **SFTP)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert sshd.read("one/two three/ü %/a b") == b"deep"


def test_a_look_in_a_folder_finds_the_file_and_an_upload_resumes_there(
    daemon, sshd, network_manager, log, local
):
    size = 2 * MIB
    modified = calendar.timegm((2012, 1, 15, 12, 0, 0))
    sshd.put("d e/a %.bin", content_of(size)[: size // 2], modified=modified)
    assert client.file_info("d e/a %.bin", **SFTP) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (0, 0)
    assert (notice.exec_info.curl_code, notice.exec_info.response_code_type) == (0, 0)
    found = client.get_file_info()
    assert (found.looked_up, found.exists, found.size, found.is_link) == (1, 1, size // 2, 0)
    assert (found.year, found.month, found.day) == (2012, 1, 15)
    log.wait_for(r"^curl_wrapper\(344\): Search pattern: a %\.bin\n$")

    (local / "a").write_bytes(content_of(size))
    assert client.upload(local / "a", "d e/a %.bin", resume=1, **SFTP) == (0, 0)
    assert_done(network_manager.wait_for(wire.NOTICE_UPLOAD), size // 2)
    log.wait_for(rf"^curl_func\(740\): last canceled file size: \({size // 2}\)\n$")
    assert sshd.read("d e/a %.bin") == content_of(size)


def test_a_look_for_a_file_that_is_missing_is_answered(daemon, sshd, network_manager):
    sshd.put("there")
    for number, name in enumerate(["missing", "no/such/folder", "ther", "there2"], 1):
        client.file_info(name, **SFTP)
        notice = network_manager.wait_for(wire.NOTICE_FILE_INFO, number)
        assert notice.outcome == (0, 0), name
        assert notice.exec_info.response_code == 0
        found = client.get_file_info()
        assert (found.looked_up, found.exists) == (1, 0), name


# path of the request, file below alice's home, escaped path as it is logged
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


def test_a_path_begins_in_the_login_folder_and_both_urls_are_logged(
    daemon, sshd, network_manager, log, local
):
    for number, (path, file, escaped) in enumerate(PATHS, 1):
        sshd.put(file, path.encode())
        client.download(path, local / "a", **SFTP)
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == (0, 0), path
        assert (local / "a").read_bytes() == path.encode()
        urls = [re.sub(r"^curl_wrapper\(", "", text) for text in log.texts if "URL" in text][-2:]
        home = str(HOME).strip("/")
        assert urls == [
            f"427): Specified URL: sftp://127.0.0.1/{escaped}\n",
            f"429): Actual URL   : sftp://127.0.0.1/{home}/{escaped}\n",
        ], path


def test_a_path_is_absolute_when_the_login_folder_is_the_root(daemon, network_manager, log, local):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    sshd = Sshd(HostKey(), ChrootDirectory=WORLD / "home", ForceCommand="internal-sftp -d /")
    sshd.put("a b", b"content")
    for number, path in enumerate(["alice/a b", "/alice/a b"], 1):
        (local / "a").unlink(missing_ok=True)
        client.download(path, local / "a", **SFTP)
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == (0, 0), path
        assert (local / "a").read_bytes() == b"content"
        url = path.replace(" ", "%20")
        assert log.count(rf"^curl_wrapper\(427\): Specified URL: sftp://127\.0\.0\.1/{url}\n$") == 1
        assert log.count(rf"^curl_wrapper\(429\): Actual URL   : sftp://127\.0\.0\.1/{url}\n$") == 1


def test_names_are_the_same_on_the_server(daemon, sshd, network_manager, local):
    for number, name in enumerate(NAMES, 1):
        (local / "a").write_bytes(name.encode())
        assert client.upload(local / "a", name, **SFTP) == (0, 0), name
        assert network_manager.wait_for(wire.NOTICE_UPLOAD, number).outcome == (0, 0), name
        assert sshd.read(name) == name.encode()
        assert client.download(name, local / "b", **SFTP) == (0, 0), name
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == (0, 0), name
        assert (local / "b").read_bytes() == name.encode()
        assert client.file_info(name, **SFTP) == (0, 0), name
        assert network_manager.wait_for(wire.NOTICE_FILE_INFO, number).outcome == (0, 0), name
        found = client.get_file_info()
        assert (found.exists, found.size) == (1, len(name.encode())), name


def test_a_name_is_the_same_after_a_retry(fast_daemon, network_manager, log, local):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    sshd = Sshd(HostKey(), port=2022)
    line = Relay(22, 2022, stops={2: MIB})  # the first one only asks for the login folder
    name, content = "a b%20ü%", content_of(8 * MIB)
    (local / "a").write_bytes(content)
    assert client.upload(local / "a", name, **SFTP) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD, deadline_s=60)
    line.stop()
    assert (notice.outcome, notice.exec_info.retry_count) == ((0, 0), 1)
    assert sshd.read(name) == content
    urls = [text for text in log.texts if " URL" in text]
    assert len(urls) == 4 and urls[:2] == urls[2:]


def test_a_look_at_a_server_that_falls_silent_is_tried_again(fast_daemon, network_manager, log):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    Sshd(HostKey(), port=2022).put("a", b"content")
    line = Relay(22, 2022, stops={2: 1800})  # logged in, with the SFTP session open
    assert client.file_info("a", **SFTP) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO, deadline_s=60)
    line.stop()
    assert (notice.outcome, notice.exec_info.retry_count) == ((0, 0), 1)
    assert "* Disconnect timed out" not in log.texts  # libcurl would have kept the session
    found = client.get_file_info()
    assert (found.exists, found.size) == (1, 7)


def test_a_slow_line_leaves_no_session_in_memory(fast_daemon, network_manager, log, local):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    Sshd(HostKey(), port=2022).put("a", b"content")
    line = Relay(22, 2022, delay_s=1 / SPEED)  # a second, by the clock of the daemon
    assert client.download("a", local / "b", **SFTP) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, deadline_s=60)
    line.stop()
    assert notice.outcome == (0, 0)
    assert "* Disconnect timed out" not in log.texts


def test_a_connection_is_broken_rather_than_said_good_bye_to(daemon, network_manager, local):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    Sshd(HostKey(), LogLevel="VERBOSE").put("a", b"content")
    (local / "u").write_bytes(b"upload")
    for start, kind in (
        (lambda: client.download("a", local / "b", **SFTP), wire.NOTICE_DOWNLOAD),
        (lambda: client.upload(local / "u", "b", **SFTP), wire.NOTICE_UPLOAD),
        (lambda: client.file_info("a", **SFTP), wire.NOTICE_FILE_INFO),
    ):
        assert start() == (0, 0)
        assert network_manager.wait_for(kind).outcome == (0, 0)
    wait_until(lambda: sshd_log().count("Close session") == 6, "sshd to see the end of both connections of each job")
    assert "Received disconnect" not in sshd_log()


def test_a_job_logs_in_twice(daemon, sshd, network_manager, local):
    """First for the login folder alone, then for the transfer: libcurl does not use the first connection again."""
    sshd.put("a", b"content")
    assert client.download("a", local / "b", **SFTP) == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    said = sshd_log()
    assert len(re.findall("^Accepted password for alice ", said, re.MULTILINE)) == 2, said


def test_the_elapsed_time_holds_the_connecting(daemon, network_manager, local):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    Sshd(HostKey(), port=2022).put("a", b"content")
    line = Relay(22, 2022, hold_s=2)
    assert client.download("a", local / "b", **SFTP) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    line.stop()
    assert notice.outcome == (0, 0)
    assert line.connections == 2  # the first one asks for the login folder
    assert notice.exec_info.elapsed_time > 4


FAILURES = {
    "missing file": ({"remote_path": "missing"}, 78),
    "missing folder": ({"remote_path": "no/such/a"}, 78),
    "no permission": ({"remote_path": "closed"}, 9),
    "wrong password": ({"remote_path": "a", "password": "wrong"}, 67),
    "unknown user": ({"remote_path": "a", "username": "bob"}, 67),
    "nobody there": ({"remote_path": "a", "port": 23}, 7),
}


def test_failures_are_network_errors_and_not_tried_again(daemon, sshd, network_manager, local):
    sshd.put("a")
    sshd.put("closed", mode=0)
    for number, (case, (fields, curl_code)) in enumerate(FAILURES.items(), 1):
        client.download(local_path=local / "a", **SFTP | fields)
        notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, number)
        done = notice.exec_info
        assert notice.outcome == (1, wire.NETWORK), case
        assert (done.curl_code, done.response_code_type, done.response_code, done.retry_count) == (
            curl_code,
            0,
            0,
            0,
        ), case


def test_a_server_that_takes_no_password_is_a_network_error(daemon, network_manager, local):
    if one_user_only():
        pytest.skip("sshd logs users in: needs root")
    Sshd(HostKey(), PasswordAuthentication="no", PubkeyAuthentication="yes").put("a")
    client.download("a", local / "a", **SFTP)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 67


def test_the_mode_word_does_not_matter(daemon, sshd, network_manager, log, local):
    sshd.put("a", b"1")
    client.download("a", local / "a", passive_mode=0, **SFTP)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert log.count(r"curl_func\(1092\)") == 0
