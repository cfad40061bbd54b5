"""The two examples, built as programs of another project."""

import subprocess

import pytest

from harness import client, processes
from harness.daemon import WORLD
from harness.installed import EXAMPLES, STRICT, build, place, run
from harness.scripted import Plan, Silence

pytestmark = pytest.mark.timeout(600)  # compilers are slow on a loaded machine


def compiled(installed, name):
    """fetch, built by pkg-config."""
    folder, options = place(name)
    flags = installed.pkg_config("--cflags", "--libs")
    fetch = folder / "fetch"
    run("cc", "-std=c11", *STRICT, *options, EXAMPLES / "fetch.c", *flags, "-o", fetch)
    return fetch


def configured(installed, name, static="OFF"):
    """The folder with both, built by find_package."""
    folder, options = place(name)
    folder = folder / "examples"
    flags = " ".join(STRICT + options)
    build(
        EXAMPLES,
        folder,
        f"-DCMAKE_PREFIX_PATH={installed.prefix}",
        f"-DSTATIC={static}",
        f"-DCMAKE_C_FLAGS={flags}",
        f"-DCMAKE_CXX_FLAGS={flags}",
    )
    return folder


def fetches(installed, fetch, vsftpd, local):
    vsftpd.put("dir/a.bin", b"x" * 1234)
    said = installed.run(
        fetch, "127.0.0.1", "alice", "dir/a.bin", local / "a", FETCH_PASSWORD="secret"
    )
    assert said == f"dir/a.bin: 1234 bytes\n{local / 'a'}: done\n"
    assert (local / "a").read_bytes() == b"x" * 1234


@pytest.mark.parametrize("static", [False, True], ids=["shared", "static"])
def test_the_c_example_built_by_pkg_config_fetches_a_file(daemon, vsftpd, local, installed, static):
    if static:  # only the archive in the folder, so that it is linked statically
        for path in installed.libraries.glob("libftpclient.so*"):
            path.unlink()
    fetch = compiled(installed, f"fetch-{static}")
    needed = run("readelf", "-d", fetch)
    assert ("libftpclient.so.0" in needed) == (not static)
    fetches(installed, fetch, vsftpd, local)


def test_the_c_example_says_why_it_failed(daemon, vsftpd, local, installed):
    fetch = compiled(installed, "fetch-failing")
    vsftpd.put("there", b"x")
    for arguments, reason in (
        (("127.0.0.1", "alice", "none", local / "a"), "fetch: none: there is no such file"),
        (("127.0.0.1", "alice", "none", "a"), "fetch: local path: must begin with '/'"),
        (("127.0.0.1", "x" * 32, "none", local / "a"), "fetch: user name: 32 bytes are too many, at most 31 fit"),
        (("127.0.0.1", "alice", "a#b", local / "a"), "fetch: remote path: must not hold '#'"),
        (("127.0.0.1", "alice", "there", local / "none" / "a"), "fetch: download: "),
        (("127.0.0.1", "alice"), "usage: fetch HOST USER REMOTE_PATH LOCAL_PATH"),
    ):
        with pytest.raises(AssertionError, match=reason):
            installed.run(fetch, *arguments, FETCH_PASSWORD="secret")
    with pytest.raises(AssertionError, match="fetch: file information: the server refused the user name or the password"):
        installed.run(fetch, "127.0.0.1", "alice", "none", local / "a", FETCH_PASSWORD="wrong")


@pytest.mark.parametrize("static", ["OFF", "ON"], ids=["shared", "static"])
def test_the_examples_built_by_find_package_send_and_fetch(
    unstarted, vsftpd, local, installed, static
):
    folder = configured(installed, f"static-{static}", static)
    unstarted.start()
    (local / "a").write_bytes(bytes(5_000_000))
    said = installed.run(
        folder / "send", "127.0.0.1", "alice", local / "a", "sent.bin", SEND_PASSWORD="secret"
    )
    assert said.endswith("done, 5000000 bytes\n")
    assert (vsftpd.home / "sent.bin").stat().st_size == 5_000_000
    fetches(installed, folder / "fetch", vsftpd, local)


def test_the_cxx_example_says_why_it_failed(unstarted, scripted, local, installed):
    send = configured(installed, "failing") / "send"
    with pytest.raises(AssertionError, match="usage: send HOST USER LOCAL_PATH REMOTE_PATH"):
        installed.run(send)
    arguments = ["127.0.0.1", "alice", local / "a", "sent.bin"]
    with pytest.raises(AssertionError, match="send: upload: no daemon listens"):
        installed.run(send, *arguments)
    unstarted.start()
    with pytest.raises(AssertionError, match="send: local path: must begin with '/'"):
        installed.run(send, *arguments[:2], "a", "sent.bin")
    with pytest.raises(AssertionError, match="send: upload: "):  # a missing file
        installed.run(send, *arguments)
    (local / "a").write_bytes(b"x")
    server = scripted(Plan(replies={"PASS": Silence}))
    path = str(installed.libraries)
    sending = processes.spawn(
        list(map(str, [send, *arguments])),
        env={"LD_LIBRARY_PATH": path},
        cwd=WORLD / "tmp",
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        text=True,
    )
    server.wait_for_command("PASS")
    assert client.cancel()[:2] == (0, 0)
    assert sending.communicate(timeout=30)[1] == "send: upload: cancelled\n"
    assert sending.returncode == 1
