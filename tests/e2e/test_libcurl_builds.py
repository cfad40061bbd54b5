"""A libcurl that was built without something: what is missing is logged once, and the jobs that need it are refused.

Here libcurl only says that it lacks something. scripts/test-libcurl runs the same tests with a libcurl that does lack it,
and names it in FTP_CLIENTD_LACKS.
"""

import os
import pathlib

import pytest

from harness import wire
from harness.daemon import program
from harness.scripted import Plan
from harness.tls import Certificate

# what libcurl lacks: the protocols that need it
NEEDED_BY = {
    "FTP": {wire.FTP, *wire.FTPS.values()},
    "OpenSSL": {*wire.FTPS.values()},
    "libssh2": {wire.SFTP},
    "an asynchronous resolver": set(),
}
CONSEQUENCES = {
    "FTP": "FTP and FTPS jobs fail with 15",
    "OpenSSL": "FTPS jobs fail with 15",
    "libssh2": "SFTP jobs fail with 15",
    "an asynchronous resolver": "a cancel waits for the name server",
}
REALLY = os.environ.get("FTP_CLIENTD_LACKS")

each_build = pytest.mark.parametrize("lacks", [REALLY] if REALLY else NEEDED_BY)


def launch_lacking(launch, lacks):
    if REALLY:
        return launch()
    library = pathlib.Path(program()[-1]).parent.parent / "tests" / "lacking_libcurl.so"
    return launch(LD_PRELOAD=str(library), LIBCURL_LACKS=lacks)


@each_build
def test_what_is_missing_is_logged_at_the_start(launch, log, lacks):
    launch_lacking(launch, lacks)
    missing = [line for line in log.texts if "lacks" in line]
    assert len(missing) == 1
    assert missing[0].startswith("error: curl_func(271): libcurl ")
    assert missing[0].endswith(f" lacks {lacks}: {CONSEQUENCES[lacks]}.\n")


@each_build
@pytest.mark.parametrize("protocol", [wire.FTP, *wire.FTPS.values(), wire.SFTP])
def test_only_jobs_that_need_it_fail_and_they_connect_nowhere(
    launch, jobs, log, local, scripted, scripted_tls, sshd, lacks, protocol
):
    launch_lacking(launch, lacks)
    if protocol in wire.FTPS.values():
        server = scripted_tls(Plan(), control=Certificate(), protocol=protocol, files={"a": b"1"})
    elif protocol == wire.FTP:
        server = scripted(Plan(), files={"a": b"1"})
    else:
        server = None
        sshd.put("a", b"1")
    notice = jobs.download("a", local / "a", **wire.by(protocol))
    if protocol not in NEEDED_BY[lacks]:
        assert notice.outcome == (0, 0)
        assert (local / "a").read_bytes() == b"1"
        return
    assert notice.outcome == (1, wire.NOT_SUPPORTED)
    assert notice.exec_info.retry_count == 0
    assert log.count(rf"^error: curl_func\(1055\): This libcurl lacks what protocol {protocol} needs\.\n$") == 1
    assert log.count("Trying") == 0  # libcurl's line about a connection
    assert server is None or server.commands == []
