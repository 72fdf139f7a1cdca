#!/usr/bin/python3
"""kelvo-finder on a private bus, against an extension that the test scripts.

    finder_test.py BUILD_FOLDER [unittest arguments]
"""
import os
import plistlib
import signal
import subprocess
import sys
import threading
import unittest

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "integration"))
from bus_client import INTERFACE, NAME, PATH, as_bytes, byte_array  # noqa: E402
from desktop_session import PrivateSession, wait_until  # noqa: E402

PROGRAM = None
INTERFACE_XML = """<node><interface name="%s">
  <method name="BeginObservingDirectory"><arg type="ay" direction="in"/></method>
  <method name="EndObservingDirectory"><arg type="ay" direction="in"/></method>
  <method name="RequestBadges"><arg type="ay" direction="in"/><arg type="ay" direction="in"/>
    <arg type="ay" direction="out"/></method>
  <method name="DescribeItems"><arg type="ay" direction="in"/><arg type="ay" direction="in"/>
    <arg type="a(sss)" direction="out"/><arg type="au" direction="out"/></method>
  <method name="ListProjects"><arg type="aa{sv}" direction="out"/>
    <arg type="a{sv}" direction="out"/></method>
  <method name="MenuForItems"><arg type="u" direction="in"/><arg type="aay" direction="in"/>
    <arg type="u" direction="out"/><arg type="a(ussbsb)" direction="out"/></method>
  <method name="ChooseMenuItem"><arg type="u" direction="in"/><arg type="u" direction="in"/>
    <arg type="a{sv}" direction="in"/></method>
  <signal name="MenusChanged"/>
  <signal name="BadgesChanged"><arg type="ay"/><arg type="ay"/></signal>
  <property name="Version" type="s" access="read"/>
  <property name="AgentConnected" type="b" access="read"/>
  <property name="DirectoryURLs" type="aay" access="read"/>
  <property name="Badges" type="a(yss)" access="read"/>
</interface></node>""" % INTERFACE
MENU = [(0, "Add Comment", "", False, "addCommentButtonPressed", False),
        (1, "Copy Link", "", True, "copyLinkButtonPressed", False),
        (2, "Copy All", "", True, "other", False),
        (3, "Locked by: \x1b[2J\u202e", "", False, "", False), (4, "", "", False, "", True)]


class Extension:
    """Answers `badges` ({name: badge}, as bytes) and keeps what it was called with."""

    def __init__(self, address, folder):
        self.folder = os.fsencode(folder)
        self.badges = {}
        self.extra_answers = b""
        self.descriptions = ([], [])
        self.projects = ([], {})
        self.menu = (7, MENU)
        self.asked = []  # the items of each menu
        self.chosen = []  # serial, index, platform data
        self.choice_error = None  # the name of an error
        self.clipboard = []  # what hosts answer to: connection, text
        self.calls = []
        self._loop = GLib.MainLoop()
        threading.Thread(target=self._loop.run, daemon=True).start()
        flags = Gio.DBusConnectionFlags
        self._connection = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self._connection.register_object(
            PATH, Gio.DBusNodeInfo.new_for_xml(INTERFACE_XML).interfaces[0], self._on_call,
            self._on_get, None)
        self._connection.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            GLib.Variant("(su)", (NAME, 0)), None, Gio.DBusCallFlags.NONE, 5000, None)

    def close(self):
        self._connection.close_sync(None)
        self._loop.quit()

    def signal_menus(self):
        self._connection.emit_signal(None, PATH, INTERFACE, "MenusChanged", None)

    def signal(self, folder, entries):
        self._connection.emit_signal(
            None, PATH, INTERFACE, "BadgesChanged",
            GLib.Variant.new_tuple(byte_array(folder), byte_array(entries)))

    def _on_call(self, _connection, sender, _path, _interface, member, parameters, invocation):
        if member == "ListProjects":
            invocation.return_value(GLib.Variant("(aa{sv}a{sv})", self.projects))
            return
        if member == "MenuForItems":
            items = parameters.get_child_value(1)
            self.asked.append([as_bytes(items.get_child_value(i))
                               for i in range(items.n_children())])
            invocation.return_value(GLib.Variant("(ua(ussbsb))", self.menu))
            return
        if member == "ChooseMenuItem":
            self._choose(sender, parameters, invocation)
            return
        folder = as_bytes(parameters.get_child_value(0))
        self.calls.append((member, folder))
        if member == "DescribeItems":
            invocation.return_value(GLib.Variant("(a(sss)au)", self.descriptions))
            return
        if member != "RequestBadges":
            invocation.return_value(None)
            return
        names = as_bytes(parameters.get_child_value(1)).split(b"\0")[:-1]
        answer = b"".join(self.badges.get(name, b"0") for name in names) + self.extra_answers
        invocation.return_value(GLib.Variant.new_tuple(byte_array(answer)))

    def _choose(self, sender, parameters, invocation):
        self.chosen.append(parameters.unpack())
        if self.choice_error:
            invocation.return_dbus_error(self.choice_error, "in the extension's words")
            return
        invocation.return_value(None)
        for connection, text in self.clipboard:
            (connection or self._connection).call(
                sender, "/com/kelvo/FinderHost", "com.kelvo.FinderHost1", "SetClipboard",
                GLib.Variant("(s)", (text,)), None, Gio.DBusCallFlags.NONE, 5000, None, None)
            (connection or self._connection).flush_sync(None)

    def _on_get(self, _connection, _sender, _path, _interface, name):
        return {"Version": GLib.Variant("s", "7.8\x1b[2J"),
                "AgentConnected": GLib.Variant("b", True),
                "DirectoryURLs": GLib.Variant("aay", [self.folder]),
                "Badges": GLib.Variant("a(yss)", [(ord("1"), "in-sync", "emblem-one"),
                                                  (ord("3"), "locked", "emblem-three")])}[name]


class FinderTest(unittest.TestCase):
    def setUp(self):
        self.session = PrivateSession()
        self.addCleanup(self.session.close)
        self.session.start({})
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        self.folder = os.fsencode(self.work)

    def make(self, *names):
        for name in names:
            with open(os.path.join(self.folder, name), "wb"):
                pass

    def start_extension(self):
        extension = Extension(self.session.environment["DBUS_SESSION_BUS_ADDRESS"], self.work)
        self.addCleanup(extension.close)
        return extension

    def finder(self, *arguments, given=None, **environment):
        """Exit code, standard output, standard error."""
        done = subprocess.run([PROGRAM, *arguments], capture_output=True, timeout=40, check=False,
                              input=given, cwd=self.work,
                              env={**self.session.environment, **environment})
        return done.returncode, done.stdout, done.stderr

    def test_names_are_shown_on_one_line_each_and_sorted(self):
        self.make(b"b", b"new\nline", b"\xff\x1b[31m", b"\xc3\xbc")
        extension = self.start_extension()
        extension.badges = {b"b": b"3", b"new\nline": b"1", b"\xff\x1b[31m": b"9", b"\xc3\xbc": b"1"}
        self.assertEqual(self.finder("badges", "."), (
            0, b"3  locked   b\n1  in-sync  new\\nline\n1  in-sync  \xc3\xbc\n"
               b"9  ?        \\xff\\x1b[31m\n", b""))
        kinds = [("", "", ""), ("In sync", "Zoë", "Modify\x1b")]
        extension.descriptions = kinds, [0, 1, 0, 0]
        self.assertEqual(self.finder("badges", "--describe", ".")[1].decode().split("\n")[:2], [
            "3  locked   b  -  -  -", "1  in-sync  new\\nline  In sync  Zoë  Modify\\x1b"])
        for which in [0, 1, 0], [0, 1, 0, 2]:
            extension.descriptions = kinds, which
            self.assertEqual(self.finder("badges", "--describe", ".")[::2], (
                1, b"kelvo-finder: the extension does not describe each name that it was asked "
                   b"for\n"))

    def test_badges_waits_for_signals_of_its_folder(self):
        self.make(b"a", b"b")
        extension = self.start_extension()
        extension.badges = {b"a": b"1"}
        process = subprocess.Popen([PROGRAM, "badges", "--wait", "30", self.work],
                                   env=self.session.environment, stdout=subprocess.PIPE)
        wait_until(lambda: ("RequestBadges", self.folder) in extension.calls, 20, "a request")
        extension.signal(self.folder + b"x", b"3a\0" + b"3b\0")
        extension.signal(self.folder, b"3b")
        extension.signal(self.folder, b"3b\0" + b"1not asked for\0")
        self.assertEqual(process.communicate(timeout=20)[0], b"1  in-sync  a\n3  locked   b\n")

    def test_badges_ends_at_its_limit_and_with_a_wrong_answer(self):
        self.make(b"a")
        extension = self.start_extension()
        self.assertEqual(self.finder("badges", "--wait", "0.1", self.work),
                         (0, b"0  -        a\n", b""))
        extension.extra_answers = b"11"
        self.assertEqual(self.finder("badges", self.work), (
            1, b"", b"kelvo-finder: the extension answered 3 badges for 1 names\n"))

    def test_watch_observes_until_it_is_interrupted(self):
        self.make(b"a")
        extension = self.start_extension()
        extension.badges = {b"a": b"1", b"late": b"3"}
        process = subprocess.Popen([PROGRAM, "watch", self.work], env=self.session.environment,
                                   stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.assertEqual(process.stdout.readline(), b"1  in-sync  a\n")
        extension.signal(self.folder, b"1a\0")
        extension.signal(self.folder, b"3a\0")
        self.assertEqual(process.stdout.readline(), b"3  locked   a\n")
        self.make(b"late")
        self.assertEqual(process.stdout.readline(), b"3  locked   late\n")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(20), 0)
        self.assertEqual(extension.calls[0], ("BeginObservingDirectory", self.folder))
        self.assertEqual(extension.calls[-1], ("EndObservingDirectory", self.folder))

    def test_status_tells_all_properties(self):
        self.start_extension()
        code, output, error = self.finder("status")
        self.assertEqual((code, error), (0, b""))
        self.assertEqual(output.decode().split("\n"), [
            "Version         7.8\\x1b[2J", "AgentConnected  yes", "DirectoryURLs   " + self.work,
            "Badges          1  in-sync  emblem-one", "                3  locked   emblem-three",
            ""])

    def test_projects_are_grouped_by_kind(self):
        extension = self.start_extension()

        def project(kind, name, path, **more):
            return {"kind": GLib.Variant("s", kind), "name": GLib.Variant("s", name),
                    "path": byte_array(path),
                    **{key.replace("_", "-"): value for key, value in more.items()}}
        extension.projects = ([
            project("external", "Harbour\n", b"/x/\xff", status=GLib.Variant("s", "1 files, 2 B"),
                    id=GLib.Variant("s", "7"), owner=GLib.Variant("s", "Me"),
                    read_only=GLib.Variant("b", True), partial=GLib.Variant("b", True)),
            project("not-subscribed", "Old", b"", files=GLib.Variant("x", 5)),
            project("from the future", "?", b"/x"),
            {"id": GLib.Variant("u", 1), "kind": GLib.Variant("s", "external"),
             "unknown": GLib.Variant("(ss)", ("a", "b"))}],
            {"initialized": GLib.Variant("b", True), "synced-files": GLib.Variant("x", 3),
             "synced-bytes": GLib.Variant("x", 1200), "more": GLib.Variant("s", "")})
        code, output, error = self.finder("projects")
        self.assertEqual((code, error), (0, b""))
        self.assertEqual(output.decode().split("\n"), [
            "External projects",
            "  7  Harbour\\n  Me  1 files, 2 B, read-only  /x/\\xff",
            "  -  -          -   -                        -",
            "Projects that are not subscribed", "  -  Old  -  -  -",
            "Synced      3 files, 1.2 KB", "Not synced  0 files, 0 B", ""])
        extension.projects = ([], {})
        self.assertEqual(self.finder("projects")[2],
                         b"kelvo-finder: no list from the Agent yet\n")

    def test_a_menu_is_listed_as_soon_as_there_is_one(self):
        extension = self.start_extension()
        extension.menu = (0, [])
        self.assertEqual(self.finder("menu", "a", "/etc"), (
            1, b"", b"kelvo-finder: no menu: /etc is not below a watched folder\n"))
        self.assertEqual(extension.asked, [[self.folder + b"/a", b"/etc"]])
        process = subprocess.Popen([PROGRAM, "menu", "--wait", "60", "--", "-\udcff"],
                                   cwd=self.work, env=self.session.environment,
                                   stdout=subprocess.PIPE)
        wait_until(lambda: len(extension.asked) == 2, 20, "a question")
        extension.menu = (7, MENU)
        extension.signal_menus()
        self.assertEqual(process.communicate(timeout=20)[0].decode(), "".join((
            "  0  disabled   Add Comment                     addCommentButtonPressed\n",
            "  1  enabled    Copy Link                       copyLinkButtonPressed\n",
            "  2  enabled    Copy All                        other\n",
            "  3  told       Locked by: \\x1b[2J\\xe2\\x80\\xae\n",
            "  4  separator\n")))
        self.assertEqual(extension.asked[-1], [self.folder + b"/-\xff"])

    def test_a_large_selection_comes_on_standard_input(self):
        extension = self.start_extension()
        names = [b"a long name of a file, number %d" % i for i in range(10000)]
        self.assertEqual(self.finder("menu", "--stdin0", given=b"\0".join(names))[0], 0)
        self.assertEqual(extension.asked, [[self.folder + b"/" + name for name in names]])
        self.assertEqual(self.finder("choose", "--stdin0", "copy all", given=b"x\0"),
                         (0, b"", b""))
        self.assertEqual(extension.chosen, [(7, 2, {})])
        asked = len(extension.asked)
        long = b"x" * ((1 << 20) - len(self.folder) - 1)  # an absolute path of 1 MiB
        for given, code in ((b"a\0" * 100000, 0), (b"a\0" * 3000000, 1),
                            ((long + b"\0") * 16, 0), ((long + b"\0") * 16 + b"a", 1)):
            answer = self.finder("menu", "--stdin0", given=given)
            self.assertEqual(answer[0], code)
            self.assertEqual(b"no menu: more than 100000 items" in answer[2], code == 1)
        self.assertEqual([len(items) for items in extension.asked[asked:]], [100000, 16])

    def test_a_copied_link_is_printed_if_it_is_the_extensions(self):
        extension = self.start_extension()
        other = Extension(self.session.environment["DBUS_SESSION_BUS_ADDRESS"], self.work)
        self.addCleanup(other.close)
        extension.clipboard = [(other._connection, "forged"), (None, "https://x.example/\n")]
        self.assertEqual(self.finder("choose", "Copy Link", "a", XDG_ACTIVATION_TOKEN="",
                                     DESKTOP_STARTUP_ID="token"),
                         (0, b"https://x.example/\\n\n", b""))
        self.assertEqual(extension.chosen, [(7, 1, {"activation-token": "token"})])

    def test_what_cannot_be_chosen_is_explained(self):
        extension = self.start_extension()
        error = "com.kelvo.FinderSync1.Error."
        for title, failure, reason in (
                ("Rename", None, "no line \"Rename\"; there are:\n  Add Comment\n  Copy Link\n"),
                ("locked", None, "no line \"locked\"; there are:"),
                ("COPY", None, "several lines begin with \"COPY\":\n  Copy Link\n  Copy All\n"),
                ("Add Comment", error + "Disabled", "this line cannot be chosen now\n"),
                ("add", error + "StaleMenu", "the menu has been replaced meanwhile"),
                ("copy l", error + "NotStarted", "the extension has not started yet"),
                ("copy l", error + "New", "the extension does not answer: in the extension's")):
            with self.subTest(title=title, failure=failure):
                extension.choice_error = failure
                code, output, told = self.finder("choose", title, "a")
                self.assertEqual((code, output), (1, b""))
                self.assertIn(reason, told.decode())

    def test_settings_are_shown_without_secrets_and_stay_as_they_are(self):
        self.assertEqual(self.finder("settings"), (
            1, b"", b"kelvo-finder: there is no account yet\n"))
        folder = os.path.join(self.session.home, "Library/Preferences/com.kelvo.vip")
        other = os.path.join(folder, "account_10")
        os.makedirs(other)
        files = {
            folder + "/user_info.plist": {"server": "s.example\\", "rcid": "RCID-VALUE",
                                          "password": "SECRET", "trace_level": 9},
            folder + "/server_info.plist": {"web_server": "w.example"},
            other + "/storage_info.plist": [["/in", True], ["/out", False], ["short"]],
            other + "/filter_info.plist": {"all": False, "images": True, "exclude": ["*.tmp"]},
            other + "/finger_prints.plist": [{"print": "FINGER"}, {}]}
        for path, contents in files.items():
            with open(path, "wb") as file:
                plistlib.dump(contents, file)
        with open(other + "/storage_quota.xml", "w", encoding="utf-8") as file:
            file.write("<request><parameters><total-quota>-1</total-quota>"
                       "<stored-this-computer>2000</stored-this-computer>"
                       "<total-this-computer>4000</total-this-computer></parameters></request>")
        code, output, error = self.finder("settings", CUPS_SERVER=folder + "/none")
        self.assertEqual(code, 0, error)
        # Key or file, and what stands behind it, blanks made one.
        lines = [" ".join(line.split()) for line in output.decode().split("\n")]
        for line in ("Account 1 " + folder, "Account 10 " + other, "server s.example\\\\",
                     "rcid set", "trace_level 9",
                     "master_project_folder %s/Kelvo Workplace (default)" % self.session.home, "auto_upgrade true (default)",
                     "storage_quota.xml: not there", "included /in", "excluded /out",
                     "quota unlimited", "this computer 2.0 KB of 4.0 KB stored",
                     "categories images", "excluded *.tmp", "fingerprints 2",
                     "web_server w.example"):
            self.assertIn(line, lines)
        for secret in (b"RCID-VALUE", b"SECRET", b"FINGER"):
            self.assertNotIn(secret, output)
        for path, contents in files.items():
            with open(path, "rb") as file:
                self.assertEqual(plistlib.load(file), contents)
        one = self.finder("settings", "--account", "10")[1].decode()
        self.assertIn("Account 10", one)
        self.assertNotIn("Account 1 ", one)

    def test_what_is_missing_is_named(self):
        rows = [(1, b"the extension is not installed", ("status",), {}),
                (1, b"there is no session bus", ("status",),
                 {"DBUS_SESSION_BUS_ADDRESS": "", "XDG_RUNTIME_DIR": self.work}),
                (1, b"there is no session bus", ("badges", "."),
                 {"DBUS_SESSION_BUS_ADDRESS": "autolaunch:", "XDG_RUNTIME_DIR": self.work}),
                (1, b"no connection to the session bus", ("watch", "."),
                 {"DBUS_SESSION_BUS_ADDRESS": "unix:path=/nowhere"}),
                (1, b"cannot read", ("badges", "nothing"), {}),
                (2, b"usage: kelvo-finder badges", ("badges", "--wait", "soon", "."), {}),
                (2, b"usage: kelvo-finder watch", ("watch",), {}),
                (1, b"there is no such account", ("settings", "--account", "9"), {}),
                (2, b"usage: kelvo-finder settings", ("settings", "--all"), {}),
                (2, b"usage: kelvo-finder menu", ("menu",), {}),
                (2, b"usage: kelvo-finder menu", ("menu", "--stdin0", "."), {}),
                (2, b"usage: kelvo-finder choose", ("choose", "Title"), {}),
                (1, b"there are no paths", ("menu", "--stdin0"), {}),
                (2, b"unknown command \"dance\"", ("dance",), {}),
                (2, b"a command is needed", (), {})]
        for code, reason, arguments, environment in rows:
            with self.subTest(arguments=arguments, reason=reason):
                answer = self.finder(*arguments, **environment)
                self.assertEqual(answer[:2], (code, b""))
                self.assertIn(reason, answer[2])


if __name__ == "__main__":
    PROGRAM = os.path.join(os.path.abspath(sys.argv.pop(1)), "bin", "kelvo-finder")
    unittest.main()
