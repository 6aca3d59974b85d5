"""Runs of a function on many points: here, in processes of this machine, or on a cluster.

Each way takes points by key and gives results by key as they come, exactly one a key, whatever happens to the workers.
"""

from __future__ import annotations

import collections
import math
import multiprocessing
import multiprocessing.connection
import signal
import time
from typing import Any, Callable, Iterator

from .store import Point

Result = dict[str, Any]
Task = Callable[[Point], Result]

# A run that has ended so many workers is not tried again.
DEATHS = 3


class Run:
    """Calls `simulate` and `score` for one point; what they raise is a result too."""

    def __init__(self, simulate: Callable[..., Any], score: Callable[[Any], Any] | None) -> None:
        self._simulate, self._score = simulate, score

    def __call__(self, point: Point) -> Result:
        began = time.perf_counter()
        try:
            outcome = self._simulate(**point)
            scores = outcome if self._score is None else self._score(outcome)
            if not isinstance(scores, dict):
                scores = {"score": scores}
            result = {"scores": {name: float(value) for name, value in scores.items()}, "error": None}
        except (Exception, SystemExit) as error:
            result = failure(f"{type(error).__name__}: {error}")
        return result | {"seconds": time.perf_counter() - began}


def failure(text: str) -> Result:
    return {"scores": {}, "error": text, "seconds": None}


def here(points: dict[str, Point], task: Task) -> Iterator[tuple[str, Result]]:
    for key, point in points.items():
        yield key, task(point)


class _Worker:
    """A process that runs points one after another. It ends when nobody can send it any more."""

    def __init__(self, task: Task, others: list[_Worker]) -> None:
        # A copy of this process: functions need no name that another could find them by.
        context = multiprocessing.get_context("fork")
        self.connection, remote = context.Pipe()
        ends = [self.connection, *(other.connection for other in others)]
        self.process = context.Process(target=_serve, args=(task, remote, ends), daemon=True)
        self.process.start()
        remote.close()
        self.key: str | None = None
        self.until = math.inf

    def begin(self, key: str, point: Point, timeout: float | None) -> None:
        self.key = key
        self.until = math.inf if timeout is None else time.monotonic() + timeout
        try:
            self.connection.send(point)
        except OSError:
            pass  # it has died; that its end of the connection is closed is seen where results are waited for

    def finish(self) -> tuple[str, Result | None]:
        """The point and its result; None where the process died over it."""
        key, self.key = self.key, None
        assert key is not None
        try:
            return key, self.connection.recv()
        except (EOFError, OSError):
            return key, None

    def end(self) -> int | None:
        """Ends the process and says how it ended."""
        self.process.kill()
        self.process.join()
        self.connection.close()
        return self.process.exitcode


def _serve(task: Task, remote: Any, ends: list[Any]) -> None:
    for end in ends:  # copies of what only the other process may hold
        end.close()
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    while True:
        try:
            point = remote.recv()
        except EOFError:
            return
        remote.send(task(point))


def processes(points: dict[str, Point], task: Task, count: int, timeout: float | None) -> Iterator[tuple[str, Result]]:
    """In `count` processes. One that dies is replaced, and its point tried again, `DEATHS` times in all; a run longer
    than `timeout` seconds ends with its process."""
    waiting = collections.deque(points)
    deaths: collections.Counter[str] = collections.Counter()
    workers: list[_Worker] = []

    def dismissed(worker: _Worker) -> int | None:
        workers.remove(worker)
        return worker.end()

    try:
        while waiting or any(worker.key is not None for worker in workers):
            while waiting and len(workers) < count:
                workers.append(_Worker(task, workers))
            for worker in workers:
                if worker.key is None and waiting:
                    key = waiting.popleft()
                    worker.begin(key, points[key], timeout)
            for worker in _ready(workers):
                key, result = worker.finish()
                if result is None:
                    status = dismissed(worker)
                    deaths[key] += 1
                    if deaths[key] < DEATHS:
                        waiting.append(key)
                        continue
                    result = failure(f"its worker died, {DEATHS} times; the exit status of the last one was {status}")
                yield key, result
            for worker in [each for each in workers if each.key is not None and each.until <= time.monotonic()]:
                key = worker.key  # type: ignore[assignment]
                dismissed(worker)
                yield key, failure(f"took longer than {timeout:g} s")
    finally:
        for worker in workers:
            worker.end()


def _ready(workers: list[_Worker]) -> list[_Worker]:
    """Waits until a worker has a result or has died, or one has taken too long."""
    busy = {worker.connection: worker for worker in workers if worker.key is not None}
    until = min(worker.until for worker in busy.values())
    ready = multiprocessing.connection.wait(list(busy), None if until == math.inf else max(until - time.monotonic(), 0))
    return [busy[each] for each in ready]  # type: ignore[index]
