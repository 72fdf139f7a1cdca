#!/usr/bin/python3
"""A disk that is full, files that may not grow, a home that cannot be written to.

    storage_faults.py BUILD_FOLDER [--long] [NAME...]

Mounts are private to this program.
"""
import contextlib
import os
import plistlib
import resource
import subprocess
import sys
from xml.parsers.expat import ExpatError

from driver import PATIENCE, SessionError, Skip, main, wait_until
from desktop_session import MOUNTS_MARK, enter_private_mounts

FILES = 20
NAMES = ["f%05d" % i for i in range(FILES)]
DEFAULTS = "Library/Preferences/com.kelvo.vip.kelvoFinderSync.plist"
SMALL = 512  # kB of the disk that is filled
# Somebody else's keys, in the form that is smaller than what the extension writes.
KEYS = {"somebody's key %d" % i: "a value that must not be lost, %d" % i for i in range(500)}


def mount(*arguments):
    done = subprocess.run(["mount", *arguments], capture_output=True, check=False)
    if done.returncode != 0:
        raise SessionError("no mount: " + done.stderr.decode(errors="replace").strip()[:60])


def need_mounts():
    if MOUNTS_MARK not in os.environ:
        raise Skip("this system allows no private mounts")


class Writing:
    """An extension that is made to write its preferences, which become larger by it."""

    def __init__(self, world):
        self.world = world
        self.folder = world.make("a", FILES)
        self.path = os.path.join(world.session.home, DEFAULTS)
        os.makedirs(os.path.dirname(self.path), mode=0o700)
        with open(self.path, "wb") as file:
            plistlib.dump(KEYS, file, fmt=plistlib.FMT_BINARY)
        self.old = self.bytes()
        world.start_bus()
        world.start_agent()
        self.client = world.connect()
        world.wait_watching(self.client)
        self.guard = world.guard()
        self.extension = self.guard.extension
        self.files = self.all_files()

    def all_files(self):
        """Of the folder in which every file is that the extension writes."""
        library = os.path.join(self.world.session.home, "Library")
        return sorted(os.path.join(folder, name) for folder, _, names in os.walk(library)
                      for name in names)

    def bytes(self):
        with open(self.path, "rb") as file:
            return file.read()

    def fail_to_write(self, turns, failure="cannot write %s:"):
        """How often the file was another one after an attempt; each is told in the log."""
        # In the journal, which does not lie on the disk that is full.
        def failures():
            return self.world.session.output("dbus-daemon").count(failure % self.path)
        old, lost = self.bytes(), 0
        for _ in range(turns):
            before = failures()
            self.write()
            wait_until(lambda before=before: failures() > before or not self.extension.is_alive(),
                       PATIENCE, lambda: "failed writes: %d" % failures())
            lost += self.bytes() != old
        return lost

    def fail_to_copy(self, turns):
        """The same of a file that does not parse, which is copied before it is written over."""
        with open(self.path, "r+b") as file:
            file.write(b"damage")
        lost = self.fail_to_write(turns, "cannot keep a copy in %s.damaged:")
        with open(self.path, "r+b") as file:
            file.write(self.old[:6])
        return lost

    def write(self):
        self.world.agent.command("send reset_show_dialog")

    def tell(self, lost):
        self.world.exactly("no failed write changes the file, be it whole or damaged", 0, lost,
                           "the old one each time")
        self.world.exactly("no new file is left behind", [],
                           sorted(set(self.all_files()) - set(self.files)), "none")

    def tell_end(self):
        """With room again."""
        self.write()
        wait_until(lambda: self.bytes().startswith(b"<?xml") and self.whole(), PATIENCE,
                   "the next write")
        self.world.exactly("the next write loses nothing", {}, {
            key: value for key, value in KEYS.items() if self.whole().get(key) != value},
            "all keys are there")
        self.client.request(self.folder, NAMES)
        self.client.wait_badges(self.folder, dict.fromkeys(NAMES, "1"), PATIENCE)
        self.guard.tell(memory=2)

    def whole(self):
        """What the file holds; empty while it is being written."""
        try:
            return plistlib.loads(self.bytes())
        except (plistlib.InvalidFileException, ValueError, ExpatError):
            return {}


def full_disk(world):
    need_mounts()
    library = os.path.join(world.session.home, "Library")
    os.mkdir(library, 0o700)
    mount("-t", "tmpfs", "-o", "size=%dk,mode=0700" % SMALL, "kelvo-full", library)
    try:
        writing = Writing(world)
        filler = os.path.join(library, "filler")
        with open(filler, "wb", buffering=0) as file:
            try:
                while True:
                    file.write(b"\0" * 4096)
            except OSError:
                pass
        writing.files.append(filler)
        turns = 20 if world.long else 3
        writing.tell(writing.fail_to_write(turns) + writing.fail_to_copy(turns))
        os.unlink(filler)
        writing.tell_end()
    finally:
        subprocess.run(["umount", "-l", library], check=False)


def file_size_limit(world):
    """First for files that are larger than the log, then for the log, too."""
    writing = Writing(world)
    pid = writing.extension.pid
    lost, size, turns = 0, len(writing.old), 20 if world.long else 2
    for limit, fail in [(size, writing.fail_to_write), (size + 1, writing.fail_to_write),
                        (size - 1, writing.fail_to_copy)]:  # the log is smaller
        resource.prlimit(pid, resource.RLIMIT_FSIZE, (limit, resource.RLIM_INFINITY))
        lost += fail(turns)
    writing.tell(lost)
    resource.prlimit(pid, resource.RLIMIT_FSIZE, (1, resource.RLIM_INFINITY))
    world.agent.command("send sync_status_list path=%s list=x" % writing.folder)
    world.agent.command("lock a/f00000 by Eve")
    writing.client.request(writing.folder, NAMES)
    writing.client.wait_badges(writing.folder, {"f00000": "3"}, PATIENCE)
    world.exactly("a log that may not grow harms nothing", True, writing.extension.is_alive(),
                  "the same process, right badges")
    resource.prlimit(pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY,) * 2)
    world.agent.command("unlock a/f00000")
    writing.tell_end()


def read_only_home(world):
    """From the start: no file of ours is there, none can be made."""
    need_mounts()
    home = world.session.home
    folder = world.make("a", FILES)
    world.start_bus()
    world.start_agent()  # which writes the settings
    guarded = world.make("guarded", FILES)
    mount("--bind", home, home)
    try:
        mount("-o", "remount,bind,ro", home)
        client = world.connect()
        world.wait_watching(client)
        client.request(folder, NAMES)
        client.wait_badges(folder, dict.fromkeys(NAMES, "1"), PATIENCE)
        world.tell("badges are right", "all right", "kept")
        guard = world.guard(folder=guarded)
        for _ in range(50 if world.long else 5):
            world.agent.command("send reset_show_dialog")
            world.agent.command("send reinit_finder_logger")
        world.agent.command("lock a/f00000 by Eve")
        client.wait_badges(folder, {"f00000": "3"}, PATIENCE)
        failure = "cannot open %s: Read-only" % os.path.join(home, DEFAULTS)
        wait_until(lambda: failure in world.session.output("dbus-daemon"), PATIENCE, failure)
        world.tell("the journal says that nothing can be written", "it does", "kept")
        guard.tell(memory=2)
    finally:
        subprocess.run(["umount", "-l", home], check=False)


if __name__ == "__main__":
    with contextlib.suppress(SessionError):
        enter_private_mounts()
    sys.exit(main(__doc__, [("a full disk", full_disk),
                            ("a file-size limit", file_size_limit),
                            ("a home that is read-only", read_only_home)]))
