"""Rows of the files that the command line reads."""

from __future__ import annotations

import csv
import os


def csv_rows(file: str | os.PathLike[str]) -> list[dict[str, str]]:
    """Rows of a CSV file by the names of its first row; lines that begin with # and empty ones are passed over.

    The rows go to ``register``, ``set_positions``, ``place_orders`` and ``what_if`` as they are. Commas part the cells.
    """
    with open(file, encoding="utf-8-sig", newline="") as stream:
        lines = [text for text in stream if text.strip() and not text.startswith("#")]
    return list(csv.DictReader(lines, strict=True))
