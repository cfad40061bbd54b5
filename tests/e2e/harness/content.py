"""Files' contents."""

import random

MIB = 1 << 20


def content_of(size):
    """The same bytes for the same size, nowhere alike."""
    return random.Random(size).randbytes(size)


def sparse(path, size, tail=b""):
    """Costs no room; its size is `size` and that of the tail."""
    with open(path, "r+b" if path.exists() else "wb") as file:
        file.truncate(size)
        file.seek(size)
        file.write(tail)
    return path
