"""What ftpspool's service tells while it works: commands for its events, and figures for Prometheus."""

import json
import os
import re
import stat

from harness import ftpspool
from harness.daemon import WORLD
from harness.ftpspool import ALICE, Service
from harness.waiting import wait_until

HEARD = WORLD / "heard"
FIGURES = WORLD / "ftpspool.prom"


def make(local, name, size=1000):
    path = local / name
    path.write_bytes(os.urandom(size))
    return path


def figures():
    """By name and labels, as Prometheus reads the file; None as long as there is none."""
    from prometheus_client.parser import text_string_to_metric_families

    if not FIGURES.exists():
        return None
    found = {}
    for family in text_string_to_metric_families(FIGURES.read_text()):
        assert family.documentation, family
        for sample in family.samples:
            key = (sample.name, *sample.labels.values())
            assert key not in found, key
            found[key] = (family.type, sample.value)
    return found


def test_a_command_runs_for_each_event_in_order(daemon, vsftpd, local):
    numbers = [ftpspool.add(make(local, name)) for name in ("a b", "c")]
    lost = make(local, "lost")
    numbers.append(ftpspool.add(lost))
    lost.unlink()
    service = Service("--exec", f'echo "$FTPSPOOL_JSON" >>{HEARD}; echo "$FTPSPOOL_ID $FTPSPOOL_URL" >>{HEARD}')
    ftpspool.wait_for("done", *numbers[:2])
    ftpspool.wait_for("failed", numbers[2])
    assert service.stop() == 0
    printed = [line for line in service.said().splitlines() if line.startswith("{")]
    heard = HEARD.read_text().splitlines()
    assert heard[::2] == printed
    events = [json.loads(line) for line in printed]
    assert heard[1::2] == [f"{event.get('id', '')} {event.get('url', '')}" for event in events]
    ended = {(event["event"], event.get("id")) for event in events} - {("waiting", number) for number in numbers}
    sent = {(name, number) for number in numbers[:2] for name in ("sending", "done")}
    assert ended == {("started", None), *sent, ("failed", numbers[2])}


def test_a_hanging_command_delays_neither_uploads_nor_the_end(daemon, vsftpd, local):
    service = Service("--exec", f"echo $FTPSPOOL_EVENT >>{HEARD}; exec sleep 1000")
    service.wait_started()
    numbers = [ftpspool.add(make(local, name)) for name in "ab"]
    ftpspool.wait_for("done", *numbers)
    assert service.stop() == 0
    assert HEARD.read_text() == "started\n"
    assert "ftpspool: --exec: the running command was asked to end\n" in service.said()
    left = re.search(r"^ftpspool: --exec: interrupted, not run for (\d+) more$", service.said(), re.MULTILINE)
    assert int(left[1]) >= 4


def test_prometheus_can_read_the_metrics(daemon, vsftpd, local):
    large = make(local, "large", 100_000)
    ftpspool.add(large)
    ftpspool.add(make(local, "small"))
    lost = make(local, "lost")
    ftpspool.add(lost)
    lost.unlink()
    ftpspool.add(large, ALICE + "later", "--not-before", "2d")
    service = Service("--metrics", FIGURES)
    ftpspool.wait_for("done", 1, 2)
    ftpspool.wait_for("failed", 3)
    wait_until(lambda: (figures() or {}).get(("ftpspool_entries", "done")) == ("gauge", 2), "the figures")
    assert ftpspool.run("hold", 4).status == 0
    wait_until(lambda: figures()["ftpspool_entries", "held"] == ("gauge", 1), "the change by a command")
    assert stat.S_IMODE(FIGURES.stat().st_mode) == 0o644
    found = figures()
    states = ("queued", "waiting", "held", "sending", "arrived", "done", "failed")
    assert [found["ftpspool_entries", state][1] for state in states] == [0, 0, 1, 0, 0, 2, 1]
    assert found["ftpspool_uploads_total",] == ("counter", 2)
    assert found["ftpspool_sent_bytes_total",][1] >= 101_000
    assert found["ftpspool_failures_total", "no-local-file"] == ("counter", 1)
    assert found["ftpspool_failures_total", "login-refused"] == ("counter", 0)
    assert found["ftpspool_last_success_timestamp_seconds",] == ("gauge", max(ftpspool.entry(n)["ended"] for n in (1, 2)))
    assert ("ftpspool_oldest_queued_timestamp_seconds",) not in found
    assert ftpspool.run("release", 4).status == 0
    oldest = lambda: figures().get(("ftpspool_oldest_queued_timestamp_seconds",))
    wait_until(lambda: oldest() == ("gauge", ftpspool.entry(4)["not_before"]), "the entry for later")
    assert service.stop() == 0
    assert figures()["ftpspool_entries", "queued"] == ("gauge", 1)


def test_a_metrics_file_that_cannot_be_written_is_reported_once(daemon, vsftpd, local):
    service = Service("--metrics", WORLD / "none/ftpspool.prom")
    for name in "abc":
        ftpspool.add(make(local, name))
    ftpspool.wait_for("done")
    assert service.stop() == 0
    assert service.said().count(f"ftpspool: --metrics: {WORLD}/none/ftpspool.prom: No such file or directory\n") == 1
