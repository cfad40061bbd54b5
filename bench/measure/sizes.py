"""Sizes of the built files."""

import os
import pathlib
import shutil
import subprocess
import tempfile

# An architecture's name and the prefix of its tools, by the number in the ELF header.
PROCESSORS = {62: ("x86-64", ""), 40: ("ARM, 32 bit", "arm-linux-gnueabihf-"), 183: ("ARM, 64 bit", "aarch64-linux-gnu-")}


def installed(build):
    """A build's files for a device. In a build with tests, lib/ has the Zixi stand-in, which is not installed."""
    feeder = build / "to-install/libzixiFeeder.so"
    return [build / "bin/ftp_clientd", build / "lib/libsecure.so", feeder if feeder.exists() else build / "lib/libzixiFeeder.so"]


def processor_of(file):
    """(name, prefix of its tools)"""
    return PROCESSORS[int.from_bytes(pathlib.Path(file).read_bytes()[18:20], "little")]


def stripped_bytes(file):
    """None if the tools for its processor are not installed."""
    strip = shutil.which(processor_of(file)[1] + "strip")
    if not strip:
        return None
    with tempfile.TemporaryDirectory() as folder:
        stripped = os.path.join(folder, "stripped")
        subprocess.run([strip, "-o", stripped, pathlib.Path(file).resolve()], check=True)
        return os.path.getsize(stripped)
