"""The page "Kelvo" in Dolphin's properties of a file, gone through by the keyboard and read as a screen
reader does it. Who walks the tree of the dialog instead finds its labels without names.
"""
import contextlib
import os

from desktop_session import SessionError, wait_until
from file_manager import PATIENCE, Atspi, GLib

ROUND = 10  # Tab keys, at least, through all that takes the keyboard
OPENS_IN = 5  # seconds, mostly


class PropertiesPage:
    def __init__(self, files):
        self._files = files
        self._path = None
        self._texts = {}
        self._listener = Atspi.EventListener.new(self._on_focus)
        self._listener.register("object:state-changed:focused")

    def _on_focus(self, event):
        with contextlib.suppress(GLib.GError, AttributeError):  # it is gone meanwhile
            if event.detail1 and event.source.get_role_name() == "label":
                for relation in event.source.get_relation_set():
                    self._texts[relation.get_target(0).get_name()] = event.source.get_name()

    def texts(self, path):
        """What the page says of the file now: {title: text}. It stays open."""
        if path != self._path:
            self._open(path)
        self._texts.clear()
        self._files.key("alt+k", *["Tab"] * ROUND)
        with contextlib.suppress(SessionError):
            wait_until(self._heard_all, 1, "labels")
        return dict(self._texts)

    def _heard_all(self):
        before = len(self._texts)
        list(self._files.nodes())  # which hears the events, too
        return before and len(self._texts) == before

    def _open(self, path):
        if self._path:
            self._files.key("Escape")
            self._files.wait_for_title(os.path.basename(os.path.dirname(self._path)))
        title = "Properties for " + os.path.basename(path)

        def opened():
            self._files.select(path)
            self._files.key("alt+Return")
            with contextlib.suppress(SessionError):
                return wait_until(lambda: self._files.title().startswith(title), OPENS_IN, title)
            self._files.key("Escape")  # that of the folder, when the file was selected too late
        wait_until(opened, PATIENCE, lambda: "%s instead of %s" % (title, self._files.title()))
        self._path = path
