"""Puts into a page of docs/ what stands elsewhere: the words of a command's help, a section of another page, the index of
codes. A place for them is a comment on a line of its own:

    <!-- help margin options -->            purpose, usage, commands, options, examples or exit, from `quindal margin --help`
    <!-- section ../input-files.md#Form -->  the section under that heading, without the heading; where none is named,
                                            what stands between the title and the first heading
    <!-- codes -->                          every code that the pages of docs/api explain, in ascending order

Standard library only. QUINDAL names the command line whose help is asked; without it that of build/release.
"""

from __future__ import annotations

import os
import re
import subprocess
from functools import lru_cache
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
DIRECTIVE = re.compile(r"^<!-- (help|section|codes)(?: (.+?))? -->$")
API_PAGES = ["library", "instruments", "accounts", "positions-and-orders", "reading-back", "risk-arrays"]


class ManualError(Exception):
    """What is wrong on which page."""


def expand(text: str, page: Path) -> str:
    """The text of a page with every comment of the kinds above replaced."""
    lines = []
    for number, line in enumerate(text.splitlines(), 1):
        directive = DIRECTIVE.match(line)
        if directive is None:
            lines.append(line)
            continue
        kind, words = directive.group(1), directive.group(2) or ""
        try:
            lines.append(_EXPANSIONS[kind](words, page))
        except (ManualError, OSError, ValueError) as error:
            raise ManualError(f"{page.relative_to(ROOT)}:{number}: {line}: {error}") from error
    return "\n".join(lines) + "\n"


# ---- The help of the command line


@lru_cache(maxsize=None)
def help_text(command: str) -> str:
    """What `quindal COMMAND --help` prints; `quindal` itself for the program."""
    program = os.environ.get("QUINDAL") or str(ROOT / "build/release/Apps/quindal/quindal")
    words = [program, "--help"] if command == "quindal" else [program, command, "--help"]
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


def help_parts(command: str) -> dict[str, str]:
    """The help in its parts, each without its heading. A line that begins at the margin begins a part."""
    purpose, *rest = re.split(r"\n\n(?=\S)", help_text(command).strip())
    parts = {"purpose": purpose}
    for part in rest:
        heading, _, body = part.partition(":")
        name = heading.split(",")[0].lower()
        parts["exit" if name == "exit statuses" else name] = body.strip("\n") if body.startswith("\n") else body.strip()
    return parts


def help_items(part: str) -> list[tuple[str, str]]:
    """Options or commands with what the help says of them; a long name has its words on the next line."""
    items: list[tuple[str, str]] = []
    for line in part.splitlines():
        name, _, words = line.strip().partition("  ")
        if line.startswith("   "):
            items[-1] = (items[-1][0], f"{items[-1][1]} {line.strip()}".strip())
        else:
            items.append((name, words.strip()))
    return items


def escaped(text: str) -> str:
    """Text in which Markdown finds no marks."""
    return re.sub(r"([\\`*_\[\]<>|])", r"\\\1", text)


def _definitions(items: list[tuple[str, str]], mark: str = "{}") -> str:
    return "\n\n".join(f"{mark.format(name)}\n:   {words}" for name, words in items)


def _option_name(name: str) -> str:
    """**--ini** *FILE* (required)"""
    word, *rest = name.split(" ")
    marked = ["**" + "**, **".join(word.split(",")) + "**"]
    marked += [f"*{escaped(part)}*" if part != "(required)" else part for part in rest]
    return " ".join(marked)


def _help(words: str, page: Path) -> str:
    command, part_name = words.split(" ")
    part = help_parts(command).get(part_name)
    if part is None:
        raise ManualError(f"the help has no {part_name}, only {', '.join(help_parts(command))}")
    if part_name == "options":
        return _definitions([(_option_name(name), escaped(text)) for name, text in help_items(part)])
    if part_name == "commands":
        return _definitions([(_command_link(name), escaped(text)) for name, text in help_items(part)])
    if part_name == "usage":
        return f"`{part.strip()}`"
    if part_name == "purpose":
        return escaped(part[0].lower() + part[1:])
    if part_name == "examples":
        return "```\n" + "\n".join(line.removeprefix("  ") for line in part.splitlines()) + "\n```"
    return escaped(" ".join(part.split()))


def _command_link(name: str) -> str:
    return f"[quindal-{name}(1)](quindal-{name}.1.md)"


# ---- A section of another page


def section(page: Path, heading: str) -> str:
    """What stands under a heading, up to the next one of its level; headings below it begin at the third level. Without a
    heading what stands under the title, up to the first heading."""
    found: list[str] | None = None
    level = 0
    is_code = False
    for line in page.read_text(encoding="utf-8").splitlines():
        is_code ^= line.startswith("```")
        title = None if is_code else re.match(r"(#+) (.*)", line)
        if found is None:
            if title and (title.group(2) == heading or not heading):
                found, level = [], len(title.group(1))
        elif title and (len(title.group(1)) <= level or not heading):
            break
        else:
            found.append("#" * (2 + len(title.group(1)) - level) + " " + title.group(2) if title else line)
    if found is None:
        raise ManualError(f"{page.relative_to(ROOT)} has no heading {heading!r}")
    return "\n".join(found).strip("\n")


def _section(words: str, page: Path) -> str:
    name, _, heading = words.partition("#")
    source = (page.parent / name).resolve()
    return _moved_links(section(source, heading), source, page)


def _moved_links(text: str, source: Path, page: Path) -> str:
    """Links of one page as another page has to write them."""

    def moved(link: re.Match[str]) -> str:
        target, hash_, anchor = link.group(1).partition("#")
        path = (source.parent / target).resolve() if target else source
        return f"]({os.path.relpath(path, page.parent)}{hash_}{anchor})"

    return re.sub(r"\]\((?![a-z]+:)([^)\s]+)\)", moved, text)


# ---- The index of codes


@lru_cache(maxsize=None)
def code_names() -> dict[int, tuple[str, str]]:
    """Name and text of a code: the trading core's from the table that the library is compiled with; of the platform's
    codes the name, which the Python package has."""
    table = (ROOT / "Units/kv7base/include/kv7errors.def").read_text(encoding="utf-8")
    rows = re.findall(r'^KV7_ERROR(?:_NO_TEXT)?\((\d+), (\w+)(?:, "(.*)")?\)$', table, re.MULTILINE)
    platform = (ROOT / "Bindings/python/quindalim/codes.py").read_text(encoding="utf-8")
    names = {int(code): (name, "") for code, name in re.findall(r'^    (\d+): "(\w+)",$', platform, re.MULTILINE)}
    return names | {int(code): (name, text) for code, name, text in rows}


def codes_of(cell: str) -> list[int]:
    """94757 to 94759, 94793: each of them that is in the table."""
    codes: list[int] = []
    for part in cell.split(","):
        first, _, last = part.strip().partition(" to ")
        span = range(int(first), int(last or first) + 1)
        codes += span if len(span) == 1 else [code for code in span if code in code_names()]
    return codes


def explained_codes() -> dict[int, list[tuple[str, str, str, Path]]]:
    """For each code what the pages of the interface say: from which function, what it means, what to do, which page."""
    explained: dict[int, list[tuple[str, str, str, Path]]] = {}
    sources = [("README", "Codes that any function may return"), *((name, "Codes") for name in API_PAGES)]
    for name, heading in sources:
        page = ROOT / f"docs/api/{name}.md"
        for line in section(page, heading).splitlines():
            if not re.match(r"\| \d", line):
                continue
            cells = [cell.strip() for cell in line.strip("|").split(" | ")]
            if len(cells) == 3:
                cells.insert(1, "any function")
            for code in codes_of(cells[0]):
                explained.setdefault(code, []).append((cells[1], cells[2], cells[3], page))
    return dict(sorted(explained.items()))


def _codes(words: str, page: Path) -> str:
    names = code_names()
    out = []
    for code, rows in explained_codes().items():
        name, text = names.get(code, ("", ""))
        out += [f"### {code}", "", f"`{name}`" + (f": {escaped(text)}" if text else ""), ""]
        for functions, means, remedy, source in rows:
            who = f"{functions} ([{source.stem}]({source.name}))"
            out.append(_moved_links(f"- {who}: {means}. *What to do:* {remedy}.", source, page))
        out.append("")
    return "\n".join(out)


_EXPANSIONS = {"help": _help, "section": _section, "codes": _codes}
