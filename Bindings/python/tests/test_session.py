"""A session ends with everything that it started, in whatever way it ends."""

from __future__ import annotations

import os
import signal
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest
from conftest import MARKET

from quindalim import ClientMargin, ClientNode, Order, Session, version


def descendants(process: int) -> list[int]:
    """Ids of a process and of all below it."""
    found = [process]
    for place in found:
        for task in Path(f"/proc/{place}/task").glob("*/children"):
            found += [int(child) for child in task.read_text().split()]
    return found


def wait_for_the_end_of(processes: list[int]) -> list[int]:
    """Those that are still there after ten seconds. A zombie that nobody asks for has ended."""
    end = time.monotonic() + 10
    running = processes
    while running and time.monotonic() < end:
        running = [process for process in running if is_running(process)]
        time.sleep(0.02)
    return running


def is_running(process: int) -> bool:
    try:
        return Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


def with_a_what_if(session: Session) -> list[int]:
    session.calculator.firm("AA01").client("AA01001")
    session.calculator.what_if([Order("AA01001", "INDX-12.26", "buy", 1)])
    processes = [found for process in session.process_ids for found in descendants(process)]
    assert len(processes) == 4  # keeper, server, router, what-ifs
    return processes


def test_the_end_leaves_no_process_and_no_folder(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setattr(tempfile, "tempdir", str(tmp_path))
    with Session(market=MARKET) as session:
        processes = with_a_what_if(session)
        assert list(tmp_path.iterdir()) != []
    assert wait_for_the_end_of(processes) == []
    assert list(tmp_path.iterdir()) == []
    assert session.process_ids == []


def test_an_exception_ends_the_session() -> None:
    processes: list[int] = []
    with pytest.raises(ZeroDivisionError), Session(market=MARKET) as session:
        processes += with_a_what_if(session)
        raise ZeroDivisionError
    assert wait_for_the_end_of(processes) == []


PROGRAM = """
import sys, time
sys.path.insert(0, sys.argv[2])
from quindalim import Session
from test_session import with_a_what_if
session = Session(market=sys.argv[1]).open()
print(*with_a_what_if(session), flush=True)
if sys.argv[3] == "wait": time.sleep(60)
"""


@pytest.mark.parametrize("end", ["exit", signal.SIGINT, signal.SIGKILL])
def test_a_program_that_ends_without_closing_leaves_nothing(end: str | signal.Signals, tmp_path: Path) -> None:
    words = [sys.executable, "-c", PROGRAM, str(MARKET), str(Path(__file__).parent)]
    words += ["exit" if end == "exit" else "wait"]
    environment = {**os.environ, "TMPDIR": str(tmp_path)}
    quiet = subprocess.DEVNULL
    with subprocess.Popen(words, stdout=subprocess.PIPE, stderr=quiet, text=True, env=environment) as program:
        assert program.stdout is not None
        processes = [int(word) for word in program.stdout.readline().split()]
        assert len(processes) == 4
        if isinstance(end, signal.Signals):
            os.kill(program.pid, end)
        program.wait(30)
    assert wait_for_the_end_of(processes) == []
    assert list(tmp_path.iterdir()) == []


def test_sessions_follow_each_other_from_a_clean_slate() -> None:
    for _ in range(2):
        with Session(market=MARKET) as session:
            assert session.calculator.margins() == []
            client = session.calculator.firm("AA01").client("AA01001")
            assert client.set_position("INDX-12.26", 5, 3300.0).go == 19846.13
    session.close()


def test_a_session_at_a_server_that_runs(session: Session, monkeypatch: pytest.MonkeyPatch) -> None:
    login = session.calculator._login
    program = (
        "import sys; from quindalim import Session\n"
        "with Session(ini=sys.argv[1], user=sys.argv[2]) as session:\n"
        "    client = session.calculator.firm('AA01').client('AA01001')\n"
        "    print(client.set_position('INDX-12.26', 5, 3300.0).go, client.explain().go, session.process_ids)\n"
    )
    monkeypatch.setenv("QUINDAL_PASSWORD", login.password)
    words = [sys.executable, "-c", program, login.ini, login.user]
    run = subprocess.run(words, capture_output=True, text=True, check=True)
    assert run.stdout == "19846.13 19846.13 []\n"


def test_threads_share_a_session(session: Session) -> None:
    firm = session.calculator.firm("AA01")
    clients = [firm.client(f"AA0100{number}") for number in range(4)]
    alone = [client.set_position("INDX-12.26", 100, 3300.0) for client in clients]

    def walk(client: ClientNode) -> ClientMargin:
        margins = [client.set_position("INDX-12.26", quantity, 3300.0) for quantity in range(1, 101)]
        assert sorted(margin.go for margin in margins) == [margin.go for margin in margins]
        return margins[-1]

    with ThreadPoolExecutor(4) as threads:
        walked = list(threads.map(walk, clients))
    assert [margin.go for margin in walked] == [margin.go for margin in alone]


def test_the_version_needs_no_session() -> None:
    assert version() == "9.9.64.4654"
