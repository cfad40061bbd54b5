"""The page of performance is the one that bench/report writes."""

import runpy
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
