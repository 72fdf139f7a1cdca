#!/usr/bin/python3
"""Agent, extension and client started in every order, at odd times.

    start_order_faults.py BUILD_FOLDER [--long] [NAME...]
"""
import itertools
import random
import sys
import time

from driver import NAME, PATIENCE, SessionError, main, wait_until

FILES = 20
NAMES = ["f%05d" % i for i in range(FILES)]
BADGES = {**dict.fromkeys(NAMES, b"1"), NAMES[3]: b"3"}
STATES = [{"path": "%s/f00003" % folder, "lock": 1, "owner": "Eve"} for folder in ("one", "two")]
SPREAD = 6  # seconds in which the three start: longer than the pause between two look-ups
LAST_UP = 8
ASKED_WHILE_AWAY = 14


class Round:
    """One session. The client shows one folder from its own start, another when all are there."""

    def __init__(self, world, order, chance):
        self.world = world
        self.order = order
        self.folders = [world.make("one", FILES), world.make("two", FILES)]
        world.start_bus(activated=False)
        times = sorted(chance.random() * SPREAD for _ in order)
        self.due = list(zip((moment - times[0] for moment in times), order))
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
            self.world.session.spawn([self.world.program("kelvo-finder-sync")])
            wait_until(lambda: self.world.session.owner_process(NAME), PATIENCE, "the extension")
        else:
            self.client = self.world.connect()
        left = [part for _, part in self.due]
        if not self.asked and "client" not in left and "extension" not in left:
            self.asked = True  # as plug-ins do: as soon as there is somebody to ask
            self.client.request(self.folders[0], NAMES)
        if not self.due:
            self.all_up = time.monotonic()
            self.client.request(self.folders[1], NAMES)

    def look(self):
        """Notes when a folder is right for the first time; whether all are."""
        for folder in self.folders if self.all_up else []:
            shown = {name: self.client.badges.get((folder.encode(), name.encode()))
                     for name in NAMES}
            if folder not in self.took and shown == BADGES:
                self.took[folder] = time.monotonic() - self.all_up
        return len(self.took) == len(self.folders)


def start_orders(world):
    orders = list(itertools.permutations(["agent", "extension", "client"]))
    count = 204 if world.long else 6
    chance = random.Random(8)
    worst = {LAST_UP: 0.0, ASKED_WHILE_AWAY: 0.0}
    for first in range(0, count, 12):
        rounds = [Round(world.beside(), orders[i % 6], chance)
                  for i in range(first, min(first + 12, count))]
        play_rounds(rounds)
        for one in rounds:
            early, late = (one.took[folder] for folder in one.folders)
            limit = ASKED_WHILE_AWAY if one.order[-1] == "agent" else LAST_UP
            worst[limit] = max(worst[limit], early)
            worst[LAST_UP] = max(worst[LAST_UP], late)
        world.close_beside()
    for limit, what in [(LAST_UP, "of the last of three being up"),
                        (ASKED_WHILE_AWAY, "when asked while the Agent was away")]:
        world.at_most("right badges within %d s %s, %d rounds" % (limit, what, count), limit,
                      worst[limit], "s")


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
