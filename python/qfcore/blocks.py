"""Signals longer than memory: arrays of dask whose blocks are arrays of fixed-point values.

dask's own functions (`map_blocks`, `map_overlap`, `rechunk`, subscripts, operators) take such arrays; here is what makes them,
filters them and brings them to files. A result is the same, to the last bit, however a signal is divided.
"""

from __future__ import annotations

import os
from typing import Any

import numpy as np

from ._array import fi
from ._objects import classes
from ._table import needed

# What dask is told about blocks: one dimension, real numbers.
_META = np.empty(0)


def _dask_array() -> Any:
    return needed("dask.array", "an array in blocks")


def from_file(path: str | os.PathLike[str], dtype: Any = np.float64, block: int = 1 << 16) -> Any:
    """The numbers of a raw binary file, `block` of them a block, each read when it is needed.

    Raises ValueError where the file's size is no multiple of a number's.
    """
    path, dtype = os.fspath(path), np.dtype(dtype)
    count, rest = divmod(os.stat(path).st_size, dtype.itemsize)
    if rest:
        raise ValueError(f"{path} does not hold whole numbers of {dtype.itemsize} bytes")
    starts = _dask_array().arange(0, count, dtype=np.int64, chunks=block)
    return starts.map_blocks(_read, path=path, number=dtype, dtype=dtype)


def _read(places: Any, path: str, number: Any) -> Any:
    if places.size == 0:
        return np.empty(0, number)
    return np.fromfile(path, number, places.size, offset=int(places[0]) * number.itemsize)


def quantized(x: Any, numeric_type: Any, math: Any = None, **settings: Any) -> Any:
    """The numbers of a dask array, in blocks that are arrays of fixed-point values of one type."""
    chosen = classes["numerictype"](numeric_type)
    rules = classes["fimath"](**settings) if math is None else math
    return x.map_blocks(_quantized, numeric_type=chosen, math=rules, dtype=float, meta=_META)


def _quantized(block: Any, numeric_type: Any, math: Any) -> Any:
    return fi(block, numeric_type, math)


def filtered(x: Any, coefficients: Any) -> Any:
    """A signal in blocks through a filter of finite response: `np.convolve(x, coefficients)[: len(x)]`, block by block.

    Each block sees as much of the one before it as the filter remembers, so what the settings of `x` do to products
    and sums is done to the same ones. Blocks shorter than that memory are joined.
    """
    if x.ndim != 1 or np.ndim(coefficients) != 1:
        raise ValueError("a signal and its filter have one dimension")
    depth = len(coefficients) - 1
    return _dask_array().map_overlap(_filtered, x, depth={0: (depth, 0)}, boundary="none", dtype=float, meta=_META,
                                     coefficients=coefficients)


def _filtered(block: Any, coefficients: Any) -> Any:
    # What the first results of a block lack is trimmed with the overlap; before a signal there are zeros.
    return np.convolve(np.concatenate([np.zeros(len(coefficients) - 1), block]), coefficients, "valid")


def stored(x: Any, dtype: Any = np.int64) -> Any:
    """The stored integers of words up to 64 bits, as a dask array of NumPy's numbers."""
    return x.map_blocks(_stored, number=np.dtype(dtype), dtype=dtype, meta=np.empty(0, dtype))


def _stored(block: Any, number: Any) -> Any:
    ints = np.asarray(block.int)
    if ints.size and not (np.iinfo(number).min <= ints.min() and ints.max() <= np.iinfo(number).max):
        raise OverflowError(f"stored integers of {block.numerictype.qpointstr()} do not fit {number}")
    return ints.astype(number)


def to_file(x: Any, path: str | os.PathLike[str]) -> int:
    """Writes the numbers of a dask array to a raw binary file, each block to its place as it is done; returns how many."""
    path = os.fspath(path)
    with open(path, "wb"):
        pass
    starts = np.cumsum((0, *x.chunks[0]))
    written = x.map_blocks(_write, path=path, starts=starts, dtype=np.int64, chunks=(tuple(1 for _ in x.chunks[0]),))
    return int(written.sum().compute())


def _write(block: Any, path: str, starts: Any, block_id: Any = (0,)) -> Any:
    content = np.ascontiguousarray(block)
    file = os.open(path, os.O_WRONLY)
    try:
        os.pwrite(file, content.tobytes(), int(starts[block_id[0]]) * content.itemsize)
    finally:
        os.close(file)
    return np.array([content.size])
