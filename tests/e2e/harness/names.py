"""Names that a client may put into a request, which of them are refused, and which file the others mean.

Written from the protocol's rules, deliberately not from the daemon's code. A path is 1 to 511 bytes, none of them 0.

- '#', '?', CR and LF are refused, and over FTP and FTPS ";type=" in letters of any case: libcurl cuts the path there.
- Any other path means what it means in POSIX: over FTP and FTPS relative to the login directory, or absolute with a leading
'/'; over SFTP always below the login directory. One that names a directory means no file.
- Over FTP and FTPS the byte 255 is refused: it begins a TELNET command.
- A proxy's host may begin with "user:password@". An upload through a proxy must name a file, not a folder.
- A host is refused if it is empty or has one of "/?#@\\", a blank or a control character; credentials with CR or LF are too.
"""

import posixpath
import re
import urllib.parse
from typing import NamedTuple

LONGEST = 511
ACCEPTED, REFUSED = "accepted", "refused"
IN_NO_PATH = frozenset(b"#?\r\n")
IN_NO_HOST = frozenset(b"/?#@\\ \x7f") | frozenset(range(32))

TELNET = b"\xff"
TYPE = re.compile(rb";type=", re.IGNORECASE)


def verdict_on_path(path, sftp=False, is_proxied_upload=False):
    """The verdict on a path in an otherwise valid request."""
    in_no_ftp_path = not sftp and (TYPE.search(path) or TELNET in path)
    names_no_file = is_proxied_upload and (not path or path.endswith(b"/"))
    return REFUSED if IN_NO_PATH & set(path) or in_no_ftp_path or names_no_file else ACCEPTED


def verdict_on_host(host):
    return REFUSED if not host or IN_NO_HOST & set(host) else ACCEPTED


def verdict_on_proxy(host):
    host = host.removeprefix(b"http://")
    login, at, behind = host.partition(b"@")
    return verdict_on_host(behind if at and b":" in login and verdict_on_host(login) == ACCEPTED else host)


def verdict_on_credential(text):
    return REFUSED if {10, 13} & set(text) else ACCEPTED


class Meaning(NamedTuple):
    """folders: all on the way there, absolute and without dot segments; file: None if no file is meant."""

    folders: list
    file: "bytes | None"


def meaning(path, login, sftp=False):
    """login: the login directory, absolute. No folder on the way is a symbolic link."""
    at = b"/" if path.startswith(b"/") and not sftp else login
    folders = [at]
    *way, last = path.split(b"/")
    for segment in way:
        at = posixpath.normpath(posixpath.join(at, segment or b"."))
        folders.append(at)
    if last in (b"", b".", b".."):
        return Meaning(folders, None)
    return Meaning(folders, posixpath.join(at, last))


def ftp_way(path):
    """The arguments of the CWD commands on the way to the file, and the file's name."""
    *way, last = path.split(b"/")
    absolute = [b"/"] if path.startswith(b"/") else []
    return absolute + [segment for segment in way if segment], last


def _without_dots(path):
    front = b"/" if path.startswith(b"/") else b""
    return front + posixpath.normpath(b"/" + path).lstrip(b"/")


def _as_utf8(path):
    return path.decode("latin-1").encode()


def _as_latin1(path):
    return path.decode("utf-8", "ignore").encode("latin-1", "ignore")


_WRONG = (
    lambda path: path.split(b"#")[0],
    lambda path: path.split(b"?")[0],
    lambda path: TYPE.split(path)[0],
    lambda path: path[: TYPE.search(path).end()] if TYPE.search(path) else path,
    lambda path: path.split(b";")[0],
    lambda path: path.split(b"*")[0],
    lambda path: re.split(rb"[\r\n]", path)[0],
    lambda path: re.split(rb"[\x01-\x1f\x7f]", path)[0],
    lambda path: re.sub(rb"[\x01-\x1f\x7f]", b"", path),
    lambda path: re.sub(rb"[\x01-\x1f\x7f]", b"?", path),
    lambda path: re.sub(rb"[\x01-\x1f\x7f]", b"_", path),
    urllib.parse.unquote_to_bytes,
    lambda path: urllib.parse.unquote_to_bytes(urllib.parse.unquote_to_bytes(path)),
    lambda path: urllib.parse.unquote_to_bytes(path).split(b"\0")[0],
    lambda path: urllib.parse.quote(path, safe="/").encode(),
    lambda path: urllib.parse.quote(path, safe="!#$&'()*+,/:;=?@[]").encode(),
    lambda path: path.replace(b"+", b" "),
    lambda path: path.replace(b" ", b"+"),
    _without_dots,
    lambda path: path.strip(),
    lambda path: path.rstrip(),
    lambda path: path.rstrip(b" ."),
    lambda path: path.rstrip(b"/"),
    lambda path: b"/".join(segment.strip() for segment in path.split(b"/")),
    lambda path: re.sub(rb"  +", b" ", path),
    lambda path: path.split(b" -> ")[0],
    lambda path: path.split(b" ")[0],
    lambda path: path.replace(b"\\", b"/"),
    lambda path: path.replace(b"\\", b""),
    lambda path: re.sub(rb"\\(.)", rb"\1", path),
    lambda path: path.replace(b'"', b""),
    lambda path: path.replace(b'""', b'"'),
    lambda path: path.replace(b"~/", b""),
    lambda path: path.replace(b"~", b""),
    lambda path: re.sub(rb"[\[\]{}*]", b"", path),
    lambda path: path.replace(b"\xff\xff", b"\xff"),
    lambda path: path.replace(b"\xff", b""),
    lambda path: re.sub(rb"\xff.", b"", path),
    lambda path: path.replace(b"\xff", b"?"),
    _as_utf8,
    _as_latin1,
    lambda path: path.lower(),
    lambda path: path.split(b"/")[-1],
    lambda path: path.lstrip(b"/"),
    lambda path: b"/" + path,
    lambda path: b"/".join(path.split(b"/")[1:]),
    lambda path: b"/".join([*path.split(b"/")[:-1], path.split(b"/")[-1][:254]]),
)


def wrong_readings(path):
    """Other paths that wrong readings of this one would give."""
    found = dict.fromkeys(wrong(path) for wrong in _WRONG)
    return [each for each in found if each and each != path and b"\0" not in each]


# --- Generators. `random` is a random.Random: the same one makes the same names.

ATOMS = (
    [b".", b"..", b"...", b".x", b"%", b"%41", b"%2F", b"%2f", b"%00", b"%25", b"%2e%2e", b"%0d%0a", b"%zz"]
    + [b'"', b'""', b"'", b"`", b"\\", b"\\\\", b"*", b"**", b"*.x", b";", b";type", b"type=i", b"; type=i", b"~", b"~alice"]
    + [b"[", b"]", b"[a]", b"{a,b}", b"<", b">", b"|", b"^", b"$HOME", b"$(x)", b"!", b"&", b"=", b"+", b":", b"@", b",", b"()"]
    + [b" ", b"  ", b" -> ", b"\t", b"\x01", b"\x1b[", b"\x7f", b"\xff", b"\xff\xff", b"\xff\xf4", b"-", b"-l", b"http://h/"]
    + [text.encode() for text in ("ä", "é", "e\u0301", "日本", "\u202e", "\ufeff", "😀", "\xa0")]
    + [b"\xc3", b"\x80", b"\xc0\xaf", b"\xed\xa0\x80", b"\xf5\x80", b"\xe4", b"\x9f", b"a", b"b.txt", b"File", b"dir"]
)
REFUSABLE = [b"#", b"?", b"\r", b"\n", b"\r\nDELE a", b";type=i", b";type=a", b";TYPE=d", b";Type=I", b";type=x", b";type=", b"?x#"]
ALL_BYTES = [bytes([byte]) for byte in range(1, 256) if byte not in IN_NO_PATH and byte != ord("/")]
LETTERS = b"abcdefghijklmnopqrstuvwxyz0123456789._-"


def _letters(random, length):
    return bytes(random.choice(LETTERS) for _ in range(length))


def _segment(random):
    kind = random.randrange(8)
    if kind == 0:
        return random.choice((b".", b"..", b"", b" ", b"~", b"*"))
    if kind == 1:  # any byte: alone, first, in the middle, last
        byte = random.choice(ALL_BYTES)
        return random.choice((byte, byte + b"a", b"a" + byte + b"b", b"a" + byte, byte + b"a" + byte))
    if kind == 2:
        return b"".join(random.choice(ALL_BYTES) for _ in range(random.randint(1, 12)))
    if kind == 3:
        return _letters(random, random.choice((1, 2, 3, 14, 15, 20)))
    if kind == 4:
        return "".join(chr(random.choice((0xE4, 0x3B1, 0x4E00, 0x1F600)) + random.randrange(9)) for _ in range(3)).encode()
    return b"".join(random.choice(ATOMS) for _ in range(random.randint(1, 4)))


def make_path(random, login):
    """login: the login directory, with which some of the absolute paths begin."""
    segments = [_segment(random) for _ in range(random.choice((1, 1, 1, 2, 2, 3, 4)))]
    if segments[-1] in (b"", b".", b"..") and random.random() < 0.8:  # sometimes a bare directory
        segments[-1] += _letters(random, 3)
    path = random.choice((b"/", b"/", b"/", b"//", b"/./")).join(segments)
    if random.random() < 0.12:
        at = random.choice((0, len(path), len(path), random.randint(0, len(path))))
        path = path[:at] + random.choice(REFUSABLE) + path[at:]
    if random.random() < 0.05:
        length = random.choice((200, 253, 254, 255, 256, 300, LONGEST))
        path += _letters(random, max(0, length - len(path)))
    elif random.random() < 0.05:
        path += b"/" + b"/".join([_letters(random, 40)] * 12)
    front = random.choice([b""] * 8 + [b"/", b"//", b"../", b"./", login + b"/", b"/" + login + b"/", login[1:] + b"/", b" ", b"~/"])
    return (front + path)[:LONGEST] or b"a"


def make_host(random, host=b"127.0.0.1"):
    """Mostly a variation of that host that must not lead to another."""
    if random.random() < 0.2:
        return random.choice((host, host.upper(), host + b":21", host + b":", b"127.1", b"0x7f.1", b"127.000.000.1", host + b"."))
    text = random.choice((b"", b"/", b"?", b"#", b"@", b"\\", b" ", b"\t", b"\x7f", b"\n", *ATOMS, *ALL_BYTES))
    at = random.choice((0, len(host), random.randint(0, len(host))))
    made = host[:at] + text + host[at:]
    return random.choice((made, made, made, made, made, made, text, b"u:p@" + made, made + b"/x", b"x" * 255))[:255]


def make_credential(random, longest):
    text = b"".join(random.choice((b"%", b"#", b"?", b" ", b":", *ATOMS, *ALL_BYTES)) for _ in range(random.randint(0, 8)))
    if random.random() < 0.15:
        text += random.choice((b"\r", b"\n", b"\r\nDELE a"))
    elif random.random() < 0.1:
        text = text.ljust(longest, b"x")
    return text[:longest]


def make_login_folder(random):
    """One name without ':' and line ends, which /etc/passwd cannot have."""
    atoms = [b"%", b"#", b"?", b" ", b"%41", b"%2F", b"\\", b'"', b"a", "ä".encode(), b"\xff", b"~", b";type=i", b"*", b".", b"["]
    name = b"".join(random.choice(atoms) for _ in range(random.randint(1, 5)))
    return name if name.strip(b".") else name + b"a"
