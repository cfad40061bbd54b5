"""Every command of the control socket, byte for byte."""

import struct

import pytest

from harness import client, wire
from harness.scripted import Plan, send_then
from harness.waiting import wait_until


NOTICES = {
    wire.DOWNLOAD: wire.NOTICE_DOWNLOAD,
    wire.UPLOAD: wire.NOTICE_UPLOAD,
    wire.DL_FILE_INFO: wire.NOTICE_FILE_INFO,
}


def words(*values):
    return struct.pack(f"<{len(values)}I", *values)


def test_no_operation_before_any_job_answers_zeros(daemon):
    assert client.ask_raw(words(0, 0)) == words(0, 8, 0, 0)


def test_no_operation_repeats_the_detail_of_the_last_start_but_not_its_result(daemon, local):
    # Protocol 4 has no downloads: 15.
    assert client.download("a", local / "a", protocol=wire.ZIXI_4) == (1, 15)
    assert client.ask_raw(words(0, 0)) == words(0, 8, 0, 15)
    # Other commands leave it.
    client.state()
    client.cancel()
    assert client.nothing() == (0, 15)


def test_no_operation_detail_is_zero_again_after_a_start_that_worked(
    daemon, scripted, network_manager, local
):
    scripted(files={"a": b"x"})
    client.download("a", local / "a", protocol=wire.ZIXI_4)
    assert client.download("a", local / "a") == (0, 0)
    assert client.nothing() == (0, 0)
    network_manager.wait_for(wire.NOTICE_DOWNLOAD)


def test_state_before_any_job_is_all_zero(daemon):
    reply = client.ask_raw(words(3, 0))
    assert reply[:8] == words(3, 72)
    assert len(reply) == 80
    body = reply[8:]
    # Bytes 52 to 55 and the tail from 68 on are not always set.
    assert body[:52] == bytes(52)
    assert body[56:68] == bytes(12)


def test_state_shows_a_running_job(daemon, scripted, local):
    server = scripted(Plan(send=send_then("stall", 1000)), files={"a": bytes(2000)})
    client.download("a", local / "a")
    server.stalled.wait(30)
    wait_until(lambda: client.state().exec_info.transferred_size == 1000, "1000 bytes in the state")
    state = client.state()
    assert state[:6] == (0, 0, 1, 1, 0, 0)
    assert state.exec_info.total_size == 2000
    assert state.exec_info.retry_count == 0


@pytest.mark.parametrize(
    "command, kind",
    [(wire.DOWNLOAD, 1), (wire.UPLOAD, 2), (wire.DL_FILE_INFO, 3)],
    ids=["download", "upload", "file_info"],
)
def test_state_tells_the_kind_and_outcome_of_the_last_job(
    daemon, network_manager, local, command, kind
):
    (local / "a").write_bytes(b"x")
    # Nobody listens on port 1: result 16, libcurl's 7.
    assert client.start(command, remote_path="a", local_path=local / "a", port=1) == (0, 0)
    notice = network_manager.wait_for(NOTICES[command])
    state = client.state()
    assert state[:6] == (0, 0, 0, kind, wire.NETWORK, 0)
    assert state.exec_info.curl_code == 7
    assert state.exec_info == notice.exec_info


def test_cancel_without_a_job_is_refused_with_2(daemon, log):
    assert client.ask_raw(words(4, 0)) == words(4, 12, 1, 2, 0)
    log.wait_for(r"^error: ftp_clientd\(515\): curlf_cancel\(\): Failed\(2\)\n$")


def test_cancel_tells_the_kind_of_the_last_job(daemon, network_manager, local):
    client.download("a", local / "a", port=1)
    network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert client.cancel() == (1, 2, 1)


def test_cancel_of_an_idle_zixi_engine_logs_the_same_text(daemon, log, local):
    client.download("a", local / "a", protocol=wire.ZIXI_5)
    assert client.cancel() == (1, 2, 0)
    log.wait_for(r"^error: ftp_clientd\(515\): curlf_cancel\(\): Failed\(2\)\n$")


def test_file_information_before_any_job_is_all_zero(daemon):
    reply = client.ask_raw(words(6, 0))
    assert reply[:8] == words(6, 56)
    assert len(reply) == 64
    assert reply[8:60] == bytes(52)  # the last word is not always set


def test_file_information_of_the_zixi_engine_is_a_fixed_block(daemon, local):
    client.download("a", local / "a", protocol=wire.ZIXI_4)
    minus_1 = 0xFFFFFFFF
    fixed = words(
        0, 0, 1, 0, minus_1, minus_1, minus_1, minus_1, minus_1, minus_1, minus_1, 65535, 0
    )
    assert client.ask(wire.GET_FILE_INFO)[:52] == fixed


@pytest.mark.parametrize("command", NOTICES)
def test_a_start_answers_eight_zero_bytes(daemon, network_manager, local, command):
    (local / "a").write_bytes(b"x")
    body = wire.request(remote_path="a", local_path=local / "a", port=1)
    assert client.ask_raw(words(command, len(body)) + body) == words(command, 8, 0, 0)
    network_manager.wait_for(NOTICES[command])


def test_an_unknown_command_is_closed_without_a_reply(daemon, log):
    for command in (7, 8, 255, 256, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF):
        assert client.ask_raw(words(command, 0)) == b"", command
        assert client.ask_raw(words(command, 4) + b"body") == b"", command
    assert client.nothing() == (0, 0)
    assert not log.errors()


def test_commands_without_a_body_ignore_one(daemon):
    for command, length in ((0, 8), (3, 72), (6, 56)):
        reply = client.ask_raw(words(command, 5) + b"extra")
        assert reply[:8] == words(command, length)


@pytest.mark.parametrize("start", ["download", "upload", "file_info"])
def test_a_start_while_a_job_runs_is_refused_with_3_and_harms_nothing(
    daemon, scripted, network_manager, log, local, start
):
    server = scripted(Plan(replies={"RETR": "150 wait"}), files={"a": b"abc"})
    client.download("a", local / "a", username="first")
    server.wait_for_command("RETR")
    (local / "b").write_bytes(b"x")
    refused = {
        "download": lambda: client.download("b", local / "b", port=1),
        "upload": lambda: client.upload(local / "b", "b", port=1),
        "file_info": lambda: client.file_info("b", port=1),
    }[start]
    assert refused() == (1, wire.BUSY)
    number, name = {
        "download": (393, "command_download"),
        "upload": (433, "command_upload"),
        "file_info": (570, "command_dl_file_info"),
    }[start]
    log.wait_for(rf"^error: ftp_clientd\({number}\): {name}\(\): Failed\(3\)\n$")
    state = client.state()
    assert state[:6] == (0, 0, 1, 1, 0, 0)
    assert client.nothing() == (0, wire.BUSY)
    assert client.cancel() == (0, 0, 1)
    assert len(server.sessions) == 1
    assert not network_manager.of_code(wire.NOTICE_DOWNLOAD)


def test_each_job_starts_with_a_clean_progress(daemon, scripted, network_manager, local):
    scripted(files={"a": b"content"})
    client.download("a", local / "a")
    done = network_manager.wait_for(wire.NOTICE_DOWNLOAD).exec_info
    assert (done.total_size, done.transferred_size) == (7, 7)
    client.download("a", local / "a", port=1)
    failed = network_manager.wait_for(wire.NOTICE_DOWNLOAD, times=2).exec_info
    assert (failed.total_size, failed.transferred_size, failed.response_code) == (0, 0, 0)
