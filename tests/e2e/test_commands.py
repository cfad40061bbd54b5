"""Every command of the control socket, byte for byte."""

import re
import struct

import pytest

from harness import client, wire
from harness.scripted import Plan


def words(*values):
    return struct.pack(f"<{len(values)}I", *values)


def test_before_any_job_every_answer_is_all_zero(daemon):
    assert client.ask_raw(words(0, 0)) == words(0, 8, 0, 0)
    state = client.ask_raw(words(3, 0))
    assert state[:8] == words(3, 72)
    assert len(state) == 80
    # Bytes 52 to 55 of the body and its tail from byte 68 are not always set.
    assert state[8:60] == bytes(52)
    assert state[64:76] == bytes(12)
    file_information = client.ask_raw(words(6, 0))
    assert file_information[:8] == words(6, 56)
    assert len(file_information) == 64
    assert file_information[8:60] == bytes(52)  # the last word is not always set


def test_no_operation_repeats_the_detail_of_the_last_start_but_not_its_result(daemon, local):
    # Protocol 4 has no downloads: 15.
    assert client.download("a", local / "a", protocol=wire.ZIXI_4) == (1, 15)
    assert client.ask_raw(words(0, 0)) == words(0, 8, 0, 15)
    # Other commands keep it.
    client.state()
    client.cancel()
    assert client.nothing() == (0, 15)


def test_no_operation_detail_is_zero_again_after_a_start_that_worked(daemon, scripted, jobs, local):
    scripted(files={"a": b"x"})
    client.download("a", local / "a", protocol=wire.ZIXI_4)
    jobs.download("a", local / "a")
    assert client.nothing() == (0, 0)


@pytest.mark.parametrize("command", wire.STARTS)
def test_a_start_returns_eight_zero_bytes_and_the_state_has_kind_and_outcome(
    daemon, network_manager, local, command
):
    start = wire.STARTS[command]
    (local / "a").write_bytes(b"x")
    # Nobody listens on port 1: result 16, libcurl's 7.
    body = wire.request(remote_path="a", local_path=local / "a", port=1)
    assert client.ask_raw(words(command, len(body)) + body) == words(command, 8, 0, 0)
    notice = network_manager.wait_for(start.notice)
    state = client.state()
    assert state[:6] == (0, 0, 0, start.kind, wire.NETWORK, 0)
    assert state.exec_info.curl_code == 7
    assert state.exec_info == notice.exec_info


def test_cancel_without_a_job_is_refused_with_2_by_both_engines(daemon, log, jobs, local):
    assert client.ask_raw(words(4, 0)) == words(4, 12, 1, 2, 0)
    client.download("a", local / "a", protocol=wire.ZIXI_5)
    assert client.cancel() == (1, 2, 0)
    assert log.errors().count("error: ftp_clientd(515): curlf_cancel(): Failed(2)\n") == 2
    # The kind is that of the last job.
    jobs.download("a", local / "a", port=1)
    assert client.cancel() == (1, 2, 1)


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


def test_starts_while_a_job_runs_are_refused_with_3_and_change_nothing(daemon, scripted, network_manager, log, local):
    server = scripted(Plan(replies={"RETR": "150 wait"}), files={"a": b"abc"})
    client.download("a", local / "a", username="first")
    server.wait_for_command("RETR")
    (local / "b").write_bytes(b"x")
    for command, refused in wire.STARTS.items():
        assert client.start(command, remote_path="b", local_path=local / "b", port=1) == (1, wire.BUSY)
        log.wait_for(re.escape(f"error: {refused.named}: Failed(3)\n"))
        assert client.state()[:6] == (0, 0, 1, 1, 0, 0)
        assert client.nothing() == (0, wire.BUSY)
    assert client.cancel() == (0, 0, 1)
    assert len(server.sessions) == 1
    assert not network_manager.of_code(wire.NOTICE_DOWNLOAD)


def test_each_job_starts_with_a_clean_progress(daemon, scripted, jobs, local):
    scripted(files={"a": b"content"})
    assert jobs.download("a", local / "a").sizes == (7, 7)
    failed = jobs.download("a", local / "a", port=1)
    assert (failed.sizes, failed.exec_info.response_code) == ((0, 0), 0)
