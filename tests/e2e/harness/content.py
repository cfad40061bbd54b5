"""Contents of files."""

import random

MIB = 1 << 20


def content_of(size):
    """Bytes without repetition, the same for the same size."""
    return random.Random(size).randbytes(size)


def sparse(path, size, tail=b""):
    """Makes a sparse file of `size` bytes and the tail."""
    with open(path, "r+b" if path.exists() else "wb") as file:
        file.truncate(size)
        file.seek(size)
        file.write(tail)
    return path
