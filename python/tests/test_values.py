"""Values against exact fractions: construction, sums, products, quotients, casts, stored integers, pickling, text."""

import copy
import pickle
from decimal import Decimal
from fractions import Fraction

import numpy as np
import pytest
import qfcore as qf
from hypothesis import example, given, strategies as st

MODES = ["floor", "ceil", "fix", "nearest", "round", "convergent"]


def rounded(x, mode):
    """The integer that a rounding mode makes of a fraction."""
    low = x.numerator // x.denominator
    rest = x - low
    up = {
        "floor": False,
        "ceil": rest > 0,
        "fix": x < 0 and rest > 0,
        "nearest": rest >= Fraction(1, 2),
        "round": rest > Fraction(1, 2) or (rest == Fraction(1, 2) and x > 0),
        "convergent": rest > Fraction(1, 2) or (rest == Fraction(1, 2) and low % 2 == 1),
    }[mode]
    return low + up


def quantized(x, signed, word, fraction, mode="nearest", overflow="saturate"):
    """What a type makes of a fraction."""
    n = rounded(x * Fraction(2) ** fraction, mode)
    low, high = (-(1 << word - 1), (1 << word - 1) - 1) if signed else (0, (1 << word) - 1)
    n = min(max(n, low), high) if overflow == "saturate" else (n - low) % (1 << word) + low
    return n / Fraction(2) ** fraction


def exact(a):
    """The values of an array as fractions, row by row."""
    return [Fraction(*element.as_integer_ratio()) for element in a.ravel()]


types = st.tuples(st.booleans(), st.one_of(st.integers(1, 40), st.integers(41, 140)), st.integers(-20, 100))
short_types = st.tuples(st.booleans(), st.integers(2, 70), st.integers(-5, 40))
numbers = st.one_of(
    st.floats(-1e6, 1e6),
    st.integers(-(10**30), 10**30),
    st.fractions(-1000, 1000, max_denominator=999),
    st.decimals(-1000, 1000, places=6),
    st.floats(-4, 4, width=16).map(np.float16),
    st.integers(-(2**63), 2**63 - 1).map(np.int64),
    st.tuples(st.floats(-8, 8), st.floats(-1e-17, 1e-17)).map(lambda p: np.longdouble(p[0]) + np.longdouble(p[1])),
)


def fraction(x):
    return Fraction(*(int(part) for part in x.as_integer_ratio())) if hasattr(x, "as_integer_ratio") else Fraction(int(x))


# NumPy makes doubles of 0 and 2^64 - 2 in one list.
@example(values=[0.0, -2.0], t=(False, 64, 0), mode="floor", overflow="wrap")
@given(st.lists(numbers, min_size=1, max_size=4), types, st.sampled_from(MODES), st.sampled_from(["saturate", "wrap"]))
def test_construction_rounds_each_value_once(values, t, mode, overflow):
    one_by_one = [qf.fi(v, *t, round_mode=mode, overflow_mode=overflow) for v in values]
    together = qf.fi(np.array(values, dtype=object), *t, round_mode=mode, overflow_mode=overflow)
    expected = [quantized(fraction(v), *t, mode, overflow) for v in values]
    assert [exact(a)[0] for a in one_by_one] == expected
    assert exact(together) == expected
    assert [int(n) for n in together.int] == [int(v * Fraction(2) ** t[2]) for v in expected]
    assert qf.fi.from_int(together.int, together.numerictype).int.tolist() == together.int.tolist()
    assert eval(repr(together), vars(qf)).int.tolist() == together.int.tolist()


@st.composite
def pairs(draw):
    signed = draw(st.booleans())
    operands = []
    for _ in range(2):
        _, word, point = draw(short_types)
        low, high = (-(1 << word - 1), (1 << word - 1) - 1) if signed else (0, (1 << word) - 1)
        stored = draw(st.lists(st.integers(low, high), min_size=3, max_size=3))
        grows = qf.fimath(max_sum_word_length=60000, max_product_word_length=60000)
        operands.append(qf.fi.from_int(np.array(stored, dtype=object), qf.numerictype(signed, word, point), grows))
    return operands


@given(pairs())
def test_sums_and_products_keep_every_bit(operands):
    a, b = operands
    x, y = exact(a), exact(b)
    assert exact(a + b) == [p + q for p, q in zip(x, y)]
    assert exact(a * b) == [p * q for p, q in zip(x, y)]
    assert exact(a @ b) == [sum(p * q for p, q in zip(x, y))]
    assert exact(a.sum()) == [sum(x)]
    assert exact(a[:, None] * b) == [p * q for p in x for q in y]
    assert (a < b).tolist() == [p < q for p, q in zip(x, y)]
    assert [a.argmax(), b.argmin()] == [x.index(max(x)), y.index(min(y))]
    if all(y):
        quotient, rest = divmod(a, b)
        assert exact(quotient) == [p // q for p, q in zip(x, y)]
        assert exact(rest) == [p % q for p, q in zip(x, y)]
    assert exact(np.floor(a)) == [Fraction(p.__floor__()) for p in x]
    assert exact(np.round(b)) == [Fraction(round(q)) for q in y]


@given(pairs(), types, st.sampled_from(MODES))
def test_casts(operands, t, mode):
    a = operands[0]
    assert exact(a.astype(qf.numerictype(*t), qf.fimath(round_mode=mode))) == [quantized(v, *t, mode) for v in exact(a)]


@given(pairs(), numbers.filter(lambda v: fraction(v).denominator < 2**200 and abs(v) < 2**53))
def test_numbers_beside_arrays_compare_exactly_and_take_the_array_s_word(operands, number):
    a, value = operands[0], fraction(number)
    assert (a < number).tolist() == [x < value for x in exact(a)]
    assert (number == a).tolist() == [x == value for x in exact(a)]
    beside = qf.fi(np.array(number, dtype=object), qf.numerictype(a.signed, a.word_length), a.fimath)
    assert exact(a + number) == exact(a + beside) == exact(number + a)
    assert exact(number - a) == exact(beside - a)


@pytest.mark.filterwarnings("ignore::qfcore.OverflowWarning")
@given(pairs(), st.booleans())
def test_pickles_and_copies_hold_everything(operands, is_complex):
    a = operands[0] + 1j * operands[1] if is_complex else operands[0]
    a = qf.fi(a, round_mode="floor")
    a.tag = "path"
    a.logging = True
    a[0] = 1e30
    for b in (pickle.loads(pickle.dumps(a)), copy.deepcopy(a), copy.copy(a)):
        assert b.numerictype == a.numerictype and b.fimath == a.fimath and b.tag == "path" and b.shape == a.shape
        assert exact(b.real) == exact(a.real) and exact(b.imag) == exact(a.imag)
        assert qf._qfcore.saved_record(b) == qf._qfcore.saved_record(a) is not None
        before = exact(a.real)
        b[:] = 0
        assert exact(a.real) == before


def test_other_kinds_of_values_travel_too():
    slope = qf.fi([1.0, 2.5, -3], qf.numerictype(True, 12, 0.1, 2))
    for a in (slope, qf.fi(2.5, qf.numerictype("double")), qf.fi([1, 2], qf.numerictype("single")), qf.fi(np.zeros((0, 3)), "u8,2"),
              qf.fi([[1, 2], [3, 4]], "s200,100", qf.fimath(sum_mode="KeepLSB"))):
        b = pickle.loads(pickle.dumps(a))
        c = eval(repr(a), vars(qf))
        for other in (b, c):
            assert other.numerictype == a.numerictype and other.fimath == a.fimath and other.shape == a.shape
            assert np.array_equal(np.asarray(other), np.asarray(a))
    for made in (qf.numerictype("u7,3"), qf.fimath(round_mode="ceil"), qf.quantizer("fixed", "floor", [16, 15])):
        assert eval(repr(made), vars(qf)) == pickle.loads(pickle.dumps(made)) == made == copy.copy(made)
    with pytest.raises(TypeError):
        pickle.dumps(qf.voidtype())


def test_text():
    a = qf.fi([0.1, -0.5], "s16,15")
    assert repr(a) == "fi([0.100006103515625, -0.5], 's16,15')"
    assert f"{a:full}" == "[0.100006103515625 -0.5]  s16,15"
    assert f"{qf.fi(Fraction(1, 3), 'u140,138'):full}".startswith("0.33333333333333333333333333333333333333333")
    assert f"{a[1]:.2f}" == "-0.50"
    assert a.bin.tolist() == ["0000110011001101", "1100000000000000"] and a[1].hex == "c000"
    assert "<td>-0.5</td>" in a._repr_html_() and "s16,15" in a._repr_html_()
    assert f"{qf.fi([1 + 2j], 's8,4'):full}" == "[1+2j]  s8,4"
    with pytest.raises(TypeError):
        hash(a)
