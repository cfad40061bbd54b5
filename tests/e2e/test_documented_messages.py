"""The messages of docs/protocol.md, byte for byte, to and from the real daemon."""

import calendar
import pathlib
import re
import struct
import subprocess

import pytest

from harness import client, wire
from harness.scripted import Plan
from harness.sftp import HostKey, Sshd
from harness.vsftpd import Vsftpd, needs_users

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "protocol.md"
DUMP = re.compile(r"<!-- dump: ([\w-]+) -->\n```\n(.*?)```\n", re.DOTALL)
LINE = re.compile(r"([0-9a-f]{4})  (?:00 \((\d+) times\)|((?:[0-9a-f]{2}(?: |$))+))(?: .*)?")

ADDRESS = "192.0.2.10"  # the page's server
CONTENT = b"Hello from the FTP server.\n"
ELAPSED = slice(16, 24)  # of an exec_info_t: the one field that differs from job to job
DIGEST = slice(8 + 1561, 8 + 1577)  # of a request with its head


def documented():
    """{name: bytes} of the page."""
    messages = {}
    for name, text in DUMP.findall(PAGE.read_text()):
        message = b""
        for line in text.splitlines():
            offset, zeros, pairs = LINE.fullmatch(line).groups()
            assert int(offset, 16) == len(message), line
            message += bytes(int(zeros)) if zeros else bytes.fromhex(pairs)
        messages[name] = message
    return messages


MESSAGES = documented()


def without_elapsed(message, exec_info_at):
    start = exec_info_at + ELAPSED.start
    (seconds,) = struct.unpack_from("<d", message, start)
    assert 0 < seconds < 30
    return message[:start] + bytes(8) + message[start + 8 :]


@pytest.fixture
def server():
    """Adds the page's server to this world; the test starts its programs."""
    needs_users()
    subprocess.run(["ip", "address", "add", f"{ADDRESS}/32", "dev", "lo"], check=True)


def test_a_download_its_state_and_its_notice(daemon, server, network_manager):
    assert network_manager.wait_for(wire.NOTICE_STARTED).raw == MESSAGES["notice-started"]
    Vsftpd(listen_address="0.0.0.0").put("settings/camera1.json", CONTENT)
    assert client.ask_raw(MESSAGES["request-download"]) == MESSAGES["reply-started"]
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD).raw
    assert without_elapsed(notice, 20) == without_elapsed(MESSAGES["notice-download"], 20)
    assert pathlib.Path("/run/settings.json").read_bytes() == CONTENT
    state = client.ask_raw(MESSAGES["request-state"])
    assert without_elapsed(state, 32) == without_elapsed(MESSAGES["reply-state"], 32)
    assert client.ask_raw(client.head(wire.CANCEL, 0)) == MESSAGES["reply-cancel"]


def test_file_information(daemon, server, network_manager):
    modified = calendar.timegm((2012, 1, 15, 12, 0, 0))
    Vsftpd(listen_address="0.0.0.0").put("settings/camera1.json", CONTENT, modified=modified)
    request = MESSAGES["request-download"]
    client.ask_raw(client.head(wire.DL_FILE_INFO, len(request) - 8) + request[8:])
    network_manager.wait_for(wire.NOTICE_FILE_INFO)
    reply = client.ask_raw(client.head(wire.GET_FILE_INFO, 0))
    assert reply[:-4] == MESSAGES["reply-file-information"][:-4]  # the tail is ignored


def test_an_upload_to_a_pinned_server(daemon, server, network_manager):
    key = HostKey()
    sshd = Sshd(key, ListenAddress=f"{ADDRESS}:22\nListenAddress 127.0.0.1:22")
    pathlib.Path("/run/recording.ts").write_bytes(CONTENT)
    request = MESSAGES["request-upload"]

    # No real server has the page's digest.
    client.ask_raw(request)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (1, wire.HOSTKEY_MISMATCH)
    assert pathlib.Path("/run/host_key.pub").read_text().split()[:2] == key.fields

    client.ask_raw(request[: DIGEST.start] + key.md5 + request[DIGEST.stop :])
    assert network_manager.wait_for(wire.NOTICE_UPLOAD, 2).outcome == (0, 0)
    assert sshd.read("archive/recording.ts") == CONTENT


def test_an_upload_during_another_job_is_refused(daemon, scripted, local):
    server = scripted(Plan(replies={"RETR": "150 wait"}), files={"a": b"abc"})
    client.download("a", local / "a")
    server.wait_for_command("RETR")
    assert client.ask_raw(MESSAGES["request-upload"]) == MESSAGES["reply-busy"]
    client.cancel()
