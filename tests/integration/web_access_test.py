#!/usr/bin/python3
"""From the menu to the page in the browser: extension, sample Agent, web server and secret store.

    web_access_test.py BUILD_FOLDER [unittest arguments]
"""
import hashlib
import os
import plistlib
import shutil
import subprocess
import sys
import time
import unittest

from gi.repository import GLib

from bus_client import NAME, BusClient
from desktop_session import PrivateSession, need_programs, wait_until
from sample_agent import SampleAgent
from web_server import WebServer

BUILD = None
PATIENCE = 30  # seconds; on an idle machine nothing takes more than three
PREFERENCES = "Library/Preferences/com.kelvo.vip"
KEY = "k\u00e9y %"
API = "/KelvoWebApi?clientId=7QK31MZ0R9C4TW8N2B6YH05FXJ3V"


def xml(nodes):
    return (200, b"<kelvoApiResponse><commandResponse>" + nodes +
            b"</commandResponse></kelvoApiResponse>")


TOKEN = xml(b"<onetimetoken>first</onetimetoken><onetimetoken>last</onetimetoken>")
TICKET = xml(b"<ticket>old</ticket><ticket>T%2F;$(id)</ticket>")


class WebAccessTest(unittest.TestCase):
    def setUp(self):
        need_programs("gnome-keyring-daemon", "secret-tool", "openssl")
        self.session = PrivateSession()
        self.addCleanup(self.session.close)
        self.server = WebServer()
        self.addCleanup(self.server.close)
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        with open(self.work + "/a", "w", encoding="ascii") as file:
            file.write("four")
        self.install_browser()
        self.write_settings("user_info", {"rcid": "ab c/1", "config_label": "Web Test",
                                          "trace_level": 4})
        self.write_settings("server_info", {"web_server": self.server.name})
        self.start_session()
        self.store_key()
        self.agent = SampleAgent(self.session, BUILD + "/bin/kelvo-sample-agent", self.work,
                                 [{"path": "a", "fileId": "6\"7 %"}])
        self.client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.client.close)
        wait_until(lambda: self.client.directories() == [self.work], PATIENCE, "watched folders")

    def start_session(self):
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})

    def install_browser(self):
        """A default browser that writes down what it is started with, and what it may do."""
        self.visits = os.path.join(self.session.folder, "visits")
        program = os.path.join(self.session.folder, "browser")
        with open(program, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\ncp /proc/self/status '%s.status'\n"
                       "printf '%%s %%s %%s\\n' \"$1\" \"$XDG_ACTIVATION_TOKEN\""
                       " \"$DESKTOP_STARTUP_ID\" >>'%s'\n"
                       % (self.visits, self.visits))
        os.chmod(program, 0o700)
        folder = os.path.join(self.session.environment["XDG_DATA_HOME"], "applications")
        os.makedirs(folder)
        with open(folder + "/browser.desktop", "w", encoding="utf-8") as file:
            file.write("[Desktop Entry]\nType=Application\nName=Browser\nExec=\"%s\" %%u\n"
                       "MimeType=x-scheme-handler/https;\n" % program)
        with open(folder + "/mimeapps.list", "w", encoding="utf-8") as file:
            file.write("[Default Applications]\nx-scheme-handler/https=browser.desktop\n")

    def write_settings(self, name, settings):
        path = os.path.join(self.session.home, PREFERENCES, name + ".plist")
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            plistlib.dump(settings, file)

    def store_key(self):
        keyring = self.session.spawn(
            ["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
            stdin=subprocess.PIPE)
        keyring.stdin.write(b"password")
        keyring.stdin.close()
        wait_until(lambda: self.session.owner_process("org.freedesktop.secrets"), PATIENCE,
                   "a secret store")
        subprocess.run(["secret-tool", "store", "--label=Web Test", "service", "Web Test",
                        "account", "ab c/1"], env=self.session.environment, check=True,
                       input=KEY.encode(), timeout=PATIENCE)

    def choose(self, title, **data):
        """The entry, once it may be chosen."""
        def find():
            serial, lines = self.client.menu(self.work + "/a")
            return next(((serial, line.index) for line in lines
                         if line.title == title and line.enabled), None)
        self.client.choose(*wait_until(find, PATIENCE, "the entry " + title), **data)

    def choose_until(self, done, what, title, **data):
        """Until `done`; once more if the server hears nothing.

        A choice is ignored while an earlier one is still signing in, which may be a moment longer
        than what is seen of it.
        """
        heard, chosen = len(self.server.requests), time.monotonic()
        self.choose(title, **data)

        def is_done():
            nonlocal chosen
            if done():
                return True
            if len(self.server.requests) == heard and time.monotonic() - chosen > PATIENCE / 3:
                chosen = time.monotonic()
                self.choose(title, **data)
            return False
        wait_until(is_done, PATIENCE, lambda: "%s in\n%s" % (what, self.log()))

    def opened(self):
        try:
            with open(self.visits, encoding="utf-8") as file:
                return file.read().splitlines()
        except FileNotFoundError:
            return []

    def log(self):
        return self.session.extension_log()

    def test_entries_open_pages_signed_in(self):
        self.server.answers = {"createOnetimeToken": TOKEN, "generateLoginTicketFromSecret": TICKET}
        self.choose_until(self.opened, "a page", "Open Kelvo Here",
                          activation_token=GLib.Variant("s", "token 1"))
        self.choose_until(lambda: len(self.opened()) == 2, "a second page", "Add Comment")
        page = ("https://" + self.server.name +
                "/directnavigation?view=%s&ticket=T%%2F;$(id)&rcid=ab c/1&fileID=6\"7 %% ")
        self.assertEqual(self.opened(), [page % "desktopExploreFile" + "token 1 token 1",
                                         page % "fileAddComment" + " "])
        passhash = hashlib.sha1(KEY.encode() + b"last").hexdigest()
        self.assertEqual(self.server.requests, 2 * [
            API + "&command=createOnetimeToken&rcId=ab%20c%2F1",
            API + "&command=generateLoginTicketFromSecret&passhash=" + passhash +
            "&rcId=ab%20c%2F1"])
        self.assertIn("login ticket: T%2F", self.log(), "the most that is ever logged")
        self.assertNotIn(KEY, self.log())

    def test_a_failure_opens_nothing(self):
        # Without a display the log is where an alert is told.
        self.write_settings("server_info", {"web_server": "localhost:1"})
        refused = ("Connection failed! Error - Could not connect to localhost: Connection refused"
                   " https://localhost:1/KelvoWebApi")
        self.choose_until(lambda: refused in self.log(), refused, "Add Comment")
        wait_until(lambda: "Network error" in self.log(), PATIENCE, lambda: "an alert\n" + self.log())

        self.server.answers = {"createOnetimeToken": TOKEN, "generateLoginTicketFromSecret": TICKET}
        self.write_settings("server_info", {"web_server": self.server.name})
        self.choose_until(self.opened, "a page", "Open Kelvo Here")
        self.assertEqual(len(self.opened()), 1)


class ForeignWindowTest(WebAccessTest):
    """An installation without the program that draws windows, and one of its name in $PATH."""
    test_entries_open_pages_signed_in = test_a_failure_opens_nothing = None

    def start_session(self):
        prefix, foreign = (os.path.join(self.session.folder, name) for name in ("usr", "foreign"))
        self.mark = foreign + "/started"
        os.makedirs(prefix + "/bin")
        os.mkdir(foreign)
        shutil.copy(BUILD + "/bin/kelvo-finder-sync", prefix + "/bin")
        os.symlink(BUILD + "/share", prefix + "/share")
        with open(foreign + "/kelvo-finder-dialog", "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\ntouch '%s'\n" % self.mark)
        os.chmod(foreign + "/kelvo-finder-dialog", 0o700)
        self.session.environment.update({"PATH": foreign + ":" + os.environ["PATH"], "DISPLAY": ":9"})
        self.session.start({NAME: prefix + "/bin/kelvo-finder-sync"})

    def test_it_is_not_started(self):
        self.write_settings("server_info", {"web_server": "localhost:1"})
        refused = ("cannot start %s/usr/libexec/kelvo-finder-sync/kelvo-finder-dialog"
                   % self.session.folder)
        self.choose_until(lambda: refused in self.log(), refused, "Add Comment")
        self.assertFalse(os.path.exists(self.mark))


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
