"""The array of fixed-point values: NumPy's conventions over the rows of the table of class `fi`."""

from __future__ import annotations

from typing import Any, Iterator

import numpy as np

from . import _exact, _operators, _qfcore, _text
from ._numpy import array_function, array_ufunc, reduction
from ._objects import classes
from ._places import rearranged

_Shape = tuple[int, ...]


class fi(_qfcore.classes["fi"]):  # type: ignore[misc]
    """fi(values), fi(values, "s16,15"), fi(values, signed, word_length, fraction_length), fi(values, T, F)

    An array of fixed-point values. `values` is what NumPy makes an array of; integers of any size, fractions, decimals
    and long doubles are taken exactly. Without a fraction length the values choose the best one. Keywords name
    properties: round_mode="floor", overflow_mode="wrap", word_length=12, ...
    """

    __slots__ = ()

    shape: _Shape = _qfcore.Array.shape
    ndim: int = _qfcore.Array.ndim
    size: int = _qfcore.Array.size

    # ------------------------------------------------------------------------------------------- making, exchange

    @classmethod
    def from_int(cls, integers: Any, numeric_type: Any, math: Any = None, **settings: Any) -> fi:
        """An array from its stored integers: `fi.from_int([1, -1], "s16,15")` holds 2**-15 and -2**-15."""
        made = _exact.from_stored(cls, integers, classes["numerictype"](numeric_type))
        if math is not None:
            made.fimath = math
        return cls(made, **settings) if settings else made

    @property
    def int(self) -> Any:
        """The stored integers: NumPy's narrowest class up to 64 bits, Python's integers beyond."""
        return _exact.stored(self)

    @int.setter
    def int(self, integers: Any) -> None:
        self[...] = _exact.from_stored(type(self), integers, self.numerictype)

    def __array__(self, dtype: Any = None) -> np.ndarray[Any, Any]:
        values: np.ndarray[Any, Any] = _qfcore.values(self)
        return values if dtype is None else values.astype(dtype, copy=False)

    __array_ufunc__ = array_ufunc
    __array_function__ = array_function

    def copy(self) -> fi:
        """Another array with the same values, settings and record."""
        return _qfcore.copied(self)  # type: ignore[no-any-return]

    def __copy__(self) -> fi:
        return self.copy()

    def __deepcopy__(self, memo: dict[Any, Any]) -> fi:
        return self.copy()

    def __reduce__(self) -> Any:
        return _text.restored, _text.state(self)

    def astype(self, numeric_type: Any, math: Any = None) -> Any:
        """The values brought into another numeric type, under the settings `math` or else the array's own; or a NumPy
        array, for a type of NumPy's."""
        if isinstance(numeric_type, classes["numerictype"]) or _text.is_short_name(numeric_type):
            return type(self)(self, numeric_type, self.fimath if math is None else math)
        return np.asarray(self).astype(numeric_type)

    # ------------------------------------------------------------------------------------------------------ shape

    @property
    def T(self) -> fi:
        """The dimensions in reverse order."""
        return self.transpose()

    def transpose(self, *axes: Any) -> fi:
        """The dimensions in another order, in reverse without `axes`."""
        if not axes and self.ndim == 2:
            return super().transpose()  # type: ignore[no-any-return]
        order = axes[0] if len(axes) == 1 and not isinstance(axes[0], (type(0), np.integer)) else axes or None
        return rearranged(self, lambda p: np.transpose(p, order))  # type: ignore[no-any-return]

    def reshape(self, *shape: Any, order: str = "C") -> fi:
        """The elements in other sizes, of which one may be -1; row by row, or column by column with order="F"."""
        sizes = shape[0] if len(shape) == 1 else shape
        return rearranged(self, lambda p: np.reshape(p, sizes, order=order))  # type: ignore[no-any-return]

    def ravel(self, order: str = "C") -> fi:
        """The elements in one dimension."""
        return rearranged(self, lambda p: np.ravel(p, order=order))  # type: ignore[no-any-return]

    flatten = ravel

    def squeeze(self, axis: Any = None) -> fi:
        """Without dimensions of size 1."""
        return rearranged(self, lambda p: np.squeeze(p, axis))  # type: ignore[no-any-return]

    def swapaxes(self, axis1: type(0), axis2: type(0)) -> fi:  # type: ignore[valid-type]
        """Two dimensions exchanged."""
        return rearranged(self, lambda p: np.swapaxes(p, axis1, axis2))  # type: ignore[no-any-return]

    def repeat(self, repeats: Any, axis: Any = None) -> fi:
        """Each element several times."""
        return rearranged(self, lambda p: np.repeat(p, repeats, axis))  # type: ignore[no-any-return]

    def item(self, *place: Any) -> Any:
        """A single value as a number of Python's."""
        return np.asarray(self).item(*place)

    def tolist(self) -> Any:
        """The values as numbers of Python's, in nested lists."""
        return np.asarray(self).tolist()

    @property
    def real(self) -> fi:
        """The real parts."""
        return _qfcore.call("real", self)  # type: ignore[no-any-return]

    @property
    def imag(self) -> fi:
        """The imaginary parts."""
        return _qfcore.call("imag", self)  # type: ignore[no-any-return]

    def __iter__(self) -> Iterator[fi]:
        if self.ndim == 0:
            raise TypeError("a single value cannot be iterated over")
        return (self[k] for k in range(len(self)))

    def __contains__(self, value: Any) -> bool:
        return bool(np.any(self == value))

    # ------------------------------------------------------------------------------------------------- reductions

    def sum(self, axis: Any = None, keepdims: bool = False) -> fi:
        """The sum along `axis`, in the type that the settings give to sums of so many values."""
        return reduction(self, "sum", axis, keepdims)  # type: ignore[no-any-return]

    def min(self, axis: Any = None, keepdims: bool = False) -> fi:
        """The smallest value along `axis`."""
        return reduction(self, "min", axis, keepdims)  # type: ignore[no-any-return]

    def max(self, axis: Any = None, keepdims: bool = False) -> fi:
        """The largest value along `axis`."""
        return reduction(self, "max", axis, keepdims)  # type: ignore[no-any-return]

    def argmin(self, axis: Any = None, keepdims: bool = False) -> Any:
        """Where the smallest value stands, row by row where no axis is given."""
        return reduction(self, "argmin", axis, keepdims)

    def argmax(self, axis: Any = None, keepdims: bool = False) -> Any:
        """Where the largest value stands, row by row where no axis is given."""
        return reduction(self, "argmax", axis, keepdims)

    def any(self, axis: Any = None, keepdims: bool = False) -> Any:
        """Whether a value along `axis` is not 0."""
        return np.any(self != 0, axis=axis, keepdims=keepdims)

    def all(self, axis: Any = None, keepdims: bool = False) -> Any:
        """Whether no value along `axis` is 0."""
        return np.all(self != 0, axis=axis, keepdims=keepdims)

    def nonzero(self) -> tuple[np.ndarray[Any, Any], ...]:
        """Where values are not 0."""
        return np.nonzero(np.asarray(self != 0))

    def sort(self, axis: type(0) = -1) -> None:  # type: ignore[valid-type]
        """Puts the elements in order, in place."""
        self[...] = np.sort(self, axis)

    def argsort(self, axis: type(0) = -1) -> Any:  # type: ignore[valid-type]
        """Where the elements in order stand."""
        return np.argsort(self, axis)

    def clip(self, low: Any, high: Any) -> fi:
        """The values brought into a range."""
        return np.clip(self, low, high)  # type: ignore[no-any-return, call-overload]

    def round(self, digits: type(0) = 0) -> fi:  # type: ignore[valid-type]
        """The nearest integers, ties to even."""
        return np.round(self, digits)  # type: ignore[no-any-return, call-overload]

    def dot(self, other: Any) -> fi:
        """The matrix product, or the product with a single value."""
        return np.dot(self, other)  # type: ignore[no-any-return]

    # -------------------------------------------------------------------------------------------------- operators

    def __iadd__(self, other: Any) -> fi:
        return self._assigned(self + other)

    def __isub__(self, other: Any) -> fi:
        return self._assigned(self - other)

    def __imul__(self, other: Any) -> fi:
        return self._assigned(self * other)

    def __itruediv__(self, other: Any) -> fi:
        return self._assigned(self / other)

    def _assigned(self, result: Any) -> fi:
        self[...] = result
        return self

    def __divmod__(self, other: Any) -> Any:
        return _operators.operate("divmod", self, other)

    def __rdivmod__(self, other: Any) -> Any:
        return _operators.operate("divmod", other, self)

    def __round__(self, digits: Any = None) -> fi:
        return self.round(digits or 0)

    def __floor__(self) -> fi:
        return np.floor(self)  # type: ignore[no-any-return, call-overload]

    def __ceil__(self) -> fi:
        return np.ceil(self)  # type: ignore[no-any-return, call-overload]

    def __trunc__(self) -> fi:
        return np.trunc(self)  # type: ignore[no-any-return, call-overload]

    def as_integer_ratio(self) -> tuple[Any, Any]:
        """Numerator and denominator of a single value; `fractions.Fraction(*a.as_integer_ratio())` is its exact value."""
        if self.size != 1 or not self.isreal():
            raise TypeError("only a single real value is a ratio")
        return _exact.ratio_of(self)

    # ------------------------------------------------------------------------------------------------------- text

    def __repr__(self) -> str:
        return _text.representation(self)

    def __str__(self) -> str:
        return _text.shown(self)

    def __format__(self, spec: str) -> str:
        """`f"{a:full}"` shows every digit of every value; other formats are those of a single float."""
        if spec in ("", "full"):
            return _text.exact_values(self) if spec else str(self)
        return format(float(self), spec)

    def _repr_html_(self) -> str:
        return _text.table(self)

    @property
    def bin(self) -> Any:
        """The stored integers as texts in binary, one an element."""
        return _text.patterns(self, "bin")

    @property
    def oct(self) -> Any:
        """The stored integers as texts in octal, one an element."""
        return _text.patterns(self, "oct")

    @property
    def dec(self) -> Any:
        """The patterns of the stored integers as texts in decimal, one an element."""
        return _text.patterns(self, "dec")

    @property
    def hex(self) -> Any:
        """The stored integers as texts in hexadecimal, one an element."""
        return _text.patterns(self, "hex")


for _name in ("bin", "oct", "dec", "hex"):  # read in the array's shape, set as in scripts
    _row = _qfcore.classes["fi"].__dict__[_name]
    setattr(fi, _name, getattr(fi, _name).setter(_row.__set__))
_qfcore.show_as(fi)
classes["fi"] = fi
