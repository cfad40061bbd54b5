"""Another libzixiFeeder.so replaces the one built here, without a rebuild."""

import pathlib

import pytest

from harness import client, feeder
from harness.daemon import SPEED, program
from harness.waiting import wait_until

GB = 1000000000


@pytest.fixture
def other_library():
    """Built without this project's headers. It stores nothing: it prints its arguments on the
    console, and its progress is 4.5 of 6 GB, then all."""
    folder = pathlib.Path(program()[-1]).parent.parent / "tests" / "other_feeder"
    assert (folder / "libzixiFeeder.so").exists(), "not built: other_feeder"
    return folder


@pytest.fixture
def daemon_with_it(launch, other_library):
    return launch(speed=SPEED, LD_LIBRARY_PATH=str(other_library))


def loaded(daemon):
    maps = pathlib.Path(f"/proc/{daemon.pid}/maps").read_text().splitlines()
    return {line.split()[-1] for line in maps if line.endswith("/libzixiFeeder.so")}


def test_the_library_of_the_path_is_loaded_instead_of_the_one_beside_the_daemon(
    daemon_with_it, other_library, log
):
    assert loaded(daemon_with_it) == {str(other_library / "libzixiFeeder.so")}
    log.wait_for(r"^zixi_func\(180\): libZixifeeder/9\.8\.7\.6\n$")


def test_without_a_path_the_one_beside_the_daemon_is_loaded(daemon):
    beside = pathlib.Path(program()[-1]).parent.parent / "lib" / "libzixiFeeder.so"
    assert loaded(daemon) == {str(beside.resolve())}


def parameter_block(console):
    """{offset: byte}; the pointer at 8 is left out, its text is printed instead."""
    block = {}
    for line in console.text.splitlines():
        for first, name in ((0, "other feeder: 0-7 "), (16, "other feeder: 16-71 ")):
            if line.startswith(name):
                block |= enumerate(bytes.fromhex(line.removeprefix(name)), first)
    assert len(block) == 64
    return block


@pytest.mark.parametrize("resume, overwrite", [(0, 1), (1, 0), (7, 0)])
def test_it_gets_and_gives_what_the_one_built_here_does(
    daemon_with_it, jobs, log, console, local, resume, overwrite
):
    request = {"host": "broadcaster", "port": 65535, "resume": resume}
    notice = jobs.zixi_upload(local / "clip.ts", "d/e/x", user="ünal", password="p w", **request)
    assert notice.outcome == (0, 0)
    assert notice.sizes == (6 * GB, 6 * GB)
    assert notice.exec_info[3:] == (0, 0, 3, 0, 0)
    assert client.state()[:6] == (0, 0, 0, 2, 0, 0)
    wait_until(lambda: "closed\n" in console.text, "the library's last line")
    lines = console.text.splitlines()
    assert lines[0] == "other feeder: ünal/p w"
    assert lines[1] == f"other feeder: {local}/clip.ts to broadcaster in d/e"
    assert lines[-1] == "other feeder: closed"
    block = parameter_block(console)
    assert [block[at] for at in (0, 1)] == [0xFF, 0xFF]
    for at, width, value in ((4, 4, 1430), (24, 8, 50000000), (32, 1, 0), (36, 4, 3)):
        assert bytes(block[at + i] for i in range(width)) == value.to_bytes(width, "little")
    assert block[45] == overwrite
    first, last = feeder.samples(log)
    assert first[:3] == (75, 4500, 6000)
    assert 1000 < first.speed_kbits_s <= 4.5 * GB * 8 / 999
    assert last == (100, 6000, 6000, 0, 0, -1)
    assert feeder.said(log) == [feeder.DONE]
