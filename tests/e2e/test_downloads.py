"""Downloads from a real server and from a scripted one."""

import os

import pytest

from harness import wire
from harness.content import content_of
from harness.scripted import Plan, send_pieces, send_then

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


@pytest.mark.parametrize("passive_mode", [1, 0], ids=["passive", "active"])
def test_a_small_file_arrives_whole(daemon, vsftpd, jobs, local, passive_mode):
    for size in (0, 1, 4095, 4096):
        vsftpd.put("a.bin", content_of(size))
        notice = jobs.download("a.bin", local / "a", passive_mode=passive_mode)
        assert len(notice.raw) == 68
        assert notice.head == (10, 0, 1, 56, 0)
        assert (notice.outcome, notice.sizes, notice.codes) == ((0, 0), (size, size), (0, 1, 226, 0))
        assert 0 < notice.exec_info.elapsed_time < 30
        assert (local / "a").read_bytes() == content_of(size)


LIMIT_LINE = r"^error: curl_func\(1569\): Download file size limit exceeded\. size:{} of {}, limit: 4096\n$"


@pytest.mark.parametrize("size", [4097, 5000, 1 << 20])
def test_a_file_announced_above_the_limit_fails_with_12(daemon, vsftpd, jobs, log, local, size):
    vsftpd.put("a.bin", content_of(size))
    notice = jobs.download("a.bin", local / "a")
    assert notice.outcome == (1, wire.SIZE_LIMIT)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (42, 0)
    log.wait_for(LIMIT_LINE.format(r"\d+", size))
    # The part that arrived is kept.
    stored = (local / "a").read_bytes()
    assert stored == content_of(size)[: len(stored)]


def unannounced(opening="150 here", **plan):
    """A server without SIZE; its 150 line has no size either."""
    return Plan(replies={"SIZE": "502 what?"}, opening=opening, **plan)


@pytest.mark.parametrize("size", [0, 1, 4096])
def test_an_unannounced_size_up_to_the_limit_is_fine(daemon, scripted, jobs, local, size):
    scripted(unannounced(send=send_pieces(1000)), files={"a": content_of(size)})
    notice = jobs.download("a", local / "a")
    assert (notice.outcome, notice.sizes) == ((0, 0), (0, size))
    assert (local / "a").read_bytes() == content_of(size)


def test_an_unannounced_size_above_the_limit_fails_with_12(daemon, scripted, jobs, log, local):
    scripted(unannounced(), files={"a": content_of(4097)})
    assert jobs.download("a", local / "a").outcome == (1, wire.SIZE_LIMIT)
    log.wait_for(LIMIT_LINE.format(4097, 0))


def test_a_size_in_the_opening_line_counts(daemon, scripted, jobs, local):
    opening = "150 Opening BINARY mode data connection (5000 bytes)."
    scripted(unannounced(opening), files={"a": content_of(5000)})
    notice = jobs.download("a", local / "a")
    assert notice.outcome == (1, wire.SIZE_LIMIT)
    assert notice.exec_info.total_size == 5000


def test_a_name_arrives_at_the_server_unchanged(daemon, vsftpd, jobs, local):
    for name in NAMES:
        vsftpd.put(name, b"content of " + name.encode())
        assert jobs.download(name, local / "a").outcome == (0, 0), name
        assert (local / "a").read_bytes() == b"content of " + name.encode()


def test_a_local_name_may_have_any_characters_and_gets_mode_666(daemon, vsftpd, jobs, local):
    vsftpd.put("a", b"1")
    assert jobs.download("a", local / "ö #?%\n x").outcome == (0, 0)
    assert (local / "ö #?%\n x").read_bytes() == b"1"
    assert os.stat(local / "ö #?%\n x").st_mode & 0o777 == 0o666  # umask 0


def test_a_shorter_file_replaces_a_longer_one(daemon, vsftpd, jobs, local):
    (local / "a").write_bytes(bytes(9999))
    vsftpd.put("a", b"short")
    jobs.download("a", local / "a")
    assert (local / "a").read_bytes() == b"short"


# {fault: (fields of the request, libcurl's code, kind of response code, response code)}
FAILURES = {
    "missing file": ({"remote_path": "missing"}, 78, 1, 550),
    "missing folder": ({"remote_path": "no/such/a"}, 9, 1, 550),
    "wrong password": ({"password": "wrong"}, 67, 1, 530),
    "nobody there": ({"port": 2121}, 7, 1, 0),
    "no address": ({"host": "no.such.host.invalid"}, 6, 1, 0),
}


def test_failures_are_network_errors_and_not_tried_again(daemon, vsftpd, jobs, local):
    for case, (fields, *codes) in FAILURES.items():
        notice = jobs.download(**{"remote_path": "a", "local_path": local / "a"} | fields)
        assert notice.outcome == (1, wire.NETWORK), case
        assert notice.codes == (*codes, 0), case


@pytest.mark.parametrize("port", [65536, 0x7FFFFFFF, 0xFFFFFFFF])
def test_a_port_out_of_range_fails_the_job_with_5(daemon, jobs, log, local, port):
    assert jobs.download("a", local / "a", port=port).outcome == (1, wire.INTERNAL)
    log.wait_for(r"Illegal port number: -?\d+\n$")


def test_a_missing_local_folder_fails_with_9(daemon, scripted, jobs, log, local):
    server = scripted(files={"a": b"1"})
    notice = jobs.download("a", local / "missing" / "a")
    assert notice.outcome == (1, wire.LOCAL_WRITE)
    assert notice.exec_info.curl_code == 0
    log.wait_for(r"^error: curl_func\(615\): errno\(2\) No such file or directory\n$")
    assert not server.sessions


def test_a_full_disk_fails_with_9(daemon, scripted, jobs, log):
    scripted(files={"a": bytes(4096)})
    assert jobs.download("a", "/dev/full").outcome == (1, wire.LOCAL_WRITE)
    # Which of the two reports it depends on the size of the C library's buffer.
    log.wait_for(r"^error: curl_func\((1454|653)\): errno\(28\) No space left on device\n$")


def test_less_than_the_announced_size_is_a_network_error(daemon, scripted, jobs, local):
    scripted(Plan(announced_size=100), files={"a": b"only this"})
    notice = jobs.download("a", local / "a")
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.sizes) == (18, (100, 9))
    # A failed download keeps what has arrived.
    assert (local / "a").read_bytes() == b"only this"


def test_more_than_the_announced_size_is_cut_off(daemon, scripted, jobs, local):
    scripted(Plan(announced_size=4), files={"a": b"only this"})
    assert jobs.download("a", local / "a").outcome == (0, 0)
    assert (local / "a").read_bytes() == b"only"


# (how the server refuses, libcurl's code, response code); in the last three all data has arrived before
REFUSALS = [
    (Plan(replies={"PASV": "500 no"}), 13, 500),
    (Plan(replies={"TYPE": "500 no"}), 17, 500),
    (Plan(replies={"RETR": "500 no"}), 19, 500),
    (Plan(closing="426 broken"), 18, 426),
    (Plan(closing="451 error in local processing"), 18, 451),
    (Plan(closing="550 changed my mind"), 18, 550),
]


def test_a_refused_step_or_a_bad_last_reply_is_a_network_error(daemon, scripted, jobs, local):
    scripted(*(plan for plan, _, _ in REFUSALS), files={"a": b"all of it"})
    for plan, curl_code, response_code in REFUSALS:
        notice = jobs.download("a", local / "a")
        assert notice.outcome == (1, wire.NETWORK), plan
        assert (notice.exec_info.curl_code, notice.exec_info.response_code) == (curl_code, response_code), plan


def test_a_data_connection_that_ends_early_without_an_announced_size_ends_the_file(daemon, scripted, jobs, local):
    scripted(unannounced(send=send_then("close", 10)), files={"a": content_of(20)})
    assert jobs.download("a", local / "a").outcome == (0, 0)
    assert (local / "a").read_bytes() == content_of(20)[:10]


def test_a_foreign_address_in_the_passive_reply_is_not_used(daemon, scripted, jobs, local):
    scripted(Plan(passive_address="203,0,113,9"), files={"a": b"1"})
    assert jobs.download("a", local / "a").outcome == (0, 0)
    assert (local / "a").read_bytes() == b"1"


def test_the_commands_of_a_passive_download(daemon, scripted, jobs, local):
    server = scripted(files={"f": b"1"})
    jobs.download("d/e/f", local / "a")
    commands = "USER alice, PASS secret, PWD, CWD d, CWD e, PASV, TYPE I, SIZE f, RETR f, QUIT"
    assert server.commands == commands.split(", ")


def test_an_active_download_uses_port_and_not_eprt(daemon, scripted, jobs, local):
    server = scripted(files={"f": b"1"})
    assert jobs.download("f", local / "a", passive_mode=0).outcome == (0, 0)
    assert [command.split(" ")[0] for command in server.commands][:4] == ["USER", "PASS", "PWD", "PORT"]


def test_empty_credentials_are_sent_empty(daemon, scripted, jobs, local):
    server = scripted(files={"a": b"1"})
    assert jobs.download("a", local / "a", username="", password="").outcome == (0, 0)
    assert server.commands[:2] == ["USER ", "PASS "]
