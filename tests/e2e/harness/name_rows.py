"""The trials by name: a server, "bytes" for the scripted one, or a server with generated login directories."""

from . import name_servers
from .daemon import WORLD
from .name_bytes import BytesTrial
from .name_jobs import Trial
from .name_logins import LoginTrial
from .name_tree import Tree
from .vsftpd import HOME

LOGINS = {"openssh-logins": "openssh", "vsftpd-logins": "vsftpd"}
ROWS = [*name_servers.SERVERS, "bytes", *LOGINS]


def make_trial(row, manager, local):
    """Starts the server as well."""
    if row == "bytes":
        return BytesTrial(manager, local)
    tree = Tree(WORLD / "home", HOME)
    if row in LOGINS:
        return LoginTrial(name_servers.SERVERS[LOGINS[row]](), manager, local, tree)
    return Trial(name_servers.SERVERS[row](), manager, local, tree)


def again(row, seed, number):
    """The command that repeats one trial."""
    return f"repeat with: tests/torture/names --seed {seed} --first {number} --share 1 {row}"
