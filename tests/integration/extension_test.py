#!/usr/bin/python3
"""The extension, the sample Agent and a bus client as separate processes on a private bus.

    extension_test.py BUILD_FOLDER [unittest arguments]
"""
import fcntl
import os
import plistlib
import re
import signal
import subprocess
import sys
import unittest

from gi.repository import GLib

from bus_client import NAME, BusClient, byte_array
from desktop_session import PrivateSession, wait_until
from sample_agent import SampleAgent

BUILD = None
PREFERENCES = "Library/Preferences/com.kelvo.vip"
SOCKET = "com.kelvo.vip.kelvoFinderSync"
PATIENCE = 20  # seconds; on an idle machine nothing takes more than twelve


class Agent(SampleAgent):
    """The sample Agent, and what it was asked for."""

    def __init__(self, session, folder, scenario=()):
        super().__init__(session, BUILD + "/bin/kelvo-sample-agent", folder, scenario)

    def start(self):
        super().start()
        path = os.path.join(self._session.runtime, SOCKET)
        wait_until(lambda: os.path.exists(path), PATIENCE, "the sample Agent's socket")

    def list_requests(self):
        """The paths of all status lists asked for so far; none of the tests' paths needs quotes."""
        printed = self._session.output("kelvo-sample-agent")
        return re.findall(r"sync_request command=status-list path=(\S+)", printed)


class ExtensionTest(unittest.TestCase):
    def setUp(self):
        self.session = PrivateSession()
        self.addCleanup(self.session.close)
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        self.client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.client.close)

    def make(self, *names):
        for name in names:
            with open(os.path.join(self.work, name), "w", encoding="utf-8") as file:
                file.write(name)

    def log(self):
        return self.session.extension_log()

    def wait_log(self, text):
        wait_until(lambda: text in self.log(), PATIENCE, lambda: "%r in\n%s" % (text, self.log()))

    def wait_watching(self, *folders):
        wait_until(lambda: self.client.directories() == list(folders), PATIENCE,
                   lambda: "watched folders %r" % (self.client.directories(),))

    def memory(self):
        with open("/proc/%d/status" % self.session.owner_process(NAME), encoding="ascii") as file:
            return int(re.search(r"VmHWM:\s+(\d+)", file.read()).group(1)) // 1024  # MiB

    def test_badges_follow_the_agent(self):
        self.make("sync", "dirty", "eve", "mine", "pending", "denied", "changing")
        agent = Agent(self.session, self.work, [
            {"path": "dirty", "status": 1}, {"path": "eve", "lock": 1, "owner": "Eve"},
            {"path": "mine", "lock": 2}, {"path": "pending", "lock": 3, "owner": "Eve"},
            {"path": "denied", "denied": 7}])
        expected = {"sync": "1", "dirty": "2", "eve": "3", "mine": "4", "pending": "5",
                    "denied": "6", "changing": "1"}
        self.wait_watching(self.work)
        self.client.request(self.work, expected)
        self.client.wait_badges(self.work, expected)
        agent.command("lock sync by Bob")
        agent.command("deny eve")
        self.client.wait_badges(self.work, {"sync": "3", "eve": "6"})
        with open(os.path.join(self.work, "changing"), "a", encoding="utf-8") as file:
            file.write("more")
        self.client.wait_badges(self.work, {"changing": "2"})
        self.client.wait_badges(self.work, {"changing": "1"})

    def test_descriptions_follow_the_agent(self):
        self.make("eve", "sync")
        agent = Agent(self.session, self.work, [{"path": "eve", "lock": 1, "owner": "Eve"}])
        self.wait_watching(self.work)
        eve = ("Locked by another user", "Eve", "Modify")
        self.assertEqual(self.client.describe(self.work, ["eve"]), [("", "", "")])
        self.client.request(self.work, ["eve"])
        self.client.wait_descriptions(self.work, ["eve"], "the list")
        self.assertEqual(self.client.describe(self.work, ["sync", "eve", "", "./eve"])[1:],
                         [eve, ("", "", ""), ("", "", "")])
        agent.command("lock eve by Bob")
        self.client.wait_descriptions(self.work, ["eve"], "another owner")
        self.assertEqual(self.client.describe(self.work, ["eve"])[0][1], "Bob")

        facts = self.client.call("Diagnose").unpack()[0]
        self.assertEqual(bytes(facts["agent-socket"]).decode(),
                         os.path.join(self.session.runtime, SOCKET))
        self.assertEqual([facts["agent-connected"], facts["configuration-read"], facts["started"],
                          facts["last-message"]], [True, True, True, "sync_item"])
        self.assertEqual(bytes(facts["configuration-file"]).decode(),
                         os.path.join(self.session.home, PREFERENCES, "user_info.plist"))
        self.assertLess(abs(facts["connected-since"] - facts["last-message-time"]), 60)
        agent.process.kill()
        wait_until(lambda: "connected-since" not in self.client.call("Diagnose").unpack()[0],
                   PATIENCE, "the loss")

    def test_locked_settings_hold_nothing(self):
        self.make("a")
        agent = Agent(self.session, self.work)
        self.wait_watching(self.work)
        path = os.path.join(self.session.home, PREFERENCES, "user_info.plist")
        other = os.path.join(self.session.home, "Other")
        with open(path, "r+b") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            settings = plistlib.load(file)
            settings["master_project_folder"] = other
            agent.command("send configuration_updated")
            self.wait_log("The configuration is not loaded after 2 seconds")
            self.client.request(self.work, ["a"])
            self.client.wait_badges(self.work, {"a": "1"})
            self.assertEqual(self.client.directories(), [self.work])
            file.seek(0)
            plistlib.dump(settings, file)
            file.truncate()
        self.wait_watching(other)

    def test_broken_settings_files(self):
        path = os.path.join(self.session.home, PREFERENCES, "user_info.plist")
        agent = Agent(self.session, self.work)
        self.wait_watching(self.work)
        default = os.path.join(self.session.home, "Kelvo Workplace (KelvoAgent)")
        for contents in (b"", b"<plist><dict><key>master_project_folder</key><str", b"\0\xff" * 99,
                         b"<plist>" + b"<array>" * 200000, b"bplist00" + b"\xff" * 64):
            with open(path, "wb") as file:
                file.write(contents)
            agent.command("send configuration_updated")
            self.wait_watching(default)
            with open(path, "wb") as file:
                plistlib.dump({"master_project_folder": self.work}, file, fmt=plistlib.FMT_BINARY)
            agent.command("send configuration_updated")
            self.wait_watching(self.work)
        self.assertLess(self.memory(), 150)

    def test_bad_calls_get_errors(self):
        agent = Agent(self.session, self.work)
        self.wait_watching(self.work)
        for member, *arguments in [
                ("RequestBadges", b"", b"a\0"), ("RequestBadges", b"/w\0x", b"a\0"),
                ("RequestBadges", b"/w", b"unended"), ("BeginObservingDirectory", b"/w/"),
                ("DescribeItems", b"/w", b"unended"), ("DescribeItems", b"/w/", b"a\0"),
                ("EndObservingDirectory", b"x")]:
            with self.assertRaises(GLib.Error, msg=(member, arguments)) as caught:
                self.client.call(member, *map(byte_array, arguments))
            self.assertIn(".Error.InvalidPath", caught.exception.message)
        self.assertEqual(self.client.request(self.work, ["", ".", "..", "a/b"]), b"0000")
        self.client.call("EndObservingDirectory", byte_array(b"/never/begun"))
        self.client.call("BeginObservingDirectory", byte_array(self.work.encode()))
        wait_until(lambda: agent.list_requests() == [self.session.home, self.work],
                   PATIENCE, "one query")

    def test_one_process_and_a_bus(self):
        self.client.get("Version")
        alone = dict(self.session.environment, XDG_RUNTIME_DIR=self.session.home)
        del alone["DBUS_SESSION_BUS_ADDRESS"]
        for environment in (self.session.environment, alone):
            done = subprocess.run([BUILD + "/bin/kelvo-finder-sync"], env=environment, check=False,
                                  capture_output=True, timeout=PATIENCE)
            self.assertEqual(done.returncode, 1)
            self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
        os.kill(self.session.owner_process(NAME), signal.SIGTERM)
        wait_until(lambda: self.session.owner_process(NAME) is None, PATIENCE,
                   "the end on SIGTERM")


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
