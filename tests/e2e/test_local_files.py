"""What local_path and save_path may name; after result 0 the file is complete."""

import os
import pathlib
import socket
import stat
import threading

import pytest

from harness import client, wire
from harness.content import MIB, content_of
from harness.libraries import code_of_a_file_that_shrank
from harness.relay import Relay
from harness.scripted import Plan, send_then, take_all
from harness.squid import PROXY, Squid
from harness.sftp import HostKey, Sshd
from harness.tls import Certificate, TlsServer
from harness.waiting import HELD_UP_S, wait_until, within

LOCAL_READ, LOCAL_WRITE = (1, wire.LOCAL_READ), (1, wire.LOCAL_WRITE)
PARTIAL = (1, wire.NETWORK)
SFTP = {"protocol": wire.SFTP, "port": 22}
PROTOCOLS = {"ftp": {}, "sftp": SFTP}


# --- Uploads


def make_irregular(folder, **links):
    """A pipe, a socket and links."""
    os.mkfifo(folder / "pipe")
    socket.socket(socket.AF_UNIX).bind(str(folder / "socket"))
    for name, target in links.items():
        (folder / name).symlink_to(target)


def irregular_files(folder):
    """{path: the errno in the log}"""
    make_irregular(folder, link="pipe", dangling="nothing", circle="circle")
    (folder / "folder").mkdir()
    return {
        folder / "pipe": 22,
        folder / "link": 22,
        folder / "socket": 22,
        folder / "folder": 21,
        folder / "dangling": 2,
        folder / "circle": 40,
        "/dev/null": 22,
        "/dev/zero": 22,
        "/dev/console": 22,
        "": 2,
    }


@pytest.mark.parametrize("port", [21, 22, 3128], ids=["ftp", "sftp", "proxy"])
def test_only_regular_files_are_uploaded(daemon, scripted, jobs, log, local, port):
    server = scripted(port=port)
    fields = {22: SFTP, 3128: PROXY}
    for path, error in irregular_files(local).items():
        assert jobs.upload(path, "a", **fields.get(port, {})).outcome == LOCAL_READ, path
        assert f"curl_func(729): errno({error})" in log.errors()[-1], path
    assert not server.sessions


def test_a_pipes_writer_is_not_woken_by_an_upload(daemon, jobs, local):
    os.mkfifo(local / "pipe")
    assert jobs.upload(local / "pipe", "a").outcome == LOCAL_READ
    with pytest.raises(OSError):  # nobody reads or has read
        os.open(local / "pipe", os.O_WRONLY | os.O_NONBLOCK)


@pytest.mark.parametrize("protocol", PROTOCOLS)
def test_a_link_is_followed(daemon, request, jobs, local, protocol):
    server = request.getfixturevalue("sshd" if protocol == "sftp" else "vsftpd")
    (local / "target").write_bytes(b"target")
    (local / "link").symlink_to("target")
    assert jobs.upload(local / "link", "a", **PROTOCOLS[protocol]).outcome == (0, 0)
    assert server.read("a") == b"target"


@pytest.mark.parametrize("protocol", PROTOCOLS)
def test_a_file_without_a_true_size_is_partial(daemon, request, jobs, protocol):
    request.getfixturevalue("sshd" if protocol == "sftp" else "vsftpd")
    for path in ["/proc/version", "/proc/cpuinfo", "/proc/1/cmdline"]:
        assert jobs.upload(path, "a", **PROTOCOLS[protocol]).outcome == PARTIAL, path


def grow(path):
    with path.open("ab") as file:
        file.write(b"and more")


def shrink(path):
    os.truncate(path, 1000)


def empty_and_refill(path):
    os.truncate(path, 0)
    grow(path)


# A file that only grew may end with 0 if all that it held at first is on the server.
CHANGES = [(grow, True), (shrink, False), (empty_and_refill, False)]
each_change = pytest.mark.parametrize(
    "change, may_be_whole", CHANGES, ids=[change.__name__ for change, _ in CHANGES]
)


def assert_honest(notice, may_be_whole, remote, at_first, path):
    if may_be_whole and notice.outcome == (0, 0):
        assert remote.startswith(at_first) and path.read_bytes().startswith(remote)
    else:
        code = 18 if may_be_whole else code_of_a_file_that_shrank()
        assert (notice.outcome, notice.exec_info.curl_code) == (PARTIAL, code)


@each_change
def test_a_file_that_changes_its_size_during_an_ftp_upload(
    daemon, scripted, network_manager, local, change, may_be_whole
):
    (local / "a").write_bytes(content_of(32 * MIB))
    is_changed = threading.Event()

    def take(session, data):
        received = data.recv(65536)
        session.server.stalled.set()
        is_changed.wait()
        return received + take_all(session, data)

    server = scripted(Plan(take=take))
    client.upload(local / "a", "a")
    assert server.stalled.wait(30)
    change(local / "a")
    is_changed.set()
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert_honest(
        notice, may_be_whole, server.stored[0][2], content_of(32 * MIB), local / "a"
    )


@each_change
def test_a_file_that_changes_its_size_during_an_sftp_upload(
    daemon, sshd, network_manager, local, change, may_be_whole
):
    (local / "a").write_bytes(content_of(8 * MIB))
    Relay(2022, 22, up_bytes_per_s=4 * MIB)
    client.upload(local / "a", "a", **SFTP | {"port": 2022})
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "the first bytes")
    change(local / "a")
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert_honest(notice, may_be_whole, sshd.read("a"), content_of(8 * MIB), local / "a")


def changed_after_the_last_byte(change, path):
    def take(session, data):
        received = take_all(session, data)
        change(path)
        return received

    return Plan(take=take)


def test_a_file_that_grows_after_its_last_byte_was_sent_is_complete(daemon, scripted, jobs, local):
    (local / "a").write_bytes(content_of(100_000))
    server = scripted(changed_after_the_last_byte(grow, local / "a"))
    assert jobs.upload(local / "a", "a").outcome == (0, 0)
    assert server.stored == [("STOR", "a", content_of(100_000))]


def test_a_file_that_shrinks_after_its_last_byte_was_sent_is_partial(daemon, scripted, jobs, log, local):
    (local / "a").write_bytes(content_of(100_000))
    scripted(changed_after_the_last_byte(shrink, local / "a"))
    notice = jobs.upload(local / "a", "a")
    assert (notice.outcome, notice.exec_info.curl_code) == (PARTIAL, 18)
    log.wait_for(
        r"^error: curl_func\(797\): The local file was changed while it was sent: "
        r"100000 of 1000 bytes\n$"
    )


def test_a_file_without_a_true_size_is_partial_through_a_proxy(daemon, vsftpd, jobs):
    Squid()
    assert jobs.upload("/proc/version", "a", **PROXY).outcome == PARTIAL


def test_renaming_another_file_over_it_does_not_change_what_is_sent(
    daemon, scripted, network_manager, local
):
    (local / "a").write_bytes(content_of(100_000))
    (local / "other").write_bytes(b"short")
    server = scripted()
    may_store = server.hold("STOR")
    client.upload(local / "a", "a")
    server.wait_for_command("STOR")
    (local / "other").rename(local / "a")
    may_store.set()
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert server.stored == [("STOR", "a", content_of(100_000))]


# --- Downloads


def test_a_download_into_a_pipe_without_a_reader_fails_at_once(daemon, scripted, jobs, log, local):
    server = scripted(files={"a": b"1"})
    os.mkfifo(local / "pipe")
    assert jobs.download("a", local / "pipe").outcome == LOCAL_WRITE
    log.wait_for(r"^error: curl_func\(615\): errno\(6\) No such device or address\n$")
    assert not server.sessions


def test_a_download_into_a_pipe_reaches_its_reader(daemon, scripted, jobs, local):
    scripted(files={"a": content_of(4096)})
    os.mkfifo(local / "pipe")
    reader = os.open(local / "pipe", os.O_RDONLY | os.O_NONBLOCK)
    assert jobs.download("a", local / "pipe").outcome == (0, 0)
    assert os.read(reader, 65536) == content_of(4096)


@pytest.mark.parametrize("size", [1, 4096])
def test_a_pipes_reader_that_goes_away_ends_the_job_and_not_the_daemon(
    daemon, scripted, network_manager, local, size
):
    server = scripted(files={"a": bytes(size)})
    may_send = server.hold("RETR")
    os.mkfifo(local / "pipe")
    reader = os.open(local / "pipe", os.O_RDONLY | os.O_NONBLOCK)
    client.download("a", local / "pipe")
    server.wait_for_command("RETR")
    os.close(reader)
    may_send.set()
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == LOCAL_WRITE
    assert client.nothing() == (0, 0)


def test_a_full_pipe_fails_the_job(daemon, scripted, jobs, local):
    scripted(files={"a": bytes(4096)})
    os.mkfifo(local / "pipe")
    reader = os.open(local / "pipe", os.O_RDONLY | os.O_NONBLOCK)
    writer = os.open(local / "pipe", os.O_WRONLY | os.O_NONBLOCK)
    with pytest.raises(BlockingIOError):
        while True:
            os.write(writer, bytes(4096))
    assert jobs.download("a", local / "pipe").outcome == LOCAL_WRITE
    os.close(reader)


@pytest.mark.parametrize("kind", ["pipe", "device", "file"])
def test_a_cancel_takes_effect_and_removes_only_regular_files(
    daemon, scripted, network_manager, local, kind
):
    server = scripted(Plan(send=send_then("stall", 0)), files={"a": b"1"})
    path = {"pipe": local / "pipe", "device": "/dev/null", "file": local / "a"}[kind]
    if kind == "pipe":
        os.mkfifo(path)
        reader = os.open(path, os.O_RDONLY | os.O_NONBLOCK)
    client.download("a", path)
    assert server.stalled.wait(30)
    with within(3 + HELD_UP_S):
        assert client.cancel() == (0, 0, 1)
    assert client.state().job_result == wire.CANCELED
    assert os.path.exists(path) == (kind != "file")
    if kind == "pipe":
        os.close(reader)


def test_a_cancelled_download_leaves_the_file_that_took_its_name(
    daemon, scripted, network_manager, local
):
    server = scripted(Plan(send=send_then("stall", 0)), files={"a": b"1"})
    client.download("a", local / "a")
    assert server.stalled.wait(30)
    (local / "other").write_bytes(b"kept")
    (local / "other").rename(local / "a")
    assert client.cancel() == (0, 0, 1)
    assert client.state().job_result == wire.CANCELED
    assert (local / "a").read_bytes() == b"kept"


def replaced(path):
    other = path.with_name("other")
    other.write_bytes(b"another file")
    other.rename(path)


def lengthened(path):
    path.write_bytes(bytes(5000))


@pytest.mark.parametrize("change", [pathlib.Path.unlink, replaced, lengthened])
def test_a_download_whose_file_is_changed_meanwhile_fails_with_9(
    daemon, scripted, network_manager, log, local, change
):
    server = scripted(files={"a": b"content"})
    may_send = server.hold("RETR")
    client.download("a", local / "a")
    server.wait_for_command("RETR")
    change(local / "a")
    may_send.set()
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == LOCAL_WRITE
    log.wait_for(r"^error: curl_func\(655\): The local file was changed or replaced while it was")


def test_where_a_download_can_go(daemon, scripted, jobs, local):
    scripted(files={"a": b"content"})
    make_irregular(local, link="target", circle="circle", out="missing/target")
    (local / "old").write_bytes(bytes(9999))
    cases = {
        local / "link": (0, 0),
        local / "old": (0, 0),
        "/dev/null": (0, 0),
        "/dev/full": LOCAL_WRITE,
        local: LOCAL_WRITE,
        local / "socket": LOCAL_WRITE,
        local / "circle": LOCAL_WRITE,
        local / "out": LOCAL_WRITE,
        "/proc/version": LOCAL_WRITE,
        "/proc/self/mem": LOCAL_WRITE,
        "": LOCAL_WRITE,
    }
    for path, expected in cases.items():
        assert jobs.download("a", path).outcome == expected, path
    assert (local / "target").read_bytes() == (local / "old").read_bytes() == b"content"
    assert stat.S_ISCHR(os.stat("/dev/null").st_mode)


# --- save_path


@pytest.mark.parametrize("protocol", [wire.FTPS_EXPLICIT, wire.SFTP])
def test_where_an_identity_can_be_saved(daemon, jobs, local, protocol):
    if protocol == wire.SFTP:
        Sshd(HostKey()).put("a", b"content")
    else:
        TlsServer(control=Certificate(), protocol=protocol, files={"a": b"content"})
    make_irregular(local, link="target", circle="circle", out="missing")
    (local / "target").write_bytes(b"old")
    cannot = (1, wire.SECURE_5)
    cases = {
        local / "link": (0, 0),
        "/dev/null": (0, 0),
        local / "pipe": cannot,
        local / "socket": cannot,
        local: cannot,
        local / "circle": cannot,
        local / "out": cannot,
        "/proc/version": cannot,
    }
    fields = {"protocol": protocol, "port": 22 if protocol == wire.SFTP else 21}
    for path, expected in cases.items():
        assert jobs.download("a", local / "a", **fields, save_path=path).outcome == expected, path
    said = (local / "target").read_text()
    assert said.startswith("ssh-" if protocol == wire.SFTP else "-----BEGIN CERTIFICATE-----")
    assert (local / "link").is_symlink() and (local / "pipe").is_fifo()
    assert stat.S_ISCHR(os.stat("/dev/null").st_mode)
