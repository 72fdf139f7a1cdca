#!/usr/bin/python3
"""Menus over the bus, and what their lines lead to: extension, sample Agent and bus clients.

    menu_test.py BUILD_FOLDER [unittest arguments]
"""
import base64
import concurrent.futures
import hashlib
import hmac
import os
import plistlib
import re
import signal
import sys
import time
import unittest

from gi.repository import GLib

from bus_client import NAME, BusClient
from desktop_session import PrivateSession, wait_until
from sample_agent import SampleAgent

BUILD = None
PATIENCE = 30  # seconds; on an idle machine nothing takes more than three
PREFERENCES = "Library/Preferences/com.kelvo.vip"
ODD = "<b>&amp;%s%@\n\u202e.txt"
DEEP = "/".join(["d" * 250] * 15)  # nearly as long as a path may be


def link(server, cell, user, file):
    def text(number, size):
        return base64.b32encode(number.to_bytes(size, "big")).decode().lower().rstrip("=")
    key = bytes.fromhex("5c21a70b934ef816d26a")
    ids = user.to_bytes(4, "big") + file.to_bytes(8, "big")
    digest = hmac.new(key, ids, hashlib.sha1).digest()
    check = int.from_bytes(bytes(digest[i] for i in (2, 6, 11, 15, 19)), "big")
    parts = [text(user, 4), text(file, 8), text(check, 5)]
    return "https://%s/%s/filelink/%s" % (server, cell, "-".join(p.lstrip("a") for p in parts))


class MenuTest(unittest.TestCase):
    def setUp(self):
        self.session = PrivateSession()
        self.addCleanup(self.session.close)
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})
        self.work = os.path.join(self.session.home, "Work")
        self.make("a", "eve", "mine", "denied", "e/c", "f/c", "g/c", ODD, DEEP + "/x")
        for file, settings in (("user_info", {"cell_id": "c 1", "user_id": "12345"}),
                               ("server_info", {"web_server": "web.example"})):
            path = os.path.join(self.session.home, PREFERENCES, file + ".plist")
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as output:
                plistlib.dump(settings, output)
        self.agent = SampleAgent(
            self.session, BUILD + "/bin/kelvo-sample-agent", self.work,
            [{"path": "a", "fileId": "67890"}, {"path": "mine", "lock": 2},
             {"path": "eve", "lock": 1, "owner": "<b>Eve %@</b>\n"},
             {"path": "denied", "denied": 7}])
        self.client = self.connect()
        wait_until(lambda: self.client.directories() == [self.work], PATIENCE, "watched folders")

    def connect(self):
        client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(client.close)
        return client

    def make(self, *names):
        for name in names:
            path = os.path.join(self.work, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write("four")

    def menu(self, *names, client=None):
        """The menu of items of the Workplace, when they are known."""
        client = client or self.client
        items = [os.path.join(self.work, name) for name in names]
        return wait_until(lambda: (lambda menu: menu[0] and menu)(client.menu(*items)), PATIENCE,
                          "a menu of " + repr(names)[:200])

    def choose(self, title, *names, client=None, **data):
        serial, lines = self.menu(*names, client=client)
        index = next(line.index for line in lines if line.title == title)
        (client or self.client).choose(serial, index, **data)

    def wait_agent(self, pattern):
        wait_until(lambda: re.search(pattern, self.agent_output()), PATIENCE,
                   lambda: "%s in\n%s" % (pattern, self.agent_output()))

    def agent_output(self):
        return self.session.output("kelvo-sample-agent")

    def log(self):
        return self.session.extension_log()

    def assert_error(self, name, function, *arguments):
        with self.assertRaises(GLib.Error, msg=arguments) as caught:
            function(*arguments)
        self.assertIn("com.kelvo.FinderSync1.Error." + name, caught.exception.message)

    def test_lines(self):
        serial, lines = self.menu("a")
        self.assertNotEqual(serial, 0)
        self.assertEqual([line.index for line in lines], list(range(len(lines))))
        self.assertEqual([line[1:] for line in lines], [
            ("Open Kelvo Here", "kelvo-finder-sync", True, "openKelvoHereButtonPressed", False),
            ("Add Comment", "", True, "addCommentButtonPressed", False),
            ("Create Public Link", "", True, "createPublicLinkButtonPressed", False),
            ("Copy Team Link", "", True, "copyLinkButtonPressed", False),
            ("Lock for Me", "emblem-kelvo-locked", True, "lockButtonPressed", False),
            ("Last Modified by: Me", "", False, "", False),
            ("Modify", "", False, "", False)])
        self.assertIn(("Fix Permission Violations", "emblem-kelvo-permission-violation"),
                      [line[1:3] for line in self.menu("denied")[1]])
        self.assertRegex(self.menu("eve")[1][5].title, r"^Locked by: <b>Eve %@</b>\n at ")
        for name in (ODD, DEEP + "/x", "e"):
            self.menu(name)
        for items in ([], [""], ["/etc/passwd"], [self.work + "/a", ""], [b"/\xff\xfe\n"],
                      [self.work.encode() + b"/\xff"], ["/" + "a/" * 40000 + "a"]):
            self.assertEqual(self.client.menu(*items), (0, []), items)
        for item in (b"a", b"/a/", b"/a\0b"):
            self.assert_error("InvalidPath", self.client.menu, self.work + "/a", item)

    def test_choices_that_do_nothing(self):
        serial, lines = self.menu("a")
        other = self.connect()
        self.assert_error("StaleMenu", other.choose, serial, 0)
        self.assert_error("StaleMenu", self.client.choose, 0, 0)
        self.assert_error("StaleMenu", self.client.choose, serial, len(lines))
        self.assert_error("Disabled", self.client.choose, serial, len(lines) - 1)
        for _ in range(16):
            self.menu("mine")
            self.client.menu("/nowhere")
        self.assert_error("StaleMenu", self.client.choose, serial, 0)

    def test_agent_that_hangs_holds_nothing_else(self):
        self.menu("a")
        other = self.connect()
        self.agent.process.send_signal(signal.SIGSTOP)
        orders = []

        def ask(name):
            started = time.monotonic()
            self.assertEqual(self.client.menu(self.work + "/" + name), (0, []))
            order.append("menu")
            return time.monotonic() - started
        took = []
        with concurrent.futures.ThreadPoolExecutor() as pool:
            for name in ("e/c", "f/c", "g/c"):
                order = []
                menu = pool.submit(ask, name)
                for client in (self.client, other):
                    self.assertEqual(client.request(self.work, ["a"]), b"1")
                    order.append("badge")
                self.assertEqual(len(other.menu(self.work + "/a")[1]), 7)
                order.append("other menu")
                took.append(menu.result(PATIENCE))
                orders.append(order)
        print("menus without an answer: %s ms" % [round(t * 1000) for t in took])
        self.assertIn(["badge", "badge", "other menu", "menu"], orders)
        self.assertLess(min(took), 0.3)
        self.assertLess(max(took), 2)
        told = self.client.members.count("MenusChanged")
        self.agent.process.send_signal(signal.SIGCONT)
        self.client.wait(lambda: self.client.members.count("MenusChanged") > told, PATIENCE,
                         "MenusChanged")
        self.menu("g/c")

    def test_many_menus_that_wait_hold_no_known_one(self):
        self.menu("a")
        clients = [self.connect() for _ in range(12)]
        self.agent.process.send_signal(signal.SIGSTOP)
        known, took = [], []

        def ask(client, name):
            self.assertEqual(client.menu(self.work + name), (0, []))
        with concurrent.futures.ThreadPoolExecutor(len(clients)) as pool:
            for turn in range(3):
                started = time.monotonic()
                waiting = [pool.submit(ask, client, "/%d/%d/x" % (turn, i))
                           for i, client in enumerate(clients)]
                answers = []
                while not all(menu.done() for menu in waiting):
                    asked = time.monotonic()
                    self.assertEqual(len(self.client.menu(self.work + "/a")[1]), 7)
                    answers.append(time.monotonic() - asked)
                known.append(max(answers, default=PATIENCE))
                for menu in waiting:
                    menu.result(PATIENCE)
                took.append(time.monotonic() - started)
        print("12 menus without an answer: %s ms, known ones beside them: %s ms" % tuple(
            [round(t * 1000) for t in times] for times in (took, known)))
        self.assertLess(min(took), 1)
        self.assertLess(min(known), 0.1)

    def test_clients_and_menus_do_not_mix(self):
        others = [self.connect() for _ in range(4)]
        names = ("a", "mine", "eve", "denied")
        wanted = {name: self.menu(name)[1] for name in names}
        with concurrent.futures.ThreadPoolExecutor() as pool:
            for _ in range(25):
                menus = [pool.submit(client.menu, self.work + "/" + name)
                         for client, name in zip(others, names)]
                menus = [menu.result(PATIENCE) for menu in menus]
                self.assertEqual([lines for _, lines in menus], [wanted[name] for name in names])
                self.assertEqual(len({serial for serial, _ in menus}), 4)

    def test_lock_and_unlock(self):
        self.client.request(self.work, ["a"])
        menu = self.menu("a")
        self.client.choose(menu[0], 4, activation_token=GLib.Variant("i", 7))
        self.wait_agent("received event sync_request command=lock .*path=%s/a" % self.work)
        self.client.wait_badges(self.work, {"a": "4"})
        self.choose("Unlock", "a", activation_token=GLib.Variant("s", "token"))
        self.wait_agent("received event sync_request command=unlock path=%s/a" % self.work)
        self.client.wait_badges(self.work, {"a": "1"})
        os.rename(self.work + "/a", self.work + "/b")
        self.client.choose(menu[0], 4)  # as the menu was built, however much later
        wait_until(lambda: self.agent_output().count("sync_request command=lock") == 2, PATIENCE,
                   "a request")

    def test_link_is_written_by_the_client(self):
        self.choose("Copy Team Link", "a")  # a client without a clipboard, where there is no display
        wait_until(lambda: "the clipboard was not written: " in self.log(), PATIENCE, "the failure")
        texts, times = [], []
        answers = [True, False, None]

        def set_clipboard(text):
            times.append(time.monotonic())
            texts.append(text)
            return answers.pop(0)
        self.client.export_clipboard(set_clipboard)

        self.choose("Copy Team Link", "a")
        self.wait_agent("received event show_message .*A link to 'a' has been copied")
        self.assertEqual(texts, [link("web.example", "c 1", 12345, 67890)])

        self.choose("Copy Team Link", "a")
        wait_until(lambda: "clipboard was not written by" in self.log(), PATIENCE, "a refusal")
        self.choose("Copy Team Link", "mine")
        wait_until(lambda: len(texts) == 3, PATIENCE, "the third text")
        self.choose("Create Public Link", "a")
        self.wait_agent("received event finder_prequest .*show-public-link-dialog")
        self.assertNotIn("cannot write the clipboard", self.log())
        wait_until(lambda: "cannot write the clipboard" in self.log(), PATIENCE, "the limit")
        self.assertLess(1.5, time.monotonic() - times[2])
        self.assertEqual(self.agent_output().count("show_message"), 1)

    def test_large_selections(self):
        names = ["n/f%05d" % i for i in range(10000)]
        self.make(*names)
        items = [os.path.join(self.work, name) for name in names]
        self.menu("a")
        self.menu(*names)
        for count in (1, 1000, 10000):
            self.assertNotEqual(self.client.menu(*items[:count])[0], 0)
        self.assertEqual(self.client.menu(*items * 10, items[0]), (0, []))
        for _ in range(16):
            lines = self.client.menu(*items)[1]
        self.assertEqual([line.title for line in lines],
                         ["Lock for Me", "Last Modified by: Me", "Modify"])
        with open("/proc/%d/status" % self.session.owner_process(NAME), encoding="ascii") as file:
            memory = int(re.search(r"VmHWM:\s+(\d+)", file.read()).group(1)) // 1024
        print("memory: %d MiB" % memory)
        self.assertLess(memory, 400)  # a sanitizer keeps freed memory for a while
        self.client.choose(self.client.menu(*items[:300])[0], 0)
        wait_until(lambda: re.findall(r"sync_request command=lock path=(\S+)", self.agent_output())
                   == items[:300], PATIENCE, "a request for each, in order")


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
