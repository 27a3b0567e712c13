"""What the site of docs/ needs beside its pages: pages that stand elsewhere in the repository, the directives of expand.py,
links that lead out of docs/, the list of decisions. MkDocs calls the functions by their names."""

from __future__ import annotations

import os
import re
import sys
from pathlib import Path
from typing import Any

sys.path.insert(0, str(Path(__file__).parent))

from expand import DIRECTIVE, ROOT, expand  # noqa: E402
from mkdocs.structure.files import File, Files  # noqa: E402

DOCS = ROOT / "docs"
OUTSIDE = ["Bindings/python/README.md"]

LINK = re.compile(r"(?<!!)\[(?P<text>(?:[^\[\]]|\[[^\]]*\])*)\]\((?P<target>[^)\s]+)\)")


def on_config(config: dict[str, Any]) -> dict[str, Any]:
    """Names the decisions one by one, by their titles."""
    for section in config["nav"]:
        for pages in section.values():
            if isinstance(pages, list):
                for page in pages:
                    if page.get("Decisions") == "decisions":
                        page["Decisions"] = [{_title(path): f"decisions/{path.name}"}
                                             for path in sorted((DOCS / "decisions").glob("*.md"))]
    return config


def on_files(files: Files, config: dict[str, Any]) -> Files:
    """Leaves out the man pages that only repeat other pages, and takes in what stands outside of docs/."""
    kept = Files([file for file in files if not re.fullmatch(r"man/.*\.[35]\.md", file.src_path)])
    for path in OUTSIDE:
        kept.append(File(path, str(ROOT), config["site_dir"], config["use_directory_urls"]))
    return kept


def on_page_markdown(markdown: str, page: Any, files: Files, **_: Any) -> str:
    source = _source(page.file.src_path)
    if any(DIRECTIVE.match(line) for line in markdown.splitlines()):
        markdown = expand(markdown, source)
    pages = {_source(file.src_path) for file in files}
    parts = re.split(r"(^```.*?^```$)", markdown, flags=re.MULTILINE | re.DOTALL)
    return "".join(part if part.startswith("```") else _linked(part, source, page.file.src_path, pages) for part in parts)


def _linked(text: str, source: Path, src_path: str, pages: set[Path]) -> str:
    """Text whose links lead to pages of the site, by their titles; a file of the repository that is no page keeps its name
    alone."""

    def resolved(link: re.Match[str]) -> str:
        target, hash_, anchor = link["target"].partition("#")
        if not target or "://" in target:
            return link[0]
        path = (source.parent / target).resolve()
        manual = re.fullmatch(r"quindal-(market|accounts|positions|orders|users)\.5\.md|(quindal\.ini|libquindalim)\..*", path.name)
        if manual:
            path, anchor = _instead(path.name)
            hash_ = "#" if anchor else ""
        if path in pages:
            text = _heading(path) if link["text"].endswith(".md") else link["text"]
            return f"[{text}]({os.path.relpath(_place(path), Path(src_path).parent)}{hash_}{anchor})"
        return link["text"] if path.exists() else link[0]

    return LINK.sub(resolved, text)


def _instead(name: str) -> tuple[Path, str]:
    """The page and section that a man page of chapter 3 or 5 is made of."""
    if name.startswith("libquindalim"):
        return DOCS / "api/README.md", ""
    if name.startswith("quindal.ini"):
        return DOCS / "api/library.md", "the-ini-file"
    if name.startswith("quindal-market"):
        return DOCS / "market-file.md", ""
    return DOCS / "input-files.md", name.removeprefix("quindal-").removesuffix(".5.md") + "csv"


def _source(src_path: str) -> Path:
    """Where a page of the site stands in the repository."""
    return ROOT / src_path if src_path in OUTSIDE else DOCS / src_path


def _place(path: Path) -> str:
    """Where a page of the repository stands on the site, as its links are written."""
    return str(path.relative_to(DOCS) if path.is_relative_to(DOCS) else path.relative_to(ROOT))


def _heading(path: Path) -> str:
    return path.read_text(encoding="utf-8").splitlines()[0].removeprefix("# ")


def _title(path: Path) -> str:
    """The title of a decision behind its number, in whichever form the page has it."""
    number, _, words = _heading(path).partition(" ")
    return f"{int(number.strip('.:'))}. {words}"
