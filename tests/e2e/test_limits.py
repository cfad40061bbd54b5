"""Time limits, with the daemon's clock running 10 times faster."""

import re
import time

import pytest

from harness import client, wire
from harness.daemon import LATE_S, SPEED
from harness.scripted import Plan, Silence, send_pieces, send_then
from harness.waiting import HELD_UP_S

RETR_SILENT = Plan(replies={"RETR": Silence})
LONGER_S = 120  # the next limit after 60 s, and more than a machine that is held up adds to that


def run(network_manager, local, **fields):
    """(notice, how many of the daemon's seconds it took)"""
    begin = time.monotonic()
    assert client.download("a", local / "a", **fields) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, deadline_s=60)
    return notice, (time.monotonic() - begin) * SPEED


@pytest.mark.parametrize(
    "plan",
    [RETR_SILENT, Plan(send=send_then("stall", 0)), Plan(send=send_then("stall", 100))],
    ids=["before-data", "connected", "mid-data"],
)
def test_nothing_moving_for_sixty_seconds_ends_a_download_with_14(
    fast_daemon, scripted, network_manager, log, local, plan
):
    scripted(plan, files={"a": bytes(200)})
    notice, taken_s = run(network_manager, local)
    assert notice.outcome == (1, wire.TIMEOUT)
    assert notice.exec_info.curl_code == 42
    assert 60 <= notice.exec_info.elapsed_time < LONGER_S
    assert 58 < taken_s < LONGER_S
    timeout = r"^error: curl_func\(1619\): Timeout has occurred: \[elapsed_time\] (\d+), \[last_updated_time\] (\d+)\n$"
    elapsed_s, updated_s = map(int, re.search(timeout, log.wait_for(timeout).text).groups())
    assert 60 <= elapsed_s - updated_s and elapsed_s <= notice.exec_info.elapsed_time


def test_a_download_that_was_given_up_keeps_what_it_got(
    fast_daemon, scripted, network_manager, local
):
    scripted(Plan(send=send_then("stall", 100)), files={"a": bytes(range(200))})
    run(network_manager, local)
    assert (local / "a").read_bytes() == bytes(range(100))


@pytest.mark.parametrize(
    "plan",
    [
        Plan(greeting=Silence),
        Plan(replies={"USER": Silence}),
        Plan(replies={"PASS": Silence}),
        Plan(replies={"PWD": Silence}),
    ],
    ids=["greeting", "USER", "PASS", "PWD"],
)
def test_a_server_silent_before_the_login_is_done_is_given_up_after_sixty_seconds(
    fast_daemon, scripted, network_manager, local, plan
):
    scripted(plan)
    notice, taken_s = run(network_manager, local)
    # Which of two limits sees it first is a matter of chance.
    assert notice.outcome in ((1, wire.TIMEOUT), (1, wire.NETWORK))
    assert notice.exec_info.curl_code in (28, 42)
    assert 58 < taken_s < LONGER_S


def test_slow_but_steady_is_not_given_up(fast_daemon, scripted, network_manager, local):
    """Eight bytes, ten of the daemon's seconds apart."""
    scripted(Plan(send=send_pieces(1, pause_s=10 / SPEED)), files={"a": b"abcdefgh"})
    notice, taken_s = run(network_manager, local)
    assert notice.outcome == (0, 0)
    assert taken_s > 70
    assert (local / "a").read_bytes() == b"abcdefgh"


def test_a_missing_last_reply_ends_with_28_after_sixty_seconds(
    fast_daemon, scripted, network_manager, local
):
    """All bytes have come, so this is not inactivity."""
    scripted(Plan(closing=Silence), files={"a": b"abc"})
    notice, taken_s = run(network_manager, local)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 28
    assert 58 < taken_s < LONGER_S
    assert (local / "a").read_bytes() == b"abc"


def test_an_active_data_connection_that_never_comes_is_given_up(
    fast_daemon, scripted, network_manager, local
):
    scripted(Plan(replies={"RETR": "150 coming"}), files={"a": b"abc"})
    notice, taken_s = run(network_manager, local, passive_mode=0)
    # libcurl's own limit of sixty seconds for the accept, or the inactivity of sixty seconds.
    assert (notice.outcome[1], notice.exec_info.curl_code) in (
        (wire.NETWORK, 12),
        (wire.TIMEOUT, 42),
    )
    assert 58 < taken_s < LONGER_S


def test_a_server_that_does_not_answer_quit_holds_the_job_two_seconds_only(
    daemon, scripted, network_manager, local
):
    scripted(Plan(replies={"QUIT": Silence}), files={"a": b"abc"})
    begin = time.monotonic()
    client.download("a", local / "a")
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (0, 0)
    assert time.monotonic() - begin < 3 + HELD_UP_S


def test_file_information_has_no_inactivity_limit_but_one_for_the_whole(
    fast_daemon, scripted, network_manager, local
):
    """A listing that stalls is ended after 180 seconds, and tried again; the second try works."""
    line = b"-rw-r--r--    1 alice    alice          12 Nov 20 09:18 a\r\n"
    server = scripted(Plan(listing=line, send=send_then("stall", 10)), Plan(listing=line))
    begin = time.monotonic()
    client.file_info("a")
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.retry_count == 1
    assert len(server.sessions) == 2
    # With the five seconds of the pause before a retry.
    assert 184 < (time.monotonic() - begin) * SPEED < 200 + LATE_S
    assert client.get_file_info()[2:5] == (1, 1, 12)
