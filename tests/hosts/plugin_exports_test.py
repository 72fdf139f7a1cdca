"""A plug-in is a guest in a file manager's process: what it shows there, and that it stays.

usage: plugin_exports_test.py HOST PLUGIN [VERSION]

HOST dolphin-client: what Dolphin's plug-ins share; VERSION is what they all must be of.
"""
import subprocess
import sys


def symbols(library, which):
    names = subprocess.run(["nm", "-D", which, "--format=posix", library],
                           check=True, capture_output=True, text=True).stdout
    return {line.split()[0] for line in names.splitlines()}


def main():
    host, plugin, *version = sys.argv[1:]
    shared = "_".join(["kelvo_dolphin_client", *version]).replace(".", "_")
    entry_points = {host + "_module_" + end for end in ("initialize", "list_types", "shutdown")}
    if host == "dolphin":
        entry_points = {"qt_plugin_instance", "qt_plugin_query_metadata"}
    elif host == "dolphin-client":
        entry_points = {shared}
    exported = symbols(plugin, "--defined-only")
    assert exported == entry_points, "exports %s" % sorted(exported ^ entry_points)

    if host == "dolphin":
        assert shared in symbols(plugin, "--undefined-only"), "binds to any version's client"

    dynamic = subprocess.run(["readelf", "--dynamic", "--wide", plugin],
                             check=True, capture_output=True, text=True).stdout
    assert "NODELETE" in dynamic, "could be unloaded while GLib still calls it"
    toolkit = {"nautilus": "libgtk-4", "nemo": "libgtk-3", "caja": "libgtk-3"}.get(host, "libQt5")
    toolkits = {"libgtk-3", "libgtk-4", "libQt5"} - {toolkit}
    for library in {"libsecret", "libxml2"} | toolkits:
        assert library not in dynamic, "drags %s into every file manager" % library


if __name__ == "__main__":
    main()
