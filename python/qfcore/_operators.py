"""Operators where operands differ in shape or are not both arrays of fixed-point values."""

from __future__ import annotations

from typing import Any, Callable

import numpy as np

from . import _qfcore
from ._exact import as_array, exact, from_stored, stored
from ._places import broadcast_to, joined

Array = _qfcore.Array
ROWS = {
    "add": "plus", "sub": "minus", "mul": "times", "truediv": "rdivide", "and_": "bitand", "or_": "bitor",
    "xor": "bitxor", "lt": "lt", "le": "le", "eq": "eq", "ne": "ne", "gt": "gt", "ge": "ge",
    "maximum": "max", "minimum": "min",
}
_COMPARISONS = {"lt", "le", "eq", "ne", "gt", "ge"}


def _number(x: Any) -> Any:
    """An operand as an array of fixed-point values or of NumPy's; None for what is no number."""
    if isinstance(x, Array):
        return x
    if isinstance(x, (str, bytes)) or x is None:
        return None
    if isinstance(x, int) and abs(x) > 1 << 53:  # NumPy would take those below 2^64 for doubles beside others
        return np.asarray(x, dtype=object)
    array = as_array(x)
    return array if array.dtype.kind in "biufcO" else None


def _beside(x: Any, other: Any, is_comparison: bool) -> Any:
    """What the host does with numbers, for those that it has no class for."""
    if isinstance(x, Array) or (x.dtype.kind != "O" and x.dtype.char not in "gG"):
        return x
    values = exact(x)
    if is_comparison:
        return values
    return type(other)(values, _qfcore.classes["numerictype"](other.signed, other.word_length), other.fimath)


def operate(name: str, a: Any, b: Any) -> Any:
    x, y = _number(a), _number(b)
    if x is None or y is None:
        return NotImplemented
    known = x if isinstance(x, Array) else y
    if name in SPECIAL:
        return SPECIAL[name](x, y)
    shape = np.broadcast_shapes(x.shape, y.shape)
    x, y = (_beside(each, known, name in _COMPARISONS) for each in (x, y))
    result = _qfcore.call(ROWS[name], _expanded(x, shape), _expanded(y, shape))
    return shaped(result, shape)


def _expanded(x: Any, shape: tuple[int, ...]) -> Any:
    if x.size == 1:
        return _qfcore.reshaped(x, ()) if isinstance(x, Array) else x.reshape(())
    return broadcast_to(x, shape)


def shaped(result: Any, shape: tuple[int, ...]) -> Any:
    """The same elements, column by column, in `shape`."""
    if isinstance(result, Array):
        return result if result.shape == shape else _qfcore.reshaped(result, shape)
    return np.asarray(result).reshape(shape, order="F")[()]


def _matrix_product(x: Any, y: Any) -> Any:
    if x.ndim == 0 or y.ndim == 0:
        raise ValueError("a matrix product takes no single value; use *")
    a = shaped(x, (1, x.shape[0])) if x.ndim == 1 else x
    b = shaped(y, (y.shape[0], 1)) if y.ndim == 1 else y
    if a.shape[-1] != b.shape[-2]:
        raise ValueError(f"matrix product of shapes {x.shape} and {y.shape}: inner sizes differ")
    known = x if isinstance(x, Array) else y
    a, b = (_beside(each, known, False) for each in (a, b))
    stack = np.broadcast_shapes(a.shape[:-2], b.shape[:-2])
    if not stack:
        result = _qfcore.call("mtimes", a, b)
    else:
        a, b = (broadcast_to(each, stack + each.shape[-2:]) for each in (a, b))
        result = joined([_qfcore.call("mtimes", a[i], b[i]) for i in np.ndindex(stack)], np.stack)
        result = result.reshape(stack + (a.shape[-2], b.shape[-1]))
    rows = () if x.ndim == 1 else (a.shape[-2],)
    columns = () if y.ndim == 1 else (b.shape[-1],)
    return shaped(result, stack + rows + columns)


def _power(x: Any, y: Any) -> Any:
    exponent = _whole(y, "an exponent")
    if exponent < 0:
        raise TypeError("a negative power is a quotient: 1 / a")
    if exponent == 0:
        return type(x)(np.ones(x.shape), x.numerictype, x.fimath)
    result = x
    for _ in range(exponent - 1):
        result = result * x
    return result


def _shift(sign: int) -> Callable[[Any, Any], Any]:
    return lambda x, y: _qfcore.call("bitshift", x, sign * _whole(y, "a shift"))


def _whole(y: Any, what: str) -> int:
    if y.ndim != 0 or float(y) != int(y):
        raise TypeError(f"{what} is a single integer")
    return int(y)


def _floor_division(x: Any, y: Any) -> tuple[Any, Any]:
    """Quotient rounded down and what remains, without rounding, in types that hold them."""
    known = x if isinstance(x, Array) else y
    x, y = (each if isinstance(each, Array) else exact(each) for each in (x, y))
    for each in (x, y):
        if not each.isfixed() or each.numerictype.isslopebiasscaled():
            raise TypeError("// and % take binary-point types; convert with astype or np.asarray")
    bits = max(x.fraction_length, y.fraction_length)
    a, b = (_integers(each) << (bits - each.fraction_length) for each in (x, y))
    if np.any(b == 0):
        raise ZeroDivisionError("division by zero in // or %")
    quotient = a // b
    signed = bool(x.signed or y.signed)
    length = x.word_length + bits - x.fraction_length + 1
    types = _qfcore.classes["numerictype"]
    results = (
        from_stored(type(known), quotient, types(signed, length, 0)),
        from_stored(type(known), a - quotient * b, types(bool(y.signed), y.word_length + bits - y.fraction_length, bits)),
    )
    for result in results:
        result.fimath = known.fimath
    return results


def _integers(a: Any) -> Any:
    whole = np.empty(a.shape, dtype=object)
    whole[...] = stored(a)
    return np.frompyfunc(int, 1, 1)(whole) if whole.ndim else np.asarray(int(whole[()]), dtype=object)


SPECIAL: dict[str, Callable[[Any, Any], Any]] = {
    "matmul": _matrix_product,
    "pow": _power,
    "lshift": _shift(1),
    "rshift": _shift(-1),
    "floordiv": lambda x, y: _floor_division(x, y)[0],
    "mod": lambda x, y: _floor_division(x, y)[1],
    "divmod": _floor_division,
}

_qfcore.set_hook("operator", operate)
