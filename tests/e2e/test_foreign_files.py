"""Files of another user in a folder like /tmp: what the kernel refuses, and that result 0 is true."""

import os
import pathlib

import pytest

from harness import wire
from harness.sftp import HostKey, Sshd
from harness.vsftpd import one_user_only


def foreign_file(local):
    """A file of another user in a folder like /tmp."""
    if one_user_only():
        pytest.skip("needs a second user")
    folder = local / "sticky"
    folder.mkdir()
    folder.chmod(0o1777)
    (folder / "a").write_bytes(b"theirs")
    os.chown(folder / "a", 4000, 4000)
    return folder / "a"


def is_protected():
    """fs.protected_regular is the whole machine's: Debian sets 2, and 0 allows everybody to write."""
    return pathlib.Path("/proc/sys/fs/protected_regular").read_text().strip() != "0"


def test_a_foreign_file_in_a_sticky_folder_is_written_as_protected_regular_allows(daemon, scripted, jobs, log, local):
    """With it the kernel forbids even root to open the file with O_CREAT."""
    scripted(files={"a": b"content"})
    file = foreign_file(local)
    outcome = jobs.download("a", file).outcome
    if is_protected():
        assert (outcome, file.read_bytes()) == ((1, wire.LOCAL_WRITE), b"theirs")
        log.wait_for(r"^error: curl_func\(615\): errno\(13\) Permission denied\n$")
    else:
        assert (outcome, file.read_bytes()) == ((0, 0), b"content")


def test_a_foreign_file_in_a_sticky_folder_is_uploaded(daemon, scripted, jobs, local):
    """Nothing is created there, so fs.protected_regular does not matter."""
    server = scripted()
    assert jobs.upload(foreign_file(local), "a").outcome == (0, 0)
    assert server.stored == [("STOR", "a", b"theirs")]


def test_an_identity_saved_in_place_of_a_foreign_file_is_whole_or_the_job_fails(daemon, jobs, local):
    """Which of the two depends on fs.protected_regular."""
    file = foreign_file(local)
    Sshd(HostKey()).put("a", b"content")
    outcome = jobs.download("a", local / "a", save_path=file, **wire.by(wire.SFTP)).outcome
    if outcome == (0, 0):
        assert file.read_text().startswith("ssh-") and file.read_text().endswith("\n")
    else:
        assert outcome == (1, wire.SECURE_5)
        assert file.read_bytes() == b"theirs"
