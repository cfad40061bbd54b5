"""Cancelling Zixi uploads, and ending the daemon during one."""

import signal
import time

import pytest

from harness import client, feeder, wire
from harness.feeder import DONE, FOLDER, make_file, not_started
from harness.waiting import HELD_UP_S, within

CANCELED = "zixi_func(756): Zixi Upload : canceled.\n"
PERIOD_S = 1.0  # between two looks at the progress
PASS_S = 0.1  # of the daemon's loop, and of the cancel's own look
SLOW = 0.2  # a clock with five true seconds between two looks: time for a test that is held up
CANCELED_S = (PERIOD_S + 2 * PASS_S) / SLOW + HELD_UP_S


@pytest.fixture
def start_slow_upload(feed, local):
    """Starts the daemon as well."""

    def start(speed=1, **knobs):
        daemon = feed(rate=10000, speed=speed, **knobs)
        make_file(local / "a", 10000000)
        assert feeder.upload(local / "a", "d/a") == (0, 0)
        return daemon

    return start


def cancel_s():
    """The duration of the cancel."""
    begin = time.monotonic()
    assert client.cancel() == (0, 0, 2)
    taken_s = time.monotonic() - begin
    assert client.state()[:6] == (0, 0, 0, 2, wire.CANCELED, 1)
    return taken_s


@pytest.fixture
def only_the_next_job_is_announced(jobs, network_manager, local):
    """A function. Notices keep their order: after that of the next job, none of an earlier job can come."""

    def play():
        notice = jobs.zixi_upload(make_file(local / "next", 10), "next")
        assert (notice.outcome, notice.sizes) == ((0, 0), (10, 10))
        assert network_manager.codes == [3, 1]

    return play


@pytest.mark.parametrize("looks", [0, 1, 2], ids=["before_the_first_look", "after_1", "after_2"])
def test_a_running_upload_is_cancelled_within_a_period(
    start_slow_upload, only_the_next_job_is_announced, log, local, looks
):
    start_slow_upload(speed=SLOW)
    if looks:
        log.wait_for(r"^zixi_func\(731\)", looks)
    assert cancel_s() < CANCELED_S
    assert len(feeder.samples(log)) == looks + 1
    assert feeder.said(log) == [CANCELED, DONE]
    exec_info = client.state().exec_info
    assert exec_info.total_size == 10000000
    assert 0 < exec_info.transferred_size < 10000000
    assert exec_info[3:] == (0, 0, 3, 0, 0)
    assert feeder.stored() == {}
    assert (local / "a").stat().st_size == 10000000
    only_the_next_job_is_announced()


def test_a_cancel_between_attempts_takes_effect_in_the_next_upload(
    start_slow_upload, only_the_next_job_is_announced, log
):
    """The flag is only checked with the progress."""
    start_slow_upload(speed=0.5, fail="zixi_upload_file:-21:3")
    log.wait_for(r"zixi_func\(623\)")
    cancel_s()
    assert feeder.said(log) == [*not_started(-21) * 3, CANCELED, DONE]
    assert len(feeder.samples(log)) == 1
    assert client.state().exec_info.zixi_error == 0
    assert feeder.stored() == {}
    only_the_next_job_is_announced()


def test_a_cancel_of_an_idle_engine_is_refused_with_2(feed, jobs, log, local):
    feed()
    jobs.zixi_upload(make_file(local / "a", 10), "a")
    assert client.cancel() == (1, 2, 2)
    assert feeder.said(log) == [DONE, "error: ftp_clientd(515): curlf_cancel(): Failed(2)\n"]
    assert client.state()[:6] == (0, 0, 0, 2, 0, 1)
    jobs.zixi_file_info()
    assert client.cancel() == (1, 2, 3)
    # The next start clears its flag.
    assert jobs.zixi_upload(local / "a", "a").outcome == (0, 0)
    assert client.state().cancel == 0


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP], ids=["INT", "TERM", "HUP"])
def test_a_signal_in_the_middle_of_an_upload_ends_with_status_0_at_once(
    start_slow_upload, network_manager, log, number
):
    daemon = start_slow_upload()
    log.wait_for(r"^zixi_func\(731\)")
    before = feeder.said(log)
    with within(2 + HELD_UP_S):
        assert daemon.stop(number) == 0
    assert feeder.said(log) == before == []
    assert network_manager.codes == [wire.NOTICE_STARTED]
    assert not (FOLDER / "d" / "a").exists()


def test_a_signal_between_attempts_ends_with_status_0_at_once(start_slow_upload, log):
    daemon = start_slow_upload(fail="zixi_upload_file:3")
    log.wait_for(r"zixi_func\(623\)")
    with within(2 + HELD_UP_S):
        assert daemon.stop() == 0


@pytest.mark.timeout(200)
def test_ending_in_the_middle_of_an_upload_never_crashes(endings, local):
    """Each time a little later in the transfer; library and engine run on their own threads."""
    make_file(local / "a", 10000000)
    for ending in endings(15, speed=20, **feeder.knobs()):
        assert feeder.upload(local / "a", "a") == (0, 0)
        time.sleep(ending / 100)  # varies the moment of the signal
