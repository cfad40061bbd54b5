"""A job's memory is returned to the system when it has ended."""

import pytest

from harness import wire
from harness.content import MIB
from harness.sftp import HostKey, Sshd
from harness.waiting import wait_until


@pytest.mark.native("it keeps what the end of the heap gives back to the system")
def test_the_buffers_of_an_sftp_upload_are_given_back(daemon, jobs, local):
    if daemon.grew_less_than(-MIB, 0):  # true only with a sanitizer
        pytest.skip("a sanitizer keeps what was freed")
    Sshd(HostKey())
    (local / "a").write_bytes(bytes(MIB))
    idle_kib = daemon.private_kib()
    for _ in range(3):
        assert jobs.upload(local / "a", "a", **wire.by(wire.SFTP)).outcome == (0, 0)
    # libcurl's buffer for such an upload has 2 MiB; for its first session OpenSSL 3.0 allocates some 200 KiB, 3.6 some 600.
    wait_until(lambda: daemon.private_kib() < idle_kib + 700, "the memory given back", 5)
