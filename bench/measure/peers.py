"""The programs to compare with the daemon: each sends the local file once, with its best settings for that."""

import json
import os
import socket
import subprocess
import time

from . import world
from .world import Cost

USER, PASSWORD = "alice", "secret"
# libcurl waits up to 200 ms if PASV is the first command after the login and its reply comes before libcurl checks, which
# happens only on loopback. With a folder, CWD comes first, for every client.
FOLDER = "recordings"
NAME = f"{FOLDER}/uploaded"  # in alice's home
SSH = (
    "ssh -a -x -o StrictHostKeyChecking=no -o UserKnownHostsFile=/dev/null -o LogLevel=ERROR"
    " -o PreferredAuthentications=password"
)


def run(build, command):
    """The cost of a command and all its children, from the program `cost`, so that this process's size does not count."""
    with open(os.path.join(os.environ["TMPDIR"], "cost"), "w+") as said:
        done = subprocess.run(
            [build / "bench" / "cost", str(said.fileno()), *command],
            pass_fds=[said.fileno()],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
        )
        said.seek(0)
        assert done.returncode == 0, f"{command}: {done.stdout}{done.stderr}"
        return Cost(**json.load(said))


def curl(scheme, port, *options):
    def command(local):
        target = f"{scheme}://{USER}:{PASSWORD}@127.0.0.1:{port}/{'~/' if scheme == 'sftp' else ''}{NAME}"
        return ["curl", "-s", "-k", "--disable-epsv", *options, "-T", local, target]

    return command


def lftp(scheme, port, settings=""):
    def command(local):
        script = f"{settings}; open -u {USER},{PASSWORD} {scheme}://127.0.0.1:{port}; put {local} -o {NAME}"
        return ["lftp", "-c", "set net:max-retries 1; " + script]

    return command


def obscured(password):
    """The password in rclone's encoding."""
    said = subprocess.run(["rclone", "obscure", password], capture_output=True, text=True, check=True)
    return said.stdout.strip()


def rclone_login(backend, port):
    login = {"host": "127.0.0.1", "port": port, "user": USER, "pass": obscured(PASSWORD)}
    return [f"--{backend}-{name}={value}" for name, value in login.items()]


def rclone(backend, port, *options):
    login = rclone_login(backend, port)
    # Only the transfer: no check of the target before, no date, no checksum of the file read back.
    plain = ["--config=/dev/null", "--no-check-dest", "--ignore-checksum", "--no-update-modtime", "--retries=1"]

    def command(local):
        return ["rclone", "copyto", *plain, *login, *options, local, f":{backend}:{NAME}"]

    return command


def ncftpput(port):
    def command(local):
        return ["ncftpput", "-u", USER, "-p", PASSWORD, "-P", str(port), "-V", "-t", "60", "-C", "127.0.0.1", local, NAME]

    return command


def of_ftp(port):
    """{name: command for a local file}; each stores it as NAME."""
    return {
        "curl -T": curl("ftp", port),
        "lftp": lftp("ftp", port),
        "ncftpput": ncftpput(port),
        "rclone": rclone("ftp", port),
    }


def of_ftps(port):
    """Implicit TLS, which ncftpput does not have."""
    insecure = ["--ftp-tls", "--ftp-no-check-certificate", "--ftp-tls-cache-size=0"]
    return {
        "curl -T": curl("ftps", port),
        "lftp": lftp("ftps", port, "set ssl:verify-certificate no; set ftp:ssl-protect-data yes"),
        "rclone": rclone("ftp", port, *insecure),
    }


def of_sftp(port):
    no_more = ["--sftp-disable-hashcheck", "--sftp-set-modtime=false", "--sftp-shell-type=none"]
    return {
        "curl -T": curl("sftp", port),
        "lftp": lftp("sftp", port, f'set sftp:auto-confirm yes; set sftp:connect-program "{SSH}"'),
        "rclone": rclone("sftp", port, *no_more),
    }


class Floor:
    """libcurl alone, bench/floor.cpp. options: `log` or nothing."""

    def __init__(self, build, *options):
        from harness import processes
        from harness.waiting import wait_until

        self._path = os.path.join(os.environ["TMPDIR"], "-".join(["floor", *options]))
        self.pid = processes.spawn([build / "bench" / "floor", self._path, *options]).pid
        wait_until(lambda: os.path.exists(self._path), "the floor's socket")

    def run(self, kind, url, local):
        """kind: upload, download or list."""
        world.forget_peak(self.pid)
        cpu, start = world.cpu_s(self.pid), time.monotonic()
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(self._path)
            connection.sendall(f"{kind}\t{url}\t{local}\n".encode())
            reply = connection.makefile().readline()
        wall = time.monotonic() - start
        assert reply == "0\n", (kind, url, reply)
        return Cost(wall, world.cpu_s(self.pid) - cpu, world.memory_kib(self.pid, "VmHWM") / 1024)
