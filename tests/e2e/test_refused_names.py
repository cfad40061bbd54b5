"""Names that would make a job touch another file, contact another host or send a second command."""

import os

import pytest

from harness import client, wire
from harness.daemon import WORLD
from harness.scripted import Plan
from harness.sftp import HostKey, Sshd
from harness.vsftpd import HOME

REFUSED = (1, wire.INTERNAL)
PROXY = {"proxy_type": 1, "proxy_port": 3128}
SFTP = {"protocol": wire.SFTP, "port": 22}

# libcurl cuts a path at the first ";type="; a proxy may do so in any case of its letters.
NO_PATHS = [b"a\xff", "f;type=i", "f;type=a", "f;TYPE=D", "f;Type=x", "d;type=i/f", ";type=", "f;type=i;type=a"]
NO_PATHS += ["a#b", "a?b", "a\r\nDELE b"]
HOSTS = ["", "/", "a/b", "127.0.0.1/f", "a?", "127.0.0.1#", "u:p@127.0.0.1", "a\\b", "a b", " a", "a "]
HOSTS += [f"a{chr(code)}" for code in [*range(1, 32), 127]]
NO_PROXY = [host for host in HOSTS if host != "u:p@127.0.0.1"] + ["u@127.0.0.1", "u:p@", "u:p@a@b", "u /:p@a"]
PROXIES = [f"{scheme}{host}" for scheme in ("", "http://", "HTTP://") for host in NO_PROXY]
PROXIES += ["https://a", "ftp://a", "sftp://a", "http:/a"]


@pytest.mark.parametrize("command", wire.STARTS)
def test_they_are_refused_with_5_and_nothing_is_sent(daemon, scripted, log, command):
    servers = [scripted(port=port) for port in (21, 22, 990, 1080, 3128)]
    (WORLD / "kept").write_bytes(b"kept")
    asked = 0
    tables = [  # a request takes 0.1 s; the unit tests try every protocol with every name
        ("remote_path", NO_PATHS, [wire.FTP, wire.FTPS_IMPLICIT, wire.FTPS_EXPLICIT], {}),
        ("host", HOSTS, [wire.FTP, wire.SFTP], {}),
        ("proxy_host", PROXIES, [wire.FTP], PROXY),
    ]
    for field, names, protocols, fields in tables:
        for name, protocol in [(name, protocol) for name in names for protocol in protocols]:
            wanted = {"remote_path": "a", "local_path": WORLD / "kept", "protocol": protocol}
            assert client.start(command, **wanted | fields | {field: name}) == REFUSED, (name, protocol)
            asked += 1
    assert len(log.errors()) == asked
    assert client.nothing() == (0, wire.INTERNAL)
    assert client.state()[:6] == (0, 0, 0, 0, 0, 0)
    assert (WORLD / "kept").read_bytes() == b"kept"
    assert not [server for server in servers if server.sessions]


def test_a_proxys_name_is_ignored_without_a_proxy(daemon, scripted, jobs, local):
    scripted(files={"a": b"1"})
    for name in ("", "a/b", "u@h", "a b"):
        assert jobs.download("a", local / "a", proxy_host=name).outcome == (0, 0)


@pytest.mark.parametrize("host", ["127.0.0.1", "127.0.0.1:2121", "localhost"])
def test_a_host_may_include_a_port(daemon, scripted, jobs, local, host):
    server = scripted(files={"a": b"1"}, port=2121)
    port = 0 if ":" in host else 2121
    assert jobs.download("a", local / "a", host=host, port=port).outcome == (0, 0)
    assert len(server.sessions) == 1


def test_a_host_may_be_an_ipv6_address_in_brackets(daemon, jobs, local):
    # Nobody listens; libcurl's code shows that it was understood.
    assert jobs.download("a", local / "a", host="[::1]").exec_info.curl_code == 7


# --- Names that only look dangerous, and are accepted


DOTS = {
    "../f": ["CWD ..", "f"],
    "./f": ["CWD .", "f"],
    "a/../f": ["CWD a", "CWD ..", "f"],
    "..": [".."],
    "d/.": ["CWD d", "."],
}


@pytest.mark.parametrize("verb", ["RETR", "STOR"])
def test_dot_segments_reach_an_ftp_server(daemon, scripted, jobs, local, verb):
    server = scripted(Plan(), files={"f": b"1"})
    (local / "b").write_bytes(b"1")
    for path, (*folders, name) in DOTS.items():
        begin = len(server.sessions)
        if verb == "RETR":
            jobs.download(path, local / "a")
        else:
            jobs.upload(local / "b", path)
        said = server.sessions[begin].commands
        assert [command for command in said if command.startswith("CWD")] == folders, path
        if verb == "STOR" or name == "f":
            assert f"{verb} {name}" in said, path


@pytest.fixture
def sshd_with(request):
    return lambda **settings: Sshd(HostKey(), **settings)


def test_dot_segments_and_types_reach_an_sftp_server(daemon, sshd_with, jobs, local):
    sshd = sshd_with()
    sshd.put("d/inside", b"1")
    names = ["d/../up", "./here", "d/./deep", "f;type=i", "f;type=a/g", "~/home"]
    for name in names:
        (local / "b").write_bytes(name.encode())
        assert jobs.upload(local / "b", name, **SFTP).outcome == (0, 0), name
        assert sshd.read(name) == name.encode()
        assert jobs.download(name, local / "a", **SFTP).outcome == (0, 0), name
        assert (local / "a").read_bytes() == name.encode()
    assert set(os.listdir(sshd.home)) == {"d", "up", "here", "f;type=i", "f;type=a", "~"}


def all_three(jobs, local):
    """The outcomes of an upload of "f", its look-up and its download."""
    (local / "b").write_bytes(b"content")
    yield jobs.upload(local / "b", "x/f", **SFTP).outcome
    yield jobs.file_info("x/f", **SFTP).outcome
    yield jobs.download("x/f", local / "a", **SFTP).outcome


def login_at(sshd_with, name):
    """A server where alice's login folder has that name and no other folder is beside it."""
    folder = WORLD / "logins" / name
    folder.mkdir(parents=True)
    for each in (folder.parent, folder):
        each.chmod(0o777)
    users = WORLD / "etc" / "passwd"
    users.write_text(users.read_text().replace(f":{HOME}:", f":{folder}:"))
    sshd_with()
    return folder


@pytest.mark.parametrize("name", ["a?b", "a#b", "100%", "%41", "a b", "ü", ";type=i", "a?b#c%3f"])
def test_a_login_directory_may_have_any_name(daemon, sshd_with, jobs, local, name):
    folder = login_at(sshd_with, name)
    assert list(all_three(jobs, local)) == [(0, 0)] * 3
    assert client.get_file_info()[2:5] == (1, 1, 7)
    assert (folder / "x" / "f").read_bytes() == b"content"
    assert (local / "a").read_bytes() == b"content"
    assert os.listdir(WORLD / "logins") == [name]


@pytest.mark.parametrize("name", ["blank ", "back\\slash"])
def test_a_login_directory_that_no_url_can_name_is_not_touched(
    daemon, sshd_with, jobs, log, local, name
):
    folder = login_at(sshd_with, name)
    assert list(all_three(jobs, local)) == [REFUSED] * 3
    log.wait_for(r"^error: curl_wrapper\(397\): The login directory cannot be put into a URL: ", 3)
    assert os.listdir(folder) == []
    assert os.listdir(WORLD / "logins") == [name]


def test_a_tilde_below_the_root_is_a_name(daemon, sshd_with, jobs, local):
    jail = WORLD / "jail"
    for folder in (jail, jail / "~", jail / "~" / "x"):
        folder.mkdir(mode=0o755)
    (jail / "~").chmod(0o777)
    (jail / "~" / "f").write_bytes(b"below")
    (jail / "f").write_bytes(b"above")
    sshd_with(ChrootDirectory=jail, ForceCommand="internal-sftp -d /")
    assert jobs.download("~/f", local / "a", **SFTP).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"below"
    assert jobs.file_info("~/f", **SFTP).outcome == (0, 0)
    assert client.get_file_info().size == 5
