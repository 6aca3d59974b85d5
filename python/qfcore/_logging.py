"""Logging for a stretch of program, and its report."""

from __future__ import annotations

from typing import Any

from . import _qfcore

_COLUMNS = ("name", "operation", "type", "values", "overflows", "underflows", "smallest", "largest")


class Report:
    """What was met, one row an array and one a kind of operation."""

    def __init__(self, rows: list[tuple[Any, ...]]) -> None:
        self.rows = [dict(zip(_COLUMNS, row)) for row in rows]

    def __len__(self) -> int:
        return len(self.rows)

    def __getitem__(self, name: str) -> dict[str, Any]:
        """The first row of that name."""
        return next(row for row in self.rows if row["name"] == name)

    def __str__(self) -> str:
        cells = [list(_COLUMNS)] + [[_cell(row[column]) for column in _COLUMNS] for row in self.rows]
        widths = [max(len(row[k]) for row in cells) for k in range(len(_COLUMNS))]
        left = 3
        return "\n".join(
            "  ".join(text.ljust(w) if k < left else text.rjust(w) for k, (text, w) in enumerate(zip(row, widths))).rstrip()
            for row in cells
        )

    __repr__ = __str__

    def _repr_html_(self) -> str:
        import html

        def line(tag: str, values: Any) -> str:
            return "<tr>" + "".join(f"<{tag}>{html.escape(_cell(value))}</{tag}>" for value in values) + "</tr>"

        return "<table>" + line("th", _COLUMNS) + "".join(line("td", row.values()) for row in self.rows) + "</table>"

    def to_pandas(self) -> Any:
        """The rows as a pandas frame."""
        import pandas

        return pandas.DataFrame(self.rows, columns=list(_COLUMNS))


def _cell(value: Any) -> str:
    if value is None:
        return ""
    return f"{value:.6g}" if isinstance(value, float) else str(value)


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
