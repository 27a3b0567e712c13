#!/usr/bin/env python3
"""Types what the pages for tasks tell a reader to type, in the order of each page, and compares what is printed.

    ManualTest.py CMAKE BUILD SOURCE [PAGE...]

The pages see the build as it is installed, and a working folder with examples, Bindings, scripts and build/release.

    ```console   lines behind `$ ` are typed; what stands below them is what they print, where anything does. A line
                 `...` stands for any lines. A command ends with 0, unless `$ echo $?` follows and shows what else.
    ```text      right behind a console block, without another block between: what its last command prints
    ```csv, c    or another language: a file, named by the last `name.ending` of the paragraph above

Every amount of money that a page shows stands in README.md, or is worked out here by hand.
"""

from __future__ import annotations

import math
import os
import re
import shlex
import socket
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as xml
from dataclasses import dataclass, field
from pathlib import Path

PAGES = ["install", "first-margin", "what-if", "fit", "relief", "explain", "limits", "provenance", "quick-start", "input-files"]
PAGES += ["serve", "desk", "upgrade", "errors"]
# Those of operate.md are typed by the test of the packages, the program of cpp.md by InstalledTreeTest.

# What is not typed here, and why not.
ELSEWHERE = {
    "scripts/package.sh": "builds packages for a minute; its own test installs them",
    "sudo apt install ./build/packages/*.deb": "needs root; the test of the packages installs them into a root of its own",
    "pip install Bindings/python": "Bindings/python/tests/test_installation.py does it",
}

# What differs from run to run.
PASSING = [
    (re.compile(r"on port \d+"), "on port N"),
    (re.compile(r"127\.0\.0\.1:\d+"), "127.0.0.1:N"),
    (re.compile(r"token=[0-9a-f]{64}"), "token=TOKEN"),
    (re.compile(r"\b\d+(\.\d+)? ms\b"), "N ms"),
    (re.compile(r"\b\d+ s ago\b"), "N s ago"),
    (re.compile(r"\b\d{4}-\d\d-\d\dT[\d:.]+Z"), "TIME"),
    (re.compile(r"\b\d+-\d+, up since\b"), "INSTANCE, up since"),
]

PROGRAMS = ("c", "cpp", "python")

PATIENCE = 20.0  # seconds until what runs in the background has said its words


@dataclass
class Command:
    line: int
    text: str
    printed: list[str] = field(default_factory=list)


@dataclass
class NamedFile:
    name: str
    text: str


class PageFault(Exception):
    """What is wrong on a page."""


def blocks_of(text: str) -> list[tuple[int, str, str, str]]:
    """Line, language, text, and the paragraph above of each fenced block."""
    blocks = []
    for found in re.finditer(r"^```([^\n]*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        line = text[: found.start()].count("\n") + 1
        above = text[: found.start()].rstrip("\n").rsplit("\n\n", 1)[-1]
        blocks.append((line, found.group(1), found.group(2), above))
    return blocks


def commands_of(line: int, text: str) -> list[Command]:
    commands: list[Command] = []
    for number, row in enumerate(text.splitlines(), line + 1):
        if row.startswith("$ "):
            commands.append(Command(number, row[2:]))
        elif not commands:
            raise PageFault(f"{number}: a console block begins with a command")
        elif commands[-1].text.endswith("\\") and not commands[-1].printed:
            commands[-1].text += "\n" + row
        else:
            commands[-1].printed.append(row)
    return commands


def steps_of(text: str) -> list[Command | NamedFile]:
    """What a reader does, in the order of the page."""
    steps: list[Command | NamedFile] = []
    before = ""
    for line, language, content, above in blocks_of(text):
        if language == "console":
            steps += commands_of(line, content)
        elif language == "text" and before == "console":
            last = steps[-1]
            assert isinstance(last, Command)
            last.printed = content.splitlines()
        else:
            named = re.findall(r"`([\w-]+\.[a-z]+)`", above)
            if re.search(r"^\$? ?(sudo |scripts/|quindal |cc |c\+\+ |pip )", content, re.MULTILINE):
                raise PageFault(f"{line}: commands stand in a block of the language console")
            if language in (*PROGRAMS, "csv", "ini") and named:
                steps.append(NamedFile(named[-1], content))
            elif language in (*PROGRAMS, "csv"):
                raise PageFault(f"{line}: the paragraph above does not name the file")
        before = language
    return steps


def is_printed(shown: list[str], printed: list[str]) -> bool:
    """Whether the lines are those of the page, `...` standing for any."""
    pattern = "".join(r"(?:.*\n)*?" if row == "..." else re.escape(row) + r"\n" for row in shown)
    return re.fullmatch(pattern, "".join(row + "\n" for row in printed)) is not None


def without_passing(rows: list[str]) -> list[str]:
    for pattern, stays in PASSING:
        rows = [pattern.sub(stays, row) for row in rows]
    return rows


class Shell:
    """One shell for a page: what it exports, where it goes and what it starts stay until the end of the page."""

    def __init__(self, folder: Path, environment: dict[str, str]) -> None:
        self.output = folder.parent / "output"
        self.status = folder.parent / "status"
        self.process = subprocess.Popen(["bash"], stdin=subprocess.PIPE, cwd=folder, env=environment, text=True)
        self.last = 0

    def type(self, command: str) -> int:
        self.status.unlink(missing_ok=True)
        self.output.unlink(missing_ok=True)
        assert self.process.stdin
        out, status = shlex.quote(str(self.output)), shlex.quote(str(self.status))
        self.process.stdin.write(f"(exit {self.last})\n{{ {command}\n}} >{out} 2>&1 </dev/null\n")
        self.process.stdin.write(f"echo $? >{status}.part; mv {status}.part {status}\n")
        self.process.stdin.flush()
        ends = time.monotonic() + 60
        while not self.status.exists():
            if self.process.poll() is not None or time.monotonic() > ends:
                raise PageFault(f"does not end: {command}")
            time.sleep(0.005)
        self.last = int(self.status.read_text())
        return self.last

    def printed(self) -> list[str]:
        return self.output.read_text().splitlines()

    def close(self) -> None:
        assert self.process.stdin
        self.process.stdin.write("kill $(jobs -p) 2>/dev/null; wait\n")
        self.process.stdin.close()
        self.process.wait()


def compare(shell: Shell, command: Command) -> None:
    shown = without_passing(command.printed)
    ends = time.monotonic() + (PATIENCE if command.text.endswith("&") else 0)
    while not is_printed(shown, without_passing(shell.printed())):
        if time.monotonic() >= ends:
            printed = "\n".join(shell.printed())
            raise PageFault(f"{command.line}: $ {command.text}\nThe page shows:\n" + "\n".join(command.printed) +
                            f"\nIt prints:\n{printed}")
        time.sleep(0.02)


def follow(page: Path, folder: Path, environment: dict[str, str], port: int) -> set[str]:
    """Does what a page says; gives the commands that were left to other tests."""
    steps = steps_of(page.read_text(encoding="utf-8").replace("4222", str(port)))
    if not any(isinstance(step, Command) for step in steps):
        raise PageFault(" has nothing to type")
    left: set[str] = set()
    shell = Shell(folder, environment)
    try:
        for number, step in enumerate(steps):
            if isinstance(step, NamedFile):
                (folder / step.name).write_text(step.text, encoding="utf-8")
            elif step.text in ELSEWHERE:
                left.add(step.text)
            else:
                status = shell.type(step.text)
                if step.printed:
                    compare(shell, step)
                following = steps[number + 1] if number + 1 < len(steps) else None
                is_asked = isinstance(following, Command) and following.text == "echo $?"
                if status and not is_asked:
                    raise PageFault(f"{step.line}: $ {step.text}\nends with {status}:\n" + "\n".join(shell.printed()))
    finally:
        shell.close()
    return left


# ---- The figures


MONEY = re.compile(r"(?<![\d.])(?<![A-Z0-9]-)\d{1,3}(?: ?\d{3})*\.\d\d(?!\d)")


def amounts(text: str) -> set[str]:
    return {amount.replace(" ", "") for amount in MONEY.findall(text)}


def by_hand(market: Path) -> set[str]:
    """The client of the pages holds five INDX-12.26 bought at 3300. Its margin is what it loses at the low end of the grid,
    with the interest rate stressed downwards. An order adds its own loss there, a calendar spread at the difference of
    its legs' prices the stress of the leg that is bought."""
    elements = {element.get("Code"): element.attrib for element in xml.parse(market).getroot()}
    near, far, contract = elements["INDX-12.26"], elements["INDX-3.27"], elements["INDX"]
    money = float(near["MinStepPrice"]) / float(near["MinStep"])
    reach = float(contract["MarketRisk"]) * float(near["NormalizedSpot"])

    def low_end(futures: dict[str, str]) -> float:
        return float(futures["CalcFutPrice"]) - reach

    def stress(futures: dict[str, str]) -> float:
        rate = float(futures["InterestRateRiskDown"]) * float(futures["TimeToExpiration"])
        return low_end(futures) * -math.expm1(-rate)

    def rounded_up(amount: float) -> float:
        return math.ceil(amount * 100) / 100

    held = (3300 - low_end(near) + stress(near)) * 5 * money
    bought = (3290 - low_end(near) + stress(near)) * 2 * money
    rolled = stress(far) * 5 * money
    before, after, and_rolled = rounded_up(held), rounded_up(held + bought), rounded_up(held + rolled)
    figures = [held, before, bought, after, after - before, rolled, and_rolled, and_rolled - before, 0.0]
    yesterday = rounded_up(held / 5 * 2)  # two contracts
    figures += [yesterday, before - yesterday]
    figures += [(3300 - low_end(near)) * 5 * money, stress(near) * 5 * money]
    at_calculated_price = rounded_up(held + (float(near["CalcFutPrice"]) - 3300) * 5 * money)
    figures += [at_calculated_price, at_calculated_price - before, (float(near["CalcFutPrice"]) - 3300) * 5 * money]
    reach_high = float(contract["MarketRiskHigh"]) * float(near["NormalizedSpot"])
    low_high = float(near["CalcFutPrice"]) - reach_high
    rate = float(near["InterestRateRiskDown"]) * float(near["TimeToExpiration"])
    at_high_risk = rounded_up((3300 - low_high + low_high * -math.expm1(-rate)) * 5 * money)
    two_sold = rounded_up(held * 3 / 5)
    figures += [two_sold, before - two_sold, at_high_risk, at_high_risk - before]
    figures += [20000, 20000 - before, 15000, before - 15000]  # limits, and what is left of them
    figures += [(3290 - low_end(near)) * 2 * money, stress(near) * 2 * money]
    return {f"{figure:.2f}" for figure in figures + that_fit(held, bought / 2, high_end(near, contract), money) +
            that_free(held, float(near["CalcFutPrice"]) * money)}


def high_end(futures: dict[str, str], contract: dict[str, str]) -> float:
    """What one futures sold at its calculated price loses at the high end of the grid, with the rate stressed upwards."""
    reach = float(contract["MarketRisk"]) * float(futures["NormalizedSpot"])
    rate = float(futures["InterestRateRiskUp"]) * float(futures["TimeToExpiration"])
    return reach + (float(futures["CalcFutPrice"]) + reach) * math.expm1(rate)


def that_fit(held: float, bought: float, sold: float, money: float) -> list[float]:
    """The limits of the page on what fits, and its figures: so many bought at 3290 beside what is held; so many sold,
    the first five of which close it."""
    limits = [100000.0, 15000.0, 10000.0]
    most_bought = math.floor((limits[0] - held) / bought)
    most_sold = math.floor(limits[1] / (sold * money))
    within = [held + (most_bought + more) * bought for more in (0, 1)] + [(most_sold + more) * sold * money for more in (0, 1)]
    before, *after = (math.ceil(figure * 100) / 100 for figure in (held, *within))
    return limits + after + [abs(figure - before) for figure in after]


def that_free(held: float, contract: float) -> list[float]:
    """What is left when three of the five are closed, what that frees, and its turnover."""
    before, after = (math.ceil(figure * 100) / 100 for figure in (held, held * 2 / 5))
    return [after, before - after, 3 * contract]


def unfounded(pages: list[Path], source: Path) -> list[str]:
    founded = amounts((source / "README.md").read_text(encoding="utf-8")) | by_hand(source / "examples/market.xml")
    return [f"{page.relative_to(source)}: {amount} stands neither in README.md nor among the figures worked out by hand"
            for page in pages for amount in sorted(amounts(page.read_text(encoding="utf-8")) - founded)]


def free_port() -> int:
    with socket.socket() as asked:
        asked.bind(("127.0.0.1", 0))
        return int(asked.getsockname()[1])


def tree_environment(tree: Path, source: Path, home: Path) -> dict[str, str]:
    """What a reader has whose machine has the packages."""
    library = next(tree.rglob("libQuindalIM_Client.so*")).parent
    return {
        "HOME": str(home),
        "LANG": "C.UTF-8",
        "PATH": f"{tree}/bin:{os.environ['PATH']}",
        "LD_LIBRARY_PATH": str(library),
        "PKG_CONFIG_PATH": f"{library}/pkgconfig",
        "PYTHONPATH": f"{source}/Bindings/python",
        "PYTHONDONTWRITEBYTECODE": "1",
        "QUINDALIM_LIBRARY": str(next(tree.rglob("libQuindalIM_Client.so"))),
        "TMPDIR": str(home.parent),
    }


def main() -> int:
    cmake, build, source = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3])
    pages = sys.argv[4:] or PAGES
    faults = []
    left: set[str] = set()
    with tempfile.TemporaryDirectory(prefix="quindal-manual-") as work:
        tree = Path(work) / "tree"
        subprocess.run([cmake, "--install", str(build), "--prefix", str(tree)], check=True, stdout=subprocess.DEVNULL)
        for name in pages:
            folder = Path(work) / name / "desk"
            (folder / "build").mkdir(parents=True)
            (folder / "build/release").symlink_to(build)
            for entry in ("examples", "scripts", "Bindings"):
                (folder / entry).symlink_to(source / entry)
            began = time.monotonic()
            try:
                left |= follow(source / f"docs/{name}.md", folder, tree_environment(tree, source, folder), free_port())
            except PageFault as fault:
                faults.append(f"docs/{name}.md:{fault}")
            print(f"docs/{name}.md  {time.monotonic() - began:.1f} s", flush=True)
    if not sys.argv[4:]:
        faults += [f"no page has {command}" for command in ELSEWHERE.keys() - left]
    faults += unfounded([source / f"docs/{name}.md" for name in pages], source)
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
