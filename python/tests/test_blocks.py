"""Signals in blocks give the bits that they give in one piece."""

import os
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest
import qfcore as qf
from hypothesis import given, settings, strategies as st

da = pytest.importorskip("dask.array")
blocks = qf.blocks
ROOT = pathlib.Path(__file__).resolve().parents[2]


@settings(max_examples=40)
@given(st.data())
def test_filtering_in_blocks_is_filtering(data):
    chunks = tuple(data.draw(st.lists(st.integers(2, 40), min_size=1, max_size=5)))
    order = data.draw(st.integers(2, max(2, min(12, sum(chunks)))))
    rng = np.random.default_rng(data.draw(st.integers(0, 2**32)))
    x, h = rng.uniform(-3, 3, sum(chunks)), rng.uniform(-0.5, 0.5, order)
    rules = qf.fimath(sum_mode="SpecifyPrecision", sum_word_length=data.draw(st.integers(6, 60)), sum_fraction_length=4,
                      round_mode=data.draw(st.sampled_from(["floor", "convergent"])), overflow_mode="wrap")
    a, c = qf.fi(x, "s10,7", rules), qf.fi(h, "s9,8", rules)
    in_blocks = blocks.quantized(da.from_array(x, chunks=(chunks,)), "s10,7", rules)
    before = np.concatenate([np.zeros(order - 1), a])
    whole = before[np.arange(len(x))[:, None] + np.arange(order)] @ c[::-1]
    assert np.array_equal(np.convolve(a, c)[: len(x)].int, whole.int)
    with dask_here():
        y = blocks.filtered(in_blocks, c)
        assert y.shape == x.shape and np.array_equal(blocks.stored(y).compute(), whole.int)
        together = (y[: len(x) // 2 + 1] * 2 + 1).compute()
        smooth = da.map_overlap(lambda b: np.convolve(b, c[:1], "same"), in_blocks, depth=1, boundary=0, meta=np.empty(0))
        assert np.array_equal(smooth.compute().int, np.convolve(a, c[:1]).int)
    assert together.numerictype == (whole * 2 + 1).numerictype
    assert np.array_equal(together.int, (whole * 2 + 1)[: len(x) // 2 + 1].int)


def dask_here():
    import dask

    return dask.config.set(scheduler="synchronous")


def test_a_long_signal_takes_little_memory(tmp_path):
    """Windows of the whole signal would take a gigabyte."""
    said = [subprocess.run([sys.executable, ROOT / "examples" / "long_signal.py", tmp_path, "0.016", block], check=True,
                           capture_output=True, text=True, env=os.environ).stdout for block in ("65536", "30011")]
    assert re.findall("sha256 .*", said[0]) == re.findall("sha256 .*", said[1])
    assert all(float(re.search("([0-9.]+) GB of memory", each)[1]) < 0.6 for each in said)
    with pytest.raises(ValueError, match="whole numbers"):
        blocks.from_file(ROOT / "examples" / "data" / "README.md", np.dtype("V7"))
    with pytest.raises(OverflowError):
        blocks.stored(da.from_array(np.array([300.0]), chunks=1).map_blocks(qf.fi, "s16,0", meta=np.empty(0)), np.int8).compute()
