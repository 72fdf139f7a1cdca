#!/usr/bin/python3
"""The extension under load for a long time: is it the same afterwards, and does it tell the truth?

    soak.py BUILD [--seconds N] [--rate N] [--without KIND]... [--keep FOLDER]

After a warm-up of a quarter of the time the load pauses, and once more at the end. Between the two
pauses memory must not have grown by 1 MB, descriptors and threads must be the same; in both, every
badge must be what the Agent in this process has said. By default a million events are sent in the
ten minutes, not counting those that nobody is there for.
"""
import argparse
import concurrent.futures
import os
import sys
import time

from bus_client import NAME
from desktop_session import DesktopSession, PrivateSession, SessionError, wait_until
from load import PATIENCE, Load
from process_figures import children, figures, settled_figures
from soak_agent import SoakAgent, write_settings

GROWTH_LIMIT = 1000     # KB, of memory between the two pauses
LONGEST_WARM_UP = 1800  # seconds; folders that nobody shows are kept for up to 1500
SETTLED = 7             # seconds without a change; idle workers end after five
SETTLING_LIMIT = 60     # seconds
KINDS = ("events", "clients", "agent", "dialogs")


class Soak:
    def __init__(self, arguments, session):
        self._arguments = arguments
        self._begin = time.monotonic()
        self._next_line = 0
        work = os.path.join(session.home, "Work")
        os.mkdir(work)
        write_settings(session, work)
        self._agent = SoakAgent(session.runtime)
        self._extension = session.spawn([arguments.build + "/bin/kelvo-finder-sync"])
        self._load = Load(session, self._agent, self._extension.pid, work)
        wait_until(lambda: session.owner_process(NAME), PATIENCE, "the extension")
        wait_until(lambda: self._load.client.directories() == [work], PATIENCE,
                   "the watched folder")
        self._load.begin()

    def _kinds(self):
        kinds = {"events": lambda: self._load.events(self._arguments.rate),
                 "clients": self._load.come_and_go, "agent": self._load.agent_happenings,
                 "dialogs": self._load.dialogs}
        return [kinds[kind] for kind in KINDS if kind not in self._arguments.without]

    def _phase(self, seconds):
        """Loads for so long; whatever goes wrong ends it."""
        load, end = self._load, time.monotonic() + seconds
        load.stop.clear()
        with concurrent.futures.ThreadPoolExecutor() as pool:
            running = [pool.submit(kind) for kind in self._kinds()]
            try:
                while time.monotonic() < end and not any(future.done() for future in running):
                    self._tell_progress()
                    time.sleep(0.2)
                    if self._agent.failure:
                        raise SessionError("the Agent: %r" % self._agent.failure)
            finally:
                load.stop.set()
        for future in running:
            future.result()

    def _tell_progress(self, always=False):
        minute = (time.monotonic() - self._begin) / 60
        if always or minute >= self._next_line:
            self._next_line = int(minute) + 1
            self._tell("%5.1f min" % minute, figures(self._extension.pid))

    def _tell(self, what, held):
        counts = ", ".join("%d %s" % (count, name) for name, count in self._load.counts.items())
        print("%-11s %9d events, %s; %6d KB, %d descriptors, %d threads"
              % (what, self._agent.events, counts, *held), flush=True)

    def _pause(self, what):
        """What the extension holds without load, when it has been found to tell the truth: by its
        signals, when all is asked for anew, and to a client that comes only now.
        """
        self._load.check_badges(self._load.client)
        self._load.reset()
        self._load.check_badges(self._load.client)
        fresh = self._load.new_client()
        self._load.ask(fresh)
        self._load.check_badges(fresh)
        fresh.close()
        held = settled_figures(self._extension.pid, SETTLED, SETTLING_LIMIT)
        if children(self._extension.pid):
            raise SessionError("left processes: %s" % children(self._extension.pid))
        self._tell(what, held)
        return held

    def run(self):
        """What is wrong, in words."""
        seconds = self._arguments.seconds
        warm_up = min(seconds / 4, LONGEST_WARM_UP)
        self._phase(warm_up)
        before = self._pause("warmed up")
        self._phase(seconds - warm_up)
        self._tell_progress(always=True)
        after = self._pause("at the end")
        wrong = []
        if after.memory - before.memory >= GROWTH_LIMIT:
            wrong.append("memory has grown")
        print("memory %+d KB" % (after.memory - before.memory))
        for kind in ("descriptors", "threads"):
            one, other = getattr(before, kind), getattr(after, kind)
            if one != other:
                wrong.append("%d %s have become %d" % (one, kind, other))
        wanted = 0 if "events" in self._arguments.without else self._arguments.rate * seconds
        if self._agent.events < wanted - self._arguments.rate:  # of a second, which starting takes
            wrong.append("only %d of %d events" % (self._agent.events, wanted))
        self._extension.terminate()
        if self._extension.wait(PATIENCE) != 0:
            wrong.append("the extension ended with %d" % self._extension.returncode)
        return wrong


def parse_arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=os.path.abspath)
    parser.add_argument("--seconds", type=float, default=600)
    parser.add_argument("--rate", type=int, default=1700, help="events a second")
    parser.add_argument("--without", action="append", default=[], choices=KINDS,
                        help="leave this kind of load away")
    parser.add_argument("--keep", metavar="FOLDER", type=os.path.abspath,
                        help="where all files of the session stay")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    kind = PrivateSession if "dialogs" in arguments.without else DesktopSession
    with kind(share=arguments.build + "/share", folder=arguments.keep) as session:
        wrong = []
        try:
            session.start({})
            wrong = Soak(arguments, session).run()
        except (SessionError, AssertionError, OSError) as error:
            wrong = [str(error)]
        if wrong:
            print("--- the extension:\n" + session.output("kelvo-finder-sync")[-3000:])
    print("FAILED: " + "; ".join(wrong) if wrong else "PASSED")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
