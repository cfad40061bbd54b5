"""What 32 bits cannot hold: files above 4 GiB, and dates after 2038."""

import os

from harness import client, feeder, wire

SIZE = 5 << 30
TAIL = b"what the server lacks"
AFTER_2038 = 4102444800  # 2100-01-01, in seconds since 1970


def sparse(path, size, tail=b""):
    """Costs no room; its size is `size` and that of the tail."""
    with open(path, "r+b" if path.exists() else "wb") as file:
        file.truncate(size)
        file.seek(size)
        file.write(tail)


def test_an_upload_is_resumed_beyond_4_gib(daemon, vsftpd, network_manager, local):
    sparse(vsftpd.put("film.ts"), SIZE)
    sparse(local / "film.ts", SIZE, TAIL)
    assert client.file_info("film.ts") == (0, 0)
    network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert client.get_file_info().size == SIZE
    assert client.upload(local / "film.ts", "film.ts", resume=1) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (0, 0)
    stored = vsftpd.path("film.ts")
    assert stored.stat().st_size == SIZE + len(TAIL)
    with open(stored, "rb") as file:
        file.seek(SIZE - 2)
        assert file.read() == bytes(2) + TAIL


def test_a_file_dated_after_2038_is_uploaded(daemon, vsftpd, network_manager, local):
    (local / "a").write_bytes(b"a century old")
    os.utime(local / "a", (AFTER_2038, AFTER_2038))
    assert client.upload(local / "a", "a") == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert vsftpd.read("a") == b"a century old"


def test_zixi_uploads_a_file_dated_after_2038(unstarted, network_manager, local):
    feeder.start(unstarted, network_manager, speed=1)
    (local / "a").write_bytes(b"a century old")
    os.utime(local / "a", (AFTER_2038, AFTER_2038))
    assert feeder.upload(local / "a", "in/a") == (0, 0)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert list(feeder.stored().values()) == [b"a century old"]
