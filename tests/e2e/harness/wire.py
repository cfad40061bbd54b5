"""Messages of the control socket and to the network manager, from the byte tables."""

import struct
from typing import NamedTuple

NONE, DOWNLOAD, UPLOAD, GET_STATE, CANCEL, DL_FILE_INFO, GET_FILE_INFO = range(7)

OK, CANCELED, NOT_RUNNING, BUSY, AUTH_UNSUPPORTED, INTERNAL = range(6)
SECURE_DATA, LOCAL_WRITE, LOCAL_READ, NO_MEMORY = 8, 9, 10, 11
SIZE_LIMIT, TIMEOUT, NOT_SUPPORTED, NETWORK = 12, 14, 15, 16
SECURE_7, SECURE_UNKNOWN, SECURE_6, SECURE_5, CERT_MISMATCH, HOSTKEY_MISMATCH = range(17, 23)

FTP, FTPS_IMPLICIT, FTPS_EXPLICIT, SFTP, ZIXI_4, ZIXI_5 = range(6)
FTPS = {"explicit": FTPS_EXPLICIT, "implicit": FTPS_IMPLICIT}
PROTOCOLS = {"ftp": FTP, "sftp": SFTP} | FTPS
PORTS = {FTP: 21, FTPS_IMPLICIT: 990, FTPS_EXPLICIT: 21, SFTP: 22}

AUTH_NONE, AUTH_MD5, AUTH_SHA1 = range(3)

REQUEST_LENGTH = 2080

# field: (offset, width of a string or None for a 32-bit word, default)
REQUEST_FIELDS = {
    "remote_path": (0, 512, ""),
    "local_path": (512, 256, ""),
    "host": (768, 256, "127.0.0.1"),
    "port": (1024, None, 21),
    "username": (1028, 32, "alice"),
    "password": (1060, 224, "secret"),
    "passive_mode": (1284, None, 1),
    "protocol": (1288, None, FTP),
    "proxy_host": (1292, 256, ""),
    "proxy_port": (1548, None, 0),
    "proxy_type": (1552, None, 0),
    "auth_type": (1556, None, 0),
    "digest_length": (1560, 1, b"\0"),
    "digest": (1561, 256, b""),
    "save_path": (1817, 259, ""),
    "resume": (2076, None, 0),
}


def by(protocol):
    """The fields of a request to a server of the protocol at its usual port."""
    return {"protocol": protocol, "port": PORTS[protocol]}


def auth(kind, digest=b"", length=None, save_path=""):
    """The fields of a request that pin the server. length: None = the digest's length."""
    length = bytes([len(digest) if length is None else length])
    return {"auth_type": kind, "digest": digest, "digest_length": length, "save_path": save_path}


def as_bytes(text):
    return text if isinstance(text, bytes) else str(text).encode()


def request(**fields):
    """The 2080 bytes of a request. A string as long as its field has no terminator."""
    record = bytearray(REQUEST_LENGTH)
    unknown = fields.keys() - REQUEST_FIELDS.keys()
    assert not unknown, f"no such field: {unknown}"
    for name, (offset, width, default) in REQUEST_FIELDS.items():
        value = fields.get(name, default)
        if width is None:
            struct.pack_into("<I", record, offset, value)
            continue
        value = as_bytes(value)
        assert len(value) <= width, f"{name} holds {width} bytes"
        record[offset : offset + len(value)] = value
    return bytes(record)


class ExecInfo(NamedTuple):
    """A job's progress and outcome; zixi_error and the tail's padding are not always set."""

    total_size: float
    transferred_size: float
    elapsed_time: float
    curl_code: int
    zixi_error: int
    response_code_type: int
    response_code: int
    retry_count: int

    LAYOUT = "3d5I4x"

    @property
    def sizes(self):
        return self.total_size, self.transferred_size

    @property
    def codes(self):
        return self.curl_code, self.response_code_type, self.response_code, self.retry_count


class State(NamedTuple):
    """Reply to command 3."""

    result: int
    detail: int
    running: int
    kind: int
    job_result: int
    cancel: int
    exec_info: ExecInfo

    @classmethod
    def of(cls, body):
        assert len(body) == 72
        values = struct.unpack("<6I" + ExecInfo.LAYOUT, body)
        return cls(*values[:6], ExecInfo(*values[6:]))


class FileInfo(NamedTuple):
    """Reply to command 6."""

    result: int
    detail: int
    looked_up: int
    exists: int
    size: int
    year: int
    month: int
    day: int
    hour: int
    minute: int
    attributes: int
    is_link: int

    @classmethod
    def of(cls, body):
        assert len(body) == 56
        return cls(*struct.unpack("<4Iq7i4x", body))


NOTICE_DOWNLOAD, NOTICE_UPLOAD, NOTICE_FILE_INFO, NOTICE_STARTED = range(4)


class Start(NamedTuple):
    """A command that starts a job."""

    kind: int  # of the job
    notice: int  # its code
    named: str  # a refused request's name in the log


STARTS = {
    DOWNLOAD: Start(1, NOTICE_DOWNLOAD, "ftp_clientd(393): command_download()"),
    UPLOAD: Start(2, NOTICE_UPLOAD, "ftp_clientd(433): command_upload()"),
    DL_FILE_INFO: Start(3, NOTICE_FILE_INFO, "ftp_clientd(570): command_dl_file_info()"),
}


class Notice(NamedTuple):
    """One notice as the network manager received it."""

    raw: bytes

    @property
    def code(self):
        return self.raw[1]

    @property
    def head(self):
        """(sender, code, kind, length of body, the word that is 0), without the reserved bytes."""
        return struct.unpack("<BBBxHxxI", self.raw[:12])

    @property
    def body(self):
        return self.raw[12:]

    @property
    def outcome(self):
        """(result, detail)"""
        return struct.unpack("<2I", self.body[:8])

    @property
    def exec_info(self):
        assert len(self.raw) == 68
        return ExecInfo(*struct.unpack("<" + ExecInfo.LAYOUT, self.body[8:]))

    @property
    def sizes(self):
        """(total, transferred)"""
        return self.exec_info.sizes

    @property
    def codes(self):
        """(libcurl's code, kind of response code, response code, retries)"""
        return self.exec_info.codes
