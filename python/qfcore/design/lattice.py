"""The search for the cheapest point of a grid on which more of anything never scores worse."""

from __future__ import annotations

import itertools
import math
from typing import TYPE_CHECKING, Any, Callable, Iterable

import numpy as np

from .runs import Cheapest

if TYPE_CHECKING:
    from .search import Study

Place = tuple[int, ...]

# Points that may remain when cheaper ones are ruled out.
_MOST_POINTS = 1_000_000


class _Enough(Exception):
    """As many runs as are allowed are done."""


class Lattice:
    """Points as places of a grid, from the least value of each name on; a place meets the bound or fails it."""

    def __init__(self, study: Study, space: dict[str, list[Any]], sign: int, bound: float, cost: Callable[[Any], float],
                 breadth: int, most_runs: int | None) -> None:
        if not space or not all(space.values()):
            raise ValueError("every name needs values to choose from")
        self._study, self._space, self._sign, self._bound, self._cost = study, space, sign, bound, cost
        self._breadth, self._most_runs = max(breadth, 1), most_runs  # a cluster may have no workers for a while
        self._top: Place = tuple(len(values) - 1 for values in space.values())
        self._low: Place = tuple(0 for _ in space)
        self._best: Place | None = None
        self._margins: dict[Place, float] = {}
        self._failed: set[Place] = set()
        self._least_open = self._cost_of(self._low)  # the least cost that is not ruled out

    # ------------------------------------------------------------------------------------------------------ runs

    def _point(self, place: Place) -> dict[str, Any]:
        return {name: values[k] for (name, values), k in zip(self._space.items(), place)}

    def _cost_of(self, place: Place) -> float:
        return self._cost(self._point(place))

    def _run(self, places: Iterable[Place]) -> None:
        new = [place for place in dict.fromkeys(places) if place not in self._margins]
        if self._most_runs is not None:
            allowed = new[: self._most_runs - len(self._margins)]
        else:
            allowed = new
        if allowed:
            self._study.run([self._point(place) for place in allowed])
        for place in allowed:
            result = self._study.result(self._point(place))
            scores = list(result["scores"].values()) if result else []
            margin = self._sign * (scores[0] - self._bound) if scores else math.nan
            if math.isnan(margin):
                self._failed.add(place)
            self._margins[place] = -math.inf if math.isnan(margin) else margin
            if margin >= 0 and (self._best is None or self._cost_of(place) < self._cost_of(self._best)):
                self._best = place
        if len(allowed) < len(new):
            raise _Enough

    def _meets(self, place: Place) -> bool:
        return self._margins[place] >= 0

    # ------------------------------------------------------------------------------------------------------ steps

    def search(self) -> None:
        try:
            self._run([self._top])
            if self._meets(self._top):
                self._find_shortest()
                self._climb()
                self._rule_out_cheaper()
        except _Enough:
            pass

    def _beside(self, place: Place, axis: int, k: int) -> Place:
        return place[:axis] + (k,) + place[axis + 1 :]

    def _find_shortest(self) -> None:
        """Bisection at every place, all of them in step."""
        failing = [-1] * len(self._top)
        meeting = list(self._top)
        while any(high - low > 1 for low, high in zip(failing, meeting)):
            middle = {axis: (low + high) // 2 for axis, (low, high) in enumerate(zip(failing, meeting)) if high - low > 1}
            self._run(self._beside(self._top, axis, k) for axis, k in middle.items())
            for axis, k in middle.items():
                side = meeting if self._meets(self._beside(self._top, axis, k)) else failing
                side[axis] = k
        self._low = tuple(meeting)
        self._least_open = self._cost_of(self._low)

    def _climb(self) -> None:
        place = self._low
        self._run([place])
        while not self._meets(place):
            nexts = [self._beside(place, axis, k + 1) for axis, k in enumerate(place) if k < self._top[axis]]
            self._run(nexts)
            place = max(nexts, key=lambda each: self._gain(place, each))

    def _gain(self, place: Place, following: Place) -> tuple[bool, float]:
        """Whether a step meets the bound, cheaper ones first; else what it gains for its cost."""
        more = self._cost_of(following) - self._cost_of(place)
        if self._meets(following):
            return True, -more
        gained = self._margins[following] - self._margins[place] if math.isfinite(self._margins[place]) else 0.0
        return False, gained / more if more > 0 else math.inf

    def _rule_out_cheaper(self) -> None:
        sizes = [top - low + 1 for low, top in zip(self._low, self._top)]
        if math.prod(sizes) > _MOST_POINTS:
            return
        costs = np.empty(sizes)
        for offset in itertools.product(*map(range, sizes)):
            costs[offset] = self._cost_of(self._at(offset))
        is_open = np.ones(sizes, dtype=bool)
        try:
            while self._close(is_open, costs):
                self._run(self._at(offset) for offset in self._dearest(costs, is_open))
        finally:
            self._close(is_open, costs)

    def _at(self, offset: Iterable[int]) -> Place:
        return tuple(int(low + k) for low, k in zip(self._low, offset))

    def _close(self, is_open: Any, costs: Any) -> bool:
        """Closes what is ruled out, and tells whether something is left. A run with an error rules out itself alone."""
        assert self._best is not None
        best = self._cost_of(self._best)
        for place, margin in self._margins.items():
            offset = [k - low for k, low in zip(place, self._low)]
            if margin < 0 and min(offset) >= 0:
                is_open[tuple(offset) if place in self._failed else tuple(slice(0, k + 1) for k in offset)] = False
        is_open &= costs < best
        self._least_open = float(costs[is_open].min(initial=best))
        return bool(is_open.any())

    def _dearest(self, costs: Any, is_open: Any) -> list[Any]:
        """As many open points as run at once, of which none lies below another."""
        rest, chosen = is_open.copy(), []
        while len(chosen) < self._breadth and rest.any():
            offset = np.unravel_index(np.argmax(np.where(rest, costs, -np.inf)), costs.shape)
            chosen.append(offset)
            rest[tuple(slice(0, k + 1) for k in offset)] = False
        return chosen

    # ------------------------------------------------------------------------------------------------------ result

    def tell(self, runs: Cheapest) -> None:
        """Puts what was found beside the runs."""
        rows = {tuple(row[name] for name in self._space): row for row in runs.rows}
        row_at = {place: rows[tuple(self._point(place).values())] for place in self._margins}
        failing = [place for place, margin in self._margins.items() if margin < 0 and place not in self._failed]
        runs.exceptions = [
            (row_at[less], row_at[more]) for less, margin in self._margins.items() if margin >= 0
            for more in failing if all(a <= b for a, b in zip(less, more))]
        if self._best is not None:
            runs.best = row_at[self._best]
            runs.gap = max(self._cost_of(self._best) - self._least_open, 0.0)
            runs.is_proved = runs.gap == 0
