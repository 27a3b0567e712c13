#!/usr/bin/env python3
"""The site of docs/: built strictly, so that no page is missing or unlisted; each link and each picture leads to something
that is there, anchors included; nothing is loaded from elsewhere; each code has its entry in the error index.

    SiteTest.py QUINDAL SOURCE
"""

from __future__ import annotations

import os
import re
import subprocess
import sys
import tempfile
import unittest
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

QUINDAL = ""
SOURCE = Path()
SITE = Path()
SAID = ""


class Page(HTMLParser):
    """The anchors of a page, where its links lead, and what it loads."""

    def __init__(self, path: Path) -> None:
        super().__init__()
        self.anchors: set[str] = set()
        self.links: set[str] = set()
        self.loads: set[str] = set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        values = dict(attrs)
        if values.get("id"):
            self.anchors.add(values["id"] or "")
        if tag == "a" and values.get("href"):
            self.links.add(values["href"] or "")
        if tag in ("script", "img", "iframe", "source") and values.get("src"):
            self.loads.add(values["src"] or "")
        if tag == "link" and values.get("rel") in ("stylesheet", "icon", "preload", "preconnect"):
            self.loads.add(values["href"] or "")


class Site(unittest.TestCase):
    maxDiff = None
    pages: dict[Path, Page] = {}

    @classmethod
    def setUpClass(cls) -> None:
        cls.pages = {path: Page(path) for path in SITE.rglob("*.html") if path.name != "404.html"}

    def test_every_page_of_docs_is_there_and_listed(self) -> None:
        self.assertNotIn("not included in the \"nav\"", SAID)
        sources = [path.relative_to(SOURCE / "docs") for path in (SOURCE / "docs").rglob("*.md")]
        own = [path for path in sources if not re.fullmatch(r".*\.[35]\.md", path.name)]
        self.assertGreater(len(own), 50)
        for path in own:
            name = "index.html" if path.name == "README.md" else path.with_suffix(".html").name
            self.assertIn(SITE / path.parent / name, self.pages)

    def test_links_lead_somewhere(self) -> None:
        dead = []
        checked = 0
        for path, page in self.pages.items():
            for link in page.links | page.loads:
                parts = urlsplit(link)
                if parts.scheme or parts.netloc:
                    continue
                checked += 1
                target = (path.parent / unquote(parts.path)).resolve() if parts.path else path
                target = target / "index.html" if target.is_dir() else target
                is_there = target.exists()
                if is_there and parts.fragment and target in self.pages:
                    is_there = unquote(parts.fragment) in self.pages[target].anchors
                if not is_there:
                    dead.append(f"{path.relative_to(SITE)}: {link}")
        self.assertGreater(checked, 1000)
        self.assertEqual(dead, [])

    def test_nothing_is_loaded_from_elsewhere(self) -> None:
        for path, page in self.pages.items():
            self.assertEqual([link for link in page.loads if urlsplit(link).netloc], [], path.name)
        for sheet in SITE.rglob("*.css"):
            outside = re.findall(r"(?:url\(|@import )[\"']?(?:https?:)?//[^)\"']*", sheet.read_text(encoding="utf-8"))
            self.assertEqual(outside, [], sheet.name)

    def test_no_directive_and_no_mark_is_left(self) -> None:
        for path in self.pages:
            text = path.read_text(encoding="utf-8")
            self.assertNotRegex(text, r"<!-- (help|section|codes)", path.name)

    def test_each_explained_code_has_an_entry(self) -> None:
        pages = "".join(path.read_text() for path in (SOURCE / "docs/api").glob("*.md"))
        tables = pages.replace((SOURCE / "docs/api/README.md").read_text().split("## All codes")[1], "")
        told = {code for row in re.findall(r"^\| (\d[\d, ]*) \|", tables, re.MULTILINE) for code in row.split(", ")}
        self.assertGreater(len(told), 60)
        self.assertEqual(told - self.pages[SITE / "errors.html"].anchors, set())


def main() -> None:
    global QUINDAL, SOURCE, SITE, SAID
    QUINDAL, SOURCE = sys.argv[1], Path(sys.argv[2])
    with tempfile.TemporaryDirectory(prefix="quindal-site-") as folder:
        SITE = Path(folder) / "site"
        words = ["mkdocs", "build", "--strict", "--config-file", str(SOURCE / "mkdocs.yml"), "--site-dir", str(SITE)]
        environment = os.environ | {"QUINDAL": QUINDAL, "PYTHONDONTWRITEBYTECODE": "1"}
        built = subprocess.run(words, capture_output=True, text=True, env=environment)
        SAID = built.stderr
        if built.returncode:
            sys.exit(SAID)
        unittest.main(argv=sys.argv[:1])


if __name__ == "__main__":
    main()
