"""What the values at each tag need, what types do to them, and which types suit them."""

from __future__ import annotations

import collections
import math
import warnings
from typing import Any, Callable, Mapping

import numpy as np

from .. import _qfcore
from .._array import fi
from .._logging import logging
from .._objects import classes
from .._table import Table, needed
from .observe import LOWEST, Observer, Watched, taken_by

_COLUMNS = ("tag", "type", "values", "least", "greatest", "smallest", "overflows", "underflows", "used", "snr", "leading_bits")


# Runs, and bits of a word, after which `reach` gives up.
_MOST_RUNS, _LONGEST = 60, 64


class LeadingBits(dict[int, int]):
    """How many values have their leading bit at 2**k, by k."""

    def __str__(self) -> str:
        if not self:
            return ""
        first, last = max(self), min(self)
        most = max(self.values())
        shown = range(first, max(last, first - 23) - 1, -1)
        bars = "".join(" ▁▂▃▄▅▆▇█"[-(-8 * self.get(k, 0) // most)] for k in shown)
        return f"2^{first} {bars}{'' if last in shown else '…'} 2^{last}"


class Ranges(Table):
    """A row for each tag; units of the values, `snr` in decibels beside the run in doubles, `used` a share of the range.

    `least`, `greatest`, `smallest` (of the magnitudes above 0) and `leading_bits` are those of the run in doubles, so no
    type has clipped them; `overflows` and `underflows` were counted with the types. `problems` is empty for what `verify`
    found in order, `types` are those that were tried, and `result` is what the function returned with them.
    """

    formats = {"used": ".3f", "snr": ".2f", "smallest": ".3g"}

    def __init__(self, function: Callable[..., Any], data: tuple[Any, ...], ideal: Observer, typed: Observer,
                 result: Any) -> None:
        self.result: Any = result
        self.types: dict[str, str] = {tag: str(each.qpointstr()) for tag, each in typed.types.items()}
        self.problems: list[str] = []
        self._run = function, data
        self._ideal, self._typed = ideal, typed
        super().__init__(_COLUMNS, (_row(tag, ideal.tags[tag], typed.tags.get(tag)) for tag in ideal.tags), texts=2)

    def __getitem__(self, tag: str) -> dict[str, Any]:
        """The row of a tag."""
        return next(row for row in self.rows if row["tag"] == tag)

    def propose(self, word_length: int | Mapping[str, int] | None = None, snr: float | None = None,
                margin: float = 0.0) -> dict[str, str]:
        """Types by tag, in their short names: with the finest grid on which nothing met here overflows.

        `word_length` is one for all tags, or one for each tag named. `snr`, in decibels, lets each type be as short as
        keeps the rounding noise of all tags together so far below the tag's own values. `margin` is the share of the
        range to keep free: 0.25 leaves room for values greater by a quarter.
        """
        if (word_length is None) == (snr is None):
            raise ValueError("propose takes either word_length or snr")
        lengths = word_length if isinstance(word_length, Mapping) else dict.fromkeys(self._ideal.tags, word_length)
        unknown = set(lengths) - set(self._ideal.tags)
        if unknown:
            raise ValueError(f"no array was met with the tag {', '.join(sorted(unknown))}")
        types = {}
        for tag, length in lengths.items():
            watched = self._ideal.tags[tag]
            is_signed = bool(watched.numeric_type.signed) or watched.least < 0
            extremes = [watched.least * (1 + margin), watched.greatest * (1 + margin)]
            if not any(extremes):
                continue
            if length is None:
                assert snr is not None
                fraction = _fraction_for(watched, snr + 10 * math.log10(len(lengths)))
                length = _length_for(extremes, is_signed, fraction)
            else:
                fraction = _best_fraction(extremes, is_signed, length)
            types[tag] = str(classes["numerictype"](is_signed, length, fraction).qpointstr())
        return types

    def verify(self, types: Mapping[str, Any], snr: float | None = None) -> Ranges:
        """Runs the function again with these types by tag; `problems` of what is returned names the tags that overflow,
        and those below `snr` decibels."""
        checked = observe(self._run[0], *self._run[1], types=types)
        for tag in types:
            if tag not in checked._typed.tags:
                checked.problems.append(f"{tag}: no array was met with this tag")
        for row in checked.rows:
            if row["overflows"]:
                checked.problems.append(f"{row['tag']}: {row['overflows']} overflows in {row['type']}")
            if snr is not None and row["snr"] is not None and not row["snr"] >= snr:
                checked.problems.append(f"{row['tag']}: {row['snr']:.2f} dB, not {snr:g}")
        return checked

    def reach(self, snr: float, margin: float = 0.0) -> Ranges:
        """Proposes types for `snr` and lengthens them, run after run, until every tag is so many decibels above its error.

        Returns the last run; its `types` are the result. An estimate for each tag alone is where it begins: how noise adds
        up on the way only runs tell. Raises ValueError where longer words at the tags do not help any more.
        """
        types = self.propose(snr=snr, margin=margin)
        short = dict.fromkeys(types, math.inf)
        for _ in range(_MOST_RUNS):
            checked = self.verify(types, snr)
            before, short = short, {
                row["tag"]: snr - row["snr"] for row in checked.rows if row["snr"] is not None and not row["snr"] >= snr}
            if not short:
                return checked
            helped = any(before.get(tag, math.inf) - missing > 1 for tag, missing in short.items())
            if not helped and all(_length(each) > _LONGEST for each in types.values()):
                break
            for tag in types if not helped else short:
                more = math.ceil(short.get(tag, 0) / (20 * math.log10(2))) if helped else 1
                types[tag] = _lengthened(types[tag], max(more, 1))
        raise ValueError(f"longer words at these tags do not bring {', '.join(short)} to {snr:g} dB; what is computed "
                         "between them rounds too")

    def plot(self, figure: Any = None) -> Any:
        """One picture: for each tag the leading bits of its values, and what its type covers. Returns the figure."""
        pyplot = needed("matplotlib.pyplot", "a picture")
        figure = figure or pyplot.figure(figsize=(8, 1 + 1.5 * len(self)), layout="constrained")
        places = figure.subplots(len(self), 1, sharex=True, squeeze=False)[:, 0]
        types = [(self._typed.tags.get(row["tag"]) or self._ideal.tags[row["tag"]]).numeric_type for row in self.rows]
        # Far below every type's step one bar stands for all.
        lowest = min((each.fixed_exponent for each in types if each.isfixed()), default=LOWEST + 8) - 8
        for axes, row, numeric_type in zip(places, self.rows, types):
            bits = collections.Counter[int]()
            for k, count in row["leading_bits"].items():
                bits[max(k, lowest)] += count
            axes.bar(list(bits), list(bits.values()), width=0.9, color="tab:blue")
            if numeric_type.isfixed():
                top = numeric_type.word_length - bool(numeric_type.signed) + numeric_type.fixed_exponent - 1
                axes.axvspan(numeric_type.fixed_exponent - 0.5, top + 0.5, color="tab:green", alpha=0.15)
            axes.set_title(f"{row['tag']}: {row['type']}, {row['overflows']} overflows, {row['underflows']} underflows",
                           fontsize="medium")
            axes.set_ylabel("values")
            axes.margins(x=0.02)
        places[-1].set_xlabel(f"leading bit at 2^k, or below 2^{lowest}; green: what the type covers")
        places[-1].invert_xaxis()
        return figure


def observe(function: Callable[..., Any], *data: Any, types: Mapping[str, Any] | None = None, ideal: bool = True) -> Ranges:
    """Runs `function(*data)` while every array with a tag is watched, and tells what was met.

    A tag is given where an array is made, `fi(values, "s16,12", tag="samples")`, or assigned, `y.tag = "filtered"`; elements
    assigned later count too. The function runs twice and must do the same both times: first every array that it makes
    keeps its values as doubles do, then with its types, or with those of `types` for the tags named there. With
    `ideal=False` it runs with the types alone: for functions that read bits. Raises ValueError if no tag was met.
    """
    typed = Observer(types or {})
    doubles = Observer({}, ideal=True)
    if ideal:
        typed.reference = doubles
    with warnings.catch_warnings(), logging():
        warnings.simplefilter("ignore", _qfcore.FixedPointWarning)  # the table counts them
        if ideal:
            try:
                with taken_by(doubles):
                    function(*data)
            except _qfcore.Error as error:
                error.add_note("in the run where arrays hold doubles; ideal=False runs with the types alone")
                raise
        with taken_by(typed):
            result = function(*data)
    met = doubles if ideal else typed
    if not met.tags:
        raise ValueError("no array was met with a tag; fi(values, 's16,12', tag='samples') gives one")
    return Ranges(function, data, met, typed, result)


def _row(tag: str, ideal: Watched, typed: Watched | None) -> dict[str, Any]:
    numeric_type = (typed or ideal).numeric_type
    bits = LeadingBits((int(k) + LOWEST, int(ideal.exponents[k])) for k in np.nonzero(ideal.exponents)[0][::-1])
    is_fixed = numeric_type.isfixed()
    used = None
    if is_fixed and ideal.least <= ideal.greatest:
        low, high = (float(bound) for bound in np.asarray(fi(0, numeric_type).range()))
        used = max(ideal.greatest / high if ideal.greatest > 0 else 0.0, ideal.least / low if ideal.least < 0 and low else 0.0)
    noise = math.nan if typed is None else typed.noise
    snr = None if math.isnan(noise) else math.inf if noise == 0 else -math.inf if ideal.power == 0 else (
        10 * math.log10(ideal.power / noise))
    return dict(zip(_COLUMNS, (
        tag, str(numeric_type.qpointstr()) if is_fixed else str(numeric_type.data_type), ideal.values,
        ideal.least, ideal.greatest, ideal.smallest if bits else None,
        typed.overflows if typed else 0, typed.underflows if typed else 0, used, snr, bits)))


def _length(short_name: str) -> int:
    return int(classes["numerictype"](short_name).word_length)


def _lengthened(short_name: str, bits: int) -> str:
    """The type with more bits behind the point."""
    t = classes["numerictype"](short_name)
    return str(classes["numerictype"](t.signed, t.word_length + bits, t.fraction_length + bits).qpointstr())


def _best_fraction(extremes: list[float], is_signed: bool, word_length: int) -> int:
    """Bits behind the point of the finest grid on which no extreme overflows."""
    numeric_type = classes["numerictype"](is_signed, word_length, 0)
    fractions = []
    for extreme in extremes:
        if extreme != 0:
            numeric_type.set_best_fraction_length(extreme)
            fractions.append(int(numeric_type.fraction_length))
    return min(fractions)


def _fraction_for(watched: Watched, snr: float) -> int:
    """Bits behind the point whose rounding noise, a twelfth of a squared step, is `snr` decibels below the values."""
    noise = watched.power / watched.values / 10 ** (snr / 10)
    return math.ceil(-math.log2(12 * noise) / 2)


def _length_for(extremes: list[float], is_signed: bool, fraction: int) -> int:
    """The shortest word that holds the extremes with so many bits behind the point."""
    length = max(1 + is_signed, 52 + fraction - _best_fraction(extremes, is_signed, 52))
    while _best_fraction(extremes, is_signed, length) < fraction:
        length += 1
    while length > 1 + is_signed and _best_fraction(extremes, is_signed, length - 1) >= fraction:
        length -= 1
    return length
