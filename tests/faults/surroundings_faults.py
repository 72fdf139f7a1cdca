#!/usr/bin/python3
"""The secret store is locked, absent or slow; the clock is set.

    surroundings_faults.py BUILD_FOLDER [--long] [NAME...]
"""
import os
import plistlib
import shutil
import signal
import subprocess
import sys
import time

from driver import PATIENCE, Skip, main, wait_until

FILES = 20
NAMES = ["f%05d" % i for i in range(FILES)]
SERVICE, ACCOUNT = "Faults Test", "fault 1"
STORE = "org.freedesktop.secrets"
SETTINGS = "Library/Preferences/com.kelvo.vip/user_info.plist"
LOADED_WITHIN = 4  # seconds: two for the store, and as many again for all else


class Secrets:
    """An extension whose configuration has a secret, and perhaps a real store with that secret."""

    def __init__(self, world, has_store=True):
        self.world = world
        self.folder = world.make("a", FILES)
        settings = os.path.join(world.session.home, SETTINGS)
        os.makedirs(os.path.dirname(settings), mode=0o700)
        with open(settings, "wb") as file:
            plistlib.dump({"rcid": ACCOUNT, "config_label": SERVICE}, file)
        world.start_bus()
        self.store = self.start_store() if has_store else None
        self.guard = None

    def start_store(self):
        for program in ("gnome-keyring-daemon", "secret-tool"):
            if not shutil.which(program):
                raise Skip(program + " is not installed")
        store = self.world.session.spawn(
            ["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
            stdin=subprocess.PIPE)
        store.stdin.write(b"password")
        store.stdin.close()
        wait_until(lambda: self.world.session.owner_process(STORE), PATIENCE, "a secret store")
        subprocess.run(["secret-tool", "store", "--label=" + SERVICE, "service", SERVICE, "account",
                        ACCOUNT], env=self.world.session.environment, check=True, input=b"key",
                       timeout=PATIENCE)
        return store

    def failures(self):
        return self.world.log().count("the secret of " + SERVICE)

    def come_up(self):
        """Agent and extension beside the fault: how long until badges are there."""
        world = self.world
        world.start_agent()
        client = world.connect()
        begin = time.monotonic()
        world.wait_watching(client)
        world.at_most("the configuration is loaded in <= %d s" % LOADED_WITHIN, LOADED_WITHIN,
                      time.monotonic() - begin, "s")
        wait_until(self.failures, PATIENCE, "a line in the log")
        world.tell("the log says why there is no secret", self.reason(), "kept")
        # Other loads of the configuration, and badges while they wait.
        self.guard = world.guard()
        world.agent.command("send configuration_updated")
        begin = time.monotonic()
        client.request(self.folder, NAMES)
        client.wait_badges(self.folder, dict.fromkeys(NAMES, "1"), PATIENCE)
        world.at_most("right badges meanwhile in <= 1 s", 1, time.monotonic() - begin, "s")

    def load(self):
        loads = self.world.log().count("Workplace set to")
        self.world.agent.command("send configuration_updated")
        wait_until(lambda: self.world.log().count("Workplace set to") > loads, PATIENCE, "a load")

    def reason(self):
        line = next(line for line in self.world.log().splitlines()
                    if "the secret of " + SERVICE in line)
        return line.split("] ", 1)[-1][:100].replace("|", "/")

    def check_return(self):
        """At the next asking the secret is read, hence no line says that it is not."""
        def load_without_failure():
            failures = self.failures()
            self.load()
            return self.failures() == failures  # it may be the end of an earlier one
        wait_until(load_without_failure, PATIENCE, "a load of the configuration with its secret")
        self.world.tell("the next load of the configuration has the secret", "it has", "kept")


def locked_store(world):
    secrets = Secrets(world)
    root = "/org/freedesktop/secrets"
    world.session.run(["dbus-send", "--session", "--print-reply", "--dest=" + STORE, root,
                       "org.freedesktop.Secret.Service.Lock",
                       "array:objpath:%s/aliases/default" % root])
    secrets.come_up()
    for _ in range(30 if world.long else 3):
        secrets.load()
    world.exactly("nobody is asked for a password", "", prompts(world), "nobody")
    secrets.guard.tell(memory=2)


def prompts(world):
    """The bus started no program that asks."""
    return "".join(line for line in world.session.output("dbus-daemon").splitlines()
                   if "Prompter" in line or "prompter" in line)


def absent_store(world):
    secrets = Secrets(world, has_store=False)
    secrets.come_up()
    secrets.store = secrets.start_store()
    secrets.check_return()
    secrets.guard.tell(memory=2)


def slow_store(world):
    """It answers nothing for longer than anybody waits."""
    seconds = 30 if world.long else 6
    secrets = Secrets(world)
    secrets.store.send_signal(signal.SIGSTOP)
    stopped = time.monotonic()
    try:
        secrets.come_up()
        while time.monotonic() < stopped + seconds:
            world.agent.command("send configuration_updated")
            time.sleep(0.5)  # as often as this, while the guard asks
    finally:
        secrets.store.send_signal(signal.SIGCONT)
    secrets.check_return()
    secrets.guard.tell(memory=2)


class ShiftedClock:
    """Of the processes that are started from now on; see shifted_clock.cc."""
    LIBRARY = "kelvo_shifted_clock.so"

    def __init__(self, world):
        self._path = os.path.join(world.session.folder, "clock")
        self.set(0)
        world.session.environment["LD_PRELOAD"] = os.path.join(world.build, "lib",
                                                               self.LIBRARY)
        world.session.environment["KELVO_CLOCK_SHIFT"] = self._path

    def set(self, hours):
        with open(self._path + ".new", "w", encoding="ascii") as file:
            file.write(str(hours * 3600))
        os.rename(self._path + ".new", self._path)


def set_clock(world):
    """By a user, or by a time server after the battery was empty."""
    folders = [world.make(name, FILES) for name in ("a", "b", "c", "d", "lost")]
    clock = ShiftedClock(world)
    world.start_bus()
    world.start_agent()
    client = world.connect()
    world.wait_watching(client)
    extension = world.extension()
    with open("/proc/%d/maps" % extension.pid, encoding="utf-8") as maps:
        if ShiftedClock.LIBRARY not in maps.read():
            raise AssertionError("the extension reads the machine's own clock")
    guard = world.guard()
    wanted = dict.fromkeys(NAMES, "1")
    slowest = 0

    def check(folder):
        nonlocal slowest
        begin = time.monotonic()
        client.request(folder, NAMES)
        client.wait_badges(folder, wanted, PATIENCE)
        slowest = max(slowest, time.monotonic() - begin)

    check(folders[0])
    for hours, folder in ((5, folders[1]), (-9, folders[2]), (0, folders[3])):
        clock.set(hours)
        check(folders[0])
        check(folder)
        world.agent.command("lock %s/f00003 by Eve" % os.path.basename(folder))
        client.wait_badges(folder, {**wanted, "f00003": "3"}, PATIENCE)
    world.at_most("right badges after +5 h, -14 h, +9 h in <= 1 s", 1, slowest, "s")
    # The Agent dies with a question, and the clock goes back before it is asked again.
    world.agent.process.send_signal(signal.SIGSTOP)
    client.request(folders[4], NAMES)
    world.agent.process.kill()
    world.session.end(world.agent.process)
    clock.set(-9)
    world.restart_agent()
    begin = time.monotonic()
    wait_until(lambda: client.request(folders[4], NAMES) == b"1" * FILES, PATIENCE, "the answer")
    world.at_most("what was asked before the clock went back is right in <= 14 s", 14,
                  time.monotonic() - begin, "s")
    guard.tell(memory=2)


if __name__ == "__main__":
    sys.exit(main(__doc__, [("secret store locked", locked_store),
                            ("secret store absent", absent_store),
                            ("secret store silent", slow_store),
                            ("clock set by hours", set_clock)]))
