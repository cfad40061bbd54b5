"""Which failures are tried again, how often, and from where; with a clock 20 times faster."""

import re
import time

import pytest

from harness import client, wire
from harness.daemon import SPEED
from harness.scripted import HangUp, Plan, Reset, Silence, send_then, take_then
from harness.waiting import HELD_UP_S

MIB = 1 << 20


def downloaded(network_manager):
    return network_manager.wait_for(wire.NOTICE_DOWNLOAD)


def uploaded(network_manager, deadline_s=60):
    return network_manager.wait_for(wire.NOTICE_UPLOAD, deadline_s=deadline_s)


def large_file(local, size=64 * MIB):
    """More than the sockets' buffers hold."""
    with open(local / "a", "wb") as file:
        file.truncate(size)
    return local / "a"


@pytest.mark.parametrize(
    "first",
    [
        Plan(greeting=HangUp),
        Plan(replies={"USER": Reset}),
        Plan(replies={"PASS": HangUp}),
        Plan(replies={"RETR": Reset}),
        Plan(closing=HangUp),
        Plan(send=send_then("reset", 100)),
    ],
    ids=[
        "greeting-closed",
        "USER-reset",
        "PASS-closed",
        "RETR-reset",
        "226-closed",
        "data-reset",
    ],
)
def test_a_download_is_tried_again_after_a_receive_error(
    fast_daemon, scripted, network_manager, log, local, first
):
    server = scripted(first, Plan(), files={"a": bytes(range(200))})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (0, 0)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (0, 1)
    assert (notice.exec_info.total_size, notice.exec_info.transferred_size) == (200, 200)
    log.wait_for(r"^error: curl_func\(1364\): curl_perform\(16, 56\) \.\.\. retry\(1\)\n$")
    assert (local / "a").read_bytes() == bytes(range(200))
    assert len(server.sessions) == 2


def test_a_download_that_is_tried_again_keeps_nothing_of_the_first_try(
    fast_daemon, scripted, network_manager, local
):
    """The second time the file is shorter than what the first try had stored."""
    server = scripted(Plan(send=send_then("reset", 2000)), Plan(), files={"a": b"x" * 3000})
    server.after_session(0, lambda: server.files.update(a=b"short"))
    client.download("a", local / "a")
    assert downloaded(network_manager).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"short"


@pytest.mark.parametrize(
    "first, codes",
    [
        (Plan(take=take_then("reset", 100_000)), "16, 55"),
        (Plan(greeting=HangUp), "16, 56"),
        (Plan(greeting="421 too many users"), "16, 28"),
        (Plan(replies={"PASS": "421 too many users"}), "16, 28"),
        (Plan(take=take_then("stall", 100_000)), "14, 42"),
        (Plan(greeting=Silence), "(1[46], 28|14, 42)"),
        (Plan(replies={"STOR": Silence}), "14, 42"),
    ],
    ids=["data-reset", "closed", "421-greeting", "421-login", "stalled", "silent", "STOR-silent"],
)
def test_an_upload_is_tried_again_from_its_beginning(
    fast_daemon, scripted, network_manager, log, local, first, codes
):
    size = 16 * MIB
    content = bytes(range(256)) * (size // 256)
    (local / "a").write_bytes(content)
    server = scripted(first, Plan())
    client.upload(local / "a", "a")
    notice = uploaded(network_manager)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.retry_count == 1
    assert (notice.exec_info.total_size, notice.exec_info.transferred_size) == (size, size)
    log.wait_for(rf"^error: curl_func\(1364\): curl_perform\({codes}\) \.\.\. retry\(1\)\n$")
    assert server.stored[-1] == ("STOR", "a", content)


def test_a_timeout_doubles_the_limits(fast_daemon, scripted, network_manager, log, local):
    scripted(Plan(take=take_then("stall", 1000)), Plan())
    client.upload(large_file(local), "a")
    assert uploaded(network_manager).outcome == (0, 0)
    log.wait_for(r"^curl_func\(1283\): \[connection_limit\] 120, \[operation_limit\] 0\n$")


@pytest.mark.parametrize(
    "plan, codes",
    [
        (Plan(greeting="421 too many users"), [(16, 28)]),
        # Two limits of sixty seconds: which one sees it first is a matter of chance.
        (Plan(greeting=Silence), [(14, 28), (16, 28), (14, 42)]),
        (Plan(send=send_then("stall", 100)), [(14, 42)]),
    ],
    ids=["421", "silent", "stalled"],
)
def test_a_download_that_timed_out_is_not_tried_again(
    fast_daemon, scripted, network_manager, log, local, plan, codes
):
    server = scripted(plan, files={"a": bytes(200)})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome[0] == 1
    assert (notice.outcome[1], notice.exec_info.curl_code) in codes
    log.wait_for(r"^error: curl_func\(1272\): Timeout retry limit reached\.\n$")
    assert len(server.sessions) == 1
    # The line of the retry that was thought of, not made.
    assert log.count(r"^error: curl_func\(1364\): .* retry\(1\)\n$") == 1


def test_five_tries_are_all(fast_daemon, scripted, network_manager, log, local):
    server = scripted(Plan(send=send_then("reset", 100)), files={"a": bytes(200)})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (56, 4)
    assert len(server.sessions) == 5
    for retry in range(1, 6):
        assert (
            log.count(
                rf"^error: curl_func\(1364\): curl_perform\(16, 56\) \.\.\. retry\({retry}\)\n$"
            )
            == 1
        )
    # A download that failed for good keeps what its last try got.
    assert (local / "a").read_bytes() == bytes(100)


def test_a_retry_waits_five_seconds(daemon, scripted, network_manager, local):
    server = scripted(Plan(greeting=HangUp), Plan(), files={"a": b"1"})
    begin = time.monotonic()
    client.download("a", local / "a")
    downloaded(network_manager)
    assert len(server.sessions) == 2
    assert 4.9 < time.monotonic() - begin < 7 + HELD_UP_S


@pytest.mark.parametrize(
    "plan",
    [
        Plan(announced_size=500),
        Plan(closing="451 no"),
        Plan(replies={"RETR": "550 gone"}),
        Plan(replies={"PASS": "530 no"}),
        Plan(replies={"PASV": "500 no"}),
    ],
    ids=["partial", "451", "550", "530", "PASV"],
)
def test_other_failures_are_not_tried_again(
    fast_daemon, scripted, network_manager, log, local, plan
):
    server = scripted(plan, files={"a": b"1"})
    client.download("a", local / "a")
    notice = downloaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.retry_count == 0
    assert len(server.sessions) == 1
    assert log.count(r"1364") == 0


def test_a_long_try_that_moved_data_is_not_repeated(
    fast_daemon, scripted, network_manager, log, local
):
    """More than 120 seconds, then broken: the limit is 60 and 60 more."""

    def crawl(session, data):
        for _ in range(14):  # 140 of the daemon's seconds
            data.recv(65536)
            session.server.closing.wait(10 / SPEED)
        return take_then("reset", 1)(session, data)

    server = scripted(Plan(take=crawl))
    client.upload(large_file(local), "a")
    notice = uploaded(network_manager)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 55
    assert notice.exec_info.elapsed_time > 120
    refusal = r"^error: curl_func\(1248\): Retry is not allowed\. \(last elapsed time: (\d+) > retry time limit: 120\)\n$"
    elapsed_s = int(re.search(refusal, log.wait_for(refusal).text)[1])
    assert 120 < elapsed_s <= notice.exec_info.elapsed_time
    assert len(server.sessions) == 1


def test_a_stalling_upload_is_tried_five_times_with_growing_limits(
    unstarted, scripted, network_manager, log, local
):
    unstarted.launch(speed=100)
    unstarted.find()
    server = scripted(Plan(take=take_then("stall", 1000)))
    client.upload(large_file(local), "a")
    # 60, 120, 240, 480 and 960 seconds.
    notice = uploaded(network_manager)
    assert notice.outcome == (1, wire.TIMEOUT)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (42, 4)
    for limit_s in (120, 240, 480, 960):
        assert (
            log.count(
                rf"^curl_func\(1283\): \[connection_limit\] {limit_s}, \[operation_limit\] 0\n$"
            )
            == 1
        )
    assert len(server.sessions) == 5


def test_a_resumed_upload_that_is_tried_again_appends_from_its_beginning(
    fast_daemon, scripted, network_manager, local
):
    content = bytes(range(256)) * (16 * MIB // 256)
    (local / "a").write_bytes(content)
    listing = f"-rw-r--r--    1 alice    alice    {MIB} Nov 20 09:18 a\r\n".encode()
    server = scripted(Plan(listing=listing), Plan(take=take_then("reset", 100_000)), Plan())
    client.file_info("a")
    network_manager.wait_for(wire.NOTICE_FILE_INFO)
    client.upload(local / "a", "a", resume=1)
    uploaded(network_manager)
    (verb, name, first), (verb_again, name_again, second) = server.stored[-2:]
    assert (verb, name) == (verb_again, name_again) == ("APPE", "a")
    assert content[MIB:].startswith(first)
    assert content.startswith(second) and len(second) > 0


def test_a_stall_in_a_retry_that_has_moved_less_than_the_first_try_is_seen(
    fast_daemon, scripted, network_manager, log, local
):
    scripted(
        Plan(take=take_then("reset", 16 * MIB)),
        Plan(take=take_then("stall", 1000)),
        Plan(),
    )
    client.upload(large_file(local), "a")
    notice = uploaded(network_manager)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.retry_count == 2
    log.wait_for(r"^error: curl_func\(1364\): curl_perform\(16, 55\) \.\.\. retry\(1\)\n$")
    log.wait_for(r"^error: curl_func\(1364\): curl_perform\(14, 42\) \.\.\. retry\(2\)\n$")
