"""How .ci/run treats failing tests, as DEVELOPING.md says. ctest and the scripts that it runs are fakes."""

import os
import shutil
import subprocess

import pytest

from log_calls import ROOT

LOG = "build/release/Testing/Temporary/LastTestsFailed.log"


@pytest.fixture
def run(tmp_path):
    def played(name, text):
        path = tmp_path / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def call(failed, alone=0, listed=None, unpacked=0, elsewhere=0):
        """failed: number of tests that fail in the first run; listed: number in ctest's list, by default the same."""
        (tmp_path / LOG).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / LOG).write_text("9:from_an_earlier_run\n")
        (tmp_path / ".ci").mkdir(exist_ok=True)
        shutil.copy(ROOT / ".ci/run", tmp_path / ".ci/run")
        for name in ("lint", "test-arm", "check-musl"):
            played(f"scripts/{name}", "exit 0")
        played("scripts/on", f"exit {unpacked}")
        played("scripts/test-on", f"exit {elsewhere}")
        shutil.copy(ROOT / "scripts/help.sh", tmp_path / "scripts/help.sh")
        lines = "".join(f"echo {n}:test_{n} >>{LOG}\n" for n in range(failed if listed is None else listed))
        played("scripts/test", f"{lines}exit {8 if failed else 0}")
        played("bin/ctest", f'echo "ctest $*"\nexit {alone}')
        environment = os.environ | {"PATH": f"{tmp_path}/bin:{os.environ['PATH']}"}
        done = subprocess.run([tmp_path / ".ci/run"], env=environment, capture_output=True, text=True)
        return done.returncode, done.stdout

    return call


def test_tests_that_pass_are_not_run_again(run):
    assert run(failed=0) == (0, "")


def test_up_to_three_failures_are_run_again_alone_and_named(run):
    status, said = run(failed=3)
    assert status == 0
    assert said.startswith("ctest --preset release --rerun-failed -j1\n")
    assert said.endswith("!!! failed beside others, passed alone:\ntest_0\ntest_1\ntest_2\n")


def test_one_that_fails_again_fails_the_run(run):
    status, said = run(failed=1, alone=8)
    assert status == 1 and "passed alone" not in said


def test_more_than_three_fail_the_run_at_once(run):
    assert run(failed=4) == (1, "")


def test_a_build_that_fails_fails_the_run(run):
    assert run(failed=1, listed=0) == (1, "")


def test_a_failure_on_the_other_platform_fails_the_run(run):
    assert run(failed=0, elsewhere=8) == (8, "")


def test_a_platform_that_cannot_be_unpacked_is_named(run):
    assert run(failed=0, unpacked=1) == (0, "\n!!! Debian 11 could not be unpacked: its tests did not run\n")
