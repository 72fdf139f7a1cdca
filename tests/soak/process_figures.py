"""What a process holds, as the kernel counts it."""
import collections
import glob
import os
import re
import time

from desktop_session import SessionError

Figures = collections.namedtuple("Figures", "memory descriptors threads")  # memory: KiB


def figures(process):
    """`process`: its id.

    Memory is what it alone has and nothing on disk backs. Private_Dirty is the same, but for the
    pages of a program that was built just now and is not written out yet.
    """
    with open("/proc/%d/smaps_rollup" % process, encoding="ascii") as file:
        memory = sum(map(int, re.findall(r"^(?:Anonymous|Swap):\s+(\d+)", file.read(), re.M)))
    return Figures(memory, len(os.listdir("/proc/%d/fd" % process)),
                   len(os.listdir("/proc/%d/task" % process)))


def children(process):
    found = []
    for path in glob.glob("/proc/%d/task/*/children" % process):
        try:
            with open(path, encoding="ascii") as file:
                found += map(int, file.read().split())
        except (FileNotFoundError, ProcessLookupError):
            pass  # that thread has ended
    return found


def settled_figures(process, seconds, limit):
    """The figures once descriptors and threads have been the same for so many seconds."""
    now, since = figures(process), time.monotonic()
    end = since + limit
    while time.monotonic() < since + seconds:
        if time.monotonic() > end:
            raise SessionError("not settled within %g s: %s" % (limit, now))
        time.sleep(0.2)
        newer = figures(process)
        if newer[1:] != now[1:]:
            since = time.monotonic()
        now = newer
    return now
