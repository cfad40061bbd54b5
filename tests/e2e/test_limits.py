"""Time limits, with the daemon's clock running 10 times faster."""

import re
import time

import pytest

from harness import wire
from harness.daemon import SPEED
from harness.scripted import Plan, Silence, send_pieces, send_then
from harness.waiting import HELD_UP_S

LONGER_S = 120  # the next limit after 60 s, and more than a machine that is held up adds to that
NETWORK, TIMEOUT = (1, wire.NETWORK), (1, wire.TIMEOUT)


@pytest.fixture
def run(jobs, local):
    """A function that runs a download: (notice, how many of the fast daemon's seconds it took)."""

    def download(**fields):
        begin = time.monotonic()
        notice = jobs.download("a", local / "a", **fields)
        return notice, (time.monotonic() - begin) * SPEED

    return download


INACTIVE = {
    "before-data": (Plan(replies={"RETR": Silence}), 0),
    "connected": (Plan(send=send_then("stall", 0)), 0),
    "mid-data": (Plan(send=send_then("stall", 100)), 100),
}


@pytest.mark.parametrize("plan, arrived", INACTIVE.values(), ids=INACTIVE)
def test_nothing_moving_for_sixty_seconds_ends_a_download_with_14(
    fast_daemon, scripted, run, log, local, plan, arrived
):
    scripted(plan, files={"a": bytes(range(200))})
    notice, taken_s = run()
    assert (notice.outcome, notice.exec_info.curl_code) == (TIMEOUT, 42)
    assert 60 <= notice.exec_info.elapsed_time < LONGER_S
    assert 58 < taken_s < LONGER_S
    timeout = r"^error: curl_func\(1619\): Timeout has occurred: \[elapsed_time\] (\d+), \[last_updated_time\] (\d+)\n$"
    elapsed_s, updated_s = map(int, re.search(timeout, log.wait_for(timeout).text).groups())
    assert 60 <= elapsed_s - updated_s and elapsed_s <= notice.exec_info.elapsed_time
    assert (local / "a").read_bytes() == bytes(range(arrived))  # the part that arrived is kept


# {where it stalls: (how, passive mode, possible outcomes with libcurl's codes, what is stored)}
GIVEN_UP = {
    # Either of two limits may be reached first.
    **{
        verb: (plan, 1, [(TIMEOUT, 28), (NETWORK, 28), (TIMEOUT, 42), (NETWORK, 42)], b"")
        for verb, plan in [("greeting", Plan(greeting=Silence))]
        + [(verb, Plan(replies={verb: Silence})) for verb in ("USER", "PASS", "PWD")]
    },
    # All bytes have arrived, so this is not inactivity.
    "226": (Plan(closing=Silence), 1, [(NETWORK, 28)], b"abc"),
    # Either libcurl's limit of 60 s for the accept or that of 60 s for inactivity.
    "no-active-connection": (Plan(replies={"RETR": "150 coming"}), 0, [(NETWORK, 12), (TIMEOUT, 42)], b""),
}


@pytest.mark.parametrize("plan, passive_mode, endings, stored", GIVEN_UP.values(), ids=GIVEN_UP)
def test_a_silent_server_is_given_up_after_sixty_seconds(
    fast_daemon, scripted, run, local, plan, passive_mode, endings, stored
):
    scripted(plan, files={"a": b"abc"})
    notice, taken_s = run(passive_mode=passive_mode)
    assert (notice.outcome, notice.exec_info.curl_code) in endings
    assert 58 < taken_s < LONGER_S
    assert (local / "a").read_bytes() == stored


def test_slow_but_steady_is_not_given_up(fast_daemon, scripted, run, local):
    """Eight bytes, one every ten of the daemon's seconds."""
    scripted(Plan(send=send_pieces(1, pause_s=10 / SPEED)), files={"a": b"abcdefgh"})
    notice, taken_s = run()
    assert notice.outcome == (0, 0)
    assert taken_s > 70
    assert (local / "a").read_bytes() == b"abcdefgh"


def test_a_server_that_does_not_answer_quit_holds_the_job_two_seconds_only(daemon, scripted, run):
    scripted(Plan(replies={"QUIT": Silence}), files={"a": b"abc"})
    notice, taken_s = run()
    assert notice.outcome == (0, 0)
    assert taken_s / SPEED < 3 + HELD_UP_S  # this daemon's clock is the real one
