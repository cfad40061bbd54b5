"""Requests that are refused before they reach an engine: the reply is 1 and 5, and nothing starts."""

import pytest

from harness import client, wire
from harness.scripted import Plan, send_then

REFUSED = (1, wire.INTERNAL)


def reply(result, detail, command):
    return client.head(command, 8) + result.to_bytes(4, "little") + detail.to_bytes(4, "little")


@pytest.mark.parametrize("command", wire.STARTS)
def test_a_body_shorter_than_a_request_is_refused(daemon, log, command):
    for length in (0, 1, 1292, 2076, 2079):
        body = wire.request(remote_path="a", local_path="/run/world/local/a")[:length]
        assert client.ask_raw(client.head(command, length) + body) == reply(*REFUSED, command), length
    assert log.errors() == [f"error: {wire.STARTS[command].named}: Failed(5)\n"] * 5
    assert client.nothing() == (0, wire.INTERNAL)
    assert client.state()[:6] == (0, 0, 0, 0, 0, 0)


@pytest.mark.parametrize("length", [2081, 4096, 65536])
def test_a_longer_body_is_accepted(daemon, scripted, network_manager, local, length):
    scripted(files={"a": b"content"})
    body = wire.request(remote_path="a", local_path=local / "a").ljust(length, b"\xff")
    assert client.ask_raw(client.head(wire.DOWNLOAD, length) + body) == reply(0, 0, wire.DOWNLOAD)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"content"


def test_file_information_does_not_read_the_local_path(daemon, jobs):
    assert jobs.file_info("a", local_path="x" * 256, port=1).outcome == (1, wire.NETWORK)


# Not read: a proxy's host without a proxy, and the path of an identity in plain FTP.
UNREAD = [{"proxy_host": "x" * 256}]
UNREAD += [{"save_path": "x" * 259, "protocol": protocol} for protocol in (wire.FTP, 6, 0xFFFFFFFF)]
LONGEST = {
    "remote_path": {"remote_path": "x" * 511},
    "host": {"host": "127.0.0.1" + "\0" * 247},
    "username": {"username": "u" * 31},
    "password": {"password": "p" * 223},
    # Credentials may contain what a path may not.
    "credentials": {"username": "u#?@:/%;&é", "password": "u#?@:/%;&é"},
}


def test_unread_strings_may_be_anything_and_the_longest_strings_are_accepted(daemon, scripted, jobs, local):
    server = scripted(files={"a": b"1", "x" * 511: b"1"})
    for fields in [*UNREAD, *LONGEST.values()]:
        asked = {"remote_path": "a", "username": "alice", "password": "secret"} | fields
        assert jobs.download(local_path=local / "a", **asked).outcome == (0, 0), fields
        commands = server.sessions[-1].commands
        assert commands[:2] == [f"USER {asked['username']}", f"PASS {asked['password']}"]
        assert f"RETR {asked['remote_path']}" in commands


def test_a_refused_request_leaves_a_running_job_and_the_active_engine_alone(daemon, scripted, local):
    server = scripted(Plan(send=send_then("stall", 10)), files={"a": bytes(20)})
    client.download("a", local / "a")
    server.stalled.wait(30)
    assert client.ask(wire.DOWNLOAD, b"") == reply(*REFUSED, wire.DOWNLOAD)[8:]
    assert client.download("x" * 512, "/run/l", protocol=wire.ZIXI_4) == REFUSED
    # State and cancel are still about libcurl's job.
    assert client.state()[:4] == (0, 0, 1, 1)
    assert client.cancel() == (0, 0, 1)
