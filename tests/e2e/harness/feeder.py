"""The Zixi side: a daemon whose feeder library stores uploads in a folder, and requests to it."""

import contextlib
import os
import re
from typing import NamedTuple

from . import client, wire
from .daemon import WORLD

FOLDER = WORLD / "zixi"  # plays the server
USER_WIDTH, PASSWORD_WIDTH = 64, 128
PROGRESS = re.compile(
    r"zixi_func\(731\): Uploaded: (?P<percent>-?\d+)% (?P<sent_mb>\d+)MB/(?P<total_mb>\d+)MB"
    r" Speed: (?P<mbits>-?\d+)\.(?P<kbits>[ 0-9-]{3,})Mbps"
    r" elapsed:(?P<elapsed>\d+)\[m\] / remain:(?P<remain>-?\d+)\[m\]\n"
)

DONE = "zixi_func(784): Zixi FTP Done.\n"
NETWORK = "error: zixi_func(502): FTPCD_ERR_NETWORK\n"
NAMES = {
    -22: "ZIXI_WARNING_REMOTE_FILE_EXISTS",
    -21: "ZIXI_ERROR_FILE_REMOTE",
    -20: "ZIXI_ERROR_FILE_LOCAL",
    -19: "ZIXI_ERROR_BAD_URL",
    -17: "ZIXI_ERROR_NETWORK",
    -13: "ZIXI_ERROR_NOT_SUPPORTED",
    -7: "ZIXI_ERROR_AUTHORIZATION_FAILED",
    -4: "ZIXI_ERROR_NOT_CONNECTED",
    -1: "ZIXI_ERROR_FAILED",
    3: "ZIXI_ERROR_ALREADY_INITIALIZED",
}


def knobs(**knobs):
    """The library's settings as environment variables: fail, rate, total, user, password, dir. What they do:
    tests/standin/zixiFeeder.cpp."""
    variables = {f"ZIXI_FEEDER_{name.upper()}": str(value) for name, value in knobs.items()}
    return {"ZIXI_FEEDER_DIR": str(FOLDER)} | variables


def credentials(user, password):
    """The field `password` as Zixi uses it: from bytes 1092 and 1156 of the request."""
    skipped = bytes(1092 - wire.REQUEST_FIELDS["password"][0])
    user, password = (wire.as_bytes(text) for text in (user, password))
    assert len(user) < USER_WIDTH and len(password) < PASSWORD_WIDTH
    return skipped + user.ljust(USER_WIDTH, b"\0") + password


def upload(local_path, remote_path, user="", password="", **fields):
    """(result, detail)"""
    fields = {"protocol": wire.ZIXI_4, "password": credentials(user, password)} | fields
    return client.upload(local_path, remote_path, **fields)


def file_info(remote_path="a", **fields):
    return client.file_info(remote_path, **({"protocol": wire.ZIXI_4} | fields))


def stored():
    """{path below the server's folder: content}, including unfinished files."""
    found = {}
    for path in FOLDER.rglob("*"):
        with contextlib.suppress(FileNotFoundError):  # renamed to its final name meanwhile
            if path.is_file():
                found[str(path.relative_to(FOLDER))] = path.read_bytes()
    return found


def make_file(path, size):
    """A file without repetition."""
    path.write_bytes((os.urandom(1 << 16) * (size // (1 << 16) + 1))[:size])
    return path


def signed(word):
    return word - (1 << 32) if word >> 31 else word


class Sample(NamedTuple):
    """One progress line."""

    percent: int
    sent_mb: int
    total_mb: int
    speed_kbits_s: int
    elapsed_minutes: int
    remaining_minutes: int

    @classmethod
    def of(cls, line):
        found = PROGRESS.fullmatch(line)
        assert found, line
        # Integer part and fraction each have a sign; the fraction is padded with blanks to three places.
        assert found["kbits"] == "%3d" % int(found["kbits"]), line
        mbits, kbits = int(found["mbits"]), int(found["kbits"])
        assert abs(kbits) < 1000 and mbits * kbits >= 0, line
        numbers = (int(found[name]) for name in ("percent", "sent_mb", "total_mb"))
        return cls(*numbers, mbits * 1000 + kbits, int(found["elapsed"]), int(found["remain"]))


def samples(log):
    return [Sample.of(text) for text in log.texts if text.startswith("zixi_func(731)")]


def said(log):
    """What the engine and the commands have logged since the start, without progress."""
    texts = log.texts
    begin = next(i for i, text in enumerate(texts) if text.startswith("zixi_func(180)")) + 1
    return [text for text in texts[begin:] if not text.startswith("zixi_func(731)")]


# --- What the engine logs of a failure


def named(code):
    return f"error: zixi_func(1170): {NAMES[code]}({code}) \n"


def not_started(code):
    return [f"error: zixi_func(623): Error starting upload. err={code}\n", named(code)]


def given_up(code):
    return f"zixi_func(650): Upload Error:{code}\n"


def closing(code):
    return ["error: zixi_func(781): Error closing upload.\n", named(code)]


def for_good(code):
    """A start that is not tried again."""
    return [*not_started(code), given_up(code), NETWORK]
