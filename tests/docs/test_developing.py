"""Every command in DEVELOPING.md's table works as written, and a selection of tests selects some."""

import functools
import json
import os
import re
import shlex
import subprocess

import pytest

import pages
from log_calls import ROOT

PRESETS = json.loads((ROOT / "CMakePresets.json").read_text())
# Values for placeholders.
VALUES = {"OLD": "build/old", "NEW": "build/new", "FOLDER": "folder"}


def commands():
    """The single commands of the second column, without lone options and results."""
    table = pages.text("DEVELOPING.md").partition("| what | command |")[2].partition("\n\n")[0]
    for line in table.splitlines()[2:]:
        for quoted in re.findall(r"`([^`]+)`", pages.cells_of(line)[1]):
            if not quoted.startswith(("-", "build/")):
                yield from quoted.split(" && ")


def words_of(command):
    return [VALUES.get(word, word) for word in shlex.split(re.sub(r"\[.*\]", "", command))]


def preset_of(words):
    return words[words.index("--preset") + 1]


@pytest.fixture(scope="session")
def tests():
    """ctest's tests: {name: labels}"""
    build = os.environ["FTP_CLIENTD_BUILD"]
    told = subprocess.run(
        ["ctest", "--test-dir", build, "--show-only=json-v1"], capture_output=True, text=True, check=True
    ).stdout
    return {
        test["name"]: next((p["value"] for p in test["properties"] if p["name"] == "LABELS"), [])
        for test in json.loads(told)["tests"]
    }


def by_kind(program):
    return [command for command in commands() if words_of(command)[0] == program]


@functools.cache
def help_of(script):
    return subprocess.run([ROOT / script, "--help"], capture_output=True, text=True, timeout=60, check=True).stdout


def test_the_table_is_read():
    assert len(by_kind("ctest")) >= 4 and len(by_kind("cmake")) == 2
    assert len(list(commands())) > 30


@pytest.mark.parametrize("command", by_kind("ctest"))
def test_a_selection_of_tests_selects_some(command, tests):
    words = words_of(command)
    assert preset_of(words) in {preset["name"] for preset in PRESETS["testPresets"]}
    select, what = words[words.index("--preset") + 2 :]
    seen = {"-R": [[name] for name in tests], "-L": list(tests.values())}[select]
    assert [one for one in seen if any(re.search(what, word) for word in one)]


@pytest.mark.parametrize("command", by_kind("cmake"))
def test_presets_exist(command):
    kind = "buildPresets" if "--build" in command else "configurePresets"
    assert preset_of(words_of(command)) in {preset["name"] for preset in PRESETS[kind]}


@pytest.mark.parametrize("command", [c for c in commands() if words_of(c)[0] not in ("ctest", "cmake")])
def test_scripts_accept_their_options(command):
    script, *given = words_of(command)
    told = help_of(script)
    for word in given:
        if word.startswith("-") or re.fullmatch(r"arm\w+|[at]san", word):
            assert re.search(rf"(?<![\w-]){re.escape(word)}\b", told), word


def test_an_end_to_end_test_is_selected():
    (command,) = [c for c in commands() if c.startswith("tests/e2e/run")]
    listed = subprocess.run([ROOT / words_of(command)[0], "--list", *words_of(command)[1:]], capture_output=True, text=True)
    assert listed.returncode == 0 and "::test_" in listed.stdout
