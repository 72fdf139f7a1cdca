#!/usr/bin/env python3
"""Property lists written by Python are read, and what is written is read by Python, as one value."""
import datetime
import math
import plistlib
import subprocess
import sys
import tempfile

VALUES = [
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


def convert(program, form, data):
    with tempfile.NamedTemporaryFile() as source:
        source.write(data)
        source.flush()
        return subprocess.run([program, form, source.name], check=True, stdout=subprocess.PIPE,
                              timeout=20).stdout


def main(program):
    failures = 0
    for value in VALUES:
        for source in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            for form in ("xml", "binary"):
                back = plistlib.loads(convert(program, form, plistlib.dumps(value, fmt=source)))
                if back != value:
                    failures += 1
                    print("%s as %s: %.200r became %.200r" % (source, form, value, back))
    print("%d values, %d failures" % (len(VALUES), failures))
    return failures != 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
