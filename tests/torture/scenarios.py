"""The scenarios in which a call under the daemon fails, and the allowed outcomes."""

import os
import struct
import time

import rig as world
from harness import client, feeder, wire
from harness.scripted import Plan, ScriptedServer, send_then
from harness.sftp import HostKey, Sshd
from harness.tls import Certificate, VsftpdTls
from harness.vsftpd import HOME, Vsftpd

CONTENT = bytes(range(256)) * 12  # small enough for a download
BIG = CONTENT * 60  # several of an upload's buffers
RESUME_AT = 100000

# The allowed result codes of a job after a failed call, besides 0 where the failure is harmless.
# After some failed allocations libssh2 waits for ever, until the inactivity limit ends the job.
MEMORY = {wire.INTERNAL, 6, 7, wire.NO_MEMORY, wire.NETWORK, wire.TIMEOUT}
SETTING = {wire.INTERNAL, 7, wire.NETWORK}
READING = {6, wire.NETWORK}
NETWORK = {wire.NETWORK, wire.TIMEOUT}
LOCAL_FILE = {wire.LOCAL_WRITE, wire.LOCAL_READ}
SAVED_FILE = {wire.SECURE_5, wire.SECURE_6}
MAY_END_WITH = {
    "malloc": MEMORY,
    "curl_easy_setopt": SETTING,
    "curl_easy_getinfo": READING,
    "open": LOCAL_FILE | SAVED_FILE | {wire.NETWORK},
    "read": {wire.NETWORK},  # for the Zixi library, which reads the file itself
    "fseek": {wire.LOCAL_READ, wire.INTERNAL},
    "stat": {wire.LOCAL_READ, wire.NETWORK} | SAVED_FILE,
    "fsync": SAVED_FILE,
    "fread": {wire.LOCAL_READ},
    "pthread_create": {wire.INTERNAL, wire.NETWORK},
    **dict.fromkeys(("fopen", "fdopen"), LOCAL_FILE),
    **dict.fromkeys(("fwrite", "fflush", "fclose"), {wire.LOCAL_WRITE}),
    **dict.fromkeys(("write", "close", "rename"), SAVED_FILE | {wire.NETWORK}),
    **dict.fromkeys(("curl_global_init", "curl_easy_init"), {wire.INTERNAL}),
    **dict.fromkeys(("curl_easy_perform", "pthread_mutex_init"), {wire.NETWORK}),
    **dict.fromkeys(("curl_easy_escape", "curl_easy_unescape"), {wire.NO_MEMORY}),
    **dict.fromkeys(("socket", "socketpair", "bind", "listen", "connect", "accept", "shutdown"), NETWORK),
    **dict.fromkeys(("poll", "recv", "send", "setsockopt", "getsockopt", "getsockname", "getpeername"), NETWORK),
    # Failures that are harmless to a job.
    **dict.fromkeys(("ftruncate", "remove", "dup2", "pthread_join"), set()),
    **dict.fromkeys(("pthread_mutexattr_init", "pthread_mutexattr_settype"), set()),
    **dict.fromkeys(("pthread_mutex_lock", "pthread_mutex_unlock"), set()),
}


class Job:
    """One of commands 1, 2 and 5 with a faultless server."""

    def __init__(self, rig, command, **fields):
        self.rig, self.command, self.fields = rig, command, fields
        self.kind, self.notice_code, _ = wire.STARTS[command]

    def prepare(self):
        """Restores the initial files."""

    def request(self):
        body = wire.request(**self.fields)
        return client.head(self.command, len(body)) + body

    def wrong_effect(self):
        """Why a job with result 0 did not do its work, or None."""
        raise NotImplementedError


class Download(Job):
    def __init__(self, rig, **fields):
        self._target = rig.local / "target"
        fields = {"remote_path": "source", "local_path": self._target} | fields
        super().__init__(rig, wire.DOWNLOAD, **fields)
        world.serve_file("source", CONTENT)

    def prepare(self):
        self._target.unlink(missing_ok=True)

    def wrong_effect(self):
        if not self._target.exists() or self._target.read_bytes() != CONTENT:
            return "0, but the file is not there as it should be"
        return None


class Upload(Job):
    def __init__(self, rig, **fields):
        self._source = rig.local / "source"
        self._source.write_bytes(BIG)
        self._target = HOME / "target"
        fields = {"remote_path": "target", "local_path": self._source} | fields
        super().__init__(rig, wire.UPLOAD, **fields)

    def prepare(self):
        self._target.unlink(missing_ok=True)

    def wrong_effect(self):
        # The server may take a moment to store what has arrived.
        end = time.monotonic() + 2
        while not self._target.exists() or self._target.read_bytes() != BIG:
            if time.monotonic() > end:
                return "0, but the server has not got the file"
            time.sleep(0.01)
        return None


class Resume(Upload):
    """Looks the file up, then sends the rest."""

    def __init__(self, rig, **fields):
        super().__init__(rig, resume=1, **fields)
        self._look = FileInfo(rig, **{**fields, "remote_path": "target"})

    def prepare(self):
        self._target.write_bytes(BIG[:RESUME_AT])
        os.chown(self._target, 4000, 4000)
        before = len(self.rig.manager.of_code(wire.NOTICE_FILE_INFO))
        client.ask_raw(self._look.request())
        self.rig.manager.wait_for(wire.NOTICE_FILE_INFO, before + 1)

    def wrong_effect(self):
        wrong = super().wrong_effect()
        # A second try appends the whole file again, as defined.
        if wrong and any("retry(1)" in line for line in self.rig.log.texts):
            return None
        return wrong


class FileInfo(Job):
    def __init__(self, rig, **fields):
        super().__init__(rig, wire.DL_FILE_INFO, **({"remote_path": "source"} | fields))
        world.serve_file("source", CONTENT)

    def wrong_effect(self):
        info = client.get_file_info()
        if (info.looked_up, info.exists, info.size) != (1, 1, len(CONTENT)):
            return f"0, but the file was not found: {info}"
        return None


class ZixiUpload(Job):
    def __init__(self, rig):
        self._source = rig.local / "target"
        self._source.write_bytes(BIG)
        self._target = feeder.FOLDER / "d" / "target"
        fields = {"remote_path": "d/target", "local_path": self._source, "protocol": wire.ZIXI_4}
        fields["password"] = feeder.credentials("u", "p")
        super().__init__(rig, wire.UPLOAD, **fields)

    def prepare(self):
        self._target.unlink(missing_ok=True)

    def wrong_effect(self):
        if not self._target.exists() or self._target.read_bytes() != BIG:
            return "0, but the file has not arrived"
        return None


class ZixiFileInfo(Job):
    def __init__(self, rig):
        super().__init__(rig, wire.DL_FILE_INFO, remote_path="a", protocol=wire.ZIXI_4)

    def wrong_effect(self):
        info = client.get_file_info()
        return None if (info.looked_up, info.exists, info.size) == (1, 0, -1) else str(info)


class Command:
    """A command that starts nothing. `answers`: the allowed replies, besides none and that to "no request"."""

    def __init__(self, command, length, answers=None):
        self.command, self.length, self.answers = command, length, answers

    def prepare(self):
        pass

    def request(self):
        return client.head(self.command, 0)

    def wrong_answer(self, reply):
        if reply in (b"", client.head(0, 8) + bytes(8)):
            return None  # the reply or the request was lost
        if self.length is not None and reply == client.head(self.command, self.length):
            return None  # its body is lost
        if self.length is None or reply[:8] != client.head(self.command, self.length):
            return f"answered {reply[:8]!r}"
        if len(reply) != 8 + self.length:
            return f"{len(reply) - 8} bytes of body"
        if self.answers and reply[8:] not in self.answers:
            return f"answered {reply[8:]!r}"
        return None


class CancelOfARunningJob:
    """Downloads from a server that stalls, and cancels while calls fail."""

    def __init__(self, rig, port):
        self.rig = rig
        plan = Plan(send=send_then("stall", 100))
        self._server = ScriptedServer(plan, files={"a": bytes(200)}, port=port)
        self._fields = {"remote_path": "a", "local_path": rig.local / "a", "port": port}

    def prepare(self):
        self._server.stalled.clear()
        assert client.start(wire.DOWNLOAD, **self._fields) == (0, 0)
        assert self._server.stalled.wait(30)
        self._server.sessions.clear()

    def request(self):
        return client.head(wire.CANCEL, 0)

    def wrong_outcome(self, reply, notices):
        """A cancel must have a reply, or a notice must report the job's end."""
        if len(reply) != 8 + 12:  # the reply or the request was lost
            return None if len(notices) <= 1 else f"{len(notices)} notices"
        result = struct.unpack("<3I", reply[8:])
        if result == (0, 0, 1):
            return f"cancelled, and announced: {notices}" if notices else None
        return None if result == (1, 2, 1) and len(notices) <= 1 else f"answered {result}, {notices}"


def ftp_fields(passive=1):
    return {"port": 21, "passive_mode": passive}


def _tls():
    certificate = Certificate()
    VsftpdTls(certificate, wire.FTPS_IMPLICIT)
    return wire.by(wire.FTPS_IMPLICIT) | certificate.pin


def _ssh():
    key = HostKey()
    Sshd(key)
    return wire.by(wire.SFTP) | key.pin


def servers_of(name):
    """Starts the scenario's server; returns the fields to reach it."""
    protocol = name.split("-")[0]
    os.chown(HOME, 4000, 4000)
    if protocol == "ftp":
        Vsftpd()
        return ftp_fields()
    if protocol == "active":
        Vsftpd(connect_from_port_20="NO", port_enable="YES")
        return ftp_fields(passive=0)
    return {"ftps": _tls, "sftp": _ssh}[protocol]()


JOBS = {"download": Download, "upload": Upload, "resume": Resume, "info": FileInfo}
PROTOCOLS = {
    "ftp": JOBS,
    "active": ("download", "upload"),
    "ftps": JOBS,
    "sftp": JOBS,
}
TRANSFERS = [f"{protocol}-{job}" for protocol, jobs in PROTOCOLS.items() for job in jobs]
PINNED = ["ftps-saved", "sftp-saved"]  # downloads that save the server's certificate or key
ZIXI = {"zixi-upload": ZixiUpload, "zixi-info": ZixiFileInfo}
COMMANDS = {
    "nothing": Command(wire.NONE, 8, {bytes(8)}),
    "state": Command(wire.GET_STATE, 72),
    "cancel": Command(wire.CANCEL, 12, {struct.pack("<3I", 1, 2, 0)}),
    "get-info": Command(wire.GET_FILE_INFO, 56),
    "unknown": Command(7, None),
}
NAMES = [*TRANSFERS, *PINNED, *ZIXI, *COMMANDS, "cancel-running", "start-up"]


def make(name, rig):
    if name in COMMANDS:
        return COMMANDS[name]
    if name in ZIXI:
        feeder.FOLDER.mkdir(exist_ok=True)
        return ZIXI[name](rig)
    if name == "cancel-running":
        return CancelOfARunningJob(rig, 2100)
    fields = servers_of(name)
    if name in PINNED:
        return Download(rig, **fields | {"save_path": rig.local / "saved"})
    return JOBS[name.split("-")[1]](rig, **fields)
