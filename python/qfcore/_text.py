"""Arrays as text: what evaluates back, what reads well, every digit; and what pickle carries."""

from __future__ import annotations

import re
from typing import Any

import numpy as np

from . import _exact, _qfcore
from ._objects import classes, made_by, restore, saved

_SHORT = re.compile(r"[su]\d+(,[-+.\deE]+){0,2}")


def is_short_name(text: Any) -> bool:
    return isinstance(text, str) and _SHORT.fullmatch(text) is not None


def _type_text(a: Any) -> str:
    """The type as an argument that makes it again."""
    numeric_type = a.numerictype
    if numeric_type.isfixed() and not numeric_type.isslopebiasscaled() and numeric_type.isbinarypointscalingset():
        return repr(numeric_type.qpointstr())
    return made_by(numeric_type)


def _settings(a: Any) -> str:
    math = a.fimath
    if math == classes["fimath"]():
        return ""
    return ", " + made_by(math)


def representation(a: Any) -> str:
    """`fi([0.5, 0.25], 's16,15')`; stored integers where doubles do not hold the values."""
    options = {"separator": ", ", "threshold": np.get_printoptions()["threshold"]}
    prefix = "fi("
    if a.isfixed() and (a.word_length > 52 or a.numerictype.isslopebiasscaled()) and a.isreal():
        prefix, values = "fi.from_int(", np.asarray(a.int)
    elif a.isfixed() and a.word_length > 52:
        return f"{representation(a.real)} + 1j * {representation(a.imag)}"
    else:
        values = np.asarray(a)
    formatter: Any = {"all": lambda v: repr(v.item() if hasattr(v, "item") else v)}
    text = np.array2string(values, formatter=formatter, prefix=prefix, max_line_width=100, **options)
    shape = f".reshape({a.shape})" if a.size == 0 and a.ndim != 1 else ""
    if a.size == 0:
        text = "[]"
    return f"{prefix}{text}, {_type_text(a)}{_settings(a)}){shape}"


def shown(a: Any) -> str:
    """Values rounded for reading, and the type."""
    return f"{np.array2string(np.asarray(a))}  {_name(a)}"


def _name(a: Any) -> str:
    numeric_type = a.numerictype
    return str(numeric_type.qpointstr()) if numeric_type.isfixed() else str(numeric_type.data_type)


def _digits(a: Any) -> str:
    """Every digit of a single value."""
    numerator, denominator = _exact.ratio_of(a)
    bits = denominator.bit_length() - 1
    if denominator != 1 << bits:  # not in lowest terms
        raise AssertionError("values are dyadic")
    digits = str(abs(numerator) * 5**bits).rjust(bits + 1, "0")
    whole, behind = digits[: len(digits) - bits], digits[len(digits) - bits :].rstrip("0")
    return ("-" if numerator < 0 else "") + whole + ("." + behind if behind else "")


def exact_values(a: Any) -> str:
    """Every digit of every value."""
    parts = [a] if a.isreal() else [a.real, a.imag]
    texts = np.empty(a.shape, dtype=object)
    for place in np.ndindex(a.shape):
        texts[place] = _digits(parts[0][place] if a.ndim else parts[0])
        if len(parts) == 2:
            imag = _digits(parts[1][place] if a.ndim else parts[1])
            texts[place] += ("" if imag.startswith("-") else "+") + imag + "j"
    text = np.array2string(texts, formatter={"all": str}, separator=" ", max_line_width=100)
    return f"{text}  {_name(a)}"


def table(a: Any) -> str:
    """A table of at most twenty rows and columns, for notebooks."""
    import html

    caption = f"<caption>fi {html.escape(_name(a))}, shape {a.shape}</caption>"
    if a.ndim > 2 or a.size == 0:
        return f"<pre>{html.escape(str(a))}</pre>"
    values = np.atleast_2d(np.asarray(a))
    most = 20
    body = "".join(
        "<tr>" + "".join(f"<td>{value:.6g}</td>" for value in row[:most]) + ("<td>…</td>" if len(row) > most else "")
        + "</tr>"
        for row in values[:most]
    )
    more = "<tr><td>…</td></tr>" if len(values) > most else ""
    return f"<table>{caption}{body}{more}</table>"


def patterns(a: Any, name: str) -> Any:
    """A text an element, in the array's shape."""
    column = _qfcore.reshaped(a, (a.size,))
    rows = _qfcore.classes["fi"].__dict__[name].__get__(column) if a.size else []
    rows = [rows] if isinstance(rows, str) else rows
    texts = np.array(rows, dtype=str).reshape(a.shape, order="F")
    return texts if a.ndim else str(texts[()])


# --------------------------------------------------------------------------------------------------------- pickling


def state(a: Any) -> tuple[Any, ...]:
    parts = [a] if a.isreal() else [a.real, a.imag]
    if a.isfixed():
        values = [_exact.stored(part) for part in parts]
    else:
        values = [np.array(part) for part in parts]
    marks = (a.tag, a.logging, a.last_property_set)
    return (saved(a.numerictype), saved(a.fimath), a.shape, values, marks, _qfcore.saved_record(a))


def restored(type_state: Any, math_state: Any, shape: Any, values: Any, marks: Any, record: Any) -> Any:
    numeric_type, math = restore(*type_state), restore(*math_state)
    fi = classes["fi"]
    was_logging = _qfcore.call("fipref")["LoggingMode"]
    _qfcore.call("fipref", "LoggingMode", "Off")
    try:
        def part(value: Any) -> Any:
            if numeric_type.isfixed():
                return _exact.from_stored(fi, value, numeric_type)
            return fi(value, numeric_type)

        a = part(values[0]) if len(values) == 1 else _qfcore.call("complex", part(values[0]), part(values[1]))
        a = _qfcore.reshaped(a, shape)
        a.fimath = math
        a.tag, a.logging, a.last_property_set = marks
        if record is not None:
            _qfcore.restore_record(a, record)
    finally:
        _qfcore.call("fipref", "LoggingMode", was_logging)
    return a
