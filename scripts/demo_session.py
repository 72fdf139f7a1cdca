"""The demo: a file manager over a sample folder whose badges and menus come from a sample Agent.

    demo_session.py BUILD HOST EXTENSIONS OUTPUT [--headless]

EXTENSIONS is where the file manager HOST looks for plug-ins; for the demo alone, the plug-in of
BUILD is put there. Screenshots and the session's logs go to OUTPUT. Without a display the demo
changes some states itself and ends; with one it takes commands until the file manager is closed.
"""
import os
import select
import shutil
import sys

from desktop_session import (DesktopSession, SessionError, enter_private_mounts, need_programs,
                             wait_until)
from file_manager import DIALOG, HOSTS, FileManager, place_plugin
from sample_world import LOCK, REPORT, SampleWorld

SIZE = "1000x720"


class Demo:
    def __init__(self, build, host, output, session):
        self.output = output
        self.session = session
        self.world = SampleWorld(build, session)
        self.report = os.path.join(self.world.work, REPORT)
        self.harbour = os.path.join(self.world.projects, "Harbour")
        self.world.start()
        self.files = FileManager(session, host, build)

    def print_projects(self):
        """What is watched besides the Workplace, once the Agent's list is there."""
        folders = self.world.wait_watching()
        print("The projects of the account:\n\n" + self.world.finder("projects"))
        print("The extension:\n\n" + self.world.finder("status"))
        for folder in folders:
            print("Badges in the external project %s:\n\n%s" % (folder, self.world.badges(folder)))

    def photograph(self, name):
        path = os.path.join(self.output, name)
        self.session.screenshot(path)
        print("Screenshot: " + path)

    def run_headless(self):
        self.files.start(self.world.work)
        before = dict(self.files.wait_for(lambda counts: all(counts.values()), "all badges"))
        print("Badges in the folder:\n\n" + self.world.badges())
        self.photograph("before.png")
        for command in ("clean \"%s\"" % REPORT, "lock \"Budget 2027.ods\" by \"Dana Whitfield\"",
                        "allow \"Price list.csv\"", "dirty Archive"):
            print("The Agent is told: " + command)
            self.world.agent.command(command)
        self.files.wait_for(lambda counts: counts["locked-red"] > 1.5 * before["locked-red"],
                            "the second red lock")
        print("\nBadges afterwards:\n\n" + self.world.badges())
        self.photograph("after.png")
        self.show_menu()
        self.print_projects()
        self.files.go(self.harbour)
        self.files.wait_for(lambda counts: all(counts[name] for name in (
            "in-sync", "syncing", "locked-red", "permission-violation")), "the project's badges")
        self.photograph("project.png")

    def show_menu(self):
        """The menu on the terminal and in the file manager, and what two of its lines do."""
        print("The context menu of %s:\n\n%s"
              % (self.report, self.world.finder("menu", "--wait", "10", self.report)))
        self.files.select(self.report)
        self.files.open_menu(LOCK)
        self.photograph("menu.png")
        self.files.close_menu()
        print("Chosen: " + LOCK)
        self.world.finder("choose", LOCK, self.report)
        self.files.wait_for_dialog("Open file after locking")
        self.photograph("dialog.png")
        self.files.key("Escape")
        wait_until(lambda: not self.files.found(DIALOG), 30, "the dialog's end")
        print("The link that \"Copy Team Link\" copies: "
              + self.world.finder("choose", "Copy", self.report))

    def run_for_a_person(self):
        command = HOSTS[self.files.host].command
        window = self.session.spawn(command + [self.world.work])  # and leaves the pointer alone
        print("Badges in the folder:\n\n" + self.world.badges())
        self.print_projects()
        self.session.spawn(command + [self.harbour])
        print("The file manager shows the folder, and an external project. Commands go to the "
              "sample Agent: try  dirty Archive,  lock Minutes.txt by Eve,  unsubscribe 103,  "
              "help.\nA right click on a file offers to lock it, to copy a link to it and more.\n"
              "Close the windows to end the demo.")
        seen = len(self.session.output("kelvo-sample-agent"))
        while window.poll() is None:
            if select.select([sys.stdin], [], [], 0.3)[0]:
                line = sys.stdin.readline()
                if not line:
                    window.wait()
                    break
                self.world.agent.command(line.rstrip("\n"))
            printed = self.session.output("kelvo-sample-agent")
            sys.stdout.write(printed[seen:])
            sys.stdout.flush()
            seen = len(printed)


def main(build, host, extensions, output, *options):
    display = None if "--headless" in options else os.environ.get("DISPLAY")
    enter_private_mounts()
    need_programs(host, "gdbus")
    shutil.rmtree(output, ignore_errors=True)
    os.makedirs(output)
    place_plugin(build, host, extensions)
    with DesktopSession(share=build + "/share", display=display, size=SIZE) as session:
        try:
            demo = Demo(build, host, output, session)
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
