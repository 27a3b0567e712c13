"""The session: library, login, calculator, and a private server where a market file is given."""

from __future__ import annotations

import atexit
import os
from types import TracebackType

from . import checks
from .calculator import Calculator
from .command import Login
from .errors import InputError
from .shared_library import library
from .server import PrivateServer


class Session:
    """Opens the library for a ``with`` block. A process has one session at a time.

    Either ``market``: path of a market file, for which a private router and server are started and ended with the
    session; or ``ini``, ``user`` and ``password``: the ini file of the router on this machine, and who logs in there.
    Without ``password`` it is taken from QUINDAL_PASSWORD.

    ``timeout``: seconds that an answer of the private server may take. ``load``: False leaves the calculator without
    instruments, to be inserted by hand.

    Opening raises InputError (what is given), LibraryNotFound, ServerError (the private server), StartError (ini file,
    log, router, login), or LibraryError (the download of the instruments).
    """

    def __init__(
        self,
        market: str | os.PathLike[str] | None = None,
        *,
        ini: str | os.PathLike[str] | None = None,
        user: str | None = None,
        password: str | None = None,
        timeout: float = 30.0,
        load: bool = True,
    ) -> None:
        if (market is None) == (ini is None):
            raise InputError("market", "give either a market file or an ini file")
        if ini is not None and user is None:
            raise InputError("user", "an ini file needs a user")
        if market is not None and (user is not None or password is not None):
            raise InputError("user", "a private server has a user of its own")
        self._timeout = checks.number("timeout", timeout, 0.1, 3600)
        self._market = market
        self._login: Login | None = None
        if ini is not None and user is not None:
            secret = os.environ.get("QUINDAL_PASSWORD", "") if password is None else password
            self._login = Login(os.fspath(ini), user, secret)
        self._load = load
        self._server: PrivateServer | None = None
        self._calculator: Calculator | None = None
        self._is_open = False

    @classmethod
    def of_login(cls, login: Login) -> Session:
        """A session without instruments at a server that runs."""
        return cls(ini=login.ini, user=login.user, password=login.password, load=False)

    @property
    def calculator(self) -> Calculator:
        """The calculator of the open session."""
        if self._calculator is None:
            raise InputError("session", "is not open")
        return self._calculator

    @property
    def process_ids(self) -> list[int]:
        """Ids of the processes that the session has started and that run now."""
        ids = [self._server.process_id if self._server else None]
        ids += [self._calculator.what_if_process_id if self._calculator else None]
        return [process for process in ids if process is not None]

    def open(self) -> Session:
        """Starts what is to be started and logs in; ``with`` does it."""
        if self._is_open:
            raise InputError("session", "is open already")
        atexit.register(self.close)
        try:
            self._open()
        except BaseException:
            self.close()
            raise
        return self

    def _open(self) -> None:
        loaded = library()
        if self._market is not None:
            self._server = PrivateServer(self._market, self._timeout)
            self._login = Login(str(self._server.ini), self._server.user, self._server.password)
        assert self._login is not None
        loaded.call("InitQuindalIM", self._login.ini, self._login.user, self._login.password)
        self._is_open = True
        self._calculator = Calculator(loaded, self._login)
        if self._load:
            self._calculator.load_instruments()

    def close(self) -> None:
        """Removes everything, logs out and ends the processes of the session; ``with`` does it. May be called twice."""
        atexit.unregister(self.close)
        try:
            self._close_library()
        finally:
            server, self._server = self._server, None
            if server is not None:
                server.close()

    def _close_library(self) -> None:
        was_open, self._is_open = self._is_open, False
        calculator, self._calculator = self._calculator, None
        try:
            if calculator is not None:
                calculator.close()
        finally:
            if was_open:
                library().call("DeInitQuindalIM")

    def __enter__(self) -> Session:
        return self.open()

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()
