"""Cancelling Zixi uploads, and ending the daemon in the middle of one."""

import signal
import time

import pytest

from harness import client, feeder, wire
from harness.feeder import FOLDER, make_file
from harness.waiting import HELD_UP_S, wait_until

CANCELED = "zixi_func(756): Zixi Upload : canceled.\n"
DONE = "zixi_func(784): Zixi FTP Done.\n"
NETWORK = "error: zixi_func(502): FTPCD_ERR_NETWORK\n"
PERIOD_S = 1.0  # between two looks at the progress
PASS_S = 0.1  # of the daemon's loop, and of the cancel's own look
SLOW = 0.2  # a clock with five true seconds between two looks: time for a test that is held up
CANCELED_S = (PERIOD_S + 2 * PASS_S) / SLOW + HELD_UP_S


def start_slow_upload(daemon, network_manager, local, speed=1, **knobs):
    feeder.start(daemon, network_manager, **({"rate": 10000, "speed": speed} | knobs))
    make_file(local / "a", 10000000)
    assert feeder.upload(local / "a", "d/a") == (0, 0)


def cancel_s(result=wire.CANCELED):
    """How long the cancel took. result: what the cancelled job is left with."""
    begin = time.monotonic()
    assert client.cancel() == (0, 0, 2)
    taken_s = time.monotonic() - begin
    assert client.state()[:6] == (0, 0, 0, 2, result, 1)
    return taken_s


def nothing_but_the_next_job_is_announced(network_manager, local):
    """Notices keep their order: when the next job's has come, no earlier one is on its way."""
    make_file(local / "next", 10)
    assert feeder.upload(local / "next", "next") == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.exec_info[:2] == (10, 10)
    assert [notice.code for notice in network_manager.notices] == [3, 1]
    assert notice.outcome == (0, 0)


@pytest.mark.parametrize("looks", [0, 1, 2], ids=["before_the_first_look", "after_1", "after_2"])
def test_a_running_upload_is_cancelled_within_a_period(
    unstarted, network_manager, log, local, looks
):
    start_slow_upload(unstarted, network_manager, local, speed=SLOW)
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
    nothing_but_the_next_job_is_announced(network_manager, local)


def test_an_upload_that_is_whole_but_not_looked_at_yet_can_be_cancelled(
    unstarted, network_manager, log, local
):
    feeder.start(unstarted, network_manager, speed=SLOW)
    make_file(local / "a", 10)
    feeder.upload(local / "a", "a")
    wait_until(lambda: (FOLDER / "a").exists(), "the whole file at the server")
    assert cancel_s() < CANCELED_S
    assert [sample.percent for sample in feeder.samples(log)] == [100]
    assert feeder.said(log) == [CANCELED, DONE]
    nothing_but_the_next_job_is_announced(network_manager, local)


def test_a_cancel_between_attempts_takes_effect_in_the_upload_that_follows(
    unstarted, network_manager, log, local
):
    """The flag is looked at with the progress, nowhere else."""
    start_slow_upload(unstarted, network_manager, local, speed=0.5, fail="zixi_upload_file:-21:3")
    log.wait_for(r"zixi_func\(623\)")
    cancel_s()
    refused = [
        "error: zixi_func(623): Error starting upload. err=-21\n",
        "error: zixi_func(1170): ZIXI_ERROR_FILE_REMOTE(-21) \n",
    ]
    assert feeder.said(log) == [*refused * 3, CANCELED, DONE]
    assert len(feeder.samples(log)) == 1
    assert client.state().exec_info.zixi_error == 0
    assert feeder.stored() == {}
    nothing_but_the_next_job_is_announced(network_manager, local)


def test_a_cancel_of_attempts_that_all_fail_sends_no_notice(
    unstarted, network_manager, log, local
):
    """It waits for the last of them, which leaves the job with 16."""
    start_slow_upload(unstarted, network_manager, local, speed=0.5, fail="zixi_upload_file:3:5")
    log.wait_for(r"zixi_func\(623\)")
    cancel_s(result=wire.NETWORK)
    assert log.count(r"zixi_func\(623\)") == 5
    assert log.count(r"zixi_func\(756\)") == 0
    assert feeder.signed(client.state().exec_info.zixi_error) == 3
    nothing_but_the_next_job_is_announced(network_manager, local)


def test_a_connection_lost_after_the_cancel_leaves_16_and_sends_no_notice(
    unstarted, network_manager, log, local
):
    start_slow_upload(
        unstarted, network_manager, local, speed=SLOW, fail="zixi_get_upload_progress:-17:1:1"
    )
    log.wait_for(r"^zixi_func\(731\)")
    assert cancel_s(result=wire.NETWORK) < CANCELED_S
    assert log.count(r"zixi_func\(756\)") == 0
    nothing_but_the_next_job_is_announced(network_manager, local)


def test_a_failing_end_leaves_a_cancelled_upload_cancelled(unstarted, network_manager, log, local):
    start_slow_upload(
        unstarted, network_manager, local, speed=10, fail="zixi_close_stream:-1:1"
    )
    cancel_s()
    assert feeder.said(log) == [
        CANCELED,
        "error: zixi_func(781): Error closing upload.\n",
        "error: zixi_func(1170): ZIXI_ERROR_FAILED(-1) \n",
        DONE,
    ]
    nothing_but_the_next_job_is_announced(network_manager, local)


def test_a_cancel_clears_the_librarys_error_of_a_job_before(unstarted, network_manager, log, local):
    feeder.start(
        unstarted, network_manager, speed=10, rate=10000, fail="zixi_upload_file:-17:1"
    )
    make_file(local / "a", 10000000)
    feeder.upload(local / "a", "a")
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (1, wire.NETWORK)
    feeder.upload(local / "a", "a")
    cancel_s()
    assert client.state().exec_info.zixi_error == 0


def test_a_cancel_of_an_idle_engine_is_refused_with_2(unstarted, network_manager, log, local):
    feeder.start(unstarted, network_manager)
    make_file(local / "a", 10)
    refused = "error: ftp_clientd(515): curlf_cancel(): Failed(2)\n"
    feeder.upload(local / "a", "a")
    network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert client.cancel() == (1, 2, 2)
    assert feeder.said(log) == [DONE, refused]
    assert client.state()[:6] == (0, 0, 0, 2, 0, 1)
    feeder.file_info()
    network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert client.cancel() == (1, 2, 3)
    # The mark that it leaves is gone with the next start.
    feeder.upload(local / "a", "a")
    assert network_manager.wait_for(wire.NOTICE_UPLOAD, times=2).outcome == (0, 0)
    assert client.state().cancel == 0


@pytest.mark.parametrize(
    "number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP], ids=["INT", "TERM", "HUP"]
)
def test_a_signal_in_the_middle_of_an_upload_ends_with_status_0_at_once(
    unstarted, network_manager, log, local, number
):
    start_slow_upload(unstarted, network_manager, local)
    log.wait_for(r"^zixi_func\(731\)")
    before = feeder.said(log)
    begin = time.monotonic()
    assert unstarted.stop(number) == 0
    assert time.monotonic() - begin < 2 + HELD_UP_S
    assert feeder.said(log) == before == []
    assert [notice.code for notice in network_manager.notices] == [wire.NOTICE_STARTED]
    assert not (FOLDER / "d" / "a").exists()


def test_a_signal_between_attempts_ends_with_status_0_at_once(
    unstarted, network_manager, log, local
):
    start_slow_upload(unstarted, network_manager, local, fail="zixi_upload_file:3")
    log.wait_for(r"zixi_func\(623\)")
    begin = time.monotonic()
    assert unstarted.stop() == 0
    assert time.monotonic() - begin < 2 + HELD_UP_S


@pytest.mark.timeout(200)
def test_ending_in_the_middle_of_an_upload_never_crashes(
    unstarted, network_manager, log, console, local
):
    """Each time a little later in the transfer: library and engine run on threads of their own."""
    make_file(local / "a", 10000000)
    for ending in range(15):
        unstarted.launch(ZIXI_FEEDER_DIR=str(FOLDER), speed=20)
        unstarted.find()
        network_manager.wait_for(wire.NOTICE_STARTED, times=ending + 1)
        assert feeder.upload(local / "a", "a") == (0, 0)
        time.sleep(ending / 100)  # not a wait: spreads the moments of the signal
        assert unstarted.stop() == 0
    assert "runtime error:" not in console.text
