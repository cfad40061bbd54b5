"""The servers of the benchmarks, all on loopback in the private world."""

import os

from . import peers, world

from harness import processes, wire
from harness.scripted import Plan, ScriptedServer
from harness.daemon import WORLD
from harness.sftp import HostKey, Sshd
from harness.tls import Certificate, VsftpdTls
from harness.vsftpd import HOME, Vsftpd, listens
from harness.waiting import wait_until

PORTS = {"ftp": 21, "ftps": 990, "sftp": 22}
NUMBERS = {"ftp": wire.FTP, "ftps": wire.FTPS_IMPLICIT, "sftp": wire.SFTP}
SINK_PORT, LINE_PORT, SCRIPTED_PORT = 2200, 2222, 2121
STORED = HOME / peers.NAME

# As vsftpd and as a Windows server write a line: size and number of the file.
STYLES = {
    "Unix": "-rw-r--r--    1 1000     1000     {0:12} Nov 21 09:18 recording-{0:06}.ts\r\n",
    "DOS": "11-21-24  09:18AM {0:20} recording-{0:06}.ts\r\n",
}


OPENSSL_TLS_1_2 = """
openssl_conf = all
[all]
ssl_conf = ssl
[ssl]
system_default = limits
[limits]
MaxProtocol = TLSv1.2
"""


def serve_ftps():
    """Up to TLS 1.2: with 1.3 uploads by curl, bare libcurl and rclone fail now and then, since these close while the server's
    session tickets are on their way."""
    file = WORLD / "openssl.cnf"
    file.write_text(OPENSSL_TLS_1_2)
    os.environ["OPENSSL_CONF"] = str(file)
    # Not every client takes a TLS session over to its data connection. vsftpd offers TLS 1.2 for RSA alone.
    VsftpdTls(Certificate(key="rsa"), wire.FTPS_IMPLICIT, require_ssl_reuse="NO")
    del os.environ["OPENSSL_CONF"]


SMALL = "small"


def serve_small_file():
    """A file of 1 KiB for anonymous, whose log-in costs no hash."""
    folder = WORLD / "public"
    folder.mkdir()
    (folder / SMALL).write_bytes(os.urandom(1024))
    Vsftpd(anonymous_enable="YES", no_anon_password="YES", anon_root=folder, ftp_username="alice")


def serve_all():
    """vsftpd, vsftpd with implicit TLS, OpenSSH: alice stores files at home."""
    Vsftpd()
    serve_ftps()
    Sshd(HostKey())


def serve_sink(build):
    """Stores what copy.cpp sends, where the others store what they are sent."""
    processes.spawn([build / "bench" / "copy", "sink", str(SINK_PORT), STORED])
    wait_until(lambda: listens(SINK_PORT), "the sink to listen")


def serve_slow_line(delay_ms):
    """OpenSSH behind a line with that round trip."""
    Sshd(HostKey())
    relay = world.ROOT / "bench" / "measure" / "delay.py"
    processes.spawn(["/usr/bin/python3", relay, str(LINE_PORT), "22", str(delay_ms / 2)])
    wait_until(lambda: listens(LINE_PORT), "the relay to listen")


def listing(style, entries):
    """A folder of that many files, as a server sends it; the number of each is its size."""
    line = STYLES[style]
    return "".join(line.format(number) for number in range(entries)).encode()


def name_of(number):
    return f"recording-{number:06}.ts"


def serve_listings():
    """A server that sends listings from memory: set .listing of the plan that is returned."""
    plan = Plan()
    ScriptedServer(plan, port=SCRIPTED_PORT)
    return plan


def url(protocol):
    """Of what is uploaded."""
    return f"{protocol}://127.0.0.1/{'~/' if protocol == 'sftp' else ''}{peers.NAME}"


def target(protocol):
    """The same in a request."""
    return {"remote_path": peers.NAME, "protocol": NUMBERS[protocol], "port": PORTS[protocol]}


def storing(call, size):
    """The call, after which the file must be there whole; the next one finds none."""

    def checked():
        cost = call()
        assert STORED.stat().st_size == size, STORED.stat()
        STORED.unlink()
        return cost

    return checked
