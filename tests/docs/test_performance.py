"""The page of performance is the one that bench/report writes, and the benchmarks still run with the tests' servers."""

import json
import os
import runpy
import subprocess
import sys

import pytest
from log_calls import ROOT

sys.path.insert(0, str(ROOT / "bench"))
REPORT = runpy.run_path(str(ROOT / "bench" / "report"))
PAGE = (ROOT / "docs" / "performance.md").read_text()


def test_the_page_begins_with_the_reports_introduction():
    assert PAGE.startswith(REPORT["INTRO"])


@pytest.mark.parametrize("prefix", REPORT["SECTIONS"])
def test_each_section_has_the_reports_text_and_figures(prefix):
    heading, words = REPORT["SECTIONS"][prefix]
    _, _, section = PAGE.partition(f"\n## {heading}\n\n{words}\n")
    assert "\n|---|---:" in section.partition("\n## ")[0]


def test_the_page_says_when_and_on_what_it_was_measured():
    assert "\nMeasured on " in PAGE and " in one run on " in PAGE


def test_a_benchmark_runs():
    smallest = ["--mib", "1", "--entries", "100", "--rounds", "1", "--build", os.environ["FTP_CLIENTD_BUILD"]]
    done = subprocess.run([ROOT / "bench" / "one", *smallest], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    figures = json.loads(done.stdout.splitlines()[-1])
    assert {"look-up, Unix, CPU ms", "upload, FTP, CPU ms", "upload, FTPS, CPU ms", "upload, SFTP, CPU ms"} <= figures.keys()
    assert min(figures.values()) > 0
