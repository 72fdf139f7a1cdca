"""Sessions of their own for the real programs: home and session bus, and a desktop where one is
due.

Nothing of the user's is read, written or started: the bus offers only the services named here, and
only processes that a session started are ended, by their ids.
"""
import atexit
import collections
import ctypes
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={runtime}</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{services}</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""
ACCESSIBILITY_SERVICE = "/usr/share/dbus-1/services/org.a11y.Bus.service"
MOUNTS_MARK = "KELVO_PRIVATE_MOUNTS"
WAY_OF_ENDING = 3.0  # seconds between being asked to end and being made to


class SessionError(Exception):
    """What the session needs is missing, or did not come in time."""


class Terminated(SystemExit, KeyboardInterrupt):
    """A SIGTERM: of the one the interpreter takes the status, the other unittest lets through."""


def _terminate(number, _):
    raise Terminated(128 + number)


def _end_with_parent(prctl=ctypes.CDLL(None).prctl):
    """In a new process. To the system, its parent is the thread that started it: the main one."""
    prctl(1, ctypes.c_ulong(signal.SIGKILL))  # PR_SET_PDEATHSIG


def wait_until(condition, seconds, what):
    """What `condition` answers once that is true. `what`: what is waited for, or a function that
    tells.
    """
    end = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > end:
            text = what() if callable(what) else what
            raise SessionError("not within %g s: %s" % (seconds, text))
        time.sleep(0.1)


def need_programs(*names):
    missing = [name for name in names if not shutil.which(name)]
    if missing:
        raise SessionError("not installed: " + ", ".join(missing))


def enter_private_mounts():
    """Runs this program anew where its mounts are seen by nobody else; returns in that one.

    An ordinary user gets a user namespace too, hence everything that is to talk to each other must
    be started from here.
    """
    if os.environ.get(MOUNTS_MARK):
        return
    need_programs("unshare")
    ways = [["unshare", "-m"]] if os.geteuid() == 0 else []
    for way in ways + [["unshare", "-Urm"]]:
        if subprocess.run(way + ["true"], capture_output=True, check=False).returncode == 0:
            os.environ[MOUNTS_MARK] = "1"
            os.execvp(way[0], way + [sys.executable] + sys.argv)
    raise SessionError("this system allows no private mounts (unshare -m, unshare -Urm)")


def mount_over(folder, place):
    """Shows `folder` in the place of another; only after enter_private_mounts."""
    if not os.path.isdir(place):
        try:
            os.makedirs(place)
        except OSError:
            # Not ours to make: show a copy of what is around it, with the folder in it.
            parent = os.path.dirname(place)
            copy = tempfile.mkdtemp(prefix="kelvo-mount-")
            atexit.register(shutil.rmtree, copy, ignore_errors=True)
            shutil.copytree(parent, copy, dirs_exist_ok=True)
            os.makedirs(os.path.join(copy, os.path.basename(place)))
            subprocess.run(["mount", "--bind", copy, parent], check=True)
    subprocess.run(["mount", "--bind", folder, place], check=True)


class Screenshot:
    """The colours of a picture, for counting."""

    def __init__(self, pixels):
        self._counts = collections.Counter(zip(pixels[0::3], pixels[1::3], pixels[2::3]))

    def count_near(self, colour, tolerance=10):
        """How many pixels differ from (r, g, b) by at most the tolerance in each part."""
        return sum(count for pixel, count in self._counts.items()
                   if all(abs(a - b) <= tolerance for a, b in zip(pixel, colour)))


class PrivateSession:
    """A home, a runtime folder and a session bus that nobody else uses.

    with PrivateSession() as session: session.start({bus name: program}) ...

    `share`: a folder to look for icons in before the system's. `folder`: where all of it lies; it
    is made, and left, if given.
    """

    _FOREIGN = ("WAYLAND_DISPLAY", "DISPLAY", "XAUTHORITY", "DBUS_SESSION_BUS_ADDRESS",
                "DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE", "SESSION_MANAGER", "NO_AT_BRIDGE",
                "GTK_MODULES", "LANGUAGE")

    def __init__(self, share=None, folder=None):
        self._own_folder = folder is None
        self.folder = folder or tempfile.mkdtemp(prefix="kelvo-")
        self._processes = []
        self.bus = None  # its process
        signal.signal(signal.SIGTERM, _terminate)
        atexit.register(self.close)
        self.home = self._make("home")
        self.runtime = self._make("runtime")
        self.logs = self._make("logs")
        data = os.environ.get("XDG_DATA_DIRS") or "/usr/local/share:/usr/share"
        self.environment = {key: value for key, value in os.environ.items()
                            if key not in self._FOREIGN}
        self.environment.update({
            "HOME": self.home, "XDG_RUNTIME_DIR": self.runtime,
            "XDG_CONFIG_HOME": self._make("home/.config"),
            "XDG_DATA_HOME": self._make("home/.local/share"),
            "XDG_CACHE_HOME": self._make("home/.cache"),
            "XDG_DATA_DIRS": os.path.abspath(share) + ":" + data if share else data,
            "LC_ALL": "C.UTF-8", "GSETTINGS_BACKEND": "memory"})

    def _make(self, name):
        path = os.path.join(self.folder, name)
        os.makedirs(path, mode=0o700, exist_ok=True)
        return path

    def start(self, services):
        """`services`: bus names and the programs that the bus starts for them."""
        need_programs("dbus-daemon", "dbus-send")
        folder = self._make("services")
        if os.path.exists(ACCESSIBILITY_SERVICE):
            shutil.copy(ACCESSIBILITY_SERVICE, folder)
        for name, program in services.items():
            with open(os.path.join(folder, name + ".service"), "w", encoding="utf-8") as file:
                file.write("[D-BUS Service]\nName=%s\nExec=%s\n" % (name, program))
        configuration = os.path.join(self.folder, "bus.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(BUS_CONFIGURATION.format(runtime=self.runtime, services=folder))
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self._first_line(
            ["dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + configuration],
            "--print-address={}")
        self.bus = self._processes[-1]

    def _first_line(self, command, option):
        """Starts a program and answers the line that `option` makes it write to a descriptor."""
        reading, writing = os.pipe()
        self.spawn(command + option.format(writing).split(), pass_fds=(writing,))
        os.close(writing)
        with os.fdopen(reading) as pipe:
            line = pipe.readline().strip()
        if not line:
            raise SessionError("%s did not start:\n%s" % (command[0], self.output(command[0])))
        return line

    def spawn(self, command, **more):
        """Starts a program in the session; its output goes to logs/NAME."""
        log = os.path.join(self.logs, os.path.basename(command[0]))
        with open(log, "ab") as output:
            more.setdefault("stdin", subprocess.DEVNULL)
            process = subprocess.Popen(command, env=self.environment, cwd=self.home, stdout=output,
                                       stderr=subprocess.STDOUT, preexec_fn=_end_with_parent,
                                       **more)
        self._processes.append(process)
        return process

    def output(self, name):
        """What the programs of that name have printed so far."""
        try:
            with open(os.path.join(self.logs, name), encoding="utf-8", errors="replace") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def extension_log(self):
        """What the extension has written to its log file so far."""
        path = os.path.join(self.home, "Library/Logs/KelvoAgentPlugin.log")
        if not os.path.exists(path):
            return ""
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read()

    def run(self, command, seconds=20):
        """A short command's output."""
        done = subprocess.run(command, env=self.environment, cwd=self.home, capture_output=True,
                              check=False, timeout=seconds)
        if done.returncode != 0:
            raise SessionError("%s: %s" % (command[0], done.stderr.decode(errors="replace")))
        return done.stdout

    def owner_process(self, name):
        """The id of the process that owns a bus name, or None."""
        try:
            answer = self.run(["dbus-send", "--session", "--print-reply=literal",
                               "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus.GetConnectionUnixProcessID",
                               "string:" + name])
        except SessionError:
            return None
        return int(answer.split()[-1])

    def end(self, process):
        """Ends one of the session's processes."""
        if process.poll() is None:
            process.send_signal(signal.SIGCONT)
            process.terminate()
            try:
                process.wait(WAY_OF_ENDING)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        if process.stdin:
            process.stdin.close()
        if process in self._processes:
            self._processes.remove(process)

    def close(self):
        """Ends what was started, last first; what the bus started goes with the bus."""
        atexit.unregister(self.close)
        for process in reversed(list(self._processes)):
            self.end(process)
        if self._own_folder:
            shutil.rmtree(self.folder, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.close()


class DesktopSession(PrivateSession):
    """A private session with a display and a window manager.

    `display`: one to use as it is, instead of a headless one of the session's own.
    """

    def __init__(self, share=None, folder=None, display=None, size="1100x1000"):
        super().__init__(share, folder)
        self._display = display
        self._size = size
        self.environment.update({
            "GDK_BACKEND": "x11", "QT_QPA_PLATFORM": "xcb", "LIBGL_ALWAYS_SOFTWARE": "1",
            "GSK_RENDERER": "cairo", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "GTK_A11Y": "atspi", "XDG_SESSION_TYPE": "x11"})
        if display:
            self.environment["DISPLAY"] = display
            authority = os.environ.get("XAUTHORITY") or os.path.expanduser("~/.Xauthority")
            if os.path.exists(authority):
                self.environment["XAUTHORITY"] = authority

    def start(self, services):
        """The display before the bus: what the bus starts inherits its environment."""
        if not self._display:
            need_programs("Xvfb", "openbox", "import", "xdotool")
            self.environment["DISPLAY"] = ":" + self._first_line(
                ["Xvfb", "-screen", "0", self._size + "x24", "-nolisten", "tcp", "-noreset"],
                "-displayfd {}")
        super().start(services)
        if not self._display:
            self.spawn(["openbox"])

    def park_pointer(self):
        """Moves the pointer where it highlights nothing."""
        width, height = self._size.split("x")
        self.run(["xdotool", "mousemove", str(int(width) - 1), str(int(height) - 1)])

    def screenshot(self, file=None, window="root"):
        """The whole screen, or a window that nothing covers, written to `file` too."""
        if file:
            self.run(["import", "-window", window, file])
        return Screenshot(self.run(["import", "-window", window, "-depth", "8", "rgb:-"]))
