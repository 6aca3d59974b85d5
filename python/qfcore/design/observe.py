"""Runs in which arrays with a tag are watched, and made in the types that are tried for their tags.

Only during such a run do arrays pass through here: their class is given methods that look at tags, and loses them again.
"""

from __future__ import annotations

import contextlib
import threading
from typing import Any, Iterator, Mapping

import numpy as np

from .. import _qfcore
from .._array import fi
from .._objects import classes

# Binary exponents of doubles, the smallest one first.
LOWEST = -1074
_EXPONENTS = 1024 - LOWEST
_NOTHING = (0, 0, 0, None, None)


class Watched:
    """What was met at one tag: counts, extremes, leading bits, and how far the values are from those of a reference."""

    def __init__(self, numeric_type: Any, reference: Watched | None) -> None:
        self.numeric_type = numeric_type
        self.values = self.overflows = self.underflows = self.zeros = 0
        self.least, self.greatest, self.smallest = np.inf, -np.inf, np.inf
        self.exponents = np.zeros(_EXPONENTS, dtype=np.int64)
        self.power = self.noise = 0.0
        self._reference = reference
        self._pieces = 0
        self.kept: list[np.ndarray[Any, Any]] = []

    def count(self, before: tuple[Any, ...], after: tuple[Any, ...]) -> None:
        """Takes what a record has counted since `before`; its extremes are also those of registers."""
        self.overflows += after[1] - before[1]
        self.underflows += after[2] - before[2]
        if after[0] > before[0] and after[3] is not None:
            self.least, self.greatest = min(self.least, after[3]), max(self.greatest, after[4])

    def meet(self, values: np.ndarray[Any, Any], keep: bool) -> None:
        parts = np.stack([values.real, values.imag]) if np.iscomplexobj(values) else values
        flat = np.array(parts, dtype=float).ravel()
        if keep:
            self.kept.append(flat)
        elif self._reference is not None:
            self._compare(flat, self._reference.kept)
        self._pieces += 1
        self.values += values.size
        magnitudes = np.abs(flat[flat != 0])
        self.zeros += flat.size - magnitudes.size
        self.power += float(np.sum(magnitudes**2))
        if flat.size:
            self.least = min(self.least, float(flat.min()))
            self.greatest = max(self.greatest, float(flat.max()))
        if magnitudes.size:
            self.smallest = min(self.smallest, float(magnitudes.min()))
            self.exponents += np.bincount(np.frexp(magnitudes)[1] - 1 - LOWEST, minlength=_EXPONENTS)

    def _compare(self, flat: np.ndarray[Any, Any], pieces: list[np.ndarray[Any, Any]]) -> None:
        if self._pieces < len(pieces) and pieces[self._pieces].size == flat.size:
            self.noise += float(np.sum((flat - pieces[self._pieces]) ** 2))
        else:
            self.noise = np.nan  # the runs went different ways


class Observer:
    """What is tried while a function runs, and what is met. With `ideal`, arrays keep their values as doubles do."""

    def __init__(self, types: Mapping[str, Any], ideal: bool = False, is_watching: bool = True) -> None:
        self.types = {tag: classes["numerictype"](each) for tag, each in types.items()}
        self.ideal = ideal
        self.tags: dict[str, Watched] = {}
        self.reference: Observer | None = None
        self._is_watching = is_watching

    def made(self, a: Any, arguments: tuple[Any, ...], tag: str) -> None:
        """An array was constructed; it is made again where another type is to be tried."""
        source = arguments[0] if arguments else ()
        before = _qfcore.record(source) if self._is_tagged_one(source) else _NOTHING
        wanted = self._wanted(tag, a)
        if wanted is not None:
            _qfcore.become(a, fi.__new__(fi, source, wanted, a.fimath, tag=tag))
        if tag:
            self._met(tag, a, before, a)

    def tagged(self, a: Any, tag: str) -> None:
        """An array that exists is given a tag, and with it the tag's type; its record tells of its registers."""
        before = _qfcore.record(a) if self._is_tagged_one(a) else _NOTHING
        wanted = None if self.ideal else self._wanted(tag, a)
        if wanted is not None:
            _qfcore.become(a, fi.__new__(fi, a, wanted, a.fimath, tag=tag))
        self._met(tag, a, before, a)

    def changed(self, a: Any, before: tuple[Any, ...], elements: Any) -> None:
        """Elements of an array were assigned."""
        if self._is_tagged_one(a):
            self._met(a.tag, a, before, elements)

    def _met(self, tag: str, a: Any, before: tuple[Any, ...], elements: Any) -> None:
        if not self._is_watching:
            return
        if tag not in self.tags:
            known = self.reference.tags if self.reference else {}
            self.tags[tag] = Watched(a.numerictype, known.get(tag))
        self.tags[tag].count(before, _qfcore.record(a))
        self.tags[tag].meet(np.asarray(elements), keep=self.ideal)

    def _is_tagged_one(self, a: Any) -> bool:
        """What is computed from an array inherits its tag, but has a type of its own."""
        return isinstance(a, fi) and a.tag in self.tags and a.numerictype == self.tags[a.tag].numeric_type

    def _wanted(self, tag: str, a: Any) -> Any:
        """The type that an array is to have in place of its own, if any."""
        wanted = self.types.get(tag) if tag else None
        if self.ideal and a.isfixed():
            wanted = (wanted or a.numerictype).copy()
            wanted.data_type = "ScaledDouble"
        return wanted


class _Stage:
    """The observer of now; others wait for their turn. Arrays of other threads are left alone."""

    def __init__(self) -> None:
        self._turn = threading.Lock()
        self.observer: Observer | None = None
        self._thread: int | None = None

    def current(self) -> Observer | None:
        return self.observer if self._thread == threading.get_ident() else None

    @contextlib.contextmanager
    def taken_by(self, observer: Observer) -> Iterator[Observer]:
        if self.current() is not None:
            raise RuntimeError("types are being tried already: runs of one function do not nest")
        with self._turn:
            self.observer, self._thread = observer, threading.get_ident()
            for name, member in _METHODS.items():
                setattr(fi, name, member)
            try:
                yield observer
            finally:
                for name in _METHODS:
                    delattr(fi, name)
                self.observer = self._thread = None


_STAGE = _Stage()
_ARRAY = fi.__mro__[1]


def _init(self: Any, *arguments: Any, **properties: Any) -> None:
    observer = _STAGE.current()
    if observer is not None:
        observer.made(self, arguments, properties.get("tag", properties.get("Tag", "")))


def _set_elements(self: Any, key: Any, value: Any) -> None:
    observer = _STAGE.current()
    before = _qfcore.record(self) if observer else _NOTHING
    _ARRAY.__setitem__(self, key, value)
    if observer is not None and self.tag:
        observer.changed(self, before, self[key])


def _set_row(name: str, then: Any) -> property:
    """A property of the tables, followed by a step when it is set."""
    row = _ARRAY.__dict__[name]

    def set_value(self: Any, value: Any) -> None:
        observer = _STAGE.current()
        before = _qfcore.record(self) if observer else _NOTHING
        is_known = observer is not None and name == "tag" and self.tag == value
        row.__set__(self, value)
        if observer is not None and not is_known:
            then(observer, self, before)

    return property(row.__get__, set_value, doc=row.__doc__)


_METHODS = {
    "__init__": _init,
    "__setitem__": _set_elements,
    "data": _set_row("data", lambda observer, a, before: observer.changed(a, before, a)),
    "tag": _set_row("tag", lambda observer, a, before: observer.tagged(a, a.tag) if a.tag else None),
}

taken_by = _STAGE.taken_by


def applied(types: Mapping[str, Any]) -> contextlib.AbstractContextManager[Any]:
    """`with applied({"samples": "s12,9"}):` makes the arrays of these tags in these types, whatever the program says.

    A tag counts where an array is made, `fi(values, "s16,12", tag="samples")`, and where it is assigned,
    `y.tag = "filtered"`: there the array is brought into the type. Arrays of other threads are left alone.
    """
    return taken_by(Observer(types, is_watching=False))


def chosen(tag: str, declared: Any) -> Any:
    """The numeric type that is tried for `tag` now, or else the declared one."""
    observer = _STAGE.current()
    return classes["numerictype"]((observer.types if observer else {}).get(tag, declared))


def registers(declared: Any, tag: str | None = None, **settings: Any) -> Any:
    """Settings under which every product and every sum is brought into one type, that of `tag` while one is tried for it.

    `declared` is a binary-point type or its short name; `settings` are further properties of a `fimath`.
    """
    kept = classes["numerictype"](declared) if tag is None else chosen(tag, declared)
    lengths = {"word_length": kept.word_length, "fraction_length": kept.fraction_length}
    made = {f"{register}_{name}": value for register in ("product", "sum") for name, value in lengths.items()}
    return classes["fimath"](product_mode="SpecifyPrecision", sum_mode="SpecifyPrecision", **made, **settings)
