"""What every scenario of faults needs: the real processes of a session, what /proc says of them,
and a row of the table for each promise.

A family is a program with functions of one World each:

    sys.exit(main(__doc__, [("what goes wrong", function), ...]))

Each function tells rows `FAULT|fault|promise|figure|verdict`, which scripts/faults gathers:
  kept     as promised
  late     within LOADED times of what was promised, as on a machine that does other work
  BROKEN   not, or not within the patience: the program ends with 1
  skipped  this machine cannot do it; all rows skipped: the program ends with 77
"""
import argparse
import contextlib
import glob
import os
import re
import socket
import subprocess
import sys
import time
import traceback

from gi.repository import GLib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "integration"))
from bus_client import NAME, BusClient  # noqa: E402
from desktop_session import PrivateSession, SessionError, wait_until  # noqa: E402
from sample_agent import SampleAgent  # noqa: E402

SOCKET = "com.kelvo.vip.kelvoFinderSync"
LOADED = 10
PATIENCE = 60  # seconds; for what is promised within few
SKIPPED = 77
SOON = 0.002  # seconds between two looks at what a figure is made of


class Skip(Exception):
    """The scenario cannot be played here; the reason."""


def poll(condition, seconds, what):
    """As wait_until, but its answer comes within SOON: (the answer, seconds that it took)."""
    begin = time.monotonic()
    while True:
        answer = condition()
        took = time.monotonic() - begin
        if answer:
            return answer, took
        if took > seconds:
            text = what() if callable(what) else what
            raise SessionError("not within %g s: %s" % (seconds, text))
        time.sleep(SOON)


class Readings:
    """A process as /proc shows it."""

    def __init__(self, pid):
        self.pid = pid

    def _status(self, key):
        with open("/proc/%d/status" % self.pid, encoding="utf-8", errors="replace") as file:
            return int(re.search(key + r":\s+(\d+)", file.read()).group(1))

    def memory(self):
        """MB of 1024 kB that are in memory now."""
        return self._status("VmRSS") / 1024

    def peak(self):
        return self._status("VmHWM") / 1024

    def threads(self):
        return self._status("Threads")

    def descriptors(self):
        return len(os.listdir("/proc/%d/fd" % self.pid))

    def waits(self):
        """{thread: seconds that it waited for a processor}, which is what other load costs."""
        waits = {}
        for path in glob.glob("/proc/%d/task/*/schedstat" % self.pid):
            with contextlib.suppress(OSError), open(path, encoding="ascii") as file:
                waits[path] = int(file.read().split()[1]) / 1e9
        return waits

    def is_alive(self):
        try:
            return self._status("Threads") > 0
        except (AttributeError, FileNotFoundError, ProcessLookupError):
            return False  # a zombie has no threads


class PluginProcess:
    """What a plug-in is in a file manager's process; see plugin_process.cc."""

    def __init__(self, world):
        self._session = world.session
        self._program = os.path.join(world.build, "bin", "kelvo_plugin_process")
        self.process = world.session.spawn([self._program], stdin=subprocess.PIPE)
        self._asked = 0

    def _write(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def show(self, *folders):
        for folder in folders:
            self._write("show " + folder)

    def tell(self):
        """(slowest call in ms, {folder: {badge: items}})"""
        self._asked += 1
        self._write("tell %d" % self._asked)
        head = "%d calls=" % self._asked

        def line():
            for line in self._session.output(os.path.basename(self._program)).split("\n")[:-1]:
                if line.startswith(head):
                    return line.split(" ")
            return None
        words = poll(line, PATIENCE, "an answer of the plug-in's process")[0]
        badges = {}
        for word in words[3:]:
            folder, counts = word.rsplit("=", 1)
            badges[folder] = {pair[0]: int(pair[2:]) for pair in counts.split(",")}
        return float(words[2].split("=")[1]), badges

    def wait_badges(self, wanted, seconds, what):
        """Until the folders have {folder: {badge: items}}; seconds that it took."""
        last = {}

        def right():
            last.update(self.tell()[1])
            return all(last.get(folder) == badges for folder, badges in wanted.items())

        def wrong():
            return "%s: %r" % (what, {folder: last.get(folder) for folder in wanted
                                      if last.get(folder) != wanted[folder]})
        begin = time.monotonic()
        wait_until(right, seconds, wrong)
        return time.monotonic() - begin


class World:
    """One session with a folder Work, and its rows of the table."""

    def __init__(self, build, fault, long):
        self.build = build
        self.fault = fault
        self.long = long
        self.rows = []
        self.session = PrivateSession()
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        self.agent = None
        self._clients = []
        self._beside = []

    def beside(self):
        """Another session of the same scenario."""
        self._beside.append(World(self.build, self.fault, self.long))
        return self._beside[-1]

    def program(self, name):
        return os.path.join(self.build, "bin", name)

    # Rows

    def tell(self, promise, figure, verdict):
        self.rows.append(verdict)
        print("FAULT|%s|%s|%s|%s" % (self.fault, promise, figure, verdict), flush=True)

    def at_most(self, promise, limit, figure, unit):
        """Where a machine that does other work may take longer."""
        verdict = "kept" if figure <= limit else "late" if figure <= LOADED * limit else "BROKEN"
        self.tell(promise, "%.3g %s" % (figure, unit), verdict)

    def exactly(self, promise, wanted, figure, text=None):
        kept = figure == wanted
        self.tell(promise, text if kept and text else str(figure), "kept" if kept else "BROKEN")

    def within(self, promise, limit, figure, unit):
        """Where nothing excuses more, such as memory."""
        self.tell(promise, "%.3g %s" % (figure, unit), "kept" if figure <= limit else "BROKEN")

    # Processes

    def make(self, folder, count, stem="f"):
        """A folder of Work with files f00000, ...; its path."""
        path = os.path.join(self.work, folder)
        os.makedirs(path, exist_ok=True)
        for i in range(count):
            os.close(os.open("%s/%s%05d" % (path, stem, i), os.O_CREAT | os.O_WRONLY, 0o600))
        return path

    def start_bus(self, activated=True):
        """`activated`: the bus starts the extension for whoever asks."""
        self.session.start({NAME: self.program("kelvo-finder-sync")} if activated else {})

    def start_agent(self, states=(), projects=()):
        """Returns when it listens, in the runtime folder that the environment has by now."""
        self.agent = SampleAgent(self.session, self.program("kelvo-sample-agent"), self.work,
                                 states, projects)
        self.wait_socket()

    def restart_agent(self):
        self.agent.start()
        self.wait_socket()

    def wait_socket(self):
        """Until the sample Agent that was started last can be connected to."""
        place = os.path.join(self.session.environment["XDG_RUNTIME_DIR"], SOCKET)

        def listens():
            if self.agent.process.poll() is not None:
                raise SessionError("the sample Agent has ended:\n" + self.agent_output()[-500:])
            with socket.socket(socket.AF_UNIX) as probe, contextlib.suppress(OSError):
                probe.connect(place)
                return True
        poll(listens, PATIENCE, "the Agent")

    def agent_output(self):
        return self.session.output("kelvo-sample-agent")

    def connect(self):
        client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self._clients.append(client)
        return client

    def extension(self):
        """Of the process that owns the name by now."""
        pid = wait_until(lambda: self.session.owner_process(NAME), PATIENCE, "the extension")
        return Readings(pid)

    def wait_watching(self, client, *folders):
        folders = list(folders) or [self.work]
        wait_until(lambda: client.directories() == folders, PATIENCE,
                   lambda: "watched folders %r" % (client.directories(),))

    def log(self):
        return self.session.extension_log()

    def close_beside(self):
        while self._beside:
            self._beside.pop().close()

    def close(self):
        self.close_beside()
        for client in self._clients:
            with contextlib.suppress(GLib.Error):
                client.close()
        self.session.close()


def play(build, fault, function, long):
    """The verdicts of the scenario's rows."""
    world = World(build, fault, long)
    begin = time.monotonic()
    try:
        function(world)
    except Skip as reason:
        world.tell(str(reason), "-", "skipped")
    except Exception as error:  # the next scenario has a session of its own
        print("\n".join(line[:300] for line in traceback.format_exc().splitlines()))
        reason = str(error).split("\n")[0][:100].replace("|", "/")
        world.tell("the scenario comes to its end", reason, "BROKEN")
        for name in ("kelvo-sample-agent", "dbus-daemon", "kelvo-finder-sync"):
            print("--- %s\n%s" % (name, world.session.output(name)[-2000:]))
        print("--- log\n%s" % world.log()[-3000:])
    finally:
        world.close()
    print("     %s: %.1f s" % (fault, time.monotonic() - begin), flush=True)
    return world.rows


def main(description, scenarios):
    """The exit status for a family's program."""
    parser = argparse.ArgumentParser(description=description.split("\n", 1)[0])
    parser.add_argument("build", type=os.path.abspath)
    parser.add_argument("--long", action="store_true", help="as often as the promise says")
    parser.add_argument("names", nargs="*", help="only faults in whose names one of these is")
    options = parser.parse_intermixed_args()
    verdicts = []
    for fault, function in scenarios:
        if not options.names or any(name in fault for name in options.names):
            verdicts += play(options.build, fault, function, options.long)
    if "BROKEN" in verdicts:
        return 1
    return SKIPPED if verdicts and set(verdicts) == {"skipped"} else 0
