"""The demo: Nemo over a sample folder whose badges and menus come from a sample Agent.

    demo_session.py BUILD EXTENSIONS OUTPUT [--headless]

EXTENSIONS is where Nemo looks for plug-ins; for the demo alone, the plug-in of BUILD is put there.
Screenshots and the session's logs go to OUTPUT. Without a display the demo changes some states
itself and ends; with one it takes commands until Nemo is closed.
"""
import os
import select
import shutil
import sys

import gi

from desktop_session import (DesktopSession, SessionError, enter_private_mounts, mount_over,
                             need_programs, wait_until)
from file_manager_badges_test import COLOURS, read_colours
from sample_agent import SampleAgent

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

NAME = "com.kelvo.FinderSync"
REPORT = "Quarterly report.odt"
ITEMS = {
    "Budget 2027.ods": {"modifiedBy": "Ben Okafor"},
    REPORT: {"status": 1, "fileId": "700142"},
    "Contract.pdf": {"lock": 1, "owner": "Dana Whitfield", "lockTime": 1790000000},
    "Floor plan.svg": {"lock": 2},
    "Minutes.txt": {"lock": 3, "owner": "Ben Okafor"},
    "Price list.csv": {"denied": 2},
}
FOLDERS = {"Archive": {}, "Photos": {"status": 1}, "Suppliers": {"denied": 3}}
# Shared folders of the account; those outside the Workplace are external projects.
PROJECTS = [{"id": "101", "name": "Suppliers", "owner": "Sample User", "subscribed": True},
            {"id": "102", "name": "Harbour", "owner": "Dana Whitfield", "subscribed": True,
             "external": True},
            {"id": "103", "name": "Museum", "owner": "Sample User", "subscribed": True,
             "external": True},
            {"id": "104", "name": "Archive 2025", "owner": "Ben Okafor", "total-files": 412,
             "total-size": 96000000}]
EXTERNAL = {
    "Harbour": {"Crane survey.odt": {"lock": 1, "owner": "Dana Whitfield"},
                "Permit.pdf": {"denied": 2}, "Quay plan.svg": {"status": 1}, "Tides.csv": {}},
    "Museum": {"Catalogue.odt": {}, "Floor plan.svg": {"lock": 2}},
}
PATIENCE = 30  # seconds; the badges take one to three
LOCK = "Lock for Me"
DIALOG = "Kelvo Agent"  # the title of its window
DIALOG_PIXELS = 1500  # of the fill of its picture, which is larger than any badge
MANY_PIXELS = 20  # of one fill; the smallest badge has more


def shown_menu_items():
    """The titles of the menus on the screen."""
    titles = []
    try:
        left = [Atspi.get_desktop(0)]
        while left:
            node = left.pop()
            if node.get_role_name() == "menu item" and node.get_state_set().contains(
                    Atspi.StateType.SHOWING):
                titles.append(node.get_name())
            left += [node.get_child_at_index(i) for i in range(node.get_child_count())]
    except (GLib.GError, AttributeError):
        pass  # it changed meanwhile
    return titles


class Demo:
    def __init__(self, build, output, session):
        self.build = build
        self.output = output
        self.session = session
        self.colours = read_colours(COLOURS)
        self.work = os.path.join(session.home, "Kelvo Workplace")
        self.projects = os.path.join(session.home, "Projects")
        for name in FOLDERS:
            os.makedirs(os.path.join(self.work, name))
        for name in ITEMS:
            self.make(os.path.join(self.work, name))
        self.scenario = [dict(state, path=name) for name, state in {**ITEMS, **FOLDERS}.items()]
        for project, items in EXTERNAL.items():
            os.makedirs(os.path.join(self.projects, project))
            for name, state in items.items():
                path = os.path.join(self.projects, project, name)
                self.make(path)
                self.scenario.append(dict(state, path=path))

    def make(self, path):
        with open(path, "w", encoding="utf-8") as file:
            file.write("A sample.\n")

    def start(self):
        self.session.start({NAME: self.build + "/bin/kelvo-finder-sync"})
        projects = [dict(project, **{"local-path": os.path.join(
            self.projects if project.get("external") else self.work, project["name"])})
            for project in PROJECTS]
        self.agent = SampleAgent(self.session, self.build + "/bin/kelvo-sample-agent", self.work,
                                 self.scenario, projects)
        self.nemo = self.session.spawn(["nemo", "--no-desktop", self.work])

    def finder(self, *arguments):
        return self.session.run([self.build + "/bin/kelvo-finder", *arguments]).decode()

    def badges(self, folder=None):
        return self.finder("badges", "--wait", "10", folder or self.work)

    def print_projects(self):
        """What is watched besides the Workplace, once the Agent's list is there."""
        folders = [os.path.join(self.projects, name) for name in EXTERNAL]
        wait_until(lambda: all(folder in self.finder("status") for folder in folders), PATIENCE,
                   "both external projects among the watched folders")
        print("The projects of the account:\n\n" + self.finder("projects"))
        print("The extension:\n\n" + self.finder("status"))
        for folder in folders:
            print("Badges in the external project %s:\n\n%s" % (folder, self.badges(folder)))

    def wait_for_pictures(self, wanted):
        """Until the screen shows each of these badges; answers their pixels."""
        counts = {}

        def shown():
            picture = self.session.screenshot()
            counts.update({name: picture.count_near(self.colours[name]) for name in wanted})
            return all(count > MANY_PIXELS for count in counts.values())
        wait_until(shown, PATIENCE, lambda: "badges on the screen: %r" % counts)
        return counts

    def photograph(self, name):
        path = os.path.join(self.output, name)
        self.session.screenshot(path)
        print("Screenshot: " + path)

    def run_headless(self):
        self.session.park_pointer()
        before = self.wait_for_pictures(self.colours)
        print("Badges in the folder:\n\n" + self.badges())
        self.photograph("before.png")
        for command in ("clean \"%s\"" % REPORT, "lock \"Budget 2027.ods\" by \"Dana Whitfield\"",
                        "allow \"Price list.csv\"", "dirty Archive"):
            print("The Agent is told: " + command)
            self.agent.command(command)
        wait_until(lambda: self.session.screenshot().count_near(self.colours["locked-red"])
                   > 1.5 * before["locked-red"], PATIENCE, "the second red lock")
        print("\nBadges afterwards:\n\n" + self.badges())
        self.photograph("after.png")
        self.show_menu(os.path.join(self.work, REPORT))
        self.show_external("Harbour")

    def show_menu(self, path):
        """The menu on the terminal and in Nemo, and what two of its lines do."""
        print("The context menu of %s:\n\n%s" % (path, self.finder("menu", "--wait", "10", path)))
        self.open_menu(path)
        self.photograph("menu.png")
        self.session.run(["xdotool", "key", "Escape"])
        print("Chosen: " + LOCK)
        self.finder("choose", LOCK, path)
        wait_until(lambda: self.session.screenshot().count_near(self.colours["locked"])
                   > DIALOG_PIXELS, PATIENCE, "the dialog with its picture")
        self.photograph("dialog.png")
        self.session.run(["xdotool", "key", "Escape"])
        wait_until(lambda: not self.window_titled(DIALOG), PATIENCE, "the dialog's end")
        print("The link that \"Copy Team Link\" copies: " + self.finder("choose", "Copy", path))

    def open_menu(self, path):
        """Nemo's menu of the file, once it has our lines: it may ask before they are known."""
        os.environ.update(self.session.environment)  # for the accessibility bus

        self.minimise(self.windows())
        self.session.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.FileManager1",
                          "--object-path", "/org/freedesktop/FileManager1", "--method",
                          "org.freedesktop.FileManager1.ShowItems",
                          str([GLib.filename_to_uri(path)]), ""])
        wait_until(lambda: self.window_titled(os.path.basename(self.work)), PATIENCE, "a window")
        self.wait_for_pictures(["locked-red"])

        def opened():
            self.session.run(["xdotool", "key", "Escape", "shift+F10"])
            try:
                return wait_until(lambda: LOCK in shown_menu_items(), 5, LOCK)
            except SessionError:
                return False
        wait_until(opened, 2 * PATIENCE, "the menu in Nemo")

    def show_external(self, name):
        """The folder of an external project instead of the Workplace."""
        self.print_projects()
        windows = self.windows()
        self.session.spawn(["nemo", "--no-desktop", os.path.join(self.projects, name)])
        wait_until(lambda: self.window_titled(name), PATIENCE, "a window of " + name)
        self.minimise(windows)
        self.wait_for_pictures(["in-sync", "syncing", "locked-red", "permission-violation"])
        self.photograph("project.png")

    def windows(self):
        return self.session.run(["xdotool", "search", "--onlyvisible", "--class", "nemo"]).split()

    def minimise(self, windows):
        for window in windows:
            self.session.run(["xdotool", "windowminimize", window])

    def window_titled(self, name):
        try:
            return self.session.run(["xdotool", "search", "--onlyvisible", "--name", "^" + name])
        except SessionError:
            return None

    def run_for_a_person(self):
        print("Badges in the folder:\n\n" + self.badges())
        self.print_projects()
        self.session.spawn(["nemo", "--no-desktop", os.path.join(self.projects, "Harbour")])
        print("Nemo shows the folder, and an external project. Commands go to the sample Agent: "
              "try  dirty Archive,  lock Minutes.txt by Eve,  unsubscribe 103,  help.\n"
              "A right click on a file offers to lock it, to copy a link to it and more.\n"
              "Close Nemo's windows to end the demo.")
        seen = len(self.session.output("kelvo-sample-agent"))
        while self.nemo.poll() is None:
            if select.select([sys.stdin], [], [], 0.3)[0]:
                line = sys.stdin.readline()
                if not line:
                    self.nemo.wait()
                    break
                self.agent.command(line.rstrip("\n"))
            printed = self.session.output("kelvo-sample-agent")
            sys.stdout.write(printed[seen:])
            sys.stdout.flush()
            seen = len(printed)


def main(build, extensions, output, *options):
    display = None if "--headless" in options else os.environ.get("DISPLAY")
    enter_private_mounts()
    need_programs("nemo")
    shutil.rmtree(output, ignore_errors=True)
    os.makedirs(output)
    mount_over(os.path.join(build, "lib/nemo-extensions"), extensions)
    with DesktopSession(share=build + "/share", display=display, size="1000x720") as session:
        demo = Demo(build, output, session)
        try:
            demo.start()
            if display:
                demo.run_for_a_person()
            else:
                demo.run_headless()
        finally:
            shutil.copytree(session.logs, os.path.join(output, "logs"))
    print("\nThe demo has worked.")


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except SessionError as error:
        sys.exit("demo: %s" % error)
