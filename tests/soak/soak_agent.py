"""An Agent in this process that knows at any time which badge every item must have."""
import collections
import os
import plistlib
import select
import socket
import threading
import time

from channel import archived, framed, take_message

EVENT = "com.kelvo.client.AgentEvent"
RENDEZVOUS = "com.kelvo.vip.kelvoFinderSync"
PATIENCE = 30  # seconds that the extension may take to read what is sent
USER = "Sample User"
PREFERENCES = "Library/Preferences/com.kelvo.vip"
SETTINGS = {"config_label": "Kelvo Agent", "desktop_name": "soak", "user": "sample",
            "email": "sample@kelvo.example", "full_name": USER, "user_id": "1",
            "sync_file_locking": True, "public_share": True}

State = collections.namedtuple("State", "badge status lock denied")
IN_SYNC = State("1", 0, 0, 0)
MINE = State("4", 0, 2, 0)
EVE = State("3", 0, 1, 0)
STATES = [IN_SYNC, State("2", 1, 0, 0), EVE, MINE, State("5", 0, 3, 0), State("6", 0, 0, 7),
          State("6", 1, 1, 2)]


def write_settings(session, work):
    """The Agent's settings of a session whose Workplace is the folder `work`."""
    folder = os.path.join(session.home, PREFERENCES)
    os.makedirs(folder, mode=0o700)
    with open(os.path.join(folder, "user_info.plist"), "wb") as file:
        plistlib.dump(dict(SETTINGS, master_project_folder=work), file)


def _text(value):
    return "%d:%s" % (len(value.encode()), value)


def _holder(state):
    return {0: "", 2: USER}.get(state.lock, "Eve")


def _record(name, state):
    holder = _text(_holder(state)) + "1474634018:" if state.lock else ""
    return "%s1:%d:1064:%d:%s%s7:%d:%s" % (_text(name), state.status, state.denied, _text("Bob"),
                                           _text("F1"), state.lock, holder)


def _event(name, **pairs):
    return framed(EVENT, archived(dict(pairs, event_name=name)))


def _item_event(path, state, status=None):
    return _event("sync_item", path=path, file_id="F1", item_id="7", locktime="1474634018",
                  status=str(state.status if status is None else status), lock=str(state.lock),
                  lock_holder=_holder(state), modified_by="Bob", permissions="1064",
                  denied=str(state.denied), folder="0")


class SoakAgent:
    """`folders`: {path: {name: State}}, the model; what changes it and what tells of the change are
    one step, so that every list says what the events before it have said.

    Threads: any, beside its own. What goes wrong on that one is in `failure`.
    """

    def __init__(self, runtime):
        self._path = os.path.join(runtime, RENDEZVOUS)
        self._lock = threading.RLock()
        self._listener = None
        self._peer = None
        self._opened = False
        self._frames = {}      # of permanent items: (path, state): event
        self._ending = False
        self.folders = {}
        self.external = []     # paths of external projects
        self.events = 0        # that were sent
        self.connections = 0
        self.lock_result = 0   # what a request to lock ends with
        self.failure = None
        self.start()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def start(self):
        with self._lock:
            self._listener = socket.socket(socket.AF_UNIX)
            self._listener.bind(self._path)
            os.chmod(self._path, 0o600)
            self._listener.listen()

    def stop(self, leave_socket=False):
        """As a process that ends, or is killed and leaves its socket behind."""
        with self._lock:
            self._listener.close()
            self._listener = None
            self.drop()
            if not leave_socket:
                os.unlink(self._path)

    def clear_rendezvous(self):
        if os.path.exists(self._path):
            os.unlink(self._path)

    def drop(self):
        with self._lock:
            if self._peer:
                self._peer.close()
            self._peer, self._opened = None, False

    def close(self):
        self._ending = True
        self._thread.join()

    def is_connected(self):
        with self._lock:
            return self._opened

    def badges(self, folder):
        with self._lock:
            return {name: state.badge for name, state in self.folders[folder].items()}

    def send_event(self, name, **pairs):
        self._send(_event(name, **pairs))

    def send_status(self, status):
        with self._lock:
            self._send(self._status(status))

    def _status(self, status):
        return framed("com.kelvo.client.ConnectionStatusChanged", archived(
            {"status": str(status), "timestamp": str(int(time.time()))}))

    def change(self, folder, name, state, keep=True):
        """`keep`: the same will be told again. How many events were sent."""
        with self._lock:
            self.folders[folder][name] = state
            key = (folder, name, state)
            frame = self._frames.get(key)
            if frame is None:
                frame = _item_event(folder + "/" + name, state)
                if keep:
                    self._frames[key] = frame
            return self._send(frame)

    def set_folder(self, folder, items):
        """The folder has these items from now on; None: it has gone."""
        with self._lock:
            if items is None:
                del self.folders[folder]
            else:
                self.folders[folder] = items
            self._send(self._list(folder))

    def tell_folder(self, folder):
        with self._lock:
            return self._send(self._list(folder))

    def forget_folder(self, folder):
        """Status 3: the extension must ask anew."""
        with self._lock:
            name, state = next(iter(self.folders[folder].items()))
            self._send(_item_event(folder + "/" + name, state, status=3))

    def _list(self, folder):
        items = self.folders.get(folder, {})
        text = "%d:" % len(items) + "".join(_record(*item) for item in items.items())
        return _event("sync_status_list", path=folder, list=text)

    def _send(self, frame):
        with self._lock:
            if not self._opened:
                return 0
            self._peer.sendall(frame)
            self.events += 1
            return 1

    def _answer(self, frame):
        self._peer.sendall(frame)

    def _run(self):
        buffer = bytearray()
        try:
            while not self._ending:
                with self._lock:
                    listener, peer = self._listener, self._peer
                try:
                    ready = select.select([end for end in (listener, peer) if end], [], [], 0.1)[0]
                except (OSError, ValueError):
                    continue  # closed meanwhile
                with self._lock:
                    if listener in ready and listener is self._listener:
                        self.drop()
                        self._peer = listener.accept()[0]
                        self._peer.settimeout(PATIENCE)
                        self.connections += 1
                        buffer.clear()
                    elif peer in ready and peer is self._peer:
                        self._read(buffer)
        except Exception as error:  # pylint: disable=broad-except
            self.failure = error

    def _read(self, buffer):
        data = self._peer.recv(1 << 20)
        if not data:
            self.drop()
            return
        buffer += data
        while self._peer:
            message = take_message(buffer)
            if message is None:
                return
            self._on_message(*message)

    def _on_message(self, kind, info):
        if kind == "init_com":
            self._opened = True
            if self.connections > 1:  # much may have changed while nobody was told
                self._answer(_event("sync_response", command="reset-status"))
        elif kind == "com.kelvo.client.ReportStatus":
            self._answer(self._status(4))
        elif info.get("event_name") == "configuration_init":
            self._answer(_event("configuration_updated"))
        elif info.get("event_name") == "sync_request":
            self._on_request(info["command"], info)

    def _on_request(self, command, info):
        if command == "status-list":
            self._answer(self._list(info["path"]))
        elif command == "sync-lists":
            self._answer(_event("sync_response", command=command, list="",
                                **{"list-id": info["list-name"]}))
        elif command in ("subscribed-projects", "not-subscribed-projects"):
            paths = self.external if command == "subscribed-projects" else []
            self._answer(_event("sync_response", command=command,
                                **{"project-list": self._project_list(paths)}))
        elif command in ("lock", "unlock"):
            folder, name = os.path.split(info["path"])
            if self.lock_result == 0:
                self.change(folder, name, MINE if command == "lock" else IN_SYNC)
            self._answer(_event("sync_response", command=command, path=info["path"],
                                result=str(self.lock_result)))

    @staticmethod
    def _project_list(paths):
        return "<project-list>%s</project-list>" % "".join(
            "<project><id>%d</id><name>%s</name><local-path>%s</local-path><external>1</external>"
            "<subscribed>1</subscribed><known>1</known></project>"
            % (i + 1, os.path.basename(path), path) for i, path in enumerate(paths))
