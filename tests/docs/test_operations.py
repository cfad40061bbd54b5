"""docs/operations.md explains every log line and every result code of the source."""

import re
import subprocess

import pages
from log_calls import ROOT, log_lines, log_texts

PAGE = "docs/operations.md"


def told():
    """{id: (level, text, meaning, remedy)}"""
    rows = pages.rows(PAGE, re.compile(r"`([a-z_]+\(\d+\))`"), cells=5)
    return {row[0].strip("`"): row[1:] for row in rows}


def codes_of_source():
    """{number: name}"""
    text = (ROOT / "wire/result_codes.h").read_text()
    return {int(number): name for name, number in re.findall(r"(FTPCD_ERR_\w+) = (\d+),", text)}


def test_the_page_has_exactly_the_lines_of_the_source():
    logged = {line.id: line for line in log_lines()}
    lines = told()
    assert len(logged) > 200
    assert sorted(logged.keys() - lines.keys()) == [], "logged by the daemon, but missing on the page"
    assert sorted(lines.keys() - logged.keys()) == [], "on the page, but never logged"


def test_the_tables_of_lines_match_the_source():
    checked = subprocess.run([ROOT / "scripts/log-table", "--check"], capture_output=True, text=True)
    assert checked.returncode == 0, f"refresh with scripts/log-table:\n{checked.stdout}{checked.stderr}"


def test_an_id_belongs_to_one_line():
    ids = [line.id for line in log_lines()]
    assert sorted({id for id in ids if ids.count(id) > 1}) == []


def test_every_line_has_a_meaning_and_a_remedy():
    lines = told()
    for id, (_, _, meaning, remedy) in lines.items():
        assert len(meaning) >= 6 and len(remedy) >= 5, id


def test_ids_named_elsewhere_in_the_manual_exist():
    logged = {line.id for line in log_lines()}
    for page in pages.PAGES:
        for id in re.findall(
            r"\b((?:ftp_clientd|ftp_clientd_if|curl_func|curl_wrapper|zixi_func)\(\d{2,}\))",
            pages.text(page),
        ):
            assert id in logged, f"{page}: nothing logs {id}"


def test_lines_without_an_id_are_libcurls_or_a_dumps():
    # A new one needs a place on the page, below "Lines without a module's name".
    assert log_texts() == {
        "%c %s",
        "%c %.*s",
        "%s",
        "%08X %-23s  %-23s",
        "Dump: 0x%08X - 0x%08X (%u bytes)",
    }


def test_the_result_codes_match_the_source():
    codes = codes_of_source()
    assert len(codes) > 20
    for page, cells in ((PAGE, 4), ("docs/protocol.md", 3)):
        rows = pages.rows(page, re.compile(r"\d+"), cells, second=re.compile(r"`FTPCD_ERR_\w+`"))
        assert [(int(row[0]), row[1].strip("`")) for row in rows] == list(codes.items()), page
        assert all(len(cell) >= 5 for row in rows for cell in row[2:]), page


def test_the_clients_know_the_same_result_codes():
    known = set(codes_of_source().values())
    library = re.findall(r"\{RESULT\((\w+)\)", (ROOT / "libftpclient/words.c").read_text())
    assert {f"FTPCD_ERR_{name}" for name in library} == known
    # 0 is not a failure, and 3 has the status of the wait for a turn
    command = re.findall(r"\{FTPCLIENT_RESULT_(\w+), \"", (ROOT / "ftpctl/statuses.cpp").read_text())
    assert {f"FTPCD_ERR_{name}" for name in command} == known - {"FTPCD_ERR_NONE", "FTPCD_ERR_BUSY"}
