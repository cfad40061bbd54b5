"""The shells complete exactly what ftpctl accepts."""
import os
import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).parent.parent.parent
FTPCTL = pathlib.Path(os.environ["FTP_CLIENTD_BUILD"]) / "bin" / "ftpctl"
COMMANDS = ["get", "put", "info", "identity", "ping", "state", "cancel", "watch", "listen"]


def offered(*words):
    """bash's completions for the last word."""
    script = f"""
        source {ROOT}/packaging/completions/ftpctl
        compopt() {{ :; }}
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        _ftpctl
        printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    shown = subprocess.run(["bash", "-c", script, "bash", *words], check=True, capture_output=True, text=True)
    return shown.stdout.split()


def options(*words):
    shown = subprocess.run([FTPCTL, *words, "--help"], check=True, capture_output=True, text=True)
    listed = shown.stdout.split("\nOptions:\n")[1].split("\n\n")[0]
    return set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", listed, re.M))


def test_the_files_match_the_program():
    subprocess.run([ROOT / "scripts/completions", FTPCTL, "--check"], check=True)


def test_the_first_word_is_a_command_or_a_common_option():
    assert set(offered("ftpctl", "")) == {*COMMANDS, *options()}
    assert offered("ftpctl", "li") == ["listen"]


@pytest.mark.parametrize("command", COMMANDS)
def test_each_command_offers_its_options(command):
    assert set(offered("ftpctl", command, "--")) == options() | options(command)
    assert set(offered("ftpctl", "--json", command, "--")) == options() | options(command)


def test_known_values_are_offered():
    assert offered("ftpctl", "put", "--protocol", "") == ["4", "5"]
    assert offered("ftpctl", "get", "--timeout", "") == []


def test_words_are_files_and_urls(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "ftp_report").touch()
    assert set(offered("ftpctl", "put", "ft")) == {"ftp://", "ftps://", "ftpes://", "ftp_report"}
    assert set(offered("ftpctl", "info", "ft")) == {"ftp://", "ftps://", "ftpes://"}
    assert offered("ftpctl", "get", "--password-file", "ftp_") == ["ftp_report"]


def test_the_rest_of_a_url_is_left_alone(tmp_path):
    # The words into which bash splits "ftp://ho".
    assert offered("ftpctl", "get", "ftp", ":", "//") == []
    assert offered("ftpctl", "get", "ftp", ":") == []


def test_zsh_reads_its_file():
    subprocess.run(["zsh", "-n", ROOT / "packaging/completions/_ftpctl"], check=True)
