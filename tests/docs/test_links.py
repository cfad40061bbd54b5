"""The manual's links lead somewhere."""

import re

import pytest

import pages
from log_calls import ROOT

LINK = re.compile(r"(?<!`)\[[^\]]*\]\(([^)\s]+)\)|<img [^>]*src=\"([^\"]+)\"|srcset=\"([^\"]+)\"")


def links(page):
    return [
        "".join(found) for found in LINK.findall(re.sub(r"(?s)```.*?```", "", pages.text(page)))
    ]


@pytest.mark.parametrize("page", pages.PAGES)
def test_every_link_leads_to_a_file_and_a_heading(page):
    for link in links(page):
        if "://" in link:
            continue
        path, _, anchor = link.partition("#")
        target = (ROOT / page).parent / path if path else ROOT / page
        assert target.exists(), f"{page}: {link}"
        if anchor:
            assert anchor in pages.anchors(
                str(target.resolve().relative_to(ROOT))
            ), f"{page}: {link}"


def test_there_are_links():
    assert sum(len(links(page)) for page in pages.PAGES) > 20
