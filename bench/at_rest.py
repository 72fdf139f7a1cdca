#!/usr/bin/python3
"""The extension as it is while nobody asks for anything: memory, libraries, start, wake-ups.

usage: at_rest.py FOLDER_OF_PROGRAMS [--seconds N] [--starts N]

The real programs on session buses of their own, beside a bare GLib program in the same run. Prints
a line for each goal as bench/goal.h does, and what the figures are made of before it.
"""
import argparse
import collections
import os
import re
import statistics
import sys
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests", "integration"))
from desktop_session import PrivateSession, SessionError, wait_until  # noqa: E402
from sample_agent import SampleAgent  # noqa: E402

EXTENSION = "com.kelvo.FinderSync"
BARE = "com.kelvo.Bare"
START_LIMIT = 60     # seconds
SETTLING = 15.0      # workers end after 5 seconds without work, the second asking comes after 7
FIRST_SWEEP = 600.0  # of the cache; what is measured must be over by then
LOOK_UP_PERIOD = 5.0  # between two look-ups of an Agent that is not there


def report(name, wanted, figure, unit=""):
    met = "met" if figure <= wanted else "MISSED"
    space = "" if unit in ("", "x") else " "
    print("\nGOAL|%s|<= %g%s%s|%.4g%s%s|%s" % (name, wanted, space, unit, figure, space, unit, met),
          flush=True)


class Bus:
    """Tells when names get an owner, and what the extension says of itself."""

    def __init__(self, session):
        flags = Gio.DBusConnectionFlags
        self._bus = Gio.DBusConnection.new_for_address_sync(
            session.environment["DBUS_SESSION_BUS_ADDRESS"],
            flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self._context = GLib.MainContext.default()
        self._owned = {}
        self._bus.signal_subscribe("org.freedesktop.DBus", "org.freedesktop.DBus",
                                   "NameOwnerChanged", "/org/freedesktop/DBus", None, 0,
                                   self._on_change)
        self._bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus",
                            "org.freedesktop.DBus", "GetId", None, None, 0, 5000, None)

    def _on_change(self, _bus, _sender, _path, _interface, _member, parameters):
        name, _, owner = parameters.unpack()
        self._owned[name] = time.monotonic() if owner else None

    def wait(self, name, owned):
        """Until it is owned, or not any more; answers when that was heard."""
        late = []
        limit = GLib.timeout_add_seconds(START_LIMIT, lambda: late.append(True) or True)
        while not late and bool(self._owned.get(name)) != owned:
            self._context.iteration(True)
        GLib.source_remove(limit)
        if late:
            raise SessionError("%s did not come or go" % name)
        return self._owned.get(name)

    def watched_folders(self):
        """None before the extension has its configuration."""
        answer = self._bus.call_sync(
            EXTENSION, "/com/kelvo/FinderSync", "org.freedesktop.DBus.Properties", "Get",
            GLib.Variant("(ss)", ("com.kelvo.FinderSync1", "DirectoryURLs")), None, 0, 5000, None)
        return answer.unpack()[0]


def start_times(session, bus, programs, count):
    """The milliseconds from starting to owning, of each program in turn."""
    times = collections.defaultdict(list)
    for turn in range(count + 1):
        for command, name in programs:
            begun = time.monotonic()
            process = session.spawn(command)
            owned = bus.wait(name, True)
            session.end(process)
            bus.wait(name, False)
            if turn > 0:  # the first reads the programs from disk
                times[name].append((owned - begun) * 1000)
    return times


def private_dirty(pid):
    """In MB of 1024 kB."""
    with open("/proc/%d/smaps_rollup" % pid, encoding="ascii") as file:
        return int(re.search(r"Private_Dirty:\s+(\d+) kB", file.read()).group(1)) / 1024


def wake_ups(pid):
    """How often each thread has gone to sleep of its own accord, by thread id."""
    counts = {}
    for thread in os.listdir("/proc/%d/task" % pid):
        try:
            with open("/proc/%d/task/%s/status" % (pid, thread), encoding="utf-8") as file:
                text = file.read()
        except FileNotFoundError:
            continue
        name = re.search(r"Name:\s+(.*)", text).group(1)
        count = int(re.search(r"\nvoluntary_ctxt_switches:\s+(\d+)", text).group(1))
        counts[thread + " " + name] = count
    return counts


def woken(pid, seconds):
    before = wake_ups(pid)
    time.sleep(seconds)
    after = wake_ups(pid)
    return {thread: count - before.get(thread, 0) for thread, count in after.items()
            if count != before.get(thread, 0)}


def gtk_libraries(pid):
    with open("/proc/%d/maps" % pid, encoding="utf-8") as file:
        return set(re.findall(r"\S*/libgtk\S*", file.read()))


def at_rest(programs, seconds, has_agent):
    """(MB of private dirty memory, libraries of GTK, wake-ups that nothing accounts for)"""
    with PrivateSession() as session:
        session.start({})
        work = os.path.join(session.home, "Workplace")
        os.makedirs(work)
        if has_agent:
            SampleAgent(session, os.path.join(programs, "kelvo-sample-agent"), work)
            wait_until(lambda: "com.kelvo.vip.kelvoFinderSync" in os.listdir(session.runtime), 30,
                       "the sample Agent")
        bus = Bus(session)
        process = session.spawn([os.path.join(programs, "kelvo-finder-sync")])
        bus.wait(EXTENSION, True)
        if has_agent:
            wait_until(bus.watched_folders, START_LIMIT, "the configuration")
        time.sleep(SETTLING)
        threads = woken(process.pid, seconds)
        memory = private_dirty(process.pid)
        # No sweep is due yet; of the look-ups one may fall just inside each end.
        allowed = 0 if has_agent else int(seconds / LOOK_UP_PERIOD) + 1
        agent = "with" if has_agent else "without"
        print("%s an Agent: %.2f MB; wake-ups in %g s: %s, of which %d are allowed"
              % (agent, memory, seconds, threads, allowed), flush=True)
        return memory, gtk_libraries(process.pid), max(sum(threads.values()) - allowed, 0)


def bare_memory(command):
    with PrivateSession() as session:
        session.start({})
        bus = Bus(session)
        process = session.spawn(command)
        bus.wait(BARE, True)
        time.sleep(1)
        return private_dirty(process.pid)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("programs")
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--starts", type=int, default=15)
    options = parser.parse_args()
    if SETTLING + options.seconds > FIRST_SWEEP:
        parser.error("with more seconds the cache's sweep is in between")
    programs = os.path.abspath(options.programs)
    bare = [os.path.join(programs, "bare_bus_program"), BARE]
    bare_same = [os.path.join(programs, "bare_bus_program_same_libraries"), BARE]
    with PrivateSession() as session:
        session.start({})
        bus = Bus(session)
        extension = [os.path.join(programs, "kelvo-finder-sync")]
        times = start_times(session, bus, [(extension, EXTENSION), (bare, BARE)], options.starts)
    medians = {name: statistics.median(values) for name, values in times.items()}
    print("from start to name: extension %.1f ms, bare program %.1f ms (medians of %d)"
          % (medians[EXTENSION], medians[BARE], options.starts))
    print("bare program %.2f MB, with the extension's libraries %.2f MB"
          % (bare_memory(bare), bare_memory(bare_same)))
    with_agent = at_rest(programs, options.seconds, True)
    alone = at_rest(programs, options.seconds, False)
    report("at rest: private dirty memory", 6, max(with_agent[0], alone[0]), "MB")
    report("at rest: libraries of GTK loaded", 0, len(with_agent[1] | alone[1]))
    report("start to bus name, against a bare program", 3, medians[EXTENSION] / medians[BARE], "x")
    report("at rest: wake-ups a minute besides the sweep", 0, with_agent[2] * 60 / options.seconds)
    report("at rest, no Agent: wake-ups a minute besides the look-up", 0,
           alone[2] * 60 / options.seconds)


if __name__ == "__main__":
    main()
