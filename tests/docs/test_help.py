"""Every script explains itself with --help and does nothing else."""

import os
import shutil
import subprocess

import pytest

from log_calls import ROOT

FOLDERS = (".ci", "bench", "docs", "packaging", "scripts", "tests")
# Only dpkg runs debian/, and only ctest runs unit/.
NOT_ASKED = ("packaging/debian", "tests/unit")
TOOLS = ("sh", "sed", "dirname", "cat", "env")


def scripts():
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).rglob("*")):
            name = str(path.relative_to(ROOT))
            if path.is_file() and os.access(path, os.X_OK) and not name.startswith(NOT_ASKED):
                yield name


def test_the_scripts_are_found():
    assert {"scripts/lint", "scripts/demo", "tests/e2e/run", "tests/torture/run", "bench/run"} <= set(scripts())


@pytest.mark.parametrize("script", scripts())
def test_help_explains_and_does_nothing(script, tmp_path):
    for tool in TOOLS:  # no other program can be found
        (tmp_path / tool).symlink_to(shutil.which(tool))
    asked = subprocess.run(
        [ROOT / script, "--help"],
        cwd=tmp_path,
        env={"PATH": str(tmp_path), "PYTHONDONTWRITEBYTECODE": "1"},
        capture_output=True,
        text=True,
        timeout=60,
    )
    assert (asked.returncode, asked.stderr) == (0, "")
    assert len(asked.stdout.split()) >= 8
    assert script.split("/")[-1] in asked.stdout
    assert sorted(path.name for path in tmp_path.iterdir()) == sorted(TOOLS)
