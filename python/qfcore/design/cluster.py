"""Runs as tasks of dask.distributed.

The scheduler starts tasks of a dead worker again by itself. Two things are left to do here. A task on a worker that stands
still is started a second time elsewhere, as in "MapReduce: Simplified Data Processing on Large Clusters" (Dean and
Ghemawat, 2004), and the first result counts. And a task that was on several dying workers need not be what killed them:
it is tried again alone before it is called a failure.
"""

from __future__ import annotations

import collections
import time
import uuid
from typing import Any, Iterator

from .store import Point
from .workers import Result, Task, failure

# Tasks handed out for each thread of the cluster: one that runs and those that wait for it beside it.
_HELD = 3
# A run is late when it takes so much longer than the slowest one so far, and longer than so many seconds.
_LATE, _LEAST = 5, 2.0
_COPIES = 3


class _Tasks:
    """Futures of one call, by the key of their point."""

    def __init__(self, points: dict[str, Point], task: Task, client: Any) -> None:
        self.points, self.task, self.client = points, task, client
        self.futures: dict[str, list[Any]] = {}
        self.began: dict[str, float] = {}
        self._name = uuid.uuid4().hex[:12]
        self._count = 0

    def start(self, key: str, workers: list[str] | None = None) -> None:
        self._count += 1
        future = self.client.submit(self.task, self.points[key], key=f"qfcore-{self._name}-{self._count}", pure=False,
                                    workers=workers)
        self.futures.setdefault(key, []).append(future)
        self.began[key] = time.monotonic()

    def forget(self, key: str) -> None:
        for future in self.futures.pop(key):
            if not future.done():
                future.cancel()
        del self.began[key]

    def start_copies(self, slowest: float) -> None:
        """Starts late runs again on workers that do not have them."""
        now, limit = time.monotonic(), max(_LEAST, _LATE * slowest)
        late = [key for key, began in self.began.items() if now - began > limit and len(self.futures[key]) < _COPIES]
        if not late:
            return
        holders = {task: worker for worker, tasks in self.client.processing().items() for task in tasks}
        everyone = set(self.client.scheduler_info()["workers"])
        for key in late:
            free = everyone - {holders.get(future.key) for future in self.futures[key]}
            if free:
                self.start(key, sorted(free))

    def outcome(self, future: Any) -> Result | None:
        """What a run gave; None where it went down with its workers."""
        import distributed

        if future.status == "finished":
            try:
                return future.result()  # type: ignore[no-any-return]
            except Exception:  # the worker that held the result has died
                return None
        if future.status == "error":
            error = future.exception()
            return None if isinstance(error, distributed.KilledWorker) else failure(f"{type(error).__name__}: {error}")
        if self.client.status != "running":
            raise ConnectionError("the scheduler is gone; a second start with the same store goes on from what is done")
        return None


def cluster(points: dict[str, Point], task: Task, client: Any) -> Iterator[tuple[str, Result]]:
    """As tasks of a `dask.distributed` client; one thread a worker is what functions with logging need."""
    waiting, alone = collections.deque(points), collections.deque[str]()
    tasks = _Tasks(points, task, client)
    slowest = 0.0
    try:
        while waiting or alone or tasks.futures:
            room = _HELD * max(1, sum(client.nthreads().values()))
            while waiting and len(tasks.futures) < room:
                tasks.start(waiting.popleft())
            is_alone = not tasks.futures
            if is_alone:
                tasks.start(alone.popleft())
            for key, future in _finished(tasks):
                result = tasks.outcome(future)
                if result is None and is_alone:
                    result = failure("its workers died, each time that it ran")
                tasks.forget(key)
                if result is None:
                    alone.append(key)
                else:
                    slowest = max(slowest, result["seconds"] or 0.0)
                    yield key, result
            if slowest > 0:
                tasks.start_copies(slowest)
    finally:
        for key in list(tasks.futures):
            tasks.forget(key)


def _finished(tasks: _Tasks) -> list[tuple[str, Any]]:
    """One finished future for each point that has one; waits for the first, half a second at most."""
    import distributed

    try:
        distributed.wait([each for futures in tasks.futures.values() for each in futures], timeout=0.5,
                         return_when="FIRST_COMPLETED")
    except (TimeoutError, distributed.TimeoutError):
        return []
    except distributed.CancelledError:
        pass
    found = ((key, [each for each in futures if each.done()]) for key, futures in tasks.futures.items())
    return [(key, done[0]) for key, done in found if done]
