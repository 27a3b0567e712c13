#!/usr/bin/env python3
"""The man pages, as their readers see them: without a warning, a page for each command, and on it the options that the
command has and no other; each column and each attribute of the input files; each code that the C header names.

    ManPagesTest.py QUINDAL SOURCE
"""

from __future__ import annotations

import os
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml
from functools import lru_cache
from pathlib import Path

QUINDAL = ""
SOURCE = Path()
PAGES = Path()


def run(*words: str, **more: object) -> subprocess.CompletedProcess[str]:
    return subprocess.run(words, capture_output=True, text=True, **more)  # type: ignore[call-overload,no-any-return]


@lru_cache(maxsize=None)
def shown(page: str) -> str:
    """A page as a wide terminal has it."""
    path = PAGES / f"man{page[-1]}" / page
    done = run("man", "-l", str(path), env=os.environ | {"MANWIDTH": "400", "MANPAGER": "cat", "LC_ALL": "C.UTF-8"})
    return done.stdout


def part(text: str, heading: str) -> str:
    found = re.search(rf"^{heading}\n(.*?)(?=^\S|\Z)", text, re.MULTILINE | re.DOTALL)
    return found.group(1) if found else ""


def options(text: str) -> set[str]:
    """The options that begin a line, in either form."""
    lines = re.findall(r"^ +(-[-a-z, ]*[a-z])(?=[ \n]|$)", text, re.MULTILINE)
    return {word.strip() for line in lines for word in line.split(",")}


class ManPages(unittest.TestCase):
    maxDiff = None

    def test_a_page_for_each_command_and_for_no_other(self) -> None:
        listed = part(run(QUINDAL, "--help").stdout, "Commands:")
        commands = set(re.findall(r"^  ([\w-]+) ", listed, re.MULTILINE))
        self.assertGreaterEqual(len(commands), 7)
        made = {path.name for path in (PAGES / "man1").iterdir()}
        self.assertEqual(made, {f"quindal-{command}.1" for command in commands} | {"quindal.1"})

    def test_the_build_makes_each_page_that_docs_has(self) -> None:
        listed = re.search(r"set\(QUINDAL_MAN_PAGES(.*?)\)", (SOURCE / "cmake/QuindalManual.cmake").read_text(), re.DOTALL)
        assert listed
        self.assertEqual(sorted(listed.group(1).split()), sorted(path.name for path in PAGES.glob("man?/*")))

    def test_a_page_has_the_options_of_its_command_and_no_other(self) -> None:
        for page in sorted((PAGES / "man1").iterdir()):
            command = page.stem.removeprefix("quindal").removeprefix("-")
            told = options(part(run(QUINDAL, *filter(None, [command]), "--help").stdout, "Options:"))
            self.assertGreaterEqual(len(told), 2 if command != "files" else 1, page.name)
            self.assertEqual(options(part(shown(page.name), "OPTIONS")), told, page.name)

    def test_neither_reader_of_man_pages_finds_fault(self) -> None:
        for page in sorted(PAGES.glob("man?/*")):
            formatted = run("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", str(page))
            self.assertEqual(formatted.stderr, "", page.name)
            self.assertEqual(run("mandoc", "-T", "lint", "-W", "style", str(page)).stdout, "", page.name)

    def test_a_page_names_only_pages_that_are_there(self) -> None:
        pages = {f"{path.stem}({path.suffix[1:]})" for path in PAGES.glob("man?/*")}
        for page in PAGES.glob("man?/*"):
            named = set(re.findall(r"\b[a-z][a-z.-]*\(\d\)", part(shown(page.name), "SEE ALSO")))
            self.assertGreaterEqual(len(named), 2, page.name)
            self.assertEqual(named - pages, set(), page.name)

    def test_the_pages_of_files_have_every_column(self) -> None:
        for name in ("accounts", "positions", "orders"):
            rows = (SOURCE / f"examples/{name}.csv").read_text().splitlines()
            columns = next(row for row in rows if not row.startswith("#")).split(",")
            terms = set(re.findall(r"^ {7}(\w+)", part(shown(f"quindal-{name}.5"), "DESCRIPTION"), re.MULTILINE))
            self.assertEqual(set(columns) - terms, set(), name)

    def test_each_code_of_the_header_is_explained(self) -> None:
        header = (SOURCE / "Units/QuindalIM/include/QuindalIM.h").read_text()
        comments = "\n".join(re.findall(r"/\*.*?\*/", header, re.DOTALL))
        errors = part(shown("libquindalim.3"), "ERRORS")
        explained = {int(code) for code in re.findall(r"^   (\d+)$", errors, re.MULTILINE)}
        named: set[int] = set()
        for first, last in re.findall(r"\b(9\d{4})(?: to (9\d{4}))?\b", comments):
            named |= set(range(int(first), int(last or first) + 1))
        self.assertGreater(len(named), 20)
        self.assertEqual(named - explained, set())


class MarketFile(unittest.TestCase):
    """docs/market-file.md: its attributes are those that the reader asks for."""

    def setUp(self) -> None:
        page = (SOURCE / "docs/market-file.md").read_text()
        self.attributes: dict[str, list[str]] = {}
        for tag, table in re.findall(r"^`(\w+)`(?:[^|\n]+\n){1,3}\n(\|.*?)\n\n", page + "\n", re.MULTILINE | re.DOTALL):
            cells = re.findall(r"^\| (`.*?) \|", table, re.MULTILINE)
            self.attributes[tag] = [name for cell in cells for name in re.findall(r"`(\w+)`", cell)]
        self.market = xml.parse(SOURCE / "examples/market.xml").getroot()

    def test_the_example_has_the_attributes_of_the_page(self) -> None:
        elements = {element.tag: element for element in self.market}
        self.assertEqual(set(elements), set(self.attributes))
        for tag, names in self.attributes.items():
            unread = {"ExpiredDate"} if tag == "VirtFutures" else set()
            self.assertEqual(set(elements[tag].attrib) - unread, set(names), tag)

    def test_each_of_them_has_to_be_there(self) -> None:
        firsts = {element.tag: element for element in reversed(list(self.market))}
        small = xml.Element("root")
        small.extend(firsts[tag] for tag in self.attributes)
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "market.xml"

            def check() -> subprocess.CompletedProcess[str]:
                xml.ElementTree(small).write(path)
                return run(QUINDAL, "check", "--instruments", str(path))

            self.assertEqual(check().returncode, 0, check().stderr)
            for tag, names in self.attributes.items():
                for name in names:
                    value = firsts[tag].attrib.pop(name)
                    refused = check()
                    self.assertEqual(refused.returncode, 1, f"{tag} without {name}")
                    self.assertIn(name, refused.stderr)
                    firsts[tag].set(name, value)


def main() -> None:
    global QUINDAL, SOURCE, PAGES
    QUINDAL, SOURCE = sys.argv[1], Path(sys.argv[2])
    with tempfile.TemporaryDirectory(prefix="quindal-man-") as folder:
        PAGES = Path(folder)
        script = str(SOURCE / "scripts/manual/man_pages.py")
        made = run("/usr/bin/python3", script, folder, env=os.environ | {"QUINDAL": QUINDAL, "PYTHONDONTWRITEBYTECODE": "1"})
        if made.returncode:
            sys.exit(made.stderr)
        unittest.main(argv=sys.argv[:1])


if __name__ == "__main__":
    main()
