"""The start-up scenario of tests/torture/run: each point is a separate start."""

import os
import socket

import rig as world
from harness import client, processes, wire
from harness.daemon import Daemon

LIMIT_S = 30
DEAF = "ftp_clientd_if(108)"  # without a control socket it runs on without clients
UNANNOUNCED = ("ftp_clientd_if(587)", "ftp_clientd_if(599)", "ftp_clientd_if(323)")
GAVE_UP = ([1], [0, 1], [0, 0, 1])  # before the first fork, the second, or as the daemon
COULD_NOT_BEGIN = [0, 0, 0]


class StartUp:
    """The scenario; `try_point` returns what is wrong, or None."""

    def __init__(self, rig, page):
        self.rig, self.page = rig, page
        self.endings = {}

    def count_calls(self):
        wrong = self.try_point(())
        assert not wrong, wrong
        return self.page.counts

    def try_point(self, point):
        self.rig.forget()
        self.rig.daemon = daemon = Daemon()
        if os.path.exists(client.CONTROL_SOCKET):
            os.unlink(client.CONTROL_SOCKET)
        self.page.arm(*point)
        daemon.launch(**self.rig.environment)
        stays = world.settled(lambda: self._ended(daemon) or self._serves(daemon), LIMIT_S)
        if not stays:
            return "neither started nor ended"
        if self._ended(daemon):
            return self._judge_end(daemon.statuses_of_all())
        wrong = self._judge_running()
        self.page.disarm()
        return wrong or self._judge_stop(daemon)

    def _family(self, daemon):
        return processes.adopted(daemon.name)

    def _ended(self, daemon):
        if not daemon.front_ended():
            return False
        # Checked twice: if the middle process ends during the listing, its child may be missed.
        looks = [process for _ in range(2) for process in self._family(daemon)]
        return all(process.state == "Z" for process in looks)

    def _serves(self, daemon):
        """It has become a daemon and replies, or never will."""
        alive = [p for p in self._family(daemon) if p.state != "Z"]
        if len(alive) != 1 or not daemon.front_ended():
            return False
        if not self._answers() and not self._said(DEAF):
            return False
        daemon.find()
        return True

    def _answers(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            connection.settimeout(LIMIT_S)
            try:
                connection.connect(client.CONTROL_SOCKET)
                connection.sendall(client.head(wire.NONE, 0))
                return client.read_to_end(connection) == client.head(wire.NONE, 8) + bytes(8)
            except OSError:
                return False

    def _said(self, *ids):
        return any(id_ in line for line in self.rig.log.texts for id_ in ids)

    def _announced(self):
        """Outcomes of the start that the network manager has received."""
        world.settled(lambda: self.rig.manager.notices, 0.5)
        heard = [notice for notice in self.rig.manager.notices if notice.raw]
        return [(notice.code, *notice.outcome) for notice in heard]

    def _judge_announced(self, result, detail):
        announced = self._announced()
        if announced == [] and self._said(*UNANNOUNCED):
            return None
        expected = [(wire.NOTICE_STARTED, result, detail)]
        return None if announced == expected else f"announced {announced}"

    def _judge_end(self, statuses):
        self._count(f"ended with {statuses[-1]}")
        if statuses in GAVE_UP:
            return None if self.rig.manager.notices == [] else "gave up, and announced that"
        if statuses != COULD_NOT_BEGIN:
            return f"ended with {statuses}"
        return self._judge_announced(1, wire.INTERNAL)

    def _judge_running(self):
        deaf = self._said(DEAF)
        self._count("deaf" if deaf else "serves")
        return self._judge_announced(0, 0)

    def _judge_stop(self, daemon):
        if not self._said(DEAF) and not self._answers():
            return "does not answer"
        status = daemon.stop()
        return None if status == 0 else f"ended with {status}"

    def _count(self, ending):
        self.endings[ending] = self.endings.get(ending, 0) + 1
