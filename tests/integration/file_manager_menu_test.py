#!/usr/bin/python3
"""The real file manager, extension, dialog and sample Agent: what a right click offers and does.

    file_manager_menu_test.py BUILD HOST EXTENSIONS [--keep FOLDER]

As file_manager_badges_test.py. Menus and dialogs are read and used as a screen reader does it.
"""
import contextlib
import os
import re
import sys
import time

from desktop_session import SessionError, wait_until
from dialog_test import READ_CLIPBOARD
from file_manager import (HOSTS, PATIENCE, Atspi, FileManagerTest, expect, is_in, run_test,
                          stopped)

FILES = ["plain", "copied", "a_b.txt", "sub/unknown", "sub/other",
         "usual/plain", "pair/one", "pair/two"]
INFORMATION = ["Last Modified by: Me", "Modify"]


class MenuTest(FileManagerTest):
    def __init__(self, arguments, session):
        super().__init__(arguments, session, FILES)
        self.opened = 0

    def select(self, name):
        self.files.select(self.path(name))

    def picture(self, subject):
        self.session.screenshot(os.path.join(self.session.folder,
                                             "%s-%s.png" % (self.host, subject)))

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
                self.files.key("ctrl+a")
            return any("%d items selected" % count in name for _, name in self.files.found())
        wait_until(selected, PATIENCE, "%d items selected" % count)

    def check_lock(self, *names):
        self.select(names[0])
        if len(names) > 1:
            self.select_all(os.path.dirname(names[0]), len(names))
        # Once the box of the dialog was ticked, the line says what it will do.
        title = "Lock & Open" if self.opened else "Lock for Me"
        lines = self.files.open_menu(title)
        sensitive = {name: is_in(Atspi.StateType.SENSITIVE, line) for name, line in lines.items()}
        expect(sensitive[title], True, "the line can be chosen")
        expect([sensitive.get(name) for name in INFORMATION], [False, False], "information")
        self.files.click(lines[title])
        self.wait_agent(*('done: lock "?%s/%s"?, result 0' % (self.work, name) for name in names))
        box = "Open file%s after locking" % ("s" if len(names) > 1 else "")
        expect(is_in(Atspi.StateType.CHECKED, self.files.wait_for_dialog(box)), self.opened > 0,
               "the box starts as it was left")
        self.picture("dialog")
        self.files.answer_dialog(box, tick=True)
        self.wait_agent(*('done: open "?%s/%s"?' % (self.work, name) for name in names))
        opened = self.session.output("kelvo-sample-agent").count("done: open ")
        self.opened += len(names)
        expect(opened, self.opened, "files opened")
        if self.host == "dolphin":
            self.files.key("ctrl+shift+a")  # selects the others instead: it tints what is selected
        self.files.wait_for(lambda counts: counts["locked"], "the badge of an own lock")

    def check_titles(self):
        """An underscore of a name is one, and no mark of a key."""
        self.select("a_b.txt")
        self.files.open_menu("Unlock$", "Locked by: Eve_Adams at ")
        self.picture("menu")
        self.files.close_menu()

    def check_link(self):
        self.select("copied")
        self.files.click(self.files.open_menu("Copy Team Link")["Copy Team Link"])

        def clipboard():
            with contextlib.suppress(SessionError):
                return self.session.run([sys.executable, "-c", READ_CLIPBOARD], 5).decode()
        wait_until(lambda: re.match(r"https?://\S+$", clipboard() or ""), PATIENCE,
                   lambda: "a link in the clipboard: %r" % clipboard())

    def time_menu(self, name):
        """Seconds to select a file, at which some ask for its menu, and to open that.

        Who is held up meanwhile answers nothing.
        """
        begin = time.monotonic()
        self.select(name)
        self.files.answers_after()
        selected = time.monotonic() - begin
        self.files.open_menu(HOSTS[self.host].line)
        self.files.close_menu()
        return selected + self.files.menu_took

    def check_held_up(self, name, process):
        """While the process is stopped, a menu comes as fast as it does otherwise."""
        usual = self.time_menu("usual/plain")
        with stopped(process):
            took = self.time_menu(name)
        print("     the menu of a file: %.1f s, usually %.1f s" % (took, usual))
        expect(took < 3 + 2 * usual, True, "a menu in %.1f s, usually in %.1f s" % (took, usual))

    def run(self):
        self.start_agent([{"path": "a_b.txt", "lock": 1, "owner": "Eve_Adams"}])
        self.files.start(self.work)
        self.files.wait_for(lambda counts: counts["in-sync"], "badges")
        checks = [("an own lock of one file", lambda: self.check_lock("plain")),
                  ("titles", self.check_titles)]
        if self.host == "nemo":
            checks += [("own locks of two files", lambda: self.check_lock("pair/one", "pair/two"))]
        checks += [("the link in the clipboard", self.check_link),
                   ("a stopped Agent",
                    lambda: self.check_held_up("sub/unknown", self.agent.process.pid)),
                   ("a stopped extension",
                    lambda: self.check_held_up("sub/other", self.extension())),
                   ("silence", self.files.check_silence)]
        for name, check in checks:
            check()
            print("ok   " + name, flush=True)


if __name__ == "__main__":
    sys.exit(run_test(MenuTest))
