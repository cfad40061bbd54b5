"""put --resume to servers that do not append: the size shows it, and the whole file is sent again."""

import dataclasses
import pathlib
import random
import signal

import pytest
from pyftpdlib.filesystems import AbstractedFS

from harness import client, contention, ftpctl
from harness.daemon import program
from harness.ftp_servers import Pyftpdlib
from harness.scripted import Plan, ScriptedServer, Session, take_all, take_then
from harness.sftp import HostKey, Sshd
from harness.waiting import DEADLINE_S, wait_until

DONE, DIFFERENT, CANCELED = 0, 12, 21
CONTENT = bytes(number % 251 for number in range(1000))
BEGUN = 400
MIB = 1 << 20
SFTP_SERVER = "/usr/lib/openssh/sftp-server"
SENT_AGAIN = "all of it was sent again"


class Overwriting(AbstractedFS):
    """Writes the appended part over the beginning."""

    def open(self, filename, mode):
        return open(filename, "r+b" if mode.startswith("a") else mode)


class Growing(AbstractedFS):
    """Never replaces anything: appends every upload."""

    def open(self, filename, mode):
        return open(filename, "ab" if mode.startswith("w") else "r+b" if mode.startswith("a") else mode)


def overwriting_ftp():
    return Pyftpdlib(files=Overwriting), "ftp://alice@127.0.0.1"


def overwriting_sftp():
    preload = pathlib.Path(program()[-1]).parent.parent / "tests" / "no_append.so"
    assert preload.exists(), f"not built: {preload}"
    server = Sshd(HostKey(), Subsystem=f'sftp /usr/bin/env "LD_PRELOAD={preload}" {SFTP_SERVER}')
    return server, "sftp://alice@127.0.0.1"


def put(*options, local, url):
    return ftpctl.run("--json", "put", *options, local / "f", f"{url}/f")


NATIVE = pytest.mark.native("what is preloaded into this machine's server is built for another")


@pytest.mark.parametrize(
    "make",
    [pytest.param(overwriting_ftp, id="ftp"), pytest.param(overwriting_sftp, id="sftp", marks=NATIVE)],
)
def test_a_rest_written_over_the_beginning_is_repaired_and_reported(daemon, local, make):
    server, url = make()
    (local / "f").write_bytes(CONTENT)
    for begun in (1, BEGUN, 500, 999):
        contention.give(server.path("f"), CONTENT[:begun])
        ended = put("--resume", local=local, url=url)
        assert ended.status == DONE, ended
        assert server.read("f") == CONTENT
        told = ended.json
        assert SENT_AGAIN in told["message"]
        assert told["upload"] == {
            "sent": "mended",
            "local_bytes": len(CONTENT),
            "resumed_bytes": begun,
            "remote_bytes": len(CONTENT),
            "verified": True,
            "may_be_spoiled": False,
        }


def test_the_same_servers_without_their_fault_append(daemon, vsftpd, local):
    """So the preload causes the fault."""
    Sshd(HostKey(), Subsystem=f"sftp {SFTP_SERVER}")
    (local / "f").write_bytes(CONTENT)
    for url in ("ftp://alice@127.0.0.1", "sftp://alice@127.0.0.1"):
        vsftpd.put("f", CONTENT[:BEGUN])
        ended = put("--resume", local=local, url=url)
        assert (ended.status, ended.json["upload"]["sent"]) == (DONE, "rest"), ended
        assert SENT_AGAIN not in ended.json["message"] and vsftpd.read("f") == CONTENT


@pytest.mark.parametrize("option", ["--resume", "--verify"])
def test_a_remaining_difference_is_a_failure_that_names_both_sizes(daemon, local, option):
    server = Pyftpdlib(files=Growing)
    (local / "f").write_bytes(CONTENT)
    contention.give(server.path("f"), CONTENT[:BEGUN])
    ended = put(option, local=local, url="ftp://alice@127.0.0.1")
    assert ended.status == DIFFERENT, ended
    stored = len(server.read("f"))
    assert stored > len(CONTENT)
    told = ended.json
    assert told["error"] == "different-size"
    assert str(stored) in told["message"] and str(len(CONTENT)) in told["message"]
    assert (told["upload"]["remote_bytes"], told["upload"]["verified"]) == (stored, False)


class StoringSession(Session):
    """Stores what it receives, and lists that."""

    def on_appe(self, name):
        takes = self.server.takes
        self.plan = dataclasses.replace(self.plan, take=takes.pop(0) if takes else take_all)
        super().on_appe(name)

    def _take(self, verb, name):
        files = self.server.files
        super()._take(verb, name)
        received = self.server.stored[-1][2]
        files[name] = (files.get(name, b"") if verb == "APPE" else b"") + received

    def on_list(self, _):
        lines = [f"-rw-r--r-- 1 a a {len(text)} Jan 15 2020 {name}\r\n" for name, text in self.server.files.items()]
        self._send("".join(lines).encode())


class StoringServer(ScriptedServer):
    """takes: receivers of the first APPE commands, whatever other connections come between."""

    session_class = StoringSession

    def __init__(self, *takes, **options):
        self.takes = list(takes)
        super().__init__(Plan(), **options)


BROKEN_AFTER = 100_000
BROKEN = take_then("reset", BROKEN_AFTER)
TRIES = 5  # of one job, five seconds apart


@pytest.mark.parametrize("breaks", [1, TRIES], ids=["once", "every-time"])
def test_a_retried_append_is_repaired(daemon, local, breaks):
    """A retry appends the file from its beginning; that must be repaired even if all tries fail."""
    content = bytes(range(256)) * (16 * MIB // 256)
    (local / "f").write_bytes(content)
    server = StoringServer(*[BROKEN] * breaks, files={"f": content[:BEGUN]})
    ended = put("--resume", local=local, url="ftp://alice@127.0.0.1")
    assert ended.status == DONE, ended
    assert ended.json["upload"]["sent"] == "mended"
    assert server.files["f"] == content
    assert [command.split()[0] for command in server.commands].count("APPE") == min(breaks + 1, TRIES)
    server.stop()


RECEIVED = 200_000
STALLED = take_then("stall", RECEIVED)


@pytest.mark.parametrize("retries", [0, 1])
def test_a_stopped_append_says_what_is_on_the_server(daemon, local, retries):
    """After a retry the file has its beginning twice, so another resume would do harm."""
    content = random.Random(0).randbytes(16 * MIB)  # no two parts are the same
    (local / "f").write_bytes(content)
    server = StoringServer(*[BROKEN] * retries, STALLED, files={"f": content[:BEGUN]})
    process = ftpctl.start("put", "--resume", local / "f", "ftp://alice@127.0.0.1/f")
    wait_until(server.stalled.is_set, "the append")
    wait_until(lambda: client.state().exec_info.retry_count == retries, "the state of the append")
    process.send_signal(signal.SIGINT)
    _, err = process.communicate(timeout=DEADLINE_S)
    assert process.returncode == CANCELED, err
    last = err.splitlines()[-1]
    assert f"the remote file had {BEGUN} bytes before" in last, err
    assert ("upload it whole, without --resume" in last) == (retries > 0), err
    assert ("--resume continues" in last) == (retries == 0), err
    server.stop()
    wait_until(lambda: len(server.files["f"]) >= BEGUN + RECEIVED + retries * BROKEN_AFTER, "what the server took")
    assert content.startswith(server.files["f"]) == (retries == 0)
