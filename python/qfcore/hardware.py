"""Files by which a design in hardware or firmware gets a model's words, and its answers come back.

Files hold the elements row by row, as NumPy counts them.
"""

from __future__ import annotations

import os
import pathlib
from typing import Any, Union

import numpy as np

from . import _qfcore
from ._objects import classes

PathName = Union[str, "os.PathLike[str]"]


def write_memh(path: PathName, a: Any) -> None:
    """Writes the stored integers in hexadecimal, a line each, as Verilog's `$readmemh` reads them."""
    _column(a).writememh(os.fspath(path))


def read_memh(path: PathName, numeric_type: Any, math: Any = None) -> Any:
    """The words of such a file, as an array of one dimension: comments, `_`, `@address` and missing words (0) as in Verilog.

    Raises qfcore.Error for what is no word of the type, unknown digits (`x`) among them.
    """
    return _read("readmemh", path, numeric_type, math)


def write_bits(path: PathName, a: Any) -> None:
    """Writes the stored integers in bits, a line each, as VHDL's `std.textio` reads them."""
    _column(a).writebits(os.fspath(path))


def read_bits(path: PathName, numeric_type: Any, math: Any = None) -> Any:
    """The words of such a file, as an array of one dimension."""
    return _read("readbits", path, numeric_type, math)


def write_header(path: PathName, a: Any, name: str) -> None:
    """Writes a header of C that defines the stored integers as an array `name` of int8_t, int16_t, ... or uint64_t, with
    its length and the bits behind its point."""
    _column(a).writeheader(os.fspath(path), name)


def write_vectors(folder: PathName, **arrays: Any) -> None:
    """Writes what a test bench needs of arrays by name: `NAME.memh` and `NAME.bits`, and their sizes as constants,
    `NAME_COUNT`, `NAME_WIDTH` and `NAME_FRACTION`, in `vectors.vh` for Verilog and `vectors.vhd`, a package, for VHDL."""
    target = pathlib.Path(folder)
    target.mkdir(parents=True, exist_ok=True)
    sizes = []
    for name, a in arrays.items():
        write_memh(target / f"{name}.memh", a)
        write_bits(target / f"{name}.bits", a)
        sizes += [(f"{name.upper()}_{what}", int(value)) for what, value in
                  (("COUNT", a.size), ("WIDTH", a.word_length), ("FRACTION", a.fraction_length))]
    (target / "vectors.vh").write_text("".join(f"localparam {name} = {value};\n" for name, value in sizes))
    constants = "".join(f"  constant {name} : integer := {value};\n" for name, value in sizes)
    (target / "vectors.vhd").write_text(f"package vectors is\n{constants}end package;\n")


def mismatches(path: PathName, expected: Any) -> list[tuple[int, str, str]]:
    """Where a file of words, in bits where its name ends in `.bits`, else in hexadecimal, differs from an array: the place
    from 0, the file's text there and the array's. A word that one of them lacks is ''."""
    found = [word for line in pathlib.Path(path).read_text().splitlines() for word in line.lower().split()]
    column = _column(expected)
    wanted = np.atleast_1d(column.bin if os.fspath(path).endswith(".bits") else column.hex).tolist()
    count = max(len(found), len(wanted))
    pairs = zip(range(count), found + [""] * (count - len(found)), wanted + [""] * (count - len(wanted)))
    return [each for each in pairs if each[1] != each[2]]


def _column(a: Any) -> Any:
    if not isinstance(a, _qfcore.Array):
        raise TypeError("an array of fixed-point values is needed: qf.fi(values, 's16,15')")
    return a.ravel()


def _read(name: str, path: PathName, numeric_type: Any, math: Any) -> Any:
    words = getattr(classes["numerictype"](numeric_type), name)(os.fspath(path))
    words = _qfcore.reshaped(words, (words.size,))
    if math is not None:
        words.fimath = math
    return words
