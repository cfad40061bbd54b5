"""Fixtures: the daemon and everything around it. Each test has a world of its own: see run.

To write a test:

- Take the fixtures below that you need. For other servers, certificates, keys and proxies see harness/, for names that
  mislead harness/names.py. `jobs` runs a job until its notice, `look` a successful file-information job; for anything else
  use harness.client.
- Expectations come from the tables of docs/protocol.md, never from what the program printed. harness/wire.py intentionally
  repeats the byte tables instead of using the C headers.
- Wait for a condition (`wait_until`, `wait_for`), never for a fixed time. Servers and tests run in real time even when the
  daemon's clock is fast, so a limit of 60 s is 6 s here. A loaded machine may delay any process by 5 s (HELD_UP_S; LATE_S by
  the fast clock): every upper bound must allow for that.
- Each test ends by stopping the daemon. It fails if the daemon died before, did not end with status 0, or a sanitizer reported
  something. Scripted servers reply to QUIT unless the plan says otherwise.
- Put many inputs of one rule into a table in one test: a world takes half a second.
- Mark a test that may take longer than 120 s with @pytest.mark.timeout(seconds), one that cannot work with an emulated daemon
  with @pytest.mark.native(reason).
"""

import os
import signal

import pytest

from harness import client, feeder, processes, wire
from harness.content import MIB
from harness.daemon import SPEED, WORLD, Daemon, is_emulated, sanitizer_reports
from harness.installed import Installed
from harness.jobs import Jobs
from harness.log import ConsoleReader, LogReader
from harness.network_manager import NetworkManager
from harness.relay import Relay
from harness.scripted import Plan, ScriptedServer, take_slowly
from harness.sftp import HostKey, Sshd
from harness.squid import HttpProxy
from harness.vsftpd import Vsftpd
from harness.waiting import HELD_UP_S, within


LOG_LINES = 120  # shown after a failure


def pytest_configure(config):
    config.addinivalue_line("markers", "timeout(seconds): the longest that tests/e2e/run lets a test take")
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
        title = f"log of the daemon, the last of its {len(lines)} lines"
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


@pytest.fixture
def jobs(network_manager):
    """Runs jobs one after the other, each until its notice."""
    return Jobs(network_manager)


@pytest.fixture
def look(jobs):
    """A function for a look-up that must succeed; returns the reply to command 6."""

    def look_up(remote_path, **fields):
        notice = jobs.file_info(remote_path, **fields)
        assert notice.head == (10, 2, 1, 56, 0)
        assert notice.outcome == (0, 0)
        assert (notice.exec_info.curl_code, notice.exec_info.response_code) == (0, 226)
        return client.get_file_info()

    return look_up


@pytest.fixture(autouse=True)
def no_process_left():
    yield
    processes.end_spawned()


@pytest.fixture
def unstarted(log, console):
    """A daemon to launch. The test may have stopped it; otherwise it must now end with status 0."""
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
def endings(log, console, network_manager):
    """Launches a daemon for each pass of a loop. After the pass a signal must end it soon, with status 0."""

    def launch_each(times, **options):
        for ending in range(times):
            daemon = Daemon()
            daemon.start(**options)
            network_manager.wait_for(wire.NOTICE_STARTED, times=ending + 1)
            yield ending
            with within(2 + HELD_UP_S):
                assert daemon.stop((signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[ending // 3 % 3]) == 0
        assert "runtime error:" not in console.text
        assert not sanitizer_reports()

    return launch_each


@pytest.fixture
def launch(unstarted, network_manager):
    """Launches the daemon with these options and waits for its start notice."""

    def launch_it(**options):
        unstarted.start(**options)
        network_manager.wait_for(wire.NOTICE_STARTED)
        return unstarted

    return launch_it


@pytest.fixture
def daemon(launch):
    """A daemon that has sent its start notice."""
    return launch()


@pytest.fixture
def fast_daemon(launch):
    """The same with its clock 10 times faster; servers and tests run in real time."""
    return launch(speed=SPEED)


@pytest.fixture
def feed(launch):
    """Launches a fast daemon with settings for its Zixi library: see feeder.knobs()."""
    return lambda speed=SPEED, **knobs: launch(speed=speed, **feeder.knobs(**knobs))


@pytest.fixture
def vsftpd():
    return Vsftpd()


@pytest.fixture
def sshd():
    return Sshd(HostKey())


def maker(make):
    """For fixtures: yields a function that makes servers, and stops those at the end."""
    servers = []

    def make_one(*plans, **options):
        servers.append(make(*plans, **options))
        return servers[-1]

    yield make_one
    for server in servers:
        server.stop()


@pytest.fixture
def scripted():
    """Makes scripted servers: scripted(Plan(...), Plan(...), files={...})."""
    yield from maker(ScriptedServer)


@pytest.fixture
def scripted_tls():
    """The same with TLS: scripted_tls(Plan(...), control=Certificate(), ...)."""
    from harness.tls import TlsServer  # imported only here: it is slow

    yield from maker(TlsServer)


@pytest.fixture
def slow(request, scripted, scripted_tls):
    """The fields of a server that receives slowly; the parameter is a name in wire.PROTOCOLS."""
    from harness.tls import Certificate

    protocol = wire.PROTOCOLS[request.param]
    relay, plan = None, Plan(take=take_slowly(4 * MIB))
    if protocol == wire.SFTP:
        Sshd(HostKey(), port=2022)
        relay = Relay(22, 2022, up_bytes_per_s=4 * MIB)
    elif protocol == wire.FTP:
        scripted(plan)
    else:
        scripted_tls(plan, control=Certificate(), protocol=protocol)
    yield wire.by(protocol)
    if relay:
        relay.stop()


@pytest.fixture
def proxy():
    """Makes scripted HTTP proxies: proxy(answer(200), ...)."""
    yield from maker(HttpProxy)


@pytest.fixture
def installed():
    """The installed client library."""
    return Installed()


@pytest.fixture
def local():
    """The folder of the daemon's local files."""
    folder = WORLD / "local"
    folder.mkdir()
    return folder
