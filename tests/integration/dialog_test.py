#!/usr/bin/python3
"""The real dialog program on a headless display, driven as a person and a screen reader would.

    dialog_test.py BUILD [--keep FOLDER]
"""
import argparse
import contextlib
import os
import socket
import struct
import sys

import gi

from channel import archived, framed, unarchived
from desktop_session import DesktopSession, SessionError, wait_until

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PATIENCE = 30  # seconds
READ_CLIPBOARD = """
import gi; gi.require_version("Gtk", "4.0"); from gi.repository import Gdk, GLib, Gtk
Gtk.init(); loop = GLib.MainLoop(); clipboard = Gdk.Display.get_default().get_clipboard()
def done(board, result): print(board.read_text_finish(result), end=""); loop.quit()
clipboard.read_text_async(None, done); loop.run()
"""
BROKEN_INTERFACES = {
    "not there": None, "not XML": "<interface><object",
    "unknown class": '<interface><object class="NoSuchThing" id="window"/></interface>',
    "one outlet": '<interface><object class="GtkWindow" id="window"/></interface>'}
LOCK = {"window_title": "Kelvo", "image": "locked", "information_text": "Your file is now locked.",
        "additional_information": "When done working with the file, don't forget to unlock it!",
        "file_name": "Plan of the house.odt", "ok_button": "OK",
        "dont_show_again": "Don't show this message again", "dont_show_again_on": False,
        "open_file_after_locking": "Open file after locking", "open_file_after_locking_on": False}
UNLOCKED = {"image": "in-sync", "ok_button": "OK", "file_name": "Plan.odt and 2 other files",
            "information_text": "Your files are now unlocked.",
            "dont_show_again": "Don't show this message again"}
OVERRIDE = {"image": "locked_red", "file_name": "Plan of the house.odt",
            "information_text": "This file was locked by Eve Example\non 23 November 2026 09:15.",
            "additional_information": "Are you sure you want to unlock it?",
            "ok_button": "Unlock File", "cancel_button": "Cancel"}
ERROR = {"image": "caution", "information_text": "Error occured: Rejected", "ok_button": "OK",
         "file_name": "Plan.odt", "additional_information":
         "If you are unsure why you got this message, please contact technical support"}
# What a server or a file system may hold, and what must be seen of it.
FOREIGN = {"image": "no such picture",
           "file_name": "<b>x</b> %s \u202e\u05e9\u05dc\u05d5\u05dd\n" + "long " * 800,
           "information_text": "<i>y</i> &amp; _z\n" + "line\n" * 500 + "word " * 2000}


class Helper:
    """One process of the program, and what it says."""

    def __init__(self, test, show=None, interface=None, **environment):
        self.test = test
        self.socket, theirs = socket.socketpair()
        self.socket.settimeout(PATIENCE)
        with theirs:
            # The program wants its channel as descriptor 3.
            self.process = test.session.spawn(
                ["env"] + ["%s=%s" % item for item in environment.items()]
                + ["sh", "-c", 'exec "$0" 3<&0 </dev/null', test.program], stdin=theirs)
        if show:
            self.send("show", dict(show, interface_file=interface or test.interface))

    def send(self, name, contents, archive=None):
        contents = dict(contents)
        if contents.get("image") not in (None, "caution"):
            contents["image"] = "%s/%s.icns" % (self.test.share, contents["image"])
        archive = archived(contents) if archive is None else archive
        self.socket.sendall(framed(name, archive))

    def _read_component(self):
        length, = struct.unpack(">I", self.socket.recv(4, socket.MSG_WAITALL) or bytes(4))
        return self.socket.recv(length, socket.MSG_WAITALL)

    def expect(self, name):
        """The next message's dictionary."""
        self.socket.recv(8, socket.MSG_WAITALL)
        expect(self._read_component().decode(), name, "message")
        return unarchived(self._read_component())

    def expect_answer(self, ok, dont_show=False, open_file=False):
        expect(self.expect("closed"), {"ok": ok, "dont_show_again_on": dont_show,
                                       "open_file_after_locking_on": open_file}, "answer")
        self.expect_end(0)

    def expect_end(self, code):
        expect(self.process.wait(PATIENCE), code, "exit code")

    def seen(self):
        """What a screen reader finds: accessible objects by "role: name", " [x]" if ticked."""
        found = {}
        try:
            left = [app for app in children(Atspi.get_desktop(0))
                    if app.get_process_id() == self.process.pid]
            while left:
                node = left.pop()
                states = node.get_state_set()
                if (node.get_role_name() == "application"
                        or states.contains(Atspi.StateType.VISIBLE)):
                    mark = " [x]" if states.contains(Atspi.StateType.CHECKED) else ""
                    found["%s: %s%s" % (node.get_role_name(), node.get_name(), mark)] = node
                    left += children(node)
        except (GLib.GError, AttributeError):
            pass  # it changed meanwhile
        return found

    def wait_for(self, *wanted, unseen="-"):
        """What is seen once all of `wanted` is."""
        def all_seen():
            found = self.seen()
            return found if set(wanted) <= set(found) else None
        found = wait_until(all_seen, PATIENCE,
                           lambda: "%s in %s" % (wanted, list(self.seen())))
        expect([name for name in found if name.startswith(unseen)], [], "unseen")
        return found

    def wait_until_in_front(self):
        """Its window's place: {"X": 1, "Y": 1, "WIDTH": 1, "HEIGHT": 1, ...}."""
        def in_front():
            try:
                return int(self.test.xdotool("getactivewindow", "getwindowpid")) == self.process.pid
            except SessionError:
                return False  # none is
        wait_until(in_front, PATIENCE, "the window in front")
        geometry = self.test.xdotool("getactivewindow", "getwindowgeometry", "--shell")
        return {key: int(value) for key, value in (line.split("=") for line in geometry.split())}

    def press(self, *keys):
        self.wait_until_in_front()
        self.test.xdotool("key", *keys)


def children(node):
    return [node.get_child_at_index(i) for i in range(node.get_child_count())]


def expect(got, wanted, what):
    if got != wanted:
        raise SessionError("%s: %r instead of %r" % (what, got, wanted))


class DialogTest:
    def __init__(self, arguments, session):
        self.session = session
        self.program = arguments.build + "/bin/kelvo-finder-dialog"
        self.share = arguments.build + "/share/kelvo-finder-sync"
        self.interface = self.share + "/ConfirmationDialog.ui"

    def xdotool(self, *command):
        return self.session.run(("xdotool",) + command).decode()

    def picture(self, name):
        self.session.park_pointer()
        self.session.screenshot(os.path.join(self.session.folder, name + ".png"))

    def check_lock(self):
        helper = Helper(self)
        helper.send("update", LOCK)  # nothing is shown yet
        helper.send("show", {}, archive=b"bplist00 of another kind")
        helper.send("no such message", LOCK)
        helper.send("show", dict(LOCK, interface_file=self.interface))
        helper.expect("shown")
        seen = helper.wait_for(
            "dialog: Kelvo Your file is now locked.", "label: Plan of the house.odt",
            "check box: Open file after locking", "check box: Don't show this message again",
            "push button: OK", unseen="push button: C")
        expect(seen["dialog: Kelvo Your file is now locked."].get_description(),
               LOCK["additional_information"], "description")
        place = helper.wait_until_in_front()
        expect(abs(2 * place["X"] + place["WIDTH"] - 1100) < 60
               and abs(2 * place["Y"] + place["HEIGHT"] - 1000) < 60, True, "centred: %s" % place)
        self.picture("lock")
        helper.press("Tab", "space")
        helper.wait_for("check box: Open file after locking [x]")
        helper.send("update", dict(LOCK, information_text="Your files are now locked.",
                                   file_name="Plan of the house.odt and 2 other files",
                                   open_file_after_locking="Open files after locking"))
        helper.wait_for("dialog: Kelvo Your files are now locked.",
                        "label: Plan of the house.odt and 2 other files",
                        "check box: Open files after locking [x]")
        helper.press("Return")
        helper.expect_answer(ok=True, open_file=True)

    def check_front_and_question(self):
        unlocked = Helper(self, UNLOCKED)
        unlocked.expect("shown")
        unlocked.wait_until_in_front()
        self.picture("unlock")
        question = Helper(self, OVERRIDE)
        question.expect("shown")
        question.wait_for("push button: Cancel", "push button: Unlock File", unseen="check box")
        question.wait_until_in_front()
        self.picture("override")
        unlocked.send("front", {"activation_token": "kelvo-7_TIME1"})
        unlocked.expect("shown")
        unlocked.press("Tab", "space", "alt+F4")
        unlocked.expect_answer(ok=False, dont_show=True)
        question.press("Escape")
        question.expect_answer(ok=False)
        question = Helper(self, OVERRIDE)
        question.expect("shown")
        button = question.wait_for("push button: Unlock File")["push button: Unlock File"]
        with contextlib.suppress(GLib.GError):  # it may be gone before it answers
            button.do_action(0)
        question.expect_answer(ok=True)

    def check_size(self):
        """Foreign texts keep the window on the screen; double text size makes it grow."""
        areas = []
        for name, contents, dpi in (("error", ERROR, 96), ("error-large", ERROR, 192),
                                    ("foreign-large", dict(LOCK, **FOREIGN), 192)):
            self.session.run(["xprop", "-root", "-f", "RESOURCE_MANAGER", "8s", "-set",
                              "RESOURCE_MANAGER", "Xft.dpi: %d\n" % dpi])
            helper = Helper(self, contents)
            helper.expect("shown")
            helper.wait_for("label: " + contents["file_name"])
            place = helper.wait_until_in_front()
            self.picture(name)
            areas.append(place["WIDTH"] * place["HEIGHT"])
            expect(place["WIDTH"] < 1100 and place["HEIGHT"] < 1000, True, "%s fits" % place)
            helper.socket.close()  # nobody wants the window any more
            helper.expect_end(0)
        expect(areas[1] > 2 * areas[0], True, "large text grows the window: %s" % areas)

    def check_failures(self):
        nowhere = Helper(self, LOCK, DISPLAY=":4095")
        expect(nowhere.expect("failed"), {"reason": "no display"}, "reason")
        nowhere.expect_end(1)
        for name, text in BROKEN_INTERFACES.items():
            interface = os.path.join(self.session.folder, name + ".ui")
            if text is not None:
                with open(interface, "w", encoding="utf-8") as file:
                    file.write(text)
            helper = Helper(self, LOCK, interface)
            expect(interface in helper.expect("failed")["reason"], True, "reason of " + name)
            helper.expect_end(1)

    def check_clipboard(self):
        text = "https://kelvo.example/l/\u00fc%20\u05e9"
        first = Helper(self)
        first.send("set_clipboard", {"text": text})
        first.expect("clipboard_written")
        first.socket.close()
        expect(self.session.run([sys.executable, "-c", READ_CLIPBOARD]).decode(), text, "clipboard")
        second = Helper(self)
        second.send("set_clipboard", {"text": "another"})
        second.expect("clipboard_written")
        first.expect_end(0)
        expect(second.process.poll(), None, "end of the clipboard's owner")

    def run(self):
        for check in (self.check_lock, self.check_front_and_question, self.check_size,
                      self.check_failures, self.check_clipboard):
            check()
            print("ok   " + check.__name__, flush=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=os.path.abspath)
    parser.add_argument("--keep", metavar="FOLDER", type=os.path.abspath,
                        help="where all files of the session stay, with pictures of the dialogs")
    arguments = parser.parse_args()
    with DesktopSession(share=arguments.build + "/share", folder=arguments.keep) as session:
        try:
            session.start({})
            os.environ.update(session.environment)  # for the accessibility bus
            DialogTest(arguments, session).run()
        except (SessionError, OSError) as error:
            print("FAIL %s\n--- the program:\n%s" % (error, session.output("env")[-3000:]))
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
