#!/usr/bin/python3
"""Compares the hex dumps of docs/protocol.md with the messages that a program builds from the records of wire/.

    tests/docs/hex_dumps.py PROGRAM            prints differences; exits with 1 if there are any
    tests/docs/hex_dumps.py PROGRAM --write    writes the program's dumps into the page

PROGRAM is build/<any>/tests/documented_messages, with an emulator before it if needed. A dump's
place in the page is a line <!-- dump: NAME --> before a fenced block.
"""

import difflib
import pathlib
import re
import subprocess
import sys

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "protocol.md"
BLOCK = re.compile(r"(<!-- dump: ([\w-]+) -->\n```\n)(.*?)(```\n)", re.DOTALL)


def dumps_of(program):
    """{name: text} from the program's output."""
    printed = subprocess.run(program, check=True, capture_output=True, text=True).stdout
    parts = re.split(r"(?m)^== (.*)\n", printed)[1:]
    return dict(zip(parts[::2], parts[1::2]))


def faults_of_places(page, dumps):
    places = re.findall(r"<!-- dump: (.*?) -->", page)
    blocks = [match[2] for match in BLOCK.finditer(page)]
    faults = [f"{name} is in the page without a block" for name in places if name not in blocks]
    faults += [f"{name} is in the page twice" for name in set(places) if places.count(name) > 1]
    faults += [f"nothing makes {name}" for name in places if name not in dumps]
    faults += [f"{name} is not in the page" for name in dumps if name not in places]
    return faults


def main():
    if sys.argv[1:] == ["--help"]:
        sys.exit(print(__doc__))
    program = [word for word in sys.argv[1:] if word != "--write"]
    write = len(program) < len(sys.argv) - 1
    page = PAGE.read_text()
    dumps = dumps_of(program)
    faults = faults_of_places(page, dumps)
    if faults or not dumps:
        sys.exit("\n".join(faults) or "the program printed nothing")
    fresh = BLOCK.sub(lambda match: match[1] + dumps[match[2]] + match[4], page)
    if write:
        PAGE.write_text(fresh)
    elif fresh != page:
        shown = difflib.unified_diff(
            page.splitlines(),
            fresh.splitlines(),
            "docs/protocol.md",
            "the records",
            lineterm="",
            n=0,
        )
        print("\n".join(shown))
        sys.exit(f"refresh with: tests/docs/hex_dumps.py {' '.join(program)} --write")
    else:
        print(f"{len(dumps)} dumps are as the records make them")


main()
