"""File information: what the daemon learns from a server's listing."""

from harness.scripted import Plan

UNKNOWN_YEAR, UNKNOWN = 65535, 255
NAME = "a b.txt"

# {line of the listing without the name: (size, year, month, day, hour, minute, attributes, is_link)}
FOUND = {
    "-rw-r--r--   1 user group   1234 Jan 15 12:34 ": (1234, UNKNOWN_YEAR, 1, 15, 12, 34, 0x644, 0),
    "-rwxr-xr-x   1 user group   4096 Dec 31  2012 ": (4096, 2012, 12, 31, UNKNOWN, UNKNOWN, 0x755, 0),
    "-rw-r--r--12 user group   7 Feb  3  2001 ": (7, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x644, 0),
    "-rwsr-sr-t   1 user group   7 Feb  3  2001 ": (7, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x7755, 0),
    "-rw-------   1 user group   5000000000 Feb 29 23:59 ": (5000000000, UNKNOWN_YEAR, 2, 29, 23, 59, 0x600, 0),
    # An invalid size is 0.
    "-rw-r--r--   1 user group   12K Feb  3  2001 ": (0, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x644, 0),
    # No group, as some small servers list.
    "-rw-r--r--   1 user   7 Feb  3  2001 ": (7, 2001, 2, 3, UNKNOWN, UNKNOWN, 0x644, 0),
    "01-15-98  12:05AM              1234 ": (1234, 1998, 1, 15, 0, 5, -1, 0),
    "01-15-12  01:30PM                 0 ": (0, 2012, 1, 15, 13, 30, -1, 0),
    "15-01-12  10:00  555 ": (555, 2015, 1, 12, 10, 0, -1, 0),
    "2012-01-15 10:20:30 77 ": (77, 2012, 1, 15, 10, 20, -1, 0),
}


def test_each_layout_of_a_listing_is_read(daemon, scripted, look):
    scripted(*(Plan(listing=f"{line}{NAME}\r\n".encode()) for line in FOUND))
    for line, told in FOUND.items():
        assert look(NAME) == (0, 0, 1, 1, *told), line


# Entries of the wanted name that are not files: the listing was read, but nothing is reported.
NO_FILES = [
    "drwxr-xr-x   2 user group   4096 Jan 15  2012 a",
    "01-15-12  03:04PM       <DIR>          a",
    "-rw-r--r--   1 user group   7 Jan 15  2012 a.lnk",
    # A detached type character means a layout in which the fifteenth byte must be right for a file.
    "- rw-r--r--   1 user group   7 Jan 15  2012 a",
]


def test_an_entry_that_is_no_file_leaves_both_flags_at_0(daemon, scripted, look):
    scripted(*(Plan(listing=line.encode() + b"\r\n") for line in NO_FILES))
    for line in NO_FILES:
        assert look("a")[:5] == (0, 0, 0, 0, 0), line


ABSENT = [
    b"-rw-r--r--   1 user group   7 Jan 15  2012 other\r\n",
    b"",
    b"-rw-r--r--   1 user group   7 Jan 15  2012 A\r\n",
    # The name of a link keeps its arrow and its target.
    b"lrwxrwxrwx   1 user group   7 Jan 15  2012 a -> b\r\n",
    b"total 0\r\n",
]


def test_a_file_that_is_not_in_the_listing_is_a_successful_answer(daemon, scripted, look, log):
    scripted(*(Plan(listing=listing) for listing in ABSENT))
    for listing in ABSENT:
        assert look("a")[:5] == (0, 0, 1, 0, 0), listing
    assert log.count(r"^curl_func\(905\): Ignore error\(78\)\n$") == len(ABSENT)


LINE = "-rw-r--r--   1 user group   {} Jan 15  2012 {}"


def test_unknown_lines_are_logged_and_skipped(daemon, scripted, look, log):
    scripted(Plan(listing=("total 8\r\n" + LINE.format(5, "a") + "\r\nnonsense\r\n").encode()))
    assert look("a").size == 5
    log.wait_for(r"^error: curl_wrapper\(2313\): Unknown 'LIST' format: total 8\n$")
    log.wait_for(r"^error: curl_wrapper\(2313\): Unknown 'LIST' format: nonsense\n$")
    log.wait_for(r"^curl_func\(1778\): a, size: 5\n$")


def test_of_several_entries_of_a_name_the_last_counts(daemon, scripted, look):
    scripted(Plan(listing="\r\n".join([LINE.format(5, "a"), LINE.format(6, "a"), ""]).encode()))
    assert look("a").size == 6


def test_a_new_look_up_clears_only_the_flags_and_the_size(daemon, scripted, look):
    scripted(Plan(listing=(LINE.format(5, "a") + "\r\n").encode()), Plan(listing=b""))
    assert look("a")[2:8] == (1, 1, 5, 2012, 1, 15)
    assert look("a")[2:8] == (1, 0, 0, 2012, 1, 15)


def test_the_files_folder_is_listed_and_the_escaped_urls_are_logged(
    daemon, scripted, look, log
):
    server = scripted(Plan(listing=(LINE.format(5, "a b") + "\r\n").encode()))
    assert look("d d/ü/a b").exists == 1
    assert server.commands == "USER alice, PASS secret, PWD, CWD d d, CWD ü, PASV, TYPE A, LIST, QUIT".split(", ")
    log.wait_for(r"^curl_wrapper\(311\): Setup to directory listening\.\n$")
    log.wait_for(r"^curl_wrapper\(344\): Search pattern: a b\n$")
    log.wait_for(r"^curl_wrapper\(427\): Specified URL: ftp://127\.0\.0\.1/d%20d/%C3%BC/a%20b\n$")
    log.wait_for(r"^curl_wrapper\(429\): Actual URL   : ftp://127\.0\.0\.1/d%20d/%C3%BC/\n$")
