"""Numbers that are no doubles, and stored integers of any length."""

from __future__ import annotations

from typing import Any

import numpy as np

from . import _qfcore

# Bits behind the point with which a number without a finite binary expansion is carried, its last one telling that more
# followed: every rounding to fewer bits is then the one that the number itself would have.
_ENDLESS = 4096


def as_array(values: Any) -> np.ndarray[Any, Any]:
    """The array of a list; one of Python numbers where NumPy would round integers among them to doubles."""
    array = np.asarray(values)
    if isinstance(values, (list, tuple)) and array.dtype.kind in "fc" and bool(np.any(np.abs(array) > 2.0**53)):
        items = np.array(values, dtype=object)
        if any(isinstance(item, (int, np.integer)) for item in items.flat):
            return items
    return array


def exact(value: Any) -> Any:
    """An array that holds Python integers, fractions, decimals or long doubles, without rounding those that end."""
    array = np.asarray(value)
    if array.dtype.kind in "fc":  # long doubles, whose items are NumPy's own scalars
        array = array.astype(object) if array.ndim else np.array(array[()], dtype=object)
    items = array.ravel(order="F").tolist() if array.ndim else [array[()]]
    if any(isinstance(item, _qfcore.Array) for item in items):
        raise TypeError("arrays of fixed-point values are joined with np.stack, not held by an array of objects")
    if any(isinstance(item, (complex, np.complexfloating)) for item in items):
        real = exact(np.array([item.real for item in items], dtype=object).reshape(array.shape, order="F"))
        return _qfcore.call("complex", real, exact(np.array([item.imag for item in items], dtype=object).reshape(
            array.shape, order="F")))
    fractions = [_ratio(item) for item in items]
    bits = max((_bits_behind_point(denominator) for _, denominator in fractions), default=0)
    scaled = [_times_power(n, d, bits) for n, d in fractions]
    return _signed_words(scaled, bits, array.shape)


def _ratio(item: Any) -> tuple[int, int]:
    if isinstance(item, (bool, np.bool_, np.integer)):
        return int(item), 1
    try:
        numerator, denominator = item.as_integer_ratio()
    except AttributeError:
        raise TypeError(f"values must be numbers, not {type(item).__name__}") from None
    except (OverflowError, ValueError):
        raise _error("numforge:nofixednan", f"{item} has no fixed-point value") from None
    return int(numerator), int(denominator)


def _error(identifier: str, text: str) -> Exception:
    error = _qfcore.Error(text)
    error.identifier = identifier
    return error  # type: ignore[no-any-return]


def _bits_behind_point(denominator: int) -> int:
    ends = denominator & (denominator - 1) == 0
    return denominator.bit_length() - 1 if ends else _ENDLESS


def _times_power(numerator: int, denominator: int, bits: int) -> int:
    quotient, rest = divmod(numerator << bits, denominator)
    return quotient | (rest != 0)


def _signed_words(scaled: list[int], bits: int, shape: tuple[int, ...]) -> Any:
    """The integers `scaled`, column by column, as signed words with `bits` bits behind the point."""
    length = max([33, *(n.bit_length() + 1 for n in scaled)])
    chunks = -(-length // 32)
    text = b"".join(n.to_bytes(4 * chunks, "little", signed=True) for n in scaled)
    words = np.frombuffer(text, dtype="<u4").reshape((chunks, len(scaled)), order="F")
    array = _new(np.zeros(len(scaled)), _new_type(True, length, bits))
    if scaled:
        array.intarray = words
    return _qfcore.reshaped(array, shape)


def _new(*arguments: Any) -> Any:
    return _qfcore.classes["fi"](*arguments)


def _new_type(*arguments: Any) -> Any:
    return _qfcore.classes["numerictype"](*arguments)


def stored(a: Any) -> np.ndarray[Any, Any]:
    """The stored integers: in the narrowest class up to 64 bits, Python integers beyond."""
    if not a.isreal():
        raise TypeError("the stored integers of a complex array are those of its parts: a.real.int, a.imag.int")
    length = a.word_length
    if length <= 32 or not a.isfixed():
        ints = _qfcore.classes["fi"].int.__get__(a)
        return ints if a.ndim else np.asarray(ints)[()]
    chunks = -(-length // 32)
    column = _qfcore.reshaped(a, (a.size,))
    words = np.asarray(_qfcore.classes["fi"].intarray.__get__(column), dtype="<u4").reshape((chunks, a.size), order="F")
    rows = np.ascontiguousarray(words.T)
    signed = bool(a.signed)
    if length <= 64:
        shift = np.uint64(64 - length)
        whole = rows.view("<u8").reshape(a.size) << shift
        ints = whole.view("<i8") >> np.int64(shift) if signed else whole >> shift
    else:
        ints = np.empty(a.size, dtype=object)
        ints[:] = [_integer(row.tobytes(), length, signed) for row in rows]
    ints = ints.reshape(a.shape, order="F")
    return ints if a.ndim else ints[()]


def _integer(text: bytes, length: int, signed: bool) -> int:
    pattern = int.from_bytes(text, "little")
    return pattern - (1 << length) if signed and pattern >> (length - 1) else pattern


def from_stored(cls: Any, integers: Any, numeric_type: Any) -> Any:
    """An array of a type from its stored integers; integers out of the word's range are brought into it."""
    plain = _new_type(numeric_type.signed, numeric_type.word_length, 0)
    return cls(integers, plain).reinterpretcast(numeric_type)


def to_integer(a: Any) -> int:
    """The value without what is behind the point."""
    from fractions import Fraction

    return int(Fraction(*ratio_of(a)))


def ratio_of(a: Any) -> tuple[int, int]:
    """Numerator and denominator of a single value, without rounding."""
    if not a.isfixed():
        return float(a).as_integer_ratio()
    n = int(stored(_qfcore.reshaped(a, ())))
    slope, bias = (a.slope_adjustment_factor.as_integer_ratio(), a.bias.as_integer_ratio())
    exponent = a.fixed_exponent
    numerator = n * slope[0] * (1 << max(exponent, 0))
    denominator = slope[1] * (1 << max(-exponent, 0))
    return numerator * bias[1] + bias[0] * denominator, denominator * bias[1]


_qfcore.set_hook("as_array", as_array)
_qfcore.set_hook("exact", exact)
_qfcore.set_hook("to_integer", to_integer)
_qfcore.set_hook("holds_arrays", lambda values: any(isinstance(value, _qfcore.Array) for value in values))
