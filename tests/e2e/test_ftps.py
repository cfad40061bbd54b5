"""FTP over TLS: certificates, and what must never be sent without TLS."""

import pytest

from harness import wire
from harness.content import MIB, content_of
from harness.daemon import WORLD
from harness.libraries import lacks_tls_in_active_mode
from harness.scripted import Plan
from harness.tls import Certificate, LateTicketsServer, PyftpdlibTls, VsftpdTls, is_all_tls

PASSIVE_INSTEAD = (
    r"^curl_func\(1092\): libcurl 7\.8[78]\.[01]: no TLS in active mode, passive mode is used\.\n$"
)

each_protocol = pytest.mark.parametrize("protocol", wire.FTPS.values(), ids=wire.FTPS)


CERTIFICATES = {
    "rsa": {"key": "rsa"},
    "ecdsa": {"key": "ecdsa"},
    "expired": {"days": -1},
    "other-host": {"host": "elsewhere.example"},
}


@each_protocol
@pytest.mark.parametrize("certificate", CERTIFICATES)
def test_any_certificate_is_accepted_when_none_is_pinned(
    daemon, scripted_tls, jobs, log, local, certificate, protocol
):
    shown = Certificate(**CERTIFICATES[certificate])
    scripted_tls(control=shown, protocol=protocol, files={"a": b"1"})
    assert jobs.download("a", local / "a", **wire.by(protocol)).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"1"
    log.wait_for(r"^curl_func\(1970\): No authentication\.\n$")


@pytest.mark.parametrize("protocol, curl_code", [(1, 35), (2, 64)], ids=["implicit", "explicit"])
def test_a_server_without_tls_gets_no_login(daemon, scripted, jobs, local, protocol, curl_code):
    server = scripted(Plan(replies={"AUTH": "500 what?"}), files={"a": b"1"}, port=wire.PORTS[protocol])
    notice = jobs.download("a", local / "a", **wire.by(protocol))
    assert (notice.outcome, notice.exec_info.curl_code) == ((1, wire.NETWORK), curl_code)
    assert not [command for command in server.commands if command[:4] in ("USER", "PASS")]


def test_the_commands_of_an_explicit_download(daemon, scripted_tls, jobs, local):
    server = scripted_tls(control=Certificate(), files={"f": b"1"})
    assert jobs.download("d/f", local / "a", **wire.by(wire.FTPS_EXPLICIT)).outcome == (0, 0)
    commands = "AUTH SSL, USER alice, PASS secret, PBSZ 0, PROT P, PWD, CWD d, PASV, TYPE I, SIZE f, RETR f, QUIT"
    assert server.commands == commands.split(", ")


@each_protocol
def test_a_server_that_refuses_tls_on_data_connections_gets_no_data(daemon, scripted_tls, jobs, local, protocol):
    server = scripted_tls(Plan(replies={"PROT": "536 not here"}), control=Certificate(), protocol=protocol)
    (local / "a").write_bytes(b"not for all")
    notice = jobs.upload(local / "a", "a", **wire.by(protocol))
    assert (notice.outcome, notice.exec_info.curl_code) == ((1, wire.NETWORK), 64)
    assert not server.stored and not server.wires


@each_protocol
def test_only_tls_crosses_the_wire_in_active_mode(daemon, scripted_tls, jobs, log, local, protocol):
    secret = b"nobody else may read this " * 100
    listing = b"-rw-r--r-- 1 alice alice 1 Jan 15 2012 a\r\n"
    server = scripted_tls(Plan(listing=listing), control=Certificate(), protocol=protocol, files={"a": secret})
    for notice in jobs.each(local, content=secret, passive_mode=0, **wire.by(protocol)):
        assert notice.outcome == (0, 0)
    # Passive where this libcurl would otherwise send in clear.
    expected = [PASSIVE_INSTEAD, r"^> PORT "]
    seen, unseen = expected if lacks_tls_in_active_mode() else reversed(expected)
    log.wait_for(seen, times=3)
    assert log.count(unseen) == 0
    assert server.stored == [("STOR", "b", secret)]
    assert (local / "a").read_bytes() == secret
    assert len(server.wires) == 3
    for seen in server.wires:
        assert is_all_tls(seen.up) and is_all_tls(seen.down)
        assert secret[:26] not in seen.up + seen.down


@each_protocol
@pytest.mark.parametrize("server", [VsftpdTls, PyftpdlibTls])
def test_active_mode_with_a_real_server(daemon, server, jobs, local, protocol):
    server(Certificate(), protocol).put("a", b"content")
    assert jobs.download("a", local / "a", passive_mode=0, **wire.by(protocol)).outcome == (0, 0)
    assert (local / "a").read_bytes() == b"content"


@each_protocol
def test_an_upload_arrives_whole_although_the_session_tickets_come_late(daemon, jobs, local, protocol):
    """Tickets that reach a closed socket would cause a reset, which cuts the file off."""
    server = LateTicketsServer(control=Certificate(), protocol=protocol)
    (local / "a").write_bytes(content_of(MIB // 2))
    assert jobs.upload(local / "a", "a", **wire.by(protocol)).outcome == (0, 0)
    assert server.stored == [("STOR", "a", content_of(MIB // 2))]
    server.stop()


# A device's OpenSSL configuration, and the cipher that results.
OPENSSL_CNF = {
    "a-cipher": (
        "ssl_conf = ssl\n[ssl]\nsystem_default = s\n[s]\nCiphersuites = TLS_CHACHA20_POLY1305_SHA256",
        "TLS_CHACHA20_POLY1305_SHA256",
    ),
    "providers": ("providers = p\n[p]\ndefault = on\nbase = on\n[on]\nactivate = 1", "TLS_AES_256_GCM_SHA384"),
    "nothing": ("", "TLS_AES_256_GCM_SHA384"),
}


@pytest.mark.parametrize(("configuration", "cipher"), OPENSSL_CNF.values(), ids=OPENSSL_CNF)
def test_the_devices_openssl_configuration_applies(launch, jobs, log, local, configuration, cipher):
    file = WORLD / "openssl.cnf"
    file.write_text(f"openssl_conf = all\n[all]\n{configuration}\n")
    PyftpdlibTls(Certificate(), wire.FTPS_EXPLICIT).put("a", b"content")
    launch(OPENSSL_CONF=str(file))
    for _ in range(2):
        assert jobs.download("a", local / "a", **wire.by(wire.FTPS_EXPLICIT)).outcome == (0, 0)
    assert log.count(rf"^\* +SSL connection using TLSv1.3 / {cipher}( / .*)?$") >= 2
