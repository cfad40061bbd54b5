"""Instructions that the listing parser takes for a line on ARM, counted one by one in an emulator: the same on every machine."""

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
    """Programs that counting needs and this machine does not have."""
    return [name for pair in MACHINES.values() for name in pair if not shutil.which(name)]


def build(machine, source, folder):
    """The counted program with the parser of a source tree; how to run it."""
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
    """{"armhf, unix": {"parse": instructions per line, "split": the same of a plain split}, ...} of a source tree."""
    found = {}
    with tempfile.TemporaryDirectory() as folder:
        for machine in MACHINES:
            command = build(machine, source, folder)
            for style in STYLES:
                found[f"{machine}, {style}"] = {what: per_line(command, what, style) for what in ("parse", "split")}
    return found


def source_of(build_folder):
    """The source tree that a build folder was made from."""
    for line in (build_folder / "CMakeCache.txt").read_text().splitlines():
        if line.startswith("CMAKE_HOME_DIRECTORY:"):
            return pathlib.Path(line.partition("=")[2])
    raise RuntimeError(f"no source tree in {build_folder}")
