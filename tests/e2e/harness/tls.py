"""Fresh certificates, and FTP servers with TLS."""

import socket
import ssl
import subprocess
import threading
import warnings

from . import wire
from .daemon import WORLD
from .ftp_servers import Proftpd, PureFtpd, Pyftpdlib
from .scripted import ScriptedServer, Session
from .vsftpd import Vsftpd

with warnings.catch_warnings():
    warnings.simplefilter("ignore", DeprecationWarning)
    from pyftpdlib.handlers import TLS_DTPHandler, TLS_FTPHandler

KEYS = {
    "rsa": ["-newkey", "rsa:2048"],
    "ecdsa": ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1"],
}


def openssl(*arguments, run_by=()):
    done = subprocess.run([*run_by, "openssl", *map(str, arguments)], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    return done.stdout


def digest_of(file):
    """The SHA-1 digest of a PEM certificate, by openssl."""
    said = openssl("x509", "-in", file, "-noout", "-fingerprint", "-sha1")
    return bytes.fromhex(said.split("=")[1].strip().replace(":", ""))


class Certificate:
    """Self-signed; `file` and `key` are PEM. days: how long it is still valid; below 0, how long it was not."""

    def __init__(self, name="server", key="ecdsa", host="127.0.0.1", days=30):
        self.file, self.key = WORLD / f"{name}.pem", WORLD / f"{name}.key"
        request = WORLD / f"{name}.csr"
        subject = ["-subj", f"/CN={host}", "-out", request]
        openssl("req", "-new", *KEYS[key], "-nodes", "-keyout", self.key, *subject)
        # OpenSSL 3.5 makes no expired certificate, so an earlier clock does.
        valid, clock = (days, ()) if days > 0 else (1, ("faketime", f"{1 - days} days ago"))
        made = ["-days", valid, "-out", self.file]
        openssl("x509", "-req", "-in", request, "-signkey", self.key, *made, run_by=clock)

    @property
    def sha1(self):
        return digest_of(self.file)

    @property
    def pin(self):
        """The fields of a request that pins it."""
        return wire.auth(wire.AUTH_SHA1, self.sha1)


class VsftpdTls(Vsftpd):
    """Takes no login and no data without TLS."""

    def __init__(self, certificate, protocol, **settings):
        super().__init__(
            ssl_enable="YES",
            implicit_ssl="YES" if protocol == wire.FTPS_IMPLICIT else "NO",
            listen_port=wire.PORTS[protocol],
            force_local_logins_ssl="YES",
            force_local_data_ssl="YES",
            rsa_cert_file=certificate.file,
            rsa_private_key_file=certificate.key,
            **settings,
        )


class ProftpdTls(Proftpd):
    """Takes no login and no data without TLS."""

    def __init__(self, certificate, protocol, **settings):
        implicit = {"TLSOptions": "UseImplicitSSL"} if protocol == wire.FTPS_IMPLICIT else {}
        super().__init__(
            wire.PORTS[protocol],
            LoadModule="mod_tls.c",
            TLSEngine="on",
            TLSRequired="on",
            TLSLog=WORLD / "proftpd.tls",
            TLSECCertificateFile=certificate.file,
            TLSECCertificateKeyFile=certificate.key,
            **implicit | settings,
        )


class PureFtpdTls(PureFtpd):
    """Accepts no login and no data without TLS. It has no implicit TLS: Debian builds it without that option."""

    def __init__(self, certificate):
        both = WORLD / "pure-ftpd.pem"
        both.write_text(certificate.file.read_text() + certificate.key.read_text())
        super().__init__("-Y", "3", "-2", str(both))


class _Data(TLS_DTPHandler):
    def readable(self):
        # libcurl sends its ClientHello before RETR; the handler would take early bytes for the end.
        return (self._ssl_requested and not self._ssl_established) or super().readable()


def _handler(certificate, implicit):
    class Handler(TLS_FTPHandler):
        certfile = str(certificate.file)
        keyfile = str(certificate.key)
        ssl_context = None  # or it would be another server's
        dtp_handler = _Data
        tls_control_required = True
        tls_data_required = True

        def handle(self):
            if implicit:
                self.secure_connection(self.ssl_context)
            super().handle()

    return Handler


class PyftpdlibTls(Pyftpdlib):
    def __init__(self, certificate, protocol):
        handler = _handler(certificate, protocol == wire.FTPS_IMPLICIT)
        handler.ssl_context = handler.get_ssl_context()
        super().__init__(handler=handler, port=wire.PORTS[protocol])


class Wire:
    """All encrypted bytes of one connection in both directions."""

    def __init__(self):
        self.up, self.down = bytearray(), bytearray()

    def between(self, outer):
        """The server's end of a relay to `outer`."""
        inner, end = socket.socketpair()
        for source, target, record in ((outer, inner, self.up), (inner, outer, self.down)):
            threading.Thread(target=self._pump, args=(source, target, record), daemon=True).start()
        return end

    @staticmethod
    def _pump(source, target, record):
        try:
            while piece := source.recv(16384):
                record += piece
                target.sendall(piece)
        except OSError:
            pass
        try:
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass


def is_all_tls(stream):
    """True if all the bytes are TLS records, and there are some."""
    at = 0
    while at < len(stream):
        kind, major, length = stream[at], stream[at + 1], stream[at + 3 : at + 5]
        if kind not in (20, 21, 22, 23) or major != 3 or len(length) != 2:
            return False
        at += 5 + int.from_bytes(length, "big")
    return at == len(stream) > 0


def context(certificate):
    made = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    made.load_cert_chain(certificate.file, certificate.key)
    return made


class TlsSession(Session):
    def run(self):
        if self.server.implicit:
            try:
                self._secure()
            except OSError:
                self._control.close()
                self.server.session_ended(self)
                return
        super().run()

    def _secure(self):
        self._control = self.server.control.wrap_socket(self._control, server_side=True)

    def on_auth(self, _):
        self.reply("234 go on")
        self._secure()

    def _data(self):
        wire_ = Wire()
        self.server.wires.append(wire_)
        end = wire_.between(super()._data())
        try:
            return self.server.data.wrap_socket(end, server_side=True)
        except OSError:
            self.server.data_refused.set()
            end.close()
            raise


class TlsServer(ScriptedServer):
    """A scripted server with one certificate for control connections and one for data.

    wires: the bytes of each data connection. data_refused: the client ended a handshake there."""

    session_class = TlsSession

    def __init__(self, *plans, control, data=None, protocol=wire.FTPS_EXPLICIT, files=None):
        self.control, self.data = context(control), context(data or control)
        # Each data connection must show its certificate, so none may resume a session.
        self.data.num_tickets = 0
        self.implicit = protocol == wire.FTPS_IMPLICIT
        self.wires = []
        self.data_refused = threading.Event()
        super().__init__(*plans, files=files, port=wire.PORTS[protocol])


class _LateSession(TlsSession):
    def on_pasv(self, _):
        self._passive = socket.socket()
        self._passive.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        self._passive.bind(("127.0.0.1", 0))
        self._passive.listen(1)
        port = self._passive.getsockname()[1]
        self.reply(f"227 at (127,0,0,1,{port >> 8},{port & 255})")

    def _data(self):
        return _LateData(Session._data(self), self.server)


class _LateData:
    """A TLS connection for receiving that waits between its two handshake flights."""

    def __init__(self, connection, server):
        self._connection = connection
        self._in, self._out = ssl.MemoryBIO(), ssl.MemoryBIO()
        server.data.num_tickets = 2
        self._tls = server.data.wrap_bio(self._in, self._out, server_side=True)
        flights = 0
        while True:
            try:
                self._tls.do_handshake()
                break
            except ssl.SSLWantReadError:
                connection.sendall(self._out.read())
                flights += 1
                if flights == 2:
                    server.closing.wait(server.LATE_S)
                self._in.write(connection.recv(16384))
        connection.sendall(self._out.read())  # the tickets

    def recv(self, size):
        while True:
            try:
                return self._tls.read(size)
            except ssl.SSLWantReadError:
                piece = self._connection.recv(16384)
                if not piece:
                    return b""
                self._in.write(piece)
            except ssl.SSLZeroReturnError:
                return b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._connection.close()


class LateTicketsServer(TlsServer):
    """Sends the session tickets of a data connection late, when the client has sent all it can.

    The data connection's buffer is small, so much of an upload is still on its way then."""

    session_class = _LateSession
    LATE_S = 0.3
