"""The four real file managers in a desktop session: started over a folder, looked at by colours, read
and used as a screen reader does it.
"""
import argparse
import collections
import contextlib
import os
import re
import signal
import time

import gi

from desktop_session import (DesktopSession, SessionError, enter_private_mounts, mount_over,
                             need_programs, wait_until)
from sample_agent import SampleAgent

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

NAME = "com.kelvo.FinderSync"
COLOURS = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                       "../../resources/icons/colours.txt")
PATIENCE = 60  # seconds; what it waits for takes one to three
DIALOG = "kelvo-finder-dialog"

# `shown`: the state of what can be seen; GTK 4 never says that something shows. `line`: one that a
# file's menu always has; Qt keeps silent about those of its lines that an earlier menu had, too.
Host = collections.namedtuple("Host", "command menu_key line shown")
HOSTS = {"nemo": Host(["nemo", "--no-desktop"], "shift+F10", "Properties",
                      Atspi.StateType.SHOWING),
         "nautilus": Host(["nautilus", "--new-window"], "shift+F10", "Properties",
                          Atspi.StateType.VISIBLE),
         "caja": Host(["caja", "--no-desktop", "--browser"], "shift+F10", "Properties",
                      Atspi.StateType.SHOWING),
         "dolphin": Host(["dolphin"], "Menu", "Move to Trash", Atspi.StateType.SHOWING)}


def read_colours(path=COLOURS):
    """The fill of each badge, by the end of its icon's name."""
    colours = {}
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.startswith("emblem-kelvo-"):
                name, colour = line.split()
                colours[name[len("emblem-kelvo-"):]] = tuple(bytes.fromhex(colour.lstrip("#")))
    return colours


def children(node):
    return [node.get_child_at_index(i) for i in range(node.get_child_count())]


def is_in(state, node):
    return node.get_state_set().contains(state)


def expect(got, wanted, what):
    if got != wanted:
        raise SessionError("%s: %r instead of %r" % (what, got, wanted))


@contextlib.contextmanager
def stopped(process):
    """The process of that id does nothing meanwhile."""
    os.kill(process, signal.SIGSTOP)
    try:
        yield
    finally:
        os.kill(process, signal.SIGCONT)


def is_installed(build):
    """Whether `build` is the prefix of an installation: file managers find its plug-ins themselves."""
    return os.path.exists(build + "/share/dbus-1/services/%s.service" % NAME)


def place_plugin(build, host, extensions):
    """Has the file manager find the plug-in of `build`; only after enter_private_mounts.

    `extensions`: where it looks for plug-ins. Dolphin is told by its environment.
    """
    if host != "dolphin" and not is_installed(build):
        mount_over("%s/lib/%s-extensions" % (build, host), extensions)


class FileManager:
    """One file manager over folders of a started session, with the extension of `build`.

    Its windows may be several, its process is one. Menus, selections and keys go to the window in
    front.
    """

    def __init__(self, session, host, build):
        self.session = session
        self.host = host
        self.colours = read_colours()
        self.window = "root"  # what is looked at
        self.counts = {}
        self.white = 0  # pixels of the views' background
        self.menu_took = 0.0  # seconds, from the key that was heard
        self._popup = None
        self.process = None
        os.environ.update(session.environment)  # for the accessibility bus
        Atspi.set_timeout(1000 * PATIENCE, 1000 * PATIENCE)
        if not is_installed(build):
            session.environment["QT_PLUGIN_PATH"] = build + "/lib/dolphin-plugins"
        # A menu of Qt's is among no window's children, but says that it shows.
        self._listener = Atspi.EventListener.new(self._on_showing)
        self._listener.register("object:state-changed:showing")

    def start(self, *folders):
        """A window of each folder; the new process, of which the first one counts."""
        process = self.session.spawn(HOSTS[self.host].command + list(folders))
        self.process = self.process or process
        self.session.park_pointer()
        return process

    def check_alive(self):
        if self.process.poll() is not None:
            raise SessionError("%s has ended with %d" % (self.host, self.process.returncode))

    # Badges

    def look(self, file=None):
        """The pixels in each badge's colour, by badge."""
        picture = self.session.screenshot(file, self.window)
        self.counts = {name: picture.count_near(colour) for name, colour in self.colours.items()}
        self.white = picture.count_near((255, 255, 255))
        return self.counts

    def wait_for(self, condition, what):
        """Looks until condition(counts) holds; the counts."""
        def fits():
            self.check_alive()
            return condition(self.look())
        wait_until(fits, PATIENCE, lambda: "%s; pixels: %s" % (what, self.counts))
        return self.counts

    # Accessibility

    def _on_showing(self, event):
        with contextlib.suppress(GLib.GError, AttributeError):
            if event.detail1 and event.source.get_role_name() == "popup menu":
                self._popup = event.source

    def _roots(self, application):
        context = GLib.MainContext.default()
        while context.iteration(False):  # the events of what shows
            pass
        for node in children(Atspi.get_desktop(0)) + [self._popup]:
            with contextlib.suppress(GLib.GError, AttributeError):
                if application in node.get_application().get_name().lower():
                    yield node

    def nodes(self, application=None):
        """All that the application, which is this one unless told, shows: (role, name, object)."""
        shown = Atspi.StateType.VISIBLE if application == DIALOG else HOSTS[self.host].shown
        left = list(self._roots(application or self.host))
        while left:
            node = left.pop()
            with contextlib.suppress(GLib.GError, AttributeError):  # it is gone meanwhile
                role = node.get_role_name()
                if role != "application":
                    if role == "menu bar" or not is_in(shown, node):
                        continue
                    yield role, node.get_name(), node
                left += children(node)

    def found(self, application=None):
        """The same as (role, name): object."""
        return {(role, name): node for role, name, node in self.nodes(application)}

    def key(self, *keys):
        self.session.run(("xdotool", "key") + keys)

    def title(self):
        """Of the window in front."""
        with contextlib.suppress(SessionError):
            return self.session.run(["xdotool", "getactivewindow", "getwindowname"]).decode()
        return ""

    def wait_for_title(self, title):
        wait_until(lambda: self.title().startswith(title), PATIENCE,
                   lambda: "a window %r instead of %r" % (title, self.title()))

    def go(self, location, title=None, meanwhile=lambda: None):
        """Shows the path or address in the window in front, instead of what it shows."""
        title = title or os.path.basename(location)

        def reached():
            meanwhile()
            return self.title().startswith(title)

        def gone():
            self.key("ctrl+l")
            self.session.run(["xdotool", "type", "--delay", "20", location])
            self.key("Delete", "Return")  # without what was completed
            with contextlib.suppress(SessionError):
                return wait_until(reached, 5, title)
            self.key("Escape")  # Nautilus may complete too late, and complain
        wait_until(gone, PATIENCE, lambda: "%s instead of %s" % (title, self.title()))

    def answers_after(self):
        """Seconds until the process answers, which it does between other work."""
        begin = time.monotonic()
        for application in self._roots(self.host):
            for window in children(application):
                with contextlib.suppress(GLib.GError, AttributeError):  # it is gone meanwhile
                    window.get_extents(Atspi.CoordType.WINDOW)
        return time.monotonic() - begin

    def place(self, x):
        """Puts the window in front at x, half as wide as the screen; only that one is looked at."""
        self.window = self.session.run(["xdotool", "getactivewindow"]).decode().strip()
        self.session.run(["xdotool", "windowsize", "--sync", self.window, "530", "700",
                          "windowmove", "--sync", self.window, str(x), "100"])

    def select(self, path):
        """Shows a file selected, in a window that has the keyboard."""
        self.session.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.FileManager1",
                          "--object-path", "/org/freedesktop/FileManager1", "--method",
                          "org.freedesktop.FileManager1.ShowItems",
                          str([GLib.filename_to_uri(path)]), ""])

    def menu_lines(self):
        return {name: node for role, name, node in self.nodes() if role == "menu item"}

    def open_menu(self, *wanted, line=None):
        """Opens the menu, again until it has a line like each of these; its lines by title.

        `line`: the start of one that it always has, unless it is a file's.
        """
        line = line or HOSTS[self.host].line
        end = time.monotonic() + PATIENCE
        lines = {}
        while time.monotonic() < end:
            begin = time.monotonic()
            self.key(HOSTS[self.host].menu_key)
            with contextlib.suppress(SessionError):
                wait_until(lambda: any(name.startswith(line) for name in self.menu_lines()), 3,
                           "a menu")
            self.menu_took = time.monotonic() - begin
            lines = self.menu_lines()
            if all(any(re.match(title, line) for line in lines) for title in wanted):
                return lines
            self.close_menu()
        raise SessionError("no menu with %s: %s" % (wanted, list(lines)))

    def close_menu(self):
        if self.host != "dolphin" or self.menu_lines():  # which would select nothing else
            self.key("Escape")

    def click(self, node):
        with contextlib.suppress(GLib.GError):  # it may be gone before it answers
            node.do_action(0)

    def wait_for_dialog(self, box):
        """The check box of that title in a dialog of ours, which is in front by then."""
        def dialog():
            return self.found(DIALOG)
        wait_until(lambda: ("check box", box) in dialog(), PATIENCE,
                   lambda: "%s in %s" % (box, list(dialog())))

        def in_front():
            with contextlib.suppress(SessionError):
                owner = self.session.run(["xdotool", "getactivewindow", "getwindowpid"])
                return os.readlink("/proc/%d/exe" % int(owner)).endswith("/" + DIALOG)
        wait_until(in_front, PATIENCE, "the dialog in front")
        return dialog()[("check box", box)]

    def answer_dialog(self, box, tick):
        """Has the box ticked, or as it was, and confirms, by the keyboard."""
        node = self.wait_for_dialog(box)
        if tick and not is_in(Atspi.StateType.CHECKED, node):
            self.key("Tab", "space")
            wait_until(lambda: is_in(Atspi.StateType.CHECKED, node), PATIENCE, "a tick")
        self.key("Return")
        wait_until(lambda: ("check box", box) not in self.found(DIALOG), PATIENCE,
                   "the end of the dialog")

    def check_silence(self, criticals=True):
        # Caja's own, on being asked to show items.
        spoken = [line for line in self.session.output(self.host).splitlines()
                  if ("kelvo" in line.lower().replace(self.session.folder.lower(), "")
                      or criticals and "CRITICAL" in line) and "caja_file_unref" not in line]
        expect(spoken, [], "what the plug-in made the file manager print")


class FileManagerTest:
    """A folder Work with `files` in it, and what is to show and serve it."""

    def __init__(self, arguments, session, files):
        self.arguments = arguments
        self.session = session
        self.host = arguments.host
        self.files = FileManager(session, arguments.host, arguments.build)
        self.agent = None
        self.work = os.path.join(session.home, "Work")
        for name in files:
            self.make(name)

    def path(self, name):
        return os.path.join(self.work, name)

    def make(self, name):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(name)

    def start_agent(self, states=()):
        self.agent = SampleAgent(self.session, self.arguments.build + "/bin/kelvo-sample-agent",
                                 self.work, states)

    def extension(self):
        return self.session.owner_process(NAME)

    def wait_extension(self, but=None):
        """The id of the extension's process, once that is another one."""
        return wait_until(lambda: self.extension() not in (None, but) and self.extension(),
                          PATIENCE, "an extension other than %s" % but)


def parse_arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=os.path.abspath)
    parser.add_argument("host", choices=HOSTS)
    parser.add_argument("extensions", help="where it looks for plug-ins")
    parser.add_argument("--beside", nargs=2, metavar=("HOST", "EXTENSIONS"),
                        help="a second file manager")
    parser.add_argument("--keep", metavar="FOLDER", type=os.path.abspath,
                        help="where all files of the session stay")
    return parser.parse_args()


def run_test(test):
    """Runs test(arguments, session).run() in a session of its own; the exit status."""
    arguments = parse_arguments()
    try:
        need_programs(arguments.host, "gdbus", "xdotool")
        if not is_installed(arguments.build):
            enter_private_mounts()
        place_plugin(arguments.build, arguments.host, arguments.extensions)
        if arguments.beside:
            place_plugin(arguments.build, *arguments.beside)
        with DesktopSession(share=arguments.build + "/share", folder=arguments.keep) as session:
            session.start({NAME: arguments.build + "/bin/kelvo-finder-sync"})
            try:
                test(arguments, session).run()
            except SessionError:
                session.screenshot(os.path.join(session.folder, "failure.png"))
                for name in (arguments.host, "kelvo-sample-agent", "dbus-daemon"):
                    print("--- %s\n%s" % (name, session.output(name)[-3000:]))
                raise
    except SessionError as error:
        print("FAIL " + str(error))
        return 1
    return 0
