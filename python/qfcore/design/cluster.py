"""Runs as tasks of dask.distributed.

The scheduler starts tasks of a dead worker again by itself. Two things are left to do here. A task on a worker that stands
still is started a second time elsewhere, as in "MapReduce: Simplified Data Processing on Large Clusters" (Dean and
Ghemawat, 2004), and the first result counts. And a task that was on several dying workers need not be what killed them:
it is tried again alone before it is called a failure.
"""

from __future__ import annotations

import collections
import queue
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
        self._points, self._task, self._client = points, task, client
        self.futures: dict[str, list[Any]] = {}
        self._since: dict[str, tuple[set[str], float]] = {}
        self._results: queue.SimpleQueue[tuple[str, Any, Result | None]] = queue.SimpleQueue()
        self._name = uuid.uuid4().hex[:12]
        self._count = 0

    def start(self, key: str, workers: list[str] | None = None) -> None:
        self._count += 1
        future = self._client.submit(self._task, self._points[key], key=f"qfcore-{self._name}-{self._count}", pure=False,
                                     workers=workers)
        self.futures.setdefault(key, []).append(future)
        self._since[key] = set(), time.monotonic()
        self._client.loop.add_callback(self._fetch, key, future)

    async def _fetch(self, key: str, future: Any) -> None:
        """Waits on the client's own loop, so that nothing else waits for a result on a worker that stands still."""
        import distributed

        result: Result | None
        try:
            result = await self._client.gather(future, asynchronous=True)
        except (distributed.KilledWorker, distributed.CancelledError):
            result = None
        except Exception as error:
            result = failure(f"{type(error).__name__}: {error}")
        self._results.put((key, future, result))

    def finished(self) -> Iterator[tuple[str, Result | None]]:
        """Points and results, None for those that went down with their workers; waits for the first, half a second at
        most. Raises ConnectionError when the scheduler is gone."""
        timeout = 0.5
        while True:
            try:
                key, future, result = self._results.get(timeout=timeout)
            except queue.Empty:
                break
            timeout = 0.0
            if future in self.futures.get(key, ()):
                self.forget(key)
                yield key, result
        if self._client.status != "running":
            raise ConnectionError("the scheduler is gone; a second start with the same store goes on from what is done")

    def forget(self, key: str) -> None:
        for future in self.futures.pop(key):
            if not future.done():
                future.cancel()
        del self._since[key]

    def start_copies(self, slowest: float) -> None:
        """Starts runs again that have been on one living worker for too long. Those that it has died over move on by
        themselves: what ends workers is not multiplied."""
        now, limit = time.monotonic(), max(_LEAST, _LATE * slowest)
        late = [key for key, (_, since) in self._since.items() if now - since > limit and len(self.futures[key]) < _COPIES]
        if not late:
            return
        processing = self._client.processing()
        holders = {task: {worker} for worker, tasks in processing.items() for task in tasks}
        done = [future for key in late for future in self.futures[key] if future.done()]
        holders |= {task: set(workers) for task, workers in self._client.who_has(done).items()} if done else {}
        for key in late:
            latest = holders.get(self.futures[key][-1].key, set())
            free = set(processing).difference(*(holders.get(future.key, set()) for future in self.futures[key]))
            if not latest or latest != self._since[key][0]:
                self._since[key] = latest, now
            elif free:
                self.start(key, sorted(free))


def cluster(points: dict[str, Point], task: Task, client: Any) -> Iterator[tuple[str, Result]]:
    """As tasks of a `dask.distributed` client; one thread a worker is what functions with logging need."""
    waiting, suspects = collections.deque(points), collections.deque[str]()
    tasks = _Tasks(points, task, client)
    alone: str | None = None
    slowest = 0.0
    try:
        while waiting or suspects or tasks.futures:
            room = _HELD * max(1, sum(client.nthreads().values()))
            while waiting and len(tasks.futures) < room:
                tasks.start(waiting.popleft())
            if not tasks.futures:
                alone = suspects.popleft()
                tasks.start(alone)
            for key, result in tasks.finished():
                if result is None and key == alone:
                    result = failure("its workers died, each time that it ran")
                if result is None:
                    suspects.append(key)
                else:
                    slowest = max(slowest, result["seconds"] or 0.0)
                    yield key, result
            if slowest > 0:
                tasks.start_copies(slowest)
    finally:
        for key in list(tasks.futures):
            tasks.forget(key)
