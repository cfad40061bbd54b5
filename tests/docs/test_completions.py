"""The shells complete exactly what ftpctl and ftpspool accept."""
import os
import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).parent.parent.parent
BUILT = pathlib.Path(os.environ["FTP_CLIENTD_BUILD"]) / "bin"

# ftpspool is not built where SQLite is missing. Its bash file needs no program.
each_program = pytest.mark.parametrize("program", [each for each in ("ftpctl", "ftpspool") if (BUILT / each).exists()])


def offered(program, *words):
    """bash's completions for the last word."""
    script = f"""
        source {ROOT}/packaging/completions/{program}
        compopt() {{ :; }}
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        _{program}
        printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    shown = subprocess.run(["bash", "-c", script, "bash", program, *words], check=True, capture_output=True, text=True)
    return shown.stdout.split()


def listed(program, title, pattern, *words):
    """What the program's help shows below a title."""
    shown = subprocess.run([BUILT / program, *words, "--help"], check=True, capture_output=True, text=True)
    return re.findall(pattern, shown.stdout.split(f"\n{title}:\n")[1].split("\n\n")[0], re.M)


def options(program, *words):
    return set(listed(program, "Options", r"^  (?:-\w,)?(--[\w-]+)", *words))


def commands(program):
    return listed(program, "Subcommands", r"^  (\w+)  ")


@each_program
def test_the_files_match_the_program(program):
    subprocess.run([ROOT / "scripts/completions", BUILT / program, "--check"], check=True)


@each_program
def test_the_first_word_is_a_command_or_a_common_option(program):
    assert len(commands(program)) >= 9
    assert set(offered(program, "")) == {*commands(program), *options(program)}


@each_program
def test_each_command_offers_its_options(program):
    for command in commands(program):
        expected = options(program) | options(program, command)
        assert set(offered(program, command, "--")) == expected
        assert set(offered(program, "--json", command, "--")) == expected


def test_known_values_are_offered():
    assert offered("ftpctl", "li") == ["listen"]
    assert offered("ftpctl", "put", "--protocol", "") == ["4", "5"]
    assert offered("ftpspool", "list", "--state", "hel") == ["held"]
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


def test_folders_are_offered_where_a_folder_is_wanted(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "sent").mkdir()
    (tmp_path / "seen").touch()
    assert offered("ftpspool", "add", "--move-to", "se") == ["sent"]
    assert set(offered("ftpspool", "add", "se")) == {"sent", "seen"}


@each_program
def test_zsh_reads_its_file(program):
    subprocess.run(["zsh", "-n", ROOT / f"packaging/completions/_{program}"], check=True)
