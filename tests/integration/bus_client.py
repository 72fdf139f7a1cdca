"""A client of the extension's bus interface, as a file manager would be one."""
import collections
import threading
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

NAME = "com.kelvo.FinderSync"
PATH = "/com/kelvo/FinderSync"
INTERFACE = "com.kelvo.FinderSync1"
HOST = """<node><interface name="com.kelvo.FinderHost1"><method name="SetClipboard">
  <arg type="s" direction="in"/><arg type="b" direction="out"/>
</method></interface></node>"""

Line = collections.namedtuple("Line", "index title icon enabled action separator")


def byte_array(data):
    return GLib.Variant.new_from_bytes(GLib.VariantType("ay"), GLib.Bytes.new(data), True)


def as_bytes(variant):
    return bytes(variant.get_data_as_bytes().get_data() or b"") if variant.n_children() else b""


class BusClient:
    """Answers and signals are taken on one thread, in the order in which they came."""

    _loop = None

    def __init__(self, address):
        if BusClient._loop is None:
            BusClient._loop = GLib.MainLoop()
            threading.Thread(target=BusClient._loop.run, daemon=True).start()
        flags = Gio.DBusConnectionFlags
        self._connection = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self._connection.set_exit_on_close(False)
        self._news = threading.Condition()
        self.badges = {}          # (folder, name): badge, as bytes
        self.badge_signals = []   # (folder, number of entries)
        self.members = []         # names of all signals
        self.descriptions = []    # (folder, names) of each signal, as texts
        for interface in (INTERFACE, "org.freedesktop.DBus.Properties"):
            self._connection.signal_subscribe(None, interface, None, PATH, None,
                                              Gio.DBusSignalFlags.NONE, self._on_signal)
        # The subscriptions are in force once the bus has answered something sent after them.
        self._connection.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "GetId", None, None, 0, 5000, None)

    def close(self):
        self._connection.close_sync(None)

    def _on_signal(self, _connection, _sender, _path, _interface, member, parameters):
        with self._news:
            self.members.append(member)
            if member == "DescriptionsChanged":
                folder, names = (as_bytes(parameters.get_child_value(i)).decode() for i in (0, 1))
                self.descriptions.append((folder, names.split("\0")[:-1]))
            if member == "BadgesChanged":
                folder = as_bytes(parameters.get_child_value(0))
                entries = as_bytes(parameters.get_child_value(1)).split(b"\0")[:-1]
                self.badge_signals.append((folder, len(entries)))
                for entry in entries:
                    self.badges[(folder, entry[1:])] = entry[:1]
            self._news.notify_all()

    def call(self, member, *arguments, interface=INTERFACE, seconds=20):
        parameters = GLib.Variant.new_tuple(*arguments) if arguments else None
        return self._connection.call_sync(NAME, PATH, interface, member, parameters, None,
                                          Gio.DBusCallFlags.NONE, int(seconds * 1000), None)

    def request(self, folder, names, seconds=20):
        """RequestBadges: the answer as bytes, entered into `badges` in its turn among the signals."""
        folder, names = folder.encode(), [name.encode() for name in names]
        answer = []

        def finished(connection, result):
            with self._news:
                try:
                    answer.append(as_bytes(connection.call_finish(result).get_child_value(0)))
                    for name, badge in zip(names, answer[0]):
                        self.badges[(folder, name)] = bytes([badge])
                except GLib.Error as error:
                    answer.append(error)
                self._news.notify_all()

        self._connection.call(NAME, PATH, INTERFACE, "RequestBadges",
                              GLib.Variant.new_tuple(byte_array(folder), byte_array(
                                  b"".join(name + b"\0" for name in names))),
                              None, Gio.DBusCallFlags.NONE, int(seconds * 1000), None, finished)
        self.wait(lambda: answer, seconds + 1, "an answer to RequestBadges")
        if isinstance(answer[0], Exception):
            raise answer[0]
        return answer[0]

    def describe(self, folder, names):
        """DescribeItems: (state, lock owner, permission) of each name."""
        packed = "".join(name + "\0" for name in names)
        kinds, which = self.call("DescribeItems", byte_array(folder.encode()),
                                 byte_array(packed.encode())).unpack()
        return [kinds[i] for i in which]

    def wait_descriptions(self, folder, names, what, seconds=20):
        """A signal for these names since the last one that was waited for."""
        self.wait(lambda: (folder, names) in self.descriptions, seconds, what)
        self.descriptions.clear()

    def menu(self, *items, seconds=20):
        """MenuForItems: the serial and the lines. Items are paths, as texts or bytes."""
        paths = [byte_array(item if isinstance(item, bytes) else item.encode()) for item in items]
        serial, lines = self.call(
            "MenuForItems", GLib.Variant("u", 0),
            GLib.Variant.new_array(GLib.VariantType("ay"), paths), seconds=seconds).unpack()
        return serial, [Line(*line) for line in lines]

    def choose(self, serial, index, **platform_data):
        data = {key.replace("_", "-"): value for key, value in platform_data.items()}
        self.call("ChooseMenuItem", GLib.Variant("u", serial), GLib.Variant("u", index),
                  GLib.Variant("a{sv}", data))

    def export_clipboard(self, set_clipboard):
        """`set_clipboard(text)` answers whether the text was written; None: there is no answer."""
        def called(_connection, _sender, _path, _interface, _member, parameters, invocation):
            answer = set_clipboard(parameters.unpack()[0])
            if answer is not None:
                invocation.return_value(GLib.Variant("(b)", (answer,)))
        self._connection.register_object("/com/kelvo/FinderHost", Gio.DBusNodeInfo.new_for_xml(
            HOST).interfaces[0], called, None, None)

    def get(self, name):
        answer = self.call("Get", GLib.Variant("s", INTERFACE), GLib.Variant("s", name),
                           interface="org.freedesktop.DBus.Properties")
        return answer.get_child_value(0).get_variant()

    def directories(self):
        value = self.get("DirectoryURLs")
        return [as_bytes(value.get_child_value(i)).decode() for i in range(value.n_children())]

    def wait(self, condition, seconds, what):
        end = time.monotonic() + seconds
        with self._news:
            while not condition():
                left = end - time.monotonic()
                if left <= 0:
                    raise AssertionError("not within %g s: %s" % (seconds, what))
                self._news.wait(left)

    def wait_badges(self, folder, wanted, seconds=20):
        """Until the items of the folder, named in {name: badge}, have these badges."""
        key = folder.encode()

        def wrong():
            return {name: self.badges.get((key, name.encode())) for name, badge in wanted.items()
                    if self.badges.get((key, name.encode())) != badge.encode()}
        try:
            self.wait(lambda: not wrong(), seconds, "badges")
        except AssertionError:
            raise AssertionError("badges of %s are still %r, wanted %r"
                                 % (folder, wrong(), wanted)) from None
