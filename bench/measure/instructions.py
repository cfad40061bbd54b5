"""The listing parser's instructions per line on ARM, counted in an emulator: the same on every machine."""

import pathlib
import shutil
import subprocess
import tempfile

BENCH = pathlib.Path(__file__).resolve().parent.parent
MACHINES = {
    "armhf": ("arm-linux-gnueabihf-g++", "qemu-arm"),
    "arm64": ("aarch64-linux-gnu-g++", "qemu-aarch64"),
}
STYLES = ("unix", "dos")
FLAGS = ("-std=c++20", "-O2", "-static", "-Wno-psabi", "-D_GNU_SOURCE")


def missing():
    """Programs needed for counting but missing on this machine."""
    return [name for pair in MACHINES.values() for name in pair if not shutil.which(name)]


def build(machine, source, folder):
    """Builds the counted program with the parser of a source tree; returns its command."""
    compiler, emulator = MACHINES[machine]
    program = pathlib.Path(folder) / machine
    ours = [BENCH / "listparse_count.cpp", BENCH / "listings.cpp"]
    parser = sorted((source / "listparse").glob("*.cpp"))
    subprocess.run([compiler, *FLAGS, f"-I{source}", *ours, *parser, "-o", program], check=True)
    return [emulator, "-singlestep", "-d", "nochain,exec", "-D", "/dev/stdout", program]


def executed(command, *arguments):
    """(instructions of a run, lines of its listing)"""
    with subprocess.Popen([*command, *arguments], stdout=subprocess.PIPE) as run:
        counted, lines = 0, 0
        for line in run.stdout:
            if line.startswith(b"Trace"):
                counted += 1
            else:
                lines = int(line)
        assert run.wait() == 0
    return counted, lines


def per_line(command, what, style):
    one, lines = executed(command, what, style, "1")
    two, _ = executed(command, what, style, "2")
    return (two - one) / lines


def count(source):
    """{"armhf, unix": {"parse": instructions per line, "split": those of a plain split}, ...} for a source tree."""
    found = {}
    with tempfile.TemporaryDirectory() as folder:
        for machine in MACHINES:
            command = build(machine, source, folder)
            for style in STYLES:
                found[f"{machine}, {style}"] = {what: per_line(command, what, style) for what in ("parse", "split")}
    return found


def source_of(build_folder):
    """A build folder's source tree."""
    for line in (build_folder / "CMakeCache.txt").read_text().splitlines():
        if line.startswith("CMAKE_HOME_DIRECTORY:"):
            return pathlib.Path(line.partition("=")[2])
    raise RuntimeError(f"no source tree in {build_folder}")
