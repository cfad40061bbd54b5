"""What ftpspool's service tells while it works: commands for its events."""

import json
import os

from harness import ftpspool
from harness.daemon import WORLD
from harness.ftpspool import ALICE, Service

HEARD = WORLD / "heard"


def make(local, name, size=1000):
    path = local / name
    path.write_bytes(os.urandom(size))
    return path


def test_a_command_runs_for_each_event_in_its_order(daemon, vsftpd, local):
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
    assert [(event["event"], event.get("id")) for event in events] == [
        ("started", None),
        *((name, number) for number in numbers[:2] for name in ("sending", "done")),
        ("failed", numbers[2]),
    ]


def test_a_command_that_hangs_holds_up_neither_the_sending_nor_the_end(daemon, vsftpd, local):
    service = Service("--exec", f"echo $FTPSPOOL_EVENT >>{HEARD}; exec sleep 1000")
    service.wait_started()
    numbers = [ftpspool.add(make(local, name)) for name in "ab"]
    ftpspool.wait_for("done", *numbers)
    assert service.stop() == 0
    assert HEARD.read_text() == "started\n"
    assert "ftpspool: --exec: the running command was asked to end\n" in service.said()
    assert "ftpspool: --exec: interrupted, not run for 4 more\n" in service.said()
