#!/usr/bin/env python3
"""Proves that shells complete what kelvo-finder takes. Usage: completions_test.py BUILD"""

import pathlib
import re
import subprocess
import sys
import unittest
from xml.etree import ElementTree

BUILD = pathlib.Path(sys.argv.pop())
FINDER = BUILD / "bin" / "kelvo-finder"
SHELLS = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "completions"


def found(pattern, text):
    return re.findall(pattern, text, re.MULTILINE | re.DOTALL)


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=30).stdout


def bash_offers(word, *before):
    script = ('set -eu; source "$0"; compopt() { :; }; COMP_WORDS=("$@") COMP_CWORD=$(($#-1));'
              '_kelvo_finder; echo "${COMPREPLY[@]}"')
    line = ["kelvo-finder", *before, word]
    return set(run("bash", "-c", script, SHELLS / "kelvo-finder.bash", *line).split())


class CompletionsTest(unittest.TestCase):
    def test_shells_offer_what_the_program_takes(self):
        usage = run(FINDER, "--help")
        names = found(r"^  ([a-z]+)\b", usage)
        takes = {name: {"--help", *found(r"--\w+", run(FINDER, name, "--help"))} for name in names}
        self.assertEqual(bash_offers(""), {*names, *found("^  (--[a-z]+)", usage)})
        self.assertEqual({name: bash_offers("-", name) for name in names}, takes)

        zsh = (SHELLS / "_kelvo-finder").read_text()
        self.assertEqual(found("^    '([a-z]+):", zsh), names)
        shared, = found("help='([^']*)'", zsh)
        self.assertEqual({name: set(found(r"--\w+", body.replace("$help", shared)))
                          for words, body in found(r"^    ([a-z |]+)\)$(.*?);;$", zsh)
                          for name in words.split(" | ")}, takes)

        fish = (SHELLS / "kelvo-finder.fish").read_text()
        self.assertEqual(found("needs_command -a ([a-z]+)", fish), names)
        lines = found(r"-n '?__kelvo_finder_(is_bare|in [a-z ]+)[^\n]* -l ([a-z0-9]+)", fish)
        self.assertEqual({name: {"--" + option for words, option in lines
                                 if {name, "is_bare"} & {*words.split()}} for name in names}, takes)

    def test_metainfo_has_the_version(self):
        metainfo = ElementTree.parse(BUILD / "packaging" / "com.kelvo.FinderSync.metainfo.xml")
        version = metainfo.find("releases/release").get("version")
        self.assertEqual(run(FINDER, "--version"), f"kelvo-finder {version}\n")


if __name__ == "__main__":
    unittest.main()
