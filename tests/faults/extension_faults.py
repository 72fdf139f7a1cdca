#!/usr/bin/python3
"""The extension, or the session bus, ends under those who use it.

    extension_faults.py BUILD_FOLDER [--long] [NAME...]
"""
import os
import signal
import sys
import time

from driver import NAME, PATIENCE, PluginProcess, main, poll, wait_until

FILES = 200
STATES = [{"path": "shown/f00001", "lock": 1, "owner": "Eve"},
          {"path": "shown/f00002", "status": 1}]
BADGES = "132" + "1" * (FILES - 3)
LOCKED = "1323" + "1" * (FILES - 4)
GRACE = 10  # seconds that badges stay for without an extension
SOON = 3    # kills in a row after which it is started again within the grace
LONGEST_PAUSE = 60  # seconds before a plug-in starts one that keeps dying


def killed_extension(world):
    """Under a plug-in that shows a folder, idle and in the middle of a question."""
    shown = world.make("shown", FILES)
    asked = world.make("asked", FILES)
    world.start_bus()
    world.start_agent(STATES)
    guard = world.guard(BADGES, shown, bus=False)
    plugin = guard.plugin
    took = []
    false_badges = 0
    for turn in range(7 if world.long else SOON):
        pid = world.session.owner_process(NAME)
        plugin.steady(10 if turn % 2 else 0)  # an even turn: nobody asks, and all comes back
        if turn % 2:
            world.agent.process.send_signal(signal.SIGSTOP)
            plugin.show(asked)
        os.kill(pid, signal.SIGKILL)
        world.agent.process.send_signal(signal.SIGCONT)
        word, wanted = ("lock", LOCKED) if turn % 2 == 0 else ("unlock", BADGES)
        world.agent.command("%s shown/f00003%s" % (word, " by Eve" if word == "lock" else ""))
        changed = time.monotonic()
        # Until the new state is there, the old one, or no badge at all: nothing else is true.
        while (badges := plugin.badges()[shown]) != wanted:
            false_badges += not may_be_shown(badges)
            if time.monotonic() > changed + LONGEST_PAUSE + PATIENCE:
                raise AssertionError("badges are %r instead of %r" % (badges, wanted))
            time.sleep(0.05)
        took.append(time.monotonic() - changed)
        new = wait_until(lambda: world.session.owner_process(NAME), PATIENCE, "a new extension")
        if new == pid:
            raise AssertionError("the extension was not killed")
    world.at_most("badges return by themselves, with what has changed, in <= %d s" % GRACE, GRACE,
                  max(took[:SOON]), "s")
    if world.long:
        limit = LONGEST_PAUSE + GRACE
        world.at_most("after %d kills in a row, too, in <= %d s" % (len(took), limit), limit,
                      max(took), "s")
    plugin.wait_badges({asked: "1" * FILES}, PATIENCE, "what was asked when it was killed")
    world.exactly("badges vanish or stay true", 0, false_badges, "no false one seen")
    guard.tell(memory=4, badges=LOCKED)


def may_be_shown(badges):
    """Each is that of the old state, of the new one, or none."""
    return all(badge in ("0", *true) for badge, *true in zip(badges, BADGES, LOCKED))


def gone_bus(world):
    """The session's bus ends: nothing of the session stays behind, and a new one finds all well."""
    shown = world.make("shown", FILES)
    world.start_bus(activated=False)
    world.start_agent(STATES)
    extension = world.session.spawn([world.program("kelvo-finder-sync")])
    wait_until(lambda: world.session.owner_process(NAME), PATIENCE, "the extension")
    guard = world.guard(BADGES, shown, bus=False)
    plugin = guard.plugin
    bus = world.session.bus
    bus.kill()
    bus.wait()
    _, took = poll(lambda: extension.poll() is not None, PATIENCE, "the extension's end")
    world.at_most("the extension ends in <= 2 s", 2, took, "s")
    world.exactly("with status 0", 0, extension.returncode)
    begin = time.monotonic()
    plugin.wait_badges({shown: "0" * FILES}, 6 * GRACE, "no badge without an extension")
    world.at_most("a plug-in's badges vanish in <= %d s" % (2 * GRACE), 2 * GRACE,
                  time.monotonic() - begin, "s")
    # The Agent has outlived the session; the next one begins.
    world.start_bus()
    again = PluginProcess(world)
    again.show(shown)
    took = again.wait_badges({shown: BADGES}, PATIENCE, "in the next session")
    world.at_most("right badges in the next session in <= 8 s", 8, took, "s")
    guard.tell(memory=4, badges="0" * FILES)


if __name__ == "__main__":
    sys.exit(main(__doc__, [("extension killed under an open client", killed_extension),
                            ("session bus gone", gone_bus)]))
