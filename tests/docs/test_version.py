"""CMakeLists.txt sets the version; texts that cannot be generated from it must agree."""

import re

from log_calls import ROOT


def found(path, pattern):
    """The first match of a pattern, which must exist."""
    match = re.search(pattern, (ROOT / path).read_text(), re.M)
    assert match, f"{path}: nothing matches {pattern}"
    return match


def version():
    return found("CMakeLists.txt", r"^project\(ftp_clientd VERSION (\d+\.\d+\.\d+) ")[1]


def test_the_newest_entry_of_the_changelog_is_this_version_with_its_date():
    newest = found("CHANGELOG.md", r"^## (.*)$")[1]
    assert re.fullmatch(re.escape(version()) + r", \d{4}-\d\d-\d\d", newest)


def test_the_newest_entry_of_the_packages_changelog_is_this_version():
    newest = found("packaging/debian/changelog", r"\A\S+ \((.*?)\)")[1]
    assert newest == f"{version()}-1"


def test_the_header_of_the_library_names_this_version():
    parts = [
        found("libftpclient/ftpclient.h", rf"^#define FTPCLIENT_VERSION_{part} (\d+)$")[1]
        for part in ("MAJOR", "MINOR", "PATCH")
    ]
    assert ".".join(parts) == version()


def test_programs_ask_for_no_newer_package_of_the_library():
    needed = found("packaging/debian/library/shlibs", r">= ([\d.]+)\)$")[1]
    assert [int(part) for part in needed.split(".")] <= [int(part) for part in version().split(".")]
