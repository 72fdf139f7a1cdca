"""A plug-in is a guest in a file manager's process: what it shows there, and that it stays.

usage: plugin_exports_test.py HOST PLUGIN
"""
import subprocess
import sys


def main():
    host, plugin = sys.argv[1:]
    entry_points = {host + "_module_" + end for end in ("initialize", "list_types", "shutdown")}
    names = subprocess.run(["nm", "-D", "--defined-only", "--format=posix", plugin],
                           check=True, capture_output=True, text=True).stdout
    exported = {line.split()[0] for line in names.splitlines()}
    assert exported == entry_points, "exports %s" % sorted(exported ^ entry_points)

    dynamic = subprocess.run(["readelf", "--dynamic", "--wide", plugin],
                             check=True, capture_output=True, text=True).stdout
    assert "NODELETE" in dynamic, "could be unloaded while GLib still calls it"
    other_toolkit = "libgtk-3" if host == "nautilus" else "libgtk-4"
    for library in ("libsecret", "libxml2", other_toolkit):
        assert library not in dynamic, "drags %s into every file manager" % library


if __name__ == "__main__":
    main()
