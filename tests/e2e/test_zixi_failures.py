"""Zixi uploads that fail: at each call of the library, and for a real server's reasons."""

import time

import pytest

from harness import client, feeder, wire
from harness.feeder import DONE, FOLDER, NETWORK, closing, for_good, given_up, make_file, named, not_started
from harness.waiting import HELD_UP_S, wait_until

FAILED = (1, wire.NETWORK)
ATTEMPTS = 5


def set_up(number, what, code):
    return [f"error: zixi_func({number}): Error {what}. err={code}\n", named(code)]


def uploading(code):
    return ["error: zixi_func(700): Error uploading.\n", named(code)]


# calls of the library that fail: (what is logged, (result, detail), the library's error)
AT_EACH_CALL = {
    "zixi_configure_logging:-13": ([*set_up(557, "configuring logging", -13), NETWORK], FAILED, -13),
    # Each attempt prepares again.
    "zixi_upload_file:-21:1,zixi_prepare_configuration:3:1:1": (
        [*not_started(-21), *set_up(588, "preparing configuration", 3), NETWORK],
        FAILED,
        3,
    ),
    "zixi_get_upload_progress:-17,zixi_close_stream:-1": (
        [*uploading(-17), *closing(-1), DONE, NETWORK],
        FAILED,
        -17,
    ),
    # A failing close alone does not fail the job.
    "zixi_close_stream:-1": ([*closing(-1), DONE], (0, 0), 0),
}


@pytest.mark.parametrize("fail", AT_EACH_CALL)
def test_a_failing_call_is_logged_by_name_and_reported(feed, jobs, log, local, fail):
    lines, outcome, error = AT_EACH_CALL[fail]
    feed(fail=fail)
    notice = jobs.zixi_upload(make_file(local / "a", 1000), "a")
    assert feeder.said(log) == lines
    assert notice.outcome == outcome
    assert feeder.signed(notice.exec_info.zixi_error) == error
    assert notice.codes == (0, 3, 0, 0)
    assert client.state()[:6] == (0, 0, 0, 2, outcome[1], 0)


def test_the_second_between_attempts_is_a_real_one(feed, network_manager, log, local):
    feed(speed=1, fail="zixi_upload_file:-21:1")
    make_file(local / "a", 1000)
    begin = time.monotonic()
    feeder.upload(local / "a", "a")
    log.wait_for(r"zixi_func\(623\)")
    wait_until(feeder.stored, "the second attempt")
    assert 1 <= time.monotonic() - begin < 2 + HELD_UP_S
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)


def test_a_lost_connection_ends_the_upload_with_16(feed, jobs, log, local):
    feed(rate=1000, fail="zixi_get_upload_progress:-17:1:3")
    notice = jobs.zixi_upload(make_file(local / "a", 100000), "a")
    assert notice.outcome == FAILED
    assert feeder.signed(notice.exec_info.zixi_error) == -17
    assert notice.exec_info.total_size == 100000
    assert 0 < notice.exec_info.transferred_size < 100000
    assert notice.exec_info.elapsed_time >= 3
    assert len(feeder.samples(log)) == 3
    assert feeder.said(log) == [*uploading(-17), DONE, NETWORK]
    assert feeder.stored() == {}
    # The stream was closed, so the next upload works.
    assert jobs.zixi_upload(make_file(local / "b", 10), "b").outcome == (0, 0)


# local path, remote path, the library's error, attempts
NOT_TO_BE_DONE = {
    "no-such-file": ("missing", "a", -20, 1),
    "a-folder": ("", "a", -20, 1),
    "a-way-out": ("a", "../../a/b", -19, 1),
    "below-a-file": ("a", "taken/a", -21, ATTEMPTS),
}


@pytest.mark.parametrize("name, remote_path, code, attempts", NOT_TO_BE_DONE.values(), ids=NOT_TO_BE_DONE)
def test_what_cannot_be_read_or_stored_fails_with_16(feed, jobs, log, local, name, remote_path, code, attempts):
    feed()
    make_file(local / "a", 10)
    FOLDER.mkdir()
    (FOLDER / "taken").write_bytes(b"")
    notice = jobs.zixi_upload(local / name, remote_path)
    assert notice.outcome == FAILED
    assert feeder.signed(notice.exec_info.zixi_error) == code
    assert feeder.said(log) == [*not_started(code) * attempts, given_up(code), NETWORK]


def test_a_library_without_server_fails_the_job_with_16(feed, jobs, log, local):
    feed(dir="")
    assert jobs.zixi_upload(make_file(local / "a", 10), "a").outcome == FAILED
    assert feeder.said(log) == for_good(-4)
