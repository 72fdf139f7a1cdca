#!/usr/bin/env python3
"""Proves that the base table holds every text that the code looks up, with the code's default.

Usage: localizable_strings_test.py

Reads the calls of LocalizedString, localizedString and Localizable in the sources. Key and default
must be string literals in the call; LocalizedString also takes one value, which Localizable made.
Prints one line per fault; the exit code is 1 when there is any.
"""

import pathlib
import plistlib
import re
import sys
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
TABLE = ROOT / "resources" / "Base.lproj" / "Localizable.strings"
FOLDERS = ("base", "settings", "agent", "cache", "projects", "ui", "core", "platform", "hosts",
           "tools")
SUFFIXES = {".h", ".hpp", ".cc", ".cpp", ".mm", ".in"}
# Where the functions are declared and pass on what they were given.
DEFINITIONS = {ROOT / "settings" / ("application_bundle" + suffix) for suffix in (".h", ".cc")}

LOOKUPS = {"LocalizedString", "localizedString", "Localizable"}
TAKES_VALUE = {"LocalizedString"}
TOKEN = re.compile(
    r'(?P<skipped>//(?:\\\n|[^\n])*|/\*.*?\*/|\s+)'
    r'|(?P<raw>\w*R"(?P<mark>[^()\s\\]*)\(.*?\)(?P=mark)")'
    r'|(?P<text>(?:u8)?"(?:\\.|[^"\\\n])*")'
    r"|(?P<character>'(?:\\.|[^'\\\n])+')"
    r"|(?P<number>\d(?:'?\w)*)"
    r'|(?P<name>[A-Za-z_]\w*)'
    r'|(?P<sign>.)', re.DOTALL)
ESCAPES = {"n": "\n", "t": "\t", "\\": "\\", '"': '"', "'": "'"}


def tokens_of(source):
    """(kind, text, line) of each token; comments and white space left out."""
    tokens = []
    line = 1
    for match in TOKEN.finditer(source):
        if match["skipped"] is None:
            kind = next(k for k in ("raw", "text", "character", "number", "name", "sign")
                        if match[k] is not None)
            tokens.append((kind, match[0], line))
        line += match[0].count("\n")
    return tokens


def literal_of(tokens):
    """The text of adjacent plain literals; None for anything else."""
    if not tokens or any(kind != "text" for kind, _, _ in tokens):
        return None
    try:
        return "".join(re.sub(r"\\(.)", lambda m: ESCAPES[m[1]], text[text.index('"') + 1:-1])
                       for _, text, _ in tokens)
    except KeyError:
        return None


def arguments_of(tokens, opening):
    """The arguments, each a list of tokens, of the call whose "(" has this index."""
    arguments = [[]]
    depth = 0
    for token in tokens[opening:]:
        sign = token[1] if token[0] == "sign" else ""
        depth += (sign in ("(", "[", "{")) - (sign in (")", "]", "}"))
        if depth == 0:
            return arguments
        if depth == 1 and sign == ",":
            arguments.append([])
        elif token is not tokens[opening]:
            arguments[-1].append(token)
    return []


def faults_in_source(name, source, table):
    tokens = tokens_of(source)
    for index, (kind, text, line) in enumerate(tokens):
        if kind != "name" or text not in LOOKUPS:
            continue
        where = f"{name}:{line}: {text}"
        called = index + 1 < len(tokens) and tokens[index + 1][1] == "("
        arguments = arguments_of(tokens, index + 1) if called else []
        pair = [literal_of(argument) for argument in arguments]
        if text in TAKES_VALUE and len(arguments) == 1 and arguments[0] and pair[0] is None:
            continue
        if len(pair) != 2 or None in pair:
            yield f"{where} does not take a key and a default as plain string literals"
        elif pair[0] not in table:
            yield f"{where}: the base table lacks {pair[0]!r}"
        elif table[pair[0]] != pair[1]:
            yield (f"{where}: {pair[0]!r} is {pair[1]!r} here"
                   f" and {table[pair[0]]!r} in the base table")


def read_table(data):
    """The table and its faults; plistlib alone would let the last of two equal keys win."""
    try:
        table = plistlib.loads(data, fmt=plistlib.FMT_XML)
        entries = xml.etree.ElementTree.fromstring(data).findall("dict/key")
    except Exception as error:  # whatever a broken file makes the parsers raise
        return {}, [f"the base table does not parse: {error}"]
    if not isinstance(table, dict):
        return {}, ["the base table is no dictionary"]
    faults = [f"the base table's value of {key!r} is no string"
              for key, value in table.items() if not isinstance(value, str)]
    if len(entries) != len(table):
        faults.append("the base table holds a key twice")
    return table, faults


CHECK_TABLE = {"A.One": 'two "words"\nand more', "A.Two": "%@"}
ACCEPTED = r"""
// LocalizedString(key, "comment")  and 1'000'000 "
auto a = LocalizedString("A.One", "two \"words\""
                         "\nand " /* joined */ "more");
constexpr Row kRows[] = {{1, Localizable( "A.Two" , "%@")}};  auto b = LocalizedString(rows[1, 2]);
auto c = bundle->localizedString(
    "A.Two", "%@") + "LocalizedString(key, text)" + R"(LocalizedString(")";
"""
REFUSED = (
    'LocalizedString("A.Three", "%@")',
    'LocalizedString("A.Two", "%d")',
    'LocalizedString("A.Two", "% @")',
    'LocalizedString("A.Two")',
    'LocalizedString("A.Two", text)',
    'LocalizedString(key, "%@")',
    'LocalizedString("A." + name, "%@")',
    'LocalizedString(std::string("A.Two"), "%@")',
    'LocalizedString("A.Two", R"(%@)")',
    'LocalizedString("A.T\\x77o", "%@")',
    'LocalizedString()',
    'LocalizedString("A.Two", "%@"',
    'bundle->localizedString(text)',
    'Localizable(kKey, kText)',
    "x = 'a'; y = '\"'; z = 1'0; LocalizedString(key, text)",
    "auto lookUp = &LocalizedString;",
    "using kelvo::LocalizedString;",
)
BROKEN_TABLES = (
    b"<plist><dict><key>a</key>",
    b"<plist><array/></plist>",
    b"<plist><dict><key>a</key><integer>1</integer></dict></plist>",
    b"<plist><dict><key>a</key><string/><key>a</key><string/></dict></plist>",
)


def check_itself():
    """What this check lets pass although it should not, or the other way round."""
    yield from faults_in_source("accepted sample", ACCEPTED, CHECK_TABLE)
    if sum(token[1] in LOOKUPS for token in tokens_of(ACCEPTED)) != 4:
        yield "the accepted sample's calls are not found"
    for sample in REFUSED:
        if len(list(faults_in_source("sample", sample, CHECK_TABLE))) != 1:
            yield f"the check lets pass: {sample}"
    for data in BROKEN_TABLES:
        if not read_table(data)[1]:
            yield f"the check lets pass the table {data!r}"


def main():
    faults = list(check_itself())
    table, table_faults = read_table(TABLE.read_bytes())
    faults += table_faults
    calls = 0
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix not in SUFFIXES or path in DEFINITIONS:
                continue
            source = path.read_text(encoding="utf-8")
            calls += sum(token[1] in LOOKUPS for token in tokens_of(source))
            faults += faults_in_source(path.relative_to(ROOT), source, table)
    if calls == 0:
        faults.append("no call was found in the sources")
    for fault in faults:
        print(fault)
    print(f"{len(table)} texts, {calls} calls, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
