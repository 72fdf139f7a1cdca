"""What every scenario of faults needs: the real processes of a session, what /proc says of them,
and a row of the table for each promise.

A family is a program with functions of one World each:

    sys.exit(main(__doc__, [("what goes wrong", function), ...]))

Each function tells rows `FAULT|fault|promise|figure|verdict|test`, which scripts/faults gathers:
  kept     as promised
  late     within a few times of what was promised, as on a machine that does other work; with
           --long, and not told of other load by --loaded, the program ends with 1
  BROKEN   not, or not within the patience: the program ends with 1
  skipped  this machine cannot do it: the program ends with 77, unless with 1
"""
import argparse
import contextlib
import glob
import os
import re
import socket
import subprocess
import sys
import threading
import time
import traceback

from gi.repository import GLib

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[1:1] = [os.path.join(HERE, "..", "integration"), os.path.join(HERE, "..", "soak")]
from bus_client import NAME, BusClient  # noqa: E402
from desktop_session import PrivateSession, SessionError, wait_until  # noqa: E402
from sample_agent import SampleAgent  # noqa: E402

SOCKET = "com.kelvo.vip.kelvoFinderSync"
# As many times a promised one, for machines that do other work. Alone all stay below two thirds.
LOADED = 3
# The same of a plug-in's calls, from which its waits for a processor are taken off; what the host
# of a virtual machine takes is not.
LOADED_CALL = 2
FEWEST_CALLS = 10  # that a client of the bus must have made beside a fault
BUS_CALL = 100  # ms
PLUGIN_CALL = 5  # ms
PLUGIN_TURN = 50  # ms that a file manager's window may stand still for, unseen
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

    def bus_threads(self):
        """Those on every bus call's way: GLib's for the bus, and the main one. Folders of /proc."""
        threads = []
        for path in glob.glob("/proc/%d/task/*" % self.pid):
            with contextlib.suppress(OSError), open(path + "/comm", encoding="utf-8") as file:
                if path.endswith("/%d" % self.pid) or file.read() == "gdbus\n":
                    threads.append(path)
        return threads

    def is_alive(self):
        try:
            return self._status("Threads") > 0
        except (AttributeError, FileNotFoundError, ProcessLookupError):
            return False  # a zombie has no threads


def waited(threads):
    """Seconds that these have waited for a processor, which is what other load costs."""
    nanoseconds = 0
    for path in threads:
        with contextlib.suppress(OSError), open(path + "/schedstat", encoding="ascii") as file:
            nanoseconds += int(file.read().split()[1])
    return nanoseconds / 1e9


class PluginProcess:
    """What a plug-in is in a file manager's process; see plugin_process.cc."""

    def __init__(self, world):
        self._program = world.program("kelvo_plugin_process")
        self.process = world.session.spawn([self._program], stdin=subprocess.PIPE)
        log = os.path.join(world.session.logs, os.path.basename(self._program))
        self._output = open(log, encoding="utf-8")  # pylint: disable=consider-using-with
        self._mark = "%d." % self.process.pid  # of the lines that are meant for this one
        self._asked = 0

    def _write(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def show(self, *folders):
        for folder in folders:
            self._write("show " + folder)

    def hold(self, path):
        self._write("hold " + path)

    def steady(self, milliseconds):
        """Asks for one of its items after the other, without taking note of the answers."""
        self._write("steady %d" % milliseconds)

    def tell(self):
        """(slowest call in ms, longest turn of its main loop in ms, {folder: badges})"""
        self._asked += 1
        head = "%s%d call=" % (self._mark, self._asked)
        self._write("tell " + head.split(" ")[0])
        text = ""

        def line():
            nonlocal text
            text += self._output.read()
            *lines, text = text.split("\n")
            return next((line.split(" ") for line in lines if line.startswith(head)), None)
        words = poll(line, PATIENCE, "an answer of the plug-in's process")[0]
        call, turn = (float(word.split("=")[1]) for word in words[1:3])
        return call, turn, dict(word.rsplit("=", 1) for word in words[3:])

    def badges(self):
        """{folder: badges by order of names}"""
        return self.tell()[2]

    def wait_badges(self, wanted, seconds, what):
        """Until the folders have {folder: badges}; seconds that it took."""
        last = {}

        def right():
            last.update(self.badges())
            return all(last.get(folder) == badges for folder, badges in wanted.items())

        def wrong():
            return "%s: %r" % (what, {folder: last.get(folder) for folder in wanted
                                      if last.get(folder) != wanted[folder]})
        begin = time.monotonic()
        wait_until(right, seconds, wrong)
        return time.monotonic() - begin


class World:
    """One session with a folder Work, and its rows of the table."""

    def __init__(self, options, fault, test):
        self.build = options.build
        self.long = options.long
        self.fault = fault
        self.rows = []
        self._again = options, fault, test
        self._test = test
        self.session = PrivateSession()
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        self.agent = None
        self._clients = []
        self._guards = []
        self._beside = []

    def beside(self):
        """Another session of the same scenario."""
        self._beside.append(World(*self._again))
        return self._beside[-1]

    def program(self, name):
        return os.path.join(self.build, "bin", name)

    # Rows

    def tell(self, promise, figure, verdict):
        self.rows.append(verdict)
        print("FAULT|%s|%s|%s|%s|%s" % (self.fault, promise, figure, verdict, self._test),
              flush=True)

    def at_most(self, promise, limit, figure, unit, loaded=LOADED, more=""):
        """Where a machine that does other work may take `loaded` times as long."""
        verdict = "kept" if figure <= limit else "late" if figure <= loaded * limit else "BROKEN"
        text = "%.3g" % figure if figure >= 0.001 else "< 0.001"
        self.tell(promise, "%s %s%s" % (text, unit, more), verdict)

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

    def guard(self, badges="1" * 20, folder=None, bus=True):
        self._guards.append(Guard(self, badges, folder or self.make("guarded", len(badges)), bus))
        return self._guards[-1]

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
        for guard in self._guards:
            guard.stop()
        for client in self._clients:
            with contextlib.suppress(GLib.Error):
                client.close()
        self.session.close()


class Guard:
    """Beside a fault: a plug-in that asks all the time, a client of the bus that does, and what the
    processes hold before and after.

    `badges`: before the fault, of the folder's items by order of names. `bus`: False where the
    extension is away for a time; a call would start it.
    """

    def __init__(self, world, badges, folder, bus):
        self._world = world
        self._badges = badges
        self._folder = folder
        self.plugin = PluginProcess(world)
        self.plugin.show(folder)
        self.plugin.wait_badges({folder: badges}, PATIENCE, "before the fault")
        self.plugin.steady(10)
        self.extension = world.extension()
        self._ending = threading.Event()
        self._calls = self._slowest = self._by_clock = 0
        self._failure = None
        self._asking = None
        if bus:
            self._asking = threading.Thread(target=self._ask, args=(world.connect(),), daemon=True)
            self._asking.start()
        self.mark()

    def _ask(self, client):
        names = sorted(os.listdir(self._folder))[:20]
        threads = ["/proc/self/task/%d" % threading.get_native_id()]
        for process in (self.extension, Readings(self._world.session.bus.pid)):
            threads += process.bus_threads()
        try:
            while not self._ending.wait(0.02):
                waits, begin = waited(threads), time.monotonic()
                client.request(self._folder, names, seconds=PATIENCE)
                took = time.monotonic() - begin
                self._by_clock = max(self._by_clock, took)
                self._slowest = max(self._slowest, took - (waited(threads) - waits))
                self._calls += 1
        except Exception as error:  # pylint: disable=broad-except
            self._failure = error

    def stop(self):
        self._ending.set()

    def mark(self):
        """What is held from here on is what counts."""
        self._before = [(process.descriptors(), process.threads(), process.memory())
                        for process in (self.extension, Readings(self.plugin.process.pid))]

    def tell(self, memory=None, badges=None, peak=False, plugin_memory=4):
        """The rows. `memory`: MB by which that of the extension, or of another one, may have
        grown, at its `peak` or in the end; None: somebody else looks at the extension. `badges`:
        of the plug-in in the end, unless as before.
        """
        self.plugin.wait_badges({self._folder: badges or self._badges}, 2 * PATIENCE, "in the end")
        self._world.tell("a plug-in's badges are right in the end", "all right", "kept")
        self._tell_calls()
        plugin = Readings(self.plugin.process.pid)
        self._tell_held("the plug-in's process", plugin, self._before[1], plugin.memory(),
                        plugin_memory)
        if memory is not None:
            process = self._world.extension()
            if self._asking and process.pid != self.extension.pid:
                raise SessionError("the extension has ended; there is another one")
            self._tell_held("the extension", process, self._before[0],
                            process.peak() if peak else process.memory(), memory)

    def _tell_calls(self):
        if self._asking:
            wait_until(lambda: self._calls >= FEWEST_CALLS or self._failure, PATIENCE, "bus calls")
            self.stop()
            self._asking.join(2 * PATIENCE)
            if self._failure:
                raise self._failure
            self._world.at_most("a bus call all the time <= %d ms" % BUS_CALL, BUS_CALL,
                                self._slowest * 1000, "ms",
                                more=" (%.3g by the clock)" % (self._by_clock * 1000))
        call, turn, _ = self.plugin.tell()
        self._world.at_most("a plug-in's call <= %d ms" % PLUGIN_CALL, PLUGIN_CALL, call, "ms",
                            LOADED_CALL)
        self._world.at_most("a turn of its main loop <= %d ms" % PLUGIN_TURN, PLUGIN_TURN,
                            turn, "ms", LOADED_CALL)

    def _tell_held(self, name, process, before, memory, limit):
        """Waits for what ends by itself, such as threads that have nothing to do any more."""
        def held():
            return process.descriptors(), process.threads()
        with contextlib.suppress(SessionError):
            wait_until(lambda: all(new <= old for new, old in zip(held(), before)), PATIENCE, "")
        grown, *now = memory - before[2], *held()
        kept = grown <= limit and all(new <= old for new, old in zip(now, before))
        self._world.tell("%s lives; memory grows by <= %d MB, descriptors and threads do not"
                         % (name, limit), "%.3g MB; %d, %d of %d, %d" % (grown, *now, *before[:2]),
                         "kept" if kept else "BROKEN")


def play(options, fault, function):
    """The verdicts of the scenario's rows."""
    family = os.path.basename(sys.argv[0]).removesuffix(".py")
    world = World(options, fault, "`%s`, `%s`" % (family, function.__name__))
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
    parser.add_argument("--loaded", action="store_true", help="the machine does other work, too")
    parser.add_argument("names", nargs="*", help="only faults in whose names one of these is")
    options = parser.parse_intermixed_args()
    verdicts = []
    for fault, function in scenarios:
        if not options.names or any(name in fault for name in options.names):
            verdicts += play(options, fault, function)
    if "BROKEN" in verdicts or "late" in verdicts and options.long and not options.loaded:
        return 1
    return SKIPPED if "skipped" in verdicts else 0
