"""Each code is an exception of a kind of its own, with code, name and the library's text."""

from __future__ import annotations

import os
import pickle
import socket
import subprocess
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from conftest import MARKET

import quindalim
from quindalim import (
    AlreadyExists,
    Calculator,
    CommandError,
    Currency,
    Firm,
    InputError,
    LibraryError,
    LibraryNotFound,
    LinkLost,
    NotFound,
    NotStarted,
    NotSupported,
    Order,
    Position,
    QuindalError,
    Refused,
    ServerError,
    Session,
    StartError,
    TooManyClients,
)
from quindalim.command import command_path
from quindalim.errors import library_error
from quindalim.shared_library import Library, library


def ini_file(folder: Path, port: int | None) -> Path:
    file = folder / "quindal.ini"
    lines = ["[QuindalIM::mq]", "timeout = 1000"] + ([f"port = {port}"] if port else [])
    file.write_text("\n".join(lines) + "\n")
    return file


def free_port() -> int:
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return int(listener.getsockname()[1])


def check(error: LibraryError, code: int, name: str, function: str) -> None:
    assert (error.code, error.name, error.function) == (code, name, function)
    assert error.text == quindalim.error_text(code) != ""
    assert str(error) == f"{function}: {code} {name}: {error.text}"
    assert isinstance(error, QuindalError) and error.row is None


def test_no_ini_file(tmp_path: Path) -> None:
    with pytest.raises(StartError) as caught, Session(ini=tmp_path / "none.ini", user="U", password="p"):
        pass
    check(caught.value, 16385, "Z9ERR_INI_CANNOT_OPEN", "InitQuindalIM")


def test_no_port(tmp_path: Path) -> None:
    with pytest.raises(StartError) as caught, Session(ini=ini_file(tmp_path, None), user="U", password="p"):
        pass
    check(caught.value, 94822, "Z9ERR_QUINDAL_IM_WRONG_PORT", "InitQuindalIM")


def test_no_router(tmp_path: Path) -> None:
    with pytest.raises(StartError) as caught, Session(ini=ini_file(tmp_path, free_port()), user="U", password="p"):
        pass
    check(caught.value, 94815, "Z9ERR_QUINDAL_IM_CONNECT_ERROR", "InitQuindalIM")


def test_a_second_session(session: Session) -> None:
    with pytest.raises(StartError) as caught, Session(market=MARKET):
        pass
    check(caught.value, 94809, "Z9ERR_QUINDAL_IM_ALREADY_INITIALIZED", "InitQuindalIM")
    assert len(session.calculator.currencies()) == 1  # the first goes on


def test_no_session() -> None:
    with pytest.raises(NotStarted) as caught:
        library().call("ClearAll", 1)
    check(caught.value, 94821, "Z9ERR_QUINDAL_IM_NOT_INITIALIZED", "ClearAll")
    with pytest.raises(InputError, match="session: is not open"):
        Session(market=MARKET).calculator


def test_the_link_is_lost(calculator: Calculator) -> None:
    calculator.register([Firm("AA01"), quindalim.Client("AA01001")])
    library().call("DeInitQuindalIM")  # the library looks at the link first
    with pytest.raises(LinkLost) as caught:
        calculator.set_position(Position("AA01001", "INDX-12.26", 1))
    check(caught.value, 94820, "Z9ERR_QUINDAL_IM_NOT_CONNECTED", "SetPosition")
    login = calculator._login
    library().call("InitQuindalIM", login.ini, login.user, login.password)


def test_what_is_not_there(calculator: Calculator) -> None:
    calculator.firm("AA01").client("AA01001")
    with pytest.raises(NotFound) as caught:
        calculator.set_position(Position("AA01002", "INDX-12.26", 1))
    check(caught.value, 94309, "Z9ERR_CHECK_CLIENT_NOT_FOUND", "SetPosition")
    with pytest.raises(LookupError):
        calculator.set_position(Position("AA01001", "NOTHING", 1))


def test_what_is_there_already(calculator: Calculator) -> None:
    calculator.firm("AA01")
    with pytest.raises(AlreadyExists) as caught:
        calculator.firm("AA01")
    check(caught.value, 94719, "Z9ERR_CALCGO_API_ERROR_FIRM_ALREADY_EXIST", "RegisterFirm")
    with pytest.raises(AlreadyExists) as loaded:
        calculator.load_instruments()
    check(loaded.value, 94995, "Z9ERR_QUINDAL_IM_INSTRUMENTS_ALREADY_LOADED", "GetInstrumentParameters")


def test_what_the_library_refuses(calculator: Calculator) -> None:
    calculator.firm("AA01").client("AA01001")
    with pytest.raises(Refused) as caught:  # a calendar spread has no calculated price
        calculator.place_order(Order("AA01001", "INDX-12.26-3.27", "buy", 1))
    check(caught.value, 2, "Z9ERR_COMMON_WRONG_ARGUMENTS", "ChangeOrder")
    with pytest.raises(ValueError):
        calculator.place_order(Order("AA01001", "INDX-12.26-3.27", "buy", 1))
    with pytest.raises(AlreadyExists):
        currency = Currency(currency_id=4711, curvature_radius=0.1)
        calculator.insert([currency, currency])


def test_a_function_that_is_not_supported() -> None:
    with pytest.raises(NotSupported) as caught:
        library().call("GetRiskPoints", 0, 0, None, False, 0)
    check(caught.value, 94819, "Z9ERR_QUINDAL_IM_NOT_SUPPORTED", "GetRiskPoints")


@pytest.fixture
def server_for_one_client(tmp_path: Path) -> Iterator[Path]:
    """Ini file of a server at which USER01 may register one client."""
    users = tmp_path / "users.csv"
    users.write_text("user,part_count,login_type,password\nUSER01,1,CLIENT,secret-word\n")
    ini = tmp_path / "served.ini"
    words = [command_path(), "serve", "--instruments", str(MARKET), "--users", str(users), "--write-ini", str(ini)]
    with subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as server:
        assert server.stdout is not None and server.stdout.readline().startswith("serving")
        yield ini
        server.terminate()


def test_more_clients_than_the_user_may_register(server_for_one_client: Path) -> None:
    with Session(ini=server_for_one_client, user="USER01", password="secret-word") as session:
        firm = session.calculator.firm("AA01")
        firm.client("AA01001")
        with pytest.raises(TooManyClients) as caught:
            firm.client("AA01002")
    check(caught.value, 94818, "Z9ERR_QUINDAL_IM_EXCEEDED_LIMIT_OF_PARTICIPANTS", "RegisterPart")


def test_a_wrong_password(server_for_one_client: Path) -> None:
    with pytest.raises(StartError) as caught, Session(ini=server_for_one_client, user="USER01", password="guess"):
        pass
    check(caught.value, 94816, "Z9ERR_QUINDAL_IM_LOGIN_ERROR", "InitQuindalIM")


def test_a_code_without_a_kind_of_its_own() -> None:
    error = library_error(94808, quindalim.error_text(94808), "SetPosition")
    assert type(error) is LibraryError
    check(error, 94808, "Z9ERR_QUINDAL_IM_COMMON_ERROR", "SetPosition")


def test_a_market_file_that_is_none(tmp_path: Path) -> None:
    with pytest.raises(InputError, match="market: .*none.xml is no file"), Session(market=tmp_path / "none.xml"):
        pass
    bad = tmp_path / "bad.xml"
    bad.write_text("<html></html>")
    with pytest.raises(ServerError, match="market.xml"), Session(market=bad):
        pass


def test_the_command_line_says_why(calculator: Calculator) -> None:
    calculator.firm("AA01").client("AA01001")
    calculator._login = type(calculator._login)(calculator._login.ini, calculator._login.user, "wrong word")
    with pytest.raises(CommandError, match="did not accept the user") as caught:
        calculator.explain("AA01001")
    assert caught.value.status == 3


@pytest.mark.parametrize(
    "error",
    [
        InputError("price", "nan is not a finite number").in_row(3),
        library_error(94813, "text", "SetPosition").in_row(3),
        CommandError(3, "no router").in_row(3),
    ],
)
def test_an_exception_travels_between_processes(error: QuindalError) -> None:
    arrived = pickle.loads(pickle.dumps(error))
    assert (type(arrived), str(arrived), vars(arrived)) == (type(error), str(error), vars(error))


@pytest.mark.parametrize(
    "make",
    [
        lambda: Session(),
        lambda: Session(market="a", ini="b", user="U"),
        lambda: Session(ini="b"),
        lambda: Session(market="a", user="U"),
        lambda: Session(market="a", timeout=float("nan")),
    ],
)
def test_arguments_that_do_not_fit(make: Callable[[], Session]) -> None:
    with pytest.raises(InputError):
        make()


def test_no_library(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("QUINDALIM_LIBRARY", "/no/such/library.so")
    with pytest.raises(LibraryNotFound, match="/no/such/library.so"):
        Library()


def test_no_command(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.delenv("QUINDALIM_COMMAND")
    monkeypatch.setenv("PATH", os.devnull)
    with pytest.raises(LibraryNotFound, match="QUINDALIM_COMMAND"), Session(market=MARKET):
        pass
