"""NumPy's conventions: the same subscripts, shapes and functions on doubles."""

import threading

import numpy as np
import pytest
import qfcore as qf
from hypothesis import given, strategies as st
from hypothesis.extra import numpy as hnp

shapes = hnp.array_shapes(min_dims=0, max_dims=4, min_side=0, max_side=4)


def doubles(shape):
    """Different values, which the type of `fixed` holds."""
    return (np.arange(np.prod(shape, dtype=int)).reshape(shape) * 37 % 101 - 50) / 4


def fixed(x):
    return qf.fi(x, "s12,4")


def same(a, x):
    """Equal in shape and values, whatever the classes."""
    assert np.shape(a) == np.shape(x)
    assert np.array_equal(np.asarray(a), np.asarray(x))


@st.composite
def subscripts(draw):
    shape = draw(shapes)
    basic = hnp.basic_indices(shape, allow_newaxis=True, max_dims=5)
    advanced = [hnp.arrays(bool, shape)] if shape else []
    if shape and shape[0] > 0:
        advanced.append(st.lists(st.integers(-shape[0], shape[0] - 1), max_size=5).map(lambda k: np.array(k, int)))
        advanced.append(st.integers(-shape[0], shape[0] - 1))
    return shape, draw(st.one_of(basic, *advanced))


@given(subscripts(), st.sampled_from(["C", "F", "reversed"]))
def test_subscripts(case, order):
    shape, key = case
    x = doubles(shape)
    x = np.asarray(x, order=order) if order != "reversed" else x[(..., *(slice(None, None, -1) for _ in shape))]
    a = fixed(x)
    same(a, x)
    same(a[key], x[key])
    b, y = a.copy(), x.copy()
    view, before = np.asarray(b), x.copy()
    b[key] = 1.5
    y[key] = 1.5
    same(b, y)
    same(a, x)
    same(view, before)
    if y[key].size:
        b[key] = fixed(x[key]) + fixed(x[key])
        y[key] = x[key] * 2
        same(b, y)


@given(hnp.mutually_broadcastable_shapes(num_shapes=2, max_dims=3, max_side=3))
def test_broadcasting(shapes):
    x, y = (doubles(shape) for shape in shapes.input_shapes)
    a, b = fixed(x), fixed(y)
    for function in (np.add, np.subtract, np.multiply, np.maximum, np.less_equal, np.not_equal):
        expected = function(x, y)
        same(function(a, b), expected)
        same(function(a, y), expected)
        same(function(x, b), expected)
    same(np.where(a > b, a, b), np.where(x > y, x, y))
    same(a + 1, x + 1)
    same(0.5 * b, 0.5 * y)


MOVING = [
    lambda v: v.T, lambda v: v.reshape(-1), lambda v: v.reshape(v.shape[::-1]), lambda v: v.reshape(-1, order="F"),
    np.ravel, lambda v: np.squeeze(v), lambda v: v[None, ..., None], lambda v: np.flip(v), lambda v: np.roll(v, 2),
    lambda v: np.stack([v, v]), lambda v: np.concatenate([np.ravel(v), np.ravel(v)]), np.atleast_2d, lambda v: np.tile(v, 2),
    lambda v: v.transpose(*range(v.ndim)), lambda v: np.broadcast_to(v, (2, *v.shape)), np.floor, np.abs, np.negative,
    np.zeros_like, np.copy, lambda v: np.clip(v, -2, 3), lambda v: v * (v > 0), lambda v: np.sum(v), lambda v: v == v,
    lambda v: abs(v), lambda v: -v, lambda v: v**2, lambda v: np.append(v, v), lambda v: np.where(v > 0, v, 0.5),
    lambda v: np.count_nonzero(v), lambda v: np.any(v), lambda v: v.all(),
]
ALONG = ["sum", "min", "max", "argmin", "argmax", "sort", "argsort", "any"]


def test_dimensions_of_size_one_stay():
    a = fixed(doubles((1, 1, 2, 1)))
    for axis in range(4):
        same(a.sum(axis=axis), doubles((1, 1, 2, 1)).sum(axis=axis))


@given(shapes, st.data())
def test_functions(shape, data):
    x = doubles(shape)
    a = fixed(x)
    for move in MOVING:
        same(move(a), move(x))
    if x.size == 0 or x.ndim == 0:
        return
    axis = data.draw(st.integers(-x.ndim, x.ndim - 1))
    for name in ALONG:
        function = getattr(np, name)
        same(function(a, axis=axis), function(x, axis=axis))
    same(a.sum(axis=axis, keepdims=True), x.sum(axis=axis, keepdims=True))
    same(a.max(), x.max())
    assert a.argmax() == x.argmax()
    axes = tuple(data.draw(st.sets(st.integers(0, x.ndim - 1), min_size=1)))
    same(a.sum(axis=axes), x.sum(axis=axes))
    same(a.min(axis=axes), x.min(axis=axes))


def test_matrix_products():
    for first, second in [((3, 4), (4, 2)), ((4,), (4, 2)), ((3, 4), (4,)), ((4,), (4,)), ((2, 3, 4), (4, 2)),
                          ((3, 1), (1, 1)), ((2, 1, 1, 3), (5, 3, 2))]:
        x, y = doubles(first), doubles(second)
        same(fixed(x) @ fixed(y), x @ y)
        same(np.matmul(x, fixed(y)), x @ y)
    with pytest.raises(ValueError):
        fixed(np.ones((2, 3))) @ fixed(np.ones((2, 3)))
    with qf.logging():
        assert qf._qfcore.record(qf.fi([0.5, 1], "s8,4") @ qf.fi([1, 1], "s8,4"))[0] > 0
    x, h = doubles(9), np.array([0.25, 0.5, -1])
    for mode in ("full", "same", "valid"):
        same(np.convolve(fixed(x), fixed(h), mode), np.convolve(x, h, mode))
    same(np.tril(fixed(np.ones((3, 3)))), np.tril(np.ones((3, 3))))


def test_operators_on_patterns():
    a = qf.fi([5.0, -3.0], "s8,0")
    assert [(a & 6).tolist(), (a | 2).tolist(), (a ^ 1).tolist()] == [[4, 4], [7, -1], [4, -4]]
    assert [(~a).tolist(), (a << 1).tolist(), (a >> 1).tolist()] == [[-6, 2], [10, -6], [2, -2]]
    assert a.bitget(1).tolist() == [1, 1] and (a**0).tolist() == [1, 1]
    a += 100.7
    assert a.tolist() == [106, 98] and a.word_length == 8
    assert float(a[0]) == 106.0 and int(a[1]) == 98 and bool(a[0]) and list(a)[1] == 98 and 98 in a
    for wrong in (lambda: bool(a), lambda: np.sin(a), lambda: np.linalg.norm(a), lambda: np.add.accumulate(a),
                  lambda: a["x"], lambda: a**-1, lambda: a + "x", lambda: a << 0.5, lambda: len(a[0]), lambda: iter(a[0])):
        with pytest.raises((TypeError, ValueError, IndexError)):
            wrong()
    with pytest.raises(TypeError, match="np.asarray"):
        np.sin(a)
    with pytest.raises(ZeroDivisionError):
        a // 0
    assert (a == "x") is False and (a == None) is False  # noqa: E711


def test_buffers_are_shared():
    x = np.asfortranarray(doubles((50, 20)))
    a = fixed(x)
    view = np.asarray(a)
    assert view.flags.f_contiguous and not view.flags.writeable and not view.flags.owndata
    assert np.shares_memory(view, np.asarray(a)) and np.shares_memory(view, np.asarray(a.copy()))
    assert a.int.dtype == np.int16 and not a.int.flags.owndata
    a.word_length = 80
    same(view, x)
    assert np.asarray(a).flags.writeable and a.int.dtype == object
    assert qf.fi([1, 2], "s40,3").int.dtype == np.int64 and qf.fi([1], "u64,0").int.dtype == np.uint64
    for dtype in "bBhHiIlLfdFD?e":
        same(qf.fi(np.ones((2, 3), dtype), "s12,4"), np.ones((2, 3)))
    same(qf.fi(np.ones(3, ">i4")[::2], "s12,4"), np.ones(2))


def test_threads_get_right_results():
    x = doubles((64, 64))
    wrong = []

    def work(seed):
        for _ in range(20):
            a = fixed(x) * fixed(np.full((64, 64), seed / 4))
            a[0, 0] = seed
            if not np.array_equal(np.asarray(a)[1:], (x * seed / 4)[1:]) or float(a[0, 0]) != seed:
                wrong.append(seed)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(8)]
    [thread.start() for thread in threads]
    [thread.join() for thread in threads]
    assert wrong == []
