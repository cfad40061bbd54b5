"""Differences of the daemon's libraries from those of Debian 12; the tests have no others."""

import pathlib
import re

from .daemon import sysroot


def _bytes_of(file_name):
    [path, *_] = pathlib.Path(sysroot() or "/").glob(f"usr/lib/*/{file_name}")
    return path.read_bytes()


def libcurl():
    """libcurl's version, e.g. (7, 88, 1)."""
    return tuple(map(int, re.search(rb"libcurl[/ ](\d+)\.(\d+)\.(\d+)", _bytes_of("libcurl.so.4")).groups()))


def lacks_tls_in_active_mode():
    """This libcurl would send data of active FTPS in clear, so the daemon uses passive mode."""
    return (7, 87, 0) <= libcurl() <= (7, 88, 1)


def reads_replies_for_ever():
    """This libcurl checks no time limit while lines of a reply keep coming; only a cancel ends the job."""
    return b"Too large response headers" not in _bytes_of("libcurl.so.4")  # 8.3, and Debian's 7.88.1


def names_every_port():
    """Whether a request to an HTTP proxy names the default port as well."""
    return libcurl() < (7, 88)  # 7.74 does, 7.88.1 does not; versions between them are untested


def code_of_a_file_that_shrank():
    """CURLcode of an upload whose file ends before its first size."""
    return 26 if libcurl() >= (8, 7) else 18  # 8.14.1 gives 26, 7.88.1 gives 18; versions between them are untested


def host_keys():
    """The kinds of host key that both this libssh2 and this OpenSSH support; most tests use the first."""
    # Debian 11 builds libssh2 1.9 with libgcrypt, which supports only RSA.
    return ["rsa"] if b"libgcrypt.so" in _bytes_of("libssh2.so.1") else ["ed25519", "ecdsa"]
