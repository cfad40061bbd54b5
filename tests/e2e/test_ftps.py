"""FTP over TLS: transfers, file information, and what never goes without TLS."""

import calendar
import os
import random

import pytest

from harness import client, wire
from harness.daemon import WORLD
from harness.ftp_servers import one_user_only
from harness.scripted import Plan
from harness.tls import (
    PORTS,
    Certificate,
    LateTicketsServer,
    PyftpdlibTls,
    TlsServer,
    VsftpdTls,
    is_all_tls,
)

MIB = 1 << 20
PASSIVE_INSTEAD = (
    r"^curl_func\(1092\): libcurl 7\.8[78]\.[01]: no TLS in active mode, passive mode is used\.\n$"
)

SERVERS = {
    "explicit-vsftpd": (VsftpdTls, wire.FTPS_EXPLICIT),
    "explicit-pyftpdlib": (PyftpdlibTls, wire.FTPS_EXPLICIT),
    "implicit-vsftpd": (VsftpdTls, wire.FTPS_IMPLICIT),
    "implicit-pyftpdlib": (PyftpdlibTls, wire.FTPS_IMPLICIT),
}
PROTOCOLS = {"explicit": wire.FTPS_EXPLICIT, "implicit": wire.FTPS_IMPLICIT}


def content_of(size):
    return random.Random(size).randbytes(size)


def fields_of(protocol):
    return {"protocol": protocol, "port": PORTS[protocol]}


@pytest.fixture(params=SERVERS)
def server(request):
    make, protocol = SERVERS[request.param]
    if make is VsftpdTls and one_user_only():
        pytest.skip("vsftpd logs users in: needs root")
    running = make(Certificate(), protocol)
    running.fields = fields_of(protocol)
    return running


@pytest.fixture
def tls_server():
    servers = []

    def make(*plans, **options):
        servers.append(TlsServer(*plans, **options))
        return servers[-1]

    yield make
    for server in servers:
        server.stop()


def assert_done(notice, size):
    assert notice.outcome == (0, 0)
    done = notice.exec_info
    assert (done.total_size, done.transferred_size) == (size, size)
    assert (done.curl_code, done.response_code_type, done.response_code, done.retry_count) == (
        0,
        1,
        226,
        0,
    )
    assert 0 < done.elapsed_time < 30


def test_a_download_arrives_whole(daemon, server, network_manager, local):
    for number, size in enumerate([0, 1, 4096], 1):
        server.put("a b.bin", content_of(size))
        assert client.download("a b.bin", local / "a", **server.fields) == (0, 0)
        assert_done(network_manager.wait_for(wire.NOTICE_DOWNLOAD, number), size)
        assert (local / "a").read_bytes() == content_of(size)


def test_an_upload_arrives_whole(daemon, server, network_manager, local):
    for number, size in enumerate([0, 1, 16 * MIB], 1):
        (local / "a").write_bytes(content_of(size))
        assert client.upload(local / "a", "ü b.bin", **server.fields) == (0, 0)
        assert_done(network_manager.wait_for(wire.NOTICE_UPLOAD, number), size)
        assert server.read("ü b.bin") == content_of(size)


def test_an_upload_makes_missing_folders(daemon, server, network_manager, local):
    (local / "a").write_bytes(b"deep")
    client.upload(local / "a", "one/two three/a", **server.fields)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert server.read("one/two three/a") == b"deep"


def test_file_information_and_a_resumed_upload(daemon, server, network_manager, log, local):
    size = 2 * MIB
    modified = calendar.timegm((2012, 1, 15, 12, 0, 0))
    server.put("d/a.bin", content_of(size)[: size // 2], modified=modified)
    assert client.file_info("d/a.bin", **server.fields) == (0, 0)
    notice = network_manager.wait_for(wire.NOTICE_FILE_INFO)
    assert notice.outcome == (0, 0)
    found = client.get_file_info()
    assert (found.looked_up, found.exists, found.size, found.is_link) == (1, 1, size // 2, 0)
    assert (found.year, found.month, found.day) == (2012, 1, 15)

    (local / "a").write_bytes(content_of(size))
    assert client.upload(local / "a", "d/a.bin", resume=1, **server.fields) == (0, 0)
    assert_done(network_manager.wait_for(wire.NOTICE_UPLOAD), size // 2)
    log.wait_for(rf"^curl_func\(740\): last canceled file size: \({size // 2}\)\n$")
    assert server.read("d/a.bin") == content_of(size)


def test_a_missing_file_is_a_network_error_for_a_download_and_an_answer_for_a_look(
    daemon, server, network_manager, local
):
    client.download("missing", local / "a", **server.fields)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 78
    server.put("there")
    client.file_info("missing", **server.fields)
    assert network_manager.wait_for(wire.NOTICE_FILE_INFO).outcome == (0, 0)
    found = client.get_file_info()
    assert (found.looked_up, found.exists) == (1, 0)


def test_a_wrong_password_is_a_network_error(daemon, server, network_manager, local):
    client.download("a", local / "a", password="wrong", **server.fields)
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert (notice.exec_info.curl_code, notice.exec_info.response_code) == (67, 530)


CERTIFICATES = {
    "rsa": {"key": "rsa"},
    "ecdsa": {"key": "ecdsa"},
    "expired": {"days": -1},
    "other-host": {"host": "elsewhere.example"},
}


@pytest.mark.parametrize("protocol", PROTOCOLS.values(), ids=PROTOCOLS)
@pytest.mark.parametrize("certificate", CERTIFICATES)
def test_any_certificate_will_do_when_none_is_expected(
    daemon, tls_server, network_manager, log, local, certificate, protocol
):
    shown = Certificate(**CERTIFICATES[certificate])
    tls_server(control=shown, protocol=protocol, files={"a": b"1"})
    client.download("a", local / "a", **fields_of(protocol))
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"1"
    log.wait_for(r"^curl_func\(1970\): No authentication\.\n$")


@pytest.mark.parametrize("protocol, curl_code", [(1, 35), (2, 64)], ids=["implicit", "explicit"])
def test_a_server_without_tls_gets_no_login(
    daemon, scripted, network_manager, local, protocol, curl_code
):
    plan = Plan(replies={"AUTH": "500 what?"})
    server = scripted(plan, files={"a": b"1"}, port=PORTS[protocol])
    client.download("a", local / "a", **fields_of(protocol))
    notice = network_manager.wait_for(wire.NOTICE_DOWNLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == curl_code
    assert not [command for command in server.commands if command[:4] in ("USER", "PASS")]


def test_the_commands_of_an_explicit_download(daemon, tls_server, network_manager, local):
    server = tls_server(control=Certificate(), files={"f": b"1"})
    client.download("d/f", local / "a", **fields_of(wire.FTPS_EXPLICIT))
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert server.commands == [
        "AUTH SSL",
        "USER alice",
        "PASS secret",
        "PBSZ 0",
        "PROT P",
        "PWD",
        "CWD d",
        "PASV",
        "TYPE I",
        "SIZE f",
        "RETR f",
        "QUIT",
    ]


@pytest.mark.parametrize("protocol", PROTOCOLS.values(), ids=PROTOCOLS)
def test_a_server_that_refuses_tls_on_data_connections_gets_no_data(
    daemon, tls_server, network_manager, local, protocol
):
    plan = Plan(replies={"PROT": "536 not here"})
    server = tls_server(plan, control=Certificate(), protocol=protocol)
    (local / "a").write_bytes(b"not for all")
    client.upload(local / "a", "a", **fields_of(protocol))
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert notice.outcome == (1, wire.NETWORK)
    assert notice.exec_info.curl_code == 64
    assert not server.stored and not server.wires


@pytest.mark.parametrize("protocol", PROTOCOLS.values(), ids=PROTOCOLS)
def test_active_mode_runs_passive_and_only_tls_crosses_the_wire(
    daemon, tls_server, network_manager, log, local, protocol
):
    secret = b"nobody else may read this " * 100
    server = tls_server(
        Plan(listing=b"-rw-r--r-- 1 alice alice 1 Jan 15 2012 down\r\n"),
        control=Certificate(),
        protocol=protocol,
        files={"down": secret},
    )
    fields = fields_of(protocol) | {"passive_mode": 0}
    (local / "a").write_bytes(secret)
    client.upload(local / "a", "up", **fields)
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    client.download("down", local / "b", **fields)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    client.file_info("down", **fields)
    assert network_manager.wait_for(wire.NOTICE_FILE_INFO).outcome == (0, 0)

    log.wait_for(PASSIVE_INSTEAD, times=3)
    assert server.stored == [("STOR", "up", secret)]
    assert (local / "b").read_bytes() == secret
    assert not [command for command in server.commands if command.startswith("PORT")]
    assert len(server.wires) == 3
    for seen in server.wires:
        assert is_all_tls(seen.up) and is_all_tls(seen.down)
        assert secret[:26] not in seen.up + seen.down


def test_active_mode_with_a_real_server_runs_passive(daemon, server, network_manager, log, local):
    server.put("a", b"content")
    client.download("a", local / "a", passive_mode=0, **server.fields)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"content"
    log.wait_for(PASSIVE_INSTEAD)


def test_passive_mode_is_not_told_of(daemon, server, network_manager, log, local):
    server.put("a", b"content")
    client.download("a", local / "a", **server.fields)
    assert network_manager.wait_for(wire.NOTICE_DOWNLOAD).outcome == (0, 0)
    assert log.count(r"curl_func\(1092\)") == 0


@pytest.mark.parametrize("protocol", PROTOCOLS.values(), ids=PROTOCOLS)
def test_an_upload_arrives_whole_although_the_session_tickets_come_late(
    daemon, network_manager, local, protocol
):
    """Tickets that reach a closed socket would be answered by a reset, and cut the file off."""
    server = LateTicketsServer(control=Certificate(), protocol=protocol)
    (local / "a").write_bytes(content_of(MIB // 2))
    client.upload(local / "a", "a", **fields_of(protocol))
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (0, 0)
    assert server.stored == [("STOR", "a", content_of(MIB // 2))]
    server.stop()


# What a device may say to OpenSSL, and the cipher that is then agreed on.
OPENSSL_CNF = {
    "a-cipher": (
        "ssl_conf = ssl\n[ssl]\nsystem_default = s\n[s]\nCiphersuites = TLS_CHACHA20_POLY1305_SHA256",
        "TLS_CHACHA20_POLY1305_SHA256",
    ),
    "providers": ("providers = p\n[p]\ndefault = on\nbase = on\n[on]\nactivate = 1", "TLS_AES_256_GCM_SHA384"),
    "nothing": ("", "TLS_AES_256_GCM_SHA384"),
}


@pytest.mark.parametrize(("configuration", "cipher"), OPENSSL_CNF.values(), ids=OPENSSL_CNF)
def test_openssl_is_configured_by_the_device(
    unstarted, network_manager, log, local, configuration, cipher
):
    file = WORLD / "openssl.cnf"
    file.write_text(f"openssl_conf = all\n[all]\n{configuration}\n")
    server = PyftpdlibTls(Certificate(), wire.FTPS_EXPLICIT)
    server.put("a", b"content")
    unstarted.launch(OPENSSL_CONF=str(file))
    network_manager.wait_for(wire.NOTICE_STARTED)
    for number in (1, 2):
        client.download("a", local / "a", **fields_of(wire.FTPS_EXPLICIT))
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == (0, 0)
    assert log.count(rf"^\* +SSL connection using TLSv1.3 / {cipher}$") >= 2


def test_many_jobs_leave_no_descriptor_open(daemon, server, network_manager, local):
    server.put("a", b"content")
    open_after = []
    for number in range(1, 11):
        client.download("a", local / "a", **server.fields)
        assert network_manager.wait_for(wire.NOTICE_DOWNLOAD, number).outcome == (0, 0)
        open_after.append(len(daemon.descriptors()))
    assert open_after[-1] == open_after[0]
    assert os.listdir(local) == ["a"]
