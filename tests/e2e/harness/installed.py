"""The client library for other projects: built, installed into its own folder and used from there."""

import os
import pathlib
import subprocess

from .daemon import WORLD, program

ROOT = pathlib.Path(__file__).resolve().parents[3]
SOURCE = ROOT / "libftpclient"
EXAMPLES = ROOT / "examples"
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]


def run(*command, **variables):
    """Runs a command that must succeed; returns its output."""
    done = subprocess.run(
        [str(word) for word in command],
        env=os.environ | {"LC_ALL": "C"} | variables,
        cwd=WORLD / "tmp",
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        timeout=100,
    )
    assert done.returncode == 0, f"{command} ended with {done.returncode}:\n{done.stdout}"
    return done.stdout


def build(source, build_folder, *options):
    run("cmake", "-S", source, "-B", build_folder, "-G", "Ninja", *options)
    run("cmake", "--build", build_folder)


def tested_build():
    """The build folder of the daemon under test."""
    return pathlib.Path(program()[-1]).resolve().parent.parent


def is_for_coverage():
    cache = tested_build() / "CMakeCache.txt"
    return cache.exists() and "FTP_CLIENTD_COVERAGE:BOOL=ON" in cache.read_text()


def place(name):
    """(a folder to build a program in, its compiler options). If the daemon is built for coverage, the program is so as
    well, in a folder that outlives this world."""
    if not is_for_coverage():
        return WORLD / "tmp", []
    folder = tested_build() / "tests" / "programs" / name
    folder.mkdir(parents=True, exist_ok=True)
    return folder, ["--coverage"]


class Installed:
    """The tree that `cmake --install` creates."""

    def __init__(self, prefix=WORLD / "tmp" / "installed"):
        self._build = WORLD / "tmp" / "library"
        build(SOURCE, self._build)
        run("cmake", "--install", self._build, "--prefix", prefix)
        self.prefix = prefix
        self.libraries = next(prefix.rglob("libftpclient.so")).parent

    def files(self):
        return {path.name for path in self.prefix.rglob("*") if not path.is_dir()}

    def pkg_config(self, *options):
        path = str(self.libraries / "pkgconfig")
        return run("pkg-config", *options, "ftpclient", PKG_CONFIG_PATH=path).split()

    def run(self, *command, **variables):
        """Runs a program built with this library."""
        return run(*command, LD_LIBRARY_PATH=str(self.libraries), **variables)
