#!/usr/bin/env python3
"""Proves of the built files themselves that they are hardened.

    hardening_test.py BUILD [FOLDER]

All programs and plug-ins that BUILD installs, or those in FOLDER, where it has installed them. A
build without optimisation is not for users: of that, only what the linker does is looked at.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = pathlib.Path(sys.argv[1]).resolve()
FOLDER = pathlib.Path(sys.argv[2]).resolve() if sys.argv[2:] else None
BUILD_TYPE = re.search(r"^CMAKE_BUILD_TYPE:\w+=(\w*)$", (BUILD / "CMakeCache.txt").read_text(),
                       re.MULTILINE).group(1)
# Optimised builds take the checking variants of these, __printf_chk for printf, whatever they are given.
ALWAYS_FORTIFIED = {part + "printf" for part in "d f s sn v vd vf vs vsn as vas".split()} | {
    "printf", "syslog", "vsyslog", "longjmp"}
# What would be missed when it is installed no more, or looked for in the wrong folder.
PROGRAMS = {"kelvo-finder", "kelvo-finder-dialog", "kelvo-finder-sync", "kelvo-sample-agent"}
ELF, ENDBR64 = b"\x7fELF", b"\xf3\x0f\x1e\xfa"


class Elf:
    def __init__(self, file):
        self.bytes = file.read_bytes()
        self.text = subprocess.run(
            ["readelf", "-W", "-h", "-l", "-d", "-S", "-r", "--dyn-syms", file],
            check=True, capture_output=True, text=True, env=dict(os.environ, LC_ALL="C")).stdout
        self.dynamic = "\n".join(self.find(r"^ 0x[0-9a-f]+ (\(.*)$"))
        self.imports = set(self.find(r" UND (\w+)(?:@\S+)?(?: \(\d+\))?$"))

    def find(self, pattern):
        return re.findall(pattern, self.text, re.MULTILINE)

    def linker_faults(self):
        flags = dict(self.find(r"^  (GNU_STACK|GNU_RELRO) .* ([R ][W ][E ]) "))
        if self.find(r"^  Type: +(\w+)") != ["DYN"]:
            yield "lies at a fixed address"
        if "INTERP" in self.text and "PIE" not in self.dynamic:
            yield "is no position independent executable"
        if flags.get("GNU_STACK") != "RW ":
            yield "has an executable stack"
        if self.find(r"^  (LOAD) .* RWE "):
            yield "has memory that is written and executed"
        if "GNU_RELRO" not in flags:
            yield "has no RELRO"
        if not re.search(r"BIND_NOW|FLAGS_1.*NOW", self.dynamic):
            yield "binds lazily: RELRO is not full"
        if "TEXTREL" in self.dynamic:
            yield "relocates its code"
        if [path for path in re.findall(r"R(?:UN)?PATH.*\[(.*)\]", self.dynamic)
                if not re.fullmatch(r"\$ORIGIN/[^:]*", path)]:
            yield "looks for libraries beside the system's folders and its own"

    def compiler_faults(self):
        if "__stack_chk_fail" not in self.imports:
            yield "has no stack protector"
        plain = self.imports & ALWAYS_FORTIFIED
        if plain:
            yield "calls without fortify: " + ", ".join(sorted(plain))
        if "INTERP" in self.text and not [name for name in self.imports if name.endswith("_chk")]:
            yield "has nothing fortified"
        if "X86-64" in self.text and not self.targets():  # each has a function to begin with
            yield "has pointers that this test cannot read"
        if "X86-64" in self.text and self.unprotected_targets():
            yield "has %d of %d targets of indirect calls without a mark" % (
                len(self.unprotected_targets()), len(self.targets()))

    def targets(self):
        """Where in the code the pointers of the data lead, those of virtual functions above all."""
        address, offset, size = (int(number, 16) for number in self.find(
            r"\] \.text +PROGBITS +(\w+) (\w+) (\w+)")[0])
        places = {int(place, 16) - address for place in self.find(r"R_X86_64_RELATIVE +(\w+)$")}
        return [place + offset for place in places if 0 <= place < size]

    def unprotected_targets(self):
        return [place for place in self.targets() if self.bytes[place:place + 4] != ENDBR64]


class HardeningTest(unittest.TestCase):
    maxDiff = None

    def check(self, folder, optimised):
        programs, faults = set(), []
        for file in folder.rglob("*"):
            if file.is_symlink() or not file.is_file() or not file.read_bytes().startswith(ELF):
                continue
            programs.add(file.name)
            elf = Elf(file)
            found = list(elf.linker_faults()) + (list(elf.compiler_faults()) if optimised else [])
            faults += ["%s %s" % (file.relative_to(folder), fault) for fault in found]
        self.assertEqual(PROGRAMS - programs, set(), "not in " + str(folder))
        self.assertEqual("\n".join(faults), "")

    def test_what_is_installed_is_hardened(self):
        optimised = BUILD_TYPE not in ("", "Debug")
        if FOLDER:
            self.check(FOLDER, optimised)
        else:
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run(["cmake", "--install", BUILD, "--prefix", folder], check=True,
                               stdout=subprocess.DEVNULL)
                self.check(pathlib.Path(folder), optimised)
        print(BUILD_TYPE + ": compiler's and linker's part" if optimised else
              BUILD_TYPE + ": the linker's part only")

    @unittest.skipIf(BUILD_TYPE in ("", "Debug"), "not optimised")
    def test_no_source_is_left_out(self):
        """Some plug-ins call nothing that could be fortified, so the files cannot tell."""
        commands = json.loads((BUILD / "compile_commands.json").read_text())
        left_out = [command["file"] for command in commands
                    if not {"-D_FORTIFY_SOURCE=2", "-fstack-protector-strong"}
                    <= set(command["command"].split())
                    and not re.match(r"(tests|bench|fuzz)/", command.get("output", ""))]
        self.assertEqual(left_out, [])

    @unittest.skipUnless(shutil.which("systemd-analyze"), "there is no systemd")
    def test_systemd_takes_every_line_of_the_unit(self):
        unit = (BUILD / "packaging" / "kelvo-finder-sync.service").read_text()
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "kelvo-finder-sync.service")
            file.write_text(re.sub("^ExecStart=.*", "ExecStart=/bin/true", unit, flags=re.MULTILINE))
            done = subprocess.run(
                ["systemd-analyze", "verify", "--user", "--man=no", file], check=False, text=True,
                capture_output=True, env=dict(os.environ, XDG_RUNTIME_DIR=folder))
        self.assertEqual((done.returncode, done.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
