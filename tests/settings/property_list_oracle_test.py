#!/usr/bin/python3
"""Property lists and the archives of the Agent's channel mean the same to us and to others: Python's
plistlib, libplist, and, where a second program is given, Foundation's own archiver.

    property_list_oracle_test.py CONVERT_PROPERTY_LIST [CONVERT_FOUNDATION_ARCHIVE]
"""
import datetime
import math
import plistlib
import shutil
import subprocess
import sys
import tempfile

LISTS = [
    {},
    [],
    {"dict": {"nested": [{"deep": []}]}, "key with <&>": "value with <&> and \u00e4\u20ac\U0001f600"},
    [0, 1, -1, 255, 256, 65535, 65536, 2**31, 2**32, 2**63 - 1, -2**63, 2**64 - 1],
    [0.0, 0.1, -1.5, 1e300, 5e-324, math.inf, -math.inf],
    [True, False, "", " padded\n\t\x7f ]]> ", "x" * 20000],
    [b"", b"\0", b"12", bytes(range(256)) * 10],
    {"data": {"indented": {"further": b"z" * 200}}},
    [datetime.datetime(1970, 1, 1), datetime.datetime(2024, 2, 29, 23, 59, 59),
     datetime.datetime(1601, 1, 1)],
    list(range(70000)),
    {"k%d" % i: "shared" for i in range(300)},
]
ARCHIVED = [
    {},
    {"event_name": "sync_request", "command": "status-list", "path": "/Users/a b/\u00e4\u20ac\U0001f600"},
    {"": "", "$null": "$null", "$class": "$top", "NS.string": "NS.keys", "again": "$null"},
    {"zero": 0, "one": 1, "minus": -1, "byte": 255, "word": 65536, "long": 2**31, "most": 2**63 - 1,
     "least": -2**63},
    {"half": 0.5, "negative": -1e300, "tiny": 5e-324, "whole": 3.0},
    {"true": True, "false": False, "text": "1", "number": 1},
    {"key %d" % i: "shared" if i % 2 else "text %d" % i for i in range(400)},
    {"long": "x" * 70000, "wide": "\u00e4" * 70000},
]


def run(*command, data):
    with tempfile.NamedTemporaryFile() as source:
        source.write(data)
        source.flush()
        return subprocess.run([*command, source.name], check=True, stdout=subprocess.PIPE,
                              timeout=60).stdout


def plain(archive):
    """The dictionary of an archive, taken apart with nothing but a reader of property lists."""
    contents = plistlib.loads(archive)
    assert contents["$archiver"] == "NSKeyedArchiver" and contents["$version"] == 100000, contents
    objects = contents["$objects"]
    assert objects[0] == "$null", objects[0]

    def text(value):
        return value["NS.string"] if isinstance(value, dict) else value

    root = objects[contents["$top"]["root"].data]
    assert objects[root["$class"].data]["$classname"] in ("NSDictionary", "NSMutableDictionary")
    return {text(objects[key.data]): text(objects[value.data])
            for key, value in zip(root["NS.keys"], root["NS.objects"])}


def by_hand(value, mutable):
    """An archive as Foundation writes it, each string as an object of its own where it is mutable."""
    objects = ["$null", None]

    def add(item):
        objects.append({"NS.string": item, "$class": plistlib.UID(3)}
                       if mutable and isinstance(item, str) else item)
        return plistlib.UID(len(objects) - 1)

    kind = "NSMutableDictionary" if mutable else "NSDictionary"
    objects.append({"$classname": kind, "$classes": [kind, "NSDictionary", "NSObject"]})
    objects.append({"$classname": "NSMutableString", "$classes": ["NSMutableString", "NSString", "NSObject"]})
    keys = [add(key) for key in value]
    objects[1] = {"NS.keys": keys, "NS.objects": [add(item) for item in value.values()],
                  "$class": plistlib.UID(2)}
    return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver",
                           "$top": {"root": plistlib.UID(1)}, "$objects": objects},
                          fmt=plistlib.FMT_BINARY)


def through_libplist(archive):
    return run("plistutil", "-f", "bin", "-i", data=archive)


def without_null(value):
    """GNUstep's reader takes every text "$null" for nil, also in what its own archiver has written."""
    return {key: item for key, item in value.items() if "$null" not in (key, item)}


def same(left, right):
    return left == right and (not isinstance(left, dict) or
                              all(type(left[key]) is type(right[key]) for key in left))


def through_ours(core, form, source):
    return lambda value: plistlib.loads(run(core, form, data=plistlib.dumps(value, fmt=source)))


def ways(core, foundation):
    """Name and function of each way from a dictionary to a dictionary."""
    def ours(value):
        return run(core, "archive", data=plistlib.dumps(value))

    def read(archive):
        return plistlib.loads(run(core, "list", data=archive))

    yield "ours, read by plistlib", lambda value: plain(ours(value))
    yield "ours, rewritten by plistlib", lambda value: read(
        plistlib.dumps(plistlib.loads(ours(value)), fmt=plistlib.FMT_BINARY))
    yield "plistlib's", lambda value: read(by_hand(value, False))
    yield "plistlib's, mutable", lambda value: read(by_hand(value, True))
    if not shutil.which("plistutil"):
        print("skipped: no plistutil")
    else:
        yield "ours, rewritten by libplist", lambda value: read(through_libplist(ours(value)))
    if not foundation:
        print("skipped: Foundation, without GNUstep")
    else:
        yield "ours, read by Foundation", lambda value: plistlib.loads(
            run(foundation, "list", data=ours(without_null(value)))) | {
                key: item for key, item in value.items() if "$null" in (key, item)}
        yield "Foundation's", lambda value: read(
            run(foundation, "archive", data=plistlib.dumps(value)))
        yield "Foundation's, mutable", lambda value: read(
            run(foundation, "mutable", data=plistlib.dumps(value)))


def main(core, foundation=None):
    failures = 0
    count = 0
    plans = [("%s as %s" % (source, form), through_ours(core, form, source), LISTS)
             for source in plistlib.PlistFormat for form in ("xml", "binary")]
    plans += [(name, way, ARCHIVED) for name, way in ways(core, foundation)]
    for name, way, values in plans:
        for value in values:
            count += 1
            try:
                back = way(value)
            except (subprocess.CalledProcessError, AssertionError, plistlib.InvalidFileException) as error:
                back = {"failed": repr(error)}
            if not same(value, back):
                failures += 1
                print("%s: %.300r became %.300r" % (name, value, back))
    print("%d conversions, %d failures" % (count, failures))
    return failures != 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
