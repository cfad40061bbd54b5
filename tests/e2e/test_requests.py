"""Which requests are refused before they reach an engine: answered 1 and 5, and nothing starts."""

import pytest

from harness import client, wire
from harness.scripted import Plan, send_then

REFUSED = (1, wire.INTERNAL)
STARTS = [wire.DOWNLOAD, wire.UPLOAD, wire.DL_FILE_INFO]
NAMES = {
    wire.DOWNLOAD: (393, "command_download"),
    wire.UPLOAD: (433, "command_upload"),
    wire.DL_FILE_INFO: (570, "command_dl_file_info"),
}


def reply(result, detail, command):
    return client.head(command, 8) + result.to_bytes(4, "little") + detail.to_bytes(4, "little")


def nothing_started(log, command, times=1):
    number, name = NAMES[command]
    log.wait_for(rf"^error: ftp_clientd\({number}\): {name}\(\): Failed\(5\)\n$", times)
    assert len(log.errors()) == times
    assert client.nothing() == (0, wire.INTERNAL)
    assert client.state()[:6] == (0, 0, 0, 0, 0, 0)


@pytest.mark.parametrize("command", STARTS)
def test_a_body_shorter_than_a_request_is_refused(daemon, log, command):
    for length in (0, 1, 1292, 2076, 2079):
        body = wire.request(remote_path="a", local_path="/run/world/local/a")[:length]
        assert client.ask_raw(client.head(command, length) + body) == reply(
            *REFUSED, command
        ), length
    nothing_started(log, command, times=5)


@pytest.mark.parametrize("length", [2081, 4096, 65536])
def test_a_longer_body_is_accepted(daemon, scripted, network_manager, local, length):
    scripted(files={"a": b"content"})
    body = wire.request(remote_path="a", local_path=local / "a").ljust(length, b"\xff")
    assert client.ask_raw(client.head(wire.DOWNLOAD, length) + body) == reply(0, 0, wire.DOWNLOAD)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"content"


@pytest.mark.parametrize("command", STARTS)
def test_a_string_without_terminator_is_refused(daemon, log, command):
    fields = [("remote_path", 512), ("host", 256), ("username", 32), ("password", 224)]
    for field, width in fields:
        asked = {"remote_path": "a", "local_path": "/run/l", field: "x" * width}
        assert client.start(command, **asked) == REFUSED, field
    nothing_started(log, command, times=len(fields))


@pytest.mark.parametrize("command", [wire.DOWNLOAD, wire.UPLOAD])
def test_a_local_path_without_terminator_is_refused(daemon, log, command):
    assert client.start(command, remote_path="a", local_path="x" * 256) == REFUSED
    nothing_started(log, command)


def test_file_information_does_not_read_the_local_path(daemon, network_manager):
    assert client.file_info("a", local_path="x" * 256, port=1) == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_FILE_INFO).outcome == (1, wire.NETWORK)


def test_a_proxy_host_without_terminator_is_refused_when_there_is_a_proxy(daemon, log):
    for proxy_type in (1, 2, 7):
        assert (
            client.download("a", "/run/l", proxy_host="x" * 256, proxy_type=proxy_type) == REFUSED
        ), proxy_type
    nothing_started(log, wire.DOWNLOAD, times=3)


def test_a_proxy_host_is_not_read_without_a_proxy(daemon, scripted, network_manager, local):
    scripted(files={"a": b"1"})
    assert client.download("a", local / "a", proxy_host="x" * 256) == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)


def test_a_save_path_without_terminator_is_refused_where_it_is_read(daemon, log):
    for protocol in (wire.FTPS_IMPLICIT, wire.FTPS_EXPLICIT, wire.SFTP):
        assert (
            client.download("a", "/run/l", save_path="x" * 259, protocol=protocol) == REFUSED
        ), protocol
    nothing_started(log, wire.DOWNLOAD, times=3)


@pytest.mark.parametrize("protocol", [wire.FTP, 6, 0xFFFFFFFF])
def test_plain_ftp_never_reads_the_save_path(daemon, scripted, network_manager, local, protocol):
    scripted(files={"a": b"1"})
    assert client.download("a", local / "a", save_path="x" * 259, protocol=protocol) == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)


@pytest.mark.parametrize("command", STARTS)
def test_a_remote_path_that_a_url_cannot_carry_is_refused(daemon, log, command):
    paths = ["a#b", "a?b", "#", "dir/?", "a\nb", "a\rb", "a\r\nDELE b", "end\n"]
    for remote_path in paths:
        assert (
            client.start(command, remote_path=remote_path, local_path="/run/l") == REFUSED
        ), remote_path
    nothing_started(log, command, times=len(paths))


def test_a_second_command_line_in_the_credentials_is_refused(daemon, log):
    texts = ["a\r\nDELE b", "a\n", "\r"]
    for text in texts:
        assert client.download("a", "/run/l", username=text) == REFUSED, text
        assert client.download("a", "/run/l", password=text) == REFUSED, text
    nothing_started(log, wire.DOWNLOAD, times=2 * len(texts))


def test_credentials_may_hold_what_a_path_may_not(daemon, scripted, network_manager, local):
    name = "u#?@:/%;&é"
    server = scripted(files={"a": b"1"})
    assert client.download("a", local / "a", username=name, password=name) == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert server.commands[:2] == [f"USER {name}", f"PASS {name}"]


@pytest.mark.parametrize(
    "fields",
    [
        {"remote_path": "x" * 511},
        {"host": "127.0.0.1" + "\0" * 247},
        {"username": "u" * 31},
        {"password": "p" * 223},
    ],
    ids=["remote_path", "host", "username", "password"],
)
def test_the_longest_string_of_each_field_is_accepted(
    daemon, scripted, network_manager, local, fields
):
    name = fields.get("remote_path", "a")
    server = scripted(files={name: b"1"})
    assert client.start(
        wire.DOWNLOAD, **{"remote_path": "a", "local_path": local / "a"} | fields
    ) == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert f"RETR {name}" in server.commands
    assert f"USER {fields.get('username', 'alice')}" in server.commands
    assert f"PASS {fields.get('password', 'secret')}" in server.commands


def zixi_request(offset, text):
    body = bytearray(wire.request(remote_path="d/a", local_path="/run/l", protocol=wire.ZIXI_4))
    body[offset : offset + len(text)] = text
    return bytes(body)


@pytest.mark.parametrize(
    "offset, text", [(1092, b"u" * 64), (1156, b"p" * 128)], ids=["user", "password"]
)
def test_zixi_credentials_without_terminator_are_refused(daemon, log, offset, text):
    # The user name's field ends where the password's begins.
    assert client.ask(wire.UPLOAD, zixi_request(offset, text)) == reply(*REFUSED, wire.UPLOAD)[8:]
    nothing_started(log, wire.UPLOAD)


def test_a_refused_request_does_not_change_the_active_engine(daemon, scripted, local):
    server = scripted(Plan(send=send_then("stall", 10)), files={"a": bytes(20)})
    client.download("a", local / "a")
    server.stalled.wait(30)
    assert client.download("x" * 512, "/run/l", protocol=wire.ZIXI_4) == REFUSED
    # Still libcurl's job that state and cancel speak of.
    assert client.state()[:4] == (0, 0, 1, 1)
    assert client.cancel() == (0, 0, 1)


def test_a_refused_request_leaves_a_running_job_alone(daemon, scripted, network_manager, local):
    server = scripted(Plan(replies={"RETR": "150 wait"}), files={"a": b"1"})
    client.download("a", local / "a")
    server.wait_for_command("RETR")
    assert client.ask(wire.DOWNLOAD, b"") == reply(*REFUSED, wire.DOWNLOAD)[8:]
    assert client.state().running == 1
    assert client.cancel() == (0, 0, 1)
