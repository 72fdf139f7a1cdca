#!/usr/bin/python3
"""Every dialog in every language, with texts of normal and of double size, in the real dialog
program on a headless display: no text may be cut off or lack a font, and each window has room on a
screen of 1280 x 1024.

    dialog_languages_test.py BUILD [--keep FOLDER]
"""
import argparse
import glob
import os
import plistlib
import sys

from desktop_session import DesktopSession, SessionError
from dialog_test import Helper, expect

SCREEN = (1280, 1024)
SIZES = {"normal": 96, "double": 192}  # in dots per inch
OWNER = "Wilhelmina van den Oudenhoven"
DATES = {"ja": "2026年11月23日 09:15", "zh_CN": "2026年11月23日 09:15"}
FILE = "Plan of the house.odt"
# Two ways to lose a part of a text, which the check must find.
BROKEN_LAYOUTS = {
    "one shortened line": ('<property name="wrap">1</property>',
                           '<property name="ellipsize">end</property>'),
    "wider than the screen": ('<property name="wrap">1</property>', "")}
MANY_FAULTS = 10  # each takes the program two seconds, in which the window might still grow
LONG_TEXT = "Many words that do not fit on one line. " * 8


def filled_in(text, *values):
    for value in values:
        text = text.replace("%@" if "%@" in text else "%d", value, 1)
    return text


def dialogs_of(table, date):
    """What the extension has the program show, by the kind of dialog."""
    def text(key):
        return table["ConfirmationDialog." + key]
    base = {"window_title": "Kelvo Agent", "ok_button": text("OKButton"), "file_name": FILE}
    two = filled_in(text("TwoFiles"), FILE, "Plan.odt")
    more = filled_in(text("MoreFiles"), FILE, "128")
    not_again = {"dont_show_again": text("DontShowAgain"), "dont_show_again_on": False}
    for kind, what, opens, files in (("lock", "File", "OpenFile", FILE),
                                     ("lock-two", "Files", "OpenFiles", two),
                                     ("lock-more", "Files", "OpenFiles", more)):
        number = "Is" if what == "File" else "sAre"
        yield kind, base | not_again | {
            "image": "locked", "file_name": files,
            "information_text": text("File%sNowLocked" % number),
            "additional_information": text(what + "LockedText"),
            "open_file_after_locking": text(opens), "open_file_after_locking_on": True}
    for kind, key, files in (("unlock", "FileIsNowUnlocked", FILE),
                             ("unlock-more", "FilesAreNowUnlocked", more)):
        yield kind, base | not_again | {"image": "in-sync", "information_text": text(key),
                                        "file_name": files}
    yield "override", base | {
        "image": "locked_red", "additional_information": text("LockOverrideText"),
        "information_text": filled_in(text("LockOverride"), OWNER, date),
        "ok_button": text("LockOverrideOKButton"), "cancel_button": text("CancelButton")}
    # They differ in a few words of one text: the longest stands for all.
    error = max((value for key, value in table.items() if key.startswith("ErrorUnlockDialog.")),
                key=len)
    yield "error", base | {
        "image": "caution", "additional_information": table["ErrorDialog.InformationText"],
        "information_text": filled_in(table["ErrorDialog.ErrorOccured"], error)}
    yield "alert", {
        "window_title": "Kelvo Agent", "image": "caution", "ok_button": table["WebAccess.OK"],
        "information_text": table["WebAccess.NetworkError"],
        "additional_information": filled_in(table["WebAccess.ReceiveError"],
                                            table["WebAccess.ConnectionFailed"])}


class LanguagesTest:
    def __init__(self, arguments, session):
        self.session = session
        self.keep = arguments.keep
        self.program = arguments.build + "/bin/kelvo-finder-dialog"
        self.share = arguments.build + "/share/kelvo-finder-sync"
        self.interface = self.share + "/ConfirmationDialog.ui"
        self.faults = []

    def set_text_size(self, dpi):
        self.session.run(["xprop", "-root", "-f", "RESOURCE_MANAGER", "8s", "-set",
                          "RESOURCE_MANAGER", "Xft.dpi: %d\n" % dpi])

    @staticmethod
    def faults_of(helper):
        helper.send("measure", {})
        fit = helper.expect("measured")
        found = ["cannot be read in full: %r" % text
                 for text in fit["unreadable_texts"].splitlines()]
        if fit["width"] > SCREEN[0] or fit["height"] > SCREEN[1]:
            found.append("%d x %d pixels are more than the screen" % (fit["width"], fit["height"]))
        return found

    def check_language(self, language, size):
        with open("%s/%s.lproj/Localizable.strings" % (self.share, language), "rb") as file:
            table = plistlib.load(file)
        helper = None
        for kind, contents in dialogs_of(table, DATES.get(language, "23.11.2026 09:15")):
            if helper is None:
                helper = Helper(self, contents)
                helper.expect("shown")
            else:
                helper.send("update", contents)
            name = "%s-%s-%s" % (language, size, kind)
            self.faults += ["%s: %s" % (name, fault) for fault in self.faults_of(helper)]
            if self.keep:
                window = self.session.run(["xdotool", "search", "--pid", str(helper.process.pid),
                                           "--onlyvisible"]).split()[-1]
                self.session.run(["import", "-window", window,
                                  os.path.join(self.keep, name + ".png")])
        helper.socket.close()  # nobody wants the window any more
        helper.expect_end(0)

    def check_itself(self):
        with open(self.interface, encoding="utf-8") as file:
            layout = file.read()
        for name, (old, new) in BROKEN_LAYOUTS.items():
            interface = os.path.join(self.session.folder, "broken.ui")
            with open(interface, "w", encoding="utf-8") as file:
                file.write(layout.replace(old, new))
            helper = Helper(self, {"information_text": LONG_TEXT, "ok_button": "OK"}, interface)
            helper.expect("shown")
            if not self.faults_of(helper):
                self.faults.append("the check lets pass a layout with " + name)
            helper.socket.close()
            helper.expect_end(0)

    def run(self):
        folders = sorted(glob.glob(self.share + "/*.lproj"))
        languages = [os.path.basename(folder)[:-len(".lproj")] for folder in folders]
        expect("Base" in languages and len(languages) > 1, True, "languages: %s" % languages)
        for size, dpi in SIZES.items():
            self.set_text_size(dpi)
            for language in languages:
                if len(self.faults) < MANY_FAULTS:
                    self.check_language(language, size)
        self.check_itself()
        if self.faults:
            raise SessionError("\n     ".join(self.faults))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=os.path.abspath)
    parser.add_argument("--keep", metavar="FOLDER", type=os.path.abspath,
                        help="where all files of the session stay, with pictures of the dialogs")
    arguments = parser.parse_args()
    with DesktopSession(share=arguments.build + "/share", folder=arguments.keep,
                        size="%dx%d" % SCREEN) as session:
        try:
            session.start({})
            LanguagesTest(arguments, session).run()
        except (SessionError, OSError) as error:
            print("FAIL %s\n--- the program:\n%s" % (error, session.output("env")[-3000:]))
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
