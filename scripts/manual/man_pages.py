#!/usr/bin/env python3
"""Makes man pages of the pages in docs/man, by pandoc.

    man_pages.py OUT [PAGE...]

writes OUT/man1/quindal.1 and so on, of docs/man/quindal.1.md. QUINDAL names the command line whose help the pages have,
SOURCE_DATE_EPOCH the day that stands below each; without it the day of the commit does.
"""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

from expand import ROOT, ManualError, expand

PAGE_NAME = re.compile(r"(?P<name>[a-z.-]+)\.(?P<chapter>[1-8])\.md")
CHAPTERS = {"1": "User commands", "3": "Library", "5": "Files"}


def version() -> str:
    """The project's version, from where it stands once."""
    found = re.search(r"VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text().split("project(", 1)[1])
    if found is None:
        raise ManualError("CMakeLists.txt: project() has no version")
    return found.group(1)


def date() -> str:
    """The day of SOURCE_DATE_EPOCH, or else of the commit that the pages are of, or else today."""
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    if not epoch:
        asked = ["git", "-C", str(ROOT), "log", "-1", "--format=%ct", "--", "docs"]
        epoch = subprocess.run(asked, capture_output=True, text=True).stdout.strip() if shutil.which("git") else ""
    return time.strftime("%Y-%m-%d", time.gmtime(int(epoch) if epoch else None))


def tidied(man: str) -> str:
    """Pandoc's man page without the paragraphs that begin at a heading anyway, with a ragged right margin, and with lists of
    columns that may be broken behind a comma."""
    man = re.sub(r"(?<=[a-z_]),(?=[a-z])", r",\:", man)
    man = re.sub(r"^(\.S[HS] .*\n)\.PP\n", r"\1", man, flags=re.MULTILINE)
    return re.sub(r"^(\.TH .*\n)(\.hy\n)?", r"\1.ad l\n.nh\n", man, count=1, flags=re.MULTILINE)


def make(page: Path, out: Path) -> None:
    match = PAGE_NAME.fullmatch(page.name)
    if match is None:
        raise ManualError(f"{page}: a page is called NAME.CHAPTER.md")
    chapter = match["chapter"]
    target = out / f"man{chapter}" / page.name.removesuffix(".md")
    target.parent.mkdir(parents=True, exist_ok=True)
    metadata = {"title": match["name"].upper(), "section": chapter, "date": date(), "footer": f"quindal {version()}",
                "header": CHAPTERS[chapter]}
    words = ["pandoc", "--standalone", "--from", "markdown-smart", "--to", "man",
             "--lua-filter", str(ROOT / "scripts/manual/man.lua")]
    words += [f"--metadata={key}={value}" for key, value in metadata.items()]
    text = expand(page.read_text(encoding="utf-8"), page)
    made = subprocess.run(words, check=True, text=True, input=text, stdout=subprocess.PIPE)
    target.write_text(tidied(made.stdout), encoding="utf-8")


def main() -> int:
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    pages = [Path(name).resolve() for name in sys.argv[2:]] or sorted((ROOT / "docs/man").glob("*.md"))
    try:
        for page in pages:
            make(page, Path(sys.argv[1]))
    except FileNotFoundError as error:
        print(f"{error.filename} is missing: scripts/install-deps.sh --docs", file=sys.stderr)
        return 1
    except (ManualError, subprocess.CalledProcessError) as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
