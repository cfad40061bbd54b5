"""With other programs that take no turns, a command's report of its job is true, or it says that it does not know."""

import contextlib

import pytest

from harness import client, contention, turns

URL = "ftp://alice@127.0.0.1"
CONTENT = bytes(number % 251 for number in range(1000000))
BEGUN = 600000
HOLDS_S = "10s"
EVERY_S = 0.2


@pytest.fixture
def site(daemon, vsftpd, local):
    vsftpd.put("other", b"o" * 777)
    vsftpd.put("longer", b"p" * 700000)
    for number, size in enumerate((1000, 1000, 200000)):
        (local / f"stranger{number}").write_bytes(b"s" * size)
    (local / "big").write_bytes(CONTENT)
    return contention.Site(local, [URL])


def looks(name):
    return lambda _: client.file_info(name)


def puts(number):
    return lambda local: client.upload(local / f"stranger{number}", f"strange{number}")


def gets(local):
    return client.download("other", local / "o")


def stops(_):
    return client.cancel()


# Each is a list of (action, seconds between two of them).
STRANGERS = {
    "looks": [(looks("other"), EVERY_S)],
    "looks-at-a-longer": [(looks("longer"), EVERY_S)],
    "looks-for-nothing": [(looks("nothing"), EVERY_S)],
    "looks-without-pause": [(looks("other"), 0)],
    "three-that-put": [(puts(number), 0) for number in range(3)],
    "gets": [(gets, 0)],
    "stops": [(stops, EVERY_S)],
    "all": [(looks("longer"), 0.3), (puts(1), 0.3), (gets, 0.3), (stops, 0.9)],
}
STOPPERS = ("stops", "all")
SLOW = ("looks", "looks-at-a-longer", "looks-for-nothing", "stops")
KINDS = ("big", "put", "unseen", "info")
FURTHER_KINDS = ("verify", "missing", "get", "no-wait", "resume")  # where there are pauses


def resumed(local, vsftpd):
    """A resume of 1,000,000 bytes, of which the server has 600,000."""
    vsftpd.put("big", CONTENT[:BEGUN])

    def judge(_):
        stored = vsftpd.read("big")
        return None if stored == CONTENT else f"status 0, and {len(stored)} bytes that are not the file"

    return contention.Job("resume", ["put", "--resume", local / "big", f"{URL}/big"], judge)


@contextlib.contextmanager
def beside(name, local):
    with contextlib.ExitStack() as all_of_them:
        yield [
            all_of_them.enter_context(turns.Stranger(lambda action=action: action(local), pause_s))
            for action, pause_s in STRANGERS[name]
        ]


@pytest.mark.parametrize("name", STRANGERS)
def test_with_strangers_a_success_is_never_anothers(site, vsftpd, local, name):
    whenever = [(0, float("inf"))] if name in STOPPERS else []
    jobs = []
    with beside(name, local):
        for kind in KINDS + (FURTHER_KINDS if name in SLOW else ()):
            job = resumed(local, vsftpd) if kind == "big" else site.job(kind)
            job.words[1:1] = ["--wait-turn", HOLDS_S]
            wrong = job.start().wait().wrong(whenever, may_be_unknown=True)
            assert not wrong, f"{wrong}: {job}"
            jobs.append(job)
    assert any(job.status != contention.TURN for job in jobs)


@pytest.mark.parametrize("name", ["looks", "looks-without-pause"])
def test_a_start_that_comes_too_early_is_repeated(site, local, name):
    """The daemon refuses a start with 5 if the last job has ended but is not yet reported."""
    with beside(name, local) as strangers:
        for _ in range(5):
            job = site.job("no-wait").start().wait()
            assert not job.wrong(), job
    assert strangers[0].said.get((1, 5), 0) > 0  # hit by such a refusal, as our five jobs may have been
