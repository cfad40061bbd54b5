"""Files of another user in a folder as /tmp is: what the kernel refuses, and that 0 is true then."""

import os
import pathlib

import pytest

from harness import client, wire
from harness.ftp_servers import one_user_only
from harness.sftp import HostKey, Sshd

LOCAL_WRITE = (1, wire.LOCAL_WRITE)


def outcome_of(network_manager, code):
    return network_manager.wait_for(code, 1).outcome


def foreign_file(local):
    """One of another user's, in a folder as /tmp is."""
    if one_user_only():
        pytest.skip("needs a second user")
    folder = local / "sticky"
    folder.mkdir()
    folder.chmod(0o1777)
    (folder / "a").write_bytes(b"theirs")
    os.chown(folder / "a", 4000, 4000)
    return folder / "a"


def is_protected():
    """fs.protected_regular, which no private world has to itself: 2 is what Debian sets, 0 lets everybody write."""
    return pathlib.Path("/proc/sys/fs/protected_regular").read_text().strip() != "0"


def test_a_foreign_file_in_a_sticky_folder_is_refused_under_protected_regular(
    daemon, scripted, network_manager, log, local
):
    """The kernel forbids even root to open it with O_CREAT."""
    if not is_protected():
        pytest.skip("fs.protected_regular is 0 on this machine")
    scripted(files={"a": b"content"})
    file = foreign_file(local)
    client.download("a", file)
    assert outcome_of(network_manager, wire.NOTICE_DOWNLOAD) == LOCAL_WRITE
    assert file.read_bytes() == b"theirs"
    log.wait_for(r"^error: curl_func\(615\): errno\(13\) Permission denied\n$")


def test_a_foreign_file_in_a_sticky_folder_is_written_without_protected_regular(
    daemon, scripted, network_manager, local
):
    if is_protected():
        pytest.skip("fs.protected_regular is not 0 on this machine")
    scripted(files={"a": b"content"})
    file = foreign_file(local)
    client.download("a", file)
    assert outcome_of(network_manager, wire.NOTICE_DOWNLOAD) == (0, 0)
    assert file.read_bytes() == b"content"


def test_a_foreign_file_in_a_sticky_folder_is_uploaded(daemon, scripted, network_manager, local):
    """Nothing is created there: fs.protected_regular does not matter."""
    server = scripted()
    client.upload(foreign_file(local), "a")
    assert outcome_of(network_manager, wire.NOTICE_UPLOAD) == (0, 0)
    assert server.stored == [("STOR", "a", b"theirs")]


def test_an_identity_saved_in_place_of_a_foreign_file_is_whole_or_the_job_fails(daemon, network_manager, local):
    """As fs.protected_regular has it."""
    file = foreign_file(local)
    Sshd(HostKey()).put("a", b"content")
    client.download("a", local / "a", protocol=wire.SFTP, port=22, save_path=file)
    if outcome_of(network_manager, wire.NOTICE_DOWNLOAD) == (0, 0):
        assert file.read_text().startswith("ssh-") and file.read_text().endswith("\n")
    else:
        assert network_manager.of_code(wire.NOTICE_DOWNLOAD)[0].outcome == (1, wire.SECURE_5)
        assert file.read_bytes() == b"theirs"
