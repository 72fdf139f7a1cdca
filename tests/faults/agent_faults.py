#!/usr/bin/python3
"""An Agent that stops, or is killed, while it is asked.

    agent_faults.py BUILD_FOLDER [--long] [NAME...]
"""
import collections
import os
import random
import signal
import sys
import threading
import time
import types

from gi.repository import Gio, GLib

from driver import HERE, NAME, PATIENCE, BusClient, main, poll, wait_until
from bus_client import INTERFACE, PATH, as_bytes, byte_array
from soak_agent import write_settings

# Seconds after the last question: longer than one is kept that the Agent does not read (3), and
# than an answer is waited for before the same is asked again (5).
AWAY = 6
UNDER_WAY = 32  # calls of one client
ITEM = "f00000"
LARGE = 1000    # files with long names: their list does not fit into the socket
LONG = "a name of which few make a list large " * 6
MARKERS = ["%s%05d" % (LONG, i) for i in range(0, LARGE, 10)]


class Searcher(BusClient):
    """Asks for one item in each of many folders, as a search does, many calls under way."""

    def ask(self, folders):
        room = threading.Semaphore(UNDER_WAY)

        def answered(connection, result, folder):
            with self._news:
                answer = as_bytes(connection.call_finish(result).get_child_value(0))
                self.badges[(folder, ITEM.encode())] = answer
            room.release()
        for folder in folders:
            if not room.acquire(timeout=PATIENCE):
                raise AssertionError("no answer to RequestBadges")
            self._connection.call(
                NAME, PATH, INTERFACE, "RequestBadges", GLib.Variant.new_tuple(
                    byte_array(folder.encode()), byte_array(ITEM.encode() + b"\0")),
                None, Gio.DBusCallFlags.NONE, PATIENCE * 1000, None, answered, folder.encode())
        for _ in range(UNDER_WAY):
            room.acquire(timeout=PATIENCE)

    def wait_all(self, folders, badge, what):
        left = [(folder.encode(), ITEM.encode()) for folder in reversed(folders)]

        def done():
            while left and self.badges.get(left[-1]) == badge:
                left.pop()
            return not left
        self.wait(done, PATIENCE, what)


def stopped_agent(world):
    """While nobody answers, far more is asked for than is kept for the Agent's return."""
    # Of each folder the cache, the bus and the late requests know: less than 2 KB in all.
    count, shown, memory = (100_000, 300, 192) if world.long else (6000, 100, 16)
    folders = ["%s/d%06d" % (world.work, i) for i in range(count)]
    later = os.path.join(world.work, "later")
    write_settings(world.session, world.work)
    world.start_bus()
    world.agent = types.SimpleNamespace(process=world.session.spawn(
        [sys.executable, os.path.join(HERE, "quick_agent.py")]))
    world.wait_socket()
    client = Searcher(world.session.environment["DBUS_SESSION_BUS_ADDRESS"])
    world.wait_watching(client)
    guard = world.guard()

    world.agent.process.send_signal(signal.SIGSTOP)
    for folder in folders[:shown]:
        guard.plugin.hold(folder + "/" + ITEM)
    client.ask(folders)
    poll(lambda: "message port send failed" in world.log(), PATIENCE, "lost questions")
    time.sleep(AWAY)
    world.agent.process.send_signal(signal.SIGCONT)
    begin = time.monotonic()
    client.ask([later])
    client.wait_all([later], b"2", "asked after the return")
    world.at_most("asked after its return: right in <= 1 s of it", 1, time.monotonic() - begin, "s")

    lost = [folder for folder in folders if client.badges[(folder.encode(), ITEM.encode())] != b"2"]
    for i in range(0, len(lost), 500):  # not more than the Agent's socket and its patience take
        client.ask(lost[i:i + 500])
        client.wait_all(lost[i:i + 500], b"2", "asked once more")
    world.tell("asked about {:,} folders meanwhile: what was lost is right at the next asking, by "
               "signals alone".format(count), "all {:,}".format(len(lost)),
               "kept" if lost else "BROKEN")
    guard.plugin.wait_badges(dict.fromkeys(folders[:shown], "2"), 2 * PATIENCE, "in the plug-in")
    world.tell("what a plug-in shows of it is right by itself", "all %d" % shown, "kept")
    guard.tell(memory, peak=True, plugin_memory=8)
    client.close()


class Lane:
    """A session whose Agent is killed again and again, beside others: mostly it waits."""

    def __init__(self, world, number):
        self.world = world
        self.folder = world.make("large", LARGE, LONG)
        self.chance = random.Random(number)
        self.outcomes = collections.Counter()
        self.before = None
        self.guard = None
        world.start_bus()
        world.start_agent()
        self.client = world.connect()
        world.wait_watching(self.client)
        self.extension = world.extension()
        begin = time.monotonic()
        self.ask_all()
        self.wait_all()
        self.usual = time.monotonic() - begin  # from the question to the badges

    def ask_all(self):
        self.client.request(self.folder, MARKERS)

    def wait_all(self):
        self.client.wait_badges(self.folder, dict.fromkeys(MARKERS, "1"), PATIENCE)

    def wait_connected(self):
        wait_until(lambda: self.client.get("AgentConnected").get_boolean(), PATIENCE,
                   "the extension at the Agent")

    def kill(self, turn):
        """While it answers about a folder that nothing is known of."""
        folder = os.path.join(self.world.work, "large%d" % turn)
        os.rename(self.folder, folder)
        self.folder = folder
        self.ask_all()
        poll(lambda: "command=status-list path=%s\n" % folder in self.world.agent_output(),
             PATIENCE, "the question")
        try:
            # The list waits half sent for an extension that does not read; nor does that answer.
            if turn % 2 and self.guard is None:
                os.kill(self.extension.pid, signal.SIGSTOP)
            # Every place of the answer comes to its turn, whatever the machine's speed.
            time.sleep(self.chance.random() * 1.5 * self.usual)
            self.world.agent.process.kill()
            self.world.session.end(self.world.agent.process)
        finally:
            os.kill(self.extension.pid, signal.SIGCONT)
        wait_until(lambda: not self.client.get("AgentConnected").get_boolean(), PATIENCE,
                   "the loss")
        answer = set(self.client.request(folder, MARKERS))
        self.outcomes["cut" if answer == {ord("0")} else
                      "whole" if answer == {ord("1")} else "partial"] += 1

    def restart(self):
        # What the last one has printed nobody needs any more.
        os.truncate(os.path.join(self.world.session.logs, "kelvo-sample-agent"), 0)
        self.world.restart_agent()

    def forget(self):
        """Has the extension drop what it was told; of a client that leaves it keeps nothing.

        It asks anew for every folder that it knew, of which none but the last one is there now.
        """
        self.wait_connected()
        wait_until(lambda: "sent event configuration_updated" in self.world.agent_output(),
                   PATIENCE, "the channel")
        self.client.close()
        self.client = self.world.connect()
        self.world.agent.command("reset")
        self.world.agent.command("send fp_ping")
        wait_until(lambda: "received event fp_pong" in self.world.agent_output(), PATIENCE,
                   "the answer, by which the lists are gone")

    def readings(self):
        self.forget()
        return self.extension.descriptors(), self.extension.threads(), self.extension.memory()


def killed_agent(world):
    """While the list of a large folder is asked for and sent."""
    turns, warm, sessions = (125, 25, 8) if world.long else (2, 1, 2)
    lanes = [Lane(world, 0)] + [Lane(world.beside(), i) for i in range(1, sessions)]
    lanes[0].guard = world.guard()
    for turn in range(turns):
        if turn == warm:
            for lane in lanes:
                lane.before = lane.readings()
            lanes[0].guard.mark()
        for lane in lanes:
            lane.forget()
            lane.kill(turn)
        for lane in lanes:
            lane.restart()
    after = [lane.readings() for lane in lanes]
    begin = time.monotonic()
    for lane in lanes:
        lane.ask_all()
    for lane in lanes:
        lane.wait_all()
    last = time.monotonic() - begin
    lanes[0].guard.tell()
    alive = all(lane.extension.is_alive() for lane in lanes)
    outcomes = sum((lane.outcomes for lane in lanes), collections.Counter())
    for lane in lanes:  # some have nothing to do any more, and will end
        wait_until(lambda lane=lane: lane.extension.threads() <= lane.before[1], PATIENCE,
                   lambda lane=lane: "threads: %d, not %d" % (lane.extension.threads(),
                                                              lane.before[1]))
    grown = [max(new[i] - lane.before[i] for new, lane in zip(after, lanes)) for i in range(3)]
    world.exactly("no crash of the extension in %d kills" % (turns * len(lanes)), True, alive,
                  "the same processes")
    half = sum(lane.world.log().count("connection within a message") for lane in lanes)
    world.exactly("no partial list is kept", 0, outcomes["partial"], "0; %d came whole, %d half, "
                  "%d not at all" % (outcomes["whole"], half, outcomes["cut"] - half))
    world.at_most("of the Agent that stays all is right in <= 14 s", 14, last, "s")
    world.within("no descriptor is left, no thread either", 0, grown[0], "more")
    limit = 2 if world.long else 4  # few rounds do not warm up
    world.within("memory grows by <= %d MB in %d kills each after warm-up" % (limit, turns - warm),
                 limit, grown[2], "MB")


if __name__ == "__main__":
    sys.exit(main(__doc__, [("Agent stopped, queries under way", stopped_agent),
                            ("Agent killed during lists", killed_agent)]))
