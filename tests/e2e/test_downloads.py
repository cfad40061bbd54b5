"""Downloads from a real server and from a scripted one."""

import os
import random

import pytest

from harness import client, wire
from harness.scripted import HangUp, Plan, send_pieces, send_then

# Names that need care in a URL, in an FTP command, or in both.
NAMES = [
    "a b.txt",
    "100%.txt",
    "x%41y",
    "grüße.txt",
    "日本.bin",
    "a+b&c=d;e",
    "it's (1) [2]",
    "@home:1",
    "a,b!c$d*e",
    '"quoted"',
    "<>{}^|",
    "back\\slash",
    "~tilde",
    "trailing ",
    "%2F",
    "dir with blank/ü %/file",
]


def content_of(size):
    return random.Random(size).randbytes(size)


def downloaded(network_manager):
    return network_manager.wait_for(wire.NOTICE_DOWNLOAD)


@pytest.mark.parametrize("passive_mode", [1, 0], ids=["passive", "active"])
@pytest.mark.parametrize("size", [0, 1, 4095, 4096])
def test_a_small_file_arrives_whole(daemon, vsftpd, network_manager, local, size, passive_mode):
    vsftpd.put("a.bin", content_of(size))
    assert client.download("a.bin", local / "a", passive_mode=passive_mode) == (0, 0)
    notice = downloaded(network_manager)
    assert len(notice.raw) == 68
    assert notice.head == (10, 0, 1, 56, 0)
    assert notice.outcome == (0, 0)
    done = notice.exec_info
    assert (done.total_size, done.transferred_size) == (size, size)
    assert (done.curl_code, done.response_code_type, done.response_code, done.retry_count) == (
        0,
        1,
        226,
        0,
    )
    assert 0 < done.elapsed_time < 30
    assert (local / "a").read_bytes() == content_of(size)


@pytest.mark.parametrize("size", [4097, 5000, 1 << 20])
def test_a_file_announced_above_the_limit_fails_with_12(
    daemon, vsftpd, network_manager, log, local, size
):
    vsftpd.put("a.bin", content_of(size))
    client.download("a.bin", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.SIZE_LIMIT)
    assert notice.exec_info.curl_code == 42
    assert notice.exec_info.retry_count == 0
    line = log.wait_for(
        r"^error: curl_func\(1569\): Download file size limit exceeded\. "
        r"size:\d+ of \d+, limit: 4096\n$"
    )
    assert f" of {size}," in line.text
    # What had arrived stays.
    stored = (local / "a").read_bytes()
    assert stored == content_of(size)[: len(stored)]


def unannounced(**plan):
    """A server that does not know SIZE and does not tell the size in its 150 line."""
    return Plan(replies={"SIZE": "502 what?"}, opening="150 here", **plan)


@pytest.mark.parametrize("size", [0, 1, 4096])
def test_an_unannounced_size_up_to_the_limit_is_fine(
    daemon, scripted, network_manager, local, size
):
    scripted(unannounced(send=send_pieces(1000)), files={"a": content_of(size)})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.total_size == 0
    assert notice.exec_info.transferred_size == size
    assert (local / "a").read_bytes() == content_of(size)


def test_an_unannounced_size_above_the_limit_fails_with_12(
    daemon, scripted, network_manager, log, local
):
    scripted(unannounced(), files={"a": content_of(4097)})
    client.download("a", local / "a")
    assert downloaded(network_manager).outcome == (1, wire.SIZE_LIMIT)
    log.wait_for(
        r"^error: curl_func\(1569\): Download file size limit exceeded\. "
        r"size:4097 of 0, limit: 4096\n$"
    )


def test_a_size_told_by_the_opening_line_counts(daemon, scripted, network_manager, local):
    scripted(
        Plan(
            replies={"SIZE": "502 what?"},
            opening="150 Opening BINARY mode data connection (5000 bytes).",
        ),
        files={"a": content_of(5000)},
    )
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.SIZE_LIMIT)
    assert notice.exec_info.total_size == 5000


def test_a_name_arrives_at_the_server_as_it_is(daemon, vsftpd, network_manager, local):
    for number, name in enumerate(NAMES, 1):
        vsftpd.put(name, b"content of " + name.encode())
        assert client.download(name, local / "a") == (0, 0), name
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == (0, 0), name
        assert (local / "a").read_bytes() == b"content of " + name.encode()


def test_a_local_name_may_hold_anything(daemon, vsftpd, network_manager, local):
    vsftpd.put("a", b"1")
    client.download("a", local / "ö #?%\n x")
    assert downloaded(network_manager).outcome == (0, 0)
    assert (local / "ö #?%\n x").read_bytes() == b"1"


def test_a_shorter_file_replaces_a_longer_one(daemon, vsftpd, network_manager, local):
    (local / "a").write_bytes(bytes(9999))
    vsftpd.put("a", b"short")
    client.download("a", local / "a")
    downloaded(network_manager)
    assert (local / "a").read_bytes() == b"short"


def test_the_local_file_gets_no_more_than_its_creation_mask(daemon, vsftpd, network_manager, local):
    vsftpd.put("a", b"1")
    client.download("a", local / "a")
    downloaded(network_manager)
    assert os.stat(local / "a").st_mode & 0o777 == 0o666  # umask 0


def test_a_missing_remote_file_is_a_network_error(daemon, vsftpd, network_manager, local):
    client.download("missing", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (
        notice.exec_info.curl_code,
        notice.exec_info.response_code_type,
        notice.exec_info.response_code,
        notice.exec_info.retry_count,
    ) == (78, 1, 550, 0)


def test_a_missing_remote_folder_is_access_denied(daemon, vsftpd, network_manager, local):
    client.download("no/such/a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.exec_info.response_code) == (9, 550)


def test_a_wrong_password_is_a_network_error_and_not_tried_again(
    daemon, vsftpd, network_manager, local
):
    client.download("a", local / "a", password="wrong")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (
        notice.exec_info.curl_code,
        notice.exec_info.response_code,
        notice.exec_info.retry_count,
    ) == (67, 530, 0)


def test_a_server_that_is_gone_is_a_network_error_and_not_tried_again(
    daemon, network_manager, local
):
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (
        notice.exec_info.curl_code,
        notice.exec_info.response_code,
        notice.exec_info.retry_count,
    ) == (7, 0, 0)


def test_a_host_that_makes_no_address_is_a_network_error(daemon, network_manager, local):
    client.download("a", local / "a", host="no.such.host.invalid")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 6


@pytest.mark.parametrize("port", [65536, 0x7FFFFFFF, 0xFFFFFFFF])
def test_a_port_out_of_range_fails_the_job_with_5(daemon, network_manager, log, local, port):
    assert client.download("a", local / "a", port=port) == (0, 0)
    assert downloaded(network_manager).outcome == (1, wire.INTERNAL)
    log.wait_for(r"Illegal port number: -?\d+\n$")


def test_a_local_folder_that_is_missing_fails_with_9(daemon, scripted, network_manager, log, local):
    server = scripted(files={"a": b"1"})
    client.download("a", local / "missing" / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.LOCAL_WRITE)
    assert notice.exec_info.curl_code == 0
    log.wait_for(r"^error: curl_func\(615\): errno\(2\) No such file or directory\n$")
    assert not server.sessions


def test_a_full_disk_fails_with_9(daemon, scripted, network_manager, log):
    scripted(files={"a": bytes(4096)})
    client.download("a", "/dev/full")
    assert downloaded(network_manager).outcome == (1, wire.LOCAL_WRITE)
    # Which of the two sees it depends on the size of the C library's buffer.
    log.wait_for(r"^error: curl_func\((1454|653)\): errno\(28\) No space left on device\n$")


def test_less_than_the_announced_size_is_a_network_error(daemon, scripted, network_manager, local):
    scripted(Plan(announced_size=100), files={"a": b"only this"})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 18
    assert (notice.exec_info.total_size, notice.exec_info.transferred_size) == (100, 9)
    # A download that failed keeps what it got.
    assert (local / "a").read_bytes() == b"only this"


def test_more_than_the_announced_size_is_cut_off(daemon, scripted, network_manager, local):
    scripted(Plan(announced_size=4), files={"a": b"only this"})
    client.download("a", local / "a")
    assert downloaded(network_manager).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"only"


@pytest.mark.parametrize(
    "reply", ["426 broken", "451 error in local processing", "550 changed my mind"]
)
def test_a_bad_last_reply_fails_although_all_data_came(
    daemon, scripted, network_manager, local, reply
):
    scripted(Plan(closing=reply), files={"a": b"all of it"})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 18
    assert notice.exec_info.response_code == int(reply[:3])


def test_a_data_connection_that_ends_early_without_an_announced_size_ends_the_file(
    daemon, scripted, network_manager, local
):
    scripted(unannounced(send=send_then("close", 10)), files={"a": content_of(20)})
    client.download("a", local / "a")
    assert downloaded(network_manager).outcome == (0, 0)
    assert (local / "a").read_bytes() == content_of(20)[:10]


@pytest.mark.parametrize("verb, curl_code", [("PASV", 13), ("TYPE", 17), ("RETR", 19)])
def test_a_refused_step_is_a_network_error(
    daemon, scripted, network_manager, local, verb, curl_code
):
    scripted(Plan(replies={verb: "500 no"}), files={"a": b"1"})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.exec_info.response_code) == (curl_code, 500)


def test_a_foreign_address_in_the_passive_reply_is_not_used(
    daemon, scripted, network_manager, local
):
    scripted(Plan(passive_address="203,0,113,9"), files={"a": b"1"})
    client.download("a", local / "a")
    assert downloaded(network_manager).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"1"


def test_the_commands_of_a_passive_download(daemon, scripted, network_manager, local):
    server = scripted(files={"f": b"1"})
    client.download("d/e/f", local / "a")
    downloaded(network_manager)
    assert server.commands == [
        "USER alice",
        "PASS secret",
        "PWD",
        "CWD d",
        "CWD e",
        "PASV",
        "TYPE I",
        "SIZE f",
        "RETR f",
        "QUIT",
    ]


def test_an_active_download_uses_port_and_not_eprt(daemon, scripted, network_manager, local):
    server = scripted(files={"f": b"1"})
    client.download("f", local / "a", passive_mode=0)
    assert downloaded(network_manager).outcome == (0, 0)
    assert [command.split(" ")[0] for command in server.commands][:4] == [
        "USER",
        "PASS",
        "PWD",
        "PORT",
    ]


def test_proxies_of_the_environment_are_ignored(unstarted, scripted, network_manager, local):
    proxy = "http://127.0.0.1:1"
    scripted(files={"a": b"1"})
    unstarted.launch(
        ftp_proxy=proxy, http_proxy=proxy, https_proxy=proxy, all_proxy=proxy, ALL_PROXY=proxy
    )
    unstarted.find()
    client.download("a", local / "a")
    assert downloaded(network_manager).outcome == (0, 0)


def test_empty_credentials_are_sent_empty(daemon, scripted, network_manager, local):
    server = scripted(files={"a": b"1"})
    client.download("a", local / "a", username="", password="")
    assert downloaded(network_manager).outcome == (0, 0)
    assert server.commands[:2] == ["USER ", "PASS "]


def test_a_control_connection_closed_before_the_last_reply_is_tried_again(
    fast_daemon, scripted, network_manager, local
):
    scripted(Plan(closing=HangUp), Plan(), files={"a": b"1"})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.retry_count == 1
