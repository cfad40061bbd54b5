"""Profiles of servers: ftpctl and ftpspool log in by them, and the password is seen nowhere."""

import os
import pathlib

import pytest

from harness import ftpctl, ftpspool, processes
from harness.daemon import WORLD
from harness.ftpspool import Service
from harness.scripted import Plan, take_slowly
from harness.vsftpd import Vsftpd
from harness.waiting import wait_until

PROFILES = WORLD / "profiles"
CREDENTIALS = WORLD / "credentials"
BY_PROFILE = ("--profile", "cam", "--profiles", PROFILES)
NO_CREDENTIAL = 14
MIB = 1 << 20


@pytest.fixture(autouse=True)
def folders():
    for folder in (PROFILES, CREDENTIALS):
        folder.mkdir()
    yield
    print(Service.said())


def write(path, text, mode=0o600):
    path.write_text(text)
    path.chmod(mode)
    return path


def profile(*lines, url="ftp://127.0.0.1/in"):
    write(PROFILES / "cam.conf", "\n".join([f"url = {url}", "user = alice", *lines]) + "\n", 0o644)


def password_file(password="secret"):
    """The profile's line."""
    return f"password-file = {write(WORLD / 'password', password)}"


def run(*words, **variables):
    """A password of the environment would be wrong."""
    return ftpctl.run(*words, *BY_PROFILE, **{"FTPCTL_PASSWORD": "wrong", **variables})


def add(local, *words):
    outcome = ftpspool.run("add", local, *words, *BY_PROFILE)
    assert outcome.status == 0, outcome
    return int(outcome.out)


def make(local, name, size=1000):
    path = local / name
    path.write_bytes(os.urandom(size))
    return path


@pytest.fixture
def server(vsftpd):
    vsftpd.put("in/there", b"content")
    vsftpd.put("in/a b/there", b"deeper")
    return vsftpd


def test_ftpctl_transfers_below_the_profiles_url(daemon, server, local):
    profile(password_file())
    path = make(local, "c d")
    assert run("get", "there", "-").out == "content"
    assert run("get", "a%20b/there", "-").out == "deeper"
    assert run("info", "--json", "there").json["remote"] == "ftp://127.0.0.1/in/there"
    for url, name in {".": "c d", "a%20b/": "a b/c d", "e%25": "e%"}.items():
        assert run("put", "--verify", path, url).status == 0
        assert server.read(f"in/{name}") == path.read_bytes()


def test_options_override_the_profile(daemon, scripted, local):
    server = scripted(files={"a": b"content"})
    profile(password_file("of-the-profile"))
    other = write(WORLD / "other", "of-another-file")
    rows = [
        ([], ("alice", "of-the-profile")),
        (["--password-file", other], ("alice", "of-another-file")),
        (["--user", "bob"], ("bob", "of-the-environment")),
        (["--user", "bob", "--password-file", other], ("bob", "of-another-file")),
    ]
    for options, (user, password) in rows:
        server.sessions.clear()
        assert run("get", "a", "-", *options, FTPCTL_PASSWORD="of-the-environment").out == "content"
        logins = {tuple(session.commands[:2]) for session in server.sessions}
        assert logins == {(f"USER {user}", f"PASS {password}")}


def test_ftpctl_reads_a_credential(daemon, server):
    profile("password-credential = camera")
    assert run("get", "there", "-").status == NO_CREDENTIAL
    assert run("get", "there", "-", CREDENTIALS_DIRECTORY=str(CREDENTIALS)).status == NO_CREDENTIAL
    write(CREDENTIALS / "camera", "secret\n", 0o440)  # systemd's access list shows as the group's bits
    assert run("get", "there", "-", CREDENTIALS_DIRECTORY=str(CREDENTIALS)).out == "content"


def test_ftpspool_sends_by_a_profile(daemon, server, local):
    profile(password_file())
    path = make(local, "c d")
    numbers = [add(path), add(path, "a%20b/"), add(path, "e")]
    Service()
    ftpspool.wait_for("done")
    assert all(server.read(f"in/{name}") == path.read_bytes() for name in ("c d", "a b/c d", "e"))
    entry = ftpspool.entry(numbers[1])
    assert (entry["profile"], entry["profiles"], entry["url"]) == ("cam", str(PROFILES), "a%20b/c%20d")
    assert (entry["user"], entry["password_file"]) == (None, None)


def test_a_changed_password_is_used_from_the_next_try_on(daemon, local):
    profile(password_file("wrong"), url="ftp://127.0.0.1")
    path = make(local, "a")
    number = add(path)
    service = Service()
    wait_until(lambda: ftpspool.entry(number)["error"] == "nobody-listens", "the first try")
    assert service.stop() == 0  # no try is under way that has read the wrong one
    password_file("secret")
    server = Vsftpd()
    service.start()
    ftpspool.wait_for("done")
    assert server.read("a") == path.read_bytes()
    assert ftpspool.entry(number)["tries"] >= 1


def test_a_wrong_password_fails_until_it_is_corrected(daemon, server, local):
    profile(password_file("wrong"))
    path = make(local, "a")
    number = add(path)
    Service()
    ftpspool.wait_for("failed")
    assert ftpspool.entry(number)["error"] == "login-refused"
    password_file("secret")
    assert ftpspool.run("retry", number).status == 0
    ftpspool.wait_for("done")
    assert server.read("in/a") == path.read_bytes()


def test_an_entry_fails_when_its_profile_has_gone(daemon, server, local):
    profile(password_file())
    path = make(local, "a")
    number = add(path, "a", "--delete")
    (PROFILES / "cam.conf").unlink()
    Service()
    ftpspool.wait_for("failed")
    assert ftpspool.entry(number)["message"] == f"{PROFILES}/cam.conf: No such file or directory"
    content = path.read_bytes()
    profile(password_file())
    assert ftpspool.run("retry", number).status == 0
    ftpspool.wait_for("done")
    assert server.read("in/a") == content


def test_a_missing_credential_delays_only_its_own_server(daemon, server, local):
    profile("password-credential = camera")
    path = make(local, "a")
    number = add(path)
    other = ftpspool.add(path, "ftp://127.0.0.1:2121/a")
    service = Service()
    wait_until(lambda: ftpspool.entry(number)["error"] == "no-credential", "the try without a credential")
    wait_until(lambda: ftpspool.entry(other)["error"] == "nobody-listens", "the try of the other server")
    assert ftpspool.entry(number)["state"] in ("waiting", "sending")
    assert service.stop() == 0
    write(CREDENTIALS / "camera", "secret\n")
    service.start(CREDENTIALS_DIRECTORY=str(CREDENTIALS))
    ftpspool.wait_for("done", number)
    assert server.read("in/a") == path.read_bytes()


def test_an_upload_is_not_resumed_in_another_place(daemon, local):
    server = Vsftpd(local_max_rate=4 * MIB)
    for name in ("in/keep", "other/large"):
        server.put(name, b"x" * MIB)
    profile(password_file())
    path = make(local, "large", 12 * MIB)
    number = add(path)
    service = Service()
    sent = server.path("in/large")
    wait_until(lambda: sent.exists() and sent.stat().st_size >= 2 * MIB, "the beginning")
    assert service.stop() == 0
    assert ftpspool.entry(number)["resumable"]
    profile(password_file(), url="ftp://127.0.0.1/other")
    service.start()
    ftpspool.wait_for("done")
    assert server.read("other/large") == path.read_bytes()


# ---- The password is seen nowhere ----

PASSWORD = "a-pass-word-of-its-own"


def shown_by_processes():
    """What `ps` could show of all processes but this one."""
    for process in processes.processes():
        if process.pid == os.getpid():
            continue
        for name in ("cmdline", "environ"):
            try:
                yield pathlib.Path(f"/proc/{process.pid}/{name}").read_bytes()
            except OSError:  # gone by now
                pass


def assert_unseen(*texts):
    files = [path.read_bytes() for path in ftpspool.SPOOL.rglob("*") if path.is_file()]
    seen = [*shown_by_processes(), *files, *(text.encode() for text in texts)]
    assert seen and not [text for text in seen if PASSWORD.encode() in text]


@pytest.mark.parametrize("line", ["password-file = {}", "password-credential = camera"])
def test_the_password_is_visible_nowhere(daemon, scripted, local, line):
    server = scripted(Plan(take=take_slowly(100)))
    path = make(local, "a", 100_000)
    secret = write(CREDENTIALS / "camera", PASSWORD)
    variables = {"CREDENTIALS_DIRECTORY": str(CREDENTIALS)}
    profile(line.format(secret), url="ftp://127.0.0.1")
    logged_in = lambda times: [
        command for session in server.sessions for command in session.commands
    ].count(f"PASS {PASSWORD}") >= times

    os.environ.update(variables)
    putting = ftpctl.start("put", path, ".", *BY_PROFILE)
    del os.environ["CREDENTIALS_DIRECTORY"]
    wait_until(lambda: logged_in(1), "ftpctl's login")
    assert_unseen()
    putting.terminate()
    assert_unseen(*putting.communicate(timeout=30))

    number = add(path)
    service = Service(**variables)
    wait_until(lambda: logged_in(2), "the queue's login")
    wait_until(lambda: ftpspool.states() == ["sending"], "the upload")
    told = [ftpspool.run(*words) for words in (["list"], ["list", "--json"], ["show", number])]
    assert_unseen(Service.said(), *(outcome.out + outcome.err for outcome in told))
    assert service.stop() == 0
    assert_unseen(Service.said())
