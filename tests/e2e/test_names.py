"""A job touches the named file or none: generated names, hosts, credentials and login directories on every server.

Many more: tests/torture/names. The rules: harness/names.py."""

import os

import pytest

from harness import client, wire
from harness.daemon import WORLD
from harness.name_jobs import RIGHT
from harness.name_logins import move_home
from harness.name_rows import ROWS, again, make_trial
from harness.sftp import HostKey, Sshd

SEED = 1
NAMES = {"bytes": 90, "openssh": 24, "openssh-logins": 18}
USUAL = 36


@pytest.mark.parametrize("row", ROWS)
def test_a_job_touches_the_named_file_or_none(fast_daemon, network_manager, local, row):
    trial = make_trial(row, network_manager, local)
    for number in range(NAMES.get(row, USUAL)):
        wrong = trial.try_number(SEED, number)
        assert not wrong, f"{wrong}\n{again(row, SEED, number)}"
    assert any(times for (_, what), times in trial.counts.items() if what == RIGHT)


def test_a_login_directory_that_is_the_root(fast_daemon, jobs, local):
    """Then nothing is put before the path, and libcurl takes "/~" as the login directory."""
    jail = WORLD / "jail"
    jail.mkdir()
    move_home(b"/")
    Sshd(HostKey(), ChrootDirectory=jail)
    contents = {"f": b"1", "~/f": b"22", "d/f": b"333", "g": b"4444"}
    for path in contents:
        (jail / path).parent.mkdir(exist_ok=True)
        (jail / path).touch()
        (jail / path).chmod(0o666)
    (local / "source").write_bytes(b"uploaded")
    for name in ("~/f", "/~/f", "./~/f", "d/f", "f", "~/", "~", "/~"):
        for path, content in contents.items():
            (jail / path).write_bytes(content)
        play_all_three(name, jobs, local, contents)
        after = {path: (jail / path).read_bytes() for path in contents}
        assert after == contents | {path: b"uploaded" for path in contents if path == meant_by(name)}, name


def meant_by(name):
    return os.path.normpath(name.lstrip("/"))


def play_all_three(name, jobs, local, contents):
    """Over SFTP. A path that names no file gets an error, except that one ending in '/' gets a listing."""
    fields = {"protocol": wire.SFTP, "port": 22}
    content = contents.get(meant_by(name))
    due = (1, wire.NETWORK) if content is None else (0, 0)
    downloaded = jobs.download(name, local / "target", **fields).outcome
    assert downloaded == due or name.endswith("/"), (name, downloaded)
    assert content is None or (local / "target").read_bytes() == content, name
    jobs.file_info(name, **fields)
    info = client.get_file_info()
    assert (info.exists, info.size) == ((0, 0) if content is None else (1, len(content))), name
    assert jobs.upload(local / "source", name, **fields).outcome == due, name
