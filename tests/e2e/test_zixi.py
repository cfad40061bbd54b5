"""Uploads by the Zixi engine, with the stand-in library that stores them in a folder."""

import struct

import pytest

from harness import client, feeder, wire
from harness.feeder import DONE, FOLDER, for_good, given_up, make_file, not_started
from harness.waiting import wait_until

ZIXI = 3  # in the place of the response code's type

each_protocol = pytest.mark.parametrize("protocol", [wire.ZIXI_4, wire.ZIXI_5])


@pytest.fixture
def zixi(feed):
    """A fast daemon with a library without faults."""
    return feed()


def tells_of(notice, size):
    """A successful upload."""
    assert notice.head == (10, 1, 1, 56, 0)
    assert notice.outcome == (0, 0)
    assert notice.sizes == (size, size)
    assert notice.exec_info.elapsed_time >= 1  # by the daemon's clock: the first sample is taken a second after the start
    assert notice.exec_info[3:] == (0, 0, ZIXI, 0, 0)


@each_protocol
def test_the_server_gets_the_local_file_whole(zixi, jobs, log, local, protocol):
    for times, size in enumerate([0, 1, 65536, 65537, 3 << 20], 1):
        content = make_file(local / "a", size).read_bytes()
        tells_of(jobs.zixi_upload(local / "a", "d/e/a", protocol=protocol), size)
        assert feeder.stored() == {"d/e/a": content}
        assert (local / "a").read_bytes() == content
        assert feeder.said(log) == [DONE] * times
        assert client.state()[:6] == (0, 0, 0, 2, 0, 0)


def test_the_console_shows_each_line_of_the_library_unchanged(zixi, jobs, console, local):
    make_file(local / "a", 5)
    tells_of(jobs.zixi_upload(local / "a", "d/b", host="broadcaster", port=65535), 5)
    console.drain()
    wait_until(lambda: console.text.endswith("closed\n"), "the library's last line")
    assert console.text == (
        f"zixi feeder: {local}/a for broadcaster:65535 goes to d in {FOLDER}\n"
        "zixi feeder: closed\n"
    )


def test_the_start_logs_the_library_and_its_version(zixi, log):
    log.wait_for(r"^zixi_func\(180\): libZixifeeder/0\.1\.0\.0\n$")


# (overwrite word of the request, whether an existing file is replaced)
OVERWRITE = [(0, True), (1, False), (2, False), (256, False), (0xFFFFFFFF, False)]
EXISTS = [*not_started(-22), given_up(-22)]


def test_an_existing_remote_file_is_replaced_for_0_only(zixi, jobs, log, local):
    (FOLDER / "d").mkdir(parents=True)
    (local / "a").write_bytes(b"new one")
    for word, replaced in OVERWRITE:
        (FOLDER / "d" / "a").write_bytes(b"old")
        before = len(feeder.said(log))
        notice = jobs.zixi_upload(local / "a", "d/a", resume=word)
        assert notice.outcome == ((0, 0) if replaced else (1, 23)), word
        assert feeder.signed(notice.exec_info.zixi_error) == (0 if replaced else -22), word
        assert feeder.said(log)[before:] == ([DONE] if replaced else EXISTS), word
        assert feeder.stored() == {"d/a": b"new one" if replaced else b"old"}, word


# (user and password of the request, are they accepted)
LOGINS = [
    ("alice", "secret", True),
    ("alice", "Secret", False),
    ("Alice", "secret", False),
    ("", "", False),
    ("alice", "secrets", False),
]


def test_only_the_right_credentials_are_accepted(feed, jobs, log, local):
    feed(user="alice", password="secret")
    make_file(local / "a", 9)
    for user, password, right in LOGINS:
        before = len(feeder.said(log))
        notice = jobs.zixi_upload(local / "a", "a", user=user, password=password)
        assert notice.outcome == ((0, 0) if right else (1, wire.NETWORK)), (user, password)
        assert feeder.signed(notice.exec_info.zixi_error) == (0 if right else -7)
        assert feeder.said(log)[before:] == ([DONE] if right else for_good(-7))


@each_protocol
def test_a_download_is_refused_and_starts_nothing(zixi, jobs, network_manager, log, local, protocol):
    assert client.download("a", local / "a", protocol=protocol) == (1, 15)
    assert feeder.said(log) == ["error: ftp_clientd(393): command_download(): Failed(15)\n"]
    assert client.nothing() == (0, 15)
    assert client.state()[:6] == (0, 0, 0, 0, 0, 0)
    # The first notice is a later job's: the refused download sent none and created no file.
    make_file(local / "b", 4)
    tells_of(jobs.zixi_upload(local / "b", "b", protocol=protocol), 4)
    assert network_manager.codes == [3, 1]
    assert not (local / "a").exists()


@each_protocol
def test_file_information_ends_at_once_and_returns_a_fixed_block(zixi, jobs, log, protocol):
    notice = jobs.zixi_file_info(protocol=protocol)
    assert notice.head == (10, 2, 1, 56, 0)
    assert notice.outcome == (0, 0)
    assert notice.exec_info == (0, 0, 0, 0, 0, ZIXI, 0, 0)
    assert client.state()[:6] == (0, 0, 0, 3, 0, 0)
    reply = client.ask(wire.GET_FILE_INFO)
    assert len(reply) == 56
    # result, detail, looked up, exists, size (2), year to minute (5), attributes, link
    assert reply[:52] == struct.pack("<2I2i2i5i2i", 0, 0, 1, 0, -1, -1, *[-1] * 5, 65535, 0)
    assert feeder.said(log) == []
    assert not FOLDER.exists()


def test_the_librarys_error_stays_until_the_next_upload(feed, jobs, local):
    """A start does not reset the word, so file information repeats it; an upload clears it."""
    feed(fail="zixi_upload_file:-17:1")
    make_file(local / "a", 5)
    assert jobs.zixi_upload(local / "a", "a").outcome == (1, wire.NETWORK)
    notice = jobs.zixi_file_info()
    assert notice.outcome == (0, 0)
    assert feeder.signed(notice.exec_info.zixi_error) == -17
    tells_of(jobs.zixi_upload(local / "a", "a"), 5)
