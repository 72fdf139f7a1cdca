"""The pictures of the README: one file manager over the sample folder.

    screenshots_session.py BUILD HOST EXTENSIONS OUTPUT PICTURE...

A PICTURE is badges, menu, dialog or properties, in this order, or columns alone; it comes as
HOST-PICTURE.png to OUTPUT, the dialog as lock-dialog.png. EXTENSIONS as in demo_session.py.
"""
import os
import sys
import time

from desktop_session import (DesktopSession, SessionError, enter_private_mounts, need_programs,
                             wait_until)
from file_manager import FileManager, place_plugin
from list_columns import column_texts, show_columns
from sample_world import LOCK, REPORT, SampleWorld

SIZE = "840x560"
COLUMNS_SIZE = "1000x440"
# A picture is one window, as large as the screen; but a dialog is as large as it likes.
OPENBOX = """<openbox_config xmlns="http://openbox.org/3.4/rc">
  <theme><name>Onyx</name></theme>
  <applications>
    <application type="normal"><decor>no</decor><maximized>yes</maximized></application>
    <application title="Kelvo Agent"><decor>yes</decor><maximized>no</maximized></application>
  </applications>
</openbox_config>
"""
PERSON = "1000"
PERSON_MARK = "KELVO_ORDINARY_USER"


def become_a_person():
    """Runs this program anew as an ordinary user, in its own eyes: file managers warn root."""
    os.environ[PERSON_MARK] = "1"
    os.execvp("unshare", ["unshare", "-U", "--map-user=" + PERSON, "--map-group=" + PERSON,
                          sys.executable] + sys.argv)


def write_file(session, name, text):
    path = os.path.join(session.environment["XDG_CONFIG_HOME"], name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "a", encoding="utf-8") as file:
        file.write(text)


class Pictures:
    def __init__(self, build, host, output, session, columns):
        self.host = host
        self.output = output
        self.session = session
        write_file(session, "openbox/rc.xml", OPENBOX)
        if columns:
            show_columns(session, host)
        if host == "nautilus":  # which decorates its windows itself
            session.environment["GSETTINGS_BACKEND"] = "keyfile"
            write_file(session, "glib-2.0/settings/keyfile",
                       "[org/gnome/nautilus/window-state]\nmaximized=true\n"
                       "[org/gnome/nautilus/list-view]\ndefault-zoom-level='small'\n")
        self.world = SampleWorld(build, session)
        self.report = os.path.join(self.world.work, REPORT)
        self.world.start()
        self.files = FileManager(session, host, build)
        self.files.start(self.world.work)

    def save(self, name, *what):
        path = os.path.join(self.output, name)
        self.session.run(["import", *(what or ["-window", "root"]), "-strip",
                          "-define", "png:compression-level=9", path])
        print(path, flush=True)

    def save_front(self, name):
        window = self.session.run(["xdotool", "getactivewindow"]).decode().strip()
        self.save(name, "-frame", "-window", window)

    def show_all(self):
        """The badges, without the bar at the side, once nothing on the screen moves any more."""
        self.files.wait_for(lambda counts: all(counts.values()), "all badges")
        if self.host != "nautilus":  # which has it always
            self.files.key("F9")
        self.wait_still()

    def wait_still(self):
        seen = [None]

        def still():
            time.sleep(0.5)
            seen.append(self.session.run(["import", "-window", "root", "rgb:-"]))
            return seen.pop(0) == seen[0]
        wait_until(still, 30, "a picture that stays")

    def take_columns(self):
        self.files.wait_for(lambda _: any("Dana Whitfield" in text for text in column_texts(
            self.files, "Contract.pdf").values()), "the columns' texts")
        self.save(self.host + "-columns.png")

    def take_badges(self):
        self.save(self.host + "-badges.png")

    def take_menu(self):
        self.world.agent.command("clean '%s'" % REPORT)
        self.files.select(self.report)
        self.files.open_menu(LOCK)
        self.save(self.host + "-menu.png")
        self.files.close_menu()

    def take_dialog(self):
        self.world.finder("choose", LOCK, self.report)
        self.files.wait_for_dialog("Open file after locking")
        self.save_front("lock-dialog.png")
        self.files.key("Escape")

    def take_properties(self):
        """Dolphin's, of an item that somebody has locked."""
        self.files.select(os.path.join(self.world.work, "Contract.pdf"))
        self.files.wait_for_title(os.path.basename(self.world.work))

        self.files.key("alt+Return")
        self.files.wait_for_title("Properties")
        self.files.key("alt+k")
        self.wait_still()
        self.save_front(self.host + "-properties.png")


def main(build, host, extensions, output, *names):
    if not os.environ.get(PERSON_MARK):
        enter_private_mounts()
        need_programs(host, "gdbus")
        place_plugin(build, host, extensions)
        become_a_person()
    build, output = os.path.abspath(build), os.path.abspath(output)
    columns = "columns" in names
    with DesktopSession(share=build + "/share", size=COLUMNS_SIZE if columns else SIZE) as session:
        try:
            pictures = Pictures(build, host, output, session, columns)
            pictures.show_all()
            for name in names:
                getattr(pictures, "take_" + name)()
        except SessionError:
            session.screenshot(os.path.join(output, host + "-failure.png"))
            raise


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except SessionError as error:
        sys.exit("screenshots of %s: %s" % (sys.argv[2], error))
