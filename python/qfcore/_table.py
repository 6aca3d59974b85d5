"""Rows with named columns: what reports, ranges and runs are shown as."""

from __future__ import annotations

import importlib
from typing import Any, Iterable, Iterator, Mapping, Sequence


def needed(module: str, purpose: str, package: str | None = None) -> Any:
    """An optional library; an ImportError that tells what it is needed for and how to get it."""
    try:
        return importlib.import_module(module)
    except ImportError as error:
        name = module.split(".")[0]
        raise ImportError(
            f"{purpose} takes {name}: apt-get install {package or 'python3-' + name}, or pip install {name}", name=name
        ) from error


class Table:
    """Rows, each a dictionary with the same columns. The first `texts` columns stand left, and are texts; `formats` has
    how columns of numbers are shown."""

    formats: Mapping[str, str] = {}

    def __init__(self, columns: Sequence[str], rows: Iterable[dict[str, Any]], texts: int = 1) -> None:
        self.columns: list[str] = list(columns)
        self.rows: list[dict[str, Any]] = list(rows)
        self._texts = texts

    def __len__(self) -> int:
        return len(self.rows)

    def __iter__(self) -> Iterator[dict[str, Any]]:
        return iter(self.rows)

    def __str__(self) -> str:
        cells = [self.columns] + [self._cells(row) for row in self.rows]
        widths = [max(len(row[k]) for row in cells) for k in range(len(self.columns))]
        return "\n".join(
            "  ".join(
                text.ljust(w) if k < self._texts else text.rjust(w) for k, (text, w) in enumerate(zip(row, widths))
            ).rstrip()
            for row in cells
        )

    def _cells(self, row: dict[str, Any]) -> list[str]:
        return [_cell(row[column], self.formats.get(column, ".6g")) for column in self.columns]

    def __repr__(self) -> str:
        return str(self)

    def _repr_html_(self) -> str:
        import html

        def line(tag: str, texts: Iterable[str]) -> str:
            return "<tr>" + "".join(f"<{tag}>{html.escape(text)}</{tag}>" for text in texts) + "</tr>"

        body = (line("td", self._cells(row)) for row in self.rows)
        return "<table>" + line("th", self.columns) + "".join(body) + "</table>"

    def to_pandas(self) -> Any:
        """The rows as a pandas frame."""
        pandas = needed("pandas", "a frame")
        return pandas.DataFrame(self.rows, columns=self.columns)


def _cell(value: Any, form: str) -> str:
    if value is None:
        return ""
    return format(value, form) if isinstance(value, float) else str(value)
