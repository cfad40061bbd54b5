"""The servers of the benchmarks, all on loopback in the private world."""

import os
import shutil

from . import peers, world

from harness import processes, wire
from harness.scripted import Plan, ScriptedServer
from harness.daemon import WORLD
from harness.sftp import HostKey, Sshd
from harness.ftp_servers import Proftpd
from harness.tls import Certificate
from harness.vsftpd import HOME, Vsftpd, listens
from harness.waiting import wait_until

PORTS = {"ftp": 21, "ftps": 990, "sftp": 22}
NUMBERS = {"ftp": wire.FTP, "ftps": wire.FTPS_IMPLICIT, "sftp": wire.SFTP}
SINK_PORT, LINE_PORT, SCRIPTED_PORT = 2200, 2222, 2121
STORED = HOME / peers.NAME

# Lines of vsftpd and of a Windows server, with the file's size and number.
STYLES = {
    "Unix": "-rw-r--r--    1 1000     1000     {0:12} Nov 21 09:18 recording-{0:06}.ts\r\n",
    "DOS": "11-21-24  09:18AM {0:20} recording-{0:06}.ts\r\n",
}


def serve_ftps():
    """proftpd, which decrypts in the process that stores: vsftpd's two processes wait for each other at every record, so
    that all clients would take equally long. TLS 1.2 at most: with 1.3 uploads by curl, libcurl alone and rclone may fail,
    because these close the connection while the server's session tickets are on their way."""
    certificate = Certificate(key="rsa")
    Proftpd(
        PORTS["ftps"],
        LoadModule="mod_tls.c",
        TLSEngine="on",
        TLSRequired="on",
        TLSProtocol="TLSv1.2",
        TLSRSACertificateFile=certificate.file,
        TLSRSACertificateKeyFile=certificate.key,
        TLSOptions="UseImplicitSSL NoSessionReuseRequired",  # not every client resumes its session
        TLSLog="none",
        AllowOverwrite="on",
    )


SMALL = f"{peers.FOLDER}/small"


def serve_small_file():
    """A file of 1 KiB for anonymous, whose login needs no hash."""
    folder = WORLD / "public"
    (folder / peers.FOLDER).mkdir(parents=True)
    (folder / SMALL).write_bytes(os.urandom(1024))
    Vsftpd(anonymous_enable="YES", no_anon_password="YES", anon_root=folder, ftp_username="alice")


def make_folder():
    STORED.parent.mkdir()
    shutil.chown(STORED.parent, peers.USER, peers.USER)


def serve_all():
    """vsftpd, proftpd with implicit TLS, OpenSSH: alice stores files in her folder."""
    make_folder()
    Vsftpd()
    serve_ftps()
    Sshd(HostKey())


def serve_sink(build):
    """Stores what copy.cpp sends in the other servers' place."""
    processes.spawn([build / "bench" / "copy", "sink", str(SINK_PORT), STORED])
    wait_until(lambda: listens(SINK_PORT), "the sink to listen")


def serve_slow_line(delay_ms):
    """OpenSSH behind a line with that delay."""
    make_folder()
    Sshd(HostKey())
    relay = world.ROOT / "bench" / "measure" / "delay.py"
    processes.spawn(["/usr/bin/python3", relay, str(LINE_PORT), "22", str(delay_ms / 2)])
    wait_until(lambda: listens(LINE_PORT), "the relay to listen")


def listing(style, entries):
    """A server's listing of that many files; each file's size is its number."""
    line = STYLES[style]
    return "".join(line.format(number) for number in range(entries)).encode()


def name_of(number):
    return f"{peers.FOLDER}/recording-{number:06}.ts"


def serve_listings():
    """A server that sends listings from memory: set .listing of the returned plan."""
    plan = Plan()
    ScriptedServer(plan, port=SCRIPTED_PORT)
    return plan


def url(protocol):
    """The URL of the uploaded file."""
    return f"{protocol}://127.0.0.1/{'~/' if protocol == 'sftp' else ''}{peers.NAME}"


def target(protocol):
    """The same as fields of a request."""
    return {"remote_path": peers.NAME, "protocol": NUMBERS[protocol], "port": PORTS[protocol]}


def storing(call, size):
    """The call, which must store the whole file; removes the file afterwards."""

    def checked():
        cost = call()
        assert STORED.stat().st_size == size, STORED.stat()
        STORED.unlink()
        return cost

    return checked
