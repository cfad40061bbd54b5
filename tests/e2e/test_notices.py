"""A network manager that is missing, disconnects or hangs."""

from harness import client, wire
from harness.network_manager import DeafNetworkManager, NetworkManager
from harness.waiting import HELD_UP_S, wait_until


def run_job(local):
    """Runs a job that fails at once."""
    assert client.download("a", local / "a", port=1) == (0, 0)
    wait_until(lambda: not client.state().running, "the job's end")


REFUSED = r"^error: ftp_clientd_if\(599\): errno\(2\) No such file or directory\n$"


def test_jobs_run_without_a_network_manager_and_one_that_comes_later_gets_the_next_notice(unstarted, log, local):
    unstarted.start()
    for times in (2, 3):  # one for the start, one for each job
        run_job(local)
        log.wait_for(REFUSED, times)
    manager = NetworkManager()
    run_job(local)
    notice = manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert (len(notice.raw), notice.outcome) == (68, (1, wire.NETWORK))
    assert len(manager.notices) == 1


def test_a_network_manager_that_died_refuses(daemon, network_manager, log, local):
    network_manager.stop()
    run_job(local)
    log.wait_for(REFUSED)


def test_a_network_manager_that_disconnects_does_no_harm(unstarted, log, local):
    manager = NetworkManager(hang_up=True)
    unstarted.start()
    for times in range(2, 12):
        run_job(local)
        wait_until(lambda: manager.connections == times, "the job's notice")
    # A lost notice is at most a broken pipe in the log.
    assert set(log.errors()) <= {
        "error: ftp_clientd_if(843): errno(32) Broken pipe\n",
        "error: ftp_clientd_if(843): errno(104) Connection reset by peer\n",
        "error: ftp_clientd_if(323): sendn(): incomplete(0 of 20)\n",
        "error: ftp_clientd_if(323): sendn(): incomplete(0 of 68)\n",
    }


def test_a_network_manager_that_hangs_does_not_stop_the_daemon(unstarted, log, local):
    manager = DeafNetworkManager()
    unstarted.start()
    assert client.nothing() == (0, 0)
    run_job(local)
    assert client.nothing() == (0, 0)
    log.wait_for(r"^error: ftp_clientd_if\(599\): errno\(\d+\)", times=2)
    del manager


def test_each_notice_has_a_connection_of_its_own_and_comes_within_moments(daemon, network_manager, local):
    for times in range(1, 4):
        run_job(local)
        network_manager.wait_for(wire.NOTICE_DOWNLOAD, times, deadline_s=1 + HELD_UP_S)
    assert network_manager.connections == 4
    assert [len(notice.raw) for notice in network_manager.notices] == [20, 68, 68, 68]
