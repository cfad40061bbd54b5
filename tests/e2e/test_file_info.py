"""File information: what the daemon learns from a server's listing."""

import calendar

import pytest

from harness import client, wire
from harness.scripted import Plan, send_pieces
from test_downloads import NAMES

UNKNOWN_YEAR, UNKNOWN = 65535, 255


def looked_up(network_manager, remote_path, times=1, **fields):
    """The reply to command 6 after a look that was announced as successful."""
    assert client.file_info(remote_path, **fields) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO, times)
    assert notice.head == (10, 2, 1, 56, 0)
    assert notice.outcome == (0, 0)
    assert (notice.exec_info.curl_code, notice.exec_info.response_code) == (0, 226)
    return client.get_file_info()


# (line of the listing, wanted name,
#  (size, year, month, day, hour, minute, attributes, is_link))
FOUND = [
    (
        "-rw-r--r--   1 user group   1234 Jan 15 12:34 my file.txt",
        "my file.txt",
        (1234, UNKNOWN_YEAR, 1, 15, 12, 34, 0x644, 0),
    ),
    (
        "-rwxr-xr-x   1 user group   4096 Dec 31  2012 a",
        "a",
        (4096, 2012, 12, 31, UNKNOWN, UNKNOWN, 0x755, 0),
    ),
    (
        "-rw-r--r--12 user group   7 Feb  3  2001 a",
        "a",
        (7, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x644, 0),
    ),
    (
        "-rwsr-sr-t   1 user group   7 Feb  3  2001 a",
        "a",
        (7, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x7755, 0),
    ),
    (
        "-rw-------   1 user group   5000000000 Feb 29 23:59 a",
        "a",
        (5000000000, UNKNOWN_YEAR, 2, 29, 23, 59, 0x600, 0),
    ),
    # A size that is no clean number is 0.
    (
        "-rw-r--r--   1 user group   12K Feb  3  2001 a",
        "a",
        (0, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x644, 0),
    ),
    # No group, as some small servers list.
    (
        "-rw-r--r--   1 user   7 Feb  3  2001 a",
        "a",
        (7, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x644, 0),
    ),
    ("01-15-98  12:05AM              1234 a.txt", "a.txt", (1234, 1998, 1, 15, 0, 5, -1, 0)),
    ("01-15-12  01:30PM                 0 a b", "a b", (0, 2012, 1, 15, 13, 30, -1, 0)),
    ("15-01-12  10:00  555 b c", "b c", (555, 2015, 1, 12, 10, 0, -1, 0)),
    ("2012-01-15 10:20:30 77 docs.txt", "docs.txt", (77, 2012, 1, 15, 10, 20, -1, 0)),
]


def test_each_layout_of_a_listing_is_understood(daemon, scripted, network_manager):
    scripted(*(Plan(listing=line.encode() + b"\r\n") for line, _, _ in FOUND))
    for times, (line, name, expected) in enumerate(FOUND, 1):
        information = looked_up(network_manager, name, times)
        assert information[:4] == (0, 0, 1, 1), line
        assert information[4:] == expected, line


# Entries of the wanted name that are no file: the listing was read, but nothing is told of it.
NO_FILES = [
    ("drwxr-xr-x   2 user group   4096 Jan 15  2012 a", "a"),
    ("01-15-12  03:04PM       <DIR>          a", "a"),
    ("-rw-r--r--   1 user group   7 Jan 15  2012 a.lnk", "a"),
    # A detached type character marks a layout in which the fifteenth byte tells a file.
    ("- rw-r--r--   1 user group   7 Jan 15  2012 a", "a"),
]


def test_an_entry_that_is_no_file_leaves_both_flags_at_0(daemon, scripted, network_manager):
    scripted(*(Plan(listing=line.encode() + b"\r\n") for line, _ in NO_FILES))
    for times, (line, name) in enumerate(NO_FILES, 1):
        information = looked_up(network_manager, name, times)
        assert information[:5] == (0, 0, 0, 0, 0), line


ABSENT = [
    Plan(listing=b"-rw-r--r--   1 user group   7 Jan 15  2012 other\r\n"),
    Plan(listing=b""),
    Plan(listing=b"-rw-r--r--   1 user group   7 Jan 15  2012 A\r\n"),
    # The name of a link keeps its arrow and its target.
    Plan(listing=b"lrwxrwxrwx   1 user group   7 Jan 15  2012 a -> b\r\n"),
    Plan(listing=b"total 0\r\n"),
]


def test_a_file_that_is_not_in_the_listing_is_a_successful_answer(
    daemon, scripted, network_manager, log
):
    scripted(*ABSENT)
    for times, plan in enumerate(ABSENT, 1):
        information = looked_up(network_manager, "a", times)
        assert information[:5] == (0, 0, 1, 0, 0), plan.listing
    assert log.count(r"^curl_func\(905\): Ignore error\(78\)\n$") == len(ABSENT)


def test_a_folder_that_is_missing_is_a_successful_answer(daemon, vsftpd, network_manager, log):
    information = looked_up(network_manager, "no/such/a")
    assert information[:5] == (0, 0, 1, 0, 0)
    log.wait_for(r"^curl_func\(905\): Ignore error\(9\)\n$")


def test_a_refused_listing_is_a_network_error(daemon, scripted, network_manager):
    scripted(Plan(replies={"LIST": "550 no"}))
    client.file_info("a")
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.exec_info.response_code) == (19, 550)
    assert client.get_file_info()[:5] == (0, 0, 0, 0, 0)


LINE = "-rw-r--r--   1 user group   {} Jan 15  2012 {}"


@pytest.mark.parametrize("line_end", ["\r\n", "\n", "\r"], ids=["CRLF", "LF", "CR"])
@pytest.mark.parametrize("pieces", [1, 7, 1 << 20])
def test_a_listing_may_come_in_any_pieces(daemon, scripted, network_manager, line_end, pieces):
    lines = [LINE.format(number, name) for number, name in enumerate(["b", "", "a", "c"])]
    lines[1] = ""
    listing = line_end.join(lines)  # the last line has no end
    scripted(Plan(listing=listing.encode(), send=send_pieces(pieces)))
    assert looked_up(network_manager, "a").size == 2
    assert looked_up(network_manager, "c", times=2).size == 3


def test_lines_that_are_not_understood_are_logged_and_skipped(
    daemon, scripted, network_manager, log
):
    scripted(Plan(listing=("total 8\r\n" + LINE.format(5, "a") + "\r\nnonsense\r\n").encode()))
    assert looked_up(network_manager, "a").size == 5
    log.wait_for(r"^error: curl_wrapper\(2313\): Unknown 'LIST' format: total 8\n$")
    log.wait_for(r"^error: curl_wrapper\(2313\): Unknown 'LIST' format: nonsense\n$")
    log.wait_for(r"^curl_func\(1778\): a, size: 5\n$")


def test_the_last_of_several_entries_of_a_name_counts(daemon, scripted, network_manager):
    scripted(Plan(listing="\r\n".join([LINE.format(5, "a"), LINE.format(6, "a"), ""]).encode()))
    assert looked_up(network_manager, "a").size == 6


def test_a_new_look_clears_the_flags_and_the_size_only(daemon, scripted, network_manager):
    scripted(Plan(listing=(LINE.format(5, "a") + "\r\n").encode()), Plan(listing=b""))
    assert looked_up(network_manager, "a")[2:8] == (1, 1, 5, 2012, 1, 15)
    assert looked_up(network_manager, "a", times=2)[2:8] == (1, 0, 0, 2012, 1, 15)


def test_the_listing_is_asked_for_in_the_files_folder(daemon, scripted, network_manager):
    server = scripted(Plan(listing=(LINE.format(5, "a b") + "\r\n").encode()))
    assert looked_up(network_manager, "d d/ü/a b").exists == 1
    assert server.commands == [
        "USER alice",
        "PASS secret",
        "PWD",
        "CWD d d",
        "CWD ü",
        "PASV",
        "TYPE A",
        "LIST",
        "QUIT",
    ]


def test_the_urls_are_logged_as_they_were_escaped(daemon, scripted, network_manager, log):
    scripted(Plan(listing=(LINE.format(5, "a b") + "\r\n").encode()))
    looked_up(network_manager, "d d/a b")
    log.wait_for(r"^curl_wrapper\(311\): Setup to directory listening\.\n$")
    log.wait_for(r"^curl_wrapper\(344\): Search pattern: a b\n$")
    log.wait_for(r"^curl_wrapper\(427\): Specified URL: ftp://127\.0\.0\.1/d%20d/a%20b\n$")
    log.wait_for(r"^curl_wrapper\(429\): Actual URL   : ftp://127\.0\.0\.1/d%20d/\n$")


def test_a_name_is_found_as_it_is(daemon, vsftpd, network_manager):
    for times, name in enumerate(NAMES, 1):
        vsftpd.put(name, b"x" * times)
        information = looked_up(network_manager, name, times)
        assert (information.exists, information.size) == (1, times), name


@pytest.mark.parametrize("passive_mode", [1, 0], ids=["passive", "active"])
def test_a_real_server_tells_size_date_and_permissions(
    daemon, vsftpd, network_manager, passive_mode
):
    modified = calendar.timegm((2012, 1, 15, 12, 34, 0))
    path = vsftpd.put("a.bin", mode=0o750)
    with open(path, "wb") as file:
        file.truncate(5 << 30)
    vsftpd.put("a.bin.other", b"x")
    vsftpd.set_time("a.bin", modified)
    information = looked_up(network_manager, "a.bin", passive_mode=passive_mode)
    # An old file's time of day is not listed.
    assert information == ((0, 0, 1, 1, 5 << 30) + (2012, 1, 15) + (UNKNOWN, UNKNOWN) + (0x750, 0))


def test_a_large_listing_is_searched_to_its_end(daemon, scripted, network_manager):
    lines = [LINE.format(number, f"file-{number}") for number in range(20_000)]
    scripted(Plan(listing="\r\n".join(lines).encode()))
    before_kib = daemon.resident_kib()
    assert looked_up(network_manager, "file-19999").size == 19_999
    # Only the unparsed tail is kept.
    assert daemon.grew_less_than(4096, before_kib)


def test_a_line_without_an_end_is_given_up_at_a_mebibyte(daemon, scripted, network_manager, log):
    scripted(Plan(listing=b"-" * (3 << 20)))
    before_kib = daemon.resident_kib()
    client.file_info("a")
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 23
    log.wait_for(r"^error: curl_wrapper\(2214\): add_list_data\(\): Failed\n$")
    assert daemon.grew_less_than(8192, before_kib)


def test_an_http_proxy_is_refused_with_15_at_once(daemon, scripted, network_manager):
    server = scripted()
    fields = {"proxy_type": 1, "proxy_host": "127.0.0.1", "proxy_port": 21}
    assert client.file_info("a", **fields) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (1, wire.NOT_SUPPORTED)
    assert not server.sessions
