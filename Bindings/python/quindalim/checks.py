"""What may reach the library: finite numbers in their range, codes, words. Everything else is refused by its name."""

from __future__ import annotations

import enum
import math
import operator
from typing import Any, TypeVar

from .errors import InputError

_Word = TypeVar("_Word", bound=enum.IntEnum)

LARGEST = 1e12
"""Prices, and quantities, are of at most this size: what is larger leaves a book without its cents."""


def number(name: str, value: Any, low: float = -math.inf, high: float = math.inf) -> float:
    """A finite number from low to high; a text is read as one. Raises InputError."""
    if isinstance(value, bool):
        raise InputError(name, f"{value!r} is no number")
    try:
        result = float(value)
    except (TypeError, ValueError, OverflowError) as error:
        raise InputError(name, f"{value!r} is no number") from error
    if not math.isfinite(result):
        raise InputError(name, f"{value!r} is not a finite number")
    if not low <= result <= high:
        raise InputError(name, f"{result!r} is not from {low:g} to {high:g}")
    return result


def rounded_number(name: str, value: Any, low: float, high: float, digits: int) -> float:
    """A finite number of which the library keeps all digits behind the point. Raises InputError."""
    result = number(name, value, low, high)
    if round(result, digits) != result:
        raise InputError(name, f"{result!r} has more than {digits} digits behind the point")
    return result


def whole(name: str, value: Any, low: float = -LARGEST, high: float = LARGEST) -> int:
    """A whole number from low to high; a text, and a float without a fraction, are read as one. Raises InputError."""
    if isinstance(value, bool):
        raise InputError(name, f"{value!r} is no number")
    if isinstance(value, str):
        try:
            result = int(value)
        except ValueError as error:
            raise InputError(name, f"{value!r} is no whole number") from error
    else:
        try:
            result = operator.index(value)
        except TypeError:
            as_number = number(name, value)
            if not as_number.is_integer():
                raise InputError(name, f"{value!r} is no whole number") from None
            result = int(as_number)
    if not low <= result <= high:
        raise InputError(name, f"{result} is not from {low:.0f} to {high:.0f}")
    return result


def code(name: str, value: Any, length: int | None = None) -> str:
    """A code: a text without a zero byte, of one length where that is given. Raises InputError."""
    if not isinstance(value, str) or not value:
        raise InputError(name, f"{value!r} is no code")
    if "\0" in value:
        raise InputError(name, f"{value!r} has a zero byte")
    if length is not None and len(value.encode()) != length:
        raise InputError(name, f"{value!r} has not {length} characters")
    return value


def flag(name: str, value: Any) -> bool:
    """Yes or no: True, False, 1, 0, or the words yes and no. Raises InputError."""
    known = {True: True, False: False, "1": True, "0": False, "yes": True, "no": False}
    try:
        return known[value]
    except (KeyError, TypeError) as error:
        raise InputError(name, f"{value!r} is neither yes nor no") from error


def word(name: str, value: Any, words: type[_Word]) -> _Word:
    """A member of an enumeration, or the name of one in small letters. Raises InputError."""
    if isinstance(value, str):
        for member in words:
            if member.name.lower() == value:
                return member
    else:
        try:
            return words(value)
        except (TypeError, ValueError):
            pass
    raise InputError(name, f"{value!r} is none of {', '.join(member.name.lower() for member in words)}")
