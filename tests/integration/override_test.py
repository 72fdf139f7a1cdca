#!/usr/bin/python3
"""The question before somebody else's lock is overridden: extension, dialog and sample Agent.

    override_test.py BUILD_FOLDER [unittest arguments]

The question is read and answered as a screen reader does it, on a headless display.
"""
import concurrent.futures
import contextlib
import multiprocessing
import os
import re
import signal
import sys
import unittest

import gi

from bus_client import BusClient
from desktop_session import DesktopSession, wait_until
from dialog_test import children
from sample_agent import SampleAgent

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

BUILD = None
PATIENCE = 30  # seconds
QUESTION = "This file was locked by Eve %s <b>\non May 01, 2024."
LOCK = {"lock": 1, "owner": "Eve %s <b>", "lockTime": 1714564800}


def shown():
    """(role, name): object, of all dialogs' parts."""
    found = {}
    with contextlib.suppress(GLib.GError, AttributeError):  # it changes meanwhile
        left = [app for app in children(Atspi.get_desktop(0))
                if app.get_name() == "kelvo-finder-dialog"]
        while left:
            node = left.pop()
            if (node.get_role_name() == "application"
                    or node.get_state_set().contains(Atspi.StateType.VISIBLE)):
                found[(node.get_role_name(), node.get_name())] = node
                left += children(node)
    return found


def names_shown():
    return list(shown())


def click(*button):
    with contextlib.suppress(GLib.GError):  # it may be gone before it answers
        shown()[button].do_action(0)


class OverrideTest(unittest.TestCase):
    def setUp(self):
        self.session = DesktopSession(share=BUILD + "/share")
        self.addCleanup(self.session.close)
        self.session.start({})
        os.environ.update(self.session.environment)  # for the accessibility bus
        # In a process of its own: the library and BusClient would turn one loop on two threads.
        self.reader = concurrent.futures.ProcessPoolExecutor(
            1, multiprocessing.get_context("spawn"))
        self.addCleanup(self.reader.shutdown)
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        for name in ("first", "second", "plain", "other"):
            with open(os.path.join(self.work, name), "w", encoding="utf-8") as file:
                file.write(name)
        self.agent = SampleAgent(self.session, BUILD + "/bin/kelvo-sample-agent", self.work,
                                 [dict(LOCK, path="first"), dict(LOCK, path="second")])
        self.extension = self.session.spawn([BUILD + "/bin/kelvo-finder-sync"])
        self.client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.client.close)

    def choose(self, title, name):
        def find():
            with contextlib.suppress(GLib.Error):  # the extension is not there yet
                serial, lines = self.client.menu(os.path.join(self.work, name))
                return next(((serial, line.index) for line in lines if line.title == title), None)
        self.client.choose(*wait_until(find, PATIENCE, title), activation_token=GLib.Variant(
            "s", "kelvo-1_TIME1"))

    def shown(self):
        return self.reader.submit(names_shown).result(PATIENCE)

    def wait_shown(self, role, name):
        wait_until(lambda: (role, name) in self.shown(), PATIENCE,
                   lambda: "%r in %s\n%s" % (name, self.shown(), self.log()))

    def wait_gone(self, button):
        wait_until(lambda: ("push button", button) not in self.shown(), PATIENCE, "no " + button)

    def press(self, button):
        self.wait_shown("push button", button)
        self.reader.submit(click, "push button", button).result(PATIENCE)
        self.wait_gone(button)

    def unlocked(self):
        return re.findall(r"received event sync_request command=unlock path=(\S+)",
                          self.session.output("kelvo-sample-agent"))

    def log(self):
        path = self.session.home + "/Library/Logs/KelvoAgentPlugin.log"
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read()

    def test_question(self):
        first = os.path.join(self.work, "first")
        self.choose("Unlock", "first")
        self.wait_shown("label", QUESTION)
        self.wait_shown("label", "first")
        self.assertEqual(self.client.request(self.work, ["plain"]), b"1")
        self.agent.command("lock plain")
        self.client.wait_badges(self.work, {"plain": "4"})
        self.choose("Unlock", "second")
        refused = "asked about; not unlocked: %s/second" % self.work
        wait_until(lambda: refused in self.log(), PATIENCE, lambda: "a refusal in " + self.log())
        self.press("Unlock File")
        self.press("OK")  # of the result
        self.assertEqual(self.unlocked(), [first])

        self.agent.command("lock first by Eve")
        self.choose("Unlock", "first")
        self.wait_shown("push button", "Cancel")
        self.session.run(["xdotool", "search", "--sync", "--onlyvisible", "--class", "kelvo-finder",
                          "windowactivate", "--sync"])
        self.session.run(["xdotool", "key", "Escape"])
        self.wait_gone("Cancel")
        self.choose("Lock for Me", "other")
        self.press("OK")  # what was sent before has come by then
        self.assertEqual(self.unlocked(), [first])

        self.choose("Unlock", "second")
        self.wait_shown("push button", "Cancel")
        self.extension.send_signal(signal.SIGTERM)
        self.assertEqual(self.extension.wait(5), 0)
        self.wait_gone("Cancel")
        self.assertEqual(self.unlocked(), [first])


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
