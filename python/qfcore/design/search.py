"""Searches for word lengths: every point of a grid, or the cheapest one that meets a bound."""

from __future__ import annotations

import itertools
import sys
import warnings
from typing import Any, Callable, Iterable, Mapping, Sequence

from .._table import needed
from .lattice import Lattice
from .runs import Cheapest, Runs
from .store import Point, Store, fingerprint, key_of
from .workers import Result, Run, here, processes

Space = Mapping[str, Iterable[Any]]
Cost = Callable[[dict[str, Any]], float]


def bits(point: Mapping[str, Any]) -> float:
    """The sum of the word lengths of a point: the cost where none is given."""
    return sum(value for value in point.values() if isinstance(value, (int, float)))


class Study:
    """One call of a search: where runs are made, kept and shown."""

    def __init__(self, simulate: Callable[..., Any], score: Callable[[Any], Any] | None, cost: Cost, workers: Any,
                 store: Any, progress: bool | None, retry: bool, timeout: float | None) -> None:
        if timeout is not None and (workers is None or not isinstance(workers, int)):
            raise ValueError("timeout takes local worker processes: workers=2, say; on a cluster a late run is started again "
                             "elsewhere, and in this process nothing could end one")
        if isinstance(workers, int) and workers < 1:
            raise ValueError("workers is a count of processes, from 1 on")
        self._task = Run(simulate, score)
        self._cost, self._workers, self._timeout, self._progress = cost, workers, timeout, progress
        self._store = Store(store, f"{fingerprint(simulate)}, {fingerprint(score)}")
        self._results = {key: result for key, result in self._store.results().items() if not (retry and result["error"])}
        self.points: dict[str, dict[str, Any]] = {}
        self._bar: Any = None

    def __enter__(self) -> Study:
        return self

    def __exit__(self, *_: Any) -> None:
        self._store.close()
        if self._bar is not None:
            self._bar.close()

    def run(self, points: Iterable[Point], total: int | None = None) -> None:
        """Runs the points that have no result yet; each result is kept as it comes."""
        asked = {key_of(point): dict(point) for point in points}
        new = {key: point for key, point in asked.items() if key not in self.points}
        self.points |= new
        missing = {key: point for key, point in new.items() if key not in self._results}
        bar = self._shown(total, len(new) - len(missing))
        for key, result in self._made(missing) if missing else ():
            self._store.add(key, result)
            self._results[key] = result
            if bar is not None:
                bar.update()

    def _made(self, missing: dict[str, Point]) -> Iterable[tuple[str, Result]]:
        if self._workers is None:
            return here(missing, self._task)
        if isinstance(self._workers, int):
            return processes(missing, self._task, self._workers, self._timeout)
        needed("distributed", "a search on a cluster")
        from .cluster import cluster

        return cluster(missing, self._task, self._workers)

    def _shown(self, total: int | None, known: int) -> Any:
        if self._progress is False or self._progress is None and not sys.stderr.isatty():
            return None
        if self._bar is None:
            try:
                tqdm = needed("tqdm", "a progress bar")
            except ImportError:
                if self._progress:
                    raise
                self._progress = False
                return None
            self._bar = tqdm.tqdm(total=total, unit="run", dynamic_ncols=True)
        self._bar.update(known)
        return self._bar

    def result(self, point: Point) -> Result | None:
        return self._results.get(key_of(point))

    def rows(self) -> list[dict[str, Any]]:
        """The runs that are done, in the order in which they were asked for."""
        return [{"point": point, "cost": self._cost(point)} | self._results[key]
                for key, point in self.points.items() if key in self._results]


def sweep(simulate: Callable[..., Any], space: Space | Sequence[Mapping[str, Any]],
          score: Callable[[Any], Any] | None = None, *, cost: Cost = bits, workers: Any = None, store: Any = None,
          progress: bool | None = None, retry: bool = False, timeout: float | None = None) -> Runs:
    """Runs every point of a grid and returns the runs as a table.

    simulate  is called with a point's values as keywords.
    space     the values by name, `{"samples": range(8, 17), ...}`, or a list of points.
    score     makes a number, or a dictionary of numbers, of what `simulate` returned; without it that is the score.
    cost      a number for a point, the sum of its values if it is not given.
    workers   None: this process; a count of processes on this machine; or a client of dask.distributed.
    store     a file that keeps each run as it is done, and from which a second start goes on. A store of other functions
              raises ValueError.
    progress  a progress bar; if it is not said, on a terminal with tqdm installed.
    retry     runs points again whose row in the store is an error.
    timeout   seconds after which a run in a process of its own is ended.

    A run that fails is a row with its error; a worker that dies is replaced and its run tried again. The interrupt key ends
    the runs; the table then has those that are done, and `is_complete` is false.
    """
    points, names = _points(space)
    with Study(simulate, score, cost, workers, store, progress, retry, timeout) as study:
        is_complete = _until_interrupted(lambda: study.run(points, len(points)))
        return Runs(names, study.rows(), is_complete)


def minimize(simulate: Callable[..., Any], space: Space, score: Callable[[Any], Any] | None = None, *,
             at_least: float | None = None, at_most: float | None = None, cost: Cost = bits, workers: Any = None,
             store: Any = None, progress: bool | None = None, retry: bool = False, timeout: float | None = None,
             most_runs: int | None = None) -> Cheapest:
    """Finds the cheapest point of a grid whose score is `at_least`, or `at_most`, a bound.

    Three steps. The shortest word at each place, all others at their longest, is found by bisection (W. Sung and K.-I. Kum,
    "Simulation-based word-length optimization method for fixed-point digital signal processing systems", IEEE
    Transactions on Signal Processing 43 (12), 1995). From these words the search climbs, each step one place to the next
    word, the one that gains most for what it costs, until the bound is met (the "min + 1 bit" procedure in M.-A. Cantin,
    Y. Savaria and P. Lavoie, "A comparison of automatic word length optimization procedures", IEEE International
    Symposium on Circuits and Systems, 2002). Then cheaper points above the shortest words are run, dearest first, until
    none is left: one that fails rules out all below it.

    The last step proves the result if more bits never make a score worse, which `exceptions` of the result puts to the
    test. It is left out where more than a million points would remain; `most_runs` ends the search early; `gap` says
    how far off the result can then be. The first score counts where there are several. Other arguments are those of `sweep`.
    """
    if (at_least is None) == (at_most is None):
        raise ValueError("minimize takes either at_least or at_most")
    sign, bound = (1, at_least) if at_least is not None else (-1, at_most)
    assert bound is not None
    with Study(simulate, score, cost, workers, store, progress, retry, timeout) as study:
        breadth = workers if isinstance(workers, int) else sum(workers.nthreads().values()) if workers is not None else 1
        lattice = Lattice(study, {name: sorted(values) for name, values in space.items()}, sign, bound, cost, breadth, most_runs)
        is_complete = _until_interrupted(lattice.search)
        runs = Cheapest(list(space), study.rows(), is_complete, sign > 0)
        lattice.tell(runs)
        return runs


def _until_interrupted(work: Callable[[], None]) -> bool:
    try:
        work()
    except KeyboardInterrupt:
        warnings.warn("interrupted: the table has the runs that are done", RuntimeWarning, stacklevel=3)
        return False
    return True


def _points(space: Space | Sequence[Mapping[str, Any]]) -> tuple[list[dict[str, Any]], list[str]]:
    if isinstance(space, Mapping):
        names = list(space)
        return [dict(zip(names, values)) for values in itertools.product(*space.values())], names
    return [dict(point) for point in space], list(dict.fromkeys(name for point in space for name in point))
