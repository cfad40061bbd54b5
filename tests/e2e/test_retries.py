"""Which failures are tried again, how often, and from where; with a fast clock."""

import re
import time

import pytest

from harness import wire
from harness.content import MIB, sparse
from harness.daemon import SPEED
from harness.scripted import HangUp, Plan, Reset, Silence, send_then, take_then
from harness.waiting import HELD_UP_S

RETRY = r"^error: curl_func\(1364\): curl_perform\({}\) \.\.\. retry\({}\)\n$"
LIMITS = r"^curl_func\(1283\): \[connection_limit\] {}, \[operation_limit\] 0\n$"


def large_file(local):
    """A file larger than the sockets' buffers."""
    return sparse(local / "a", 64 * MIB)


RECEIVE_ERRORS = {
    "greeting-closed": Plan(greeting=HangUp),
    "USER-reset": Plan(replies={"USER": Reset}),
    "PASS-closed": Plan(replies={"PASS": HangUp}),
    "RETR-reset": Plan(replies={"RETR": Reset}),
    "226-closed": Plan(closing=HangUp),
    "data-reset": Plan(send=send_then("reset", 100)),
}


@pytest.mark.parametrize("first", RECEIVE_ERRORS.values(), ids=RECEIVE_ERRORS)
def test_a_download_is_tried_again_after_a_receive_error(fast_daemon, scripted, jobs, log, local, first):
    server = scripted(first, Plan(), files={"a": bytes(range(200))})
    notice = jobs.download("a", local / "a")
    assert (notice.outcome, notice.sizes) == ((0, 0), (200, 200))
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (0, 1)
    log.wait_for(RETRY.format("16, 56", 1))
    assert (local / "a").read_bytes() == bytes(range(200))
    assert len(server.sessions) == 2


def test_a_retried_download_keeps_nothing_of_the_first_try(fast_daemon, scripted, jobs, local):
    """In the second try the file is shorter than what the first had stored."""
    server = scripted(Plan(send=send_then("reset", 2000)), Plan(), files={"a": b"x" * 3000})
    server.after_session(0, lambda: server.files.update(a=b"short"))
    assert jobs.download("a", local / "a").outcome == (0, 0)
    assert (local / "a").read_bytes() == b"short"


# {fault of the first try: (its plan, result and libcurl's code in the log)}
BREAKS = {
    "data-reset": (Plan(take=take_then("reset", 100_000)), "16, 55"),
    "closed": (Plan(greeting=HangUp), "16, 56"),
    "421-greeting": (Plan(greeting="421 too many users"), "16, 28"),
    "421-login": (Plan(replies={"PASS": "421 too many users"}), "16, 28"),
    "stalled": (Plan(take=take_then("stall", 100_000)), "14, 42"),
    "silent": (Plan(greeting=Silence), "(1[46], 28|14, 42)"),
    "STOR-silent": (Plan(replies={"STOR": Silence}), "14, 42"),
}


@pytest.mark.parametrize("first, codes", BREAKS.values(), ids=BREAKS)
def test_an_upload_is_tried_again_from_its_beginning(fast_daemon, scripted, jobs, log, local, first, codes):
    size = 16 * MIB
    content = bytes(range(256)) * (size // 256)
    (local / "a").write_bytes(content)
    server = scripted(first, Plan())
    notice = jobs.upload(local / "a", "a")
    assert (notice.outcome, notice.sizes) == ((0, 0), (size, size))
    assert notice.exec_info.retry_count == 1
    log.wait_for(RETRY.format(codes, 1))
    assert server.stored[-1] == ("STOR", "a", content)


TIMEOUTS = {
    "421": (Plan(greeting="421 too many users"), [(16, 28)]),
    # Either of two limits of 60 s may be reached first.
    "silent": (Plan(greeting=Silence), [(14, 28), (16, 28), (14, 42)]),
    "stalled": (Plan(send=send_then("stall", 100)), [(14, 42)]),
}


@pytest.mark.parametrize("plan, codes", TIMEOUTS.values(), ids=TIMEOUTS)
def test_a_download_that_timed_out_is_not_tried_again(fast_daemon, scripted, jobs, log, local, plan, codes):
    server = scripted(plan, files={"a": bytes(200)})
    notice = jobs.download("a", local / "a")
    assert notice.outcome[0] == 1
    assert (notice.outcome[1], notice.exec_info.curl_code) in codes
    log.wait_for(r"^error: curl_func\(1272\): Timeout retry limit reached\.\n$")
    assert len(server.sessions) == 1
    # The retry is logged but not made.
    assert log.count(RETRY.format(".*", 1)) == 1


def test_a_download_is_tried_five_times_at_most(fast_daemon, scripted, jobs, log, local):
    server = scripted(Plan(send=send_then("reset", 100)), files={"a": bytes(200)})
    notice = jobs.download("a", local / "a")
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (56, 4)
    assert len(server.sessions) == 5
    assert [log.count(RETRY.format("16, 56", retry)) for retry in range(1, 6)] == [1] * 5
    # A download that finally failed keeps what its last try got.
    assert (local / "a").read_bytes() == bytes(100)


def test_a_retry_waits_five_seconds(daemon, scripted, jobs, local):
    server = scripted(Plan(greeting=HangUp), Plan(), files={"a": b"1"})
    begin = time.monotonic()
    jobs.download("a", local / "a")
    assert len(server.sessions) == 2
    assert 4.9 < time.monotonic() - begin < 7 + HELD_UP_S


FOR_GOOD = {
    "partial": Plan(announced_size=500),
    "451": Plan(closing="451 no"),
    "550": Plan(replies={"RETR": "550 gone"}),
    "530": Plan(replies={"PASS": "530 no"}),
    "PASV": Plan(replies={"PASV": "500 no"}),
}


def test_other_failures_are_not_tried_again(fast_daemon, scripted, jobs, log, local):
    server = scripted(*FOR_GOOD.values(), files={"a": b"1"})
    for number, failure in enumerate(FOR_GOOD, 1):
        notice = jobs.download("a", local / "a")
        assert (notice.outcome, notice.exec_info.retry_count) == ((1, wire.NETWORK), 0), failure
        assert len(server.sessions) == number, failure
    assert log.count(r"1364") == 0


def test_a_long_try_that_moved_data_is_not_repeated(fast_daemon, scripted, jobs, log, local):
    """More than 120 seconds, then broken: the limit is 60 and 60 more."""

    def crawl(session, data):
        for _ in range(14):  # 140 of the daemon's seconds
            data.recv(65536)
            session.server.closing.wait(10 / SPEED)
        return take_then("reset", 1)(session, data)

    server = scripted(Plan(take=crawl))
    notice = jobs.upload(large_file(local), "a")
    assert (notice.outcome, notice.exec_info.curl_code) == ((1, wire.NETWORK), 55)
    refusal = r"^error: curl_func\(1248\): Retry is not allowed\. \(last elapsed time: (\d+) > retry time limit: 120\)\n$"
    elapsed_s = int(re.search(refusal, log.wait_for(refusal).text)[1])
    assert 120 < elapsed_s <= notice.exec_info.elapsed_time
    assert len(server.sessions) == 1


def test_a_stalling_upload_is_tried_five_times_with_growing_limits(unstarted, scripted, jobs, log, local):
    unstarted.start(speed=100)
    server = scripted(Plan(take=take_then("stall", 1000)))
    # 60, 120, 240, 480 and 960 seconds.
    notice = jobs.upload(large_file(local), "a")
    assert notice.outcome == (1, wire.TIMEOUT)
    assert (notice.exec_info.curl_code, notice.exec_info.retry_count) == (42, 4)
    assert [log.count(LIMITS.format(limit_s)) for limit_s in (120, 240, 480, 960)] == [1] * 4
    assert len(server.sessions) == 5


def test_a_retried_resume_appends_the_file_from_its_beginning(fast_daemon, scripted, jobs, local):
    content = bytes(range(256)) * (16 * MIB // 256)
    (local / "a").write_bytes(content)
    listing = f"-rw-r--r--    1 alice    alice    {MIB} Nov 20 09:18 a\r\n".encode()
    server = scripted(Plan(listing=listing), Plan(take=take_then("reset", 100_000)), Plan())
    jobs.file_info("a")
    jobs.upload(local / "a", "a", resume=1)
    (verb, name, first), (verb_again, name_again, second) = server.stored[-2:]
    assert (verb, name) == (verb_again, name_again) == ("APPE", "a")
    assert content[MIB:].startswith(first)
    assert content.startswith(second) and len(second) > 0


def test_a_stall_is_seen_in_a_retry_that_has_moved_less_than_the_first_try(fast_daemon, scripted, jobs, log, local):
    scripted(Plan(take=take_then("reset", 16 * MIB)), Plan(take=take_then("stall", 1000)), Plan())
    notice = jobs.upload(large_file(local), "a")
    assert (notice.outcome, notice.exec_info.retry_count) == ((0, 0), 2)
    log.wait_for(RETRY.format("16, 55", 1))
    log.wait_for(RETRY.format("14, 42", 2))
