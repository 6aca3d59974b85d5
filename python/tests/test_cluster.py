"""Searches on a real scheduler with workers in processes of their own, some of which die or stand still."""

import os
import signal
import threading
import time

import pytest
from filters import eventful
from qfcore import design

distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def client():
    import dask

    quick = {"distributed.scheduler.allowed-failures": 1, "distributed.deploy.lost-worker-timeout": "1h"}
    with dask.config.set(quick):
        options = dict(n_workers=3, threads_per_worker=1, dashboard_address=None, silence_logs=50)
        with distributed.LocalCluster(**options) as cluster, distributed.Client(cluster) as connected:
            yield connected


def test_every_run_is_in_the_table_once_whatever_happens_to_the_workers(client, tmp_path):
    """Of three workers one is killed half-way, one stands still from then on, and one point kills every worker it gets."""
    pids = list(client.run(os.getpid).values())
    kept = tmp_path / "runs"

    def strike():
        while len(list(tmp_path.glob("*-*"))) < 20:
            time.sleep(0.01)
        os.kill(pids[0], signal.SIGKILL)
        os.kill(pids[1], signal.SIGSTOP)

    striker = threading.Thread(target=strike)
    striker.start()
    points = [{"k": k, "folder": str(tmp_path)} for k in [*range(10, 60), 7]]
    try:
        runs = design.sweep(eventful, points, workers=client, store=kept, cost=lambda point: 0)
    finally:
        striker.join()
        os.kill(pids[1], signal.SIGCONT)
    assert [row["k"] for row in runs] == [*range(10, 60), 7]
    assert [row["error"] for row in runs if row["error"]] == ["ValueError: seven"]
    assert all(row["score"] == row["k"] for row in runs if row["k"] != 7)
    killing = [{"k": k, "folder": str(tmp_path)} for k in [8, *range(60, 66)]]
    runs = design.sweep(eventful, points + killing, workers=client, store=kept, cost=lambda point: 0)
    assert len(runs) == 58 and [row["k"] for row in runs.failed] == [7, 8]
    assert "died" in runs.failed[1]["error"]


def test_a_search_is_the_same_on_a_cluster_and_a_run_costs_little(client):
    class Restarting:
        """A client that sees no workers."""

        nthreads = staticmethod(dict)

        def __getattr__(self, name):
            return getattr(client, name)

    space = {"a": range(9), "b": range(9)}
    found = design.minimize(lambda a, b: a * b + a + b, space, at_least=40, workers=Restarting())
    assert found.is_proved and found.best["cost"] == design.minimize(lambda a, b: a * b + a + b, space, at_least=40).best["cost"]
    began = time.perf_counter()
    assert len(design.sweep(lambda k: k, {"k": range(300)}, workers=client)) == 300
    assert (time.perf_counter() - began) / 300 < 0.05  # three workers and a scheduler may share two cores
