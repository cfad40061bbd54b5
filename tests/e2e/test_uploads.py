"""Uploads to a real server and to a scripted one."""

import os

import pytest

from harness import client, wire
from harness.content import MIB, content_of
from harness.scripted import Plan, take_slowly, take_then
from harness.waiting import wait_until
from test_downloads import NAMES


@pytest.mark.parametrize("passive_mode", [1, 0], ids=["passive", "active"])
def test_a_file_arrives_whole(daemon, vsftpd, jobs, local, passive_mode):
    for size in (0, 1, 4097, 64 * MIB):
        (local / "a").write_bytes(content_of(size))
        notice = jobs.upload(local / "a", "a.bin", passive_mode=passive_mode)
        assert len(notice.raw) == 68
        assert notice.head == (10, 1, 1, 56, 0)
        assert (notice.outcome, notice.sizes, notice.codes) == ((0, 0), (size, size), (0, 1, 226, 0))
        assert vsftpd.read("a.bin") == content_of(size)


def test_missing_folders_are_created(daemon, vsftpd, jobs, local):
    (local / "a").write_bytes(b"deep")
    assert jobs.upload(local / "a", "one/two three/ü/a.bin").outcome == (0, 0)
    assert vsftpd.read("one/two three/ü/a.bin") == b"deep"


def test_a_name_arrives_at_the_server_unchanged(daemon, vsftpd, jobs, local):
    for name in NAMES:
        (local / "a").write_bytes(name.encode())
        assert jobs.upload(local / "a", name).outcome == (0, 0), name
        assert vsftpd.read(name) == name.encode()


def test_an_existing_file_is_replaced(daemon, vsftpd, jobs, local):
    vsftpd.put("a", bytes(9999))
    (local / "a").write_bytes(b"short")
    assert jobs.upload(local / "a", "a").outcome == (0, 0)
    assert vsftpd.read("a") == b"short"


def test_a_missing_local_file_fails_with_10(daemon, scripted, jobs, log, local):
    server = scripted()
    notice = jobs.upload(local / "missing", "a")
    assert notice.outcome == (1, wire.LOCAL_READ)
    assert notice.exec_info.curl_code == 0
    log.wait_for(r"^error: curl_func\(729\): errno\(2\) No such file or directory\n$")
    assert not server.sessions


def test_a_read_only_folder_is_a_network_error(daemon, vsftpd, jobs, local):
    vsftpd.path("closed").mkdir(mode=0o555)
    (local / "a").write_bytes(b"x")
    notice = jobs.upload(local / "a", "closed/a")
    assert (notice.outcome, notice.codes) == ((1, wire.NETWORK), (25, 1, 553, 0))


BAD_ENDS = {
    "disk-full": (Plan(closing="452 disk full"), [18]),
    "too-much": (Plan(closing="552 too much"), [70]),
    # The whole file is sent, but the server says that it kept less.
    "stops-taking": (Plan(take=take_then("close", 10), closing="426 lost it"), [18, 55]),
}


@pytest.mark.parametrize("plan, curl_codes", BAD_ENDS.values(), ids=BAD_ENDS)
def test_a_bad_last_reply_is_a_failure_though_all_data_was_sent(daemon, scripted, jobs, local, plan, curl_codes):
    scripted(plan)
    (local / "a").write_bytes(b"all of it" * 10)
    notice = jobs.upload(local / "a", "a")
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code in curl_codes
    assert notice.exec_info.retry_count == 0


def test_the_state_shows_the_progress(daemon, scripted, local):
    scripted(Plan(take=take_slowly(4 * MIB)))
    (local / "a").write_bytes(bytes(64 * MIB))
    client.upload(local / "a", "a")
    seen = [
        wait_until(
            lambda: state if (state := client.state()).exec_info.transferred_size > least else None,
            f"more than {least} bytes",
        )
        for least in (0, 4 * MIB, 8 * MIB)
    ]
    assert all(state[:6] == (0, 0, 1, 2, 0, 0) for state in seen)
    assert {state.exec_info.total_size for state in seen} == {64 * MIB}
    assert seen[0].exec_info.elapsed_time < seen[2].exec_info.elapsed_time


def test_uploads_send_no_size_and_one_stor(daemon, scripted, jobs, local):
    server = scripted()
    (local / "a").write_bytes(b"content")
    jobs.upload(local / "a", "d/f")
    assert server.commands == "USER alice, PASS secret, PWD, CWD d, PASV, TYPE I, STOR f, QUIT".split(", ")
    assert server.stored == [("STOR", "f", b"content")]


# (resume word, how much of a file is sent when the server has its first half): only the low byte counts
@pytest.mark.parametrize("resume, size, sent", [(1, 2 * MIB, MIB), (0x100, 2000, 2000)])
def test_an_upload_is_resumed_where_the_remote_file_ends(daemon, vsftpd, jobs, log, local, resume, size, sent):
    (local / "a").write_bytes(content_of(size))
    vsftpd.put("a.bin", content_of(size)[: size // 2])
    assert jobs.file_info("a.bin").outcome == (0, 0)
    assert client.get_file_info()[2:5] == (1, 1, size // 2)
    notice = jobs.upload(local / "a", "a.bin", resume=resume)
    assert (notice.outcome, notice.sizes) == ((0, 0), (sent, sent))
    assert log.count(rf"^curl_func\(740\): last canceled file size: \({size // 2}\)\n$") == (sent < size)
    assert vsftpd.read("a.bin") == content_of(size)


def test_a_resume_without_an_earlier_look_up_fails_with_5(daemon, scripted, jobs, log, local):
    server = scripted()
    (local / "a").write_bytes(b"x")
    assert jobs.upload(local / "a", "a", resume=1).outcome == (1, wire.INTERNAL)
    log.wait_for(r"^error: curl_func\(752\): The last file size is invalid, abort resume mode\.\n$")
    assert not server.sessions


def test_a_local_file_is_only_read(daemon, vsftpd, jobs, local):
    path = local / "a"
    path.write_bytes(b"x" * 1000)
    path.chmod(0o400)
    before = os.stat(path)
    jobs.upload(path, "a")
    after = os.stat(path)
    for field in ("st_mtime_ns", "st_mode", "st_size"):
        assert getattr(before, field) == getattr(after, field)
