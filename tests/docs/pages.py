"""The pages of the manual, and the tables in them."""

import re

from log_calls import ROOT

PAGES = [
    "README.md",
    "DEVELOPING.md",
    *sorted(f"docs/{path.name}" for path in (ROOT / "docs").glob("*.md")),
]


def text(page):
    return (ROOT / page).read_text()


def cells_of(line):
    """A table row's cells; a bar in code or after a backslash is not a border."""
    bars = re.sub(r"`[^`]*`|\\\|", lambda match: match[0].replace("|", "\0"), line.strip())
    return [cell.strip().replace("\0", "|") for cell in bars.strip("|").split("|")]


def rows(page, first, cells, second=re.compile(".*")):
    """The cells of each table row whose first two match the patterns. Another number of cells is an
    error in the page."""
    found = []
    for line in text(page).splitlines():
        row = cells_of(line) if line.startswith("|") else [""]
        if first.fullmatch(row[0]) and len(row) > 1 and second.fullmatch(row[1]):
            assert len(row) == cells, f"{page}: {line}"
            found.append(row)
    return found


def anchors(page):
    """The targets of links: headings as anchors of the usual renderers."""
    headings = re.findall(r"(?m)^#+ (.*)$", re.sub(r"(?s)```.*?```", "", text(page)))
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}
