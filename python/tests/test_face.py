"""The tables in Python: every row, names, enumerations, errors, warnings, logging, help, stubs."""

import pydoc
import sys
import warnings

import numpy as np
import pytest
import qfcore as qf

tables = qf._qfcore.tables()


def test_every_row_has_its_descriptor_help_and_place():
    for name, table in tables.items():
        shown = qf._qfcore.classes[name]
        for row in table["properties"] + table["methods"]:
            descriptor = shown.__dict__[row["name"]]
            assert descriptor.__doc__ and descriptor.__name__ == row["name"]
            assert row["name"].isidentifier() and row["name"] == row["name"].lower()
    assert "element-wise sum" in pydoc.render_doc(qf.fi.plus) and "x1" in pydoc.render_doc(qf.fi.plus)


def test_properties_of_made_objects_read_and_write_back():
    for obj in (qf.fi([0.5, 1], "s16,8"), qf.numerictype("s16,8"), qf.fimath(), qf.quantizer()):
        for row in tables[type(obj).__name__]["properties"]:
            value = getattr(obj, row["name"])
            assert row["type"] != "int32" or type(value) is int
            assert not row["is_enumeration"] or (isinstance(value, str) and isinstance(value, getattr(qf, row["type"])))


def test_names_and_enumerations():
    a = qf.fi(0.5, signed=True, word_length=16, fraction_length=12, round_mode="floor", RoundMode="Ceil", sum_mode="keep_lsb")
    assert a.round_mode is qf.RoundMode.CEIL and a.round_mode == "ceil" and a.sum_mode == "KeepLSB"
    a.round_mode = qf.RoundMode.FIX
    assert repr(a.numerictype) == "numerictype(True, 16, 12)" and a.fimath.round_mode == "fix"
    assert qf.RoundMode("Floor") is qf.RoundMode.FLOOR
    with pytest.raises(AttributeError, match="word_length"):
        a.wordlength
    with pytest.raises(AttributeError, match="round_mode"):
        a.rund_mode = "floor"
    with pytest.raises(qf.Error, match="round_mode"):
        qf.fi(1, roundmod="floor")
    with pytest.raises(qf.Error, match="'floor'") as caught:
        a.round_mode = "flor"
    assert caught.value.identifier == "Tessel:invalidEnumValue"
    with pytest.raises(AttributeError, match="fimath"):
        qf.fimaths


def test_errors_and_warnings(capsys):
    a = qf.fi([1.0, 2], "s8,4")
    with pytest.raises(qf.Error) as caught:
        a + qf.fi([True, False], qf.numerictype("boolean"))
    assert isinstance(caught.value, ValueError) and caught.value.identifier.startswith("numforge:fi:")
    with pytest.raises(ValueError):
        qf.fi(np.nan, "s8,4")
    with pytest.warns(qf.DivideByZeroWarning) as seen:
        a / 0
    assert seen[0].filename == __file__ and seen[0].message.identifier == "fi:divideByZero"
    with qf.logging():
        with pytest.warns(qf.OverflowWarning):
            a[0] = 1000.0
        with pytest.warns(qf.UnderflowWarning):
            a[0] = 1e-9
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            with pytest.raises(qf.OverflowWarning):
                a[1] = 1000.0
    a.disp()
    assert capsys.readouterr().out.split() == ["0", "7.9375"]


def test_logging_reports():
    with qf.logging() as log:
        a = qf.fi([0.5, 9, -9, 0.001], "s8,4")
        log.watch(a=a)
    qf.fi([100.0], "s8,4")
    report = log.report()
    assert (report["a"]["overflows"], report["a"]["underflows"], report["a"]["values"]) == (2, 1, 4)
    assert "overflows" in str(report) and "<th>name</th>" in report._repr_html_()
    assert [row["overflows"] for row in report.rows if row["operation"] == "Assignment"] == [2]
    if "pandas" in sys.modules or pytest.importorskip("pandas"):
        assert report.to_pandas()["overflows"].iloc[0] == 2


def test_methods_take_and_give_what_scripts_do():
    a = qf.fi([3.0, 1, 2], "s8,2")
    values, places = qf.fi.__mro__[1].sort(a, outputs=2)
    assert values.tolist() == [1, 2, 3] and places.tolist() == [2, 3, 1]
    q = qf.quantizer("fixed", "floor", "saturate", [8, 2])
    assert q.quantize(np.array([[0.3, 100]])).tolist() == [[0.25, 31.75]]
    assert a.range().tolist() == [-32, 31.75] and a.eps().tolist() == 0.25 and a.isequal(a) is True
    view = np.asarray(a)
    a.resetlog()
    a.data = [[1.0, 2], [3, 4]]
    assert a.shape == (2, 2) and view.tolist() == [3, 1, 2]
    assert qf.structtype is not None and isinstance(qf.feature("Fi33PlusMemoryFootprint"), (bool, float))
