"""Batches: lists of records, tuples or mappings, mappings of columns, numpy arrays and pandas frames, all made rows.

A missing cell is None, an empty text, or the pandas missing value. NaN is a number that is none, and is refused.
"""

from __future__ import annotations

from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from dataclasses import MISSING, fields
from typing import Any, TypeVar

from .errors import InputError, QuindalError

Row = dict[str, Any]
_Record = TypeVar("_Record")


def _plain(value: Any) -> Any:
    """A value without its array type: numpy's scalars have item(), its byte texts are texts."""
    if type(value).__module__ == "numpy" and hasattr(value, "item"):
        value = value.item()
    return value.decode() if isinstance(value, bytes) else value


def _is_missing(value: Any) -> bool:
    return value is None or (isinstance(value, str) and value == "") or type(value).__name__ in ("NAType", "NaTType")


def _named(names: Sequence[str], values: Sequence[Any]) -> Row:
    if len(values) > len(names):
        raise InputError("row", f"has {len(values)} values for {len(names)} columns")
    return dict(zip(names, values))


def _rows_of_columns(columns: Mapping[Any, Any]) -> Iterator[Row]:
    lists = {str(name): list(values) for name, values in columns.items()}
    lengths = {len(values) for values in lists.values()}
    if len(lengths) > 1:
        raise InputError("columns", f"are of different lengths: {sorted(lengths)}")
    for values in zip(*lists.values()):
        yield dict(zip(lists, values))


def _raw_rows(data: Any, names: Sequence[str]) -> Iterator[Any]:
    if isinstance(data, (str, bytes)):
        raise InputError("batch", "is a text, not rows")
    if hasattr(data, "columns") and hasattr(data, "iloc"):  # a pandas frame
        yield from _rows_of_columns({name: data[name] for name in data.columns})
    elif getattr(getattr(data, "dtype", None), "names", None):  # a numpy array of records
        yield from _rows_of_columns({name: data[name] for name in data.dtype.names})
    elif isinstance(data, Mapping):
        yield from _rows_of_columns(data)
    elif isinstance(data, Iterable):
        for row in data:
            if isinstance(row, Mapping) or not hasattr(row, "__len__"):
                yield row
            else:
                yield _named(names, row)
    else:
        raise InputError("batch", f"{type(data).__name__} has no rows")


def records_of(data: Any, kind: type[_Record]) -> list[_Record]:
    """All rows as records of a kind, each checked; nothing has reached the library then.

    Raises InputError with the row, counted from 0, and the column.
    """
    columns = {field.name: field for field in fields(kind)}
    needed = [name for name, field in columns.items() if field.default is MISSING]
    return list(_in_rows(_raw_rows(data, list(columns)), lambda row: _record(row, kind, list(columns), needed)))


def _record(row: Any, kind: type[_Record], columns: Sequence[str], needed: Sequence[str]) -> _Record:
    if isinstance(row, kind):
        return row
    if not isinstance(row, Mapping):
        raise InputError("row", f"a {type(row).__name__} is no {kind.__name__}")
    cells = present_cells(row)
    for name in cells:
        if name not in columns:
            raise InputError(name, f"is none of the columns {', '.join(columns)}")
    for name in needed:
        if name not in cells:
            raise InputError(name, "is missing")
    return kind(**cells)


def present_cells(row: Mapping[Any, Any]) -> Row:
    """The cells of a row that are not empty, without array types."""
    plain = {str(name): _plain(value) for name, value in row.items()}
    return {name: value for name, value in plain.items() if not _is_missing(value)}


def _in_rows(rows: Iterable[Any], body: Callable[[Any], _Record]) -> Iterator[_Record]:
    for place, row in enumerate(rows):
        try:
            yield body(row)
        except QuindalError as error:
            raise error.in_row(place)


def for_each(rows: Iterable[_Record], body: Callable[[_Record], Any]) -> list[Any]:
    """Does something with each row; an exception has the row. The rows before it have been done."""
    return list(_in_rows(rows, body))


def account_rows(data: Any, names: Sequence[str]) -> list[Any]:
    """Rows of accounts as they come: records, or mappings without their empty cells."""
    return [present_cells(row) if isinstance(row, Mapping) else row for row in _raw_rows(data, names)]
