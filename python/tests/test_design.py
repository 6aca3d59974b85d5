"""Choosing word lengths: what is met at tags, searches beside an exhaustive grid, and runs that go wrong."""

import itertools
import os
import pathlib
import signal
import subprocess
import sys
import time

import numpy as np
import pytest
import qfcore as qf
from filters import ecg, eventful, exact, simulate, snr, tagged
from hypothesis import given, settings, strategies as st
from qfcore import design

values = st.lists(st.floats(-20, 20, width=32), min_size=1, max_size=30)


@settings(max_examples=60)
@given(values, values, st.integers(2, 14), st.integers(-2, 10))
def test_ranges_are_those_of_the_values_whatever_the_types(first, later, word, fraction):
    def program(x, more):
        state = qf.fi(x, True, word, fraction, tag="state")
        for v in more:
            state[0] = v
        half = state * 2  # has the tag too, but another type
        half[0] = 100
        other = qf.fi(x, "s30,5") + 0
        other.tag = "other"
        return state

    ranges = design.observe(program, first, later)
    row, met = ranges["state"], np.array(first + later)
    assert (row["values"], row["least"], row["greatest"]) == (met.size, met.min(), met.max())
    assert sum(row["leading_bits"].values()) == np.count_nonzero(met)
    for k, count in row["leading_bits"].items():
        assert count == np.count_nonzero((np.abs(met) >= 2.0**k) & (np.abs(met) < 2.0 ** (k + 1)))
    step, low, high = 2.0**-fraction, -(2 ** (word - 1)), 2 ** (word - 1) - 1
    whole = np.floor(met / step + 0.5)
    assert row["overflows"] == np.count_nonzero((whole < low) | (whole > high))
    assert row["underflows"] == np.count_nonzero((whole == 0) & (met != 0))
    noise = np.sum((np.clip(whole, low, high) * step - met) ** 2)
    assert row["snr"] == (np.inf if noise == 0 else -np.inf if not met.any() else pytest.approx(10 * np.log10(np.sum(met**2) / noise)))
    assert {"state", "other"} == {row["tag"] for row in ranges}
    proposed = ranges.propose(word_length=12)
    if met.any():
        checked = ranges.verify(proposed)
        assert checked["state"]["overflows"] == 0 and checked["state"]["type"] == proposed["state"]
        finer = qf.numerictype(proposed["state"]).fraction_length + 1
        assert ranges.verify({"state": f"s12,{finer}"}).problems
    assert not {"__init__", "__setitem__", "data", "tag"} & set(vars(qf.fi))


def test_proposals_are_applied_by_tag_and_reach_what_was_asked(tmp_path):
    ranges = design.observe(tagged, ecg)
    assert ranges["samples"]["overflows"] > 0 and ranges["samples"]["greatest"] == ecg.max()
    for target, margin in ((45, 0.0), (70, 0.6)):
        reached = ranges.reach(target, margin)
        assert not reached.problems and all(row["overflows"] == 0 and row["snr"] >= target for row in reached)
        assert all(row["used"] <= 1 / (1 + margin) + 2.0**-8 for row in reached)
        with design.applied(reached.types):
            y = tagged(ecg, samples="s40,3")
        assert y.numerictype.qpointstr() == reached.types["filtered"] and snr(np.asarray(y)) >= target
    assert "filtered" in str(ranges) and ranges.to_pandas().set_index("tag").loc["samples", "values"] == ecg.size
    assert ranges.verify({"no such tag": "s8,4"}).problems
    pytest.importorskip("matplotlib").use("Agg")
    assert len(ranges.plot().axes) == 3
    with pytest.raises(ValueError, match="tag"):
        design.observe(np.sum, ecg)
    with pytest.raises(ValueError, match="hidden|dB"):
        design.observe(lambda x: qf.fi(qf.fi(x, "s6,2") + 0, "s16,12", tag="hidden"), ecg).reach(60)


@st.composite
def landscapes(draw):
    """A score that more bits never make worse, and a cost."""
    sizes = draw(st.lists(st.integers(1, 6), min_size=1, max_size=3))
    gains = draw(st.lists(st.integers(0, 9), min_size=int(np.prod(sizes)), max_size=int(np.prod(sizes))))
    score = np.array(gains).reshape(sizes)
    for axis in range(len(sizes)):
        score = np.cumsum(score, axis)
    weights = draw(st.lists(st.integers(1, 5), min_size=len(sizes), max_size=len(sizes)))
    return score, weights, draw(st.integers(0, int(score.max()) + 1)), draw(st.integers(1, 20)), draw(st.booleans())


@settings(max_examples=200)
@given(landscapes())
def test_the_cheapest_point_is_that_of_the_grid(landscape):
    score, weights, bound, most_runs, downwards = landscape
    names = "abc"[: score.ndim]
    sign = -1 if downwards else 1

    def cost(point):
        return sum(w * point[name] for w, name in zip(weights, names))

    space = {name: range(size) for name, size in zip(names, score.shape)}
    limit = {"at_most" if downwards else "at_least": sign * bound}
    found = design.minimize(lambda **point: sign * score[tuple(point.values())], space, cost=cost, **limit)
    meeting = [cost(dict(zip(names, place))) for place in np.ndindex(score.shape) if score[place] >= bound]
    assert (found.best["cost"], found.is_proved, found.gap) == (min(meeting), True, 0) if meeting else found.best is None
    assert not found.exceptions and len(found) <= score.size
    early = design.minimize(lambda **point: sign * score[tuple(point.values())], space, cost=cost, most_runs=most_runs, **limit)
    assert len(early) <= most_runs and (early.best is None or early.best["cost"] - early.gap <= min(meeting))


def test_the_electrocardiogram_s_filter_is_searched_in_a_tenth_of_the_grid_s_runs(tmp_path):
    space = {"samples": range(7, 15), "coefficients": range(6, 14), "accumulator": range(11, 21)}
    grid = design.sweep(simulate, space, snr, workers=2)
    found = design.minimize(simulate, space, snr, at_least=50, store=tmp_path / "runs")
    assert found.best["cost"] == min(row["cost"] for row in grid if row["score"] >= 50)
    assert found.is_proved and len(found) < len(grid) / 10
    front = grid.pareto()
    assert all(not (row["score"] > one["score"] and row["cost"] <= one["cost"]) for one in front for row in grid)
    assert len(grid.to_pandas()) == len(grid) == 640
    began = time.perf_counter()
    again = design.minimize(simulate, space, snr, at_least=50, store=tmp_path / "runs")
    assert again.best == found.best and time.perf_counter() - began < 0.5
    with pytest.raises(ValueError, match="other functions"):
        design.sweep(simulate, space, np.mean, store=tmp_path / "runs")
    pytest.importorskip("matplotlib").use("Agg")
    assert grid.plot().get_title() == "640 runs"


def test_runs_that_go_wrong_are_rows(tmp_path):
    pytest.importorskip("tqdm")
    call = {"space": {"k": range(12), "folder": [str(tmp_path)]}, "cost": lambda point: point["k"]}
    runs = design.sweep(eventful, workers=3, store=tmp_path / "runs", timeout=1.5, progress=True, **call)
    assert [row["k"] for row in runs] == list(range(12)) and {row["k"] for row in runs.failed} == {7, 8, 9}
    assert "seven" in runs.rows[7]["error"] and "died" in runs.rows[8]["error"] and "longer" in runs.rows[9]["error"]
    assert len({row["pid"] for row in runs if row["pid"]}) > 1
    began = len(list(tmp_path.glob("*-*")))
    assert began == 12 + 2  # what kills its worker is tried three times
    assert design.sweep(eventful, store=tmp_path / "runs", **call).rows == runs.rows
    assert len(list(tmp_path.glob("*-*"))) == began
    (tmp_path / "more").mkdir()
    retried = design.sweep(eventful, [{"k": 7, "folder": str(tmp_path)}], store=tmp_path / "runs", retry=True)
    assert "seven" in retried.rows[0]["error"] and len(list(tmp_path.glob("*-*"))) == began + 1
    with pytest.raises(TypeError, match="numbers or texts"):
        design.sweep(eventful, [{"k": object()}])
    with pytest.raises(ValueError, match="from 1 on"):
        design.sweep(eventful, [], workers=0)
    with pytest.raises(ValueError, match="timeout"):
        design.sweep(eventful, [], timeout=1)


INTERRUPTED = """
import pathlib, sys
sys.path.insert(0, sys.argv[1])
from filters import eventful
from qfcore import design
space = {"k": [k for k in range(10, 100)], "folder": [sys.argv[2]]}
runs = design.sweep(eventful, space, workers=eval(sys.argv[3]), store=sys.argv[2] + "/runs", cost=lambda p: 0)
print(len(runs), runs.is_complete)
"""


@pytest.mark.parametrize("workers", ["None", "2"])
def test_the_interrupt_key_keeps_what_is_done(tmp_path, workers):
    command = [sys.executable, "-c", INTERRUPTED, str(pathlib.Path(__file__).parent), str(tmp_path), workers]
    first = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    while len(list(tmp_path.glob("*-*"))) < 10:
        time.sleep(0.01)
    first.send_signal(signal.SIGINT)
    said, _ = first.communicate(timeout=20)
    done, is_complete = said.split()
    assert 5 <= int(done) < 90 and is_complete == "False"
    second = subprocess.run(command, capture_output=True, text=True, check=True, timeout=60)
    assert second.stdout.split() == ["90", "True"]
    assert len(list(tmp_path.glob("*-*"))) <= 90 + 2  # only what ran at the interruption ran twice


def _waiting(k):
    time.sleep(0.6)
    return k


def test_two_workers_are_nearly_twice_as_fast_and_runs_cost_little():
    def seconds(simulate, count, workers):
        began = time.perf_counter()
        assert len(design.sweep(simulate, {"k": range(count)}, workers=workers)) == count
        return time.perf_counter() - began

    assert seconds(_waiting, 6, 1) / seconds(_waiting, 6, 2) > 1.8
    assert all(seconds(abs_of, 300, workers) / 300 < 0.01 for workers in (None, 2))


def abs_of(k):
    return abs(k)
