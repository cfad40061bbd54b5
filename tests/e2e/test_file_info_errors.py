"""File information when the server refuses, breaks off, stalls or never ends."""

import time

import pytest

from harness import client, wire
from harness.content import MIB
from harness.daemon import SPEED
from harness.pieces import send_cut
from harness.scripted import HangUp, Plan, Reset, Silence, send_then
from harness.waiting import HELD_UP_S, wait_until, within

LINE = "-rw-r--r--   1 user group   {} Jan 15  2012 {}\r\n"
LISTING = (LINE.format(5, "a") + LINE.format(6, "b")).encode()
FIRST_LINE_BYTES = LISTING.index(b"\n") + 1

STALLED = Plan(send=send_then("stall", FIRST_LINE_BYTES + 10), listing=LISTING)
RETRY = r"^error: curl_func\(1364\): curl_perform\({}\) \.\.\. retry\({}\)\n$"

# looked_up, exists
FOUND, ABSENT, UNKNOWN = (1, 1), (1, 0), (0, 0)


@pytest.fixture
def failed(jobs):
    """A function for a look-up that must fail with a network error: returns (libcurl's code, response code, tries)."""

    def look_up(remote_path="a"):
        notice = jobs.file_info(remote_path)
        assert notice.head == (10, 2, 1, 56, 0)
        assert notice.outcome == (1, wire.NETWORK)
        done = notice.exec_info
        return done.curl_code, done.response_code, done.retry_count + 1

    return look_up


def told():
    """looked_up, exists and size"""
    information = client.get_file_info()
    return (information.looked_up, information.exists), information.size


REFUSALS = [
    ("USER", "530 no", 67, 530),
    ("PASS", "530 no", 67, 530),
    ("PASV", "500 no", 13, 500),
    ("TYPE", "500 no", 17, 500),
    ("LIST", "550 no", 19, 550),
    ("LIST", "425 no", 19, 425),
]


def test_a_refusal_is_a_network_error_and_not_tried_again(daemon, scripted, failed):
    server = scripted(*(Plan(replies={verb: reply}, listing=LISTING) for verb, reply, _, _ in REFUSALS))
    for number, (verb, _, curl_code, response_code) in enumerate(REFUSALS, 1):
        assert failed() == (curl_code, response_code, 1), verb
        assert told() == (UNKNOWN, 0)
        assert len(server.sessions) == number


# The folder is missing, or a server's way to say that no file exists.
ABSENCES = [
    ("CWD", "550 no", 9),
    ("CWD", "530 no", 9),
    ("CWD", "451 no", 9),
    ("LIST", "450 no", 78),
]


def test_a_refusal_that_means_absence_is_a_successful_answer(daemon, scripted, look, log):
    scripted(*(Plan(replies={verb: reply}, listing=LISTING) for verb, reply, _ in ABSENCES))
    for verb, reply, _ in ABSENCES:
        look("d/a")
        assert told() == (ABSENT, 0), (verb, reply)
    ignored = [text for text in log.texts if text.startswith("curl_func(905)")]
    assert ignored == [f"curl_func(905): Ignore error({code})\n" for _, _, code in ABSENCES]


BROKEN = {
    "data": Plan(send=send_then("reset", FIRST_LINE_BYTES + 10), listing=LISTING),
    "before-the-last-reply": Plan(closing=HangUp, listing=LISTING),
    "instead-of-the-last-reply": Plan(closing=Reset, listing=LISTING),
    "before-the-listing": Plan(replies={"LIST": Reset}),
}


@pytest.mark.parametrize("where", BROKEN)
def test_a_broken_connection_is_made_again(fast_daemon, scripted, look, log, where):
    server = scripted(BROKEN[where], Plan(listing=LISTING))
    assert look("b").size == 6
    assert client.state().exec_info.retry_count == 1
    log.wait_for(RETRY.format("16, 56", 1))
    assert len(server.sessions) == 2


def test_a_connection_that_always_breaks_is_given_up_after_five_tries(fast_daemon, scripted, failed, log):
    server = scripted(BROKEN["data"])
    assert failed("b") == (56, 150, 5)
    assert told() == (UNKNOWN, 0)
    assert len(server.sessions) == 5
    assert log.count(RETRY.format("16, 56", r"\d")) == 5


def test_what_was_found_is_kept_when_the_listing_fails_later(daemon, scripted, failed):
    server = scripted(Plan(closing="426 broken off", listing=LISTING))
    assert failed() == (18, 426, 1)
    assert told() == (FOUND, 5)
    assert len(server.sessions) == 1


def test_each_stalled_listing_doubles_the_time_limit(unstarted, scripted, look, log):
    speed = 30
    unstarted.start(speed=speed)
    server = scripted(STALLED, STALLED, Plan(listing=LISTING))
    begin = time.monotonic()
    assert look("b").size == 6
    assert len(server.sessions) == 3
    # 180 and 360 seconds, and 5 before each retry; a third limit would be 720.
    assert 548 < (time.monotonic() - begin) * speed < 720
    for limit_s in (360, 720):
        line = rf"^curl_func\(1283\): \[connection_limit\] 0, \[operation_limit\] {limit_s}\n$"
        assert log.count(line) == 1
    assert log.count(RETRY.format("16, 28", "[12]")) == 2


def test_a_server_that_falls_silent_is_asked_again(fast_daemon, scripted, look):
    """libcurl itself waits 120 seconds for a reply."""
    server = scripted(Plan(replies={"LIST": Silence}), Plan(listing=LISTING))
    begin = time.monotonic()
    assert look("b").size == 6
    assert len(server.sessions) == 2
    # With 5 seconds before the second try. The limit of the whole operation would be 180.
    assert 124 < (time.monotonic() - begin) * SPEED < 180


class ForEver:
    """An endless sender: the listing, then that piece again and again."""

    def __init__(self, piece):
        self._piece = piece
        self.sent_bytes = 0

    def __call__(self, session, data, content):
        data.sendall(content)
        while not session.server.closing.is_set():
            data.sendall(self._piece)
            self.sent_bytes += len(self._piece)


def test_a_line_without_an_end_fails_only_the_job(daemon, scripted, look, failed, log):
    server = scripted(Plan(send=ForEver(b"x" * 16384), listing=LISTING), Plan(listing=LISTING))
    before_kib = daemon.resident_kib()
    curl_code, _, tries = failed("c")
    assert (curl_code, tries) == (23, 1)
    assert daemon.grew_less_than(8192, before_kib)
    assert told() == (UNKNOWN, 0)
    log.wait_for(r"^error: curl_wrapper\(2458\): dynamic_buffer_realloc\(\): Failed\n$")
    log.wait_for(r"^error: curl_wrapper\(2214\): add_list_data\(\): Failed\n$")
    assert look("b").size == 6
    assert len(server.sessions) == 2


@pytest.mark.parametrize("unfinished_bytes", [MIB, MIB + 1])
def test_a_line_may_grow_to_a_mebibyte(daemon, scripted, look, failed, unfinished_bytes):
    long = LINE.format(7, "")[:-2].encode().ljust(unfinished_bytes, b"n")
    scripted(Plan(send=send_cut([MIB - 1, unfinished_bytes]), listing=long + b"\r\n" + LISTING))
    if unfinished_bytes == MIB:
        assert look("b").size == 6
    else:
        assert failed("b")[0] == 23


def is_cancelled():
    with within(3 + HELD_UP_S):
        assert client.cancel() == (0, 0, 3)


def test_an_endless_listing_is_cancelled_within_three_seconds(daemon, scripted, network_manager, log):
    send = ForEver(LINE.format(9, "other").encode() * 1000)
    scripted(Plan(send=send, listing=LISTING))
    client.file_info("a")
    log.wait_for(r"^curl_func\(1778\): a, size: 5\n$")
    before_kib = daemon.resident_kib()
    wait_until(lambda: send.sent_bytes > 32 * MIB, "32 MiB of listing")
    assert daemon.grew_less_than(4096, before_kib)
    is_cancelled()
    state = client.state()
    assert state[:6] == (0, 0, 0, 3, wire.CANCELED, 1)
    assert state.exec_info.curl_code == 42
    # It was found before.
    assert told() == (FOUND, 5)
    assert not network_manager.of_code(wire.NOTICE_FILE_INFO)


def test_a_stalled_listing_is_cancelled_within_three_seconds(daemon, scripted):
    server = scripted(STALLED)
    client.file_info("b")
    server.stalled.wait(30)
    is_cancelled()
    assert told() == (UNKNOWN, 0)


def test_during_a_look_up_other_jobs_are_refused(
    daemon, scripted, network_manager, log, local
):
    (local / "a").write_bytes(b"x")
    server = scripted(Plan(listing=LISTING))
    go_on = server.hold("LIST")
    assert client.file_info("a") == (0, 0)
    server.wait_for_command("LIST")
    assert client.file_info("b") == (1, wire.BUSY)
    assert client.download("b", local / "b") == (1, wire.BUSY)
    assert client.upload(local / "a", "b", resume=1) == (1, wire.BUSY)
    assert client.state()[:6] == (0, 0, 1, 3, 0, 0)
    assert told() == (UNKNOWN, 0)
    go_on.set()
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (0, 0)
    assert told() == (FOUND, 5)
    assert len(server.sessions) == 1
    assert not (local / "b").exists()
    for start in wire.STARTS.values():
        assert f"error: {start.named}: Failed(3)\n" in log.errors()


def test_a_size_beyond_64_bits_is_0_and_so_are_those_directly_after_it(daemon, scripted, look):
    """The overflow stays in errno, which is checked for each number; the next job clears it."""
    line = LINE.format(1 << 64, "huge").encode()
    scripted(Plan(listing=line + LISTING), Plan(listing=line), Plan(listing=LISTING))
    for name, size in [("b", 0), ("huge", 0), ("b", 6)]:
        look(name)
        assert told() == (FOUND, size)
