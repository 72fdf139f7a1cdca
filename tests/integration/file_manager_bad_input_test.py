#!/usr/bin/python3
"""The real file manager where something is amiss: the plug-in is for another one, no icon of ours is
there, no session bus answers. It shows its folder all the same.

    file_manager_bad_input_test.py BUILD HOST EXTENSIONS [--keep FOLDER]

As file_manager_badges_test.py.
"""
import os
import shutil
import signal
import sys

from desktop_session import mount_over, wait_until
from file_manager import HOSTS, PATIENCE, FileManagerTest, expect, run_test

OURS = ["Lock for Me", "Copy Team Link", "Modify"]
# What each needs of the file manager. Of Dolphin's plug-ins that for menus says so.
SYMBOLS = {"dolphin": b"KAbstractFileItemActionPlugin11qt_metacall"}


class BadInputTest(FileManagerTest):
    def __init__(self, arguments, session):
        super().__init__(arguments, session, ["plain", "untouched"])
        self.plugins = "%s/lib/%s" % (arguments.build, "dolphin-plugins" if self.host == "dolphin"
                                      else self.host + "-extensions")

    def open(self, condition, what):
        """A new process over the folder, which answers; what it prints is its alone."""
        self.files.process = None
        log = os.path.join(self.session.logs, self.host)
        if os.path.exists(log):
            os.rename(log, log + ".before")
        self.files.start(self.work)
        self.files.wait_for(lambda counts: self.files.white > 50000 and condition(counts), what)
        self.files.wait_for_title("Work")
        self.files.answers_after()

    def close(self, *statuses):
        """All its windows; what shows items may have opened another one."""
        def ended():
            if self.files.process.poll() is None:
                self.files.key("alt+F4")
            return self.files.process.poll() is not None
        wait_until(ended, PATIENCE, "the end of the file manager")
        expect(self.files.process.returncode in (0, *statuses), True, "its exit status, %d"
               % self.files.process.returncode)

    def foreign_plugin(self):
        """Built for a file manager with other symbols: it says so, and does without."""
        folder = os.path.join(self.session.folder, "foreign")
        shutil.copytree(self.plugins, folder)
        symbol = SYMBOLS.get(self.host, b"%s_file_info_add_emblem" % self.host.encode())
        other = symbol[:-1] + b"X"
        changed = 0
        for place, _, files in os.walk(folder):
            for file in files:
                with open(os.path.join(place, file), "r+b") as library:
                    contents = library.read()
                    changed += symbol in contents
                    library.seek(0)
                    library.write(contents.replace(symbol, other))
        expect(changed > 0, True, "%s needs %s" % (self.plugins, symbol.decode()))
        self.use(folder)
        self.open(lambda counts: True, "a folder")
        self.files.select(self.path("plain"))
        lines = self.files.open_menu(HOSTS[self.host].line)
        expect([line for line in OURS if line in lines], [], "our lines")
        self.files.close_menu()
        wait_until(lambda: other.decode() in self.session.output(self.host), PATIENCE,
                   lambda: "a line with %s in:\n%s" % (other.decode(),
                                                       self.session.output(self.host)))
        self.close()
        self.use(self.plugins)

    def use(self, folder):
        if self.host == "dolphin":
            self.session.environment["QT_PLUGIN_PATH"] = folder
        else:
            mount_over(folder, self.arguments.extensions)

    def no_icons(self):
        data = self.session.environment["XDG_DATA_DIRS"]
        # Another folder: some keep pictures that an earlier process has found.
        self.session.environment["XDG_CACHE_HOME"] = os.path.join(self.session.home, "unused")
        self.session.environment["XDG_DATA_DIRS"] = data.split(":", 1)[1]
        self.open(lambda counts: not any(counts.values()), "no badges")
        self.agent.command("lock plain by Eve")
        self.files.select(self.path("plain"))
        self.files.open_menu("Unlock$")  # by which the badge has come, too
        self.files.close_menu()
        expect(any(self.files.look().values()), False, "a badge without a picture")
        self.agent.command("unlock plain")
        self.close()
        self.session.environment["XDG_DATA_DIRS"] = data

    def no_bus(self):
        """None that answers. Nautilus 43 crashes at its end then, without any plug-in, too."""
        self.session.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent"
        self.open(lambda counts: not any(counts.values()), "no badges")
        self.close(*([-signal.SIGSEGV] if self.host == "nautilus" else []))

    def run(self):
        self.start_agent()
        for name, scenario in [("a plug-in for another file manager", self.foreign_plugin),
                               ("no icons of ours", self.no_icons),
                               ("no session bus", self.no_bus)]:
            scenario()
            print("ok   " + name, flush=True)


if __name__ == "__main__":
    sys.exit(run_test(BadInputTest))
