"""HTTP proxies: jobs through them, their replies, and what is refused or ignored."""

import base64

import pytest

from harness import client, wire
from harness.content import MIB, content_of
from harness.libraries import names_every_port
from harness.sftp import HostKey, Sshd
from harness.squid import PORT, PROXY, Squid, answer
from harness.tls import Certificate, VsftpdTls

HOSTS = {"bare": "127.0.0.1", "with-scheme": "http://127.0.0.1"}


@pytest.fixture
def squid(vsftpd):
    return Squid()


def told(notice):
    """(result, detail), and (libcurl's code, kind of response code, response code, retries)"""
    return notice.outcome, notice.codes


@pytest.mark.parametrize("host", HOSTS.values(), ids=HOSTS)
def test_a_download_through_squid(daemon, squid, vsftpd, jobs, local, host):
    for size in (0, 1, 4096):
        vsftpd.put("d/a b%.bin", content_of(size))
        fields = PROXY | {"proxy_host": host}
        notice = jobs.download("d/a b%.bin", local / "a", **fields)
        assert told(notice) == ((0, 0), (0, 2, 200, 0))
        assert notice.exec_info.transferred_size == size
        assert 0 < notice.exec_info.elapsed_time < 30
        assert (local / "a").read_bytes() == content_of(size)
    assert {method for method, _ in squid.requests} == {"GET"}


@pytest.mark.parametrize("host", HOSTS.values(), ids=HOSTS)
def test_an_upload_through_squid(daemon, squid, vsftpd, jobs, local, host):
    for number, size in enumerate([1, 4097, 2 * MIB], 1):
        (local / "a").write_bytes(content_of(size))
        fields = PROXY | {"proxy_host": host}
        notice = jobs.upload(local / "a", f"a {number}.bin", **fields)
        assert told(notice) == ((0, 0), (0, 2, 201, 0))
        assert notice.sizes == (size, size)
        assert vsftpd.read(f"a {number}.bin") == content_of(size)
    assert {method for method, _ in squid.requests} == {"PUT"}


def test_the_limit_of_a_download_applies_through_squid(daemon, squid, vsftpd, jobs, local):
    vsftpd.put("a", content_of(5000))
    notice = jobs.download("a", local / "a", **PROXY)
    assert notice.outcome == (1, wire.SIZE_LIMIT)


def test_squids_http_code_is_reported_for_failures(daemon, squid, vsftpd, jobs, local):
    cases = [
        ({"remote_path": "missing"}, [404]),
        ({"remote_path": "a", "password": "wrong"}, [401, 403]),
        ({"remote_path": "a", "port": 2121}, [503]),
    ]
    for fields, codes in cases:
        notice = jobs.download(local_path=local / "a", **PROXY | fields)
        assert told(notice) in [((1, wire.NETWORK), (22, 2, code, 0)) for code in codes], fields


def test_a_missing_proxy_is_a_network_error(daemon, scripted, jobs, local):
    server = scripted(files={"a": b"1"})
    notice = jobs.download("a", local / "a", **PROXY)
    assert told(notice) == ((1, wire.NETWORK), (7, 2, 0, 0))
    assert not server.sessions  # never past the proxy


@pytest.mark.parametrize("status", [401, 403, 404, 407, 500, 502, 503])
def test_a_refusal_of_the_proxy_is_a_network_error_with_its_code(daemon, proxy, jobs, local, status):
    refusing = proxy(answer(status, b"why"))
    notice = jobs.download("a", local / "a", **PROXY)
    assert told(notice) == ((1, wire.NETWORK), (22, 2, status, 0))
    assert (local / "a").read_bytes() == b""  # the body of the error page is not the file
    (local / "a").write_bytes(b"content")
    notice = jobs.upload(local / "a", "a", **PROXY)
    assert told(notice) == ((1, wire.NETWORK), (22, 2, status, 0))
    assert [head.split(b" ")[0] for head in refusing.heads] == [b"GET", b"PUT"]


ASKED = {
    "a": b"a",
    "/d//a": b"/d//a",
    "d/a b": b"d/a%20b",
    "100%": b"100%25",
    "ü": b"%C3%BC",
}


def test_the_request_to_a_proxy(daemon, proxy, jobs, local):
    friendly = proxy(answer(200, b"content"))
    for path, escaped in ASKED.items():
        for port, shown in ((21, b":21" if names_every_port() else b""), (2121, b":2121")):
            assert jobs.download(path, local / "a", port=port, **PROXY).outcome == (0, 0), path
            assert (local / "a").read_bytes() == b"content"
            asked = friendly.heads[-1].split(b"\r\n")[0]
            assert asked.startswith(b"GET ftp://"), asked
            assert asked.endswith(b"127.0.0.1" + shown + b"/" + escaped + b" HTTP/1.1"), asked


def test_417_to_an_upload_is_tried_again_with_http_1_0_and_no_expect(fast_daemon, proxy, jobs, log, local):
    strict = proxy(answer(417), answer(201))
    content = content_of(2 * MIB)  # newer libcurls send Expect only from 1 MiB
    (local / "a").write_bytes(content)
    assert told(jobs.upload(local / "a", "a", **PROXY)) == ((0, 0), (0, 2, 201, 1))
    first, second = strict.heads
    assert first.split(b"\r\n")[0].endswith(b" HTTP/1.1")
    assert b"Expect: 100-continue" in first
    assert second.split(b"\r\n")[0].endswith(b" HTTP/1.0")
    assert b"expect" not in second.lower()
    assert strict.bodies[1] == content
    assert strict.connections == 2
    log.wait_for(r"^error: curl_func\(1364\): curl_perform\(16, 22\) \.\.\. retry\(1\)\n$")


def test_417_to_every_try_ends_after_the_fourth_retry(fast_daemon, proxy, jobs, local):
    strict = proxy(answer(417))
    assert told(jobs.download("a", local / "a", **PROXY)) == ((1, wire.NETWORK), (22, 2, 417, 4))
    versions = [head.split(b"\r\n")[0][-3:] for head in strict.heads]
    assert versions == [b"1.1", b"1.0", b"1.0", b"1.0", b"1.0"]


# {the proxy's reply: (libcurl's code, response code)}
NO_SUCCESSES = {
    "neither-success-nor-error": (answer(304), (0, 304)),
    "came-short": (b"HTTP/1.1 200 fine\r\nContent-Length: 100\r\nConnection: close\r\n\r\nonly this", (18, 200)),
}


@pytest.mark.parametrize("said, codes", NO_SUCCESSES.values(), ids=NO_SUCCESSES)
def test_an_answer_without_the_whole_file_is_a_network_error(daemon, proxy, jobs, local, said, codes):
    proxy(said)
    notice = jobs.download("a", local / "a", **PROXY)
    assert told(notice) == ((1, wire.NETWORK), (codes[0], 2, codes[1], 0))


def test_a_proxy_of_another_kind_is_not_used(daemon, proxy, scripted, jobs, local):
    server, unused = scripted(files={"a": b"1"}), proxy(answer(200))
    notice = jobs.download("a", local / "a", **PROXY | {"proxy_type": 2})
    assert told(notice) == ((0, 0), (0, 1, 226, 0))
    assert len(server.sessions) == 1
    assert not unused.connections


# --- Refused before connecting: what is impossible or harmful through a proxy


@pytest.fixture
def unasked(proxy, scripted):
    """A willing proxy and server that must not be contacted."""
    willing, server = proxy(answer(200)), scripted(files={"a": b"1"})
    yield
    assert not willing.connections and not server.sessions


SCHEMES = ["socks4://", "socks4a://", "socks5://", "socks5h://", "socks://"]
SPELLINGS = [str.lower, str.upper, str.capitalize]


def test_socks_is_not_supported(daemon, unasked, jobs, log, local):
    (local / "b").write_bytes(b"1")
    for scheme in SCHEMES:
        # With either kind. A look-up through a proxy of kind 1 is refused for another reason.
        for kind, spelt in [(kind, spelt) for kind in (1, 2) for spelt in SPELLINGS]:
            fields = PROXY | {"proxy_host": spelt(scheme) + "127.0.0.1", "proxy_type": kind}
            for notice in (jobs.download("a", local / "a", **fields), jobs.upload(local / "b", "a", **fields)):
                assert notice.outcome == (1, wire.NOT_SUPPORTED), (scheme, kind)
        line = f"error: curl_wrapper(916): '{scheme}' proxy is not supprted\n"
        assert log.texts.count(line) == 2 * 2 * len(SPELLINGS)


NONSENSE = [{"proxy_type": 2, "proxy_host": "http://127.0.0.1"}, {"proxy_port": 65536}, {"proxy_port": 0xFFFFFFFF}]


def test_an_invalid_proxy_fails_the_job(daemon, unasked, jobs, local):
    for fields in NONSENSE:
        assert jobs.download("a", local / "a", **PROXY | fields).outcome == (1, wire.INTERNAL), fields


def test_a_look_through_a_proxy_is_refused(daemon, unasked, jobs):
    for protocol in range(4):
        notice = jobs.file_info("a", **PROXY | {"protocol": protocol})
        assert notice.outcome == (1, wire.NOT_SUPPORTED), protocol


def test_explicit_tls_through_a_proxy_is_refused(daemon, unasked, jobs, log, local):
    for notice in jobs.each(local, **PROXY | {"protocol": wire.FTPS_EXPLICIT}):
        assert notice.outcome == (1, wire.NOT_SUPPORTED)
    # The look-up is refused because of the proxy.
    assert len([text for text in log.errors() if "Explicit FTPS through an HTTP proxy" in text]) == 2


def test_a_resume_through_a_proxy_is_refused(daemon, proxy, vsftpd, jobs, log, local):
    willing = proxy(answer(201))
    vsftpd.put("a", b"first half")
    assert jobs.file_info("a").outcome == (0, 0)
    assert client.get_file_info().size == 10
    (local / "a").write_bytes(b"first half, second half")
    assert jobs.upload(local / "a", "a", resume=1, **PROXY).outcome == (1, wire.NOT_SUPPORTED)
    assert vsftpd.read("a") == b"first half"
    assert not willing.connections
    assert [text for text in log.errors() if "Resume through an HTTP proxy" in text]


# --- Proxies of the environment


def every_proxy_variable():
    names = ["http_proxy", "https_proxy", "ftp_proxy", "ftps_proxy", "sftp_proxy", "all_proxy"]
    url = f"http://127.0.0.1:{PORT}"
    return {name: url for name in names + [name.upper() for name in names]}


@pytest.mark.parametrize("protocol", range(4), ids=["ftp", "implicit", "explicit", "sftp"])
def test_a_proxy_of_the_environment_is_never_used(launch, proxy, scripted, scripted_tls, jobs, local, protocol):
    unused = proxy(answer(200))
    if protocol == wire.FTP:
        scripted(files={"a": b"1"})
    elif protocol == wire.SFTP:
        Sshd(HostKey()).put("a", b"1")
    else:
        scripted_tls(control=Certificate(), protocol=protocol, files={"a": b"1"})
    launch(**every_proxy_variable())
    (local / "b").write_bytes(b"2")
    assert jobs.download("a", local / "a", **wire.by(protocol)).outcome == (0, 0)
    assert jobs.upload(local / "b", "b", **wire.by(protocol)).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"1"
    assert not unused.connections


# --- Tunnels: encryption from end to end


@pytest.fixture(params=["implicit", "sftp"])
def tunnelled(request):
    """A server behind squid with alice's files, how to reach it, and its identity."""
    if request.param == "sftp":
        identity, protocol, mismatch = HostKey(), wire.SFTP, wire.HOSTKEY_MISMATCH
        server = Sshd(identity)
    else:
        identity, protocol, mismatch = Certificate(), wire.FTPS_IMPLICIT, wire.CERT_MISMATCH
        server = VsftpdTls(identity, protocol)
    server.pin, server.mismatch, server.fields = identity.pin, mismatch, PROXY | wire.by(protocol)
    server.put("a", b"content")
    Squid()
    return server


def test_a_pinned_server_is_reached_through_a_tunnel(daemon, tunnelled, jobs, local):
    fields = tunnelled.fields | tunnelled.pin
    (local / "b").write_bytes(content_of(MIB))
    for notice in (jobs.download("a", local / "a", **fields), jobs.upload(local / "b", "d/b", **fields)):
        assert notice.outcome == (0, 0)
        assert notice.exec_info.response_code_type == 2
    assert (local / "a").read_bytes() == b"content"
    assert tunnelled.read("d/b") == content_of(MIB)


def test_another_server_in_a_tunnel_is_rejected(daemon, tunnelled, jobs, local):
    digest = tunnelled.pin["digest"]
    wrong = tunnelled.pin | {"digest": bytes([digest[0] ^ 1]) + digest[1:]}
    assert jobs.download("a", local / "a", **tunnelled.fields | wrong).outcome == (1, tunnelled.mismatch)
    assert (local / "a").read_bytes() == b""


@pytest.mark.parametrize("protocol", [wire.FTPS_IMPLICIT, wire.SFTP], ids=["implicit", "sftp"])
def test_a_proxy_that_refuses_a_tunnel_sees_no_login(daemon, proxy, jobs, local, protocol):
    refusing = proxy(answer(403))
    notice = jobs.download("a", local / "a", **PROXY | {"protocol": protocol, "port": 990})
    assert (notice.outcome, notice.exec_info.retry_count) == ((1, wire.NETWORK), 0)
    assert refusing.heads[0].startswith(b"CONNECT 127.0.0.1:990 HTTP/1.1\r\n")
    for form in (b"secret", base64.b64encode(b"alice:secret")):
        assert form not in b"".join(refusing.heads)
