"""NumPy's functions on arrays of fixed-point values.

A function that only moves elements is asked about their places; arithmetic goes to the rows of the class; what has no
fixed-point meaning raises TypeError and says how to convert.
"""

from __future__ import annotations

from typing import Any, Callable

import numpy as np

from . import _qfcore
from ._exact import exact
from ._operators import operate, shaped
from ._places import joined, places, rearranged

Array = _qfcore.Array


def refused(name: str) -> TypeError:
    return TypeError(
        f"{name} has no meaning for fixed-point values; convert with np.asarray(a) (real-world values) or a.int "
        "(stored integers)"
    )


# ------------------------------------------------------------------------------------------------------- reductions


def reduction(a: Any, name: str, axis: Any, keepdims: bool = False) -> Any:
    """Along one axis, several, or all; a method of the class does it along one."""
    if axis is None:
        axes = tuple(range(a.ndim))
    else:
        axes = np.core.numeric.normalize_axis_tuple(axis, a.ndim)
    kept = tuple(extent for k, extent in enumerate(a.shape) if k not in axes)
    if axis is None and name == "sum" or a.ndim == 1:
        line = _qfcore.reshaped(a, (a.size,))  # where order does not show in the result, elements stay in place
        along = 0
    elif len(axes) == 1:
        line, along = a, axes[0]
    else:
        moved = [k for k in range(a.ndim) if k not in axes] + list(axes)
        line = rearranged(a, lambda p: np.transpose(p, moved).reshape(kept + (-1,)))
        along = len(kept)
    if line.shape[along] == 0 and name != "sum":
        raise ValueError(f"{name} of no values")
    rows = _qfcore.classes["fi"]
    if name == "sum":
        result = rows.sum(line, along + 1)
    elif name in ("min", "max"):
        result = getattr(rows, name)(line, None, along + 1)
    else:
        result = np.asarray(getattr(rows, name[3:])(line, None, along + 1, outputs=2)[1]).astype(np.intp) - 1
    if keepdims:
        kept = tuple(1 if k in axes else extent for k, extent in enumerate(a.shape))
    return shaped(result, kept)


def _along(a: Any, axis: Any, method: Callable[[Any, int], Any]) -> Any:
    if axis is None:
        a, axis = rearranged(a, np.ravel), 0
    return shaped(method(a, axis % a.ndim + 1), a.shape)


# --------------------------------------------------------------------------------------------- to whole numbers


def _whole(mode: str) -> Callable[[Any], Any]:
    def to_whole(a: Any) -> Any:
        if not a.isfixed() or a.numerictype.isslopebiasscaled():
            raise TypeError("rounding to integers takes binary-point types; convert with astype or np.asarray")
        if a.fraction_length <= 0:
            return a.copy()
        length = max(a.word_length - a.fraction_length, 1) + 1
        math = a.fimath
        math.round_mode = mode
        result = type(a)(a, _qfcore.classes["numerictype"](a.signed, length, 0), math)
        result.fimath = a.fimath
        return result

    return to_whole


def _round(a: Any, decimals: int = 0, out: Any = None) -> Any:
    if decimals != 0:
        raise TypeError("decimal digits have no fixed-point meaning; astype chooses bits")
    return _whole("convergent")(a)


def _square(a: Any) -> Any:
    return a * a


def _logical(function: Callable[..., Any]) -> Callable[..., Any]:
    return lambda *values: function(*(np.asarray(v != 0) if isinstance(v, Array) else v for v in values))


def _row(name: str) -> Callable[[Any], Any]:
    return lambda a: _qfcore.call(name, a)


def _operator(name: str) -> Callable[[Any, Any], Any]:
    def apply(a: Any, b: Any) -> Any:
        result = operate(name, a, b)
        if result is NotImplemented:
            raise TypeError(f"'{type(b).__name__}' and '{type(a).__name__}' are no operands of {name}")
        return result

    return apply


_UFUNCS: dict[str, Callable[..., Any]] = {
    "add": _operator("add"), "subtract": _operator("sub"), "multiply": _operator("mul"),
    "divide": _operator("truediv"), "true_divide": _operator("truediv"), "floor_divide": _operator("floordiv"),
    "remainder": _operator("mod"), "divmod": _operator("divmod"), "power": _operator("pow"),
    "matmul": _operator("matmul"), "bitwise_and": _operator("and_"), "bitwise_or": _operator("or_"),
    "bitwise_xor": _operator("xor"), "left_shift": _operator("lshift"), "right_shift": _operator("rshift"),
    "equal": _operator("eq"), "not_equal": _operator("ne"), "less": _operator("lt"), "less_equal": _operator("le"),
    "greater": _operator("gt"), "greater_equal": _operator("ge"), "maximum": _operator("maximum"),
    "minimum": _operator("minimum"), "fmax": _operator("maximum"), "fmin": _operator("minimum"),
    "negative": _row("uminus"), "positive": _row("uplus"), "absolute": _row("abs"), "fabs": _row("abs"),
    "sign": _row("sign"), "conjugate": _row("conj"), "sqrt": _row("sqrt"), "invert": _row("bitcmp"),
    "square": _square, "floor": _whole("floor"), "ceil": _whole("ceil"), "trunc": _whole("fix"),
    "rint": _whole("convergent"), "logical_and": _logical(np.logical_and), "logical_or": _logical(np.logical_or),
    "logical_xor": _logical(np.logical_xor), "logical_not": _logical(np.logical_not),
    "isfinite": lambda a: np.isfinite(np.asarray(a)), "isnan": lambda a: np.isnan(np.asarray(a)),
    "isinf": lambda a: np.isinf(np.asarray(a)),
}
_REDUCTIONS = {"add": "sum", "maximum": "max", "minimum": "min"}


def array_ufunc(self: Any, ufunc: Any, method: str, *inputs: Any, out: Any = None, **options: Any) -> Any:
    name = ufunc.__name__
    if method == "reduce" and name in _REDUCTIONS:
        result = reduction(inputs[0], _REDUCTIONS[name], options.get("axis", 0), options.get("keepdims", False))
    elif method != "__call__" or name not in _UFUNCS or any(v is not None for v in options.values()):
        raise refused(f"np.{name}" + ("" if method == "__call__" else f".{method}"))
    else:
        result = _UFUNCS[name](*inputs)
    if out is None:
        return result
    target = out[0]
    target[...] = result if isinstance(target, Array) else np.asarray(result)
    return target


# -------------------------------------------------------------------------------------------------------- functions


def _moves(function: Any) -> Callable[..., Any]:
    return lambda a, *values, **options: rearranged(a, lambda p: function(p, *values, **options))


def _joins(function: Any) -> Callable[..., Any]:
    def join(arrays: Any, *values: Any, **options: Any) -> Any:
        return joined(list(arrays), lambda p: function(p, *values, **options))

    return join


def _where(condition: Any, *choices: Any) -> Any:
    condition = np.asarray(condition != 0) if isinstance(condition, Array) else condition
    if not choices:
        return np.nonzero(condition)
    return joined(list(choices), lambda p: np.where(condition, *p))


def _parts(function: Any) -> Callable[..., Any]:
    def split(a: Any, *values: Any, **options: Any) -> list[Any]:
        return [_qfcore.take(a, part) for part in function(places(a.shape), *values, **options)]

    return split


def _triangle(function: Any) -> Callable[..., Any]:
    def triangle(a: Any, k: int = 0) -> Any:
        result = a.copy()
        result[~function(np.ones(a.shape, bool), k)] = 0
        return result

    return triangle


def _dot(a: Any, b: Any) -> Any:
    a, b = (v if isinstance(v, Array) else np.asarray(v) for v in (a, b))
    if a.ndim == 0 or b.ndim == 0:
        return a * b
    if b.ndim > 2:
        raise refused("np.dot with more than two dimensions")
    return operate("matmul", a, b)


def _outer(a: Any, b: Any) -> Any:
    a, b = (v.ravel() if isinstance(v, Array) else np.ravel(v) for v in (a, b))
    return operate("mul", a[:, None], b[None, :])


def _convolve(a: Any, v: Any, mode: str = "full") -> Any:
    """Each result is one sum of products, in the type that the settings give to it."""
    if len(v) > len(a):
        a, v = v, a
    if mode == "valid":
        return shaped(_qfcore.call("conv", a, v, mode), (len(a) - len(v) + 1,))
    full = shaped(_qfcore.call("conv", a, v), (len(a) + len(v) - 1,))
    before = (len(v) - 1) // 2
    return full if mode == "full" else full[before : before + len(a)]


def _mean(a: Any, axis: Any = None, keepdims: bool = False) -> Any:
    total = reduction(a, "sum", axis, keepdims)
    return total / (a.size // max(total.size, 1))


def _clip(a: Any, a_min: Any, a_max: Any) -> Any:
    for bound, name in ((a_min, "maximum"), (a_max, "minimum")):
        a = a if bound is None else operate(name, a, bound)
    return a


def _array_equal(a: Any, b: Any) -> bool:
    return np.shape(a) == np.shape(b) and bool(np.all(operate("eq", a, b)))


def _like(make: Any) -> Callable[..., Any]:
    def filled(a: Any, *values: Any, shape: Any = None) -> Any:
        value = make(a.shape if shape is None else shape, *values)
        return type(a)(exact(value) if value.dtype.kind == "O" else value, a.numerictype, a.fimath)

    return filled


def _sorted(a: Any, axis: Any = -1) -> Any:
    return _along(a, axis, lambda x, d: _qfcore.call("sort", x, d))


def _argsorted(a: Any, axis: Any = -1) -> Any:
    rows = _qfcore.classes["fi"]
    return _along(a, axis, lambda x, d: np.asarray(rows.sort(x, d, outputs=2)[1]).astype(np.intp) - 1)


def _by_method(name: str) -> Callable[..., Any]:
    return lambda a, *values, **options: getattr(a, name)(*values, **options)


_FUNCTIONS: dict[Any, Callable[..., Any]] = {
    np.where: _where, np.dot: _dot, np.inner: _dot, np.outer: _outer, np.convolve: _convolve, np.mean: _mean,
    np.clip: _clip, np.round: _round, np.around: _round, np.fix: _whole("fix"), np.array_equal: _array_equal,
    np.sort: _sorted, np.argsort: _argsorted, np.tril: _triangle(np.tril), np.triu: _triangle(np.triu),
    np.shape: lambda a: a.shape, np.ndim: lambda a: a.ndim, np.real: lambda a: a.real, np.imag: lambda a: a.imag,
    np.size: lambda a, axis=None: a.size if axis is None else a.shape[axis], np.copy: lambda a: a.copy(),
    np.amin: _by_method("min"), np.amax: _by_method("max"), np.count_nonzero: lambda a, axis=None:
        np.count_nonzero(np.asarray(a != 0), axis=axis), np.nonzero: _by_method("nonzero"),
    np.array_repr: lambda a, *_: repr(a), np.array_str: lambda a, *_: str(a), np.full_like: _like(np.full),
    np.zeros_like: _like(np.zeros), np.ones_like: _like(np.ones), np.empty_like: _like(np.zeros),
    np.iscomplexobj: lambda a: not a.isreal(), np.isrealobj: lambda a: a.isreal(),
}
_FUNCTIONS |= {getattr(np, name): _by_method(name) for name in ("sum", "min", "max", "argmin", "argmax", "any", "all")
               if hasattr(np, name)}
_FUNCTIONS |= {getattr(np, name): _moves(getattr(np, name)) for name in (
    "transpose", "reshape", "ravel", "squeeze", "expand_dims", "swapaxes", "moveaxis", "rollaxis", "flip", "fliplr",
    "flipud", "rot90", "roll", "tile", "repeat", "broadcast_to", "diagonal", "atleast_1d", "atleast_2d", "atleast_3d",
    "resize", "take", "delete", "take_along_axis")}
_FUNCTIONS |= {getattr(np, name): _joins(getattr(np, name)) for name in (
    "concatenate", "stack", "vstack", "hstack", "dstack", "column_stack")}
_FUNCTIONS |= {getattr(np, name): _parts(getattr(np, name)) for name in (
    "split", "array_split", "hsplit", "vsplit", "dsplit", "broadcast_arrays") if name != "broadcast_arrays"}
_FUNCTIONS[np.append] = lambda a, v, axis=None: joined(
    [a, v], (lambda p: np.concatenate(p, axis)) if axis is not None else lambda p: np.concatenate([q.ravel() for q in p]))
_FUNCTIONS[np.diag] = lambda v, k=0: _qfcore.call("diag", v, k)


def array_function(self: Any, function: Any, types: Any, values: Any, options: dict[str, Any]) -> Any:
    if function not in _FUNCTIONS:
        raise refused(f"np.{function.__name__}")
    given = {name: value for name, value in options.items() if value is not np._NoValue}  # type: ignore[attr-defined]
    if isinstance(given.get("out"), type(None)):
        given.pop("out", None)
    return _FUNCTIONS[function](*values, **given)
