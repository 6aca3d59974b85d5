"""Logging for a stretch of program, and its report."""

from __future__ import annotations

from typing import Any

from . import _qfcore
from ._table import Table

_COLUMNS = ("name", "operation", "type", "values", "overflows", "underflows", "smallest", "largest")


class Report(Table):
    """What was met, one row an array and one a kind of operation."""

    def __init__(self, rows: list[tuple[Any, ...]]) -> None:
        super().__init__(_COLUMNS, (dict(zip(_COLUMNS, row)) for row in rows), texts=3)

    def __getitem__(self, name: str) -> dict[str, Any]:
        """The first row of that name."""
        return next(row for row in self.rows if row["name"] == name)


class logging:
    """`with qfcore.logging() as log:` counts overflows and underflows and keeps extremes of all that is computed.

    `log.watch(x=a, y=b)` names arrays; `log.report()` has a row for each and one for all assignments, sums and products.
    """

    def __init__(self, **watched: Any) -> None:
        self._watched: dict[str, Any] = dict(watched)
        self._totals: list[tuple[Any, ...]] | None = None
        self._before = "Off"

    def watch(self, **arrays: Any) -> None:
        """Adds arrays to the report."""
        self._watched.update(arrays)

    def __enter__(self) -> logging:
        self._before = _qfcore.call("fipref")["LoggingMode"]
        _qfcore.reset_totals()
        _qfcore.call("fipref", "LoggingMode", "On")
        return self

    def __exit__(self, *_: Any) -> None:
        self._totals = _qfcore.totals()
        _qfcore.call("fipref", "LoggingMode", self._before)

    def report(self) -> Report:
        """What was met until now, or until the end."""
        rows: list[tuple[Any, ...]] = []
        for name, a in self._watched.items():
            counts = _qfcore.record(a)
            rows.append((name, "array", a.numerictype.qpointstr(), *counts))
        totals = _qfcore.totals() if self._totals is None else self._totals
        rows += [("all", operation, "", None, over, under, None, None) for operation, over, under in totals]
        return Report(rows)
