#!/usr/bin/python3
"""An Agent that stops, or is killed, while it is asked.

    agent_faults.py BUILD_FOLDER [--long] [NAME...]
"""
import collections
import os
import random
import signal
import sys
import time

from driver import PATIENCE, PluginProcess, main, poll, wait_until

BUS_CALL = 100  # ms for the badges of a folder's items
LARGE = 1000    # files with long names: their list does not fit into the socket
LONG = "a name of which few make a list large " * 6
MARKERS = ["%s%05d" % (LONG, i) for i in range(0, LARGE, 10)]


def stopped_agent(world):
    """Far more is asked for than the socket takes, while nobody answers."""
    count, files = (1000, 100) if world.long else (300, 20)
    names = ["f%05d" % i for i in range(files)]
    folders = [world.make("d%04d" % i, files) for i in range(count)]
    later, first = world.make("later", files), world.make("first", files)
    world.start_bus()
    world.start_agent([{"path": "d%04d/f00000" % i, "status": 1} for i in range(count)])
    client = world.connect()
    world.wait_watching(client)
    plugin = PluginProcess(world)
    plugin.show(first)
    plugin.wait_badges({first: {"1": files}}, PATIENCE, "before the fault")
    extension = world.extension()
    before = extension.descriptors(), extension.memory()

    world.agent.process.send_signal(signal.SIGSTOP)
    slowest = max(ask(client, folder, names) for folder in folders)
    plugin.show(*folders[:count // 2])
    plugin.tell()  # which comes behind what was shown
    world.at_most("a bus call for %d badges, %d in all, <= %d ms"
                  % (files, files * count, BUS_CALL), BUS_CALL, slowest * 1000, "ms")
    wait_until(lambda: "message port send failed" in world.log(), PATIENCE, "lost questions")
    ask_after_return(world, client, later, names)

    expected = b"2" + b"1" * (files - 1)

    def wrong():
        return [folder for folder in folders if client.request(folder, names) != expected]
    wait_until(lambda: not wrong(), PATIENCE, lambda: "%d folders are wrong" % len(wrong()))
    world.exactly("what was lost is right at the next asking", 0, len(wrong()), "all right")
    plugin.wait_badges({folder: {"1": files - 1, "2": 1} for folder in folders[:count // 2]},
                       PATIENCE, "in the plug-in")
    world.at_most("a plug-in's call <= 5 ms, all the time", 5, plugin.tell()[0], "ms")
    world.within("memory grows by <= 64 MB", 64, extension.peak() - before[1], "MB")
    wait_until(lambda: extension.descriptors() <= before[0], PATIENCE, "as many descriptors")
    world.within("descriptors stay", before[0], extension.descriptors(), "of %d" % before[0])


def ask(client, folder, names):
    """Seconds until the answer."""
    begin = time.monotonic()
    client.request(folder, names, seconds=PATIENCE)
    return time.monotonic() - begin


def ask_after_return(world, client, folder, names):
    """The Agent first answers what it was asked before; how long that takes is its own affair."""
    log = os.path.join(world.session.logs, "kelvo-sample-agent")
    heard = os.path.getsize(log)

    def answered():
        with open(log, encoding="utf-8") as file:
            file.seek(heard)
            return "sync_status_list path=%s " % folder in file.read()
    world.agent.process.send_signal(signal.SIGCONT)
    begin = time.monotonic()
    client.request(folder, names)
    poll(answered, PATIENCE, "the Agent's answer")
    agent = time.monotonic() - begin
    client.wait_badges(folder, dict.fromkeys(names, "1"), PATIENCE)
    world.at_most("asked after its return: right <= 1 s after the Agent came to it (after %.1f s)"
                  % agent, 1, time.monotonic() - begin - agent, "s")


class Lane:
    """A session whose Agent is killed again and again, beside others: mostly it waits."""

    def __init__(self, world, number):
        self.world = world
        self.folder = world.make("large", LARGE, LONG)
        self.chance = random.Random(number)
        self.outcomes = collections.Counter()
        self.before = None
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
            if turn % 2:  # the list waits half sent for an extension that does not read
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
    for turn in range(turns):
        if turn == warm:
            for lane in lanes:
                lane.before = lane.readings()
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
    alive = all(lane.extension.is_alive() for lane in lanes)
    outcomes = sum((lane.outcomes for lane in lanes), collections.Counter())
    grown = [max(new[i] - lane.before[i] for new, lane in zip(after, lanes)) for i in range(3)]
    world.exactly("no crash of the extension in %d kills" % (turns * len(lanes)), True, alive,
                  "the same processes")
    half = sum(lane.world.log().count("connection within a message") for lane in lanes)
    world.exactly("no partial list is kept", 0, outcomes["partial"], "0; %d came whole, %d half, "
                  "%d not at all" % (outcomes["whole"], half, outcomes["cut"] - half))
    world.at_most("of the Agent that stays all is right in <= 14 s", 14, last, "s")
    world.within("no descriptor is left", 0, grown[0], "more")
    limit = 2 if world.long else 4  # few rounds do not warm up
    world.within("memory grows by <= %d MB in %d kills each after warm-up" % (limit, turns - warm),
                 limit, grown[2], "MB")


if __name__ == "__main__":
    sys.exit(main(__doc__, [("Agent stopped, queries under way", stopped_agent),
                            ("Agent killed during lists", killed_agent)]))
