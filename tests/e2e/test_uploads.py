"""Uploads to a real server and to a scripted one."""

import os
import random

import pytest

from harness import client, wire
from harness.scripted import Plan, take_slowly, take_then
from harness.waiting import wait_until
from test_downloads import NAMES

MIB = 1 << 20


def content_of(size):
    return random.Random(size).randbytes(size)


def uploaded(network_manager):
    return network_manager.wait_for(wire.NOTICE_UPLOAD)


@pytest.mark.parametrize("passive_mode", [1, 0], ids=["passive", "active"])
@pytest.mark.parametrize("size", [0, 1, 4097, 64 * MIB])
def test_a_file_arrives_whole(daemon, vsftpd, network_manager, local, size, passive_mode):
    (local / "a").write_bytes(content_of(size))
    assert client.upload(local / "a", "a.bin", passive_mode=passive_mode) == (0, 0)
    notice = uploaded(network_manager)
    assert len(notice.raw) == 68
    assert notice.head == (10, 1, 1, 56, 0)
    assert notice.outcome == (0, 0)
    done = notice.exec_info
    assert (done.total_size, done.transferred_size) == (size, size)
    assert (done.curl_code, done.response_code_type, done.response_code, done.retry_count) == (
        0,
        1,
        226,
        0,
    )
    assert vsftpd.read("a.bin") == content_of(size)


def test_missing_folders_are_made(daemon, vsftpd, network_manager, local):
    (local / "a").write_bytes(b"deep")
    client.upload(local / "a", "one/two three/ü/a.bin")
    assert uploaded(network_manager).outcome == (0, 0)
    assert vsftpd.read("one/two three/ü/a.bin") == b"deep"


def test_a_name_arrives_at_the_server_as_it_is(daemon, vsftpd, network_manager, local):
    for number, name in enumerate(NAMES, 1):
        (local / "a").write_bytes(name.encode())
        assert client.upload(local / "a", name) == (0, 0), name
        assert network_manager.wait_for(wire.NOTICE_UPLOAD, number).outcome == (0, 0), name
        assert vsftpd.read(name) == name.encode()


def test_an_existing_file_is_replaced(daemon, vsftpd, network_manager, local):
    vsftpd.put("a", bytes(9999))
    (local / "a").write_bytes(b"short")
    client.upload(local / "a", "a")
    assert uploaded(network_manager).outcome == (0, 0)
    assert vsftpd.read("a") == b"short"


def test_a_missing_local_file_fails_with_10(daemon, scripted, network_manager, log, local):
    server = scripted()
    client.upload(local / "missing", "a")
    notice = uploaded(network_manager)
    assert notice.outcome == (1, wire.LOCAL_READ)
    assert notice.exec_info.curl_code == 0
    log.wait_for(r"^error: curl_func\(729\): errno\(2\) No such file or directory\n$")
    assert not server.sessions


def test_a_folder_that_must_not_be_written_is_a_network_error(
    daemon, vsftpd, network_manager, local
):
    vsftpd.path("closed").mkdir(mode=0o555)
    (local / "a").write_bytes(b"x")
    client.upload(local / "a", "closed/a")
    notice = uploaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (
        notice.exec_info.curl_code,
        notice.exec_info.response_code,
        notice.exec_info.retry_count,
    ) == (25, 553, 0)


@pytest.mark.parametrize("reply, curl_code", [("452 disk full", 18), ("552 too much", 70)])
def test_a_bad_last_reply_fails_although_all_data_went(
    daemon, scripted, network_manager, local, reply, curl_code
):
    scripted(Plan(closing=reply))
    (local / "a").write_bytes(b"all of it")
    client.upload(local / "a", "a")
    notice = uploaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (curl_code, 0)


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


def test_uploads_send_no_size_and_one_stor(daemon, scripted, network_manager, local):
    server = scripted()
    (local / "a").write_bytes(b"content")
    client.upload(local / "a", "d/f")
    uploaded(network_manager)
    assert server.commands == [
        "USER alice",
        "PASS secret",
        "PWD",
        "CWD d",
        "PASV",
        "TYPE I",
        "STOR f",
        "QUIT",
    ]
    assert server.stored == [("STOR", "f", b"content")]


def interrupted_upload(vsftpd, network_manager, size):
    """Leaves the first half of a file on the server and lets the daemon look it up."""
    vsftpd.put("a.bin", content_of(size)[: size // 2])
    assert client.file_info("a.bin") == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_FILE_INFO).outcome == (0, 0)
    information = client.get_file_info()
    assert (information.looked_up, information.exists, information.size) == (1, 1, size // 2)


def test_an_upload_is_resumed_where_the_remote_file_ends(
    daemon, vsftpd, network_manager, log, local
):
    size = 2 * MIB
    (local / "a").write_bytes(content_of(size))
    interrupted_upload(vsftpd, network_manager, size)
    assert client.upload(local / "a", "a.bin", resume=1) == (0, 0)
    notice = uploaded(network_manager)
    assert notice.outcome == (0, 0)
    assert (notice.exec_info.total_size, notice.exec_info.transferred_size) == (
        size // 2,
        size // 2,
    )
    log.wait_for(rf"^curl_func\(740\): last canceled file size: \({size // 2}\)\n$")
    assert vsftpd.read("a.bin") == content_of(size)


def test_only_the_low_byte_of_the_resume_word_counts(daemon, vsftpd, network_manager, local):
    size = 2000
    (local / "a").write_bytes(content_of(size))
    interrupted_upload(vsftpd, network_manager, size)
    client.upload(local / "a", "a.bin", resume=0x100)
    assert uploaded(network_manager).exec_info.transferred_size == size
    assert vsftpd.read("a.bin") == content_of(size)


def test_a_resume_without_an_earlier_look_fails_with_5(
    daemon, scripted, network_manager, log, local
):
    server = scripted()
    (local / "a").write_bytes(b"x")
    assert client.upload(local / "a", "a", resume=1) == (0, 0)
    assert uploaded(network_manager).outcome == (1, wire.INTERNAL)
    log.wait_for(r"^error: curl_func\(752\): The last file size is invalid, abort resume mode\.\n$")
    assert not server.sessions


def test_a_local_file_is_only_read(daemon, vsftpd, network_manager, local):
    path = local / "a"
    path.write_bytes(b"x" * 1000)
    path.chmod(0o400)
    before = os.stat(path)
    client.upload(path, "a")
    uploaded(network_manager)
    after = os.stat(path)
    assert (before.st_mtime_ns, before.st_mode, before.st_size) == (
        after.st_mtime_ns,
        after.st_mode,
        after.st_size,
    )


def test_a_server_that_stops_taking_before_the_end_is_a_network_error(
    daemon, scripted, network_manager, local
):
    """The source is all sent; the server kept less of it and says so."""
    scripted(Plan(take=take_then("close", 10), closing="426 lost it"))
    (local / "a").write_bytes(b"x" * 100)
    client.upload(local / "a", "a")
    notice = uploaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code in (18, 55)
