#!/usr/bin/python3
"""The real file manager, extension and sample Agent: badges that a person would see.

    file_manager_badges_test.py BUILD HOST EXTENSIONS [--keep FOLDER]

EXTENSIONS is where the file manager looks for plug-ins; for this process and its children alone,
the plug-in of BUILD is put there. Badges are told apart by their colours: a screenshot's pixels
near each badge's fill are counted.
"""
import argparse
import os
import signal
import sys

from desktop_session import (DesktopSession, SessionError, enter_private_mounts, mount_over,
                             need_programs, wait_until)
from sample_agent import SampleAgent

NAME = "com.kelvo.FinderSync"
COLOURS = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                       "../../resources/icons/colours.txt")
COMMANDS = {"nemo": ["nemo", "--no-desktop"],
            "nautilus": ["nautilus", "--new-window"],
            "caja": ["caja", "--no-desktop", "--browser"]}
# One file for each status, and what the sample Agent is to say of it.
FILES = {"1 in sync": {}, "2 dirty": {"status": 1}, "3 locked": {"lock": 1, "owner": "Eve"},
         "4 locked by me": {"lock": 2}, "5 pending": {"lock": 3}, "6 denied": {"denied": 2}}
PATIENCE = 30  # seconds; what it waits for takes one to three


def read_colours(path):
    colours = {}
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.startswith("emblem-kelvo-"):
                name, colour = line.split()
                colours[name[len("emblem-kelvo-"):]] = tuple(bytes.fromhex(colour.lstrip("#")))
    return colours


class BadgesTest:
    def __init__(self, arguments, session):
        self.arguments = arguments
        self.session = session
        self.colours = read_colours(COLOURS)
        self.counts = {}
        self.window = False  # whether there is one
        self.work = os.path.join(session.home, "Work")
        os.mkdir(self.work)
        for name in FILES:
            with open(os.path.join(self.work, name), "w", encoding="utf-8") as file:
                file.write(name)

    def start_file_manager(self):
        self.file_manager = self.session.spawn(COMMANDS[self.arguments.host] + [self.work])
        self.session.park_pointer()

    def look(self):
        picture = self.session.screenshot()
        self.window = picture.count_near((255, 255, 255)) > 50000  # the view's background
        self.counts = {name: picture.count_near(colour) for name, colour in self.colours.items()}
        return self.counts

    def wait_for(self, condition, what):
        """Looks until condition(counts) holds; the counts."""
        def fits():
            if self.file_manager.poll() is not None:
                raise SessionError("%s has ended with %d" % (self.arguments.host,
                                                             self.file_manager.returncode))
            return condition(self.look())
        wait_until(fits, PATIENCE, lambda: "%s; pixels: %s" % (what, self.counts))
        print("ok   %s: %s" % (what, self.counts), flush=True)
        return self.counts

    def run(self):
        self.start_file_manager()
        wait_until(lambda: self.session.owner_process(NAME), PATIENCE,
                   "an extension, started by the plug-in")
        self.wait_for(lambda counts: self.window and not any(counts.values()),
                      "without an Agent there is no badge")

        scenario = [dict(state, path=name) for name, state in FILES.items() if state]
        agent = SampleAgent(self.session, self.arguments.build + "/bin/kelvo-sample-agent",
                            self.work, scenario)
        before = self.wait_for(all_five, "every badge is there")
        # Dirty and pending share a picture: one more of it is half as much again.
        agent.command("dirty '1 in sync'")
        agent.command("allow '6 denied'")
        self.wait_for(lambda counts: counts["syncing"] > before["syncing"] * 1.3
                      and counts["permission-violation"] == 0
                      and abs(counts["in-sync"] - before["in-sync"]) < before["in-sync"] * 0.3,
                      "changes show by themselves")

        extension = self.session.owner_process(NAME)
        os.kill(extension, signal.SIGKILL)
        wait_until(lambda: self.session.owner_process(NAME) not in (None, extension), PATIENCE,
                   "another extension after one that was killed")
        agent.command("clean '1 in sync'")
        agent.command("deny '6 denied'")
        self.wait_for(lambda counts: all(abs(counts[name] - before[name]) < before[name] * 0.3
                                         for name in before),
                      "badges go on after the extension was killed")
        self.check_silence()

    def check_silence(self):
        spoken = [line for line in self.session.output(self.arguments.host).splitlines()
                  if "kelvo" in line.lower().replace(self.session.folder.lower(), "")
                  or "CRITICAL" in line]
        if spoken:
            raise SessionError("the plug-in made the file manager print:\n" + "\n".join(spoken))
        print("ok   the file manager runs and had nothing to say about the plug-in")


def all_five(counts):
    """All are drawn, syncing twice: the areas of the pictures differ by less than that."""
    return all(counts.values()) and counts["syncing"] > 1.1 * counts["permission-violation"]


def parse_arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=os.path.abspath)
    parser.add_argument("host", choices=COMMANDS)
    parser.add_argument("extensions")
    parser.add_argument("--keep", metavar="FOLDER", type=os.path.abspath,
                        help="where all files of the session stay")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    try:
        need_programs(arguments.host)
        enter_private_mounts()
        mount_over("%s/lib/%s-extensions" % (arguments.build, arguments.host), arguments.extensions)
        with DesktopSession(share=arguments.build + "/share", folder=arguments.keep) as session:
            session.start({NAME: arguments.build + "/bin/kelvo-finder-sync"})
            try:
                BadgesTest(arguments, session).run()
            except SessionError:
                session.screenshot(os.path.join(session.folder, "failure.png"))
                for name in (arguments.host, "kelvo-sample-agent", "dbus-daemon"):
                    print("--- %s\n%s" % (name, session.output(name)[-3000:]))
                raise
    except SessionError as error:
        print("FAIL " + str(error))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
