"""Files of another user in a folder as /tmp is: what the kernel refuses, and that 0 is true then."""

import os
import pathlib

import pytest

from harness import wire
from harness.sftp import HostKey, Sshd
from harness.vsftpd import one_user_only


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


def test_a_foreign_file_in_a_sticky_folder_is_written_as_protected_regular_has_it(daemon, scripted, jobs, log, local):
    """The kernel forbids even root to open it with O_CREAT."""
    scripted(files={"a": b"content"})
    file = foreign_file(local)
    outcome = jobs.download("a", file).outcome
    if is_protected():
        assert (outcome, file.read_bytes()) == ((1, wire.LOCAL_WRITE), b"theirs")
        log.wait_for(r"^error: curl_func\(615\): errno\(13\) Permission denied\n$")
    else:
        assert (outcome, file.read_bytes()) == ((0, 0), b"content")


def test_a_foreign_file_in_a_sticky_folder_is_uploaded(daemon, scripted, jobs, local):
    """Nothing is created there: fs.protected_regular does not matter."""
    server = scripted()
    assert jobs.upload(foreign_file(local), "a").outcome == (0, 0)
    assert server.stored == [("STOR", "a", b"theirs")]


def test_an_identity_saved_in_place_of_a_foreign_file_is_whole_or_the_job_fails(daemon, jobs, local):
    """As fs.protected_regular has it."""
    file = foreign_file(local)
    Sshd(HostKey()).put("a", b"content")
    outcome = jobs.download("a", local / "a", save_path=file, **wire.by(wire.SFTP)).outcome
    if outcome == (0, 0):
        assert file.read_text().startswith("ssh-") and file.read_text().endswith("\n")
    else:
        assert outcome == (1, wire.SECURE_5)
        assert file.read_bytes() == b"theirs"
