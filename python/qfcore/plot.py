"""Pictures of what a type does to values: each function draws into `axes`, or into a new figure, and returns them."""

from __future__ import annotations

from typing import Any

import numpy as np

from . import _qfcore
from ._objects import classes
from ._table import needed


def _axes(axes: Any) -> Any:
    if axes is not None:
        return axes
    return needed("matplotlib.pyplot", "a picture").subplots(layout="constrained")[1]


def _limits(a: Any) -> tuple[float, float, float]:
    """Smallest and largest value of the type, and its step."""
    low, high = (float(value) for value in np.asarray(a.range()))
    return low, high, float(np.asarray(a.eps()))


def range_histogram(a: Any, values: Any = None, axes: Any = None, bins: int = 60) -> Any:
    """How the magnitudes of `a` lie between the step and the limit of its type, in powers of two.

    `values`, the numbers that `a` was made of, show what was lost: beyond the limit in red, below half a step in orange.
    Without them only what the record of `a` counted can be told.
    """
    axes = _axes(axes)
    source = np.abs(np.asarray(a if values is None else values, dtype=float)).ravel()
    low, high, step = _limits(a)
    largest = max(abs(low), high)
    magnitudes = np.log2(source[source > 0])
    first = min(np.floor(np.log2(step)) - 2, magnitudes.min(initial=0))
    last = max(np.ceil(np.log2(largest)) + 1, magnitudes.max(initial=0))
    edges = np.linspace(first, last, bins + 1)
    limit, smallest = np.log2(largest), np.log2(step) - 1
    groups = {
        "kept": ((magnitudes > smallest) & (magnitudes <= limit), "tab:blue"),
        "overflow": (magnitudes > limit, "tab:red"),
        "underflow": (magnitudes <= smallest, "tab:orange"),
    }
    for label, (mask, colour) in groups.items():
        axes.hist(magnitudes[mask], bins=edges, color=colour, label=f"{label}: {np.count_nonzero(mask)}")
    axes.axvline(np.log2(step), color="black", linestyle=":", label=f"step {step:.3g}")
    axes.axvline(limit, color="black", linestyle="--", label=f"largest {largest:.6g}")
    counted = _qfcore.record(a)
    if counted[1] or counted[2]:
        axes.plot([], [], " ", label=f"counted: {counted[1]} overflows, {counted[2]} underflows")
    axes.set(xlabel="log2 of the magnitude", ylabel="values", title=f"Range of {a.numerictype.qpointstr()}")
    axes.legend()
    return axes


def error(x: Any, a: Any, axes: Any = None) -> Any:
    """What separates `a` from the numbers `x` that it stands for, in steps of its type."""
    axes = _axes(axes)
    step = _limits(a)[2]
    difference = (np.asarray(a, dtype=float) - np.asarray(x, dtype=float)).ravel() / step
    axes.plot(difference, linewidth=0.7)
    for bound in (-0.5, 0.5):
        axes.axhline(bound, color="grey", linestyle=":")
    rms = float(np.sqrt(np.mean(difference**2))) if difference.size else 0.0
    axes.set(xlabel="element", ylabel="error in steps", title=f"Error of {a.numerictype.qpointstr()}: rms {rms:.3g} steps")
    return axes


def rounding(mode: str, axes: Any = None) -> Any:
    """The staircase of a rounding mode between -3 and 3, with the ties marked."""
    axes = _axes(axes)
    x = np.linspace(-3, 3, 1201)
    ties = np.arange(-2.5, 3)
    fi = classes["fi"]
    stairs, marks = (np.asarray(fi(v, True, 8, 0, round_mode=mode)) for v in (x, ties))
    axes.plot(x, x, color="grey", linestyle=":", label="value")
    axes.step(x, stairs, where="mid", label=str(mode))
    axes.plot(ties, marks, "o", color="tab:red", label="ties")
    axes.set(xlabel="value", ylabel="rounded", title=f"Rounding mode {mode!s}", aspect="equal")
    axes.legend()
    return axes
