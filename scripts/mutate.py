"""Makes one-line faults in a copy of the sources, builds and runs the unit tests of the unit, and says which faults lived.

A fault is killed when a test fails, crashes or takes far longer than it did; one that does not compile does not count, nor
does one whose program is the same to the byte. Called by scripts/mutate.sh, which tells the arguments.
"""

import argparse
import fcntl
import hashlib
import os
import random
import re
import resource
import subprocess
import sys
import time
from pathlib import Path
from typing import Iterator, NamedTuple, TextIO

WORK = Path("build/mutate")
TREE = WORK / "tree"
BUILD = WORK / "build"
RESULTS = WORK / "results.txt"
EQUIVALENT = Path("tests/mutants/equivalent.txt")
MEMORY = 4 << 30  # of a test program, so that a loop that takes memory ends

# The test programs that can notice a fault of a unit, the quick ones first, and the folder that holds its sources.
UNITS = {
    "Z9Sys": ("Platform/Z9Sys/source", ["z9sys_tests"]),
    "kv7base": ("Units/kv7base/source", ["kv7base_tests"]),
    "kv7go": ("Units/kv7go/source", ["kv7go_tests", "kv7go_insertion_failure_tests"]),
    "kv7PosCalcLib": ("Units/kv7PosCalcLib/source", ["kv7poscalc_tests", "kv7poscalc_failure_tests"]),
    "kv7ordmanLib": ("Units/kv7ordmanLib/source", ["kv7ordman_tests", "kv7ordman_failure_tests"]),
    "kv7DomainObjects": (
        "Units/kv7DomainObjects/source",
        ["kv7DomainObjectsTest", "kv7DomainObjectsFailureTest", "kv7DomainObjectsRecalculationTest"],
    ),
    "QuindalIM": (
        "Units/QuindalIM/source",
        ["quindalim_exports_tests", "quindalim_facade_tests", "quindalim_read_back_tests", "quindalim_tests",
         "quindalim_explanation_tests", "quindalim_link_tests", "quindalim_failure_tests"],
    ),
}


class Mutant(NamedTuple):
    path: str
    number: int  # of the line, from 1
    before: str
    after: str

    def explanation(self) -> str:
        """What an explanation knows it by; without the number, which moves with every edit."""
        return "\t".join((self.path, self.before.strip(), self.after.strip()))

    def key(self) -> str:
        """What a result knows it by."""
        return f"{self.number}\t{self.explanation()}"


# What stands for what. A group (...) of the pattern is what is replaced, the whole match where there is none.
SWAPS = [
    (r"(?<= )(<=|>=|==|!=|<|>)(?= )", {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}),
    (r"(?<= )(\+=|-=|\*=|/=)(?= )", {"+=": "-=", "-=": "+=", "*=": "/=", "/=": "*="}),
    (r"(?<= )([+\-*/%])(?= )", {"+": "-", "-": "+", "*": "/", "/": "*", "%": "+"}),
    (r"(?<= )(&&|\|\|)(?= |$)", {"&&": "||", "||": "&&"}),
    (r"(\+\+|--)(?=\w)|(?<=\w)(\+\+|--)", {"++": "--", "--": "++"}),
    (r"(?<=[(\s])(!)(?=[\w(])", {"!": ""}),
    (r"(?<=[(\s])(-)(?=[A-Za-z(])", {"-": ""}),
    (r"\b(true|false)\b", {"true": "false", "false": "true"}),
    (r"\b([Mm]in|[Mm]ax)(?=\()", {"Min": "Max", "Max": "Min", "min": "max", "max": "min"}),
    (r"\b(floor|ceil)(?=\()", {"floor": "ceil", "ceil": "floor"}),
    (r"\b(lower_bound|upper_bound)(?=\()", {"lower_bound": "upper_bound", "upper_bound": "lower_bound"}),
]
NUMBER = re.compile(r"(?<![\w.'])(\d+(?:\.\d+)?)(?![\w.'])")
STATEMENT = re.compile(r"^\s*(?!return\b|using\b|delete\b|goto\b|break\b|continue\b|throw\b|static_assert\b|typedef\b)"
                       r"(?:(?:\+\+|--)[\w.\[\]>-]+|[\w.\[\]:>*()-]+(?: [-+*/|&]?= .*|\(.*\)|\+\+|--));\s*$")
LEAVING = re.compile(r"^\s*(?:break|continue);\s*$")
SKIPPED = re.compile(r"^\s*(?:#|using\b|namespace\b|template\b|static_assert\b|KV7TRACE|\[\[|public:|private:|$)")


def masked(lines: list[str]) -> list[str]:
    """The lines with blanks for comments and for what stands between quotes, at the same places."""
    text = "\n".join(lines)
    pattern = r'//[^\n]*|/\*.*?\*/|R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])+\''
    return re.sub(pattern, lambda m: re.sub(r"[^\n]", "\0", m.group()), text, flags=re.S).split("\n")


def arguments(line: str, opening: int) -> list[tuple[int, int]]:
    """Where the arguments of a call stand that opens there; none where the call does not end in the line."""
    depth, start, found = 0, opening + 1, []
    for place in range(opening, len(line)):
        if line[place] in "([{":
            depth += 1
        elif line[place] in ")]}":
            depth -= 1
            if depth == 0:
                return found + [(start, place)]
        elif line[place] == "," and depth == 1:
            found.append((start, place))
            start = place + 1
    return []


def of_line(code: str, line: str) -> Iterator[str]:
    """The faults of one line; `code` is the line with blanks for what is no code."""
    for pattern, other in SWAPS:
        for match in re.finditer(pattern, code):
            begin, end = next(match.span(group) for group in range(1, match.re.groups + 1) if match.group(group))
            yield line[:begin] + other[line[begin:end]] + line[end:]
    for match in NUMBER.finditer(code):
        value = match.group()
        other = str(float(value) + 1) if "." in value else str(int(value) + 1)
        yield line[: match.start()] + other + line[match.end() :]
    for match in re.finditer(r"\b(?:[Mm]in|[Mm]ax)\(", code):
        places = arguments(code, match.end() - 1)
        if len(places) == 2:
            (a, b), (c, d) = places
            yield line[:a] + line[c:d].strip() + ", " + line[a:b].strip() + line[d:]
    if (STATEMENT.match(code) and code.count("(") == code.count(")")) or LEAVING.match(code):
        yield line[: len(line) - len(line.lstrip())] + ";"


def of_file(path: str) -> Iterator[Mutant]:
    lines = (TREE / path).read_text().split("\n")
    continued = False  # a preprocessor line that goes on, or an open statement that is no target
    for number, (code, line) in enumerate(zip(masked(lines), lines), start=1):
        skipped = continued or SKIPPED.match(code) is not None
        continued = skipped and (line.endswith("\\") or (re.match(r"\s*static_assert", line) and ";" not in code))
        if skipped:
            continue
        for after in of_line(code, line):
            if after != line:
                yield Mutant(path, number, line, after)


def claim() -> TextIO:
    """One run at a time: a second one would find the fault of the first in its sources."""
    WORK.mkdir(parents=True, exist_ok=True)
    lock = (WORK / "lock").open("w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit(f"another run works in {WORK}: wait for its end")
    return lock


def take_over() -> None:
    """Brings the copy of the sources to what they are now. A fault that was left in it goes, too."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], check=True,
                            capture_output=True).stdout
    for name in map(os.fsdecode, filter(None, listed.split(b"\0"))):
        source, target = Path(name), TREE / name
        if source.is_file() and not (target.is_file() and target.read_bytes() == source.read_bytes()):
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(source.read_bytes())
            target.chmod(source.stat().st_mode)


def configure() -> None:
    if (BUILD / "build.ninja").exists():
        return
    words = ["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DQUINDAL_BENCHMARKS=OFF",
             "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG"]  # half of the compiling, and the same figures
    subprocess.run(words, check=True, stdout=sys.stderr)


def build(programs: list[str]) -> bool:
    words = ["ninja", "-C", BUILD, "-j1", *programs]
    return subprocess.run(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


def program(name: str) -> Path:
    return next(path for path in (BUILD / "tests/unit").rglob(name) if path.is_file() and os.access(path, os.X_OK))


def digest(names: list[str]) -> str:
    return hashlib.sha256(b"".join(program(name).read_bytes() for name in names)).hexdigest()


def passes(name: str, seconds: float) -> bool:
    limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    words = [program(name).absolute(), "--gtest_brief=1", "--gtest_fail_fast"]
    folder = WORK / "run"
    folder.mkdir(exist_ok=True)
    process = subprocess.Popen(words, cwd=folder, preexec_fn=limit, start_new_session=True, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        return process.wait(seconds) == 0
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return False


class Unit:
    """The tests of a unit, built and run without a fault."""

    def __init__(self, name: str) -> None:
        self.programs = UNITS[name][1]
        print(f"== build and run the tests of {name}", file=sys.stderr)
        if not build(self.programs):
            sys.exit(f"{name} does not build: see ninja -C {BUILD} {' '.join(self.programs)}")
        self.digest = digest(self.programs)
        self.seconds = {}
        for each in self.programs:
            start = time.monotonic()
            if not passes(each, 600):
                sys.exit(f"{each} fails without any fault: mend that first")
            self.seconds[each] = 10 + 5 * (time.monotonic() - start)

    def outcome(self, mutant: Mutant) -> str:
        target = TREE / mutant.path
        original = target.read_text()
        lines = original.split("\n")
        lines[mutant.number - 1] = mutant.after
        try:
            target.write_text("\n".join(lines))
            if not build(self.programs):
                return "no code"
            if digest(self.programs) == self.digest:
                return "same code"
            return "lived" if all(passes(each, self.seconds[each]) for each in self.programs) else "killed"
        finally:
            target.write_text(original)


def unit_of(path: str) -> str:
    return next(name for name, (folder, _) in UNITS.items() if path.startswith(folder))


def drawn(places: list[str], count: int, seed: int) -> list[Mutant]:
    folders = [UNITS[place][0] if place in UNITS else place for place in places] or [f for f, _ in UNITS.values()]
    everything: list[Mutant] = []
    for folder in folders:
        top = TREE / folder
        files = [top] if top.is_file() else sorted(p for p in top.rglob("*") if p.suffix in (".cpp", ".h"))
        if not files:
            sys.exit(f"{folder} is no unit and holds no source")
        for path in files:
            everything.extend(of_file(str(path.relative_to(TREE))))
    random.Random(seed).shuffle(everything)
    return everything[:count]


def explained() -> set[str]:
    """The faults that change nothing, each with its reason behind the third tab."""
    lines = EQUIVALENT.read_text().splitlines() if EQUIVALENT.exists() else []
    return {"\t".join(line.split("\t")[:3]) for line in lines if line and not line.startswith("#")}


def known_results() -> dict[str, str]:
    lines = RESULTS.read_text().splitlines() if RESULTS.exists() else []
    return {key: outcome for outcome, key in (line.split("\t", 1) for line in lines)}


def main() -> int:
    words = argparse.ArgumentParser(description=__doc__)
    words.add_argument("count", type=int, nargs="?", default=100)
    words.add_argument("seed", type=int, nargs="?", default=1)
    words.add_argument("places", nargs="*")
    given = words.parse_args()

    lock = claim()
    take_over()
    configure()
    results, units, harmless = known_results(), {}, explained()
    tally = dict.fromkeys(("killed", "lived", "explained", "same code", "no code"), 0)
    lived = []
    mutants = drawn(given.places, given.count, given.seed)
    for mutant in sorted(mutants, key=lambda each: unit_of(each.path)):
        if mutant.explanation() in harmless:
            tally["explained"] += 1
            continue
        # A fault that lived is tried again: tests may have come since.
        outcome = results.get(mutant.key(), "lived")
        if outcome == "lived":
            name = unit_of(mutant.path)
            if name not in units:
                units[name] = Unit(name)
            outcome = units[name].outcome(mutant)
            with RESULTS.open("a") as record:
                record.write(f"{outcome}\t{mutant.key()}\n")
        tally[outcome] += 1
        if outcome == "lived":
            lived.append(mutant)
            print(f"LIVED {mutant.path}:{mutant.number}\n    {mutant.before.strip()}\n    {mutant.after.strip()}", flush=True)
    lock.close()
    noticed = tally["killed"] + tally["lived"]
    print(", ".join(f"{number} {what}" for what, number in tally.items())
          + f": {100 * tally['killed'] / noticed if noticed else 100:.1f} % of those that change something are killed")
    return 1 if lived else 0


sys.exit(main())
