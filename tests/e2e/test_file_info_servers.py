"""File information from the listings of real servers.

Long tables run with a fast clock: the daemon then polls for requests more often."""

import os
import struct
from datetime import datetime, timedelta, timezone

import pytest

from harness import client, wire
from harness.ftp_servers import UNIX_STYLE, DosServer
from harness.vsftpd import HOME, needs_users
from test_downloads import NAMES
from test_file_info import UNKNOWN, UNKNOWN_YEAR

BOTH_MODES = pytest.mark.parametrize("passive_mode", [1, 0], ids=["passive", "active"])

# looked_up, exists: of a file, of a missing name, of a folder or a link.
FOUND, ABSENT, NO_FILE = (1, 1), (1, 0), (0, 0)


@pytest.fixture
def root():
    needs_users()


@pytest.fixture(params=UNIX_STYLE)
def server(request, root):
    return UNIX_STYLE[request.param]()


def put(server, name, size=0, mode=0o644, modified=None):
    """A sparse file of any size. The mode is set last, because changing the owner clears setuid."""
    path = server.put(name)
    with open(path, "wb") as file:
        file.truncate(size)
    path.chmod(mode)
    if modified is not None:
        os.utime(path, (modified.timestamp(), modified.timestamp()))


def date(*numbers):
    return datetime(*numbers, tzinfo=timezone.utc)


RECENT = (datetime.now(timezone.utc) - timedelta(days=30)).replace(second=0, microsecond=0)
OLD = date(2012, 1, 15, 12, 34)

# (size, mode on the server, date on the server). The attributes read like the octal mode.
FILES = [
    (0, 0o644, OLD),
    (1, 0o600, date(1998, 12, 31, 23, 59)),
    ((1 << 31) - 1, 0o4755, date(1970, 1, 2)),
    (1 << 31, 0o4644, date(2000, 2, 29)),
    ((1 << 32) - 1, 0o2755, RECENT),
    (1 << 32, 0o2644, RECENT),
    (5 << 30, 0o1777, RECENT),
    (999_999_999_999_999, 0o7777, OLD),  # proftpd lists fifteen digits of a size
    (1, 0o6644, OLD),
    (7, 0o000, OLD),
]


def reply_to_command_6(size, mode, when):
    """All but the last word, which is not set. Old files are listed without a time, recent ones
    without a year."""
    year, hour, minute = when.year, UNKNOWN, UNKNOWN
    if when == RECENT:
        year, hour, minute = UNKNOWN_YEAR, when.hour, when.minute
    attributes = int(oct(mode)[2:], 16)
    return struct.pack(
        "<6Iq7i", 6, 56, 0, 0, *FOUND, size, year, when.month, when.day, hour, minute, attributes, 0
    )


@BOTH_MODES
def test_size_date_and_permissions_of_each_unix_style(daemon, server, look, log, passive_mode):
    for number, (size, mode, when) in enumerate(FILES):
        put(server, f"f{number}", size, mode, when)
    for number, file in enumerate(FILES):
        look(f"f{number}", passive_mode=passive_mode)
        reply = client.ask_raw(client.head(wire.GET_FILE_INFO, 0))
        assert len(reply) == 64
        assert reply[:60] == reply_to_command_6(*file), file
        log.wait_for(rf"^curl_func\(1778\): f{number}, size: {file[0]}\n$")
    assert log.count(r"^> PORT 127,0,0,1,[0-9,]+$") == (0 if passive_mode else len(FILES))
    assert log.count(r"^> PASV$") == (len(FILES) if passive_mode else 0)
    assert log.count(r"^curl_wrapper\(311\): Setup to directory listening\.\n$") == len(FILES)
    assert not log.errors()


def test_the_notice_has_no_amount_and_no_time(daemon, vsftpd, jobs):
    put(vsftpd, "a", 5)
    notice = jobs.file_info("a")
    assert (notice.sizes, notice.exec_info.elapsed_time) == ((0, 0), 0)
    assert notice.codes == (0, 1, 226, 0)


UNUSUAL_NAMES = [
    "n" * 251 + ".txt",
    "ü" * 127 + "x",
    "arrow -> target",
    "->",
    "two  blanks",
    "trailing  ",
    "shortcut.lnk.txt",
    "lnk",
    "-dash",
    "*star",
    "Jan 15  2012 a",
    "-rw-r--r--    1 alice    alice           9 Jan 15  2012 b",
    "100%",
    "%",
    "%%41",
    "%c3%bc",
]


def finds_each_name(server, look):
    names = NAMES + UNUSUAL_NAMES
    for size, name in enumerate(names, 1):
        put(server, name, size, modified=RECENT)
    for size, name in enumerate(names, 1):
        assert look(name)[2:5] == (*FOUND, size), name


def test_a_name_is_found_unchanged_in_each_unix_style(fast_daemon, server, look):
    finds_each_name(server, look)


# (wanted, looked_up and exists, size)
SEARCHED = [
    # Blanks separate the fields of a line, so a name's leading ones are lost.
    ("  leading", ABSENT, 0),
    ("leading", FOUND, 3),
    # A name of blanks is lost completely: its line gives no entry.
    ("   ", ABSENT, 0),
    # A shortcut loses its suffix and counts as a link.
    ("shortcut.lnk", ABSENT, 0),
    ("shortcut", NO_FILE, 0),
    # A link keeps arrow and target in its name, and counts as a folder.
    ("link", ABSENT, 0),
    ("link -> target", NO_FILE, 0),
    ("target", FOUND, 4),
    ("folder", NO_FILE, 0),
    ("folder/inside", FOUND, 6),
    ("folder/", ABSENT, 0),
    ("Target", ABSENT, 0),
    ("targe", ABSENT, 0),
    ("missing", ABSENT, 0),
    ("missing/inside", ABSENT, 0),
    ("empty/inside", ABSENT, 0),
    # A leading star matches every entry, so there is a match.
    ("*", NO_FILE, 0),
    ("*missing", NO_FILE, 0),
    # A link to a folder can be entered.
    ("linked/inside", FOUND, 6),
]


def put_what_is_searched(server):
    for name, size in (("  leading", 3), ("   ", 2), ("shortcut.lnk", 5), ("target", 4)):
        put(server, name, size, modified=OLD)
    put(server, "folder/inside", 6)
    put(server, "empty/gone")
    server.path("empty/gone").unlink()
    server.path("link").symlink_to("target")
    server.path("linked").symlink_to("folder")


def test_what_is_no_file_or_has_another_name_in_each_unix_style(fast_daemon, server, look, log):
    put_what_is_searched(server)
    for wanted, flags, size in SEARCHED:
        assert look(wanted)[2:5] == (*flags, size), wanted
    assert log.count(r"^curl_func\(905\): Ignore error\(9\)\n$") == 1
    absent = sum(flags == ABSENT for _, flags, _ in SEARCHED)
    assert log.count(r"^curl_func\(905\): Ignore error\(78\)\n$") == absent - 1
    log.wait_for(
        r"^error: curl_wrapper\(2320\): Parsing line has been failed: -rw-r--r-- .* 2012 +\n$"
    )


def test_the_largest_possible_size_is_reported(daemon, vsftpd, look):
    put(vsftpd, "a", (1 << 63) - 1)
    assert look("a").size == (1 << 63) - 1


@pytest.mark.parametrize("server", ["vsftpd", "pure-ftpd", "proftpd"], indirect=True)
def test_an_unreadable_folder_looks_empty(daemon, server, look, log):
    for mode, code in ((0o311, 78), (0o000, 9)):  # entered but not listed; not even entered
        put(server, f"{mode:o}/a", 1)
        server.path(f"{mode:o}").chmod(mode)
        assert look(f"{mode:o}/a")[2:5] == (*ABSENT, 0)
        log.wait_for(rf"^curl_func\(905\): Ignore error\({code}\)\n$")


def test_a_file_that_the_server_does_not_list_is_absent(daemon, vsftpd, look):
    """LIST has no options, so vsftpd leaves out names that begin with a dot."""
    put(vsftpd, ".hidden", 1)
    put(vsftpd, "seen", 2)
    assert look(".hidden")[2:5] == (*ABSENT, 0)
    assert look("seen")[2:5] == (*FOUND, 2)


def test_an_absolute_path_starts_at_the_root(daemon, vsftpd, look, log):
    put(vsftpd, "d d/ü", 9)
    assert look(HOME / "d d" / "ü").size == 9
    log.wait_for(r"^> CWD /$")


# (the server's date format, date on the server, date in the reply; None: no line is recognised)
DOS_STYLES = {
    "month-first": ("%m-%d-%y  %I:%M%p", date(2014, 1, 15, 13, 30), (2014, 1, 15, 13, 30)),
    "year-first": ("%y-%m-%d  %H:%M", date(2014, 1, 15, 13, 30), (2014, 1, 15, 13, 30)),
    # A year that could be a month is taken for one.
    "year-first-until-2012": ("%y-%m-%d  %H:%M", date(2012, 1, 15, 13, 30), (2015, 12, 1, 13, 30)),
    "ISO": ("%Y-%m-%d %H:%M:%S", date(2014, 1, 15, 13, 30), (2014, 1, 15, 13, 30)),
    # Ten characters ending with the year fit no layout, so no file is found.
    "month-first-four-digits": ("%m-%d-%Y  %I:%M%p", date(2014, 1, 15, 13, 30), None),
}


@BOTH_MODES
@pytest.mark.parametrize("style", DOS_STYLES)
def test_size_and_date_of_each_dos_style(daemon, root, look, log, style, passive_mode):
    date_format, when, told = DOS_STYLES[style]
    server = DosServer(date_format)
    put(server, "a b", 5 << 30, modified=when)
    (HOME / "folder").mkdir()
    information = look("a b", passive_mode=passive_mode)
    if told is None:
        assert information[2:5] == (*ABSENT, 0)
        log.wait_for(r"^error: curl_wrapper\(2313\): Unknown 'LIST' format: 01-15-2014 .* a b\n$")
        return
    # This style lists neither permissions nor links.
    assert information == (0, 0, *FOUND, 5 << 30, *told, -1, 0)
    assert look("folder")[2:5] == (*NO_FILE, 0)
    assert not log.errors()


# Like SEARCHED, but a link looks like its target, and a name loses only its leading blanks.
SEARCHED_DOS = [
    ("  leading", ABSENT, 0),
    ("leading", FOUND, 3),
    ("   ", ABSENT, 0),
    ("shortcut.lnk", FOUND, 5),
    ("shortcut", ABSENT, 0),
    ("link", FOUND, 4),
    ("target", FOUND, 4),
    ("linked", NO_FILE, 0),
    ("linked/inside", FOUND, 6),
    ("folder/inside", FOUND, 6),
    ("Target", ABSENT, 0),
    ("missing", ABSENT, 0),
    ("missing/inside", ABSENT, 0),
    ("empty/inside", ABSENT, 0),
]


def test_names_of_the_dos_style(fast_daemon, root, look):
    server = DosServer()
    put_what_is_searched(server)
    for wanted, flags, size in SEARCHED_DOS:
        assert look(wanted)[2:5] == (*flags, size), wanted
    finds_each_name(server, look)


def peak_kib(daemon, action):
    """The daemon's peak memory while action() ran."""
    with open(f"/proc/{daemon.pid}/clear_refs", "w") as peaks:
        peaks.write("5")
    action()
    return daemon.peak_kib()


def test_memory_does_not_grow_with_the_folder(daemon, vsftpd, look):
    put(vsftpd, "small/a", 1)
    put(vsftpd, "large/zzz", 2)
    for number in range(100_000):
        vsftpd.path(f"large/file-{number}").touch()
    look("small/a")  # loads the libraries
    small_kib = peak_kib(daemon, lambda: look("small/a"))
    large_kib = peak_kib(daemon, lambda: look("large/zzz"))
    assert client.get_file_info()[2:5] == (*FOUND, 2)
    # The listing has 7 MB. An emulator's memory differs by some 800 KiB; ThreadSanitizer's own memory grows with every access.
    assert abs(large_kib - small_kib) < 1024 or daemon.has_sanitizer("t")
