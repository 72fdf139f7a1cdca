#!/usr/bin/env python3
"""Proves that the base table holds every text that the code looks up, with the code's default, and
that every language has all texts of the base table, with the same values to fill in.

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
RESOURCES = ROOT / "resources"
TABLE = RESOURCES / "Base.lproj" / "Localizable.strings"
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
# As FormatText reads it: position, flags with width and precision, conversion.
SPECIFIER = re.compile(r"%(?:%|(?:(\d+)\$)?([-+ #0']*\d*(?:\.\d+)?[hlqjzt]*[@A-Za-z]))")
CONTROL = re.compile(r"[\x00-\x09\x0b-\x1f\x7f-\x9f\u200b\u2028-\u202e\ufeff\ufffd]")
# Prose, as opposed to "OK", "US1" or "%.1f KB".
WORDS = re.compile(r"[a-z]{2}")
MAX_UNTRANSLATED = 0.05

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


def faults_in_labels(script, table):
    """Of the keys that the build itself takes out of the tables."""
    listed = re.search(r"set\(labels ([^)]*)\)", script)
    wanted = {f"ItemColumns.{label}{part}" for label in (listed[1].split() if listed else ())
              for part in ("", "Description")}
    for key in sorted(wanted ^ {key for key in table if key.startswith("ItemColumns.")}):
        yield f"{key!r}: the base table and the labels of item_labels.cmake do not agree"


def read_table(data, name="the base table"):
    """The table and its faults; plistlib alone would let the last of two equal keys win."""
    try:
        table = plistlib.loads(data, fmt=plistlib.FMT_XML)
        entries = xml.etree.ElementTree.fromstring(data).findall("dict/key")
    except Exception as error:  # whatever a broken file makes the parsers raise
        return {}, [f"{name} does not parse: {error}"]
    if not isinstance(table, dict):
        return {}, [f"{name} is no dictionary"]
    faults = [f"{name}: the value of {key!r} is no string"
              for key, value in table.items() if not isinstance(value, str)]
    if len(entries) != len(table):
        faults.append(f"{name} holds a key twice")
    return table, faults


def specifiers_of(text):
    """The specifiers in order of their arguments, and how many "%" belong to none."""
    arguments = []
    in_order = 0
    for match in SPECIFIER.finditer(text):
        if match[0] != "%%":
            in_order += match[1] is None
            arguments.append((int(match[1] or in_order), match[2]))
    return sorted(arguments), SPECIFIER.sub("", text).count("%")


def faults_in_specifiers(table):
    """Those that FormatText does not fill."""
    for key, text in table.items():
        arguments, stray = specifiers_of(text)
        if stray or any(kind[-1] not in "@df" for _, kind in arguments):
            yield f"the base table: {key!r} has a specifier that nothing fills"


def edges_of(text):
    return text[:len(text) - len(text.lstrip())], text[len(text.rstrip()):]


def faults_in_text(text, base):
    if not isinstance(text, str):
        return  # told by read_table
    if specifiers_of(text) != specifiers_of(base):
        yield f"does not take the same values as {base!r}"
    if edges_of(text) != edges_of(base):
        yield f"does not begin and end with the blanks of {base!r}"
    if not text.strip() and base.strip():
        yield "is empty"
    if CONTROL.search(text):
        yield "holds control characters"


def faults_in_language(name, table, base):
    yield from (f"{name} lacks {key!r}" for key in base if key not in table)
    yield from (f"{name}: {key!r} is not in the base table" for key in table if key not in base)
    common = [key for key in base if key in table]
    if [key for key in table if key in base] != common:
        yield f"{name}: the keys are not in the order of the base table"
    for key in common:
        for fault in faults_in_text(table[key], base[key]):
            yield f"{name}: {key!r} is {table[key]!r} and {fault}"
    prose = [key for key in common if WORDS.search(SPECIFIER.sub("", base[key]))]
    same = [key for key in prose if table[key] == base[key]]
    if len(same) > MAX_UNTRANSLATED * len(prose):
        yield f"{name}: too many texts are those of the base table: {', '.join(same)}"


def faults_in_languages(base):
    """Of every language's folder, and of the list of those that are built and installed."""
    build_file = (RESOURCES / "CMakeLists.txt").read_text(encoding="utf-8")
    listed = re.search(r"set\(kelvo_languages ([^)]*)\)", build_file)
    folders = {path.stem for path in RESOURCES.glob("*.lproj")}
    for name in sorted(folders ^ set(listed[1].split() if listed else ())):
        yield f"{name}: its folder and the list kelvo_languages do not agree"
    for name in sorted(folders - {"Base"}):
        path = RESOURCES / f"{name}.lproj" / TABLE.name
        table, faults = read_table(path.read_bytes() if path.exists() else b"", name)
        yield from faults
        if table:
            yield from faults_in_language(name, table, base)


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
    'LocalizedString("A.Two")',
    'LocalizedString("A." + name, "%@")',
    'LocalizedString("A.Two", R"(%@)")',
    "auto lookUp = &LocalizedString;",
)
BROKEN_TABLES = (
    b"<plist><dict><key>a</key>",
    b"<plist><dict><key>a</key><string/><key>a</key><string/></dict></plist>",
)
BASE_TEXTS = {"A": "%@ at %d", "B": " (sync)", "C": "three"}
TRANSLATED = {"A": "%2$d, %1$@", "B": " (synchron)", "C": "drei"}
BROKEN_TRANSLATIONS = (
    {"C": "drei\t"}, {"B": "(synchron)"}, {"A": "%d um %@"}, {"A": "%@ um"}, {"C": "three"},
    {"D": "vier"},
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
    yield from faults_in_language("translated sample", TRANSLATED, BASE_TEXTS)
    for change in BROKEN_TRANSLATIONS:
        if not list(faults_in_language("sample", TRANSLATED | change, BASE_TEXTS)):
            yield f"the check lets pass the translation {change!r}"
    if len(list(faults_in_labels("set(labels A)", {"ItemColumns.B": "", "B": ""}))) != 3:
        yield "the check lets pass labels that no table has"
    if not list(faults_in_language("sample", {"A": "%@, %d", "B": " (s)"}, BASE_TEXTS)):
        yield "the check lets pass a missing key"
    if len(list(faults_in_specifiers({"A": "%x", "B": "5 %", "C": "%1$@ %.1f%%"}))) != 2:
        yield "the check lets pass an unknown specifier"


def main():
    faults = list(check_itself())
    table, table_faults = read_table(TABLE.read_bytes())
    faults += table_faults
    if table:
        faults += faults_in_specifiers(table)
        faults += faults_in_languages(table)
        faults += faults_in_labels((RESOURCES / "item_labels.cmake").read_text(encoding="utf-8"),
                                   table)
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
