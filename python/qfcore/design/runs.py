"""Runs as a table, and which of them no other one beats."""

from __future__ import annotations

import math
from typing import Any, Sequence

from .._table import Table, needed


class Runs(Table):
    """A row for each run: its point, its scores, its cost, its seconds, and its error where it has one.

    `is_complete` is false where the interrupt key ended the runs.
    """

    formats = {"seconds": ".3g"}

    def __init__(self, names: Sequence[str], rows: Sequence[dict[str, Any]], is_complete: bool = True,
                 larger_is_better: bool = True) -> None:
        scores = dict.fromkeys(name for row in rows for name in row["scores"]) or {"score": None}
        columns = [*names, *scores, "cost", "seconds", "error"]
        flat = [dict.fromkeys(columns) | row["point"] | row["scores"] | {k: row[k] for k in ("cost", "seconds", "error")}
                for row in rows]
        super().__init__(columns, flat, texts=0)
        self.names: list[str] = list(names)
        self.score: str = next(iter(scores))
        self.is_complete: bool = is_complete
        self._sign = 1 if larger_is_better else -1

    @property
    def failed(self) -> list[dict[str, Any]]:
        """The rows with an error."""
        return [row for row in self.rows if row["error"] is not None]

    def pareto(self, score: str | None = None) -> list[dict[str, Any]]:
        """The rows for which no run has a better score and costs no more, the cheapest one first."""
        name = score or self.score
        usable = [row for row in self.rows if row[name] is not None and not math.isnan(row[name]) and row["cost"] is not None]
        front: list[dict[str, Any]] = []
        for row in sorted(usable, key=lambda row: (row["cost"], -self._sign * row[name])):
            if not front or self._sign * row[name] > self._sign * front[-1][name]:
                front.append(row)
        return front

    def plot(self, axes: Any = None, score: str | None = None) -> Any:
        """Draws scores over costs, and the line of those that no other run beats. Returns the axes."""
        if axes is None:
            axes = needed("matplotlib.pyplot", "a picture").subplots(layout="constrained")[1]
        name = score or self.score
        usable = [row for row in self.rows if row[name] is not None and row["cost"] is not None]
        front = self.pareto(score)
        axes.plot([row["cost"] for row in usable], [row[name] for row in usable], ".", color="tab:gray", label="runs")
        axes.step([row["cost"] for row in front], [row[name] for row in front], "o-", where="post", color="tab:red",
                  label="no run is better and as cheap")
        axes.set(xlabel="cost", ylabel=name, title=f"{len(usable)} runs")
        axes.legend()
        return axes


class Cheapest(Runs):
    """The runs of a search. `best` is the row of the cheapest point that meets the bound, None where none does.

    `is_proved` tells that every cheaper point is ruled out, if more bits never make a score worse; `gap` is how much cheaper
    one that was not ruled out could be; `exceptions` are the pairs of runs, fewer bits and more, where more bits failed
    the bound and fewer met it.
    """

    best: dict[str, Any] | None = None
    is_proved: bool = False
    gap: float | None = None
    exceptions: list[tuple[dict[str, Any], dict[str, Any]]]
