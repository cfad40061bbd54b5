"""Transfers and file information over TLS and SSH, with real servers."""

import calendar
import os

import pytest

from harness import client, wire
from harness.content import MIB, content_of
from harness.sftp import HostKey, Sshd
from harness.tls import Certificate, PyftpdlibTls, VsftpdTls

SERVERS = {
    "explicit-vsftpd": lambda: VsftpdTls(Certificate(), wire.FTPS_EXPLICIT),
    "explicit-pyftpdlib": lambda: PyftpdlibTls(Certificate(), wire.FTPS_EXPLICIT),
    "implicit-vsftpd": lambda: VsftpdTls(Certificate(), wire.FTPS_IMPLICIT),
    "implicit-pyftpdlib": lambda: PyftpdlibTls(Certificate(), wire.FTPS_IMPLICIT),
    "sftp-usual": lambda: Sshd(HostKey()),
    "sftp-ecdsa": lambda: Sshd(HostKey("ecdsa")),
}


@pytest.fixture(params=SERVERS)
def server(request):
    """Alice's files, the fields to reach them, and the codes of a successful job."""
    running = SERVERS[request.param]()
    running.sftp = request.param.startswith("sftp")
    running.fields = wire.by(wire.PROTOCOLS[request.param.split("-")[0]])
    running.done = (0, 0, 0, 0) if running.sftp else (0, 1, 226, 0)
    return running


def assert_done(server, notice, size):
    assert (notice.outcome, notice.sizes, notice.codes) == ((0, 0), (size, size), server.done)
    assert 0 < notice.exec_info.elapsed_time < 30


def test_a_download_arrives_whole_and_the_passive_mode_is_not_logged(daemon, server, jobs, log, local):
    for size in (0, 1, 4096):
        server.put("a b.bin", content_of(size))
        assert_done(server, jobs.download("a b.bin", local / "a", **server.fields), size)
        assert (local / "a").read_bytes() == content_of(size)
    assert log.count(r"curl_func\(1092\)") == 0


def test_an_upload_arrives_whole_and_makes_missing_folders(daemon, server, jobs, local):
    for name, size in (("empty", 0), ("ü b.bin", 16 * MIB), ("one/two three/ü %/a b", 1)):
        (local / "a").write_bytes(content_of(size))
        assert_done(server, jobs.upload(local / "a", name, **server.fields), size)
        assert server.read(name) == content_of(size)


def test_a_look_up_in_a_folder_finds_the_file_and_an_upload_resumes_there(daemon, server, jobs, log, local):
    size = 2 * MIB
    modified = calendar.timegm((2012, 1, 15, 12, 0, 0))
    server.put("d e/a %.bin", content_of(size)[: size // 2], modified=modified)
    notice = jobs.file_info("d e/a %.bin", **server.fields)
    assert (notice.outcome, notice.codes) == ((0, 0), server.done)
    found = client.get_file_info()
    assert found[2:8] == (1, 1, size // 2, 2012, 1, 15)
    assert found.is_link == 0
    log.wait_for(r"^curl_wrapper\(344\): Search pattern: a %\.bin\n$")

    (local / "a").write_bytes(content_of(size))
    assert_done(server, jobs.upload(local / "a", "d e/a %.bin", resume=1, **server.fields), size // 2)
    log.wait_for(rf"^curl_func\(740\): last canceled file size: \({size // 2}\)\n$")
    assert server.read("d e/a %.bin") == content_of(size)


# {what is wrong: (fields, libcurl's code over TLS, the server's, libcurl's over SFTP, where no code is the server's)}
FAILURES = {
    "missing file": ({"remote_path": "missing"}, 78, 550, 78),
    "wrong password": ({"remote_path": "a", "password": "wrong"}, 67, 530, 67),
    "unknown user": ({"remote_path": "a", "username": "bob"}, 67, 530, 67),
}


def test_failures_are_network_errors_and_not_tried_again(daemon, server, jobs, local):
    server.put("a")
    for case, (fields, curl_code, response_code, sftp_code) in FAILURES.items():
        notice = jobs.download(local_path=local / "a", **server.fields | fields)
        codes = (sftp_code, 0, 0, 0) if server.sftp else (curl_code, 1, response_code, 0)
        assert (notice.outcome, notice.codes) == ((1, wire.NETWORK), codes), case


def test_a_look_up_of_a_missing_file_succeeds(daemon, server, jobs):
    server.put("there")
    for name in ("missing", "no/such/folder", "ther", "there2"):
        notice = jobs.file_info(name, **server.fields)
        assert (notice.outcome, notice.exec_info.response_code) == ((0, 0), 0 if server.sftp else 226), name
        assert client.get_file_info()[2:4] == (1, 0), name


def test_many_jobs_leave_no_descriptor_open(daemon, server, jobs, local):
    server.put("a", b"content")
    open_after = []
    for _ in range(10):
        assert jobs.download("a", local / "a", **server.fields).outcome == (0, 0)
        open_after.append(len(daemon.descriptors()))
    assert open_after[-1] == open_after[0]
    assert os.listdir(local) == ["a"]
