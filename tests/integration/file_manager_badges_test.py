#!/usr/bin/python3
"""The real file manager, extension and sample Agent: badges that a person would see.

    file_manager_badges_test.py BUILD HOST EXTENSIONS [--keep FOLDER]

EXTENSIONS is where the file manager looks for plug-ins; for this process and its children alone,
the plug-in of BUILD is put there, unless BUILD is the prefix of an installation. Badges are told
apart by their colours: a screenshot's pixels near each badge's fill are counted.
"""
import os
import signal
import sys

from file_manager import FileManagerTest, run_test

# One file for each status, and what the sample Agent is to say of it.
FILES = {"1 in sync": {}, "2 dirty": {"status": 1}, "3 locked": {"lock": 1, "owner": "Eve"},
         "4 locked by me": {"lock": 2}, "5 pending": {"lock": 3}, "6 denied": {"denied": 2}}


class BadgesTest(FileManagerTest):
    def __init__(self, arguments, session):
        super().__init__(arguments, session, FILES)

    def wait_for(self, condition, what):
        counts = self.files.wait_for(condition, what)
        print("ok   %s: %s" % (what, counts), flush=True)
        return counts

    def run(self):
        self.files.start(self.work)
        extension = self.wait_extension()
        self.wait_for(lambda counts: self.files.white > 50000 and not any(counts.values()),
                      "without an Agent there is no badge")

        self.start_agent([dict(state, path=name) for name, state in FILES.items() if state])
        before = self.wait_for(all_five, "every badge is there")
        # Dirty and pending share a picture: one more of it is half as much again.
        self.agent.command("dirty '1 in sync'")
        self.agent.command("allow '6 denied'")
        self.wait_for(lambda counts: counts["syncing"] > before["syncing"] * 1.3
                      and counts["permission-violation"] == 0
                      and same(counts, before, "in-sync"),
                      "changes show by themselves")

        os.kill(extension, signal.SIGKILL)
        self.wait_extension(but=extension)
        self.agent.command("clean '1 in sync'")
        self.agent.command("deny '6 denied'")
        self.wait_for(lambda counts: same(counts, before, *before),
                      "badges go on after the extension was killed")
        self.files.check_silence()
        print("ok   the file manager runs and had nothing to say about the plug-in")


def same(counts, before, *names):
    return all(abs(counts[name] - before[name]) < before[name] * 0.3 for name in names)


def all_five(counts):
    """All are drawn, syncing twice: the areas of the pictures differ by less than that."""
    return all(counts.values()) and counts["syncing"] > 1.1 * counts["permission-violation"]


if __name__ == "__main__":
    sys.exit(run_test(BadgesTest))
