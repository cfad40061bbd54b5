"""HTTP proxies: what goes through them, what they answer, and what is refused or ignored."""

import base64
import random

import pytest

from harness import client, wire
from harness.ftp_servers import one_user_only
from harness.sftp import HostKey, Sshd
from harness.squid import PORT, HttpProxy, Squid, answer
from harness.tls import PORTS, Certificate, TlsServer, VsftpdTls

MIB = 1 << 20
PROXY = {"proxy_type": 1, "proxy_host": "127.0.0.1", "proxy_port": PORT}
HOSTS = {"bare": "127.0.0.1", "with-scheme": "http://127.0.0.1"}


def content_of(size):
    return random.Random(size).randbytes(size)


@pytest.fixture
def squid(vsftpd):
    return Squid()


@pytest.fixture
def proxy():
    made = []

    def make(*answers):
        made.append(HttpProxy(*answers))
        return made[-1]

    yield make
    for one in made:
        one.stop()


def outcome(notice):
    """(result, detail), curl code, kind of response code, response code"""
    done = notice.exec_info
    return notice.outcome, done.curl_code, done.response_code_type, done.response_code


@pytest.mark.parametrize("host", HOSTS.values(), ids=HOSTS)
def test_a_download_through_squid(daemon, squid, vsftpd, network_manager, local, host):
    for number, size in enumerate([0, 1, 4096], 1):
        vsftpd.put("d/a b%.bin", content_of(size))
        fields = PROXY | {"proxy_host": host}
        assert client.download("d/a b%.bin", local / "a", **fields) == (0, 0)
        notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, number)
        assert outcome(notice) == ((0, 0), 0, 2, 200)
        assert notice.exec_info.transferred_size == size
        assert notice.exec_info.retry_count == 0
        assert 0 < notice.exec_info.elapsed_time < 30
        assert (local / "a").read_bytes() == content_of(size)
    assert {method for method, _ in squid.requests} == {"GET"}


@pytest.mark.parametrize("host", HOSTS.values(), ids=HOSTS)
def test_an_upload_through_squid(daemon, squid, vsftpd, network_manager, local, host):
    for number, size in enumerate([1, 4097, 2 * MIB], 1):
        (local / "a").write_bytes(content_of(size))
        fields = PROXY | {"proxy_host": host}
        assert client.upload(local / "a", f"a {number}.bin", **fields) == (0, 0)
        notice = network_manager.wait_for(wire.NOTICE_UPLOAD, number)
        assert outcome(notice) == ((0, 0), 0, 2, 201)
        done = notice.exec_info
        assert (done.total_size, done.transferred_size, done.retry_count) == (size, size, 0)
        assert vsftpd.read(f"a {number}.bin") == content_of(size)
    assert {method for method, _ in squid.requests} == {"PUT"}


def test_the_limit_of_a_download_holds_through_squid(daemon, squid, vsftpd, network_manager, local):
    vsftpd.put("a", content_of(5000))
    client.download("a", local / "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.SIZE_LIMIT)


def test_what_squid_answers_to_failures_is_an_http_code(
    daemon, squid, vsftpd, network_manager, local
):
    cases = [
        ({"remote_path": "missing"}, [404]),
        ({"remote_path": "a", "password": "wrong"}, [401, 403]),
        ({"remote_path": "a", "port": 2121}, [503]),
    ]
    for number, (fields, codes) in enumerate(cases, 1):
        client.download(local_path=local / "a", **PROXY | fields)
        notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, number)
        code = notice.exec_info.response_code
        assert outcome(notice) == ((1, wire.NETWORK), 22, 2, code), fields
        assert code in codes, fields
        assert notice.exec_info.retry_count == 0


def test_a_proxy_that_is_gone_is_a_network_error(daemon, scripted, network_manager, local):
    server = scripted(files={"a": b"1"})
    client.download("a", local / "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert outcome(notice) == ((1, wire.NETWORK), 7, 2, 0)
    assert notice.exec_info.retry_count == 0
    assert not server.sessions  # never past the proxy


@pytest.mark.parametrize("status", [401, 403, 404, 407, 500, 502, 503])
def test_a_refusal_of_the_proxy_is_a_network_error_with_its_code(
    daemon, proxy, network_manager, local, status
):
    refusing = proxy(answer(status, b"why"))
    client.download("a", local / "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert outcome(notice) == ((1, wire.NETWORK), 22, 2, status)
    assert (local / "a").read_bytes() == b""  # the proxy's words are no content
    (local / "a").write_bytes(b"content")
    client.upload(local / "a", "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert outcome(notice) == ((1, wire.NETWORK), 22, 2, status)
    assert notice.exec_info.retry_count == 0
    assert [head.split(b" ")[0] for head in refusing.heads] == [b"GET", b"PUT"]


def test_an_answer_that_is_no_success_and_no_error_fails_as_well(
    daemon, proxy, network_manager, local
):
    proxy(answer(304))
    client.download("a", local / "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert outcome(notice) == ((1, wire.NETWORK), 0, 2, 304)


ASKED = {
    "a": b"a",
    "/d//a": b"/d//a",
    "d/a b": b"d/a%20b",
    "100%": b"100%25",
    "ü": b"%C3%BC",
}


def test_what_a_proxy_is_asked(daemon, proxy, network_manager, local):
    friendly = proxy(answer(200, b"content"))
    number = 0
    for path, escaped in ASKED.items():
        for port, shown in ((21, b""), (2121, b":2121")):
            number += 1
            client.download(path, local / "a", port=port, **PROXY)
            notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, number)
            assert notice.outcome == (0, 0), path
            assert (local / "a").read_bytes() == b"content"
            asked = friendly.heads[-1].split(b"\r\n")[0]
            assert asked.startswith(b"GET ftp://"), asked
            assert asked.endswith(b"127.0.0.1" + shown + b"/" + escaped + b" HTTP/1.1"), asked


def test_417_to_an_upload_is_tried_again_with_http_1_0_and_no_expect(
    fast_daemon, proxy, network_manager, log, local
):
    strict = proxy(answer(417), answer(201))
    (local / "a").write_bytes(content_of(100000))
    client.upload(local / "a", "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert outcome(notice) == ((0, 0), 0, 2, 201)
    assert notice.exec_info.retry_count == 1
    first, second = strict.heads
    assert first.split(b"\r\n")[0].endswith(b" HTTP/1.1")
    assert b"Expect: 100-continue" in first
    assert second.split(b"\r\n")[0].endswith(b" HTTP/1.0")
    assert b"expect" not in second.lower()
    assert strict.bodies[1] == content_of(100000)
    assert strict.connections == 2
    log.wait_for(r"^error: curl_func\(1364\): curl_perform\(16, 22\) \.\.\. retry\(1\)\n$")


def test_417_to_every_try_ends_after_the_fourth_retry(fast_daemon, proxy, network_manager, local):
    strict = proxy(answer(417))
    client.download("a", local / "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert outcome(notice) == ((1, wire.NETWORK), 22, 2, 417)
    assert notice.exec_info.retry_count == 4
    versions = [head.split(b"\r\n")[0][-3:] for head in strict.heads]
    assert versions == [b"1.1", b"1.0", b"1.0", b"1.0", b"1.0"]


def test_a_file_that_came_short_through_a_proxy_is_a_network_error(
    daemon, proxy, network_manager, local
):
    proxy(b"HTTP/1.1 200 fine\r\nContent-Length: 100\r\nConnection: close\r\n\r\nonly this")
    client.download("a", local / "a", **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert outcome(notice) == ((1, wire.NETWORK), 18, 2, 200)


SCHEMES = ["socks4://", "socks4a://", "socks5://", "socks5h://", "socks://"]
SPELLINGS = [str.lower, str.upper, str.capitalize]


def test_socks_is_not_supported(daemon, proxy, scripted, network_manager, log, local):
    server, unused = scripted(files={"a": b"1"}), proxy(answer(200))
    (local / "b").write_bytes(b"1")
    count = 0
    for scheme in SCHEMES:
        # Whatever the kind says; a look through a proxy of kind 1 is refused for being one.
        for kind, spelt in [(kind, spelt) for kind in (1, 2) for spelt in SPELLINGS]:
            count += 1
            fields = PROXY | {"proxy_host": spelt(scheme) + "127.0.0.1", "proxy_type": kind}
            client.download("a", local / "a", **fields)
            notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, count)
            assert notice.outcome == (1, wire.NOT_SUPPORTED), (scheme, kind)
            client.upload(local / "b", "a", **fields)
            notice = network_manager.wait_for(wire.NOTICE_UPLOAD, count)
            assert notice.outcome == (1, wire.NOT_SUPPORTED), (scheme, kind)
        line = f"error: curl_wrapper(916): '{scheme}' proxy is not supprted\n"
        assert log.texts.count(line) == 2 * 2 * len(SPELLINGS)
    assert not server.sessions and not unused.connections


SETTINGS = [
    ({"proxy_type": 2, "proxy_host": "http://127.0.0.1"}, wire.INTERNAL),
    ({"proxy_port": 65536}, wire.INTERNAL),
    ({"proxy_port": 0xFFFFFFFF}, wire.INTERNAL),
]


def test_a_proxy_that_makes_no_sense_fails_the_job(daemon, proxy, scripted, network_manager, local):
    server, unused = scripted(files={"a": b"1"}), proxy(answer(200))
    for number, (fields, result) in enumerate(SETTINGS, 1):
        client.download("a", local / "a", **PROXY | fields)
        notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD, number)
        assert notice.outcome == (1, result), fields
    assert not server.sessions and not unused.connections


def test_a_proxy_of_another_kind_is_not_used(daemon, proxy, scripted, network_manager, local):
    server, unused = scripted(files={"a": b"1"}), proxy(answer(200))
    client.download("a", local / "a", **PROXY | {"proxy_type": 2})
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert outcome(notice) == ((0, 0), 0, 1, 226)
    assert len(server.sessions) == 1
    assert not unused.connections


# --- What would do harm through a proxy is refused before anything connects


def listening(proxy, scripted):
    """A proxy and a server, both willing; the function fails when one was called."""
    willing, server = proxy(answer(200)), scripted(files={"a": b"1"})

    def nobody_called():
        assert not willing.connections and not server.sessions

    return nobody_called


@pytest.mark.parametrize("protocol", range(4))
def test_a_look_through_a_proxy_is_refused(daemon, proxy, scripted, network_manager, protocol):
    nobody_called = listening(proxy, scripted)
    assert client.file_info("a", **PROXY | {"protocol": protocol}) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (1, wire.NOT_SUPPORTED)
    nobody_called()


def test_explicit_tls_through_a_proxy_is_refused(
    daemon, proxy, scripted, network_manager, log, local
):
    nobody_called = listening(proxy, scripted)
    (local / "b").write_bytes(b"1")
    fields = PROXY | {"protocol": wire.FTPS_EXPLICIT}
    client.download("a", local / "a", **fields)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.NOT_SUPPORTED)
    client.upload(local / "b", "b", **fields)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (1, wire.NOT_SUPPORTED)
    nobody_called()
    assert (
        len([text for text in log.errors() if "Explicit FTPS through an HTTP proxy" in text]) == 2
    )


def test_a_resume_through_a_proxy_is_refused(daemon, proxy, vsftpd, network_manager, log, local):
    willing = proxy(answer(201))
    vsftpd.put("a", b"first half")
    client.file_info("a")
    assert network_manager.wait_for(wire.NOTICE_FILE_INFO).outcome == (0, 0)
    assert client.get_file_info().size == 10
    (local / "a").write_bytes(b"first half, second half")
    client.upload(local / "a", "a", resume=1, **PROXY)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (1, wire.NOT_SUPPORTED)
    assert vsftpd.read("a") == b"first half"
    assert not willing.connections
    assert [text for text in log.errors() if "Resume through an HTTP proxy" in text]


# --- Proxies of the environment


def every_proxy_variable():
    names = ["http_proxy", "https_proxy", "ftp_proxy", "ftps_proxy", "sftp_proxy", "all_proxy"]
    url = f"http://127.0.0.1:{PORT}"
    return {name: url for name in names + [name.upper() for name in names]}


@pytest.mark.parametrize("protocol", range(4), ids=["ftp", "implicit", "explicit", "sftp"])
def test_a_proxy_of_the_environment_is_never_used(
    unstarted, proxy, scripted, network_manager, local, protocol
):
    unused = proxy(answer(200))
    fields = {"protocol": protocol, "port": PORTS.get(protocol, 21)}
    if protocol == wire.FTP:
        scripted(files={"a": b"1"})
    elif protocol == wire.SFTP:
        if one_user_only():
            pytest.skip("sshd logs users in: needs root")
        Sshd(HostKey()).put("a", b"1")
        fields["port"] = 22
    else:
        TlsServer(control=Certificate(), protocol=protocol, files={"a": b"1"})
    unstarted.launch(**every_proxy_variable())
    unstarted.find()
    client.download("a", local / "a", **fields)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"1"
    (local / "b").write_bytes(b"2")
    client.upload(local / "b", "b", **fields)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert not unused.connections


# --- Tunnels: what is encrypted from end to end


@pytest.fixture(params=["implicit", "sftp"])
def tunnelled(request, vsftpd):
    """A server behind squid with alice's files, how to reach it, and what identifies it."""
    if request.param == "sftp":
        key = HostKey()
        server = Sshd(key)
        server.pin = {"auth_type": wire.AUTH_MD5, "digest_length": b"\x10", "digest": key.md5}
        server.fields = PROXY | {"protocol": wire.SFTP, "port": 22}
        server.mismatch = wire.HOSTKEY_MISMATCH
    else:
        certificate = Certificate()
        vsftpd.stop()
        server = VsftpdTls(certificate, wire.FTPS_IMPLICIT)
        digest = certificate.sha1
        server.pin = {"auth_type": wire.AUTH_SHA1, "digest_length": b"\x14", "digest": digest}
        server.fields = PROXY | {"protocol": wire.FTPS_IMPLICIT, "port": 990}
        server.mismatch = wire.CERT_MISMATCH
    Squid()
    return server


def test_an_expected_server_is_reached_through_a_tunnel(daemon, tunnelled, network_manager, local):
    tunnelled.put("a", b"content")
    fields = tunnelled.fields | tunnelled.pin
    client.download("a", local / "a", **fields)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.response_code_type == 2
    assert (local / "a").read_bytes() == b"content"
    (local / "b").write_bytes(content_of(MIB))
    client.upload(local / "b", "d/b", **fields)
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (0, 0)
    assert notice.exec_info.response_code_type == 2
    assert tunnelled.read("d/b") == content_of(MIB)


def test_another_server_in_a_tunnel_is_rejected(daemon, tunnelled, network_manager, local):
    tunnelled.put("a", b"content")
    digest = tunnelled.pin["digest"]
    wrong = tunnelled.pin | {"digest": bytes([digest[0] ^ 1]) + digest[1:]}
    client.download("a", local / "a", **tunnelled.fields | wrong)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, tunnelled.mismatch)
    assert (local / "a").read_bytes() == b""


@pytest.mark.parametrize("protocol", [wire.FTPS_IMPLICIT, wire.SFTP], ids=["implicit", "sftp"])
def test_a_proxy_that_refuses_a_tunnel_sees_no_login(
    daemon, proxy, network_manager, local, protocol
):
    refusing = proxy(answer(403))
    client.download("a", local / "a", **PROXY | {"protocol": protocol, "port": 990})
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.retry_count == 0
    assert refusing.heads[0].startswith(b"CONNECT 127.0.0.1:990 HTTP/1.1\r\n")
    for form in (b"secret", base64.b64encode(b"alice:secret")):
        assert form not in b"".join(refusing.heads)
