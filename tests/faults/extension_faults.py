#!/usr/bin/python3
"""The extension, or the session bus, ends under those who use it.

    extension_faults.py BUILD_FOLDER [--long] [NAME...]
"""
import os
import signal
import sys
import time

from driver import NAME, PATIENCE, PluginProcess, Readings, main, poll, wait_until

FILES = 200
STATES = [{"path": "shown/f00001", "lock": 1, "owner": "Eve"},
          {"path": "shown/f00002", "status": 1}]
BADGES = {"1": FILES - 2, "2": 1, "3": 1}
LOCKED = {"1": FILES - 3, "2": 1, "3": 2}
GRACE = 10  # seconds that badges stay for without an extension
SOON = 3    # kills in a row after which it is started again within the grace
LONGEST_PAUSE = 60  # seconds before a plug-in starts one that keeps dying


def killed_extension(world):
    """Under a plug-in that shows a folder, idle and in the middle of a question."""
    shown = world.make("shown", FILES)
    asked = world.make("asked", FILES)
    world.start_bus()
    world.start_agent(STATES)
    plugin = PluginProcess(world)
    plugin.show(shown)
    plugin.wait_badges({shown: BADGES}, PATIENCE, "before the fault")
    here = Readings(plugin.process.pid)
    before = here.descriptors(), here.threads()
    took = []
    false_badges = 0
    for turn in range(7 if world.long else SOON):
        pid = world.session.owner_process(NAME)
        if turn % 2:
            world.agent.process.send_signal(signal.SIGSTOP)
            plugin.show(asked)
        os.kill(pid, signal.SIGKILL)
        world.agent.process.send_signal(signal.SIGCONT)
        word, wanted = ("lock", LOCKED) if turn % 2 == 0 else ("unlock", BADGES)
        world.agent.command("%s shown/f00003%s" % (word, " by Eve" if word == "lock" else ""))
        changed = time.monotonic()
        # Until the new state is there, the old one, or no badge at all: nothing else is true.
        while (badges := plugin.tell()[1][shown]) != wanted:
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
    plugin.wait_badges({asked: {"1": FILES}}, PATIENCE, "what was asked when it was killed")
    world.exactly("badges vanish or stay true", 0, false_badges, "no false one seen")
    call, _ = plugin.tell()
    world.at_most("a plug-in's call <= 5 ms", 5, call, "ms")
    wait_until(lambda: here.descriptors() <= before[0], PATIENCE, "as many descriptors")
    world.within("the plug-in's descriptors stay", before[0], here.descriptors(),
                 "of %d" % before[0])
    world.within("and its threads", before[1], here.threads(), "of %d" % before[1])


def may_be_shown(badges):
    """Each count is that of the old state, of the new one, or lower by items without a badge."""
    return all(count <= max(BADGES.get(badge, 0), LOCKED.get(badge, 0))
               for badge, count in badges.items() if badge != "0")


def gone_bus(world):
    """The session's bus ends: nothing of the session stays behind, and a new one finds all well."""
    shown = world.make("shown", FILES)
    world.start_bus(activated=False)
    world.start_agent(STATES)
    extension = world.session.spawn([world.program("kelvo-finder-sync")])
    wait_until(lambda: world.session.owner_process(NAME), PATIENCE, "the extension")
    plugin = PluginProcess(world)
    plugin.show(shown)
    plugin.wait_badges({shown: BADGES}, PATIENCE, "before the fault")
    bus = world.session.bus
    bus.kill()
    bus.wait()
    _, took = poll(lambda: extension.poll() is not None, PATIENCE, "the extension's end")
    world.at_most("the extension ends in <= 2 s", 2, took, "s")
    world.exactly("with status 0", 0, extension.returncode)
    call, _ = plugin.tell()
    world.at_most("a plug-in's call without a bus <= 5 ms", 5, call, "ms")
    world.exactly("the plug-in's process goes on", None, plugin.process.poll(), "it does")
    begin = time.monotonic()
    plugin.wait_badges({shown: {"0": FILES}}, 6 * GRACE, "no badge without an extension")
    world.at_most("its badges vanish in <= %d s" % (2 * GRACE), 2 * GRACE, time.monotonic() - begin,
                  "s")
    # The Agent has outlived the session; the next one begins.
    world.start_bus()
    again = PluginProcess(world)
    again.show(shown)
    took = again.wait_badges({shown: BADGES}, PATIENCE, "in the next session")
    world.at_most("right badges in the next session in <= 8 s", 8, took, "s")


if __name__ == "__main__":
    sys.exit(main(__doc__, [("extension killed under an open client", killed_extension),
                            ("session bus gone", gone_bus)]))
