"""A listing gives the same entries wherever it is split in transit."""

import pytest

from harness.pieces import send_cut
from harness.scripted import Plan

# Lines of several layouts, {} for the name; all are files of 1234 bytes.
LAYOUTS = [
    "-rw-r--r--   1 user group   1234 Jan 15 12:34 {}",
    "-rw-r--r--12 user group   1234 Jan 15  2012 {}",
    "-rw-r--r--   1 user   1234 Jan 15  2012 {}",
    "01-15-12  03:04PM                 1234 {}",
    "2012-01-15 10:20:30 1234 {}",
]
NAME = "nämé {:03}.txt"
LINE_ENDS = {"CRLF": "\r\n", "LF": "\n", "CR": "\r", "empty-lines": "\r\n\r\n"}


def listing_cut_everywhere(layout, line_end):
    """(listing, its cuts, its names): the first line is cut after byte 1, the next after byte 2."""
    length = len((layout.format(NAME.format(0)) + line_end).encode())
    names = [NAME.format(number) for number in range(length)]
    listing = "".join(layout.format(name) + line_end for name in names).encode()
    return listing, [line * length + line + 1 for line in range(length)], names


@pytest.mark.parametrize("passive_mode", [1, 0], ids=["passive", "active"])
@pytest.mark.parametrize("line_end", LINE_ENDS)
def test_each_place_of_a_line_may_be_a_cut(daemon, scripted, look, log, line_end, passive_mode):
    listings = [listing_cut_everywhere(layout, LINE_ENDS[line_end]) for layout in LAYOUTS]
    scripted(*(Plan(listing=listing, send=send_cut(cuts)) for listing, cuts, _ in listings))
    for _, _, names in listings:
        already = len(entries(log))
        # A star matches all entries: each is logged.
        look("*", passive_mode=passive_mode)
        assert entries(log)[already:] == [f"{name}, size: 1234\n" for name in names]
    assert not log.errors()


def entries(log):
    start = "curl_func(1778): "
    return [text.removeprefix(start) for text in log.texts if text.startswith(start)]


@pytest.mark.parametrize("line_end", ["CRLF", "LF", "CR"])
def test_each_place_of_the_last_line_may_be_a_cut(fast_daemon, scripted, look, line_end):
    """It has no line end: the rest counts when the connection closes."""
    line = "-rwsr-xr-t   1 user group   5000000000 Jan 15 12:34 last"
    listing = LINE_ENDS[line_end].join(["total 1", LAYOUTS[0].format("first"), line]).encode()
    places = range(len(listing) - len(line) - 1, len(listing) + 1)
    scripted(*(Plan(listing=listing, send=send_cut([place])) for place in places))
    for place in places:
        assert look("last") == (
            (0, 0, 1, 1, 5000000000) + (65535, 1, 15, 12, 34) + (0x5755, 0)
        ), place


def test_every_byte_may_come_alone(daemon, scripted, look, log):
    listing = "\r\n".join(layout.format(NAME.format(7)) for layout in LAYOUTS).encode()
    scripted(Plan(listing=listing, send=send_cut(range(1, len(listing)))))
    look("*")
    assert entries(log) == [f"{NAME.format(7)}, size: 1234\n"] * len(LAYOUTS)
    assert not log.errors()
