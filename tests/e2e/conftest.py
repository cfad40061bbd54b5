"""Fixtures: the daemon and everything round it. Each test has a world of its own: see run."""

import os

import pytest

from harness import processes
from harness.daemon import SPEED, WORLD, Daemon, is_emulated, sanitizer_reports
from harness.log import ConsoleReader, LogReader
from harness.network_manager import NetworkManager
from harness.scripted import ScriptedServer
from harness.vsftpd import Vsftpd
from harness.wire import NOTICE_STARTED


LOG_LINES = 120  # shown after a failure


def pytest_configure(config):
    config.addinivalue_line(
        "markers", "timeout(seconds): the longest that tests/e2e/run lets a test take"
    )
    config.addinivalue_line("markers", "native(reason): cannot hold with an emulated daemon")


def pytest_collection_finish(session):
    if not session.config.option.collectonly and (os.getpid() != 1 or not WORLD.is_dir()):
        pytest.exit("these tests need a private world: use tests/e2e/run", returncode=3)


def pytest_runtest_setup(item):
    marker = item.get_closest_marker("native")
    if marker and is_emulated():
        pytest.skip(f"emulated: {marker.args[0]}")


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    outcome = yield
    report = outcome.get_result()
    seen = getattr(item, "funcargs", {})
    if report.failed and "log" in seen:
        lines = [line.text.rstrip("\n") for line in seen["log"].lines]
        title = (
            f"log of the daemon, the last {LOG_LINES} lines"
            if len(lines) > LOG_LINES
            else "log of the daemon"
        )
        report.sections.append((title, "\n".join(lines[-LOG_LINES:])))
        report.sections.append(("console", seen["console"].text))


@pytest.fixture
def log():
    return LogReader()


@pytest.fixture
def console():
    return ConsoleReader()


@pytest.fixture
def network_manager():
    return NetworkManager()


@pytest.fixture(autouse=True)
def no_process_left():
    yield
    processes.end_spawned()


@pytest.fixture
def unstarted(log, console):
    """A daemon to launch. After the test it has ended as the test asked, or must end well now."""
    daemon = Daemon()
    yield daemon
    died = daemon.pid is not None and not daemon.running
    status = daemon.wait_end() if died else daemon.stop() if daemon.pid else 0
    console.drain()
    assert not sanitizer_reports(), sanitizer_reports()
    assert "runtime error:" not in console.text, console.text
    assert not died, f"the daemon ended unasked, status {status}"
    assert status == 0, f"the daemon did not end well: {status}"


@pytest.fixture
def daemon(unstarted, network_manager):
    """A daemon that has told the network manager of its start."""
    unstarted.launch()
    unstarted.find()
    network_manager.wait_for(NOTICE_STARTED)
    return unstarted


@pytest.fixture
def fast_daemon(unstarted, network_manager):
    """The same with its clock running 10 times faster; servers and test keep the real time."""
    unstarted.launch(speed=SPEED)
    unstarted.find()
    network_manager.wait_for(NOTICE_STARTED)
    return unstarted


@pytest.fixture
def vsftpd():
    # A world made without root has one user id: vsftpd could not become alice.
    if int(open("/proc/self/uid_map").read().split()[2]) == 1:
        pytest.skip("vsftpd logs users in: needs root")
    return Vsftpd()


@pytest.fixture
def scripted():
    """Makes scripted servers: scripted(Plan(...), Plan(...), files={...})."""
    servers = []

    def make(*plans, **options):
        servers.append(ScriptedServer(*plans, **options))
        return servers[-1]

    yield make
    for server in servers:
        server.stop()


@pytest.fixture
def local():
    """The folder of the daemon's local files."""
    folder = WORLD / "local"
    folder.mkdir()
    return folder
