"""What a soaked extension is loaded with: events, folders and clients that come and go, dialogs."""
import contextlib
import os
import random
import threading
import time

from bus_client import BusClient, byte_array
from desktop_session import SessionError, wait_until
from process_figures import children
from soak_agent import EVE, IN_SYNC, STATES

PERMANENT_FOLDERS = 20
ITEMS = 50            # of each of these
PASSING_ITEMS = 20    # of a folder that comes and goes
TICK = 0.02           # seconds between two bursts of events
PATIENCE = 30         # seconds; on an idle machine nothing takes more than eight
DIALOG_CLASS = "kelvo-finder"


class Client(BusClient):
    def forget(self, folder):
        """For one that lives long: what it has heard of a folder that has gone, and when."""
        with self._news:
            self.badges = {key: badge for key, badge in self.badges.items()
                           if key[0] != folder.encode()}
            for heard in (self.badge_signals, self.members, self.descriptions):
                heard.clear()


class Load:
    """Each of the four kinds runs on a thread of its own, until `stop` is set.

    `process`: the extension's id. `work`: the Workplace.
    """

    def __init__(self, session, agent, process, work):
        self._session = session
        self._agent = agent
        self._process = process
        self._work = work
        self._rounds = 0
        self._dialog_round = 0
        self._happening = 0
        # Held by whoever needs the Agent to be there, and by what takes it away.
        self._steady = threading.Lock()
        self.stop = threading.Event()
        self.counts = dict.fromkeys(("clients", "restarts", "dialogs"), 0)
        self.folders = ["%s/p%02d" % (work, i) for i in range(PERMANENT_FOLDERS)]
        for folder in self.folders:
            agent.folders[folder] = {"f%03d" % i: random.choice(STATES)
                                     for i in range(ITEMS)}
        self._dialogs = work + "/dialogs"
        agent.folders[self._dialogs] = {"mine": IN_SYNC, "eve": EVE}
        self.client = self.new_client()

    def new_client(self):
        return Client(self._session.environment["DBUS_SESSION_BUS_ADDRESS"])

    def begin(self):
        """The permanent client shows the permanent folders."""
        for folder in self.folders + [self._dialogs]:
            self.client.call("BeginObservingDirectory", byte_array(folder.encode()))
        self.ask(self.client)

    def ask(self, client):
        """As a file manager asks that has heard that all may be new."""
        for folder in self.folders + [self._dialogs]:
            client.request(folder, list(self._agent.badges(folder)))

    def check_badges(self, client):
        """Every item has the model's badge; nothing else is loaded meanwhile."""
        for folder in self.folders + [self._dialogs]:
            client.wait_badges(folder, self._agent.badges(folder), PATIENCE)
        watched = self._agent.external + [self._work]
        wait_until(lambda: client.directories() == watched, PATIENCE,
                   lambda: "watched folders %r instead of %r" % (client.directories(), watched))

    def events(self, rate):
        """So many events a second are sent; what is late, since the Agent is away, is made up for,
        also when the load is to stop.
        """
        begin, sent, due, ending = time.monotonic(), 0, 0, None
        while not ending or sent < due:
            time.sleep(TICK)
            now = time.monotonic()
            if not ending:
                due = int((now - begin) * rate)
                ending = now if self.stop.is_set() else None
            elif now > ending + PATIENCE:
                raise SessionError("only %d of %d events could be sent" % (sent, due))
            # Not all at once after a stall, or the Agent would never be heard by others.
            for _ in range(min(due - sent, 200)):
                folder = random.choice(self.folders)
                if random.random() < 0.01:
                    sent += self._agent.tell_folder(folder)
                else:
                    sent += self._agent.change(folder, "f%03d" % random.randrange(ITEMS),
                                               random.choice(STATES))

    def come_and_go(self):
        """Clients, each with a folder that nobody has seen before."""
        while not self.stop.wait(0.2):
            with self._steady:
                self._visit()

    def _visit(self):
        self._rounds += 1
        folder = "%s/passing %d" % (self._work, self._rounds)
        names = ["n%02d" % i for i in range(PASSING_ITEMS)]
        self._agent.set_folder(folder, {name: random.choice(STATES) for name in names})
        with contextlib.closing(self.new_client()) as client:
            path = byte_array(folder.encode())
            client.call("BeginObservingDirectory", path)
            client.request(folder, names)
            client.wait_badges(folder, self._agent.badges(folder), PATIENCE)
            client.describe(folder, names)
            client.menu(*(folder + "/" + name for name in names[:3]))
            for name in names:
                self._agent.change(folder, name, random.choice(STATES), keep=False)
            client.wait_badges(folder, self._agent.badges(folder), PATIENCE)
            self._agent.set_folder(folder, None)
            # A list repaints only what is in it; what has left it is no more when asked about.
            wait_until(lambda: client.request(folder, names) == b"0" * len(names), PATIENCE,
                       "no badges in a folder that has gone")
            if self._rounds % 2:  # else the leaving ends it
                client.call("EndObservingDirectory", path)
        self.counts["clients"] += 1
        self.client.forget(folder)

    def agent_happenings(self):
        """What an Agent does beside events: one thing every two seconds, in turn."""
        happenings = (self.reset, self._settings, self._forget, self._reload, self._projects,
                      self._restart, self._status, self._idle)
        while not self.stop.wait(2):
            happenings[self._happening % len(happenings)]()
            self._happening += 1

    def reset(self):
        """All lists are forgotten; the permanent client asks for its own again."""
        with self._steady:
            self._agent.send_event("sync_response", command="reset-status")
            self.ask(self.client)

    def _settings(self):
        self._agent.send_event("configuration_updated")

    def _forget(self):
        self._agent.forget_folder(random.choice(self.folders))

    def _reload(self):
        self._agent.send_event("sync_error", error="3", mpf="1", path=self._work)

    def _projects(self):
        place = os.path.join(self._session.home, "Projects")
        self._agent.external[:] = [] if self._agent.external else [
            "%s/Project %d" % (place, i) for i in range(3)]
        self._idle()

    def _idle(self):
        self._agent.send_event("sync_status", **{"send-count": "0", "receive-count": "0"})

    def _status(self):
        with self._steady:
            self._agent.send_status(3)
            self._agent.send_status(4)

    def _restart(self):
        with self._steady:
            self.counts["restarts"] += 1
            if self.counts["restarts"] % 3 == 0:
                self._agent.drop()
            else:
                self._agent.stop(leave_socket=self.counts["restarts"] % 3 == 1)
                self.stop.wait(random.random())
                self._agent.clear_rendezvous()
                self._agent.start()
            wait_until(self._agent.is_connected, PATIENCE, "the extension at the Agent's return")
            wait_until(lambda: self.client.get("AgentConnected").get_boolean(), PATIENCE,
                       "word of the Agent's return")
            self.ask(self.client)

    def dialogs(self):
        """Locked, unlocked, refused, asked whether to override; every round to its end, which is
        where the next one begins."""
        while not self.stop.wait(2):
            for what in (("Lock for Me", "mine", 0), ("Unlock", "mine", 0),
                         ("Lock for Me", "mine", 2), ("Unlock", "eve", 0)):
                with self._steady:
                    self._open_dialog(*what)
                self._close_dialog()

    def _open_dialog(self, title, name, result):
        self._agent.lock_result = result
        seen = []

        def find():
            serial, seen[:] = self.client.menu(self._dialogs + "/" + name)
            return next(((serial, line.index) for line in seen
                         if line.title == title and line.enabled), None)
        self.client.choose(*wait_until(find, PATIENCE,
                                       lambda: "%r for %s in %s" % (title, name, seen)))
        wait_until(self._windows, PATIENCE, "a dialog after %r for %s" % (title, name))
        self.counts["dialogs"] += 1

    def _windows(self):
        try:
            return self._session.run(["xdotool", "search", "--onlyvisible", "--class",
                                      DIALOG_CLASS]).split()
        except SessionError:
            return []  # it found none

    def _close_dialog(self):
        """By its key; one of five is killed, as by a crash."""
        self._dialog_round += 1
        if self._dialog_round % 5 == 0:
            for helper in children(self._process):
                with contextlib.suppress(ProcessLookupError):
                    os.kill(helper, 9)

        def gone():
            with contextlib.suppress(SessionError):  # it may go between two looks
                for window in self._windows():
                    self._session.run(["xdotool", "windowactivate", window, "key", "Escape"])
            return not children(self._process)
        wait_until(gone, PATIENCE, "the dialog's end")
