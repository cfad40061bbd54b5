"""packaging/yocto and packaging/buildroot pass options that exist, name this licence, and package all that is installed."""

import fnmatch
import hashlib
import os
import re
import subprocess

import pytest
from log_calls import ROOT

YOCTO = (ROOT / "packaging/yocto/ftp-clientd_git.bb").read_text()
BUILDROOT = (ROOT / "packaging/buildroot/ftp-clientd.mk").read_text()
CONFIG = (ROOT / "packaging/buildroot/Config.in").read_text()

FOLDERS = {
    "bindir": "/usr/bin",
    "datadir": "/usr/share",
    "libdir": "/usr/lib",
    "nonarch_libdir": "/usr/lib",
    "systemd_system_unitdir": "/usr/lib/systemd/system",
}
# What BitBake's own defaults and its systemd class put into packages.
BY_DEFAULT = [
    "/usr/sbin/*", "/usr/include/*", "/usr/lib/lib*.so", "/usr/lib/lib*.a", "/usr/lib/pkgconfig/*", "/usr/share/man/*",
    "/usr/share/doc/*", "/usr/lib/systemd/system/ftp_clientd.service",
]  # fmt: skip


@pytest.mark.parametrize("recipe", [YOCTO, BUILDROOT], ids=["yocto", "buildroot"])
def test_every_option_is_one_of_the_build(recipe):
    sources = [ROOT / "CMakeLists.txt", *ROOT.glob("ftp*/CMakeLists.txt")]
    known = set(re.findall(r"(?m)^ *option\((\w+)", "".join(path.read_text() for path in sources)))
    used = set(re.findall(r"-D(\w+)=", recipe))
    assert {"BUILD_TESTING", "FTP_CLIENTD_REDACT_PASSWORDS", "FTP_CLIENTD_TOOLS", "FTP_CLIENTD_SPOOL"} <= used <= known


def test_yocto_has_the_checksum_of_the_licence():
    expected = hashlib.md5((ROOT / "LICENSE").read_bytes()).hexdigest()
    assert re.search(r"file://LICENSE;md5=(\w+)", YOCTO)[1] == expected


def test_buildroot_asks_what_its_makefile_reads():
    read = set(re.findall(r"BR2_PACKAGE_FTP_CLIENTD_\w+", BUILDROOT))
    asked = set(re.findall(r"(?m)^config (BR2_PACKAGE_FTP_CLIENTD_\w+)", CONFIG))
    assert read == asked


def test_buildroot_starts_the_programs_that_are_installed(tmp_path):
    installed = installed_in(tmp_path)
    script = (ROOT / "packaging/buildroot/S80ftp_clientd").read_text()
    programs = re.findall(r"/usr/\S+/(?:start|ftp_clientd)(?= |;)", script)
    assert len(programs) == 2
    assert set(programs) <= set(installed)


def test_yocto_packages_everything_that_is_installed(tmp_path):
    named = " ".join(re.findall(r'(?m)^FILES:\S+ \+?= "(.*)"', YOCTO))
    patterns = [re.sub(r"\$\{(\w+)\}", lambda match: FOLDERS[match[1]], word) for word in named.split()]
    patterns += [f"{pattern}/*" for pattern in patterns] + BY_DEFAULT
    left = [
        path for path in installed_in(tmp_path) if not any(fnmatch.fnmatch(path, pattern) for pattern in patterns)
    ]
    assert left == []


def installed_in(root):
    """The paths of all that this build installs."""
    subprocess.run(
        ["cmake", "--install", os.environ["FTP_CLIENTD_BUILD"], "--prefix", "/usr"],
        env=os.environ | {"DESTDIR": str(root)}, check=True, stdout=subprocess.DEVNULL,
    )  # fmt: skip
    # Debian's build puts libraries into a folder of its own.
    paths = [f"/{path.relative_to(root)}" for path in root.rglob("*") if not path.is_dir()]
    assert len(paths) > 20
    return [re.sub("^/usr/lib/[a-z0-9_]+-linux-gnu[a-z]*/", "/usr/lib/", path) for path in paths]
