"""Places of elements: what NumPy does with the numbers 0, 1, 2, ... says where the elements go.

So its rules hold for every kind of subscript, and for every function that only moves elements.
"""

from __future__ import annotations

from typing import Any, Callable

import numpy as np

from . import _qfcore
from ._exact import as_array

Places = Any


def places(shape: tuple[int, ...]) -> Places:
    """The place of each element, counted column by column as the elements lie."""
    return np.arange(int(np.prod(shape, dtype=np.int64))).reshape(shape, order="F")


def rearranged(a: Any, move: Callable[[Places], Places]) -> Any:
    return _qfcore.take(a, move(places(a.shape)))


def selected(shape: tuple[int, ...], key: Any) -> Places:
    """The places that a subscript selects."""
    parts = key if isinstance(key, tuple) else (key,)
    if not all(part is None or part is Ellipsis or isinstance(part, (int, slice, np.integer)) for part in parts) or any(
        isinstance(part, bool) for part in parts
    ):
        return places(shape)[key]
    # An array of strides alone: nothing as large as the array is made, and none of its bytes is read.
    strides = np.cumprod((1, *shape))[:-1] if shape else ()
    origin = np.lib.stride_tricks.as_strided(np.empty(1, np.int8), shape, tuple(int(s) for s in strides))
    view = origin[parts if Ellipsis in parts else (*parts, Ellipsis)]
    found = np.asarray(view.__array_interface__["data"][0] - origin.__array_interface__["data"][0])
    for extent, stride in zip(view.shape, view.strides):
        found = found[..., None] + np.arange(extent) * stride
    return found


def _get(a: Any, key: Any) -> Any:
    return _qfcore.take(a, selected(a.shape, _subscript(key)))


def _set(a: Any, key: Any, value: Any) -> None:
    into = selected(a.shape, _subscript(key))
    if not isinstance(value, _qfcore.Array):
        value = as_array(value)
    while value.ndim > into.ndim and value.shape[0] == 1:
        value = value.reshape(value.shape[1:])
    value = broadcast_to(value, into.shape)
    if into.size == 0:
        return
    flat = rearranged(value, np.ravel) if isinstance(value, _qfcore.Array) else value.ravel()
    _qfcore.put(a, into.ravel(), flat if into.size > 1 else flat.reshape(()))


def _subscript(key: Any) -> Any:
    if isinstance(key, _qfcore.Array) or isinstance(key, tuple) and any(isinstance(k, _qfcore.Array) for k in key):
        raise IndexError("arrays of fixed-point values are no subscripts; a comparison such as a > 0 is one")
    return key


def broadcast_to(a: Any, shape: tuple[int, ...]) -> Any:
    if not isinstance(a, _qfcore.Array):
        return np.broadcast_to(a, shape)
    if a.shape == shape:
        return a
    return rearranged(a, lambda p: np.broadcast_to(p, shape))


def joined(arrays: list[Any], combine: Callable[[list[Places]], Places]) -> Any:
    """What `combine` makes of arrays, in the type of the first fixed-point one: it sees places only."""
    model = next(a for a in arrays if isinstance(a, _qfcore.Array))
    columns, where, first = [], [], 0
    for a in arrays:
        if not isinstance(a, _qfcore.Array):
            a = np.asarray(a)
            if a.dtype.kind not in "biufc":
                a = type(model)(a, model.numerictype, model.fimath)
        where.append(places(a.shape) + first)
        first += a.size
        if a.size:
            columns.append(_qfcore.reshaped(a, (a.size,)) if isinstance(a, _qfcore.Array) else
                           a.reshape(a.size, order="F"))
    if not any(isinstance(column, _qfcore.Array) for column in columns):
        columns = [type(model)(column, model.numerictype, model.fimath) for column in columns]
    whole = _qfcore.call("vertcat", *columns) if columns else _qfcore.reshaped(model, (0,))
    return _qfcore.take(whole, combine(where))


_qfcore.set_hook("getitem", _get)
_qfcore.set_hook("setitem", _set)
_qfcore.set_hook("stack", lambda values: joined(list(values), np.stack))
