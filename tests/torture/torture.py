"""One scenario of tests/torture/run. Prints each failure, then a line of figures."""

import argparse
import os
import socket
import struct
import sys
import time
from typing import NamedTuple

import rig as world
import scenarios
from fault import ERRORS, ROLES, Page
from second import SecondClient
from start_up import StartUp
from harness import client, wire

HANG_S = 60
ASK_AFTER_S = 0.25  # then asks whether a job with its fault has ended unannounced
MORE_BLOCKS = "blocks of memory more than before"
COUNTING_RUNS = 8  # the lowest counts are used, because the number of libcurl's polls varies
FURTHER = 2  # calls beyond the counted ones, for the main thread's idle passes
# Log lines for a notice that was not sent or a worker that was not joined; neither is repeated.
NOT_ANNOUNCED = ("ftp_clientd_if(587)", "ftp_clientd_if(599)", "ftp_clientd_if(323)", "curl_func(2075)", "zixi_func(882)")
NOT_STARTED = ("ftp_clientd(393)", "ftp_clientd(433)", "ftp_clientd(570)")


class Point(NamedTuple):
    name: str
    role: int
    nth: int
    error: int
    onward: bool = False

    def __str__(self):
        what = "from the" if self.onward else "the"
        return f"{what} {self.nth}. {self.name} of the {ROLES[self.role]} thread, error {self.error}"


def points_of(counts, every_error, share):
    """All points, or `share` of them, evenly spread."""
    points = []
    for (name, role), count in sorted(counts.items()):
        errors = ERRORS[name] if every_error else ERRORS[name][:1]
        beyond = FURTHER if role == 0 else 0
        points += [Point(name, role, n + 1, e) for n in range(count + beyond) for e in errors]
        if name == "malloc" and every_error:
            points += [Point(name, role, n + 1, errors[0], True) for n in range(0, count, 5)]
    if share and len(points) > share:
        points = [points[i * len(points) // share] for i in range(share)]
    return points


def ask_anyhow(data):
    """Everything received; b"" also if the connection breaks."""
    try:
        with client.connect() as connection:
            connection.settimeout(HANG_S)
            try:
                connection.sendall(data)
            except OSError:
                pass  # the reply before the close can still be read
            return client.read_to_end(connection)
    except socket.timeout:
        return None


def libraries_own(wrong, name, hit_by, is_ssh, lines):
    """The fault in libcurl 7.88.1 or libssh2 1.10 that explains `wrong` and that no caller can notice; None = it is ours."""
    if not hit_by.startswith(("libcurl", "libssh2")):
        return None
    # libssh2 also leaks memory when its connection breaks during the key exchange.
    if wrong.endswith(MORE_BLOCKS) and (is_ssh or name == "malloc"):
        return "kept by the library"
    # ftp_parse_url_path does not check its copy of the file's name; without it libcurl lists the directory.
    listed = any("> LIST" in line for line in lines)
    if wrong.startswith("0, but the file is not there") and listed:
        return "listed instead"
    return None


class Torture:
    def __init__(self, name, rig, page):
        self.name, self.rig, self.page = name, rig, page
        self.tally = Tally(name)
        rig.start()
        self.scenario = scenarios.make(name, rig)
        self.second = SecondClient(rig, rig.environment) if isinstance(self.scenario, scenarios.Job) else None
        self.counts = {}
        for _ in range(COUNTING_RUNS):
            assert not (wrong := self._with_second(lambda: None)), wrong
            self._must_work()
        self.tally.outcomes.clear()
        self._take_baseline()

    def _take_baseline(self):
        self.descriptors, self.threads = self.rig.descriptors(), self.rig.threads()
        self.blocks = self.page.live_blocks

    def _must_work(self):
        """Plays the scenario without a fault and counts its calls."""
        self.rig.forget()
        self.scenario.prepare()
        self.page.arm()
        wrong = self._play(None)
        self.page.disarm()
        assert not wrong, wrong
        counts = self.page.counts
        self.counts = {key: min(n, self.counts.get(key, n)) for key, n in counts.items()}

    # --- One point

    def try_point(self, point):
        wrong = self._try_once(point)
        self.tally.tried += 1
        self.tally.not_reached += self.hits == 0
        # Memory kept only once is a cache of OpenSSL; a leak happens each time.
        for _ in range(2):
            if not wrong or not wrong.endswith(MORE_BLOCKS):
                break
            wrong = self._try_once(point)
        if not wrong:
            return
        whose = libraries_own(
            wrong, point.name, self.hit_by, self.name.startswith("sftp"), self.lines
        )
        if whose:
            self.tally.libraries_own += 1
            self.tally.count(whose)
        else:
            self.tally.failed += 1
            print(f"{self.name}: {point} (called by {self.hit_by}):\n  {wrong}", flush=True)
            print("".join(f"    | {line.rstrip()}\n" for line in self.lines[-40:]), end="", flush=True)
        self._begin_again()

    def _try_once(self, point):
        """What was wrong, or None."""
        return self._with_second(lambda: self._meet(point)) or self._after()

    def _with_second(self, play):
        """What was wrong with play() or with the second program that waited for its turn meanwhile."""
        if not self.second:
            return play()
        with self.second.waiting():
            wrong = play()
        return wrong or self.second.wrong

    def _meet(self, point):
        self.rig.forget()
        self.scenario.prepare()
        self.page.arm(*point)
        wrong = self._play(point)
        self.page.disarm()
        self.hit_by, self.hits = self.page.hit_by, self.page.hits
        self.lines = self.rig.log.texts
        return wrong

    def _begin_again(self):
        """Keeps the damage of one point from the next."""
        if not self.rig.alive:
            self.rig.daemon.wait_end()
            self.rig.start()
        assert world.settled(self._is_idle, HANG_S), "the daemon never becomes idle"
        self._must_work()
        self._take_baseline()

    def _play(self, point):
        reply = ask_anyhow(self.scenario.request())
        if reply is None:
            return "no answer"
        if isinstance(self.scenario, scenarios.Job):
            return self._judge_job(reply, point)
        if isinstance(self.scenario, scenarios.CancelOfARunningJob):
            return self._judge_cancel(reply)
        return self.scenario.wrong_answer(reply)

    # --- Jobs

    def _judge_job(self, reply, point):
        head = client.head(self.scenario.command, 8)
        if reply == client.head(0, 8) + bytes(8) or (not reply and point is None):
            return "the request was not heard" if point is None else self._no_notice("not heard")
        if reply and (reply[:8] != head or len(reply) not in (8, 16)):
            return f"answered {reply!r}"
        reply = reply if len(reply) == 16 else b""
        result, detail = struct.unpack("<2I", reply[8:]) if reply else (0, 0)
        if result:
            self._count(f"refused with {detail}")
            allowed = detail == 5 and point and point.name == "pthread_create"
            return self._no_notice("refused") if allowed else f"refused with {detail}"
        return self._judge_notice(point)

    def _judge_notice(self, point):
        if not self._wait_for_end():
            return "neither announced nor ended" if self.rig.alive else "the daemon has died"
        notices = self._notices()
        if len(notices) > 1 or len(self.rig.manager.notices) > len(notices) + self._looks() + 1:
            return f"announced more than once: {self.rig.manager.notices}"
        if not notices:
            return self._why_unannounced()
        result, detail = notices[0].outcome
        self._count(detail)
        if result != (1 if detail else 0):
            return f"result {result} with detail {detail}"
        if detail == 0:
            self.page.disarm()
            return self.scenario.wrong_effect()
        allowed = scenarios.MAY_END_WITH[point.name] if point else set()
        return None if detail in allowed else f"ended with {detail}"

    def _looks(self):
        """Notices of the look-up before a resume."""
        return 1 if isinstance(self.scenario, scenarios.Resume) else 0

    def _why_unannounced(self):
        said = self.rig.log.texts
        for marks, what in ((NOT_ANNOUNCED, "unannounced"), (NOT_STARTED, "not started")):
            if any(mark in line for mark in marks for line in said):
                self._count(what)
                return None
        if not any("ftp_clientd_if(6" in line or "ftp_clientd_if(7" in line for line in said):
            return "ended, and not announced"
        self._count("not heard")
        return None

    def _no_notice(self, why):
        self._count(why)
        time.sleep(0.05)
        notices = self._notices()
        return f"{why}, and announced: {notices}" if notices else None

    def _count(self, outcome):
        """Counts only jobs with a fault, not those that must work."""
        if self.page.hits:
            self.tally.count(outcome)

    def _notices(self):
        """This job's notices; an empty one is a connection on which nothing was sent."""
        heard = [notice for notice in self.rig.manager.notices if notice.raw]
        return [notice for notice in heard if notice.code == self.scenario.notice_code]

    def _wait_for_end(self):
        """True once the job is announced, or has ended unannounced."""
        begin = time.monotonic()
        idle = 0
        while not self._notices():
            if not self.rig.alive or time.monotonic() - begin > HANG_S:
                return False
            # The question is a further request, so it comes only if there is no notice.
            if self.page.hits and time.monotonic() - begin > ASK_AFTER_S:
                idle = idle + 1 if self._is_idle() else 0
                if idle == 3:
                    time.sleep(0.05)
                    return True
            time.sleep(0.002)
        return True

    def _is_idle(self):
        reply = ask_anyhow(client.head(wire.GET_STATE, 0))
        time.sleep(0.03)
        return bool(reply) and len(reply) == 80 and wire.State.of(reply[8:]).running == 0

    # --- Cancel

    def _judge_cancel(self, reply):
        self.page.disarm()
        if len(reply) != 20:
            ask_anyhow(self.scenario.request())  # the first may have been lost
        if not world.settled(self._is_idle, HANG_S):
            return "never ends"
        time.sleep(0.02)
        notices = [notice for notice in self.rig.manager.notices if notice.raw]
        wrong = self.scenario.wrong_outcome(reply, notices)
        self._count("answered" if len(reply) == 20 else "lost")
        return wrong

    # --- Afterwards

    def _after(self):
        if not self.rig.alive:
            return "the daemon has died"
        try:
            self._must_work()
        except AssertionError as failed:
            return f"afterwards: {failed}"
        if not world.settled(lambda: self.rig.descriptors() == self.descriptors):
            now, self.descriptors = self.rig.descriptors(), self.rig.descriptors()
            return f"descriptors: {now}"
        if not world.settled(lambda: self.rig.threads() == self.threads):
            self.threads = self.rig.threads()
            return f"{self.threads} threads"
        if not world.settled(lambda: self.page.live_blocks <= self.blocks, 0.2):
            more = self.page.live_blocks - self.blocks
            self.blocks += more
            return f"{more} {MORE_BLOCKS}"
        self.blocks = min(self.blocks, self.page.live_blocks)
        return None


class Tally:
    """The results of a scenario, and its last line of output."""

    def __init__(self, name):
        self.name, self.begin = name, time.monotonic()
        self.tried = self.failed = self.not_reached = self.libraries_own = 0
        self.outcomes = {}

    def count(self, outcome):
        self.outcomes[outcome] = self.outcomes.get(outcome, 0) + 1

    def report(self):
        passed = self.tried - self.failed - self.libraries_own
        outcomes = ", ".join(f"{n} x {what}" for what, n in sorted(self.outcomes.items(), key=str))
        print(
            f"{self.name}: {self.tried} points tried, {passed} passed, {self.failed} failed, "
            f"{self.libraries_own} the libraries' own; {self.not_reached} not reached; "
            f"{time.monotonic() - self.begin:.0f} s; {outcomes}",
            flush=True,
        )


def chosen(counts, arguments):
    counts = {key: n for key, n in counts.items() if arguments.name in ("", key[0])}
    points = points_of(counts, not arguments.share, arguments.share)
    return [point for point in points if arguments.nth in (0, point.nth)]


def try_scenario(arguments, rig, page):
    """(what failed, points tried)"""
    torture = Torture(arguments.scenario, rig, page)
    points = chosen(torture.counts, arguments)
    for point in points:
        torture.try_point(point)
    at_end = rig.stop()
    for text in at_end:
        print(f"{arguments.scenario}: at the end: {text}")
    torture.tally.report()
    return torture.tally.failed + len(at_end), points


def try_start_up(arguments, rig, page):
    start_up = StartUp(rig, page)
    counts = start_up.count_calls()
    start_up.endings.clear()
    tally = Tally("start-up")
    points = chosen(counts, arguments)
    for point in points:
        wrong = start_up.try_point(point)
        tally.tried += 1
        tally.not_reached += page.hits == 0
        if wrong:
            tally.failed += 1
            print(f"start-up: {point} (called by {page.hit_by}):\n  {wrong}", flush=True)
            print("".join(f"    | {line.rstrip()}\n" for line in rig.log.texts), end="")
    tally.outcomes = start_up.endings
    tally.report()
    return tally.failed, points


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--daemon", default=world.default_daemon())
    parser.add_argument("--share", type=int, default=0, help="points to try; 0 = all")
    parser.add_argument("--name", default="", help="only calls of this name")
    parser.add_argument("--nth", type=int, default=0, help="only this one of them")
    parser.add_argument("scenario")
    arguments = parser.parse_args()
    world.enter(arguments.daemon)

    page = Page(os.path.join(os.environ["FTP_CLIENTD_WORLD"], "page"))
    environment = world.preloads(os.environ["FTP_CLIENTD"]) | {
        "FAIL_NTH_PAGE": page.path,
        "ZIXI_FEEDER_DIR": os.environ["FTP_CLIENTD_WORLD"] + "/zixi",
    }
    if arguments.scenario == "start-up":
        failures, points = try_start_up(arguments, world.Rig(**environment), page)
    else:
        failures, points = try_scenario(arguments, world.Rig(**environment), page)
    sys.exit(1 if failures or not points else 0)


if __name__ == "__main__":
    main()
