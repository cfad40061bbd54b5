"""A daemon with its own view of the file system, as its unit may set up: ftpctl reports this before it starts a job."""

import os

import pytest

from harness import client, contention, ftpctl
from harness.daemon import WORLD
from harness.sftp import HostKey, Sshd
from harness.vsftpd import one_user_only
from harness.waiting import DEADLINE_S
from harness.wire import NOTICE_STARTED

ALICE = "ftp://alice@127.0.0.1"
DONE, LOCAL_READ, OUT_OF_SIGHT = 0, 30, 13

# The effect of a unit's setting on the folder $0.
SETTINGS = {
    "PrivateTmp": 'mount --no-mtab -t tmpfs -o mode=1777 tmpfs "$0"',
    "ProtectHome=yes": 'mount --no-mtab -t tmpfs -o ro,mode=000 tmpfs "$0"',
    "ProtectHome=read-only": 'mount --no-mtab --bind "$0" "$0" && mount --no-mtab -o remount,bind,ro "$0"',
}


@pytest.fixture
def apart(unstarted, network_manager, local):
    """Starts the daemon with a unit's setting applied to the folder of local files."""

    def start(setting):
        unshare = ["unshare", "--mount", "--propagation", "private", "sh", "-c"]
        unstarted.start(wrapper=[*unshare, f'{SETTINGS[setting]} && exec "$@"', local])
        network_manager.wait_for(NOTICE_STARTED)

    return start


@pytest.fixture
def shared():
    """A folder that ftpctl and the daemon share."""
    folder = WORLD / "shared"
    folder.mkdir()
    return folder


def refused(*words, path, **variables):
    """It must fail before a job starts, with one sentence that names the path."""
    before = client.state()
    told = ftpctl.run("--json", *words, **variables)
    assert (told.status, told.json["error"]) == (OUT_OF_SIGHT, "out-of-sight"), told
    assert str(path) in told.err and "ProtectHome and PrivateTmp" in told.err, told.err
    assert (told.json["job"], client.state()) == (None, before)
    return told


@pytest.mark.parametrize("setting", ["PrivateTmp", "ProtectHome=yes"])
def test_a_private_folder_of_the_daemon_is_refused_before_the_job(apart, vsftpd, local, shared, setting):
    apart(setting)
    vsftpd.put("a", b"remote")
    for folder in (local, shared):
        (folder / "b").write_bytes(b"mine")
    for words in (["put"], ["put", "--no-wait"], ["put", "--resume"], ["put", "--verify"]):
        refused(*words, local / "b", f"{ALICE}/b", path=local / "b")
    refused("get", f"{ALICE}/a", local / "a", path=local / "a")
    refused("get", "--no-wait", f"{ALICE}/a", local / "a", path=local / "a")
    assert os.listdir(local) == ["b"] and not (vsftpd.home / "b").exists()
    assert ftpctl.run("put", shared / "b", f"{ALICE}/b").status == DONE
    assert ftpctl.run("get", f"{ALICE}/a", shared / "a").status == DONE
    assert (vsftpd.read("b"), (shared / "a").read_bytes()) == (b"mine", b"remote")


def test_a_download_into_a_folder_read_only_for_the_daemon_is_refused(apart, vsftpd, local):
    apart("ProtectHome=read-only")
    vsftpd.put("a", b"remote")
    (local / "a").write_bytes(b"old")
    assert "read-only" in refused("get", f"{ALICE}/a", local / "a", path=local / "a").err
    assert (local / "a").read_bytes() == b"old" and os.listdir(local) == ["a"]
    assert ftpctl.run("put", local / "a", f"{ALICE}/b").status == DONE
    assert vsftpd.read("b") == b"old"


def test_where_the_identity_of_a_server_cannot_be_saved_the_remedy_is_named(apart, local, shared):
    apart("PrivateTmp")
    Sshd(HostKey())
    words = ["identity", "sftp://alice@127.0.0.1"]
    told = ftpctl.run(*words, TMPDIR=str(local))
    assert told.status == OUT_OF_SIGHT and "set TMPDIR to a folder that it shares" in told.err, told
    assert ftpctl.run(*words, TMPDIR=str(shared)).status == DONE


def test_a_user_without_rights_over_the_daemon_gets_the_same_answer(apart, vsftpd, local):
    if one_user_only():
        pytest.skip("needs a second user")
    apart("PrivateTmp")
    (local / "a").write_bytes(b"mine")
    os.chmod(client.CONTROL_SOCKET, 0o777)
    alice = {"user": "alice", "group": "alice", "extra_groups": []}
    process = ftpctl.start("put", local / "a", f"{ALICE}/a", **alice)
    _, err = process.communicate(timeout=DEADLINE_S)
    assert process.returncode == OUT_OF_SIGHT, err


def test_without_readable_mounts_the_failure_explains(daemon, vsftpd, local):
    for is_known, status, sentence in (
        (True, OUT_OF_SIGHT, "no job was started"),
        (False, LOCAL_READ, "the daemon cannot see or write"),
    ):
        folder = local / sentence
        folder.mkdir()
        process = ftpctl.start("put", folder / "f", f"{ALICE}/f", wrapper=contention.within(folder, is_known))
        _, err = process.communicate(timeout=DEADLINE_S)
        assert process.returncode == status, err
        assert sentence in err and "ProtectHome" in err, err
