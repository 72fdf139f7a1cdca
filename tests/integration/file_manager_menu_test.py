#!/usr/bin/python3
"""The real file manager, extension, dialog and sample Agent: what a right click offers and does.

    file_manager_menu_test.py BUILD HOST EXTENSIONS [--keep FOLDER]

As file_manager_badges_test.py. Menus and dialogs are read and used as a screen reader does it.
"""
import contextlib
import os
import re
import signal
import sys
import time

import gi

from desktop_session import (DesktopSession, SessionError, enter_private_mounts, mount_over,
                             need_programs, wait_until)
from dialog_test import READ_CLIPBOARD
from file_manager_badges_test import COLOURS, COMMANDS, NAME, parse_arguments, read_colours
from sample_agent import SampleAgent

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PATIENCE = 30  # seconds; what it waits for takes one to three
HOLD_UP = 20.0  # seconds; a menu that waits for somebody stopped takes 25 or for ever
FILES = ["plain", "copied", "a_b.txt", "sub/unknown", "sub/other", "pair/one",
         "pair/two"]
INFORMATION = ["Last Modified by: Me", "Modify"]


class MenuTest:
    def __init__(self, arguments, session):
        self.host = arguments.host
        self.menu_took = 0.0
        self.opened = 0
        self.session = session
        self.colours = read_colours(COLOURS)
        self.work = os.path.join(session.home, "Work")
        for folder in ("sub", "pair"):
            os.makedirs(os.path.join(self.work, folder))
        for name in FILES:
            with open(os.path.join(self.work, name), "w", encoding="utf-8") as file:
                file.write(name)
        self.agent = SampleAgent(session, arguments.build + "/bin/kelvo-sample-agent", self.work,
                                 [{"path": "a_b.txt", "lock": 1, "owner": "Eve_Adams"}])
        session.spawn(COMMANDS[self.host] + [self.work])
        wait_until(lambda: session.owner_process(NAME), PATIENCE, "an extension")
        wait_until(lambda: self.count("in-sync"), PATIENCE, "badges")

    def count(self, badge):
        return self.session.screenshot().count_near(self.colours[badge])

    def key(self, *keys):
        self.session.run(("xdotool", "key") + keys)

    # GTK 4 never says that something shows.
    def found(self, application):
        """(role, name): object, of all that the application shows."""
        shown = (Atspi.StateType.VISIBLE if application == "kelvo-finder-dialog"
                 or self.host == "nautilus" else Atspi.StateType.SHOWING)
        found = {}
        with contextlib.suppress(GLib.GError, AttributeError):  # it changes meanwhile
            left = [app for app in children(Atspi.get_desktop(0))
                    if application in app.get_name().lower()]
            while left:
                node = left.pop()
                states = node.get_state_set()
                if node.get_role_name() != "application":
                    if not states.contains(shown) or node.get_role_name() == "menu bar":
                        continue
                    found[(node.get_role_name(), node.get_name())] = node
                left += children(node)
        return found

    def menu_lines(self):
        return {name: node for (role, name), node in self.found(self.host).items()
                if role == "menu item"}

    def select(self, name):
        """Shows a file selected, in a window that has the keyboard."""
        addresses = str(["file://%s/%s" % (self.work, name)])
        self.session.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.FileManager1",
                          "--object-path", "/org/freedesktop/FileManager1", "--method",
                          "org.freedesktop.FileManager1.ShowItems", addresses, ""])

    def open_menu(self, *wanted):
        """Opens the menu, again until it has a line like each of these; its lines by title."""
        end = time.monotonic() + PATIENCE
        lines = {}
        while time.monotonic() < end:
            begin = time.monotonic()
            self.key("shift+F10")
            with contextlib.suppress(SessionError):
                wait_until(lambda: "Properties" in self.menu_lines(), 3, "a menu")
            self.menu_took = time.monotonic() - begin
            lines = self.menu_lines()
            if all(any(re.match(title, line) for line in lines) for title in wanted):
                return lines
            self.key("Escape")
        raise SessionError("no menu with %s: %s" % (wanted, list(lines)))

    def click(self, node):
        with contextlib.suppress(GLib.GError):  # it may be gone before it answers
            node.do_action(0)

    def wait_agent(self, *deeds):
        def done():
            output = self.session.output("kelvo-sample-agent")
            return all(re.search(deed, output) for deed in deeds)
        wait_until(done, PATIENCE, lambda: "%s in\n%s" % (
            deeds, self.session.output("kelvo-sample-agent")[-2000:]))

    def select_all(self, folder, count):
        """Selects what is in a folder that Nemo shows already."""
        def selected():
            title = self.session.run(["xdotool", "getactivewindow", "getwindowname"]).decode()
            if title.startswith(folder):
                self.key("ctrl+a")
            return any("%d items selected" % count in name for _, name in self.found(self.host))
        wait_until(selected, PATIENCE, "%d items selected" % count)

    def check_lock(self, *names):
        self.select(names[0])
        if len(names) > 1:
            self.select_all(os.path.dirname(names[0]), len(names))
        # Once the box of the dialog was ticked, the line says what it will do.
        title = "Lock & Open" if self.opened else "Lock for Me"
        lines = self.open_menu(title)
        sensitive = {name: line.get_state_set().contains(Atspi.StateType.SENSITIVE)
                     for name, line in lines.items()}
        expect(sensitive[title], True, "the line can be chosen")
        expect([sensitive.get(name) for name in INFORMATION], [False, False], "information")
        self.click(lines[title])
        self.wait_agent(*('done: lock "?%s/%s"?, result 0' % (self.work, name) for name in names))
        self.answer_dialog("Open file after locking" if len(names) == 1
                           else "Open files after locking")
        self.wait_agent(*('done: open "?%s/%s"?' % (self.work, name) for name in names))
        opened = self.session.output("kelvo-sample-agent").count("done: open ")
        self.opened += len(names)
        expect(opened, self.opened, "files opened")
        wait_until(lambda: self.count("locked"), PATIENCE, "the badge of an own lock")

    def answer_dialog(self, box):
        """Ticks the box by the keyboard and confirms."""
        def dialog():
            return self.found("kelvo-finder-dialog")
        wait_until(lambda: ("check box", box) in dialog(), PATIENCE,
                   lambda: "%s in %s" % (box, list(dialog())))

        def in_front():
            with contextlib.suppress(SessionError):
                owner = self.session.run(["xdotool", "getactivewindow", "getwindowpid"])
                return os.readlink("/proc/%d/exe" % int(owner)).endswith("/kelvo-finder-dialog")
        wait_until(in_front, PATIENCE, "the dialog in front")
        node = dialog()[("check box", box)]

        def ticked():
            return node.get_state_set().contains(Atspi.StateType.CHECKED)
        expect(ticked(), self.opened > 0, "the box starts as it was left")
        if not ticked():
            self.key("Tab", "space")
            wait_until(ticked, PATIENCE, "a tick")
        self.session.screenshot(os.path.join(self.session.folder, self.host + "-dialog.png"))
        self.key("Return")
        wait_until(lambda: ("check box", box) not in dialog(), PATIENCE, "the end of the dialog")

    def check_titles(self):
        """An underscore of a name is one, and no mark of a key."""
        self.select("a_b.txt")
        self.open_menu("Unlock$", "Locked by: Eve_Adams at ")
        self.session.screenshot(os.path.join(self.session.folder, self.host + "-menu.png"))
        self.key("Escape")

    def check_link(self):
        self.select("copied")
        self.click(self.open_menu("Copy Team Link")["Copy Team Link"])

        def clipboard():
            with contextlib.suppress(SessionError):
                return self.session.run([sys.executable, "-c", READ_CLIPBOARD], 5).decode()
        wait_until(lambda: re.match(r"https?://\S+$", clipboard() or ""), PATIENCE,
                   lambda: "a link in the clipboard: %r" % clipboard())

    def check_held_up(self, name, process):
        """While the process is stopped, a menu comes all the same."""
        os.kill(process, signal.SIGSTOP)
        try:
            self.select(name)
            self.open_menu("Rename")
            self.key("Escape")
            expect(self.menu_took < HOLD_UP, True, "a menu in time (%.1f s)" % self.menu_took)
        finally:
            os.kill(process, signal.SIGCONT)

    def check_stopped_extension(self):
        self.select("sub/unknown")
        self.check_held_up("sub/other", self.session.owner_process(NAME))

    def run(self):
        checks = [("an own lock of one file", lambda: self.check_lock("plain")),
                  ("titles", self.check_titles)]
        if self.host == "nemo":
            checks += [("own locks of two files", lambda: self.check_lock("pair/one", "pair/two"))]
        checks += [("the link in the clipboard", self.check_link),
                   ("a stopped Agent",
                    lambda: self.check_held_up("sub/unknown", self.agent.process.pid)),
                   ("a stopped extension", self.check_stopped_extension),
                   ("silence", self.check_silence)]
        for name, check in checks:
            check()
            print("ok   %s (last menu: %.1f s)" % (name, self.menu_took), flush=True)

    def check_silence(self):
        # Caja's own, on being asked to show items.
        spoken = [line for line in self.session.output(self.host).splitlines()
                  if ("kelvo" in line.lower().replace(self.session.folder.lower(), "")
                      or "CRITICAL" in line) and "caja_file_unref" not in line]
        expect(spoken, [], "what the plug-in made the file manager print")


def children(node):
    return [node.get_child_at_index(i) for i in range(node.get_child_count())]


def expect(got, wanted, what):
    if got != wanted:
        raise SessionError("%s: %r instead of %r" % (what, got, wanted))


def main():
    arguments = parse_arguments()
    try:
        need_programs(arguments.host, "gdbus", "xdotool")
        enter_private_mounts()
        mount_over("%s/lib/%s-extensions" % (arguments.build, arguments.host), arguments.extensions)
        with DesktopSession(share=arguments.build + "/share", folder=arguments.keep) as session:
            session.start({NAME: arguments.build + "/bin/kelvo-finder-sync"})
            os.environ.update(session.environment)  # for the accessibility bus
            try:
                MenuTest(arguments, session).run()
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
