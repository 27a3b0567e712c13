"""The shared library: found, loaded, called by one thread at a time."""

from __future__ import annotations

import ctypes
import os
import threading
from collections.abc import Callable
from functools import cache
from pathlib import Path
from typing import Any

from .c_functions import FUNCTIONS
from .errors import LibraryNotFound, library_error

LIBRARY_NAME = "libQuindalIM_Client.so"
_CODE_BUFFER_BYTES = 256


def _places() -> list[str]:
    """Where the library may be: QUINDALIM_LIBRARY, beside the package, where the system's loader finds its name."""
    named = os.environ.get("QUINDALIM_LIBRARY")
    if named:
        return [named]
    beside = Path(__file__).resolve().parent / LIBRARY_NAME
    return ([str(beside)] if beside.exists() else []) + [LIBRARY_NAME, LIBRARY_NAME + ".9"]


class Library:
    """The loaded library. The interpreter is free for other threads while a call waits for the server."""

    def __init__(self) -> None:
        self._lock = threading.RLock()
        library = self._load()
        try:
            self._functions: dict[str, Callable[..., Any]] = {
                name: function.declare_in(library) for name, function in FUNCTIONS.items()
            }
        except AttributeError as missing:
            raise LibraryNotFound(f"{library._name}: {missing}") from missing

    @staticmethod
    def _load() -> ctypes.CDLL:
        said = []
        for place in _places():
            try:
                return ctypes.CDLL(place)
            except OSError as error:
                said.append(str(error))
        raise LibraryNotFound("; ".join(said))

    def version(self) -> str:
        """Version of the library, such as "9.9.64.4654"."""
        return bytes(self._functions["GetQuindalIMLibraryVersion"]()).decode()

    def error_text(self, code: int) -> str:
        """Text of a code, from the library's table."""
        return bytes(self._functions["GetErrorCodeDescription"](code)).decode()

    def call(self, name: str, *inputs: Any) -> dict[str, Any]:
        """Calls a function with its inputs in their order; gives what it wrote, by the names of its parameters.

        Raises LibraryError, or one of its kinds, for a code other than 0.
        """
        given = iter(inputs)
        arguments: list[Any] = []
        written: dict[str, Any] = {}
        for parameter in FUNCTIONS[name].parameters:
            if not parameter.is_written:
                value = next(given)
                arguments.append(value.encode() if isinstance(value, str) else value)
            elif parameter.type == "text":
                arguments.append(ctypes.create_string_buffer(_CODE_BUFFER_BYTES))
                written[parameter.name] = arguments[-1]
            else:
                size = _CODE_BUFFER_BYTES if parameter.name.endswith("CodeSize") else 0
                place = parameter.value_type(size) if size else parameter.value_type()
                arguments.append(ctypes.byref(place))
                written[parameter.name] = place
        with self._lock:
            code = self._functions[name](*arguments)
        if code != 0:
            raise library_error(code, self.error_text(code), name)
        return {
            title: place.value.decode() if isinstance(place.value, bytes) else place.value
            for title, place in written.items()
        }


@cache
def library() -> Library:
    """The library of this process, loaded at the first use. Raises LibraryNotFound."""
    return Library()


def version() -> str:
    """Version of the library, such as "9.9.64.4654"; needs no session."""
    return library().version()


def error_text(code: int) -> str:
    """Text of a code, from the library's table; needs no session."""
    return library().error_text(code)
