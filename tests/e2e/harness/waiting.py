"""Waits for a condition, never for a fixed time."""

import contextlib
import time

DEADLINE_S = 60.0
HELD_UP_S = 5.0  # as long a loaded machine may keep any process from running: allow for it in every upper bound
POLL_S = 0.005


def wait_until(condition, what, deadline_s=DEADLINE_S):
    """The first true value of condition(); fails the test if there is none in time."""
    end = time.monotonic() + deadline_s
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not within {deadline_s:g} s: {what}")
        time.sleep(POLL_S)


def holds_for(condition, seconds):
    """True if condition() stays true that long; for events that must not happen."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if not condition():
            return False
        time.sleep(POLL_S)
    return True


@contextlib.contextmanager
def within(seconds):
    """A with block that must take less time than that."""
    begin = time.monotonic()
    yield
    taken_s = time.monotonic() - begin
    assert taken_s < seconds, taken_s
