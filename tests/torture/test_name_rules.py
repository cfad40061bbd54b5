"""Tests the rules for generated names, and the names: tests/e2e/harness/names.py."""

import pathlib
import sys
from random import Random

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "e2e"))

from harness import names  # noqa: E402

HOME = b"/home/alice"
MADE = [names.make_path(Random(number), HOME) for number in range(20000)]


@pytest.mark.parametrize(
    "path, ftp, sftp",
    [
        (b"a", "accepted", "accepted"),
        (b"a#", "refused", "refused"),
        (b"?a", "refused", "refused"),
        (b"a\r\nDELE b", "refused", "refused"),
        (b"a\n", "refused", "refused"),
        (b"a;type=i", "refused", "accepted"),
        (b"a;TyPe=D", "refused", "accepted"),
        (b"a;type=x", "refused", "accepted"),
        (b"a;type=i/b", "refused", "accepted"),
        (b"a;type", "accepted", "accepted"),
        (b"a; type=i", "accepted", "accepted"),
        (b"a%23%3F%00;*~[\\\"\t\x7f\xfe", "accepted", "accepted"),
        (b"a\xff", "refused", "accepted"),
        (b"../a/./b/", "accepted", "accepted"),
    ],
)
def test_which_paths_are_refused(path, ftp, sftp):
    assert names.verdict_on_path(path) == ftp
    assert names.verdict_on_path(path, sftp=True) == sftp


@pytest.mark.parametrize("path", [b"", b"/", b"d/", b"d//"])
def test_which_uploads_through_a_proxy_are_refused(path):
    assert names.verdict_on_path(path, is_proxied_upload=True) == "refused"
    assert names.verdict_on_path(path) == names.verdict_on_path(path + b"a", is_proxied_upload=True) == "accepted"


@pytest.mark.parametrize("host", [b"", b"h/", b"h?", b"h#", b"u@h", b"h\\", b" h", b"h\t", b"h\n", b"\x7f"])
def test_which_hosts_are_refused(host):
    assert names.verdict_on_host(host) == names.verdict_on_proxy(host) == "refused"
    assert names.verdict_on_proxy(b"http://" + host) == "refused"


@pytest.mark.parametrize("host", [b"h", b"127.0.0.1", b"h:21", b"h;type=i", b"%41", "ä".encode(), b"[::1]"])
def test_which_hosts_are_accepted(host):
    assert names.verdict_on_host(host) == names.verdict_on_proxy(b"http://" + host) == "accepted"


@pytest.mark.parametrize(
    "host, verdict",
    [(b"u:p@h", "accepted"), (b"http://u:@h:3128", "accepted"), (b"u:p@", "refused"), (b"u /:p@h", "refused")],
)
def test_only_a_proxys_host_may_begin_with_a_login(host, verdict):
    assert names.verdict_on_proxy(host) == verdict
    assert names.verdict_on_host(host) == "refused"


def test_which_credentials_are_refused():
    assert names.verdict_on_credential(b"a\r") == names.verdict_on_credential(b"\na") == "refused"
    assert names.verdict_on_credential(b"#?/@:%; \t\xff") == names.verdict_on_credential(b"") == "accepted"


@pytest.mark.parametrize(
    "path, ftp, sftp, way",
    [
        (b"f", b"/home/alice/f", b"/home/alice/f", [b"f"]),
        (b"d/f", b"/home/alice/d/f", b"/home/alice/d/f", [b"d", b"f"]),
        (b"d//f", b"/home/alice/d/f", b"/home/alice/d/f", [b"d", b"f"]),
        (b"/f", b"/f", b"/home/alice/f", [b"/", b"f"]),
        (b"//d/f", b"/d/f", b"/home/alice/d/f", [b"/", b"d", b"f"]),
        (b"../f", b"/home/f", b"/home/f", [b"..", b"f"]),
        (b"./d/../f", b"/home/alice/f", b"/home/alice/f", [b".", b"d", b"..", b"f"]),
        (b"/../../f", b"/f", b"/f", [b"/", b"..", b"..", b"f"]),
        (b"~/%41 ", b"/home/alice/~/%41 ", b"/home/alice/~/%41 ", [b"~", b"%41 "]),
        (b"d/", None, None, [b"d", b""]),
        (b"d/..", None, None, [b"d", b".."]),
        (b".", None, None, [b"."]),
    ],
)
def test_which_file_is_meant(path, ftp, sftp, way):
    assert names.meaning(path, HOME).file == ftp
    assert names.meaning(path, HOME, sftp=True).file == sftp
    folders, last = names.ftp_way(path)
    assert [*folders, last] == way


def test_the_way_leads_through_each_named_folder():
    assert names.meaning(b"d/../e//f", HOME).folders == [HOME, HOME + b"/d", HOME, HOME + b"/e", HOME + b"/e"]


@pytest.mark.parametrize(
    "path, wrong",
    [
        (b"a#b", [b"a"]),
        (b"a?b", [b"a"]),
        (b"a;Type=i", [b"a"]),
        (b"a%41", [b"aA", b"a%2541"]),
        (b"../x/./a", [b"x/a"]),
        (b" a ", [b"a", b" a", b"%20a%20"]),
        (b"a\\b", [b"a/b", b"ab"]),
        (b"/a", [b"a"]),
        (b"a", [b"/a"]),
        (b"\xff\xffa", [b"\xffa"]),
        ("ä".encode(), [b"\xe4"]),
    ],
)
def test_wrong_readings_are_other_paths(path, wrong):
    found = names.wrong_readings(path)
    assert set(wrong) <= set(found)
    assert path not in found and len(found) == len(set(found))


def test_names_of_one_seed_are_always_the_same():
    assert names.make_path(Random("1:vsftpd:5"), HOME) == names.make_path(Random("1:vsftpd:5"), HOME)
    assert len(set(MADE)) > len(MADE) // 2


def test_names_fit_into_a_request():
    assert all(1 <= len(path) <= names.LONGEST and b"\0" not in path for path in MADE)
    assert {1, names.LONGEST} <= {len(path) for path in MADE}
    random = Random(1)
    assert all(len(names.make_host(random)) <= 255 for _ in range(2000))
    assert all(len(names.make_credential(random, 31)) <= 31 for _ in range(2000))


def test_names_have_every_byte_first_in_the_middle_and_last():
    everywhere = set(range(1, 256)) - names.IN_NO_PATH - {ord("/")}
    assert {path[0] for path in MADE} >= everywhere
    assert {path[-1] for path in MADE} >= everywhere
    assert {byte for path in MADE for byte in path[1:-1]} == set(range(1, 256))


def test_names_have_everything_that_may_be_misread():
    for piece in (*names.ATOMS, *names.REFUSABLE, b"//", b"/../", b"/./"):
        assert any(piece in path for path in MADE), piece
    assert any(names.meaning(path, HOME).file is None for path in MADE)
    assert any(path.startswith(b"//") for path in MADE)


def test_most_names_are_not_refused():
    verdicts = [names.verdict_on_path(path) for path in MADE]
    assert 0.05 < verdicts.count("refused") / len(verdicts) < 0.3
