"""Exceptions. Whatever this package refuses or the library answers with a code is a ``QuindalError``."""

from __future__ import annotations

from .codes import name_of


class QuindalError(Exception):
    """Root of the package's exceptions.

    ``row`` is the place in a batch, counted from 0, or None outside of one.
    """

    row: int | None = None

    def in_row(self, row: int) -> QuindalError:
        """This exception, with the row of the batch that caused it."""
        self.row = row
        return self

    def __str__(self) -> str:
        text = self._text()
        return text if self.row is None else f"row {self.row}: {text}"

    def _text(self) -> str:
        return super().__str__()


class InputError(QuindalError, ValueError):
    """A value that is refused before it reaches the library; ``name`` is that of the parameter or column."""

    def __init__(self, name: str, reason: str) -> None:
        super().__init__(name, reason)
        self.name = name
        self.reason = reason

    def _text(self) -> str:
        return f"{self.name}: {self.reason}"


class LibraryNotFound(QuindalError, OSError):
    """The client library, or the command line ``quindal``, is not there or cannot be loaded."""


class ServerError(QuindalError):
    """The private router and server did not start; the text has what they said."""


class CommandError(QuindalError):
    """The command line ended with a ``status`` other than 0; ``said`` is what it wrote on standard error."""

    def __init__(self, status: int, said: str) -> None:
        super().__init__(status, said)
        self.status = status
        self.said = said.strip()

    def _text(self) -> str:
        return self.said or f"quindal ended with status {self.status}"


class LibraryError(QuindalError):
    """A function of the library returned a code other than 0.

    ``code``, its ``name`` (Z9ERR_...), its ``text`` from the library's own table, and the ``function``.
    """

    def __init__(self, code: int, text: str, function: str) -> None:
        super().__init__(code, text, function)
        self.code = code
        self.name = name_of(code)
        self.text = text
        self.function = function

    def _text(self) -> str:
        return f"{self.function}: {self.code} {self.name}: {self.text}"


class StartError(LibraryError):
    """The library did not start: ini file, log, router, login or user."""


class LinkLost(LibraryError):
    """The server does not answer (94820). Nothing has changed; a new session finds the server when it is back."""


class NotStarted(LibraryError):
    """No session is open (94821)."""


class NotFound(LibraryError, LookupError):
    """A client, firm, account or instrument that is not there."""


class AlreadyExists(LibraryError):
    """A client, firm, account or instrument that is there already, or was offered before."""


class TooManyClients(LibraryError):
    """The user may register no more clients (94818)."""


class Refused(LibraryError, ValueError):
    """A parameter that the library does not take; the name of the code says which."""


class NotSupported(LibraryError):
    """A function that the library has for the sake of its interface only (94819)."""


_KINDS: dict[type[LibraryError], set[int]] = {
    StartError: {16385, 20481, 20482, 94809, 94812, 94814, 94815, 94816, 94817, 94822, 94823, 94824},
    LinkLost: {94820},
    NotStarted: {94821},
    NotFound: {94260, 94309, 94312, 94395, 94509, 94510, 94514, 94515, 94714, 94715, 94716, 94718, 94720, 94724, 94749}
    | {94755, 94778, 94813},
    AlreadyExists: {94517, 94518, 94519, 94520, 94521, 94709, 94710, 94711, 94712, 94717, 94719, 94740, 94754, 94791}
    | {94792, 94995},
    TooManyClients: {94818},
    NotSupported: {94819},
    Refused: {2, 14, 94314, 94811} | set(range(94721, 94724)) | set(range(94757, 94769)) | set(range(94771, 94775))
    | set(range(94779, 94791)) | set(range(94793, 94805)),
}


def library_error(code: int, text: str, function: str) -> LibraryError:
    """The exception of a code, of the class that fits it."""
    for kind, codes in _KINDS.items():
        if code in codes:
            return kind(code, text, function)
    return LibraryError(code, text, function)
