"""What 32 bits cannot hold: files above 4 GiB, and dates after 2038."""

import os

import pytest

from harness import client, feeder
from harness.content import sparse

SIZE = 5 << 30
TAIL = b"what the server lacks"
AFTER_2038 = 4102444800  # 2100-01-01, in seconds since 1970


def test_an_upload_is_resumed_beyond_4_gib(daemon, vsftpd, jobs, local):
    stored = sparse(vsftpd.put("film.ts"), SIZE)
    sparse(local / "film.ts", SIZE, TAIL)
    jobs.file_info("film.ts")
    assert client.get_file_info().size == SIZE
    assert jobs.upload(local / "film.ts", "film.ts", resume=1).outcome == (0, 0)
    assert stored.stat().st_size == SIZE + len(TAIL)
    with open(stored, "rb") as file:
        file.seek(SIZE - 2)
        assert file.read() == bytes(2) + TAIL


@pytest.mark.parametrize("engine", ["libcurl", "zixi"])
def test_a_file_dated_after_2038_is_uploaded(feed, vsftpd, jobs, local, engine):
    feed(speed=1)
    (local / "a").write_bytes(b"a century old")
    os.utime(local / "a", (AFTER_2038, AFTER_2038))
    upload = {"libcurl": jobs.upload, "zixi": jobs.zixi_upload}[engine]
    assert upload(local / "a", "a").outcome == (0, 0)
    stored = {"libcurl": vsftpd.read, "zixi": lambda name: feeder.stored()[name]}[engine]
    assert stored("a") == b"a century old"
