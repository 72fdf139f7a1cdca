"""The columns of a file manager's list: switched on for a session, and read as a screen reader does.
"""
import contextlib
import os

from file_manager import Atspi, GLib, children

COLUMNS = ("kelvo_state", "kelvo_lock_owner", "kelvo_permission")
SETTINGS = {"nemo": "org/nemo", "nautilus": "org/gnome/nautilus", "caja": "org/mate/caja"}


def show_columns(session, host):
    """Has the file manager, when it starts, show lists with our columns; before it does."""
    # Settings in memory cannot be set from outside: these are in a file of the private home.
    session.environment["GSETTINGS_BACKEND"] = "keyfile"
    folder = os.path.join(session.environment["XDG_CONFIG_HOME"], "glib-2.0/settings")
    os.makedirs(folder, exist_ok=True)
    names = str(["name", *COLUMNS])
    with open(os.path.join(folder, "keyfile"), "a", encoding="utf-8") as file:
        file.write("[%s/preferences]\ndefault-folder-viewer='list-view'\n"
                   "[%s/list-view]\ndefault-visible-columns=%s\ndefault-column-order=%s\n"
                   % (SETTINGS[host], SETTINGS[host], names, names))


def column_texts(files, name):
    """What the list of a FileManager says of the file: {title of a column: text}, as shown now.

    Empty while the list, or the file in it, does not show.
    """
    rows = _gtk4_rows if files.host == "nautilus" else _gtk3_rows
    for role, _, node in files.nodes():
        if role != "tree table":
            continue
        with contextlib.suppress(GLib.GError, AttributeError):  # it changes meanwhile
            for row in rows(node):
                if name in row.values():
                    return row
    return {}


def _gtk3_rows(table):
    titles = [table.get_column_header(column).get_name()
              for column in range(table.get_n_columns())]
    for row in range(table.get_n_rows()):
        cells = [table.get_accessible_at(row, column) for column in range(len(titles))]
        # A column of several parts has a cell for each.
        yield {title: "".join(part.get_name() for part in [cell, *children(cell)])
               for title, cell in zip(titles, cells)}


def _gtk4_rows(table):
    """A list of rows of cells, after a row of titles; what they say is in their labels."""
    titles, *lists = children(table)
    titles = [_label(title) for title in children(titles)]
    for row in children(lists[0]):
        texts = dict(zip(titles, map(_label, children(row))))
        texts.pop("", None)  # the stars
        yield texts


def _label(node):
    """The text of the first label in it; GTK 4 names an empty one after its class."""
    left = [node]
    while left:
        node = left.pop(0)
        if node.get_role_name() == "label":
            return Atspi.Text.get_text(node, 0, Atspi.Text.get_character_count(node))
        left += children(node)
    return ""
