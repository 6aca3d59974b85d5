"""Bit-true fixed-point arrays, at home beside NumPy.

`fi` is an array of fixed-point values, `numerictype` its type, `fimath` the rules of its arithmetic, `quantizer` a
function that rounds. Everything but NumPy's conventions comes from the tables of the system's classes: `help(fi.plus)`.
"""

from __future__ import annotations

import typing as _typing

from . import _qfcore
from ._qfcore import (  # noqa: F401
    DivideByZeroWarning,
    Error,
    FixedPointWarning,
    OverflowWarning,
    UnderflowWarning,
    feature,
)
from ._names import enumerations as _enumerations
from ._objects import classes as _classes
from ._array import fi  # noqa: F401
from ._logging import Report, logging  # noqa: F401

__version__: str = _qfcore.version

globals().update(_enumerations)
globals().update({name: each for name, each in _classes.items() if name != "fi"})


def __getattr__(name: str) -> _typing.Any:
    # What not every program needs, and what would load libraries that take longer than everything else together.
    if name in ("blocks", "design", "hardware", "plot"):
        import importlib

        return importlib.import_module(f"qfcore.{name}")
    import difflib

    near = difflib.get_close_matches(name, list(globals()), 1)
    raise AttributeError(f"module 'qfcore' has no attribute '{name}'" + (f"; did you mean '{near[0]}'?" if near else ""))
