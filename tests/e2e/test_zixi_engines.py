"""Two engines in one daemon: only the engine of the last request is active."""

import pytest

from harness import client, feeder, wire
from harness.feeder import FOLDER, make_file
from harness.scripted import Plan
from harness.waiting import holds_for, wait_until

PASSES_S = 0.5  # in which the daemon's loop goes round several times


@pytest.fixture
def zixi(feed):
    """A daemon whose Zixi uploads take a second for a few bytes, and long for more."""
    return feed(speed=1, rate=10000)


@pytest.fixture
def idle_threads(zixi):
    return zixi.threads()


@pytest.fixture
def held(scripted):
    """An FTP server that holds an upload back until its gate is set."""
    server = scripted()
    server.gate = server.hold("STOR")
    return server


def start_held_upload(server, local):
    """A libcurl upload that waits for the gate."""
    (local / "curl").write_bytes(b"by libcurl")
    assert client.upload(local / "curl", "curl") == (0, 0)
    server.wait_for_command("STOR")


def start_long_upload(local):
    """A Zixi upload that takes 1000 seconds."""
    make_file(local / "long", 10000000)
    assert feeder.upload(local / "long", "long") == (0, 0)


def workers_end(daemon, idle_threads):
    its_own = 1 if daemon.has_sanitizer("t") else 0  # ThreadSanitizer's thread comes with the first worker
    wait_until(lambda: daemon.threads() <= idle_threads + its_own, "the end of all workers")


def is_of_zixi(notice):
    return notice.exec_info.response_code_type == 3


def test_both_run_side_by_side_and_only_the_last_ones_job_is_announced(
    zixi, idle_threads, held, jobs, network_manager, log, local
):
    start_held_upload(held, local)
    make_file(local / "zixi", 5)
    assert feeder.upload(local / "zixi", "zixi") == (0, 0)
    assert client.state()[:6] == (0, 0, 1, 2, 0, 0)
    held.gate.set()
    assert is_of_zixi(network_manager.wait_for(wire.NOTICE_UPLOAD))
    workers_end(zixi, idle_threads)
    assert [content for _, _, content in held.stored] == [b"by libcurl"]
    assert feeder.stored() == {"zixi": (local / "zixi").read_bytes()}
    assert holds_for(lambda: network_manager.codes == [3, 1], PASSES_S)
    # The libcurl job was never reported: the next start finds its worker unjoined, fails and forgets it.
    assert client.upload(local / "curl", "again") == (1, wire.INTERNAL)
    log.wait_for(r"^error: curl_func\(458\): errno\(\d+\) .*\n$")
    assert holds_for(lambda: network_manager.codes == [3, 1], PASSES_S)
    notice = jobs.upload(local / "curl", "again")
    assert notice.outcome == (0, 0) and not is_of_zixi(notice)
    assert network_manager.codes == [3, 1, 1]


STARTS = {
    wire.UPLOAD: lambda path: feeder.upload(path, "again"),
    wire.DL_FILE_INFO: lambda _: feeder.file_info(),
}


@pytest.mark.parametrize("command", STARTS)
def test_an_unreported_zixi_job_makes_the_next_start_fail(
    zixi, idle_threads, scripted, jobs, network_manager, log, local, command
):
    scripted(files={"a": b"1"})
    make_file(local / "zixi", 5)
    assert feeder.upload(local / "zixi", "zixi") == (0, 0)
    assert jobs.download("a", local / "a").outcome == (0, 0)
    workers_end(zixi, idle_threads)
    assert (FOLDER / "zixi").exists()
    assert holds_for(lambda: network_manager.codes == [3, 0], PASSES_S)
    # The start fails, and as the engine is active again, the worker is joined and reported,
    # but with the kind and result of the refused start.
    assert STARTS[command](local / "zixi") == (1, wire.INTERNAL)
    code = wire.STARTS[command].notice
    notice = network_manager.wait_for(code)
    assert notice.outcome == (1, wire.INTERNAL)
    assert notice.exec_info[:3] == (0, 0, 0)
    first, second, refused = [text for text in log.errors() if "(5)" in text or "zixi" in text]
    assert first.startswith("error: zixi_func(394): errno(")
    assert second == "error: zixi_func(401): failed to create thread.\n"
    assert refused == f"error: {wire.STARTS[command].named}: Failed(5)\n"
    assert feeder.upload(local / "zixi", "zixi") == (0, 0)
    expected = [3, 0, code, 1]
    wait_until(lambda: network_manager.codes == expected, "the report of the next upload")
    assert network_manager.notices[-1].outcome == (0, 0)


def test_a_busy_zixi_engine_refuses_with_3_and_continues(zixi, network_manager, log, local):
    start_long_upload(local)
    make_file(local / "other", 5)
    assert feeder.upload(local / "other", "other", protocol=wire.ZIXI_5) == (1, wire.BUSY)
    assert feeder.file_info() == (1, wire.BUSY)
    # Downloads are never supported.
    assert client.download("a", local / "a", protocol=wire.ZIXI_4) == (1, wire.NOT_SUPPORTED)
    refused = [(wire.UPLOAD, 3), (wire.DL_FILE_INFO, 3), (wire.DOWNLOAD, 15)]
    assert feeder.said(log) == [f"error: {wire.STARTS[command].named}: Failed({why})\n" for command, why in refused]
    log.wait_for(r"^zixi_func\(731\)")
    state = client.state()
    assert state[:6] == (0, 0, 1, 2, 0, 0)
    assert state.exec_info.total_size == 10000000
    assert client.cancel() == (0, 0, 2)


def test_neither_engine_is_busy_with_the_others_job(zixi, held, scripted, jobs, network_manager, local):
    start_held_upload(held, local)
    start_long_upload(local)
    assert feeder.upload(local / "long", "b") == (1, wire.BUSY)
    assert client.upload(local / "curl", "b") == (1, wire.BUSY)
    assert client.download("b", local / "b") == (1, wire.BUSY)
    # Even a request refused as busy selects its engine, here libcurl's.
    assert client.cancel() == (0, 0, 2)
    assert client.nothing() == (0, wire.BUSY)
    scripted(files={"a": b"1"}, port=2100)
    assert jobs.download("a", local / "a", port=2100).outcome == (0, 0)
    assert feeder.upload(local / "long", "b") == (1, wire.BUSY)
    assert client.cancel() == (0, 0, 2)
    assert network_manager.codes == [3, 0]


@pytest.mark.parametrize("protocol", [wire.ZIXI_4, wire.ZIXI_5])
def test_a_refused_zixi_download_makes_the_zixi_engine_active(
    zixi, idle_threads, held, network_manager, log, local, protocol
):
    start_held_upload(held, local)
    assert client.state().running == 1
    assert client.download("a", local / "a", protocol=protocol) == (1, wire.NOT_SUPPORTED)
    # Nothing has run there.
    assert client.state()[:6] == (0, 0, 0, 0, 0, 0)
    assert client.cancel() == (1, wire.NOT_RUNNING, 0)
    assert client.state()[:6] == (0, 0, 0, 0, 0, 1)
    held.gate.set()
    workers_end(zixi, idle_threads)
    assert holds_for(lambda: network_manager.codes == [3], PASSES_S)
    assert client.upload(local / "curl", "b") == (1, wire.INTERNAL)
    assert log.count(r"curl_func\(458\)") == 1


def test_a_busy_answer_makes_the_busy_engine_active_again(zixi, held, network_manager, local):
    start_held_upload(held, local)
    assert client.download("a", local / "a", protocol=wire.ZIXI_5) == (1, wire.NOT_SUPPORTED)
    assert client.upload(local / "curl", "b") == (1, wire.BUSY)
    held.gate.set()
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (0, 0) and not is_of_zixi(notice)
    assert network_manager.codes == [3, 1]


def test_an_invalid_request_keeps_the_active_engine(zixi, held, network_manager, local):
    start_held_upload(held, local)
    request = wire.request(remote_path="x" * 512, local_path="/run/l", protocol=wire.ZIXI_4)
    assert client.ask(wire.UPLOAD, request) == bytes([1, 0, 0, 0, 5, 0, 0, 0])
    assert client.state().running == 1
    held.gate.set()
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)


def test_a_cancel_reaches_the_engine_of_the_last_request_only(
    zixi, held, network_manager, log, local
):
    start_held_upload(held, local)
    start_long_upload(local)
    assert client.cancel() == (0, 0, 2)
    assert log.count(r"zixi_func\(756\)") == 1
    assert client.state()[:6] == (0, 0, 0, 2, wire.CANCELED, 1)
    # libcurl's job is not affected.
    assert client.upload(local / "curl", "b") == (1, wire.BUSY)
    assert client.state()[:6] == (0, 0, 1, 2, 0, 0)
    held.gate.set()
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert [content for _, _, content in held.stored] == [b"by libcurl"]
    assert network_manager.codes == [3, 1]


def test_file_information_comes_from_the_engine_of_the_last_request(zixi, scripted, jobs):
    scripted(Plan(listing=b"-rw-r--r--   1 user group   77 Dec 31  2012 a\r\n"))
    jobs.file_info("a")
    assert client.get_file_info()[:5] == (0, 0, 1, 1, 77)
    jobs.zixi_file_info()
    assert client.get_file_info()[:6] == (0, 0, 1, 0, -1, -1)
    # libcurl's engine has kept its file information.
    jobs.upload("/missing", "b")
    assert client.get_file_info()[4:6] == (77, 2012)
