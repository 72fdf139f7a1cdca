#!/usr/bin/python3
"""Agent, extension and file manager started in every order, at odd times.

    start_order_faults.py BUILD_FOLDER [--long] [NAME...]
"""
import itertools
import random
import sys
import time

from driver import (LOADED_CALL, NAME, PATIENCE, PLUGIN_CALL, PLUGIN_TURN, PluginProcess,
                    SessionError, main, wait_until)

FILES = 20
NAMES = ["f%05d" % i for i in range(FILES)]
BADGES = "1113" + "1" * (FILES - 4)
STATES = [{"path": "%s/f00003" % folder, "lock": 1, "owner": "Eve"} for folder in ("one", "two")]
SPREAD = 6  # seconds in which the three start: longer than the pause between two look-ups
LAST_UP = 8
ASKED_WHILE_AWAY = 14


class Round:
    """One session. The file manager shows a folder from its own start, another when all are there.

    It is a client that asks as soon as there is an extension or, if `activated`, a plug-in, for
    which the bus starts the extension unless that was started before.
    """

    def __init__(self, world, order, chance, activated):
        self.world = world
        self.order = order
        self.folders = [world.make("one", FILES), world.make("two", FILES)]
        world.start_bus(activated)
        times = sorted(chance.random() * SPREAD for _ in order)
        self.due = list(zip((moment - times[0] for moment in times), order))
        self.activated = activated
        self.client = None
        self.asked = False
        self.all_up = None
        self.took = {}

    def start_next(self):
        """One of the three; when the last one is there, the clock of the promise starts."""
        _, part = self.due.pop(0)
        if part == "agent":
            self.world.start_agent(STATES)
        elif part == "extension":
            if not self.world.session.owner_process(NAME):
                self.world.session.spawn([self.world.program("kelvo-finder-sync")])
        else:
            self.client = PluginProcess(self.world) if self.activated else self.world.connect()
        left = [part for _, part in self.due]
        is_due = self.activated or "extension" not in left
        if not self.asked and "client" not in left and is_due:
            self.asked = True
            self.ask(self.folders[0])
        if not self.due:
            wait_until(lambda: self.world.session.owner_process(NAME), PATIENCE, "the extension")
            self.all_up = time.monotonic()
            self.ask(self.folders[1])

    def ask(self, folder):
        if self.activated:
            self.client.show(folder)
        else:
            wait_until(lambda: self.world.session.owner_process(NAME), PATIENCE, "the extension")
            self.client.request(folder, NAMES)

    def look(self):
        """Notes when a folder is right for the first time; whether all are."""
        if self.all_up:
            plugin = self.client.badges() if self.activated else {}
            for folder in self.folders:
                shown = plugin.get(folder) if self.activated else "".join(
                    self.client.badges.get((folder.encode(), name.encode()), b"-").decode()
                    for name in NAMES)
                if folder not in self.took and shown == BADGES:
                    self.took[folder] = time.monotonic() - self.all_up
        return len(self.took) == len(self.folders)


def start_orders(world):
    orders = list(itertools.permutations(["agent", "extension", "client"]))
    count = 204 if world.long else 12
    chance = random.Random(8)
    worst = {LAST_UP: 0.0, ASKED_WHILE_AWAY: 0.0}
    calls, turns, descriptors, memory = [], [], set(), []
    for first in range(0, count, 12):
        rounds = [Round(world.beside(), orders[i % 6], chance, activated=i % 12 >= 6)
                  for i in range(first, min(first + 12, count))]
        play_rounds(rounds)
        for one in rounds:
            early, late = (one.took[folder] for folder in one.folders)
            limit = ASKED_WHILE_AWAY if one.order[-1] == "agent" else LAST_UP
            worst[limit] = max(worst[limit], early)
            worst[LAST_UP] = max(worst[LAST_UP], late)
            if one.activated:
                call, turn, _ = one.client.tell()
                calls.append(call)
                turns.append(turn)
            extension = one.world.extension()
            descriptors.add(extension.descriptors())
            memory.append(extension.memory())
        world.close_beside()
    for limit, what in [(LAST_UP, "of the last of three being up"),
                        (ASKED_WHILE_AWAY, "when asked while the Agent was away")]:
        world.at_most("right badges within %d s %s, %d rounds" % (limit, what, count), limit,
                      worst[limit], "s")
    world.at_most("a plug-in's call <= %d ms, %d of the rounds" % (PLUGIN_CALL, len(calls)),
                  PLUGIN_CALL, max(calls), "ms", LOADED_CALL)
    world.at_most("a turn of its main loop <= %d ms" % PLUGIN_TURN, PLUGIN_TURN,
                  max(turns), "ms", LOADED_CALL)
    world.exactly("as many descriptors of the extension after every order", 1, len(descriptors),
                  ", ".join(map(str, descriptors)))
    world.within("its memory differs by <= 1 MB", 1, max(memory) - min(memory), "MB")


def play_rounds(rounds):
    """Side by side, since each is mostly waiting."""
    begin = time.monotonic()
    left = list(rounds)
    while left:
        now = time.monotonic() - begin
        for one in left:
            if one.due and one.due[0][0] <= now:
                one.start_next()
        left = [one for one in left if not one.look()]
        if now > SPREAD + PATIENCE:
            raise SessionError("badges are wrong after the order " + " ".join(left[0].order))
        time.sleep(0.02)


if __name__ == "__main__":
    sys.exit(main(__doc__, [("every start order", start_orders)]))
